#include <repository/database/Records_p.h>

#include <tests/support/ProcessZone.h>
#include <tests/support/TestDatabase.h>

#include <limits>

namespace Tolm::SQL {
namespace {

enum class Kind { None, Some = 3 };

/// One column for each stored form and each type of number.
struct Everything {
    quint64 id = 0;
    qint64 least = 0;
    unsigned long count = 0;
    signed char tiny = 0;
    bool flag = false;
    bool one = false;
    Kind kind = Kind::None;
    QString text;
    QString required;
    QByteArray utf8;
    QByteArray bytes;
    QDateTime number;
    QDateTime dateText;
    QDateTime numberOrNone;
    QDateTime textOrNone;
    QDateTime moment;
    QUuid plain;
    QUuid braced;
    QVersionNumber version;

    static constexpr auto Table = columns(                                             //
        column<Stored::Number>("id", &Everything::id),                                 //
        column<Stored::Number>("least", &Everything::least),                           //
        column<Stored::Number>("count", &Everything::count),                           //
        column<Stored::Number>("tiny", &Everything::tiny),                             //
        column<Stored::Number>("flag", &Everything::flag),                             //
        column<Stored::FlagIsOne>("one", &Everything::one),                            //
        column<Stored::Number>("kind", &Everything::kind),                             //
        column<Stored::Text>("text", &Everything::text),                               //
        column<Stored::RequiredText>("required", &Everything::required),               //
        column<Stored::Utf8>("utf8", &Everything::utf8),                               //
        column<Stored::Bytes>("bytes", &Everything::bytes),                            //
        column<Stored::DateNumber>("number", &Everything::number),                     //
        column<Stored::DateText>("date_text", &Everything::dateText),                  //
        column<Stored::DateNumberOrNone>("number_or_none", &Everything::numberOrNone), //
        column<Stored::DateTextOrNone>("text_or_none", &Everything::textOrNone),       //
        column<Stored::DateTime>("moment", &Everything::moment),                       //
        column<Stored::PlainUuid>("plain", &Everything::plain),                        //
        column<Stored::BracedUuid>("braced", &Everything::braced),                     //
        column<Stored::Version>("version", &Everything::version));

    bool operator==(const Everything &other) const
    {
        return std::apply(
            [&](const auto &...column) { return ((this->*column.member == other.*column.member) && ...); }, Table);
    }
};

class StoredFormsTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        const QString text = "create table t (id integer primary key, least bigint, count bigint, tiny integer, "
                             "flag integer, one integer, kind integer, text text, required text not null unique, "
                             "utf8 text, bytes %1, number numeric, date_text numeric, number_or_none bigint, "
                             "text_or_none numeric not null, moment %2, plain text, braced text, version text)";
        m_database.sql(isSQLite() ? text.arg("blob", "datetime") : text.arg("bytea", "timestamp with time zone"));
    }

    int insert(const Everything &record)
    {
        DatabaseConnection connection(m_database.pool());
        Statement statement(connection,
                            "insert into t values (:id, :least, :count, :tiny, :flag, :one, :kind, :text, :required, "
                            ":utf8, :bytes, :number, :date_text, :number_or_none, :text_or_none, :moment, :plain, "
                            ":braced, :version)");
        return writeRecord(statement, record, Everything::Table);
    }

    QSharedPointer<Everything> select(quint64 id)
    {
        DatabaseConnection connection(m_database.pool());
        const QString text =
            "select id, least, count, tiny, flag, one, kind, text, required, utf8, bytes, number, date_text, "
            "number_or_none, text_or_none, %1 as moment, plain, braced, version from t where id = :id";
        Statement statement(connection, text.arg(isSQLite() ? "moment" : "moment at time zone 'UTC'"));
        statement.bind(":id", id);
        return selectFirst<Everything>(statement, Everything::Table).pointer;
    }

    const Tests::ProcessZone m_zone{"America/New_York"};
};
TOLM_TEST_ON_EVERY_BACKEND(StoredFormsTest);

