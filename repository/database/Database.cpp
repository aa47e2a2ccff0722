#include <repository/database/BringUp_p.h>
#include <repository/database/Database.h>
#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabaseLocation_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/SetAsideCopies_p.h>

#include <QSqlError>

namespace Tolm::SQL {

namespace {

BringUp bringUp(const QString &location)
{
    return DatabaseLocation::isPostgreSql(location) ? bringUpPostgreSql(location) : bringUpSQLite(location);
}

BringUp replaceDamaged(const QString &location)
{
    SetAsideCopies copies(DatabaseLocation::setAsideFolder());
    if (!copies.open())
        return BringUp::Damaged;
    // Another process may have replaced it while this one waited; its new database must not go the same way.
    const BringUp outcome = bringUp(location);
    if (outcome != BringUp::Damaged || !copies.take(location))
        return outcome;
    return bringUp(location);
}

} // namespace

bool Database::_dbLastError = false;

bool Database::init(bool recover)
{
    const QPointer<DatabasePool> &pool = DatabasePool::defaultPool();
    if (pool && pool->isInit())
        return true;

    const QString location = connectionString();
    BringUp outcome = bringUp(location);
    if (outcome != BringUp::Up)
        _dbLastError = true;
    if (outcome == BringUp::Damaged && recover)
        outcome = replaceDamaged(location);
    return outcome == BringUp::Up;
}

QString Database::connectionString()
{
    return DatabaseLocation::current();
}

QString Database::corruptedPath()
{
    const QString configured = DatabaseLocation::configured();
    return configured.isEmpty() ? DatabaseLocation::setAsideFolder() : configured;
}

bool Database::initSQLite(const QString &path)
{
    return bringUpSQLite(path) == BringUp::Up;
}

bool Database::initPostgreSQL(const QString &connectionString)
{
    return bringUpPostgreSql(connectionString) == BringUp::Up;
}

bool Database::shrink()
{
    if (!init(false))
        return false;
    const DatabaseConnection connection(DatabasePool::defaultPool());
    QSqlQuery query = connection.query();
    const bool done = query.exec(QStringLiteral("VACUUM"));
    if (!done)
        log().error() << "Error on shrink database:" << query.lastError().databaseText()
                      << query.lastError().driverText();
    return done;
}

bool Database::dbLastError()
{
    return _dbLastError;
}

void Database::resetDbLastError()
{
    _dbLastError = false;
}

} // namespace Tolm::SQL
