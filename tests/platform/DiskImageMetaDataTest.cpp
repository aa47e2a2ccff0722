#include <platform/Tolm/DiskImageMetaData.h>

#include <QtCore/QTimeZone>
#include <gtest/gtest.h>

#include <limits>

using Tolm::Info::DiskImageMetaData;
using PlatformType = DiskImageMetaData::PlatformType;

namespace {

void expectEqual(const DiskImageMetaData &left, const DiskImageMetaData &right)
{
    EXPECT_EQ(left.createDate(), right.createDate());
    EXPECT_EQ(left.compressed(), right.compressed());
    EXPECT_EQ(left.encrypted(), right.encrypted());
    EXPECT_EQ(left.originalSize(), right.originalSize());
    EXPECT_EQ(left.compressedSize(), right.compressedSize());
    EXPECT_EQ(left.hostName(), right.hostName());
    EXPECT_EQ(left.platformType(), right.platformType());
    EXPECT_EQ(left.blockLevelBackup(), right.blockLevelBackup());
}

void expectRoundTrip(const DiskImageMetaData &metaData)
{
    const QString xml = metaData.toXml();
    const auto readBack = DiskImageMetaData::createFromXml(xml);
    ASSERT_TRUE(readBack) << qPrintable(xml);
    expectEqual(*readBack, metaData);
    EXPECT_EQ(readBack->toXml(), xml);
}

QString document(const QString &fields)
{
    return QStringLiteral("<?xml version=\"1.0\"?><DiskImageMetaData>%1</DiskImageMetaData>").arg(fields);
}

DiskImageMetaData fullImage()
{
    DiskImageMetaData metaData;
    metaData.setCreateDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30, 0, 7), Qt::UTC));
    metaData.setCompressed(true);
    metaData.setEncrypted(true);
    metaData.setOriginalSize(std::numeric_limits<unsigned long long>::max());
    metaData.setCompressedSize(1ULL << 53U | 1U);
    metaData.setHostName(QStringLiteral("host"));
    metaData.setPlatformType(PlatformType::Linux);
    metaData.setBlockLevelBackup(true);
    return metaData;
}

} // namespace

TEST(DiskImageMetaDataTest, EveryFieldComesBack)
{
    expectRoundTrip(DiskImageMetaData());
    expectRoundTrip(fullImage());

    // Each flag and size alone, so that no two of them can stand for each other.
    DiskImageMetaData metaData;
    metaData.setEncrypted(true);
    metaData.setCompressedSize(5);
    metaData.setPlatformType(static_cast<PlatformType>(-7));
    expectRoundTrip(metaData);
    metaData = {};
    metaData.setBlockLevelBackup(true);
    metaData.setOriginalSize(6);
    metaData.setPlatformType(PlatformType::Windows);
    expectRoundTrip(metaData);
}

TEST(DiskImageMetaDataTest, DatesAreStoredInUtcWithMilliseconds)
{
    DiskImageMetaData metaData;
    metaData.setCreateDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30, 0, 7), QTimeZone(3600)));
    EXPECT_TRUE(metaData.toXml().contains(QStringLiteral("<CreateDate>2024-03-10T01:30:00.007Z</CreateDate>")));
    const auto readBack = DiskImageMetaData::createFromXml(metaData.toXml());
    ASSERT_TRUE(readBack);
    EXPECT_EQ(readBack->createDate().timeSpec(), Qt::UTC);
    EXPECT_EQ(readBack->createDate(), metaData.createDate());

    metaData.setCreateDate(QDateTime(QDate(12024, 1, 1), QTime(0, 0), Qt::UTC));
    const auto undated = DiskImageMetaData::createFromXml(metaData.toXml());
    ASSERT_TRUE(undated);
    EXPECT_FALSE(undated->createDate().isValid());
}

