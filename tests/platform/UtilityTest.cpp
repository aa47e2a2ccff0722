#include <platform/SHARED/defines.h>
#include <platform/Tolm/Plan.h>
#include <platform/Varn/Archive.h>
#include <platform/Varn/Core.h>
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

TEST(UtilityTest, ValuesHaveOneForm)
{
    EXPECT_EQ(earlyNames, "HashToPurgeRemovedPurge");
    EXPECT_EQ(Tolm::Info::Plan::PlanResult(1000000).value(), 1000000) << "a number without a name";
    EXPECT_EQ(SHARED::defines::common::build_version(), Varn::Core::Version::number().toString());
    EXPECT_EQ(Uuid2String::windows(QUuid("{0B6C1A6E-3F9A-4C7E-9D1B-2F4E5A6B7C8D}")),
              "0b6c1a6e-3f9a-4c7e-9d1b-2f4e5a6b7c8d");
    EXPECT_EQ(Uuid2String::windows(QUuid()), "00000000-0000-0000-0000-000000000000");
    const auto strip = [](const char *text) { return StringFilters::removeTrailingChar(text, '/'); };
    EXPECT_EQ(strip("/home/u///"), "/home/u");
    EXPECT_EQ(strip("//home//u"), "//home//u");
    EXPECT_EQ(strip("///"), QString());
}

TEST(UtilityTest, RandomTextsAreSimpleAndDiffer)
{
    const QRegularExpression simple("\\A[A-Za-z0-9]{32}\\z");
    QSet<QString> seen;
    for (int i = 0; i < 1000; ++i) {
        seen.insert(RandomString::generateSimple(32));
        ASSERT_TRUE(simple.match(RandomString::generateSimple(32)).hasMatch());
    }
    EXPECT_EQ(seen.size(), 1000);
    EXPECT_EQ(RandomString::generateSimple(-1), QString());
}

TEST(UtilityTest, PathInfoTellsOfThePathAndEveryParent)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("map");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("12345");
    file.close();
    ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ExeOther));

    const QStringList lines = listOfPathInfo(path).split('\n');
    ASSERT_EQ(lines.size(), path.count('/') + 1);
    EXPECT_EQ(lines.first(), QString("%1: file, owner %2, mode 0641, size 5").arg(path, QFileInfo(path).owner()));
    EXPECT_TRUE(lines.at(1).startsWith(folder.path() + ": folder, owner ")) << qPrintable(lines.at(1));
    EXPECT_TRUE(lines.last().startsWith("/: folder, owner root")) << qPrintable(lines.last());

    const QString missing = folder.filePath("no/such");
    const QStringList missingLines = listOfPathInfo(missing).split('\n');
    EXPECT_EQ(missingLines.at(0), missing + ": missing");
    EXPECT_EQ(missingLines.at(2), lines.at(1));
    const QString link = folder.filePath("link");
    ASSERT_TRUE(QFile::link(missing, link));
    EXPECT_TRUE(listOfPathInfo(link).startsWith(link + ": link to " + missing + ", missing\n"));
    EXPECT_EQ(listOfPathInfo(QString()), QString());
}
