#include <repository/catalog/History.h>
#include <repository/catalog/PlanName.h>

#include <tests/catalog/CatalogueTest.h>
#include <tests/support/ProcessZone.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;
using Paths = QStringList;

constexpr int All = -1;
constexpr int Failed = 100;
constexpr int NoLimit = -1;

QDateTime march(int day, int hour = 12)
{
    return utc(2024, 3, day, hour, 30, 59);
}

class HistoryTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        ASSERT_TRUE(PlanName::update(m_plan, m_planName, Info::Plan::SubType::Backup, m_connection));
        ASSERT_TRUE(PlanName::update(m_otherPlan, "other", Info::Plan::SubType::Backup, m_connection));
    }

    // Inserts an operation that finished on `day` of March; on no day when it is 0.
    void add(const QString &path, const QUuid &plan = {}, quint8 kind = 0, const QString &message = {}, int day = 0,
             quint64 session = 0)
    {
        History operation;
        operation.setLocalPath(path);
        operation.setPalnId(plan);
        operation.setOperationType(kind);
        operation.setMessage(message);
        operation.setSessionId(session);
        if (day != 0)
            operation.setDateFinished(march(day));
        ASSERT_TRUE(operation.insert(m_connection));
    }

    static Paths paths(const QList<QSharedPointer<History>> &operations)
    {
        return each(operations, &History::localPath);
    }

    const QUuid m_plan = QUuid::createUuid();
    const QUuid m_otherPlan = QUuid::createUuid();
    const QString m_planName = "Täglich \"um 3\"";
};
TOLM_TEST_ON_EVERY_BACKEND(HistoryTest);

