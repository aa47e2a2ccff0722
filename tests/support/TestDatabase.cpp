#include <repository/database/DatabaseLocation_p.h>
#include <repository/database/Timing_p.h>

#include <tests/support/OwnConnection.h>
#include <tests/support/TestDatabase.h>

#include <QCoreApplication>
#include <QFile>
#include <QTimerEvent>

#include <algorithm>

namespace Tolm::Tests {

namespace {

// The test script writes where its server listens, as "DB_location" takes it.
QString server()
{
    QFile file(qEnvironmentVariable("TOLM_TEST_POSTGRES"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

QSqlDatabase openPostgreSql(const QString &connectionName, const QString &databaseName)
{
    const auto location = SQL::PostgreSqlLocation::parse(server());
    QSqlDatabase database = QSqlDatabase::addDatabase("QPSQL", connectionName);
    database.setHostName(location.host);
    database.setPort(location.port);
    database.setUserName(location.user);
    database.setDatabaseName(databaseName);
    database.setNumericalPrecisionPolicy(QSql::HighPrecision);
    EXPECT_TRUE(database.open()) << qPrintable(database.lastError().text());
    return database;
}

void runOnServer(const QString &text)
{
    rowsOf(QSqlQuery(openPostgreSql("server", "postgres")), text);
    QSqlDatabase::removeDatabase("server");
}

QString newDatabaseName()
{
    static int count = 0;
    return QString("tolm_%1_%2").arg(QCoreApplication::applicationPid()).arg(++count);
}

} // namespace

std::vector<SQL::DatabaseType> backends()
{
    std::vector<SQL::DatabaseType> types{SQL::DatabaseType::SQLite};
    if (!server().isEmpty())
        types.push_back(SQL::DatabaseType::PostgreSQL);
    return types;
}

std::vector<SQL::DatabaseType> backend(SQL::DatabaseType type)
{
    std::vector<SQL::DatabaseType> types = backends();
    types.erase(std::remove_if(types.begin(), types.end(), [type](auto other) { return other != type; }), types.end());
    return types;
}

std::string backendName(const testing::TestParamInfo<SQL::DatabaseType> &info)
{
    return info.param == SQL::DatabaseType::SQLite ? "SQLite" : "PostgreSQL";
}

void sweep(SQL::DatabasePool &pool, int idle)
{
    SQL::Timing::instance().idleConnection = idle;
    QTimerEvent event(1);
    QCoreApplication::sendEvent(&pool, &event);
}

TestDatabase::TestDatabase(SQL::DatabaseType type)
    : m_type(type)
    , m_file(m_folder.filePath("catalogue.db"))
    , m_databaseName(newDatabaseName())
    , m_ownConnection(QUuid::createUuid().toString())
    , m_pool(new SQL::DatabasePool)
{
    if (!isSQLite())
        runOnServer(QString("create database %1 template template0").arg(m_databaseName));
    EXPECT_TRUE(m_pool->initDatabase(open(m_ownConnection)));
}

TestDatabase::~TestDatabase()
{
    delete m_pool;
    QSqlDatabase::removeDatabase(m_ownConnection);
    if (!isSQLite())
        runOnServer(QString("drop database %1 with (force)").arg(m_databaseName));
}

QString TestDatabase::location() const
{
    return isSQLite() ? m_file : server().replace("database:postgres", "database:" + m_databaseName);
}

QSqlDatabase TestDatabase::open(const QString &name) const
{
    if (!isSQLite())
        return openPostgreSql(name, m_databaseName);
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", name);
    database.setConnectOptions("QSQLITE_BUSY_TIMEOUT=2000");
    database.setDatabaseName(m_file);
    EXPECT_TRUE(database.open());
    rowsOf(QSqlQuery(database), "PRAGMA journal_mode=WAL");
    return database;
}

QStringList TestDatabase::rows(const QString &text)
{
    return rowsOf(QSqlQuery(QSqlDatabase::database(m_ownConnection)), text);
}

QVector<QVariantList> TestDatabase::sql(const QString &text)
{
    QSqlQuery query(QSqlDatabase::database(m_ownConnection));
    EXPECT_TRUE(query.exec(text)) << qPrintable(text) << ": " << qPrintable(query.lastError().text());
    QVector<QVariantList> rows;
    while (query.next()) {
        QVariantList row;
        for (int column = 0; column < query.record().count(); ++column)
            row.append(query.value(column));
        rows.append(row);
    }
    return rows;
}

QVariant TestDatabase::value(const QString &text)
{
    return sql(text).value(0).value(0);
}

} // namespace Tolm::Tests
