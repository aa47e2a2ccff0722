#include <tests/support/CatalogueFolder.h>
#include <tests/support/TestDatabase.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>
#include <QUuid>

#include <sys/stat.h>

namespace Tolm::SQL {
namespace {

const QString CountTables =
    QStringLiteral("select count(*) from sqlite_master where type = 'table' and name not like 'sqlite_%'");

unsigned modeOf(const QString &path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.toUtf8().constData(), &status), 0) << qPrintable(path);
    return status.st_mode & 0777;
}

class BringUpTest : public testing::Test {
protected:
    /// Whether the catalogue comes up when nothing is in its way.
    void expectGood() const
    {
        const QStringList said = m_folder.run({"init", "sql", CountTables, "sql", "select count(*) from metadata"});
        EXPECT_TRUE(said.contains("init=true")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("sql=14")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("sql=1")) << qPrintable(said.join('\n'));
    }

    /// Expects that both ways of bringing up fail with `reason` in the log, and that no file is made, changed or
    /// removed.
    void expectUntouched(const QString &reason, const QStringList &before = {}) const
    {
        const auto files = m_folder.snapshot();
        const QStringList said =
            m_folder.run(before + QStringList{"busy", "50", "init", "recover", "lastError", "isInit", "connections"});
        EXPECT_TRUE(said.contains("init=false")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("recover=false")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("lastError=true"));
        EXPECT_TRUE(said.contains("isInit=false"));
        EXPECT_TRUE(said.contains("connections=0"));
        EXPECT_EQ(said.filter(reason).size(), 2) << qPrintable(said.join('\n'));
        EXPECT_EQ(m_folder.snapshot(), files);
        EXPECT_FALSE(QFileInfo::exists(m_folder.path("corrupteddb")));
    }

    void restrict(const QString &path, mode_t mode) const { ASSERT_EQ(::chmod(path.toUtf8().constData(), mode), 0); }

