#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Placeholders_p.h>
#include <repository/database/Records_p.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QFile>

namespace Tolm::SQL {
namespace {

/// A record class as small as it can be.
struct Row {
    quint64 id = 0;
    QString name;
    quint64 size = 0;
    QDateTime date;

    static constexpr auto Table = columns(                //
        column<Stored::Number>("id", &Row::id),           //
        column<Stored::RequiredText>("name", &Row::name), //
        column<Stored::Number>("size", &Row::size),       //
        column<Stored::DateNumber>("date", &Row::date));
};

class StatementTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.sql(QString("create table t (id %1 primary key, name text unique, size bigint, date bigint)")
                           .arg(isSQLite() ? "integer" : "serial"));
    }

    void fill(int rows)
    {
        m_database.sql(QString("with recursive n(i) as (select 1 union all select i + 1 from n where i < %1) "
                               "insert into t (name, size) select 'row ' || i, i from n")
                           .arg(rows));
    }

    void expectBrokenOff(const QString &table, int code)
    {
        DatabaseConnection connection(m_database.pool());
        Statement statement(connection, "select id, name, size from " + table);
        const auto rows = selectAll<Row>(statement, Row::Table);
        EXPECT_TRUE(rows.list.isEmpty());
        EXPECT_EQ(rows.error, code);
    }

    int insert(Row &row)
    {
        DatabaseConnection connection(m_database.pool());
        Statement statement(connection, "insert into t (name, size, date) values (:name, :size, :date)");
        return insertRecord(statement, row, Row::Table, row.id);
    }

    const Tests::ShortWaits m_shortWaits;
};
TOLM_TEST_ON_EVERY_BACKEND(StatementTest);

class SQLiteStatementTest : public StatementTest {};
TOLM_TEST_ON_SQLITE(SQLiteStatementTest);

class PostgreSqlStatementTest : public StatementTest {};
TOLM_TEST_ON_POSTGRESQL(PostgreSqlStatementTest);

class StatementDeathTest : public StatementTest {};
TOLM_TEST_ON_SQLITE(StatementDeathTest);

// A slip in one of the library's own texts stops a debug build; a release build refuses the statement and says so.
TEST_P(StatementDeathTest, RefusesPlaceholdersThatAreNotBoundExactly)
{
    fill(1);
    DatabaseConnection connection(m_database.pool());
    const auto misspelt = [&connection] {
        Statement statement(connection, "insert into t (name, size) values (:name, :size)");
        return statement.bind(":name", QString("a")).bind(":siez", 1).bind(":size", 1).exec();
    };
    const auto unbound = [&connection] {
        Statement statement(connection, "update t set name = :name where id = :id");
        return statement.bind(":id", 1).exec();
    };
#ifdef QT_NO_DEBUG
    const Tests::LogCapture log;
    EXPECT_EQ(misspelt(), ResultCode::Error);
    EXPECT_EQ(log.count(QtCriticalMsg, "no such placeholder: :siez"), 1);
    EXPECT_EQ(unbound(), ResultCode::Error);
    EXPECT_EQ(log.count(QtCriticalMsg, "update t set name = :name where id = :id"), 1);
#else
    EXPECT_DEATH(misspelt(), "siez");
    EXPECT_DEATH(unbound(), "not bound");
#endif
    EXPECT_EQ(m_database.rows("select name from t"), QStringList("row 1"));
}

TEST_P(StatementTest, RefusesValuesThatNoColumnHolds)
{
    const quint64 tooMuch = quint64(1) << 63;
    for (const Row &row : {Row{7, "size", tooMuch, {}}, Row{7, "size", ~quint64(0), {}},
                           Row{7, "date", 0, QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC)}}) {
        Row tried = row;
        const Tests::LogCapture log;
        EXPECT_EQ(insert(tried), ResultCode::BadData);
        EXPECT_EQ(tried.id, 7U) << "the key stays as it was";
        EXPECT_EQ(log.complaints(), log.texts(QtCriticalMsg, "value out of range for :" + row.name).join(""));
    }
    Row row{0, "most", tooMuch - 1, {}};
    EXPECT_EQ(insert(row), ResultCode::Ok) << "the statement refused before is as good as new";
    EXPECT_EQ(m_database.rows("select id, size from t"), QStringList(QString("%1|%2").arg(row.id).arg(row.size)));

    Row other = row;
    EXPECT_EQ(insert(other), isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted);
    EXPECT_EQ(other.id, row.id);
}

