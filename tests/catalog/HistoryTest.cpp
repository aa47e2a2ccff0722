#include <repository/catalog/History.h>
#include <repository/catalog/PlanName.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ProcessZone.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QDebug>

#include <limits>

namespace Tolm::SQL {
namespace {

using Paths = QStringList;

constexpr int All = -1;
constexpr int Failed = 100;
constexpr int NoLimit = -1;

QDateTime march(int day, int hour = 12)
{
    return {{2024, 3, day}, {hour, 30, 59}, Qt::UTC};
}

class HistoryTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<History, PlanName>();
        DatabaseConnection connection(m_database.pool());
        ASSERT_TRUE(PlanName::update(m_plan, m_planName, Tolm::Info::Plan::SubType::Backup, connection));
        ASSERT_TRUE(
            PlanName::update(m_otherPlan, QStringLiteral("other"), Tolm::Info::Plan::SubType::Backup, connection));
    }

    // An operation that holds a different value in every field, each the largest that this database stores.
    History fullOperation() const
    {
        const quint64 largest = std::numeric_limits<qint64>::max();
        const quint64 large = isSQLite() ? largest : quint64(std::numeric_limits<qint32>::max());
        History operation;
        operation.setDestinationId(large);
        operation.setPalnId(m_plan);
        operation.setLocalPath(QStringLiteral("/it's 100%_\"Ж\" \U0001F5C4\n:id\\") + QString(4000, QLatin1Char('x')));
        operation.setOperationType(255);
        operation.setDuration(large - 1);
        operation.setDateFinished(march(10, 2));
        operation.setDateModified({{1000, 1, 1}, {0, 0}, Qt::UTC});
        operation.setSize(largest - 2);
        operation.setMessage(QStringLiteral("Zugriff verweigert: 'ü'"));
        operation.setSessionId(large - 3);
        operation.setAttempts(large - 4);
        return operation;
    }

    // Inserts an operation that finished on `day` of March; on no day when it is 0.
    void add(const char *path, const QUuid &plan, quint8 kind, const QString &message, int day)
    {
        DatabaseConnection connection(m_database.pool());
        History operation;
        operation.setLocalPath(QString::fromUtf8(path));
        operation.setPalnId(plan);
        operation.setOperationType(kind);
        operation.setMessage(message);
        if (day != 0)
            operation.setDateFinished(march(day));
        ASSERT_TRUE(operation.insert(connection));
    }

    static std::string text(const History &operation)
    {
        QString text;
        QDebug(&text) << operation.id() << operation.destinationId() << operation.palnId() << operation.localPath()
                      << operation.operationType() << operation.duration() << operation.dateFinished()
                      << operation.dateModified() << operation.size() << operation.message() << operation.sessionId()
                      << operation.attempts() << operation.planName();
        return text.toStdString();
    }

    static Paths paths(const QList<QSharedPointer<History>> &operations)
    {
        Paths paths;
        for (const auto &operation : operations)
            paths.append(operation->localPath());
        return paths;
    }

    const QUuid m_plan = QUuid::createUuid();
    const QUuid m_otherPlan = QUuid::createUuid();
    const QString m_planName = QStringLiteral("Täglich \"um 3\"");
};
TOLM_TEST_ON_EVERY_BACKEND(HistoryTest);

