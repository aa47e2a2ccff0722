#include <repository/database/ExecQuery.h>
#include <repository/database/ResultCode.h>
#include <repository/database/SQLiteResultCodes.h>

#include <tests/support/CatalogueFolder.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QFile>
#include <QSqlError>
#include <QThread>
#include <gmock/gmock.h>

#include <thread>

namespace Tolm::SQL {
namespace {

using testing::MatchesRegex;

/// How each record begins.
QStringList beginningsOf(const Tests::LogCapture &log)
{
    QStringList beginnings;
    for (const Tests::LogRecord &record : log.records())
        beginnings << record.text.section(QLatin1Char(' '), 0, 2).section(QLatin1Char('\n'), 0, 0);
    return beginnings;
}

/// Those of a statement that is tried four times in vain.
const QStringList FourAttempts{
    "Error on exec", "Permissions", "Go to retry", "Error on exec", "Permissions", "Go to retry",
    "Error on exec", "Permissions", "Go to retry", "Error on exec", "Permissions",
};

/// The lock that another connection holds is to be met at once, not after the driver's own patience.
void waitShortly(const DatabaseConnection &connection)
{
    ASSERT_TRUE(connection.query().exec("PRAGMA busy_timeout = 20"));
}

class ExecQueryTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.sql(QString("create table t (id integer primary key, name text unique, secret %1)")
                           .arg(isSQLite() ? "blob" : "bytea"));
    }

    const Tests::ShortWaits m_shortWaits;
};
TOLM_TEST_ON_EVERY_BACKEND(ExecQueryTest);

class SQLiteExecQueryTest : public ExecQueryTest {};
TOLM_TEST_ON_SQLITE(SQLiteExecQueryTest);

class PostgreSqlExecQueryTest : public ExecQueryTest {};
TOLM_TEST_ON_POSTGRESQL(PostgreSqlExecQueryTest);

TEST_P(SQLiteExecQueryTest, ConstraintFailureIsOneRecordWithEverythingButTheBytes)
{
    m_database.sql("insert into t values (1, 'a', null)");
    DatabaseConnection connection(m_database.pool());
    QSqlQuery query = connection.query();
    query.prepare("insert into t values (:id, :name, :secret)");
    query.bindValue(":id", 2);
    query.bindValue(":name", "a");
    query.bindValue(":secret", QByteArray("key material"));
    const Tests::LogCapture log;
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Constraint);
    EXPECT_EQ(query.lastError().nativeErrorCode(), "19");

    const auto records = log.records();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].type, QtWarningMsg);
    EXPECT_THAT(records[0].text.toStdString(),
                MatchesRegex("Error on exec sql query: \n"
                             "\tdatabase text: UNIQUE constraint failed: t.name \n"
                             "\tdriver text: Unable to fetch row \n"
                             "\terror code: 19 \n"
                             "\terror query: insert into t values \\(:id, :name, :secret\\) \n"
                             "\tvalues: QMap\\(\\(:id, QVariant\\(int, 2\\)\\)\\(:name, QVariant\\(QString, a\\)\\)"
                             "\\(:secret, QVariant\\(QString, 12 bytes\\)\\)\\) \n"
                             "\ttimeout: [0-9]+"));
    EXPECT_FALSE(log.mentions("key material"));
}

