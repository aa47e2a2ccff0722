#include <platform/Tolm/DiskImageMetaData.h>

#include <QtCore/QTimeZone>
#include <gtest/gtest.h>

#include <limits>

using Tolm::Info::DiskImageMetaData;
using PlatformType = DiskImageMetaData::PlatformType;

namespace {

auto fieldsOf(const DiskImageMetaData &image)
{
    return std::make_tuple(image.createDate(), image.compressed(), image.encrypted(), image.originalSize(),
                           image.compressedSize(), image.hostName(), image.platformType(), image.blockLevelBackup());
}

DiskImageMetaData readBack(const DiskImageMetaData &image)
{
    const auto read = DiskImageMetaData::createFromXml(image.toXml());
    EXPECT_TRUE(read) << qPrintable(image.toXml());
    return read ? *read : DiskImageMetaData();
}

QString document(const QString &fields)
{
    return "<?xml version=\"1.0\"?><DiskImageMetaData>" + fields + "</DiskImageMetaData>";
}

DiskImageMetaData fullImage(const QString &hostName = "host")
{
    DiskImageMetaData image;
    image.setCreateDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30, 0, 7), Qt::UTC));
    image.setCompressed(true);
    image.setEncrypted(true);
    image.setOriginalSize(std::numeric_limits<unsigned long long>::max());
    image.setCompressedSize(1ULL << 53U | 1U);
    image.setHostName(hostName);
    image.setPlatformType(PlatformType::Linux);
    image.setBlockLevelBackup(true);
    return image;
}

} // namespace

TEST(DiskImageMetaDataTest, EveryFieldComesBack)
{
    // Each flag and size alone, too, so that no two of them can stand for each other.
    DiskImageMetaData encrypted;
    encrypted.setEncrypted(true);
    encrypted.setCompressedSize(5);
    encrypted.setPlatformType(static_cast<PlatformType>(-7));
    DiskImageMetaData blockLevel;
    blockLevel.setBlockLevelBackup(true);
    blockLevel.setOriginalSize(6);
    blockLevel.setPlatformType(PlatformType::Windows);
    for (const DiskImageMetaData &image : {DiskImageMetaData(), fullImage(), encrypted, blockLevel})
        EXPECT_EQ(fieldsOf(readBack(image)), fieldsOf(image));
}

TEST(DiskImageMetaDataTest, DatesAreStoredInUtcWithMilliseconds)
{
    DiskImageMetaData image;
    image.setCreateDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30, 0, 7), QTimeZone(3600)));
    EXPECT_TRUE(image.toXml().contains("<CreateDate>2024-03-10T01:30:00.007Z</CreateDate>"));
    EXPECT_EQ(readBack(image).createDate().timeSpec(), Qt::UTC);
    EXPECT_EQ(readBack(image).createDate(), image.createDate());
    image.setCreateDate(QDateTime(QDate(12024, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_FALSE(readBack(image).createDate().isValid());
}

TEST(DiskImageMetaDataTest, AnyHostNameKeepsTheDocumentReadable)
{
    const QString names[] = {
        "<a href=\"x\">&amp;'</a>]]>",
        "  blanks\tand\nlines  ",
        "\r\n",
        QChar(0) + QString("nul"),
        "bell\a\x1B[31m",
        QString(QChar(0xFFFE)) + QChar(0xFFFF),
        QString::fromUtf8("K\xC3\xB6ln \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x92\xBE \xF4\x8F\xBF\xBD"),
        QString(100000, 'h'),
    };
    for (const QString &name : names)
        EXPECT_EQ(fieldsOf(readBack(fullImage(name))), fieldsOf(fullImage(name)));
    const DiskImageMetaData halfPair = readBack(fullImage(QString("half ") + QChar(0xD800)));
    EXPECT_TRUE(halfPair.hostName().startsWith("half ") && halfPair.blockLevelBackup());
}

TEST(DiskImageMetaDataTest, CutOffForeignAndBrokenTextsAreRefused)
{
    const QString xml = fullImage().toXml().trimmed();
    for (int length = 0; length < xml.size(); ++length)
        EXPECT_FALSE(DiskImageMetaData::createFromXml(xml.left(length))) << qPrintable(xml.left(length));
    const QString texts[] = {
        "no xml at all",
        "<Other/>",
        "<DiskImageMetaData/><DiskImageMetaData/>",
        "<x:DiskImageMetaData xmlns:x=\"u\"/>",
        document("<Compressed>yes</Compressed>"),
        document("<OriginalSize>-1</OriginalSize>"),
        document("<OriginalSize>18446744073709551616</OriginalSize>"),
        document("<CompressedSize>1e3</CompressedSize>"),
        document("<PlatformType>Linux</PlatformType>"),
        document("<CreateDate>2024-02-30T00:00:00.000Z</CreateDate>"),
        document("<CreateDate>2024-02-03T00:00:00.000</CreateDate>"),
        document("<HostName>a<b/></HostName>"),
        document("<HostName encoding=\"base64\">!</HostName>"),
        document("<HostName encoding=\"rot13\">a</HostName>"),
        document("<HostName>&unknown;</HostName>"),
    };
    for (const QString &text : texts)
        EXPECT_FALSE(DiskImageMetaData::createFromXml(text)) << qPrintable(text);
}

TEST(DiskImageMetaDataTest, UnknownAndMissingElementsAreNoFault)
{
    const auto image = DiskImageMetaData::createFromXml(document(
        "<New><CompressedSize>1</CompressedSize></New><!-- c --><BlockLevelBackup> true\n</BlockLevelBackup>"));
    ASSERT_TRUE(image);
    EXPECT_TRUE(image->blockLevelBackup());
    EXPECT_EQ(image->compressedSize(), 0U);
}

TEST(DiskImageMetaDataTest, HostileDocumentsCostLittle)
{
    QString entities = "<!ENTITY e0 \"ha\">";
    for (int i = 1; i < 30; ++i)
        entities += QString("<!ENTITY e%1 \"&e%2;&e%2;\">").arg(i).arg(i - 1);
    const QString declared = "<!DOCTYPE DiskImageMetaData [%1]><DiskImageMetaData><HostName>&%2;</HostName>"
                             "</DiskImageMetaData>";
    EXPECT_FALSE(DiskImageMetaData::createFromXml(declared.arg(entities, "e0")));
    EXPECT_FALSE(DiskImageMetaData::createFromXml(declared.arg(entities, "e29")));

    constexpr int depth = 200000;
    const QString opened = QString("<d>").repeated(depth);
    EXPECT_TRUE(DiskImageMetaData::createFromXml(document(opened + QString("</d>").repeated(depth))));
    EXPECT_FALSE(DiskImageMetaData::createFromXml(document(opened)));
}
