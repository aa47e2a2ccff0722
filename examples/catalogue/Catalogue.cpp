#include <repository/database/Database.h>
#include <repository/database/DatabasePool.h>

#include <platform/SHARED/defines.h>

#include <examples/catalogue/Catalogue.h>
#include <examples/catalogue/Failure.h>

#include <QDir>
#include <QFileInfo>

using Tolm::SQL::Database;
using Tolm::SQL::DatabasePool;

namespace Client {

namespace {

bool isPostgreSql(const QString &location)
{
    return location.startsWith(QLatin1String("PGSQL"));
}

// A connection string may hold a password.
QString description(const QString &location)
{
    return isPostgreSql(location) ? QStringLiteral("in the PostgreSQL database") : QStringLiteral("at ") + location;
}

// A damaged database stays as it is: whether to replace it is not for a client to decide.
bool bringUpConfigured()
{
    QDir().mkpath(SHARED::defines::Path::ETC::CONFIG::config_root());
    return Database::init(false);
}

bool bringUp(const QString &location)
{
    return isPostgreSql(location) ? Database::initPostgreSQL(location) : Database::initSQLite(location);
}

} // namespace

Catalogue::Catalogue(const QString &location, WhenMissing whenMissing)
    : m_location(location.isEmpty() ? Database::connectionString() : location)
{
    const bool isFile = !isPostgreSql(m_location);
    if (isFile && whenMissing == WhenMissing::Refuse && !QFileInfo::exists(m_location)) {
        throw Failure(
            QStringLiteral("there is no catalogue %1; the command record makes one").arg(description(m_location)));
    }
    if (!(location.isEmpty() ? bringUpConfigured() : bringUp(location)))
        throw Failure(QStringLiteral("cannot open the catalogue %1").arg(description(m_location)));
}

Catalogue::~Catalogue()
{
    // Closing the last connection folds SQLite's "-wal" into the database; left open, it would stay beside it.
    delete DatabasePool::defaultPool();
}

QStringList Catalogue::files() const
{
    if (isPostgreSql(m_location))
        return {};
    const QString file = QFileInfo(m_location).absoluteFilePath();
    return {file, file + QStringLiteral("-wal"), file + QStringLiteral("-shm"), file + QStringLiteral("-journal")};
}

} // namespace Client
