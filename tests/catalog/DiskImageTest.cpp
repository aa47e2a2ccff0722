#include <repository/catalog/DiskImage.h>
#include <repository/catalog/DiskImageVersions.h>

#include <tests/catalog/CatalogueTest.h>

#include <QSqlQuery>

#include <algorithm>

namespace Tolm::SQL {
namespace {

using namespace Tests;
using Ids = QList<quint64>;
using PlatformType = DiskImage::PlatformType;

QDateTime day(int day)
{
    return utc(2024, 3, day, 2, 30);
}

class DiskImageTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        m_database.sql("insert into destination(id, cloud_type) values (1, 'a'), (2, 'b'), (3, 'c')");
        m_database.sql("insert into cloud_file_versions(id) values (7), (8), (9)");
    }

    DiskImage insertImage(const QDateTime &date, bool needDecrypt = false, quint64 destinationId = 1)
    {
        DiskImage image;
        image.setDateCreate(date);
        image.setNeedDecrypt(needDecrypt);
        image.setDestinationId(destinationId);
        EXPECT_TRUE(image.insert(m_connection));
        return image;
    }

    void link(const DiskImage &image, quint64 versionId)
    {
        DiskImageVersions link;
        link.setDiskImageId(image.id());
        link.setVersionId(versionId);
        EXPECT_TRUE(link.insert(m_connection));
    }

    Ids linkedTo(const DiskImage &image)
    {
        Ids versions;
        const auto links = DiskImageVersions::select(image.id(), m_connection);
        for (const auto &link : links) {
            EXPECT_EQ(link->diskImageId(), image.id());
            versions.append(link->versionId());
        }
        std::sort(versions.begin(), versions.end());
        return versions;
    }

    Ids page(quint64 limit, quint64 offset, bool onlyDecryptable)
    {
        return ids(DiskImage::select(1, limit, offset, onlyDecryptable, m_connection));
    }
};
TOLM_TEST_ON_EVERY_BACKEND(DiskImageTest);

TEST_P(DiskImageTest, ReadsBackWhatItStored)
{
    DiskImage image;
    image.setSize(Largest);
    image.setOriginalSize((quint64(1) << 53U) + 1);
    image.setDateCreate(utc(2024, 1, 1));
    image.setIsCompressed(true);
    image.setBackupFolderName("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line");
    image.setDestinationId(1);
    image.setHostName("");
    image.setXml(QString(4000, QChar(0x20AC)));
    image.setPlatformType(PlatformType::Linux);
    image.setNeedDecrypt(true);
    ASSERT_TRUE(image.insert(m_connection));
    EXPECT_EQ(shown(DiskImage::selectLatestVersion(1, m_connection)), shown(image));

    DiskImage other;
    other.setDestinationId(2);
    other.setIsEncrypted(true);
    other.setIsBlockLevel(true);
    other.setPlatformType(PlatformType::Windows);
    ASSERT_TRUE(other.insert(m_connection));
    EXPECT_EQ(shown(DiskImage::selectLatestVersion(2, m_connection)), shown(other));
    EXPECT_EQ(stored("diskimage", other.id(), "date_created_utc"), isSQLite() ? "" : "NULL");

    // A platform that has no number of its own is unknown, in the table and out of it.
    other.setPlatformType(PlatformType(5));
    ASSERT_TRUE(other.insert(m_connection));
    EXPECT_EQ(stored("diskimage", other.id(), "platform_type"), "0");
    m_database.sql("update diskimage set platform_type = -1");
    EXPECT_EQ(DiskImage::selectLatestVersion(2, m_connection)->platformType(), PlatformType::Unknown);

    QSqlQuery query = m_connection.query();
    ASSERT_TRUE(query.exec("select * from diskimage where destination_id = 1"));
    DiskImage read;
    ASSERT_TRUE(read.init(query));
    image.setPlatformType(PlatformType::Unknown);
    EXPECT_EQ(shown(read), shown(image));
    EXPECT_FALSE(read.init(query));
}

TEST_P(DiskImageTest, IsMadeFromMetaData)
{
    Info::DiskImageMetaData metaData;
    metaData.setCreateDate(day(5));
    metaData.setCompressed(true);
    metaData.setEncrypted(true);
    metaData.setOriginalSize(2000);
    metaData.setCompressedSize(1000);
    metaData.setHostName("host");
    metaData.setPlatformType(PlatformType::Windows);
    metaData.setBlockLevelBackup(true);
    EXPECT_EQ(shown(DiskImage::create(metaData)), rowOf(0, 1000, 2000, day(5), 1, 1, QString(), 0, QString("host"),
                                                        metaData.toXml(), PlatformType::Windows, 0, 0));
}

