#include <platform/Tolm/AppPath.h>

#include <QtCore/QStandardPaths>

namespace Tolm::Defines {

const AppPath &AppPath::to()
{
    static constexpr AppPath path;
    return path;
}

QString AppPath::config() const
{
    QString folder = qEnvironmentVariable("TOLM_CONFIG_ROOT");
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1String("/tolm");
    if (!folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    return folder;
}

QString AppPath::differentialFileMap() const
{
    return config() + QLatin1String("differentialfilemap");
}

QString AppPath::diskImageMap() const
{
    return config() + QLatin1String("diskimagemap");
}

} // namespace Tolm::Defines