TEST_P(HistoryTest, ReadsBackEveryFieldThroughBothSelects)
{
    const ProcessZone zone("America/New_York"); // has no 02:30 on 10 March 2024
    const LogCapture log;
    // A different value in every field, each the largest that this database stores.
    const quint64 large = isSQLite() ? Largest : quint64(std::numeric_limits<qint32>::max());
    History operation;
    operation.setDestinationId(large);
    operation.setPalnId(m_plan);
    operation.setLocalPath("/it's 100%_\"Ж\" \U0001F5C4\n:id\\" + QString(4000, 'x'));
    operation.setOperationType(255);
    operation.setDuration(large - 1);
    operation.setDateFinished(march(10, 2));
    operation.setDateModified(utc(1000, 1, 1));
    operation.setSize(Largest - 2);
    operation.setMessage("Zugriff verweigert: 'ü'");
    operation.setSessionId(large - 3);
    operation.setAttempts(large - 4);
    History empty;
    ASSERT_TRUE(operation.insert(m_connection));
    ASSERT_TRUE(empty.insert(m_connection));
    EXPECT_EQ(stored("history", operation.id(), "plan_id"), m_plan.toString(QUuid::WithoutBraces));
    EXPECT_EQ(empty.attempts(), 1U);
    empty.setLocalPath(""); // a path is never NULL
    EXPECT_EQ(shown(History::select(0, 10, 0, m_connection)), QStringList(shown(empty)));
    EXPECT_EQ(shown(History::select(operation.sessionId(), 10, 0, m_connection)), QStringList(shown(operation)));

    const auto report = History::select({}, {}, {}, 0, All, {}, NoLimit, m_connection);
    operation.setPlanName(m_planName);
    EXPECT_EQ(shown(report), QStringList(shown(operation)));
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(HistoryTest, GivesTheOperationsOfARunPageByPage)
{
    for (int i = 0; i < 10; ++i)
        add(QString::number(i), {}, 0, {}, 0, quint64(i % 2));
    EXPECT_EQ(paths(History::select(1, ~0ULL, 0, m_connection)), Paths({"1", "3", "5", "7", "9"}));
    EXPECT_EQ(paths(History::select(1, 2, 1, m_connection)), Paths({"3", "5"}));
    EXPECT_EQ(paths(History::select(1, 2, 4, m_connection)), Paths({"9"}));
    EXPECT_TRUE(History::select(1, 0, 0, m_connection).isEmpty());
    EXPECT_TRUE(History::select(2, 10, 0, m_connection).isEmpty());
}

// One list of answers for both databases.
TEST_P(HistoryTest, FiltersTheReport)
{
    const QString x = "/home/a/Docs/x.txt";
    const QString docs = "/docs";
    const QString percent = "/home/it's 100%";
    const QString slash = "/back\\slash_a";
    const QString upper = "/Ärger/DOCS";
    add(x, m_plan, 1, {}, 1);
    add(docs, m_plan, 2, "", 2);
    add(percent, m_otherPlan, 1, "Success", 3);
    add(slash, m_otherPlan, 2, "success", 4);
    add(upper, m_plan, 1, "denied", 5);
    add("/nameless/docs", QUuid::createUuid(), 1, "denied", 6);
    add("/undated/docs", m_plan, 1, "denied");
    const Paths all{upper, slash, percent, docs, x};

    const LogCapture log;
    EXPECT_FALSE(History::select({}, {}, march(1), 0, All, {}, 1, m_connection).value(0)->message().isNull());
    const QDateTime any;
    const struct {
        QUuid plan;
        QDateTime begin;
        QDateTime end;
        int kind;
        QString path;
        int limit;
        Paths expected;
    } questions[] = {
        {{}, any, any, All, {}, NoLimit, all},
        {m_plan, any, any, All, {}, NoLimit, {upper, docs, x}},
        {{}, march(2), march(4), All, {}, NoLimit, {slash, percent, docs}},
        {{}, utc(1, 1, 1), march(1), All, {}, NoLimit, {x}},
        {{}, any, any, 2, {}, NoLimit, {slash, docs}},
        {{}, any, any, 0, {}, NoLimit, {}},
        {{}, any, any, Failed, {}, NoLimit, {upper, slash}},
        {{}, any, any, All, {}, 2, {upper, slash}},
        {{}, any, any, All, {}, 0, {}},
        {{}, any, any, All, "docs", NoLimit, {upper, docs, x}},
        {{}, any, any, All, "ärger", NoLimit, {}},
        {{}, any, any, All, "ÄRGER", NoLimit, {upper}},
        {{}, any, any, All, "it's", NoLimit, {percent}},
        {{}, any, any, All, "%2' or 1=1", NoLimit, {}},
        {{}, any, any, All, "k\\s", NoLimit, {slash}},
        {{}, any, any, All, "s_a", NoLimit, {slash}},
        {{}, any, any, All, "o%x", NoLimit, {x}},
        {m_plan, march(1), march(5), Failed, "docs", 1, {upper}},
        {m_plan, march(1), march(5), 1, "DOCS", NoLimit, {upper, x}},
    };
    for (const auto &[plan, begin, end, kind, path, limit, expected] : questions) {
        EXPECT_EQ(paths(History::select(plan, begin, end, 5, kind, path, limit, m_connection)), expected)
            << "kind " << kind << ", path " << qPrintable(path) << ", limit " << limit;
    }
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(HistoryTest, RunsTheQueryOfACaller)
{
    const ShortWaits shortWaits;
    for (int day = 1; day <= 3; ++day)
        add("/docs", m_plan, 2, {}, day);
    QSqlQuery query = m_connection.query();
    query.prepare("select local_path, 'a name' as plan_name from history where id > :id");
    query.bindValue(":id", 1);
    QList<QSharedPointer<History>> list{QSharedPointer<History>::create()};
    History::execQuery(query, list, true);
    History::execQuery(query, list, false);
    EXPECT_EQ(paths(list), Paths({"", "/docs", "/docs", "/docs", "/docs"}));
    EXPECT_EQ(each(list, &History::planName), QStringList({"", "a name", "a name", "", ""}));

    // Fails at the third row: the smallest number has no absolute value, and nothing is divided by 0.
    const LogCapture log;
    query.prepare(isSQLite() ? "select abs(-9223372036854775807 - (id = 3)) from history"
                             : "select 1 / (id - 3) from history");
    History::execQuery(query, list, false);
    EXPECT_EQ(list.size(), 5);
    EXPECT_GE(log.count(QtWarningMsg, "Error on exec sql query:"), 1);

    ASSERT_TRUE(query.exec("select local_path, 'a name' as plan_name from history where id = 2"));
    History read;
    EXPECT_TRUE(read.init(query, true));
    EXPECT_EQ(read.planName(), "a name");
    EXPECT_FALSE(read.init(query, true));
}

} // namespace
} // namespace Tolm::SQL
