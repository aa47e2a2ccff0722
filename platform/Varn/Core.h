#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QVersionNumber>

namespace Varn::Core {

namespace Version {
/// The running product's version. Any thread may ask.
TOLM_EXPORT QVersionNumber number();
} // namespace Version

// The kinds below are kept as their numbers; a number without a name here is the engine's own and is carried as it is.

namespace Encryption {
enum class Algorithm : int {
    NotSet = 6, ///< what a new record holds
};
} // namespace Encryption

namespace Compression {
enum class Algorithm : int {
    NotSet = 0, ///< what a new record holds
};
} // namespace Compression

namespace Platform {
enum class Type : int {
    NotSet = 3, ///< what a new record holds
};
} // namespace Platform

} // namespace Varn::Core