TEST_P(SQLiteExecQueryTest, LockHeldElsewhereIsReportedAndTriedFourTimes)
{
    const Tests::CatalogueFolder config;
    for (const QString name : {"b.db", "A.db", ".hidden"}) {
        Tests::CatalogueFolder::write(config.path(name), {});
        ASSERT_TRUE(QFile::setPermissions(config.path(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    }
    qputenv("TOLM_CONFIG_ROOT", config.path(".").toUtf8());
    m_database.sql("begin immediate");
    DatabaseConnection connection(m_database.pool());
    waitShortly(connection);
    QSqlQuery query = connection.query();
    query.prepare("insert into t (name) values (:name)");
    query.bindValue(":name", "a");
    const Tests::LogCapture log;
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::RetriesExhausted);
    m_database.sql("rollback");
    qunsetenv("TOLM_CONFIG_ROOT");

    EXPECT_EQ(beginningsOf(log), FourAttempts);
    EXPECT_EQ(log.texts(QtInfoMsg), (QStringList{"Go to retry sql query: 0 / 3", "Go to retry sql query: 1 / 3",
                                                 "Go to retry sql query: 2 / 3"}));
    EXPECT_EQ(log.count(QtWarningMsg, "error code: 5"), 4);
    const std::string folder = config.path(".").toStdString();
    EXPECT_THAT(log.texts(QtDebugMsg).first().toStdString(),
                MatchesRegex("Permissions\n " + folder + "/\\.\t\t\txxx-xxx-___-___\n" + folder +
                             "/\\.\\.\t\t\t[rwx_-]+\n" + folder + "/A.db\t\t\txx_-xx_-x__-___\n" + folder +
                             "/b.db\t\t\txx_-xx_-x__-___\n ------------"));
    EXPECT_EQ(log.count(QtDebugMsg), 4);

    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Ok) << "the lock is gone";
    EXPECT_EQ(m_database.value("select name from t").toString(), "a");
}

// A read-only database is tried again like a busy one: its file may just be changing hands.
TEST_P(SQLiteExecQueryTest, ReadOnlyIsTriedAgainAndAMissingTableIsNot)
{
    DatabaseConnection connection(m_database.pool());
    ASSERT_TRUE(connection.query().exec("PRAGMA query_only = 1"));
    QSqlQuery query = connection.query();
    query.prepare("insert into t (name) values ('a')");
    Tests::LogCapture log;
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::RetriesExhausted);
    EXPECT_EQ(beginningsOf(log), FourAttempts);

    log.clear();
    query.prepare("select name from nowhere where id = :id");
    query.bindValue(":id", 1);
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Error);
    EXPECT_EQ(ExecQuery(query, "select name from nowhere").exec(), ResultCode::Error);
    EXPECT_EQ(beginningsOf(log), (QStringList{"Error on exec", "Error on exec"}));
    EXPECT_EQ(log.count(QtWarningMsg, "database text: no such table: nowhere"), 2);
}

TEST_P(SQLiteExecQueryTest, BusyAtPrepareTimeIsTriedAgainWithTheSameValues)
{
    // Without WAL a reader has to wait for an exclusive lock, and already for reading the schema.
    m_database.sql("PRAGMA journal_mode = DELETE");
    m_database.sql("insert into t (id, name) values (1, 'a')");
    m_database.sql("begin exclusive");
    Timing::instance().retryUnit = 500;

    const Tests::LogCapture log;
    bool prepared = true;
    int code = -1;
    QString name;
    std::thread reader([&] {
        DatabaseConnection connection(m_database.pool());
        waitShortly(connection);
        QSqlQuery query = connection.query();
        prepared = query.prepare("select name from t where id = :id");
        query.bindValue(":id", 1);
        code = ExecQuery(query).exec();
        name = query.next() ? query.value(0).toString() : QString();
    });
    for (int waits = 0; waits < 1000 && log.count(QtInfoMsg, "Go to retry") == 0; ++waits)
        QThread::msleep(10);
    m_database.sql("commit");
    reader.join();

    EXPECT_FALSE(prepared);
    EXPECT_EQ(code, ResultCode::Ok);
    EXPECT_EQ(name, "a");
    EXPECT_GE(log.count(QtWarningMsg, "error code: 5"), 1);
    EXPECT_EQ(log.count(QtWarningMsg), log.count(QtWarningMsg, "error code: 5")) << "and not once 'No query'";
}