TEST(DiskImageMetaDataTest, AnyHostNameKeepsTheDocumentReadable)
{
    const QString names[] = {
        QStringLiteral("<a href=\"x\">&amp;'</a>]]>"),
        QStringLiteral("  blanks\tand\nlines  "),
        QStringLiteral("\r\n"),
        QString(QChar(0)) + QStringLiteral("nul"),
        QStringLiteral("bell\a\x1B[31m"),
        QString(QChar(0xFFFE)) + QChar(0xFFFF),
        QString::fromUtf8("K\xC3\xB6ln \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x92\xBE \xF4\x8F\xBF\xBD"),
        QString(100000, QLatin1Char('h')),
    };
    for (const QString &name : names) {
        DiskImageMetaData metaData = fullImage();
        metaData.setHostName(name);
        expectRoundTrip(metaData);
    }

    DiskImageMetaData metaData = fullImage();
    metaData.setHostName(QStringLiteral("half ") + QChar(0xD800));
    const auto readBack = DiskImageMetaData::createFromXml(metaData.toXml());
    ASSERT_TRUE(readBack);
    EXPECT_TRUE(readBack->hostName().startsWith(QStringLiteral("half ")));
    EXPECT_TRUE(readBack->blockLevelBackup());
}

TEST(DiskImageMetaDataTest, EveryCutOffDocumentIsRefused)
{
    const QString xml = fullImage().toXml().trimmed();
    ASSERT_TRUE(DiskImageMetaData::createFromXml(xml));
    for (int length = 0; length < xml.size(); ++length)
        EXPECT_FALSE(DiskImageMetaData::createFromXml(xml.left(length))) << qPrintable(xml.left(length));
}

TEST(DiskImageMetaDataTest, ForeignAndBrokenTextsAreRefused)
{
    const QString texts[] = {
        QStringLiteral("no xml at all"),
        QStringLiteral("<Other/>"),
        QStringLiteral("<DiskImageMetaData/><DiskImageMetaData/>"),
        QStringLiteral("<x:DiskImageMetaData xmlns:x=\"u\"/>"),
        document(QStringLiteral("<Compressed>yes</Compressed>")),
        document(QStringLiteral("<OriginalSize>-1</OriginalSize>")),
        document(QStringLiteral("<OriginalSize>18446744073709551616</OriginalSize>")),
        document(QStringLiteral("<CompressedSize>1e3</CompressedSize>")),
        document(QStringLiteral("<PlatformType>Linux</PlatformType>")),
        document(QStringLiteral("<CreateDate>2024-02-30T00:00:00.000Z</CreateDate>")),
        document(QStringLiteral("<CreateDate>2024-02-03T00:00:00.000</CreateDate>")),
        document(QStringLiteral("<HostName>a<b/></HostName>")),
        document(QStringLiteral("<HostName encoding=\"base64\">!</HostName>")),
        document(QStringLiteral("<HostName encoding=\"rot13\">a</HostName>")),
        document(QStringLiteral("<HostName>&unknown;</HostName>")),
        QStringLiteral("<!DOCTYPE DiskImageMetaData [<!ENTITY h \"x\">]>"
                       "<DiskImageMetaData><HostName>&h;</HostName></DiskImageMetaData>"),
    };
    for (const QString &text : texts)
        EXPECT_FALSE(DiskImageMetaData::createFromXml(text)) << qPrintable(text);
}

TEST(DiskImageMetaDataTest, UnknownAndMissingElementsAreNoFault)
{
    const auto metaData = DiskImageMetaData::createFromXml(
        document(QStringLiteral("<New><CompressedSize>1</CompressedSize></New><!-- c -->"
                                "<BlockLevelBackup> true\n</BlockLevelBackup>")));
    ASSERT_TRUE(metaData);
    EXPECT_TRUE(metaData->blockLevelBackup());
    EXPECT_EQ(metaData->compressedSize(), 0U);
}

TEST(DiskImageMetaDataTest, HostileDocumentsCostLittle)
{
    QString entities = QStringLiteral("<!ENTITY e0 \"ha\">");
    for (int i = 1; i < 30; ++i)
        entities += QStringLiteral("<!ENTITY e%1 \"&e%2;&e%2;\">").arg(i).arg(i - 1);
    EXPECT_FALSE(DiskImageMetaData::createFromXml(
        QStringLiteral("<!DOCTYPE DiskImageMetaData [%1]>"
                       "<DiskImageMetaData><HostName>&e29;</HostName></DiskImageMetaData>")
            .arg(entities)));

    constexpr int depth = 200000;
    const QString deep = QStringLiteral("<d>").repeated(depth) + QStringLiteral("</d>").repeated(depth);
    EXPECT_TRUE(DiskImageMetaData::createFromXml(document(deep)));
    EXPECT_FALSE(DiskImageMetaData::createFromXml(document(QStringLiteral("<d>").repeated(depth))));
}
