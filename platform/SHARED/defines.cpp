#include <platform/ProductVersion_p.h>
#include <platform/SHARED/defines.h>
#include <platform/Tolm/AppPath.h>

namespace SHARED::defines {

QString common::build_version()
{
    return ::Platform::productVersion();
}

bool common::is_halvo()
{
    return qEnvironmentVariable("TOLM_EDITION") == QLatin1String("managed");
}

QString Path::diskImageMap()
{
    return Tolm::Defines::AppPath::to().diskImageMap() + QLatin1Char('/');
}

QString Path::ETC::CONFIG::config_root()
{
    return Tolm::Defines::AppPath::to().config();
}

QString Path::ETC::CONFIG::default_settings()
{
    return config_root() + QLatin1String("settings.conf");
}

} // namespace SHARED::defines