TEST_P(StatementTest, FoundNothingThereAndFailedLookDifferent)
{
    fill(3);
    DatabaseConnection connection(m_database.pool());
    const int failure = isSQLite() ? ResultCode::Error : ResultCode::RetriesExhausted;
    const auto first = [&connection](const char *text) {
        Statement statement(connection, text);
        return selectFirst<Row>(statement, Row::Table);
    };
    const auto found = first("select name, id, 5 as size, 'x' as unknown from t order by id desc").pointer;
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->name == "row 3" && found->size == 5 && !found->date.isValid());
    const auto none = first("select name from t where id = 4");
    EXPECT_TRUE(!none.pointer && none.error == ResultCode::Ok);
    const auto failed = first("select name from nowhere");
    EXPECT_TRUE(!failed.pointer && failed.error == failure);

    Row untouched{7, "seven", 77, {}};
    Statement miss(connection, "select id, name, size from t where id = 4");
    EXPECT_FALSE(selectInto(untouched, miss, Row::Table));
    EXPECT_EQ(untouched.name, "seven");

    const auto number = [&connection](const char *text) {
        Statement statement(connection, text);
        return selectNumber<quint64>(statement);
    };
    EXPECT_EQ(number("select 9223372036854775807").value, 9223372036854775807U);
    EXPECT_EQ(number("select sum(size) from t").value, 6U);
    EXPECT_EQ(number("select sum(size) from t where id = 4").value, 0U) << "NULL";
    EXPECT_EQ(number("select name from t").value, 0U) << "no number";
    EXPECT_EQ(number("select id from t where id = 4").error, ResultCode::Ok);
    EXPECT_EQ(number("select id from nowhere").error, failure);
}

// As reading a value of a row by its name does.
TEST_P(StatementTest, FirstOfColumnsWithOneNameIsRead)
{
    fill(2);
    DatabaseConnection connection(m_database.pool());
    const QString text =
        "select a.id, a.name, b.id, b.name, b.size as \"SIZE\" from t a, t b where a.id = 1 and b.id = 2";
    Statement statement(connection, text);
    const auto row = selectFirst<Row>(statement, Row::Table).pointer;
    QSqlQuery query = connection.query();
    ASSERT_TRUE(row && query.exec(text));
    Row sameRow;
    EXPECT_TRUE(initRecord(sameRow, query, Row::Table));
    for (const Row &read : {*row, sameRow})
        EXPECT_TRUE(read.id == 1 && read.name == "row 1" && read.size == 2);
    EXPECT_FALSE(initRecord(sameRow, query, Row::Table));
}

TEST_P(StatementTest, OneTextInUseTwiceAtOnce)
{
    fill(4);
    DatabaseConnection connection(m_database.pool());
    const QString text = "select id from t where size > :size order by id";
    for (int time = 0; time < 2; ++time) {
        QStringList pairs;
        Statement outer(connection, text);
        ASSERT_EQ(outer.bind(":size", 1).exec(), ResultCode::Ok);
        while (outer.next()) {
            Statement inner(connection, text);
            ASSERT_EQ(inner.bind(":size", outer.value(0).toInt()).exec(), ResultCode::Ok);
            while (inner.next())
                pairs << outer.value(0).toString() + inner.value(0).toString();
        }
        EXPECT_EQ(pairs, (QStringList{"23", "24", "34"}));
    }
}

