#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Records_p.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QThread>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace Tolm::SQL {
namespace {

int insert(const DatabaseConnection &connection, int id)
{
    Statement statement(connection, "insert into t (id) values (:id)");
    return statement.bind(":id", id).exec();
}

class DatabaseTransactionTest : public Tests::DatabaseTest {
protected:
    void SetUp() override { m_database.sql("create table t (id integer primary key)"); }

    QString stored() { return m_database.rows("select id from t order by id").join(' '); }

    const Tests::ShortWaits m_shortWaits;
};
TOLM_TEST_ON_EVERY_BACKEND(DatabaseTransactionTest);

class SQLiteTransactionTest : public DatabaseTransactionTest {};
TOLM_TEST_ON_SQLITE(SQLiteTransactionTest);

class PostgreSqlTransactionTest : public DatabaseTransactionTest {};
TOLM_TEST_ON_POSTGRESQL(PostgreSqlTransactionTest);

TEST_P(DatabaseTransactionTest, IsPermanentOnceCommittedAndGoneOtherwise)
{
    DatabaseConnection connection(m_database.pool());
    const Tests::LogCapture log;
    {
        DatabaseTransaction transaction(connection);
        EXPECT_TRUE(transaction.isActive());
        EXPECT_EQ(transaction.error(), ResultCode::Ok);
        EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
        EXPECT_EQ(insert(DatabaseConnection(m_database.pool()), 2), ResultCode::Ok) << "a handle of this thread";
        EXPECT_EQ(stored(), "");
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        EXPECT_EQ(stored(), "1 2");
        EXPECT_FALSE(transaction.isActive());
        EXPECT_EQ(transaction.commit(), ResultCode::Error);
        EXPECT_EQ(transaction.rollback(), ResultCode::Error);
    }
    {
        DatabaseTransaction transaction(connection);
        EXPECT_EQ(insert(connection, 3), ResultCode::Ok);
        EXPECT_EQ(transaction.rollback(), ResultCode::Ok);
        EXPECT_EQ(transaction.commit(), ResultCode::Error);
        EXPECT_EQ(insert(connection, 4), ResultCode::Ok) << "on its own again";
    }
    EXPECT_TRUE(log.records().isEmpty());
    try {
        const DatabaseTransaction transaction(connection);
        EXPECT_EQ(insert(connection, 5), ResultCode::Ok);
        throw std::runtime_error("the caller's");
    } catch (const std::runtime_error &) {
        EXPECT_EQ(log.texts(QtDebugMsg), QStringList("DatabaseTransaction: rolled back, it was not committed"));
    }
    EXPECT_EQ(insert(connection, 6), ResultCode::Ok);
    EXPECT_EQ(stored(), "1 2 4 6");
}

TEST_P(DatabaseTransactionTest, SecondOneOfTheThreadIsRefusedAndTheFirstGoesOn)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(DatabaseTransaction(closed).error(), ResultCode::Error);

    DatabaseConnection connection(m_database.pool());
    DatabaseTransaction outer(connection);
    EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
    {
        DatabaseConnection again(m_database.pool());
        DatabaseTransaction inner(again);
        EXPECT_EQ(inner.error(), ResultCode::Error);
        EXPECT_FALSE(inner.isActive());
        EXPECT_EQ(inner.commit(), ResultCode::Error);
    }
    EXPECT_EQ(insert(connection, 2), ResultCode::Ok);
    EXPECT_EQ(stored(), "");
    EXPECT_EQ(outer.commit(), ResultCode::Ok);
    EXPECT_EQ(stored(), "1 2");
}

TEST_P(DatabaseTransactionTest, AfterAFailedStatementNothingIsHalfDone)
{
    DatabaseConnection connection(m_database.pool());
    {
        DatabaseTransaction transaction(connection);
        EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
        EXPECT_NE(insert(connection, 1), ResultCode::Ok);
        if (isSQLite()) {
            EXPECT_EQ(insert(connection, 2), ResultCode::Ok);
            EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        } else {
            EXPECT_NE(insert(connection, 2), ResultCode::Ok);
            EXPECT_NE(transaction.commit(), ResultCode::Ok);
            EXPECT_NE(transaction.commit(), ResultCode::Ok) << "asking twice does not make it good";
        }
    }
    EXPECT_EQ(stored(), isSQLite() ? "1 2" : "");
    DatabaseTransaction next(connection);
    EXPECT_EQ(insert(connection, 3), ResultCode::Ok);
    EXPECT_EQ(next.commit(), ResultCode::Ok);
}

