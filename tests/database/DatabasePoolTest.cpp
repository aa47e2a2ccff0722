#include <repository/database/Records_p.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QDir>
#include <QFileInfo>
#include <gmock/gmock.h>

#include <thread>

namespace Tolm::SQL {
namespace {

using testing::MatchesRegex;

int answer(const DatabaseConnection &connection)
{
    Statement statement(connection, "select 42");
    const ResultValue<int> number = selectNumber<int>(statement);
    return number.error == ResultCode::Ok ? number.value : -number.error;
}

class DatabasePoolTest : public Tests::DatabaseTest {
protected:
    void sweep() { Tests::sweep(*m_database.pool()); }

    QString name()
    {
        const QString name = m_database.pool()->getConnection().connectionName();
        m_database.pool()->removeConnection();
        return name;
    }

    int connections() const { return QSqlDatabase::connectionNames().size() - m_before; }

    const Tests::ShortWaits m_shortWaits;
    const int m_before = QSqlDatabase::connectionNames().size();
};
TOLM_TEST_ON_EVERY_BACKEND(DatabasePoolTest);

class SQLiteDatabasePoolTest : public DatabasePoolTest {};
TOLM_TEST_ON_SQLITE(SQLiteDatabasePoolTest);

class PostgreSqlDatabasePoolTest : public DatabasePoolTest {};
TOLM_TEST_ON_POSTGRESQL(PostgreSqlDatabasePoolTest);

TEST_P(DatabasePoolTest, ThreadHasOneConnectionAndNoOtherThreadHasIt)
{
    const Tests::LogCapture log;
    DatabaseConnection first(m_database.pool());
    DatabaseConnection second(m_database.pool());
    EXPECT_TRUE(first.isOpen());
    EXPECT_EQ(first.dbType(), GetParam());
    EXPECT_TRUE(first.query().exec("create temporary table mine (id integer)"));
    EXPECT_TRUE(second.query().exec("select id from mine"));
    EXPECT_EQ(connections(), 1);

    const QString mine = name();
    std::thread([&] {
        DatabaseConnection other(m_database.pool());
        EXPECT_TRUE(other.isOpen());
        EXPECT_FALSE(other.query().exec("select id from mine"));
        EXPECT_NE(name(), mine);
    }).join();
    EXPECT_EQ(connections(), 2);

    EXPECT_THAT(
        log.texts(QtDebugMsg).join('\n').toStdString(),
        MatchesRegex("DatabasePool: add new db connection \\( \\{[0-9a-f-]{36}\\} \\), current connection count: 1\n"
                     "DatabasePool: add new db connection \\( \\{[0-9a-f-]{36}\\} \\), current connection count: 2"));
    EXPECT_EQ(log.complaints(), "");
}

TEST_P(DatabasePoolTest, SweepClosesWhatNobodyHoldsAndTellsIt)
{
    const QString name = this->name();
    const Tests::LogCapture log;
    Tests::sweep(*m_database.pool(), 60000);
    EXPECT_EQ(connections(), 1) << "a minute is not over";
    EXPECT_TRUE(log.records().isEmpty());
    sweep();
    EXPECT_EQ(connections(), 0);
    sweep(); // it finds nothing, and is silent
    const QString pool = log.texts(QtDebugMsg, "remove connection").value(0).section(' ', 2, 2);
    delete m_database.pool();
    const QString database = isSQLite() ? m_database.file() : m_database.location().section(':', -1);
    EXPECT_EQ(
        log.texts(QtDebugMsg),
        QStringList(
            {QString("DatabasePool: ( %1 ) remove connection: %2 db name: %3").arg(pool, name, database),
             QString("DatabasePool: ( %1 ) , count: 0 all connections: %2").arg(pool).arg(m_before),
             QString("DatabasePool: delete pool ( %1 ) , count: 0 all connections: %2").arg(pool).arg(m_before - 1)}));
}

TEST_P(DatabasePoolTest, HandlesAndUsesKeepTheConnection)
{
    QPointer<DatabasePool> &pool = m_database.pool();
    pool->removeConnection(); // this thread has none yet
    {
        const DatabaseConnection outer(pool);
        {
            const DatabaseConnection inner(pool);
        }
        sweep();
        EXPECT_TRUE(outer.isOpen());
        EXPECT_EQ(answer(outer), 42);
    }
    pool->removeConnection(); // once more than taken: must not count below none
    pool->getConnection();
    pool->getConnection();
    pool->removeConnection();
    sweep();
    EXPECT_EQ(connections(), 1);
    pool->removeConnection();
    sweep();
    EXPECT_EQ(connections(), 0);
}

TEST_P(DatabasePoolTest, TemplateIsTakenOnceAndOnlyWhenOpen)
{
    DatabasePool pool;
    const Tests::LogCapture log;
    EXPECT_FALSE(pool.initDatabase({}));
    {
        QSqlDatabase given = m_database.open("given");
        given.close();
        EXPECT_FALSE(pool.initDatabase(given));
        EXPECT_FALSE(pool.isInit());
        EXPECT_FALSE(pool.getConnection().isValid());
        given.open();
        EXPECT_TRUE(pool.initDatabase(given));
        EXPECT_FALSE(pool.initDatabase(given));
    }
    const QString problem = "DatabasePool: error on init database. ";
    EXPECT_EQ(log.texts(QtCriticalMsg),
              QStringList({problem + "database is not valid", problem + "database is not valid",
                           problem + "default pool database already init"}));
    QSqlDatabase::removeDatabase("given");
    EXPECT_TRUE(pool.isInit());
    EXPECT_TRUE(pool.getConnection().isOpen()) << "the template is the pool's own";
}

TEST_P(DatabasePoolTest, ConnectionThatCannotBeOpenedLeavesNothingBehind)
{
    // The folder of the file goes away, or the server takes no connections for the database.
    const auto allow = [this](bool allowed) {
        const QFileInfo file(m_database.file());
        const QString away = file.path() + ".away";
        if (isSQLite())
            ASSERT_TRUE(QDir().rename(allowed ? away : file.path(), allowed ? file.path() : away));
        else
            m_database.sql(QString("update pg_database set datallowconn = %1 where datname = current_database()")
                               .arg(allowed ? "true" : "false"));
    };
    DatabasePool secretive;
    QPointer<DatabasePool> pool(&secretive);
    {
        QSqlDatabase withPassword = m_database.open("with password");
        withPassword.setPassword("s3cret");
        ASSERT_TRUE(secretive.initDatabase(withPassword));
    }
    QSqlDatabase::removeDatabase("with password");

    const int before = connections();
    const Tests::LogCapture log;
    allow(false);
    for (int time = 0; time < 2; ++time) {
        const DatabaseConnection connection(pool);
        EXPECT_FALSE(connection.isOpen());
        EXPECT_EQ(answer(connection), -ResultCode::Error);
    }
    EXPECT_EQ(connections(), before);
    EXPECT_EQ(log.records().size(), 2);
    EXPECT_THAT(log.texts(QtCriticalMsg).last().toStdString(),
                MatchesRegex("DatabasePool: \\( \\{[0-9a-f-]{36}\\} \\) error on open connection"));
    EXPECT_FALSE(log.mentions("s3cret"));

    allow(true);
    EXPECT_EQ(answer(DatabaseConnection(pool)), 42) << "the next request tries again";
}

TEST_P(DatabasePoolTest, HandleGivesBackOnlyWhatItGot)
{
    DatabasePool late;
    QPointer<DatabasePool> pool(&late);
    auto early = std::make_unique<DatabaseConnection>(pool);
    EXPECT_FALSE(early->isOpen());
    EXPECT_TRUE(late.initDatabase(m_database.pool()->getConnection()));
    m_database.pool()->removeConnection();

    const DatabaseConnection connection(pool);
    early.reset();
    Tests::sweep(late);
    EXPECT_TRUE(connection.isOpen());
}

TEST_P(DatabasePoolTest, HandleOutlivesItsPool)
{
    const Tests::LogCapture log;
    const DatabaseConnection connection(m_database.pool());
    {
        Statement statement(connection, "select 1");
        EXPECT_EQ(statement.exec(), ResultCode::Ok);
        delete m_database.pool();
        EXPECT_EQ(connections(), -1) << "nor the template";
        while (statement.next()) {
        }
    }
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(answer(connection), -ResultCode::Error);
    EXPECT_FALSE(connection.query().exec("select 1"));
    EXPECT_FALSE(DatabaseConnection(m_database.pool()).isOpen());
}

TEST_P(SQLiteDatabasePoolTest, HandleWithoutConnectionNeverReachesTheHostsDefaultConnection)
{
    {
        QSqlDatabase host = QSqlDatabase::addDatabase("QSQLITE");
        host.setDatabaseName(":memory:");
        ASSERT_TRUE(host.open());
        QPointer<DatabasePool> nobody;
        const DatabaseConnection connection(nobody);
        EXPECT_EQ(connection.dbType(), DatabaseType::SQLite);
        QSqlQuery query = connection.query();
        EXPECT_FALSE(query.exec("create table stray (id integer)"));
        Statement statement(connection, "create table stray (id integer)");
        EXPECT_EQ(statement.exec(), ResultCode::Error);
        EXPECT_TRUE(host.tables().isEmpty());
    }
    QSqlDatabase::removeDatabase(QSqlDatabase::defaultConnection);
}

TEST_P(PostgreSqlDatabasePoolTest, LostConnectionIsOpenedAgainAtTheNextHandOut)
{
    for (const bool lostAtPrepare : {false, true}) {
        DatabaseConnection held(m_database.pool());
        EXPECT_EQ(answer(held), 42); // its statement is in the cache now
        Statement pid(held, "select pg_backend_pid()");
        const int lost = selectNumber<int>(pid).value;
        m_database.sql(QString("select pg_terminate_backend(%1)").arg(lost));
        Tests::LogCapture log;
        if (lostAtPrepare) {
            Statement statement(held, "select 'not in the cache'");
            EXPECT_EQ(statement.exec(), ResultCode::Error);
            EXPECT_EQ(log.count(QtWarningMsg, "server closed the connection"), 1);
        } else {
            EXPECT_EQ(answer(held), -ResultCode::RetriesExhausted);
        }
        EXPECT_FALSE(held.isOpen());
        EXPECT_EQ(answer(held), -ResultCode::Error);

        log.clear();
        const DatabaseConnection next(m_database.pool());
        EXPECT_EQ(answer(next), 42);
        EXPECT_EQ(answer(held), 42) << "it is the same connection";
        Statement newPid(next, "select pg_backend_pid()");
        EXPECT_NE(selectNumber<int>(newPid).value, lost);
        EXPECT_EQ(log.complaints(), "");
        EXPECT_EQ(connections(), 1);
    }
}

} // namespace
} // namespace Tolm::SQL