TEST_P(ExecQueryTest, PreparingAgainKeepsNamedAndPositionalValues)
{
    DatabaseConnection connection(m_database.pool());
    QSqlQuery named = connection.query();
    QSqlQuery positional = connection.query();
    EXPECT_FALSE(named.prepare("insert into late (c1, c2, c3, c4) values (:b, :a, :b, :none)"));
    named.bindValue(":a", "first");
    named.bindValue(":b", QString::fromUtf8("second 'Ж'"));
    named.bindValue(":none", QString());
    EXPECT_FALSE(positional.prepare("insert into late values (?,?,?,?,?,?,?,?,?,?,?,'a:b ?')"));
    for (int value = 1; value <= 11; ++value)
        positional.addBindValue(QString::number(value));

    m_database.sql("create table late (c1 text, c2 text, c3 text, c4 text, c5 text, c6 text, c7 text, c8 text, "
                   "c9 text, c10 text, c11 text, c12 text)");
    EXPECT_EQ(ExecQuery(named).exec(), ResultCode::Ok);
    EXPECT_EQ(ExecQuery(positional).exec(), ResultCode::Ok);

    EXPECT_EQ(m_database.sql("select c1, c2, c3, c4 from late where c5 is null").first(),
              (QVariantList{QString::fromUtf8("second 'Ж'"), "first", QString::fromUtf8("second 'Ж'"),
                            QVariant(QVariant::String)}));
    EXPECT_EQ(m_database.sql("select * from late where c5 is not null").first(),
              (QVariantList{"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "a:b ?"}));
}

TEST_P(SQLiteExecQueryTest, PreparingAgainReadsTheTextAsTheDriverDoes)
{
    DatabaseConnection connection(m_database.pool());
    QSqlQuery query = connection.query();
    EXPECT_FALSE(query.prepare("insert into late ([a:b], `c:d`) values (?, ?)"));
    query.addBindValue(1);
    query.addBindValue(2);
    m_database.sql("create table late ([a:b] integer, `c:d` integer)");
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Ok);
    EXPECT_EQ(m_database.sql("select * from late").value(0), (QVariantList{1, 2}));
}

TEST_P(SQLiteExecQueryTest, SlowStatementIsReportedWhetherItWorkedOrNot)
{
    DatabaseConnection connection(m_database.pool());
    QSqlQuery query = connection.query();
    query.prepare("insert into t (name) values ('a')");
    Timing::instance().slowStatement = -1;
    const Tests::LogCapture log;
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Ok);
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Constraint);
    EXPECT_EQ(beginningsOf(log), (QStringList{"Slow SQL query.", "Error on exec", "Slow SQL query."}));
    const QStringList reports = log.texts(QtWarningMsg, "Slow");
    for (const int worked : {1, 0}) {
        EXPECT_THAT(reports[1 - worked].toStdString(),
                    MatchesRegex(std::string("Slow SQL query\\. timeout: [0-9]+ \n insert into t \\(name\\) values "
                                             "\\('a'\\) \nresult code: ") +
                                 (worked ? "" : "19") + " \n#####################################"));
    }
}

TEST_P(PostgreSqlExecQueryTest, EveryErrorIsTriedFourTimes)
{
    DatabaseConnection connection(m_database.pool());
    QSqlQuery query = connection.query();
    const Tests::LogCapture log;
    query.prepare("selekt 1");
    EXPECT_EQ(ExecQuery(query).exec(), ResultCode::RetriesExhausted);
    EXPECT_EQ(beginningsOf(log), FourAttempts);
    EXPECT_EQ(log.count(QtWarningMsg, "error code: 42601"), 4);
}

// The driver of a closed connection fails without any error: that must not read as success.
TEST_P(ExecQueryTest, NoConnectionAndAClosedOneAreRefusedAtOnce)
{
    {
        QSqlDatabase closed = m_database.open("closed");
        closed.close();
        QPointer<DatabasePool> nobody;
        const Tests::LogCapture log;
        for (QSqlQuery query : {QSqlQuery(closed), DatabaseConnection(nobody).query()}) {
            EXPECT_EQ(ExecQuery(query, "select 1").exec(), ResultCode::Error);
            query.prepare("select 1");
            EXPECT_EQ(ExecQuery(query).exec(), ResultCode::Error);
        }
        EXPECT_EQ(log.records().size(), 4);
        EXPECT_EQ(log.count(QtCriticalMsg, "no database connection"), 4);
    }
    QSqlDatabase::removeDatabase("closed");
}

TEST(SQLiteResultCodesTest, SortsThePublishedCodesAndNoOthers)
{
    const auto codeOf = [](const QString &native) {
        return SQLiteResultCodes::to(QSqlError("driver", "database", QSqlError::StatementError, native));
    };
    const Tests::LogCapture log;
    const QVector<int> expected{0, 2, 2, 3, 2, 4, 4, 2, 5, 2, 9, 7, 6, 9, 7, 4, -1, 7, 6, 8, 6, 2, 2, 3, -1, 6, 2};
    for (int native = 0; native < expected.size(); ++native)
        EXPECT_EQ(codeOf(QString::number(native)), expected[native] < 0 ? ResultCode::Unknown : expected[native]);
    EXPECT_EQ(log.texts(QtWarningMsg),
              QStringList({"Unknown sqlite return code: 16", "Unknown sqlite return code: 24"}));
    EXPECT_EQ(SQLiteResultCodes::to(QSqlError("d", "t", QSqlError::NoError, "5")), ResultCode::Ok);
    for (const QString native : {"-1", "27", "999", "", "42P01", "5x", "99999999999"}) {
        EXPECT_EQ(codeOf(native), ResultCode::Unknown);
        EXPECT_TRUE(log.texts(QtWarningMsg).last().endsWith("ode: " + native));
    }
    EXPECT_EQ(log.count(QtWarningMsg, "Unknown sqlite return nativeErrorCode: "), 4);
}

} // namespace
} // namespace Tolm::SQL