TEST_P(DiskImageTest, FindsTheNewestImageOfATime)
{
    const auto newestAt = [this](const QDateTime &date) {
        const auto image = DiskImage::select(1, date, m_connection);
        return image ? image->id() : 0;
    };
    EXPECT_EQ(newestAt({}), 0U);
    const auto newer = insertImage(day(20)).id();
    const auto older = insertImage(day(10)).id();
    insertImage(day(15), false, 2);
    EXPECT_EQ(newestAt(day(10).addSecs(-1)), 0U);
    EXPECT_EQ(newestAt(day(10)), older);
    EXPECT_EQ(newestAt(day(20).addSecs(-1)), older);
    EXPECT_EQ(newestAt(day(31)), newer);
    EXPECT_EQ(newestAt({}), newer);

    // An undated image is at no time, and last in every order.
    const auto undated = insertImage({}).id();
    EXPECT_EQ(newestAt(day(31)), newer);
    EXPECT_EQ(newestAt({}), undated);
    EXPECT_EQ(page(0, 0, false), Ids({older, newer, undated}));
}

TEST_P(DiskImageTest, ListsTheImagesOfADestinationOldestFirst)
{
    const auto third = insertImage(day(3)).id();
    const auto first = insertImage(day(1)).id();
    const auto second = insertImage(day(2), true).id();
    const auto fourth = insertImage(day(4)).id();
    insertImage(day(2), true, 2);
    EXPECT_EQ(page(0, 0, false), Ids({first, second, third, fourth}));
    EXPECT_EQ(page(0, 0, true), Ids({first, third, fourth}));
    EXPECT_EQ(page(2, 1, false), Ids({second, third}));
    EXPECT_EQ(page(2, 1, true), Ids({third, fourth}));
    EXPECT_EQ(page(~quint64(0), 3, false), Ids({fourth}));
    EXPECT_EQ(page(1, ~quint64(0), true), Ids());
    EXPECT_EQ(page(0, 1, false), Ids());

    // Destination 1 has images of both kinds, 2 only one to decrypt, 3 none.
    for (const quint64 destination : {1U, 2U, 3U}) {
        EXPECT_EQ(DiskImage::hasData(destination, m_connection), destination == 1);
        EXPECT_EQ(DiskImage::hasEncryptedData(destination, m_connection), destination != 3);
    }
}

TEST_P(DiskImageTest, TakesItsLinksWithIt)
{
    const auto image = insertImage(day(1));
    const auto other = insertImage(day(2));
    link(image, 7);
    link(image, 8);
    link(other, 8);
    EXPECT_EQ(linkedTo(image), Ids({7, 8}));

    const LogCapture log;
    EXPECT_TRUE(DiskImage(image).delete_(m_connection));
    EXPECT_EQ(linkedTo(image), Ids());
    EXPECT_EQ(linkedTo(other), Ids({8}));
    EXPECT_EQ(page(0, 0, false), Ids({other.id()}));
    EXPECT_EQ(count("cloud_file_versions"), 3);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(DiskImageTest, KeepsTheLinksOfAnImageThatCannotGo)
{
    auto image = insertImage(day(1));
    link(image, 7);
    if (isSQLite()) {
        m_database.sql("create trigger keep before delete on diskimage begin select raise(abort, 'no'); end");
    } else {
        m_database.sql("create table keep(image integer references diskimage(id))");
        m_database.sql("insert into keep select id from diskimage");
    }
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(image.delete_(m_connection));
    EXPECT_EQ(linkedTo(image), Ids({7}));
    EXPECT_EQ(page(0, 0, false), Ids({image.id()}));
}

TEST_P(DiskImageTest, MovesLinksToTheVersionThatReplacesAnother)
{
    const auto one = insertImage(day(1));
    const auto two = insertImage(day(2));
    link(one, 7);
    link(one, 8);
    link(two, 7);
    EXPECT_FALSE(DiskImageVersions::updateVersionId(7, 0, m_connection));
    EXPECT_EQ(linkedTo(one), Ids({7, 8}));
    EXPECT_TRUE(DiskImageVersions::updateVersionId(7, 9, m_connection));
    EXPECT_EQ(linkedTo(one), Ids({8, 9}));
    EXPECT_EQ(linkedTo(two), Ids({9}));
    EXPECT_TRUE(DiskImageVersions::updateVersionId(7, 8, m_connection)) << "no such link is no failure";
}

} // namespace
} // namespace Tolm::SQL
