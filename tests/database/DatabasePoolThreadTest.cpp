#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Records_p.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QRegularExpression>

#include <atomic>
#include <thread>
#include <vector>

namespace Tolm::SQL {
namespace {

constexpr int Threads = 32;

class DatabasePoolThreadTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.sql("create table t (id integer primary key, thread integer)");
        Timing::instance().retryUnit = 50;
    }

    /// What a thread of a host does: handles that overlap, a cached statement, one that is still on its row, a write.
    void work(int thread, int rounds)
    {
        for (int round = 0; round < rounds; ++round) {
            DatabaseConnection outer(m_database.pool());
            if (isSQLite())
                outer.query().exec("PRAGMA synchronous = OFF"); // the disk is not what is tested
            {
                const DatabaseConnection inner(m_database.pool());
                Statement open(inner, "select id from t");
                Statement count(inner, "select count(*) from t where thread = :thread");
                count.bind(":thread", thread);
                const ResultValue<int> rows = selectNumber<int>(count);
                if (open.exec() != ResultCode::Ok || rows.error != ResultCode::Ok || rows.value != round)
                    ++m_wrong;
            }
            std::this_thread::yield();
            DatabaseTransaction transaction(outer);
            Statement insert(outer, "insert into t (id, thread) values (:id, :thread)");
            insert.bind(":id", thread * 1000 + round).bind(":thread", thread);
            if (insert.exec() != ResultCode::Ok || transaction.commit() != ResultCode::Ok)
                ++m_wrong;
        }
    }

    const Tests::ShortWaits m_shortWaits;
    std::atomic<int> m_wrong{0};
};
TOLM_TEST_ON_EVERY_BACKEND(DatabasePoolThreadTest);

TEST_P(DatabasePoolThreadTest, ChurnUnderSweepsLosesNothingAndClosesEverything)
{
    constexpr int Waves = 4;
    constexpr int Rounds = 3;
    const int before = QSqlDatabase::connectionNames().size();
    const Tests::LogCapture log;
    for (int wave = 0; wave < Waves; ++wave) {
        std::atomic<int> working{Threads};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < Threads; ++thread) {
            threads.emplace_back([&, id = wave * Threads + thread] {
                work(id, Rounds);
                --working;
            });
        }
        // Every other wave is left alone, so that the next one's threads find connections of threads that are gone.
        while (working > 0 && wave % 2 == 0) {
            Tests::sweep(*m_database.pool());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_LE(QSqlDatabase::connectionNames().size(), before + 2 * Threads);
    }
    EXPECT_EQ(m_wrong, 0);
    EXPECT_EQ(m_database.value("select count(*) from t").toInt(), Waves * Threads * Rounds);

    // A use that was lost would keep its connection.
    Tests::sweep(*m_database.pool());
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), before);
    EXPECT_FALSE(log.mentions("still in use") || log.mentions("Unable to free statement"));
    const QStringList opened = log.texts(QtDebugMsg, "add new db connection");
    const QRegularExpression whole(
        R"(^DatabasePool: add new db connection \( \{[\w-]{36}\} \), current connection count: \d+$)");
    EXPECT_GE(opened.size(), Threads);
    EXPECT_EQ(opened.filter(whole).size(), opened.size());
}

} // namespace
} // namespace Tolm::SQL