TEST_P(StoredFormsTest, EdgeValuesComeBackAsTheyWere)
{
    // A clock time that the zone of the process may skip, and midnight, which a driver that reads numbers as doubles
    // loses.
    const QDateTime skipped(QDate(2024, 3, 10), QTime(2, 30), Qt::UTC);
    const QDateTime midnight(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC);
    Everything most;
    most.id = 1;
    most.least = std::numeric_limits<qint64>::min();
    most.count = std::numeric_limits<qint64>::max();
    most.tiny = -1;
    most.flag = most.one = true;
    most.kind = Kind::Some;
    most.text = most.required = QString::fromUtf8("it's \"50%\" \\ ?:x\n\t\U0001F5C4 Ж é") + QString(4000, 'x');
    most.utf8 = most.text.toUtf8();
    most.bytes = QByteArray("\0\x01'\\\xff\xfe binary\0", 15);
    most.number = most.textOrNone = midnight;
    most.dateText = most.numberOrNone = skipped;
    most.moment = skipped.addMSecs(750);
    most.plain = most.braced = QUuid::createUuid();
    most.version = QVersionNumber(1, 0, 20);
    Everything least;
    least.id = 2;
    least.required = least.text = "";
    least.utf8 = least.bytes = QByteArray("");
    Everything large;
    large.id = (quint64(1) << 31) - 1;
    large.required = "large";
    large.least = -((qint64(1) << 53) + 1);
    large.count = (1UL << 53) + 1;
    large.tiny = 127;
    for (const Everything &record : {most, least, large}) {
        ASSERT_EQ(insert(record), ResultCode::Ok);
        const auto read = select(record.id);
        ASSERT_TRUE(read);
        EXPECT_TRUE(*read == record) << record.id;
        EXPECT_EQ(read->text.isNull(), record.text.isNull());
        EXPECT_EQ(read->bytes.isNull(), record.bytes.isEmpty());
        EXPECT_EQ(read->utf8.isNull(), record.text.isNull());
        for (const QDateTime &date : {read->number, read->dateText, read->numberOrNone, read->textOrNone, read->moment})
            EXPECT_TRUE(!date.isValid() || date.timeSpec() == Qt::UTC);
    }

    const QDateTime year10000(QDate(10000, 1, 1), QTime(1, 0), Qt::UTC);
    for (QDateTime Everything::*date : {&Everything::number, &Everything::dateText, &Everything::numberOrNone,
                                        &Everything::textOrNone, &Everything::moment}) {
        Everything refused = large;
        refused.*date = year10000;
        EXPECT_EQ(insert(refused), ResultCode::BadData);
    }
}

TEST_P(StoredFormsTest, ColumnsHoldWhatOtherProgramsExpect)
{
    Everything empty;
    empty.id = 1;
    ASSERT_EQ(insert(empty), ResultCode::Ok);
    EXPECT_TRUE(*select(1) == empty);
    EXPECT_EQ(m_database.rows("select number, number_or_none, text_or_none, date_text, plain, braced from t where text "
                              "is null and utf8 is null and bytes is null and moment is null and required = '' and "
                              "version = ''"),
              QStringList("0|99999999999999|99999999999999||00000000-0000-0000-0000-000000000000|"
                          "{00000000-0000-0000-0000-000000000000}"));
    EXPECT_EQ(m_database.value("select count(date_text) from t").toInt(), isSQLite() ? 1 : 0);

    Everything record;
    record.id = 2;
    record.required = "other";
    record.tiny = -5;
    record.count = 7;
    record.flag = true;
    record.utf8 = "text";
    record.bytes = "blob";
    record.dateText = record.textOrNone = QDateTime(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC);
    ASSERT_EQ(insert(record), ResultCode::Ok);
    EXPECT_EQ(m_database.value("select id from t where tiny = -5 and count + 1 = 8 and flag = 1 and utf8 = 'text' and "
                               "date_text = 20240101000000 and text_or_none < 20240101000001"),
              2);
    if (isSQLite()) {
        EXPECT_EQ(m_database.rows("select typeof(tiny), typeof(count), typeof(flag), typeof(utf8), typeof(bytes), "
                                  "typeof(date_text) from t where id = 2"),
                  QStringList("integer|integer|integer|text|blob|integer"));
    }
}

TEST_P(StoredFormsTest, WhatDoesNotConvertReadsAsNothing)
{
    m_database.sql(isSQLite()
                       ? "insert into t values (1, 'x', 'y', '', 2, 2, null, 5, '', 6, 7, 'soon', '1', '', 'never', "
                         "'now', 'no uuid', '', 'v')"
                       : "insert into t values (1, null, null, null, 2, 2, null, '5', '', '6', '7', 12, 1, 99, 1, "
                         "null, 'no uuid', '', 'v')");
    const auto read = select(1);
    ASSERT_TRUE(read);
    Everything expected;
    expected.id = 1;
    expected.flag = true; // any number but 0
    expected.text = "5";
    expected.utf8 = "6";
    expected.bytes = "7";
    EXPECT_TRUE(*read == expected);
}

} // namespace
} // namespace Tolm::SQL
