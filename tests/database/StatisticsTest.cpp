#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Statistics.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ProcessZone.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <limits>
#include <thread>

namespace Tolm::SQL {
namespace {

class StatisticsTest : public Tests::DatabaseTest {
protected:
    void SetUp() override { m_database.createTables<Statistics>(); }

    int add(quint64 id, const QString &name)
    {
        Statistics feature;
        feature.setId(id);
        feature.setFeatureName(name);
        return feature.insert(m_connection);
    }

    /// The features by id.
    QMap<quint64, QSharedPointer<Statistics>> features()
    {
        const ResultList<Statistics> result = Statistics::select(m_connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        QMap<quint64, QSharedPointer<Statistics>> features;
        for (const auto &feature : result.list)
            features.insert(feature->id(), feature);
        return features;
    }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(StatisticsTest);

TEST_P(StatisticsTest, CountsTheUsesOfEachFeature)
{
    const Tests::ProcessZone zone("America/New_York"); // which skips a clock time that is read here
    constexpr quint64 LastId = std::numeric_limits<qint64>::max();
    const QString name = "it's 100%_\"Ж\" \U0001F5C4\n" + QString(4000, 'x');
    EXPECT_TRUE(features().isEmpty());
    ASSERT_EQ(add(7, name), ResultCode::Ok);
    ASSERT_EQ(add(LastId, {}), ResultCode::Ok);
    EXPECT_EQ(features()[7]->counter(), 0);
    EXPECT_FALSE(features()[7]->lastUseDate().isValid());
    m_database.sql("update statistic set last_use_date_utc = '2024-03-10T02:30:00Z' where id = 7");
    EXPECT_EQ(features()[7]->lastUseDate(), QDateTime({2024, 3, 10}, {2, 30}, Qt::UTC));

    const qint64 before = QDateTime::currentSecsSinceEpoch();
    EXPECT_EQ(Statistics::update(7, m_connection), ResultCode::Ok);
    EXPECT_EQ(Statistics::update(7, m_connection), ResultCode::Ok);
    EXPECT_EQ(Statistics::update(LastId, m_connection), ResultCode::Ok);
    const auto rows = features();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[7]->featureName(), name);
    EXPECT_EQ(rows[7]->counter(), 2);
    EXPECT_EQ(rows[LastId]->counter(), 1);
    EXPECT_EQ(rows[7]->lastUseDate().timeSpec(), Qt::UTC);
    EXPECT_GE(rows[7]->lastUseDate().toSecsSinceEpoch(), before);
    EXPECT_LE(rows[7]->lastUseDate(), QDateTime::currentDateTimeUtc());
}

TEST_P(StatisticsTest, RefusesWhatItCannotCount)
{
    const Tests::ShortWaits shortWaits;
    const int constraintCode = isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted;
    ASSERT_EQ(add(7, "seven"), ResultCode::Ok);
    const Tests::LogCapture log;
    EXPECT_EQ(add(0, "zero"), ResultCode::Error);
    EXPECT_EQ(Statistics::update(0, m_connection), ResultCode::Error);
    EXPECT_EQ(log.complaints(), QString());
    constexpr quint64 TooLarge = quint64(1) << 63U;
    EXPECT_EQ(add(TooLarge, "large"), ResultCode::BadData);
    EXPECT_EQ(Statistics::update(TooLarge, m_connection), ResultCode::BadData);
    EXPECT_EQ(add(7, "again"), constraintCode);
    EXPECT_EQ(Statistics::update(8, m_connection), constraintCode);
    EXPECT_EQ(m_database.rows("select * from statistic"), QStringList("7|seven|0|"));
}

// Asking PostgreSQL for the last key of a session that has made none fails, and takes the caller's transaction along.
TEST_P(StatisticsTest, RegistersAndCountsInsideATransaction)
{
    DatabaseTransaction transaction(m_connection);
    EXPECT_EQ(add(7, "seven"), ResultCode::Ok);
    EXPECT_EQ(Statistics::update(7, m_connection), ResultCode::Ok);
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    EXPECT_EQ(features()[7]->counter(), 1);
}

TEST_P(StatisticsTest, LosesNoUseThatTwoSessionsCountAtOnce)
{
    constexpr int Uses = 100;
    ASSERT_EQ(add(7, "seven"), ResultCode::Ok);
    const auto count = [this] {
        DatabaseConnection connection(m_database.pool());
        for (int use = 0; use < Uses; ++use)
            EXPECT_EQ(Statistics::update(7, connection), ResultCode::Ok);
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(features()[7]->counter(), 2 * Uses);
}

} // namespace
} // namespace Tolm::SQL
