#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Statistics.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ProcessZone.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QVersionNumber>

#include <limits>
#include <thread>

namespace Tolm::SQL {
namespace {

class StatisticsTest : public Tests::DatabaseTest {
protected:
    void SetUp() override { m_database.createTables<Statistics>(); }

    static int add(quint64 id, const QString &name, DatabaseConnection &connection)
    {
        Statistics feature;
        feature.setId(id);
        feature.setFeatureName(name);
        const int code = feature.insert(connection);
        EXPECT_EQ(feature.id(), id);
        return code;
    }

    // The features by id.
    static QMap<quint64, QSharedPointer<Statistics>> features(DatabaseConnection &connection)
    {
        const ResultList<Statistics> result = Statistics::select(connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        QMap<quint64, QSharedPointer<Statistics>> features;
        for (const auto &feature : result.list)
            features.insert(feature->id(), feature);
        return features;
    }

    int constraintCode() const { return isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted; }
};
TOLM_TEST_ON_EVERY_BACKEND(StatisticsTest);

TEST_P(StatisticsTest, CountsTheUsesOfEachFeature)
{
    constexpr quint64 LastId = std::numeric_limits<qint64>::max();
    const QString name = QStringLiteral("it's 100%_\"Ж\" \U0001F5C4\n") + QString(4000, QLatin1Char('x'));
    DatabaseConnection connection(m_database.pool());
    EXPECT_TRUE(features(connection).isEmpty());
    ASSERT_EQ(add(7, name, connection), ResultCode::Ok);
    ASSERT_EQ(add(LastId, QString(), connection), ResultCode::Ok);
    EXPECT_EQ(features(connection)[7]->counter(), 0);
    EXPECT_FALSE(features(connection)[7]->lastUseDate().isValid());

    EXPECT_EQ(Statistics::update(7, connection), ResultCode::Ok);
    m_database.sql(QStringLiteral("update statistic set last_use_date_utc = '2020-01-02T03:04:05Z' where id = 7"));
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    EXPECT_EQ(Statistics::update(7, connection), ResultCode::Ok);
    EXPECT_EQ(Statistics::update(LastId, connection), ResultCode::Ok);
    const qint64 after = QDateTime::currentSecsSinceEpoch();

    const auto rows = features(connection);
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[7]->featureName(), name);
    EXPECT_EQ(rows[7]->counter(), 2);
    EXPECT_EQ(rows[7]->lastUseDate().timeSpec(), Qt::UTC);
    EXPECT_EQ(rows[7]->lastUseDate().time().msec(), 0);
    EXPECT_GE(rows[7]->lastUseDate().toSecsSinceEpoch(), before);
    EXPECT_LE(rows[7]->lastUseDate().toSecsSinceEpoch(), after);
    EXPECT_EQ(rows[LastId]->counter(), 1);
}

TEST_P(StatisticsTest, RefusesWhatItCannotCount)
{
    const Tests::ShortWaits shortWaits;
    DatabaseConnection connection(m_database.pool());
    ASSERT_EQ(add(7, QStringLiteral("seven"), connection), ResultCode::Ok);

    Tests::LogCapture log;
    EXPECT_EQ(add(0, QStringLiteral("zero"), connection), ResultCode::Error);
    EXPECT_EQ(Statistics::update(0, connection), ResultCode::Error);
    EXPECT_EQ(log.complaints(), QString());
    constexpr quint64 TooLarge = quint64(1) << 63U;
    EXPECT_EQ(add(TooLarge, QStringLiteral("large"), connection), ResultCode::BadData);
    EXPECT_EQ(Statistics::update(TooLarge, connection), ResultCode::BadData);
    EXPECT_EQ(add(7, QStringLiteral("again"), connection), constraintCode());
    EXPECT_EQ(Statistics::update(8, connection), constraintCode());

    const auto rows = features(connection);
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[7]->featureName(), QStringLiteral("seven"));
    EXPECT_EQ(rows[7]->counter(), 0);

    m_database.sql(QStringLiteral("drop table statistic"));
    const ResultList<Statistics> failed = Statistics::select(connection);
    EXPECT_EQ(failed.error, isSQLite() ? ResultCode::Error : ResultCode::RetriesExhausted);
    EXPECT_TRUE(failed.list.isEmpty());

    log.clear();
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(add(9, QStringLiteral("nine"), closed), ResultCode::Error);
    EXPECT_EQ(Statistics::update(9, closed), ResultCode::Error);
    EXPECT_EQ(Statistics::select(closed).error, ResultCode::Error);
    EXPECT_TRUE(log.records().isEmpty());
}

// Asking PostgreSQL for the last key of a session that has made none fails, and takes the caller's transaction along.
TEST_P(StatisticsTest, RegistersAndCountsInsideATransaction)
{
    const Tests::LogCapture log;
    DatabaseConnection connection(m_database.pool());
    DatabaseTransaction transaction(connection);
    EXPECT_EQ(add(7, QStringLiteral("seven"), connection), ResultCode::Ok);
    EXPECT_EQ(Statistics::update(7, connection), ResultCode::Ok);
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    EXPECT_EQ(features(connection)[7]->counter(), 1);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(StatisticsTest, ReadsTheClockTimesThatTheZoneOfTheProcessSkips)
{
    const Tests::ProcessZone zone("America/New_York");
    m_database.sql(QStringLiteral("insert into statistic values (1, 'skipped', 1, '2024-03-10T02:30:00Z'), "
                                  "(2, 'repeated', 1, '2024-11-03T01:30:00Z')"));
    DatabaseConnection connection(m_database.pool());
    ASSERT_EQ(add(4, QStringLiteral("now"), connection), ResultCode::Ok);
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    ASSERT_EQ(Statistics::update(4, connection), ResultCode::Ok);

    const auto rows = features(connection);
    EXPECT_EQ(rows[1]->lastUseDate(), QDateTime({2024, 3, 10}, {2, 30}, Qt::UTC));
    EXPECT_EQ(rows[2]->lastUseDate(), QDateTime({2024, 11, 3}, {1, 30}, Qt::UTC));
    EXPECT_GE(rows[4]->lastUseDate().toSecsSinceEpoch(), before);
    EXPECT_LE(rows[4]->lastUseDate().toSecsSinceEpoch(), QDateTime::currentSecsSinceEpoch());
}

TEST_P(StatisticsTest, LosesNoUseThatTwoSessionsCountAtOnce)
{
    constexpr int Uses = 100;
    {
        DatabaseConnection connection(m_database.pool());
        ASSERT_EQ(add(7, QStringLiteral("seven"), connection), ResultCode::Ok);
    }
    const auto count = [this] {
        DatabaseConnection connection(m_database.pool());
        for (int use = 0; use < Uses; ++use)
            EXPECT_EQ(Statistics::update(7, connection), ResultCode::Ok);
    };
    std::thread other(count);
    count();
    other.join();
    DatabaseConnection connection(m_database.pool());
    EXPECT_EQ(features(connection)[7]->counter(), 2 * Uses);
}

} // namespace
} // namespace Tolm::SQL
