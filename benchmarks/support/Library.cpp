#include <benchmarks/support/Library.h>

#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace Tolm::Benchmarks {

void quietLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));
}

QPointer<SQL::DatabasePool> openPool(const QString &path)
{
    QPointer<SQL::DatabasePool> pool(new SQL::DatabasePool);
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=30000"));
        database.setDatabaseName(path);
        if (!database.open() || !pool->initDatabase(database))
            qFatal("%s: %s", qPrintable(path), qPrintable(database.lastError().text()));
        QSqlQuery(database).exec(QStringLiteral("PRAGMA journal_mode=WAL"));
    }
    QSqlDatabase::removeDatabase(name);
    return pool;
}

} // namespace Tolm::Benchmarks