    Tests::CatalogueFolder m_folder{QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup")};
};

TEST_F(BringUpTest, MakesANewFile)
{
    const mode_t before = ::umask(077);
    const auto child =
        m_folder.start({"init", "init", "connections", "lastError", "sql", CountTables, "sql", "PRAGMA journal_mode",
                        "sql", "insert into plan_name values ('a', 'b', 1)", "wait"});
    EXPECT_TRUE(child->waitFor("ready"));
    ::umask(before);
    for (const char *suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(m_folder.file() + suffix), 0666U) << suffix;
    child->proceed();
    const QStringList said = child->finish();
    EXPECT_EQ(said.filter("init=true").size(), 2);
    EXPECT_EQ(said.filter("SQL info: ").size(), 2);
    EXPECT_EQ(said.count("SQL info: Use sqlite database"), 1);
    EXPECT_EQ(said.count("SQL info: Create new DB structure"), 1);
    EXPECT_TRUE(said.filter("warning: ").isEmpty()) << qPrintable(said.join('\n'));
    EXPECT_TRUE(said.filter("error: ").isEmpty()) << qPrintable(said.join('\n'));
    EXPECT_TRUE(said.contains("connections=1")); // the pool's template
    EXPECT_TRUE(said.contains("lastError=false"));
    EXPECT_TRUE(said.contains("sql=14"));
    EXPECT_TRUE(said.contains("sql=wal"));
    expectGood();
}

TEST_F(BringUpTest, LeavesAnExistingDatabaseAsItIs)
{
    Tests::CatalogueFolder::sql(m_folder.file(), {"PRAGMA journal_mode=DELETE", "PRAGMA locking_mode=EXCLUSIVE",
                                                  "create table other (x)", "insert into other values (7)"});
    restrict(m_folder.file(), 0640);
    const QStringList said = m_folder.run({"init", "sql", CountTables, "sql", "PRAGMA journal_mode", "sql",
                                           "PRAGMA locking_mode", "sql", "select x from other"});
    EXPECT_EQ(said.filter("sql="), (QStringList{"sql=1", "sql=wal", "sql=normal", "sql=7"}));
    EXPECT_EQ(said.filter("SQL info: "), QStringList{"SQL info: Use sqlite database"});
    EXPECT_EQ(modeOf(m_folder.file()), 0640U);
}

TEST_F(BringUpTest, MakesTheSchemaInAnEmptyFile)
{
    Tests::CatalogueFolder::write(m_folder.file(), "");
    restrict(m_folder.file(), 0600);
    expectGood();
    // The companions of the child that did not close its connections.
    for (const char *suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(m_folder.file() + suffix), 0666U) << suffix;
}

TEST_F(BringUpTest, FollowsTheConfiguredLocation)
{
    ASSERT_TRUE(QDir().mkdir(m_folder.path("deep")));
    ASSERT_TRUE(QDir().mkdir(m_folder.path("elsewhere")));
    const QString target = m_folder.path("elsewhere/Каталог %1 'x'.db");
    ASSERT_TRUE(QFile::link(target, m_folder.path("deep/link.db")));
    m_folder.configure("link.db");
    // The working folder changes after the bring-up, before the thread's first connection is opened.
    const QStringList said = m_folder.run({"folder", m_folder.path("deep"), "init", "folder", "/", "sql", CountTables});
    EXPECT_TRUE(said.contains("sql=14")) << qPrintable(said.join('\n'));
    EXPECT_EQ(modeOf(target), 0666U);
    EXPECT_TRUE(QFileInfo(m_folder.path("deep/link.db")).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(m_folder.file()));
}

TEST_F(BringUpTest, RefusesWhatItCannotOpen)
{
    m_folder.configure(m_folder.path("nowhere/catalogue.db"));
    expectUntouched("Error on open database:");
    ASSERT_TRUE(QDir().mkdir(m_folder.path("folder.db")));
    m_folder.configure(m_folder.path("folder.db"));
    expectUntouched("Error on open database:");
    EXPECT_EQ(m_folder.run({"init"}).filter("Drivers: QSQLITE").size(), 1);
}

TEST_F(BringUpTest, RefusesWhatItMayNotWrite)
{
    Tests::CatalogueFolder::sql(m_folder.file(), {"create table other (x)"});
    restrict(m_folder.path("."), 0777);
    restrict(m_folder.file(), 0444);
    expectUntouched("Error on set database journal mode database: attempt to write a readonly database", {"nobody"});

    // A folder where SQLite cannot make the companions that WAL needs.
    restrict(m_folder.file(), 0644);
    ASSERT_TRUE(m_folder.run({"init"}).contains("init=true"));
    restrict(m_folder.path("."), 0555);
    restrict(m_folder.file(), 0444);
    expectUntouched("Error on check database", {"nobody"});
    restrict(m_folder.path("."), 0700);
}

TEST_F(BringUpTest, LeavesALockedDatabaseAlone)
{
    Tests::CatalogueFolder::sql(m_folder.file(), {"create table other (x)"});
    const auto holder = m_folder.start({"host", m_folder.file(), "hostSql", "BEGIN EXCLUSIVE", "wait"});
    ASSERT_TRUE(holder->waitFor("ready"));
    expectUntouched("Error on check database journal mode database: database is locked");
    holder->kill();
    EXPECT_TRUE(m_folder.run({"init"}).contains("init=true"));
}

TEST_F(BringUpTest, ComesUpAfterAFailure)
{
    const QString folder = m_folder.path("later");
    m_folder.configure(folder + "/catalogue.db");
    const auto child = m_folder.start(
        {"init", "init", "shrink", "wait", "init", "lastError", "reset", "lastError", "sql", CountTables});
    ASSERT_TRUE(child->waitFor("ready"));
    ASSERT_TRUE(QDir().mkdir(folder));
    child->proceed();
    const QStringList said = child->finish();
    EXPECT_EQ(said.filter(QRegularExpression("^(init|shrink|lastError|sql)=")),
              (QStringList{"init=false", "init=false", "shrink=false", "init=true", "lastError=true", "lastError=false",
                           "sql=14"}));
    EXPECT_TRUE(said.filter("Error on shrink").isEmpty());
}

TEST_F(BringUpTest, RefusesASecondDatabase)
{
    const QStringList said = m_folder.run({"init", "sqlite", m_folder.path("other.db"), "sql", CountTables});
    EXPECT_TRUE(said.contains("sqlite=false"));
    EXPECT_EQ(said.filter("SQL error: "),
              QStringList{"SQL error: DatabasePool: error on init database. default pool database already init"});
    EXPECT_TRUE(said.contains("sql=14"));
    EXPECT_TRUE(m_folder.run({"sqlite", m_folder.path("direct.db"), "isInit", "connections"})
                    .filter("=")
                    .contains("connections=1"));
    EXPECT_TRUE(m_folder.run({"sqlite", ""}).contains("sqlite=false"));
}

TEST_F(BringUpTest, LeavesTheHostsDefaultConnectionAlone)
{
    const QStringList said = m_folder.run({"host", m_folder.path("host.db"), "init", "hostSql", "create table mine (x)",
                                           "hostSql", "select count(*) from mine", "sql", CountTables});
    EXPECT_EQ(said.filter(QRegularExpression("^(hostSql|sql|init)=")),
              (QStringList{"init=true", "hostSql=", "hostSql=0", "sql=14"}));
    EXPECT_TRUE(said.filter("warning: ").isEmpty()) << qPrintable(said.join('\n'));
}

TEST_F(BringUpTest, ShrinksTheFile)
{
    ASSERT_TRUE(m_folder.run({"init"}).contains("init=true"));
    Tests::CatalogueFolder::sql(
        m_folder.file(),
        {"create table big as with recursive n(i) as (select 1 union all select i + 1 from n where i < 2000) select i, "
         "zeroblob(1000) from n",
         "delete from big", "PRAGMA wal_checkpoint(TRUNCATE)"});
    const QStringList pages = m_folder.run({"init", "sql", "PRAGMA page_count", "shrink", "sql", "PRAGMA page_count"});
    EXPECT_TRUE(pages.contains("shrink=true"));
    EXPECT_LT(pages.last().section('=', 1).toInt(), pages.filter("sql=").first().section('=', 1).toInt() / 2);

    const QStringList said = m_folder.run({"init", "begin", "shrink"});
    EXPECT_TRUE(said.contains("shrink=false"));
    EXPECT_EQ(said.filter("SQL error: Error on shrink database: cannot VACUUM from within a transaction").size(), 1)
        << qPrintable(said.join('\n'));
}

TEST_F(BringUpTest, LetsProcessesStartTogetherOnANewFile)
{
    for (int round = 0; round < 5; ++round) {
        Tests::CatalogueFolder folder(QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup"));
        const auto all = folder.runTogether(
            4, {"wait", "init", "lastError", "sql", CountTables, "sql", "select count(*) from metadata"});
        int created = 0;
        for (const QStringList &said : all) {
            EXPECT_EQ(said.filter(QRegularExpression("^(init|lastError|sql)=")),
                      (QStringList{"init=true", "lastError=false", "sql=14", "sql=1"}))
                << qPrintable(said.join('\n'));
            EXPECT_TRUE(said.filter("error: ").isEmpty()) << qPrintable(said.join('\n'));
            created += said.count("SQL info: Create new DB structure");
        }
        EXPECT_EQ(created, 1);
    }
}

// The process dies in the midst of a write to one of the files, a bit later each time, until it lives.
TEST_F(BringUpTest, LeavesAnEmptyDatabaseWhenItIsKilled)
{
    int killed = 0;
    for (int bytes = 0;; bytes += 12000) {
        Tests::CatalogueFolder folder(QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup"));
        const QStringList said = folder.run({"deadly", QString::number(bytes), "init"});
        if (said.contains("init=true"))
            break;
        ASSERT_EQ(said.filter("ended with").size(), 1) << qPrintable(said.join('\n'));
        ++killed;
        const int tables = Tests::CatalogueFolder::sql(folder.file(), {CountTables}).toInt();
        EXPECT_TRUE(tables == 0 || tables == 14) << tables << " tables after " << bytes;
        EXPECT_TRUE(folder.run({"init", "sql", CountTables}).contains("sql=14"));
        EXPECT_EQ(modeOf(folder.file()), 0666U);
    }
    EXPECT_GT(killed, 5);
}

// A disk that is full: an error and no signal.
TEST_F(BringUpTest, FailsOnAFullDiskAndComesUpLater)
{
    for (const char *bytes : {"0", "3000", "60000"}) {
        Tests::CatalogueFolder folder(QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup"));
        const QStringList said = folder.run({"full", bytes, "recover", "isInit", "connections"});
        EXPECT_TRUE(said.contains("recover=false")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("isInit=false"));
        EXPECT_TRUE(said.contains("connections=0"));
        EXPECT_FALSE(said.filter(QRegularExpression("^SQL (error|warning): ")).isEmpty());
        EXPECT_FALSE(QFileInfo::exists(folder.path("corrupteddb")));
        EXPECT_TRUE(folder.run({"init", "sql", CountTables}).contains("sql=14"));
    }
}

// ---- PostgreSQL --------------------------------------------------------------------------------------------------

class PostgreSqlBringUpTest : public testing::TestWithParam<DatabaseType> {
protected:
    PostgreSqlBringUpTest() { m_folder.configure(m_database.location()); }

    int tables()
    {
        return m_database.value("select count(*) from pg_tables where schemaname = current_schema()").toInt();
    }

    Tests::TestDatabase m_database{DatabaseType::PostgreSQL};
    Tests::CatalogueFolder m_folder{QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup")};
};

std::vector<DatabaseType> postgreSqlIfThereIsOne()
{
    auto types = Tests::backends();
    types.erase(types.begin());
    return types;
}
INSTANTIATE_TEST_SUITE_P(Backends, PostgreSqlBringUpTest, testing::ValuesIn(postgreSqlIfThereIsOne()),
                         Tests::backendName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PostgreSqlBringUpTest);

TEST_P(PostgreSqlBringUpTest, MakesTheSchemaOnce)
{
    const QStringList said = m_folder.run({"init", "init", "connections", "shrink", "sql",
                                           "select count(*) from metadata", "postgres", m_database.location()});
    EXPECT_EQ(said.filter(QRegularExpression("^(init|connections|shrink|sql|postgres)=")),
              (QStringList{"init=true", "init=true", "connections=1", "shrink=true", "sql=1", "postgres=false"}));
    EXPECT_EQ(said.filter("SQL info: "),
              (QStringList{"SQL info: Use PostgreSQL database", "SQL info: Create new DB structure",
                           "SQL info: Use PostgreSQL database"}));
    EXPECT_EQ(said.filter("already init").size(), 1);
    EXPECT_EQ(tables(), 14);
    EXPECT_EQ(m_folder.run({"recover"}).filter("SQL info: "), QStringList{"SQL info: Use PostgreSQL database"});
    EXPECT_FALSE(QFileInfo::exists(m_folder.path("corrupteddb")));
}

TEST_P(PostgreSqlBringUpTest, LetsProcessesStartTogetherOnANewDatabase)
{
    const auto all = m_folder.runTogether(4, {"wait", "init", "sql", "select count(*) from metadata"});
    int created = 0;
    for (const QStringList &said : all) {
        EXPECT_EQ(said.filter(QRegularExpression("^(init|sql)=")), (QStringList{"init=true", "sql=1"}))
            << qPrintable(said.join('\n'));
        created += said.count("SQL info: Create new DB structure");
    }
    EXPECT_EQ(created, 1);
    EXPECT_EQ(tables(), 14);
}

TEST_P(PostgreSqlBringUpTest, LeavesAnEmptyDatabaseWhenItIsKilled)
{
    // A table of that name that is not yet committed makes the child wait in the midst of its own.
    m_database.sql("begin");
    m_database.sql("create table history (x integer)");
    const auto child = m_folder.start({"init"});
    const QString countWaiting = "select count(*) from pg_stat_activity where wait_event_type = 'Lock' and query like "
                                 "'CREATE TABLE%history%' and datname = current_database()";
    for (int wait = 0; wait < 2000 && m_database.value(countWaiting).toInt() == 0; ++wait) {
        m_database.sql("select pg_stat_clear_snapshot()");
        QThread::msleep(10);
    }
    EXPECT_EQ(m_database.value(countWaiting).toInt(), 1);
    child->kill();
    m_database.sql("rollback");
    EXPECT_EQ(tables(), 0);
    const QStringList said = m_folder.run({"init", "sql", "select count(*) from metadata"});
    EXPECT_TRUE(said.contains("init=true")) << qPrintable(said.join('\n'));
    EXPECT_TRUE(said.contains("sql=1"));
    EXPECT_EQ(tables(), 14);
}

TEST_P(PostgreSqlBringUpTest, FailsWhereItMayNotCreateAndLeavesNothing)
{
    m_database.sql("create domain statistic as integer"); // the last table cannot be made
    const auto child = m_folder.start({"recover", "isInit", "connections", "wait", "init", "isInit"});
    ASSERT_TRUE(child->waitFor("ready"));
    EXPECT_EQ(tables(), 0);
    m_database.sql("drop domain statistic");
    child->proceed();
    const QStringList said = child->finish();
    EXPECT_EQ(said.filter(QRegularExpression("^(init|recover|isInit|connections)=")),
              (QStringList{"recover=false", "isInit=false", "connections=0", "init=true", "isInit=true"}));
    EXPECT_EQ(said.filter("SQL error: Can't create Statistics!").size(), 1);
    EXPECT_EQ(tables(), 14);
}

TEST_P(PostgreSqlBringUpTest, NeverLogsThePassword)
{
    const QString secret = "s3cr3t'pass word";
    const QString socket = m_database.location().section(';', 1, 1);
    const QStringList locations{
        QString("PGSQL;%1;port:5432;user:nobody_at_all;password:%2;database:postgres").arg(socket, secret),
        QString("PGSQL;%1;port:5432;user:tolm;password:%2;database:no_such_database").arg(socket, secret),
        QString("PGSQL;%1;port:abc;user:tolm;password:%2;database:postgres").arg(socket, secret),
        QString("PGSQL;%1;port:-7;user:tolm;password:%2;database:postgres").arg(socket, secret),
        QString("PGSQL;%1;port:5433;user:tolm;password:%2;database:postgres").arg(socket, secret),
        QString("PGSQL;host:127.0.0.1;port:9;user:tolm;password:%1;database:postgres").arg(secret),
        QString("PGSQL;host:no.such.host.invalid;user:tolm;password:%1").arg(secret),
    };
    for (const QString &location : locations) {
        m_folder.configure(location);
        const QStringList said = m_folder.run({"recover", "shrink", "lastError", "connections"});
        EXPECT_TRUE(said.contains("recover=false")) << qPrintable(location);
        EXPECT_TRUE(said.contains("shrink=false"));
        EXPECT_TRUE(said.contains("lastError=true"));
        EXPECT_TRUE(said.contains("connections=0"));
        EXPECT_EQ(said.filter("SQL error: Error on connect to database:").size(), 2) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.filter("s3cr3t").isEmpty()) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.filter("password:").isEmpty()) << qPrintable(said.join('\n'));
        EXPECT_FALSE(QFileInfo::exists(m_folder.path("corrupteddb")));
    }
}

} // namespace
} // namespace Tolm::SQL