TEST_P(PostgreSqlTransactionTest, LostWithItsConnectionItNeverCommits)
{
    for (const bool openedAgain : {false, true}) {
        DatabaseConnection connection(m_database.pool());
        DatabaseTransaction transaction(connection);
        EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
        Statement pid(connection, "select pg_backend_pid()");
        m_database.sql(QString("select pg_terminate_backend(%1)").arg(selectNumber<int>(pid).value));
        EXPECT_NE(insert(connection, 99), ResultCode::Ok);
        if (!openedAgain) {
            EXPECT_NE(transaction.commit(), ResultCode::Ok);
            continue;
        }
        DatabaseConnection next(m_database.pool());
        DatabaseTransaction nextTransaction(next);
        EXPECT_TRUE(nextTransaction.isActive()) << "the lost one is not in the way";
        EXPECT_EQ(insert(next, 2), ResultCode::Ok);
        EXPECT_NE(transaction.commit(), ResultCode::Ok);
        EXPECT_EQ(stored(), "");
        EXPECT_EQ(nextTransaction.commit(), ResultCode::Ok) << "nor does it end the next one";
    }
    EXPECT_EQ(stored(), "2");
}

TEST_P(SQLiteTransactionTest, UndoneOnAFullDiskItTakesWhatFollowsAlong)
{
    m_database.sql("create table large (bytes blob)");
    DatabaseConnection connection(m_database.pool());
    ASSERT_TRUE(connection.query().exec("PRAGMA max_page_count = 20"));
    const Tests::LogCapture log;
    {
        DatabaseTransaction transaction(connection);
        EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
        Statement fill(connection, "insert into large values (zeroblob(100000))");
        EXPECT_EQ(fill.exec(), ResultCode::StorageError);
        EXPECT_EQ(insert(connection, 2), ResultCode::Ok);
        EXPECT_NE(insert(connection, 2), ResultCode::Ok);
        EXPECT_EQ(transaction.commit(), ResultCode::Error);
        EXPECT_FALSE(transaction.isActive());
    }
    EXPECT_EQ(stored(), "");
    EXPECT_EQ(log.count(QtCriticalMsg, "undone by the database"), 1);
    DatabaseTransaction next(connection);
    EXPECT_EQ(insert(connection, 3), ResultCode::Ok);
    EXPECT_EQ(next.commit(), ResultCode::Ok);
    EXPECT_EQ(stored(), "3");
}

TEST_P(SQLiteTransactionTest, SecondWriterWaitsAtTheBeginning)
{
    DatabaseConnection connection(m_database.pool());
    DatabaseTransaction transaction(connection);
    EXPECT_EQ(insert(connection, 1), ResultCode::Ok);
    std::atomic<bool> started{false};
    std::thread second([&] {
        DatabaseConnection other(m_database.pool());
        started = true;
        DatabaseTransaction waiting(other);
        Statement count(other, "select count(*) from t");
        EXPECT_EQ(selectNumber<int>(count).value, 1) << "it reads what the first has written";
        EXPECT_EQ(insert(other, 2), ResultCode::Ok);
        EXPECT_EQ(waiting.commit(), ResultCode::Ok);
    });
    while (!started)
        QThread::yieldCurrentThread();
    QThread::msleep(50);
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    second.join();
    EXPECT_EQ(stored(), "1 2");
}

TEST_P(SQLiteTransactionTest, BusyAtEitherEndIsToldAndCommitMayBeRepeated)
{
    m_database.sql("PRAGMA journal_mode = DELETE"); // where a reader keeps a writer from its commit
    m_database.sql("insert into t values (1), (2)");
    DatabaseConnection connection(m_database.pool());
    ASSERT_TRUE(connection.query().exec("PRAGMA busy_timeout = 20"));
    m_database.sql("begin immediate");
    {
        DatabaseTransaction refused(connection);
        EXPECT_EQ(refused.error(), ResultCode::RetriesExhausted);
        EXPECT_FALSE(refused.isActive());
        EXPECT_NE(refused.commit(), ResultCode::Ok);
    }
    m_database.sql("rollback");

    m_database.sql("begin");
    EXPECT_EQ(stored(), "1 2");
    DatabaseTransaction transaction(connection);
    EXPECT_EQ(insert(connection, 3), ResultCode::Ok);
    EXPECT_EQ(transaction.commit(), ResultCode::RetriesExhausted);
    EXPECT_TRUE(transaction.isActive());
    m_database.sql("rollback");
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    EXPECT_EQ(stored(), "1 2 3");

    // Any other failure ends it.
    m_database.sql("create table child (id integer references t (id) deferrable initially deferred)");
    ASSERT_TRUE(connection.query().exec("PRAGMA foreign_keys = ON"));
    DatabaseTransaction orphan(connection);
    EXPECT_TRUE(connection.query().exec("insert into child values (77)"));
    EXPECT_EQ(orphan.commit(), ResultCode::Constraint);
    EXPECT_FALSE(orphan.isActive());
    EXPECT_EQ(m_database.value("select count(*) from child"), 0);
}

} // namespace
} // namespace Tolm::SQL
