#include <repository/catalog/SessionHistory.h>

#include <tests/catalog/CatalogueTest.h>
#include <tests/support/ProcessZone.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;
using Ids = QList<quint64>;
using Info::Plan::PlanResult;

QDateTime march(int day, int hour = 12)
{
    return utc(2024, 3, day, hour, 30, 59);
}

class SessionHistoryTest : public CatalogueTest {
protected:
    // A run that holds a different value in every field, each the largest that this database stores.
    SessionHistory fullRun() const
    {
        const quint64 large = isSQLite() ? Largest : quint64(std::numeric_limits<qint32>::max());
        SessionHistory run;
        run.setDestinationId(large);
        run.setPalnId(m_plan);
        run.setDateStart(march(10, 2));
        run.setDuration(large - 1);
        run.setResult(PlanResult(255));
        run.setUploadedCount(large - 2);
        run.setUploadedSize(Largest - 3);
        run.setScannedCount(large - 4);
        run.setScannedSize(Largest - 5);
        run.setPurgedCount(large - 6);
        run.setTotalCount(large - 7);
        run.setTotalSize(Largest - 8);
        run.setFailedCount(large - 9);
        run.setErrorMessage("it's 100%_\"Ж\" \U0001F5C4\n:id" + QString(4000, 'x'));
        run.setProcessorTime(large - 10);
        run.setPeerMemmoryUsage(Largest - 11);
        run.setDiffSize(qint64(Largest) - 12);
        run.setDetailedReportUrl("https://report.example/?a=1&b=%20");
        run.setSteps("1. \\ scan\r\n2. copy");
        return run;
    }

    // Inserts a run of `plan`. \return its id.
    quint64 add(const QUuid &plan, const QDateTime &start)
    {
        SessionHistory run;
        run.setPalnId(plan);
        run.setDateStart(start);
        EXPECT_TRUE(run.insert(m_connection));
        return run.id();
    }

    QString readBack(quint64 id) { return shown(SessionHistory::selectById(id, m_connection)); }

    const QUuid m_plan = QUuid::createUuid();
    const QUuid m_otherPlan = QUuid::createUuid();
};
TOLM_TEST_ON_EVERY_BACKEND(SessionHistoryTest);

TEST_P(SessionHistoryTest, ReadsBackEveryFieldThroughEverySelect)
{
    const ProcessZone zone("America/New_York"); // has no 02:30 on 10 March 2024
    const LogCapture log;
    SessionHistory run = fullRun();
    SessionHistory empty;
    ASSERT_TRUE(run.insert(m_connection));
    ASSERT_TRUE(empty.insert(m_connection));
    EXPECT_EQ(readBack(run.id()), shown(run));
    EXPECT_EQ(shown(SessionHistory::selectLast(m_plan, m_connection)), shown(run));
    EXPECT_EQ(shown(SessionHistory::selectLast(2, 0, m_connection)), QStringList({shown(run), shown(empty)}));
    EXPECT_EQ(shown(SessionHistory::select({}, {}, {}, 0, 0, m_connection)), QStringList(shown(run)));
    EXPECT_EQ(empty.diffSize(), -1);
    EXPECT_EQ(empty.result(), PlanResult(2));
    EXPECT_EQ(stored("session_history", run.id(), "plan_id"), m_plan.toString(QUuid::WithoutBraces));
    EXPECT_EQ(stored("session_history", run.id(), "date_start_utc"), "20240310023059");

    const quint64 id = empty.id();
    empty = fullRun();
    empty.setId(id);
    empty.setDuration(1);
    EXPECT_TRUE(empty.update(m_connection));
    EXPECT_EQ(readBack(id), shown(empty));
    EXPECT_EQ(readBack(run.id()), shown(run));
    empty.setId(id + 1);
    EXPECT_TRUE(empty.update(m_connection));
    EXPECT_EQ(readBack(id + 1), "nothing");
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(SessionHistoryTest, GivesTheLastRunsByIdAndNotByStart)
{
    for (int day = 25; day >= 1; --day)
        add(day % 5 == 0 ? m_otherPlan : m_plan, march(day));
    EXPECT_EQ(SessionHistory::selectLast(m_plan, m_connection)->dateStart(), march(1));
    EXPECT_EQ(SessionHistory::selectLast(m_otherPlan, m_connection)->id(), 21U);
    EXPECT_EQ(SessionHistory::selectLast(QUuid::createUuid(), m_connection), nullptr);

    EXPECT_EQ(ids(SessionHistory::selectLast(3, 0, m_connection)), Ids({23, 24, 25}));
    EXPECT_EQ(ids(SessionHistory::selectLast(3, 20, m_connection)), Ids({3, 4, 5}));
    EXPECT_EQ(ids(SessionHistory::selectLast(10, 23, m_connection)), Ids({1, 2}));
    EXPECT_EQ(SessionHistory::selectLast(~0ULL, 0, m_connection).size(), 25);
    EXPECT_TRUE(SessionHistory::selectLast(0, 0, m_connection).isEmpty());
}

TEST_P(SessionHistoryTest, FiltersTheReport)
{
    add(m_plan, march(1));
    add(m_otherPlan, march(4));
    add(m_plan, march(3));
    add(m_otherPlan, march(2));
    add(m_plan, {});
    add(m_plan, utc(1899, 12, 31, 23, 59, 59));
    const QDateTime any;
    const struct {
        QUuid plan;
        QDateTime begin;
        QDateTime end;
        qint64 id;
        qint64 limit;
        Ids expected;
    } questions[] = {
        {{}, any, any, 0, 0, {2, 3, 4, 1}},
        {{}, utc(1, 1, 1), any, 0, 0, {2, 3, 4, 1, 6}},
        {{}, any, utc(10000, 1, 1), 0, 0, {2, 3, 4, 1}},
        {{}, march(2), any, 0, 0, {2, 3, 4}},
        {{}, any, march(3), 0, 0, {3, 4, 1}},
        {m_otherPlan, any, any, 0, 0, {2, 4}},
        {{}, any, any, 3, 0, {2, 1}},
        {{}, any, any, -3, 0, {2, 3, 4, 1}},
        {{}, any, any, 0, 3, {2, 3, 4}},
        {{}, any, any, 0, -1, {2, 3, 4, 1}},
        {m_plan, march(1), march(3), 4, 1, {3}},
    };
    for (const auto &[plan, begin, end, id, limit, expected] : questions) {
        EXPECT_EQ(ids(SessionHistory::select(plan, begin, end, id, limit, m_connection)), expected)
            << qPrintable(rowOf(plan, begin, end, id, limit));
    }
}

TEST_P(SessionHistoryTest, ReportsColumnsThatWereNeverWritten)
{
    m_database.sql("insert into session_history (id, date_start_utc) values (1, 20240301000000)");
    SessionHistory expected;
    expected.setId(1);
    expected.setDateStart(utc(2024, 3, 1));
    expected.setResult(PlanResult(0));
    EXPECT_EQ(readBack(1), shown(expected));
    expected.setErrorMessage("");
    EXPECT_EQ(shown(SessionHistory::select({}, {}, {}, 0, 0, m_connection)), QStringList(shown(expected)));
}

} // namespace
} // namespace Tolm::SQL