TEST_P(HistoryTest, ReadsBackEveryFieldThroughBothSelects)
{
    const Tests::ProcessZone zone("America/New_York"); // has no 02:30 on 10 March 2024
    const Tests::LogCapture log;
    DatabaseConnection connection(m_database.pool());
    History operation = fullOperation();
    History empty;
    ASSERT_TRUE(operation.insert(connection));
    ASSERT_TRUE(empty.insert(connection));
    ASSERT_GT(operation.id(), 0U);
    EXPECT_EQ(m_database.value(QStringLiteral("select plan_id from history order by id")).toString(),
              m_plan.toString(QUuid::WithoutBraces));

    EXPECT_EQ(empty.attempts(), 1U);
    EXPECT_EQ(text(*History::select(0, 10, 0, connection).value(0)), text(empty));
    const auto page = History::select(operation.sessionId(), 10, 0, connection);
    ASSERT_EQ(page.size(), 1);
    EXPECT_EQ(text(*page.first()), text(operation));

    const auto report = History::select({}, {}, {}, 0, All, {}, NoLimit, connection);
    ASSERT_EQ(report.size(), 1);
    operation.setPlanName(m_planName);
    operation.setDestinationId(report.first()->destinationId());
    EXPECT_EQ(text(*report.first()), text(operation));
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(HistoryTest, GivesTheOperationsOfARunPageByPage)
{
    DatabaseConnection connection(m_database.pool());
    for (int i = 0; i < 10; ++i) {
        History operation;
        operation.setSessionId(quint64(i % 2));
        operation.setLocalPath(QString::number(i));
        ASSERT_TRUE(operation.insert(connection));
    }
    EXPECT_EQ(paths(History::select(1, ~0ULL, 0, connection)), Paths({"1", "3", "5", "7", "9"}));
    EXPECT_EQ(paths(History::select(1, 2, 1, connection)), Paths({"3", "5"}));
    EXPECT_EQ(paths(History::select(1, 2, 4, connection)), Paths({"9"}));
    EXPECT_TRUE(History::select(1, 0, 0, connection).isEmpty());
    EXPECT_TRUE(History::select(2, 10, 0, connection).isEmpty());
}

// One list of answers for both databases.
TEST_P(HistoryTest, FiltersTheReport)
{
    const QString x = QStringLiteral("/home/a/Docs/x.txt");
    const QString docs = QStringLiteral("/docs");
    const QString percent = QStringLiteral("/home/it's 100%");
    const QString slash = QStringLiteral("/back\\slash_a");
    const QString upper = QStringLiteral("/Ärger/DOCS");
    const QString denied = QStringLiteral("denied");
    const QDateTime any;
    add(qUtf8Printable(x), m_plan, 1, {}, 1);
    add(qUtf8Printable(docs), m_plan, 2, QStringLiteral(""), 2);
    add(qUtf8Printable(percent), m_otherPlan, 1, QStringLiteral("Success"), 3);
    add(qUtf8Printable(slash), m_otherPlan, 2, QStringLiteral("success"), 4);
    add(qUtf8Printable(upper), m_plan, 1, denied, 5);
    add("/nameless/docs", QUuid::createUuid(), 1, denied, 6);
    add("/undated/docs", m_plan, 1, denied, 0);

    const Tests::LogCapture log;
    DatabaseConnection connection(m_database.pool());
    const auto report = [&](const QUuid &plan, const QDateTime &begin, const QDateTime &end, int operation,
                            const QString &path, int limit) {
        return paths(History::select(plan, begin, end, 5, operation, path, limit, connection));
    };
    const auto withPath = [&](const char *path) { return report({}, any, any, All, QString::fromUtf8(path), NoLimit); };
    EXPECT_EQ(report({}, any, any, All, {}, NoLimit), Paths({upper, slash, percent, docs, x}));
    EXPECT_FALSE(History::select({}, any, march(1), 0, All, {}, 1, connection).value(0)->message().isNull());
    EXPECT_EQ(report(m_plan, any, any, All, {}, NoLimit), Paths({upper, docs, x}));
    EXPECT_EQ(report({}, march(2), march(4), All, {}, NoLimit), Paths({slash, percent, docs}));
    EXPECT_EQ(report({}, QDateTime({1, 1, 1}, {0, 0}, Qt::UTC), march(1), All, {}, NoLimit), Paths({x}));
    EXPECT_EQ(report({}, any, any, 2, {}, NoLimit), Paths({slash, docs}));
    EXPECT_EQ(report({}, any, any, 0, {}, NoLimit), Paths());
    EXPECT_EQ(report({}, any, any, Failed, {}, NoLimit), Paths({upper, slash}));
    EXPECT_EQ(report({}, any, any, All, {}, 2), Paths({upper, slash}));
    EXPECT_EQ(report({}, any, any, All, {}, 0), Paths());
    EXPECT_EQ(withPath("docs"), Paths({upper, docs, x}));
    EXPECT_EQ(withPath("\xC3\xA4rger"), Paths());
    EXPECT_EQ(withPath("\xC3\x84RGER"), Paths({upper}));
    EXPECT_EQ(withPath("it's"), Paths({percent}));
    EXPECT_EQ(withPath("%2' or 1=1"), Paths());
    EXPECT_EQ(withPath("k\\s"), Paths({slash}));
    EXPECT_EQ(withPath("s_a"), Paths({slash}));
    EXPECT_EQ(withPath("o%x"), Paths({x}));
    EXPECT_EQ(report(m_plan, march(1), march(5), Failed, QStringLiteral("docs"), 1), Paths({upper}));
    EXPECT_EQ(report(m_plan, march(1), march(5), 1, QStringLiteral("DOCS"), NoLimit), Paths({upper, x}));
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(HistoryTest, RunsTheQueryOfACaller)
{
    const Tests::ShortWaits shortWaits;
    for (int day = 1; day <= 3; ++day)
        add("/docs", m_plan, 2, {}, day);
    DatabaseConnection connection(m_database.pool());
    QSqlQuery query = connection.query();
    query.prepare(QStringLiteral("select local_path, 'a name' as plan_name from history where id > :id"));
    query.bindValue(QStringLiteral(":id"), 1);
    QList<QSharedPointer<History>> list{QSharedPointer<History>::create()};
    History::execQuery(query, list, true);
    History::execQuery(query, list, false);
    EXPECT_EQ(paths(list), Paths({"", "/docs", "/docs", "/docs", "/docs"}));
    EXPECT_EQ(list.at(2)->planName(), QStringLiteral("a name"));
    EXPECT_EQ(list.at(4)->planName(), QString());

    // Fails at the third row: the smallest number has no absolute value, and nothing is divided by 0.
    const Tests::LogCapture log;
    query.prepare(isSQLite() ? QStringLiteral("select abs(-9223372036854775807 - (id = 3)) from history")
                             : QStringLiteral("select 1 / (id - 3) from history"));
    History::execQuery(query, list, false);
    EXPECT_EQ(list.size(), 5);
    EXPECT_GE(log.count(QtWarningMsg, QStringLiteral("Error on exec sql query:")), 1);

    ASSERT_TRUE(query.exec(QStringLiteral("select local_path, 'a name' as plan_name from history where id = 2")));
    History read;
    EXPECT_TRUE(read.init(query, true));
    EXPECT_EQ(read.planName(), QStringLiteral("a name"));
    EXPECT_FALSE(read.init(query, true));
}

TEST_P(HistoryTest, StoresNothingOfAnOperationThatItRefuses)
{
    DatabaseConnection connection(m_database.pool());
    Tests::LogCapture log;
    History large;
    large.setId(77);
    large.setSize(quint64(1) << 63U);
    EXPECT_FALSE(large.insert(connection));
    EXPECT_EQ(large.id(), 77U);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("value out of range for :size")), 1);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from history")).toInt(), 0);

    log.clear();
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_FALSE(large.insert(closed));
    EXPECT_TRUE(History::select(1, 10, 0, closed).isEmpty());
    EXPECT_TRUE(History::select({}, {}, {}, 0, All, {}, NoLimit, closed).isEmpty());
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