TEST_P(StatementTest, PageMayBeLargerThanAnyTable)
{
    fill(3);
    DatabaseConnection connection(m_database.pool());
    const auto rows = [&connection](quint64 limit, quint64 offset) {
        Statement statement(connection, "select id, name from t order by id limit :limit offset :offset");
        statement.bindPage(limit, offset);
        const auto page = selectAll<Row>(statement, Row::Table);
        return page.error == ResultCode::Ok ? page.list.size() : -1;
    };
    EXPECT_EQ(rows(~quint64(0), 1), 2);
    EXPECT_EQ(rows(2, 0), 2);
    EXPECT_EQ(rows(1, ~quint64(0)), 0);
}

TEST_P(StatementTest, ResultsThatChangeTheirShapeAreNotKept)
{
    fill(1);
    DatabaseConnection connection(m_database.pool());
    for (int columns = 0; columns < 3; ++columns) {
        for (const char *text : {"select * from t", "SELECT x.* FROM t x", "select distinct  * from t"}) {
            Statement statement(connection, text);
            EXPECT_EQ(selectAll<Row>(statement, Row::Table).list.size(), 1) << text;
        }
        Statement named(connection, "select id, name from t");
        EXPECT_EQ(selectAll<Row>(named, Row::Table).list.size(), 1);
        m_database.sql(QString("alter table t add column more%1 integer").arg(columns));
    }
}

TEST_P(PostgreSqlStatementTest, CacheKeepsStatementsUpToItsBound)
{
    DatabaseConnection connection(m_database.pool());
    const auto kept = [&connection] {
        Statement count(connection, "select count(*) from pg_prepared_statements");
        return selectNumber<int>(count).value;
    };
    EXPECT_EQ(kept(), 1) << "itself";
    EXPECT_EQ(kept(), 1);
    for (int text = 0; text < 2 * StatementCache::Capacity; ++text) {
        Statement statement(connection, QString("select %1").arg(text));
        EXPECT_EQ(selectNumber<int>(statement).value, text);
    }
    EXPECT_EQ(kept(), StatementCache::Capacity + 1);
    Statement(connection, "select 'fails' from nowhere").exec();
    EXPECT_EQ(kept(), StatementCache::Capacity);
}

TEST_P(SQLiteStatementTest, CacheDropsTheLongestUnused)
{
    StatementCache cache;
    const QSqlQuery query(m_database.pool()->getConnection());
    const auto prepared = [&](const QString &text) {
        auto statement = std::make_unique<PreparedStatement>(query, text);
        statement->epoch = cache.epoch();
        statement->usable = true;
        return statement;
    };
    const auto use = [&](const QString &text) {
        auto statement = cache.take(text);
        const bool found = statement != nullptr;
        cache.give(found ? std::move(statement) : prepared(text));
        return found;
    };
    const auto select = [](int number) { return QString("select %1").arg(number); };
    for (int number = 0; number < StatementCache::Capacity; ++number)
        EXPECT_FALSE(use(select(number)));
    EXPECT_TRUE(use(select(0)));
    EXPECT_FALSE(use(select(-1)));
    EXPECT_EQ(cache.size(), StatementCache::Capacity);
    EXPECT_TRUE(use(select(0)));
    EXPECT_FALSE(use(select(1))) << "it was the longest unused";

    // What a browser asks for page by page, and a walk of its restore points, are new texts each time.
    const QString walk = "select id from folders where +restore_point_id in (%1)";
    for (int number = 0; number < 3 * StatementCache::Capacity; ++number) {
        use(walk.arg(number));
        use(QString("select id from folders group by local_path limit 50 offset %1").arg(number * 50));
    }
    EXPECT_TRUE(use(select(3))) << "they push only each other out";
    use(walk.arg(0));
    EXPECT_TRUE(use(walk.arg(0)));

    // A place waits for its own statement, whatever comes meanwhile; a failed one gives it up.
    auto inUse = cache.take(select(3));
    const auto *const first = inUse.get();
    EXPECT_EQ(cache.take(select(3)), nullptr);
    cache.give(prepared(select(3)));
    for (int number = 0; number < 2 * StatementCache::Capacity; ++number)
        use(QString("select 'other %1'").arg(number));
    cache.give(std::move(inUse));
    EXPECT_EQ(cache.size(), StatementCache::Capacity + StatementCache::ListCapacity);
    inUse = cache.take(select(3));
    ASSERT_EQ(inUse.get(), first);
    inUse->usable = false;
    cache.give(std::move(inUse));
    EXPECT_FALSE(use(select(3)));

    inUse = cache.take(select(3));
    auto fresh = prepared(select(-2));
    cache.clear();
    cache.give(std::move(inUse));
    cache.give(std::move(fresh));
    EXPECT_EQ(cache.size(), 0) << "they were prepared before";
    m_database.pool()->removeConnection();
}

