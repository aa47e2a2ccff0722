#include <platform/Tolm/HistoryOperation.h>
#include <platform/Tolm/Plan.h>
#include <platform/Varn/Archive.h>
#include <platform/Varn/Utility.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <gtest/gtest.h>

using namespace Varn::Utility;

namespace {

// Filled before main(): the name tables must already be there.
const QString earlyNames = Varn::Archive::FullReasonToString.value(Varn::Archive::FullReason::Hash) +
                           Varn::Archive::BrokenTypeToString.value(Varn::Archive::BrokenType::ToPurgeRemoved) +
                           Tolm::Info::Plan::SubTypeToString.value(Tolm::Info::Plan::SubType::Purge);

} // namespace

TEST(UtilityTest, UuidTextHasOneForm)
{
    EXPECT_EQ(Uuid2String::windows(QUuid("{0B6C1A6E-3F9A-4C7E-9D1B-2F4E5A6B7C8D}")),
              QStringLiteral("0b6c1a6e-3f9a-4c7e-9d1b-2f4e5a6b7c8d"));
    EXPECT_EQ(Uuid2String::windows(QUuid()), QStringLiteral("00000000-0000-0000-0000-000000000000"));
}

TEST(UtilityTest, RandomTextsAreSimpleAndDiffer)
{
    const QRegularExpression simple(QStringLiteral("\\A[A-Za-z0-9]{32}\\z"));
    QSet<QString> seen;
    for (int i = 0; i < 1000; ++i) {
        const QString text = RandomString::generateSimple(32);
        ASSERT_TRUE(simple.match(text).hasMatch()) << text.toStdString();
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000);
    EXPECT_EQ(RandomString::generateSimple(0), QString());
    EXPECT_EQ(RandomString::generateSimple(-1), QString());
}

TEST(UtilityTest, TrailingCharactersGoAndOthersStay)
{
    const auto strip = [](const char *text) {
        return StringFilters::removeTrailingChar(QString::fromLatin1(text), QLatin1Char('/'));
    };
    EXPECT_EQ(strip("/home/u///"), QStringLiteral("/home/u"));
    EXPECT_EQ(strip("//home//u"), QStringLiteral("//home//u"));
    EXPECT_EQ(strip("///"), QString());
    EXPECT_EQ(strip(""), QString());
}

TEST(UtilityTest, PathInfoTellsOfThePathAndEveryParent)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("map"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("12345");
    file.close();
    ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ExeOther));

    const QStringList lines = listOfPathInfo(path).split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), path.count(QLatin1Char('/')) + 1);
    EXPECT_EQ(lines.first(),
              QStringLiteral("%1: file, owner %2, mode 0641, size 5").arg(path, QFileInfo(path).owner()));
    EXPECT_TRUE(lines.at(1).startsWith(folder.path() + QStringLiteral(": folder, owner "))) << qPrintable(lines.at(1));
    EXPECT_TRUE(lines.last().startsWith(QStringLiteral("/: folder, owner root"))) << qPrintable(lines.last());

    const QString missing = folder.filePath(QStringLiteral("no/such"));
    const QStringList missingLines = listOfPathInfo(missing).split(QLatin1Char('\n'));
    EXPECT_EQ(missingLines.at(0), missing + QStringLiteral(": missing"));
    EXPECT_EQ(missingLines.at(2), lines.at(1));

    const QString link = folder.filePath(QStringLiteral("link"));
    ASSERT_TRUE(QFile::link(missing, link));
    EXPECT_TRUE(
        listOfPathInfo(link).startsWith(link + QStringLiteral(": link to ") + missing + QStringLiteral(", missing\n")));
    EXPECT_EQ(listOfPathInfo(QString()), QString());
}

TEST(DomainTypesTest, TablesServeStaticObjects)
{
    EXPECT_EQ(earlyNames, QStringLiteral("HashToPurgeRemovedPurge"));
}

TEST(DomainTypesTest, NumbersWithoutANamePassUnchanged)
{
    using Tolm::Info::History::OperationType;
    using Tolm::Info::Plan::PlanResult;
    for (const int number : {-1, 0, 2, 100, 255, 1000000}) {
        EXPECT_EQ(PlanResult(number).value(), number);
        EXPECT_EQ(OperationType(number).value(), number);
    }
    EXPECT_EQ(PlanResult(PlanResult::NotSet), PlanResult(2));
    EXPECT_NE(PlanResult(0), PlanResult(2));
    EXPECT_EQ(OperationType(OperationType::Failed).value(), 100);
}
