#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QString>

/// Product facts and the places that the product's files lie in. Any thread may ask. Everything that comes from the
/// environment is read again at every call.
namespace SHARED::defines {

namespace common {
/// The product's version as text, such as "1.0.0".
TOLM_EXPORT QString build_version();
/// Whether this is the managed edition: the environment variable TOLM_EDITION is "managed".
TOLM_EXPORT bool is_halvo();
} // namespace common

namespace Path {

/// The folder of the disk-image maps, ending with "/". It is the folder that AppPath::diskImageMap() names.
TOLM_EXPORT QString diskImageMap();

namespace ETC::CONFIG {
/// The configuration root folder, ending with "/": the one that the environment variable TOLM_CONFIG_ROOT names, or,
/// when that is unset or empty, "tolm" in the user's configuration folder. It need not exist.
TOLM_EXPORT QString config_root();
/// The settings file, "settings.conf" in the configuration root. It need not exist.
TOLM_EXPORT QString default_settings();
} // namespace ETC::CONFIG

} // namespace Path
} // namespace SHARED::defines