// A read that stays on its row keeps its view of the database: the next write then fails however long it waits.
TEST_P(SQLiteStatementTest, NoReadLeavesASnapshot)
{
    fill(3);
    DatabaseConnection connection(m_database.pool());
    const auto everyRead = [&connection] {
        Statement statement(connection, "select id, name from t");
        return std::vector<int>{
            selectFirst<Row>(statement, Row::Table).error,
            selectExists(statement).error,
            selectNumber<int>(statement).error,
        };
    };
    Statement alive(connection, "select name, id from t");
    EXPECT_TRUE(selectExists(alive).value);
    EXPECT_EQ(everyRead(), (std::vector<int>{0, 0, 0}));
    {
        Statement abandoned(connection, "select id from t where id > 0");
        ASSERT_EQ(abandoned.exec(), ResultCode::Ok);
        EXPECT_TRUE(abandoned.next());
    }
    m_database.sql("insert into t (name) values ('of another connection')");
    const Tests::LogCapture log;
    Row row{0, "mine", 0, {}};
    EXPECT_EQ(insert(row), ResultCode::Ok);
    EXPECT_EQ(log.complaints(), "");
    EXPECT_EQ(m_database.sql("PRAGMA wal_checkpoint(TRUNCATE)").first().first().toInt(), 0) << "nobody is in the way";
}

TEST_P(StatementTest, ScanThatBreaksOffIsAFailureAndNoShortList)
{
    fill(5);
    m_database.sql(isSQLite() ? "create view broken as select id, name, "
                                "case id when 4 then abs(-9223372036854775808) else 1 end as size from t"
                              : "create view broken as select id, name, 1 / (4 - id) as size from t");
    for (int time = 0; time < 2; ++time) {
        const Tests::LogCapture log;
        expectBrokenOff("broken", isSQLite() ? ResultCode::Error : ResultCode::RetriesExhausted);
        EXPECT_EQ(log.count(QtWarningMsg, isSQLite() ? "integer overflow" : "division by zero"), isSQLite() ? 1 : 4);
    }
}

TEST_P(SQLiteStatementTest, DamagedPageIsAFailureAndNoShortList)
{
    fill(3000);
    m_database.sql("PRAGMA wal_checkpoint(TRUNCATE)");
    QFile file(m_database.file());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    // The second half of the file, leaving the first pages with the schema and the table's root as they are.
    const qint64 half = file.size() / 4096 / 2 * 4096;
    ASSERT_TRUE(file.seek(half));
    ASSERT_EQ(file.write(QByteArray(static_cast<int>(file.size() - half), '\x5a')), file.size() - half);
    file.close();
    const Tests::LogCapture log;
    expectBrokenOff("t not indexed", ResultCode::BadDatabase);
    EXPECT_EQ(log.count(QtWarningMsg, "malformed"), 1);
}

TEST(PlaceholdersTest, AreFoundWhereTheDriverFindsThem)
{
    EXPECT_EQ(placeholdersOf("insert into t values (:b, :a,:b)"), (QVector<QString>{":b", ":a"}));
    EXPECT_EQ(placeholdersOf(":a1_B+:2"), (QVector<QString>{":a1_B", ":2"}));
    EXPECT_EQ(placeholdersOf(QString::fromUtf8("select :aЖ || :ж")), (QVector<QString>{":a"}));
    EXPECT_TRUE(placeholdersOf("select 'it''s :a', \":b\", `:c`, 'x'::text, a::int, ':d', 1: 2").isEmpty());
}

} // namespace
} // namespace Tolm::SQL
