#include <repository/database/CatalogDate_p.h>
#include <repository/database/Moment_p.h>
#include <repository/database/Utitlity.h>

#include <tests/support/ProcessZone.h>

#include <gtest/gtest.h>

#include <limits>

namespace Tolm::SQL {
namespace {

QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return {QDate(year, month, day), QTime(hour, minute, second), Qt::UTC};
}

class CatalogDateTest : public testing::TestWithParam<const char *> {
protected:
    const Tests::ProcessZone m_zone{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Zones, CatalogDateTest, testing::Values("UTC", "America/New_York", "Asia/Kathmandu"));

TEST_P(CatalogDateTest, DatesComeBackWhateverTheZoneSkips)
{
    // New York skips 2:00 to 3:00 on 10 March 2024 and repeats 1:00 to 2:00 on 3 November.
    for (const QDateTime &date :
         {utc(2024, 3, 10, 2, 30), utc(2024, 3, 10, 2), utc(2024, 11, 3, 1, 30), utc(2024, 2, 29, 23, 59, 59),
          utc(2024, 1, 1), utc(1000, 1, 1), utc(9999, 12, 31, 23, 59, 59), utc(1970, 1, 1), utc(1969, 12, 31, 23)}) {
        const QString text = date.toString("yyyyMMddhhmmss");
        EXPECT_EQ(CatalogDate::toText(date), text);
        EXPECT_EQ(CatalogDate::toNumber(date), text.toLongLong());
        for (const QVariant &stored : {QVariant(text), QVariant(text.toLongLong())}) {
            const QDateTime read = CatalogDate::fromStored(stored);
            EXPECT_EQ(read, date) << qPrintable(text);
            EXPECT_EQ(read.timeSpec(), Qt::UTC);
            EXPECT_EQ(read.toString("yyyyMMddhhmmss"), text);
        }
    }
}

TEST_P(CatalogDateTest, ClockFieldsAreWrittenAsTheyStand)
{
    const QTime time(12, 34, 56, 999);
    EXPECT_EQ(CatalogDate::toText(QDateTime(QDate(2024, 7, 1), time)), QString("20240701123456"));
    EXPECT_EQ(CatalogDate::toText(QDateTime(QDate(2024, 7, 1), time, Qt::OffsetFromUTC, 7200)),
              QString("20240701123456"));
}

TEST(CatalogDateValuesTest, NoneAndWhatIsNoDateReadInvalid)
{
    EXPECT_EQ(CatalogDate::toText({}), QString(""));
    EXPECT_FALSE(CatalogDate::toText({})->isNull());
    EXPECT_EQ(CatalogDate::toNumber({}), 0);
    EXPECT_EQ(CatalogDate::toText(utc(999, 12, 31)), std::nullopt);
    EXPECT_EQ(CatalogDate::toNumber(utc(10000, 1, 1)), std::nullopt);
    EXPECT_EQ(CatalogDate::toText(utc(-2024, 1, 1)), std::nullopt);

    const QString texts = "|0|99999999999999|2024010112000|202401011200000|20240001000000|20241301000000|20240100000000"
                          "|20240132000000|20230229000000|20240101240000|20240101006000|20240101000060|09991231235959"
                          "|00000000000000|2024-01-01 00:0| 20240101000000|20240101000000 |2024010100000a"
                          "|+2024010100000|-2024010100000|2.0240101e+13|0x202401010000|١٢٣٤٠١٠١٠٠٠٠٠٠|2024010100000٠";
    for (const QString &text : texts.split('|'))
        EXPECT_FALSE(CatalogDate::fromStored(text).isValid()) << qPrintable(text);
    for (const qint64 number :
         {qint64(0), CatalogDate::None, qint64(-1), qint64(-20240101000000), qint64(2024010112000),
          qint64(202401011200000), qint64(20240101240000), qint64(20230229000000), qint64(9991231235959),
          std::numeric_limits<qint64>::max(), std::numeric_limits<qint64>::min()}) {
        EXPECT_FALSE(CatalogDate::fromStored(number).isValid()) << number;
    }
    for (const QVariant &stored :
         {QVariant(), QVariant(QString()), QVariant(QVariant::LongLong), QVariant(20240101000000.0 * 10)})
        EXPECT_FALSE(CatalogDate::fromStored(stored).isValid());
}

QDateTime byQt(const char *text)
{
    QDateTime date = QVariant(QString(QLatin1String(text))).toDateTime();
    date.setTimeSpec(Qt::UTC);
    return date;
}

TEST(MomentTest, ReadsEveryFormAsQtDoes)
{
    for (const char *text : {"2024-03-10T02:30:00.750Z", "0001-01-01T00:00:00.000Z", "9999-12-31T23:59:59.999Z",
                             "2024-02-29T12:00:00.001Z", "2024-03-10T02:30:00Z", "2024-03-10 02:30:00.750",
                             "2024-03-10", "2024-03-10T24:00:00.000Z", "2024-02-30T12:00:00.000Z",
                             "2024-03-10T25:00:00.000Z", "2024-03-1xT02:30:00.750Z", "-123-03-10T02:30:00.750Z",
                             "2024-03-10T02:30:00,750Z", "2024-03-10T02:30:00.7500", "", "none"}) {
        const QDateTime date = Moment::fromStored(QString(text));
        EXPECT_EQ(date, byQt(text)) << text;
        EXPECT_TRUE(!date.isValid() || date.timeSpec() == Qt::UTC) << text;
    }
    const QDateTime date(QDate(2024, 1, 1), QTime(1, 2), Qt::UTC);
    EXPECT_EQ(Moment::fromStored(date), date);
}

TEST(UtitlityTest, ModifiedDateTimeCutsMillisecondsAndConvertsNothing)
{
    const QDate day(2020, 1, 2);
    const QTime time(12, 34, 56, 789);
    for (const QDateTime &given :
         {QDateTime(day, time), QDateTime(day, time, Qt::UTC), QDateTime(day, time, Qt::OffsetFromUTC, 7200)}) {
        EXPECT_EQ(Utitlity::modifiedDateTime(given), QDateTime(day, QTime(12, 34, 56), Qt::UTC));
        EXPECT_EQ(Utitlity::modifiedDateTime(given).timeSpec(), Qt::UTC);
    }
    EXPECT_FALSE(Utitlity::modifiedDateTime({}).isValid());
}

} // namespace
} // namespace Tolm::SQL
