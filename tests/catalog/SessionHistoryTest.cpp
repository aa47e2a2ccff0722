#include <repository/catalog/SessionHistory.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ProcessZone.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QDebug>
#include <QVersionNumber>

#include <limits>

namespace Tolm::SQL {
namespace {

using Tolm::Info::Plan::PlanResult;

QDateTime march(int day, int hour = 12)
{
    return {{2024, 3, day}, {hour, 30, 59}, Qt::UTC};
}

class SessionHistoryTest : public Tests::DatabaseTest {
protected:
    void SetUp() override { m_database.createTables<SessionHistory>(); }

    // A run that holds a different value in every field, each the largest that this database stores.
    SessionHistory fullRun() const
    {
        const quint64 largest = std::numeric_limits<qint64>::max();
        const quint64 large = isSQLite() ? largest : quint64(std::numeric_limits<qint32>::max());
        SessionHistory run;
        run.setDestinationId(large);
        run.setPalnId(m_plan);
        run.setDateStart(march(10, 2));
        run.setDuration(large - 1);
        run.setResult(PlanResult(255));
        run.setUploadedCount(large - 2);
        run.setUploadedSize(largest - 3);
        run.setScannedCount(large - 4);
        run.setScannedSize(largest - 5);
        run.setPurgedCount(large - 6);
        run.setTotalCount(large - 7);
        run.setTotalSize(largest - 8);
        run.setFailedCount(large - 9);
        run.setErrorMessage(QStringLiteral("it's 100%_\"Ж\" \U0001F5C4\n:id") + QString(4000, QLatin1Char('x')));
        run.setProcessorTime(large - 10);
        run.setPeerMemmoryUsage(largest - 11);
        run.setDiffSize(qint64(largest) - 12);
        run.setDetailedReportUrl(QStringLiteral("https://report.example/?a=1&b=%20"));
        run.setSteps(QStringLiteral("1. \\ scan\r\n2. copy"));
        return run;
    }

    // Inserts a run of `plan`. \return its id.
    quint64 add(const QUuid &plan, const QDateTime &start)
    {
        DatabaseConnection connection(m_database.pool());
        SessionHistory run;
        run.setPalnId(plan);
        run.setDateStart(start);
        EXPECT_TRUE(run.insert(connection));
        return run.id();
    }

    static std::string text(const SessionHistory &run)
    {
        QString text;
        QDebug(&text) << run.id() << run.destinationId() << run.palnId() << run.dateStart() << run.duration()
                      << int(run.result().value()) << run.uploadedCount() << run.uploadedSize() << run.scannedCount()
                      << run.scannedSize() << run.purgedCount() << run.totalCount() << run.totalSize()
                      << run.failedCount() << run.errorMessage() << run.processorTime() << run.peerMemmoryUsage()
                      << run.diffSize() << run.detailedReportUrl() << run.detailedReportUrl().isNull() << run.steps()
                      << run.steps().isNull();
        return text.toStdString();
    }

    static QVector<quint64> ids(const QList<QSharedPointer<SessionHistory>> &runs)
    {
        QVector<quint64> ids;
        for (const auto &run : runs)
            ids.append(run->id());
        return ids;
    }

