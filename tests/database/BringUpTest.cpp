#include <tests/support/CatalogueFolder.h>
#include <tests/support/OwnConnection.h>
#include <tests/support/TestDatabase.h>

#include <QDir>
#include <QFileInfo>
#include <QThread>

#include <sys/stat.h>

namespace Tolm::SQL {
namespace {

using Tests::CatalogueFolder;
using Tests::OwnConnection;

const QString CountTables = "select count(*) from sqlite_master where type = 'table' and name not like 'sqlite_%'";
const QString CountRows = "select count(*) from metadata";

class BringUpTest : public testing::Test {
protected:
    /// Expects that both ways of bringing up fail with `reason` in the log, and that no file is made, changed or
    /// removed.
    void expectUntouched(const QString &reason, const QStringList &before = {}) const
    {
        const auto files = m_folder.snapshot();
        const QStringList said =
            m_folder.run(before + QStringList{"init", "recover", "lastError", "isInit", "connections"});
        EXPECT_TRUE(CatalogueFolder::answersIn(said).endsWith(
            "init=false recover=false lastError=true isInit=false connections=0"))
            << qPrintable(said.join('\n'));
        EXPECT_EQ(said.filter(reason).size(), 2) << qPrintable(said.join('\n'));
        EXPECT_EQ(m_folder.snapshot(), files);
        EXPECT_FALSE(QFileInfo::exists(m_folder.path("corrupteddb")));
    }

    /// The modes of a database and its companions.
    static QStringList modesOf(const QString &file)
    {
        QStringList modes;
        for (const char *suffix : {"", "-wal", "-shm"}) {
            struct stat status {};
            if (::stat(qPrintable(file + suffix), &status) == 0)
                modes << QString::number(status.st_mode & 0777, 8);
        }
        return modes;
    }

    static void setMode(const QString &path, mode_t mode) { ASSERT_EQ(::chmod(qPrintable(path), mode), 0); }

