#include <repository/database/Moment_p.h>

#include <gtest/gtest.h>

namespace Tolm::SQL {
namespace {

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

} // namespace
} // namespace Tolm::SQL