    const QUuid m_plan = QUuid::createUuid();
};
TOLM_TEST_ON_EVERY_BACKEND(SessionHistoryTest);

TEST_P(SessionHistoryTest, ReadsBackEveryFieldThroughEverySelect)
{
    const Tests::ProcessZone zone("America/New_York"); // has no 02:30 on 10 March 2024
    const Tests::LogCapture log;
    DatabaseConnection connection(m_database.pool());
    SessionHistory run = fullRun();
    SessionHistory empty;
    ASSERT_TRUE(run.insert(connection));
    ASSERT_TRUE(empty.insert(connection));
    ASSERT_GT(run.id(), 0U);
    ASSERT_NE(run.id(), empty.id());

    EXPECT_EQ(text(*SessionHistory::selectById(run.id(), connection)), text(run));
    EXPECT_EQ(text(*SessionHistory::selectLast(m_plan, connection)), text(run));
    EXPECT_EQ(text(*SessionHistory::selectLast(2, 0, connection).value(0)), text(run));
    const auto report = SessionHistory::select({}, {}, {}, 0, 0, connection);
    ASSERT_EQ(report.size(), 1);
    EXPECT_EQ(text(*report.first()), text(run));
    EXPECT_EQ(text(*SessionHistory::selectById(empty.id(), connection)), text(empty));
    EXPECT_EQ(text(*SessionHistory::selectLast(QUuid(), connection)), text(empty));
    EXPECT_EQ(empty.diffSize(), -1);
    EXPECT_EQ(empty.result(), PlanResult(2));

    const quint64 id = empty.id();
    empty = fullRun();
    empty.setId(id);
    EXPECT_TRUE(empty.update(connection));
    EXPECT_EQ(text(*SessionHistory::selectById(id, connection)), text(empty));
    EXPECT_EQ(text(*SessionHistory::selectById(run.id(), connection)), text(run));
    empty.setId(id + 1);
    EXPECT_TRUE(empty.update(connection));
    EXPECT_TRUE(SessionHistory::selectById(id + 1, connection).isNull());

    const auto row =
        m_database.sql(QStringLiteral("select plan_id, date_start_utc, result from session_history")).at(0);
    EXPECT_EQ(row.at(0).toString(), m_plan.toString(QUuid::WithoutBraces));
    EXPECT_EQ(row.at(1).toLongLong(), 20240310023059);
    EXPECT_EQ(row.at(2).toInt(), 255);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(SessionHistoryTest, GivesTheLastRunsByIdAndNotByStart)
{
    const QUuid other = QUuid::createUuid();
    for (int day = 25; day >= 1; --day)
        add(day % 5 == 0 ? other : m_plan, march(day));
    DatabaseConnection connection(m_database.pool());
    EXPECT_EQ(SessionHistory::selectLast(m_plan, connection)->dateStart(), march(1));
    EXPECT_EQ(SessionHistory::selectLast(other, connection)->id(), 21U);
    EXPECT_TRUE(SessionHistory::selectLast(QUuid::createUuid(), connection).isNull());

    EXPECT_EQ(ids(SessionHistory::selectLast(3, 0, connection)), (QVector<quint64>{23, 24, 25}));
    EXPECT_EQ(ids(SessionHistory::selectLast(3, 20, connection)), (QVector<quint64>{3, 4, 5}));
    EXPECT_EQ(ids(SessionHistory::selectLast(10, 23, connection)), (QVector<quint64>{1, 2}));
    EXPECT_EQ(SessionHistory::selectLast(~0ULL, 0, connection).size(), 25);
    EXPECT_TRUE(SessionHistory::selectLast(0, 0, connection).isEmpty());
    EXPECT_TRUE(SessionHistory::selectLast(10, ~0ULL, connection).isEmpty());
}

TEST_P(SessionHistoryTest, FiltersTheReport)
{
    const QUuid other = QUuid::createUuid();
    add(m_plan, march(1));
    add(other, march(4));
    add(m_plan, march(3));
    add(other, march(2));
    add(m_plan, {});
    add(m_plan, {{1899, 12, 31}, {23, 59, 59}, Qt::UTC});
    const QDateTime yearOne({1, 1, 1}, {0, 0}, Qt::UTC);
    const QDateTime yearTenThousand({10000, 1, 1}, {0, 0}, Qt::UTC);
    const QDateTime any;

    DatabaseConnection connection(m_database.pool());
    const auto report = [&](const QUuid &plan, const QDateTime &begin, const QDateTime &end, qint64 id, qint64 limit) {
        return ids(SessionHistory::select(plan, begin, end, id, limit, connection));
    };
    using Ids = QVector<quint64>;
    EXPECT_EQ(report({}, any, any, 0, 0), (Ids{2, 3, 4, 1}));
    EXPECT_EQ(report({}, yearOne, any, 0, 0), (Ids{2, 3, 4, 1, 6}));
    EXPECT_EQ(report({}, any, yearTenThousand, 0, 0), (Ids{2, 3, 4, 1}));
    EXPECT_EQ(report({}, march(2), any, 0, 0), (Ids{2, 3, 4}));
    EXPECT_EQ(report({}, any, march(3), 0, 0), (Ids{3, 4, 1}));
    EXPECT_EQ(report(other, any, any, 0, 0), (Ids{2, 4}));
    EXPECT_EQ(report(QUuid::createUuid(), any, any, 0, 0), Ids());
    EXPECT_EQ(report({}, any, any, 3, 0), (Ids{2, 1}));
    EXPECT_EQ(report({}, any, any, -3, 0), (Ids{2, 3, 4, 1}));
    EXPECT_EQ(report({}, any, any, 0, 3), (Ids{2, 3, 4}));
    EXPECT_EQ(report({}, any, any, 0, -1), (Ids{2, 3, 4, 1}));
    EXPECT_EQ(report(m_plan, march(1), march(3), 4, 1), (Ids{3}));
}

TEST_P(SessionHistoryTest, ReportsColumnsThatWereNeverWritten)
{
    m_database.sql(QStringLiteral("insert into session_history (id, date_start_utc) values (1, 20240301000000)"));
    DatabaseConnection connection(m_database.pool());
    SessionHistory expected;
    expected.setId(1);
    expected.setDateStart({{2024, 3, 1}, {0, 0}, Qt::UTC});
    expected.setResult(PlanResult(0));
    EXPECT_EQ(text(*SessionHistory::selectById(1, connection)), text(expected));
    const auto report = SessionHistory::select({}, {}, {}, 0, 0, connection);
    ASSERT_EQ(report.size(), 1);
    EXPECT_EQ(text(*report.first()), text(expected));
    EXPECT_FALSE(report.first()->errorMessage().isNull());

    QSqlQuery query = connection.query();
    ASSERT_TRUE(query.exec(QStringLiteral("select * from session_history")));
    SessionHistory read;
    EXPECT_TRUE(read.init(query));
    EXPECT_EQ(text(read), text(expected));
    EXPECT_FALSE(read.init(query));
}

TEST_P(SessionHistoryTest, StoresNothingOfARunThatItRefuses)
{
    const Tests::ShortWaits shortWaits;
    Tests::LogCapture log;
    const auto refusesEverything = [this](DatabaseConnection &connection) {
        SessionHistory run = fullRun();
        run.setId(77);
        EXPECT_FALSE(run.insert(connection));
        EXPECT_EQ(run.id(), 77U);
        EXPECT_FALSE(run.update(connection));
        EXPECT_TRUE(SessionHistory::selectLast(m_plan, connection).isNull());
        EXPECT_TRUE(SessionHistory::selectById(77, connection).isNull());
        EXPECT_TRUE(SessionHistory::selectLast(1, 0, connection).isEmpty());
        EXPECT_TRUE(SessionHistory::select({}, {}, {}, 0, 0, connection).isEmpty());
    };
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    refusesEverything(closed);
    EXPECT_TRUE(log.records().isEmpty());

    DatabaseConnection connection(m_database.pool());
    SessionHistory run = fullRun();
    run.setTotalSize(quint64(1) << 63U);
    EXPECT_FALSE(run.insert(connection));
    run = fullRun();
    run.setDateStart({{10000, 1, 1}, {0, 0}, Qt::UTC});
    EXPECT_FALSE(run.insert(connection));
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("value out of range for")), 2);
    run = fullRun();
    run.setTotalCount(quint64(1) << 31U);
    EXPECT_EQ(run.insert(connection), isSQLite());
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from session_history")).toInt(), isSQLite() ? 1 : 0);

    m_database.sql(QStringLiteral("drop table session_history"));
    refusesEverything(connection);
}

} // namespace
} // namespace Tolm::SQL
