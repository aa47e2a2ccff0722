#include <tests/support/TestDatabase.h>

#include <QCoreApplication>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

#include <algorithm>

namespace Tolm::Tests {

namespace {

struct Server {
    QString host;
    int port = 0;
};

// The test script writes where its server listens, in the form that "DB_location" takes.
Server server()
{
    QFile file(qEnvironmentVariable("TOLM_TEST_POSTGRES"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    Server server;
    const QStringList items = QString::fromUtf8(file.readAll()).trimmed().split(QLatin1Char(';'));
    for (const QString &item : items) {
        const QString value = item.section(QLatin1Char(':'), -1).trimmed();
        if (item.startsWith(QLatin1String("host")))
            server.host = value;
        else if (item.startsWith(QLatin1String("port")))
            server.port = value.toInt();
    }
    return server;
}

QSqlDatabase openPostgreSql(const QString &connectionName, const QString &databaseName)
{
    const Server postgres = server();
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), connectionName);
    database.setHostName(postgres.host);
    database.setPort(postgres.port);
    database.setUserName(QStringLiteral("tolm"));
    database.setDatabaseName(databaseName);
    database.setNumericalPrecisionPolicy(QSql::HighPrecision);
    EXPECT_TRUE(database.open()) << qPrintable(database.lastError().text());
    return database;
}

void runOnServer(const QString &text)
{
    const QString name = QUuid::createUuid().toString();
    {
        QSqlQuery query(openPostgreSql(name, QStringLiteral("postgres")));
        EXPECT_TRUE(query.exec(text)) << qPrintable(query.lastError().text());
    }
    QSqlDatabase::removeDatabase(name);
}

QString newDatabaseName()
{
    static int count = 0;
    return QStringLiteral("tolm_%1_%2").arg(QCoreApplication::applicationPid()).arg(++count);
}

} // namespace

std::vector<SQL::DatabaseType> backends()
{
    std::vector<SQL::DatabaseType> types{SQL::DatabaseType::SQLite};
    if (!server().host.isEmpty())
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

TestDatabase::TestDatabase(SQL::DatabaseType type)
    : m_type(type)
    , m_file(m_folder.filePath(QStringLiteral("catalogue.db")))
    , m_databaseName(newDatabaseName())
    , m_ownConnection(QUuid::createUuid().toString())
{
    if (!isSQLite())
        runOnServer(QStringLiteral("create database %1 template template0").arg(m_databaseName));
    open(m_ownConnection);
    reopen();
}

TestDatabase::~TestDatabase()
{
    delete m_pool;
    QSqlDatabase::removeDatabase(m_ownConnection);
    if (!isSQLite())
        runOnServer(QStringLiteral("drop database %1 with (force)").arg(m_databaseName));
}

QString TestDatabase::location() const
{
    if (isSQLite())
        return m_file;
    const Server postgres = server();
    return QStringLiteral("PGSQL;host:%1;port:%2;user:tolm;database:%3")
        .arg(postgres.host, QString::number(postgres.port), m_databaseName);
}

void TestDatabase::reopen()
{
    delete m_pool;
    m_pool = new SQL::DatabasePool;
    EXPECT_TRUE(m_pool->initDatabase(QSqlDatabase::database(m_ownConnection)));
}

QSqlDatabase TestDatabase::open(const QString &name) const
{
    if (!isSQLite())
        return openPostgreSql(name, m_databaseName);
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
    database.setDatabaseName(m_file);
    EXPECT_TRUE(database.open());
    QSqlQuery wal(database);
    EXPECT_TRUE(wal.exec(QStringLiteral("PRAGMA journal_mode=WAL")));
    return database;
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
    const QVector<QVariantList> rows = sql(text);
    return rows.isEmpty() ? QVariant() : rows.first().first();
}

} // namespace Tolm::Tests
