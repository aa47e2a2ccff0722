#include <repository/database/DatabaseLocation_p.h>

#include <platform/SHARED/defines.h>
#include <platform/SHARED/files_operations.h>

#include <QStringList>

namespace Tolm::SQL {

namespace {

namespace Config = SHARED::defines::Path::ETC::CONFIG;

} // namespace

QString DatabaseLocation::configured()
{
    return SHARED::functions::files_operations::get_attrib_from_file(Config::default_settings(),
                                                                     QStringLiteral("DB_location"));
}

QString DatabaseLocation::current()
{
    const QString location = configured();
    return location.isEmpty() ? Config::config_root() + QLatin1String("tolmvault.db") : location;
}

QString DatabaseLocation::setAsideFolder()
{
    return Config::config_root() + QLatin1String("corrupteddb");
}

bool DatabaseLocation::isPostgreSql(const QString &location)
{
    return location.startsWith(QLatin1String("PGSQL"));
}

PostgreSqlLocation PostgreSqlLocation::parse(const QString &connectionString)
{
    PostgreSqlLocation location;
    const QStringList items = connectionString.split(QLatin1Char(';'));
    for (const QString &item : items) {
        const QString value = item.mid(item.lastIndexOf(QLatin1Char(':')) + 1).trimmed();
        if (item.startsWith(QLatin1String("host")))
            location.host = value;
        else if (item.startsWith(QLatin1String("port")))
            location.port = value.toInt();
        else if (item.startsWith(QLatin1String("user")))
            location.user = value;
        else if (item.startsWith(QLatin1String("password")))
            location.password = value;
        else if (item.startsWith(QLatin1String("database")))
            location.database = value;
    }
    return location;
}

} // namespace Tolm::SQL