    const CatalogueFolder m_folder{};
    const QStringList m_everyone{"666", "666", "666"};
};

TEST_F(BringUpTest, MakesANewFile)
{
    const mode_t before = ::umask(077);
    const auto child = m_folder.start({"init", "init", "connections", "lastError", "sql", CountTables, "sql", CountRows,
                                       "sql", "PRAGMA journal_mode", "wait"});
    EXPECT_TRUE(child->waitFor("ready"));
    ::umask(before);
    EXPECT_EQ(modesOf(m_folder.file()), m_everyone);
    child->proceed();
    const QStringList said = child->finish();
    EXPECT_EQ(CatalogueFolder::answersIn(said), // the one connection is the pool's template
              "init=true init=true connections=1 lastError=false sql=14 sql=1 sql=wal wait=proceeding");
    EXPECT_EQ(said.filter("SQL info: "),
              (QStringList{"SQL info: Use sqlite database", "SQL info: Create new DB structure"}));
    EXPECT_TRUE(said.filter("warning: ").isEmpty() && said.filter("error: ").isEmpty()) << qPrintable(said.join('\n'));
}

TEST_F(BringUpTest, LeavesAnExistingDatabaseAsItIs)
{
    {
        const OwnConnection own(m_folder.file());
        own.sql("PRAGMA locking_mode=EXCLUSIVE");
        own.sql("create table other as select 7 as x");
    }
    setMode(m_folder.file(), 0640);
    const QStringList said = m_folder.run({"init", "sql", CountTables, "sql", "PRAGMA journal_mode", "sql",
                                           "PRAGMA locking_mode", "sql", "select x from other"});
    EXPECT_EQ(CatalogueFolder::answersIn(said), "init=true sql=1 sql=wal sql=normal sql=7");
    EXPECT_EQ(said.filter("SQL info: "), QStringList{"SQL info: Use sqlite database"});
    EXPECT_EQ(modesOf(m_folder.file()).first(), "640");
}

TEST_F(BringUpTest, MakesTheSchemaInAnEmptyFileWhereverItIs)
{
    ASSERT_TRUE(QDir().mkdir(m_folder.path("deep")));
    ASSERT_TRUE(QDir().mkdir(m_folder.path("elsewhere")));
    const QString target = m_folder.path("elsewhere/Каталог %1 'x'.db");
    CatalogueFolder::write(target, {});
    setMode(target, 0600);
    ASSERT_TRUE(QFile::link(target, m_folder.path("deep/link.db")));
    m_folder.configure("link.db");
    // The working folder changes after the bring-up, before the thread's first connection is opened.
    EXPECT_EQ(m_folder.answers({"folder", m_folder.path("deep"), "init", "folder", "/", "sql", CountTables}),
              "folder=true init=true folder=true sql=14");
    EXPECT_EQ(modesOf(target), m_everyone); // of the child that did not close its connections
    EXPECT_TRUE(QFileInfo(m_folder.path("deep/link.db")).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(m_folder.file()));
}

TEST_F(BringUpTest, RefusesWhatItCannotOpen)
{
    m_folder.configure(m_folder.path("nowhere/catalogue.db"));
    expectUntouched("Error on open database:");
    ASSERT_TRUE(QDir().mkdir(m_folder.path("folder.db")));
    m_folder.configure(m_folder.path("folder.db"));
    expectUntouched("Drivers: QSQLITE");
}

TEST_F(BringUpTest, RefusesWhatItMayNotWrite)
{
    OwnConnection(m_folder.file()).sql("create table other (x)");
    setMode(m_folder.path("."), 0777);
    setMode(m_folder.file(), 0444);
    expectUntouched("Error on set database journal mode database: attempt to write a readonly database", {"nobody"});

    // A folder where SQLite cannot make the companions that WAL needs.
    setMode(m_folder.file(), 0644);
    ASSERT_EQ(m_folder.answers({"init"}), "init=true");
    setMode(m_folder.path("."), 0555);
    setMode(m_folder.file(), 0444);
    expectUntouched("Error on check database", {"nobody"});
    setMode(m_folder.path("."), 0700);
}

TEST_F(BringUpTest, LeavesALockedDatabaseAlone)
{
    OwnConnection(m_folder.file()).sql("create table other (x)");
    const auto holder = m_folder.start({"host", m_folder.file(), "hostSql", "BEGIN EXCLUSIVE", "wait"});
    ASSERT_TRUE(holder->waitFor("ready"));
    expectUntouched("Error on check database journal mode database: database is locked", {"busy", "50"});
    holder->kill();
    EXPECT_EQ(m_folder.answers({"init"}), "init=true");
}

TEST_F(BringUpTest, LeavesOtherConnectionsAlone)
{
    const QStringList said =
        m_folder.run({"host", m_folder.path("host.db"), "init", "hostSql", "create table mine (x)", "hostSql",
                      "select count(*) from mine", "sqlite", m_folder.path("other.db"), "sql", CountTables});
    EXPECT_EQ(CatalogueFolder::answersIn(said), "host=true init=true hostSql= hostSql=0 sqlite=false sql=14");
    EXPECT_EQ(said.filter("error: "),
              QStringList{"SQL error: DatabasePool: error on init database. default pool database already init"});
    EXPECT_EQ(m_folder.answers({"sqlite", "", "sqlite", m_folder.path("direct.db"), "isInit", "connections"}),
              "sqlite=false sqlite=true isInit=true connections=1");
}

TEST_F(BringUpTest, ShrinksTheFile)
{
    ASSERT_EQ(m_folder.answers({"init"}), "init=true");
    const OwnConnection own(m_folder.file());
    own.sql("create table big as with recursive n(i) as (select 1 union all select i + 1 from n where i < 2000) "
            "select i, zeroblob(1000) from n");
    own.sql("delete from big");
    const int before = own.sql("PRAGMA page_count").first().toInt();
    EXPECT_EQ(m_folder.answers({"init", "shrink"}), "init=true shrink=true");
    EXPECT_LT(own.sql("PRAGMA page_count").first().toInt(), before / 2);

    const QStringList said = m_folder.run({"init", "begin", "shrink"});
    EXPECT_TRUE(said.contains("shrink=false"));
    EXPECT_EQ(said.filter("SQL error: Error on shrink database: cannot VACUUM from within a transaction").size(), 1)
        << qPrintable(said.join('\n'));
}

TEST_F(BringUpTest, LetsProcessesStartTogetherOnANewFile)
{
    for (int round = 0; round < 5; ++round) {
        const CatalogueFolder folder;
        const auto all = folder.runTogether(4, {"wait", "init", "lastError", "sql", CountTables, "sql", CountRows});
        int created = 0;
        for (const QStringList &said : all) {
            EXPECT_EQ(CatalogueFolder::answersIn(said), "wait=proceeding init=true lastError=false sql=14 sql=1");
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
        const CatalogueFolder folder;
        const QStringList said = folder.run({"deadly", QString::number(bytes), "init"});
        if (said.contains("init=true"))
            break;
        ASSERT_EQ(said.filter("ended with").size(), 1) << qPrintable(said.join('\n'));
        ++killed;
        const QString tables = OwnConnection(folder.file()).sql(CountTables).first();
        EXPECT_TRUE(tables == "0" || tables == "14") << qPrintable(tables) << " tables after " << bytes;
        EXPECT_EQ(folder.answers({"init", "sql", CountTables}), "init=true sql=14");
        EXPECT_EQ(modesOf(folder.file()).first(), "666");
    }
    EXPECT_GT(killed, 5);
}

// A disk that is full: an error and no signal.
TEST_F(BringUpTest, FailsOnAFullDiskAndComesUpLater)
{
    for (const char *bytes : {"0", "3000", "60000"}) {
        const CatalogueFolder folder;
        const QStringList said = folder.run({"full", bytes, "recover", "isInit", "connections"});
        EXPECT_EQ(CatalogueFolder::answersIn(said), "full=true recover=false isInit=false connections=0");
        EXPECT_FALSE(said.filter("SQL error: ").isEmpty() && said.filter("SQL warning: ").isEmpty());
        EXPECT_FALSE(QFileInfo::exists(folder.path("corrupteddb")));
        EXPECT_EQ(folder.answers({"init", "sql", CountTables}), "init=true sql=14");
    }
}

// ---- PostgreSQL --------------------------------------------------------------------------------------------------

class PostgreSqlBringUpTest : public Tests::DatabaseTest {
protected:
    PostgreSqlBringUpTest() { m_folder.configure(m_database.location()); }

    int tables()
    {
        return m_database.value("select count(*) from pg_tables where schemaname = current_schema()").toInt();
    }

    const CatalogueFolder m_folder{};
};
TOLM_TEST_ON_POSTGRESQL(PostgreSqlBringUpTest);

TEST_P(PostgreSqlBringUpTest, MakesTheSchemaOnce)
{
    const QStringList said = m_folder.run(
        {"init", "init", "connections", "shrink", "sql", CountRows, "postgres", m_database.location(), "recover"});
    EXPECT_EQ(CatalogueFolder::answersIn(said),
              "init=true init=true connections=1 shrink=true sql=1 postgres=false recover=true");
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
    int created = 0;
    for (const QStringList &said : m_folder.runTogether(4, {"wait", "init", "sql", CountRows})) {
        EXPECT_EQ(CatalogueFolder::answersIn(said), "wait=proceeding init=true sql=1") << qPrintable(said.join('\n'));
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
    EXPECT_EQ(m_folder.answers({"init", "sql", CountRows}), "init=true sql=1");
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
    EXPECT_EQ(CatalogueFolder::answersIn(said),
              "recover=false isInit=false connections=0 wait=proceeding init=true isInit=true");
    EXPECT_EQ(said.filter("SQL error: Can't create Statistics!").size(), 1);
    EXPECT_EQ(tables(), 14);
}

TEST_P(PostgreSqlBringUpTest, NeverLogsThePassword)
{
    const QString socket = m_database.location().section(';', 1, 1);
    const QStringList servers{
        socket + ";port:5432;user:nobody_at_all;database:postgres",
        socket + ";port:5432;user:tolm;database:no_such_database",
        socket + ";port:-7;user:tolm;database:postgres",
        "host:127.0.0.1;port:9;user:tolm;database:postgres",
        "host:no.such.host.invalid;user:tolm",
    };
    for (const QString &server : servers) {
        m_folder.configure("PGSQL;password:s3cr3t'pass word;" + server);
        const QStringList said = m_folder.run({"recover", "shrink", "lastError", "connections"});
        EXPECT_EQ(CatalogueFolder::answersIn(said), "recover=false shrink=false lastError=true connections=0");
        EXPECT_EQ(said.filter("SQL error: Error on connect to database:").size(), 2) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.filter("s3cr3t").isEmpty()) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.filter("password:").isEmpty()) << qPrintable(said.join('\n'));
    }
    EXPECT_FALSE(QFileInfo::exists(m_folder.path("corrupteddb")));
}

} // namespace
} // namespace Tolm::SQL
