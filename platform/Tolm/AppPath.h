#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QString>

namespace Tolm::Defines {

/// The application's folders. Any thread may ask.
///
/// The environment variable TOLM_CONFIG_ROOT, which moves them all, is read again at every call. No folder is created.
class TOLM_EXPORT AppPath {
public:
    /// The one instance; it holds nothing.
    static const AppPath &to();

    /// The configuration folder, ending with "/": the one that TOLM_CONFIG_ROOT names, or, when that is unset or empty,
    /// "tolm" in the user's configuration folder (QStandardPaths::GenericConfigLocation).
    QString config() const;
    /// The folder of the file backups' maps, without a closing "/".
    QString differentialFileMap() const;
    /// The folder of the disk images' maps, without a closing "/".
    QString diskImageMap() const;

private:
    constexpr AppPath() = default;
};

} // namespace Tolm::Defines
