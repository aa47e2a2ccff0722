#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/Destination.h>
#include <repository/catalog/DiskImage.h>
#include <repository/catalog/DiskImageVersions.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <algorithm>
#include <limits>

namespace Tolm::SQL {
namespace {

using PlatformType = DiskImage::PlatformType;

QDateTime day(int day)
{
    return {QDate(2024, 3, day), QTime(2, 30), Qt::UTC};
}

void expectEqual(const DiskImage &read, const DiskImage &stored)
{
    EXPECT_EQ(read.id(), stored.id());
    EXPECT_EQ(read.size(), stored.size());
    EXPECT_EQ(read.originalSize(), stored.originalSize());
    EXPECT_EQ(read.dateCreate(), stored.dateCreate());
    EXPECT_EQ(read.isCompressed(), stored.isCompressed());
    EXPECT_EQ(read.isEncrypted(), stored.isEncrypted());
    EXPECT_EQ(read.backupFolderName(), stored.backupFolderName());
    EXPECT_EQ(read.destinationId(), stored.destinationId());
    EXPECT_EQ(read.hostName(), stored.hostName());
    EXPECT_EQ(read.displayName(), stored.hostName());
    EXPECT_EQ(read.xml(), stored.xml());
    EXPECT_EQ(read.platformType(), stored.platformType());
    EXPECT_EQ(read.isBlockLevel(), stored.isBlockLevel());
    EXPECT_EQ(read.isFull(), !stored.isBlockLevel());
    EXPECT_EQ(read.needDecrypt(), stored.needDecrypt());
}

class DiskImageTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFileVersion, Destination, DiskImage, DiskImageVersions>();
        m_database.sql(QStringLiteral("insert into destination(id, cloud_type) values (1, 'a'), (2, 'b'), (3, 'c')"));
        m_database.sql(QStringLiteral("insert into cloud_file_versions(id) values (7), (8), (9)"));
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

    QList<quint64> linkedTo(const DiskImage &image)
    {
        QList<quint64> versions;
        const auto links = DiskImageVersions::select(image.id(), m_connection);
        for (const auto &link : links) {
            EXPECT_EQ(link->diskImageId(), image.id());
            versions.append(link->versionId());
        }
        std::sort(versions.begin(), versions.end());
        return versions;
    }

    QList<quint64> ids(quint64 limit, quint64 offset, bool onlyDecryptable, quint64 destinationId = 1)
    {
        QList<quint64> ids;
        const auto images = DiskImage::select(destinationId, limit, offset, onlyDecryptable, m_connection);
        for (const auto &image : images)
            ids.append(image->id());
        return ids;
    }

    int rows(const char *table)
    {
        return m_database.value(QStringLiteral("select count(*) from ") + QLatin1String(table)).toInt();
    }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(DiskImageTest);

TEST_P(DiskImageTest, ReadsBackWhatItStored)
{
    DiskImage image;
    image.setSize(std::numeric_limits<qint64>::max());
    image.setOriginalSize((Q_UINT64_C(1) << 53) + 1);
    image.setDateCreate(QDateTime(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC));
    image.setIsCompressed(true);
    image.setBackupFolderName(QStringLiteral("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line"));
    image.setDestinationId(1);
    image.setHostName(QStringLiteral(""));
    image.setXml(QString(4000, QChar(0x20AC)));
    image.setPlatformType(PlatformType::Linux);
    image.setNeedDecrypt(true);
    ASSERT_TRUE(image.insert(m_connection));
    expectEqual(*DiskImage::selectLatestVersion(1, m_connection), image);
    EXPECT_FALSE(DiskImage::selectLatestVersion(1, m_connection)->hostName().isNull());

    DiskImage other;
    other.setDestinationId(2);
    other.setIsEncrypted(true);
    other.setIsBlockLevel(true);
    other.setPlatformType(PlatformType::Windows);
    ASSERT_TRUE(other.insert(m_connection));
    expectEqual(*DiskImage::selectLatestVersion(2, m_connection), other);
    EXPECT_TRUE(DiskImage::selectLatestVersion(2, m_connection)->hostName().isNull());
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from diskimage where date_created_utc %1")
                                   .arg(isSQLite() ? QStringLiteral("= ''") : QStringLiteral("is null"))),
              1);

    QSqlQuery query = m_connection.query();
    ASSERT_TRUE(query.exec(QStringLiteral("select * from diskimage where destination_id = 1")));
    DiskImage read;
    ASSERT_TRUE(read.init(query));
    expectEqual(read, image);
    EXPECT_FALSE(read.init(query));
}

TEST_P(DiskImageTest, KnowsTwoPlatforms)
{
    DiskImage image;
    image.setDestinationId(1);
    image.setPlatformType(static_cast<PlatformType>(5));
    ASSERT_TRUE(image.insert(m_connection));
    EXPECT_EQ(m_database.value(QStringLiteral("select platform_type from diskimage")), 0);
    m_database.sql(QStringLiteral("update diskimage set platform_type = -1"));
    EXPECT_EQ(DiskImage::selectLatestVersion(1, m_connection)->platformType(), PlatformType::Unknown);
}

TEST_P(DiskImageTest, IsMadeFromMetaData)
{
    Tolm::Info::DiskImageMetaData metaData;
    metaData.setCreateDate(day(5));
    metaData.setCompressed(true);
    metaData.setEncrypted(true);
    metaData.setOriginalSize(2000);
    metaData.setCompressedSize(1000);
    metaData.setHostName(QStringLiteral("host"));
    metaData.setPlatformType(PlatformType::Windows);
    metaData.setBlockLevelBackup(true);

    const auto image = DiskImage::create(metaData);
    image->setDestinationId(1);
    ASSERT_TRUE(image->insert(m_connection));
    const auto read = DiskImage::selectLatestVersion(1, m_connection);
    EXPECT_EQ(read->dateCreate(), day(5));
    EXPECT_TRUE(read->isCompressed() && read->isEncrypted());
    EXPECT_EQ(read->originalSize(), 2000U);
    EXPECT_EQ(read->size(), 1000U);
    EXPECT_EQ(read->hostName(), QStringLiteral("host"));
    EXPECT_EQ(read->platformType(), PlatformType::Windows);
    EXPECT_FALSE(read->isBlockLevel());
    const auto document = Tolm::Info::DiskImageMetaData::createFromXml(read->xml());
    ASSERT_TRUE(document);
    EXPECT_TRUE(document->blockLevelBackup());
}

TEST_P(DiskImageTest, RefusesWhatNoColumnHolds)
{
    DiskImage large;
    large.setDestinationId(1);
    large.setSize(Q_UINT64_C(1) << 63);
    DiskImage late;
    late.setDestinationId(1);
    late.setDateCreate(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC));
    const Tests::LogCapture log;
    EXPECT_FALSE(large.insert(m_connection));
    EXPECT_FALSE(late.insert(m_connection));
    EXPECT_FALSE(DiskImage::select(1, late.dateCreate(), m_connection));
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("value out of range for :size")), 1);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("value out of range for :date_created_utc")), 2);
    EXPECT_EQ(rows("diskimage"), 0);
}

TEST_P(DiskImageTest, FindsTheNewestImageOfATime)
{
    const auto newestAt = [this](const QDateTime &date) {
        const auto image = DiskImage::select(1, date, m_connection);
        return image ? image->id() : 0;
    };
    EXPECT_EQ(newestAt({}), 0U);
    const auto newer = insertImage(day(20));
    const auto older = insertImage(day(10));
    insertImage(day(15), false, 2);

    EXPECT_EQ(newestAt(day(9)), 0U);
    EXPECT_EQ(newestAt(day(10).addSecs(-1)), 0U);
    EXPECT_EQ(newestAt(day(10)), older.id());
    EXPECT_EQ(newestAt(day(20).addSecs(-1)), older.id());
    EXPECT_EQ(newestAt(day(31)), newer.id());
    EXPECT_EQ(newestAt({}), newer.id());

    // An undated image is at no time, and last in every order.
    const auto undated = insertImage({});
    EXPECT_EQ(newestAt(day(31)), newer.id());
    EXPECT_EQ(newestAt({}), undated.id());
    EXPECT_EQ(ids(0, 0, false), (QList<quint64>{older.id(), newer.id(), undated.id()}));
}

TEST_P(DiskImageTest, ListsTheImagesOfADestinationOldestFirst)
{
    const auto third = insertImage(day(3)).id();
    const auto first = insertImage(day(1)).id();
    const auto second = insertImage(day(2), true).id();
    const auto fourth = insertImage(day(4)).id();
    insertImage(day(2), true, 2);

    constexpr auto Most = std::numeric_limits<quint64>::max();
    EXPECT_EQ(ids(0, 0, false), (QList<quint64>{first, second, third, fourth}));
    EXPECT_EQ(ids(0, 0, true), (QList<quint64>{first, third, fourth}));
    EXPECT_EQ(ids(2, 1, false), (QList<quint64>{second, third}));
    EXPECT_EQ(ids(2, 1, true), (QList<quint64>{third, fourth}));
    EXPECT_EQ(ids(Most, 3, false), (QList<quint64>{fourth}));
    EXPECT_EQ(ids(1, Most, true), QList<quint64>());
    EXPECT_EQ(ids(0, 1, false), QList<quint64>());

    EXPECT_TRUE(DiskImage::hasData(1, m_connection));
    EXPECT_TRUE(DiskImage::hasEncryptedData(1, m_connection));
    EXPECT_FALSE(DiskImage::hasData(2, m_connection));
    EXPECT_TRUE(DiskImage::hasEncryptedData(2, m_connection));
    EXPECT_FALSE(DiskImage::hasData(3, m_connection));
    EXPECT_FALSE(DiskImage::hasEncryptedData(3, m_connection));
}

TEST_P(DiskImageTest, TakesItsLinksWithIt)
{
    auto image = insertImage(day(1));
    const auto other = insertImage(day(2));
    link(image, 7);
    link(image, 8);
    link(other, 8);
    EXPECT_EQ(linkedTo(image), (QList<quint64>{7, 8}));

    const Tests::LogCapture log;
    EXPECT_TRUE(image.delete_(m_connection));
    EXPECT_EQ(linkedTo(image), QList<quint64>());
    EXPECT_EQ(linkedTo(other), QList<quint64>{8});
    EXPECT_EQ(ids(0, 0, false), QList<quint64>{other.id()});
    EXPECT_EQ(rows("cloud_file_versions"), 3);
    EXPECT_TRUE(image.delete_(m_connection));
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(DiskImageTest, KeepsTheLinksOfAnImageThatCannotGo)
{
    auto image = insertImage(day(1));
    link(image, 7);
    if (isSQLite()) {
        m_database.sql(QStringLiteral("create trigger keep before delete on diskimage begin select raise(abort, 'no'); "
                                      "end"));
    } else {
        m_database.sql(QStringLiteral("create table keep(image integer references diskimage(id))"));
        m_database.sql(QStringLiteral("insert into keep values (%1)").arg(image.id()));
    }
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    EXPECT_FALSE(image.delete_(m_connection));
    EXPECT_EQ(linkedTo(image), QList<quint64>{7});
    EXPECT_EQ(ids(0, 0, false), QList<quint64>{image.id()});
}

TEST_P(DiskImageTest, MovesLinksToTheVersionThatReplacesAnother)
{
    const auto one = insertImage(day(1));
    const auto two = insertImage(day(2));
    link(one, 7);
    link(one, 8);
    link(two, 7);

    EXPECT_FALSE(DiskImageVersions::updateVersionId(0, 9, m_connection));
    EXPECT_FALSE(DiskImageVersions::updateVersionId(7, 0, m_connection));
    EXPECT_EQ(linkedTo(one), (QList<quint64>{7, 8}));
    EXPECT_TRUE(DiskImageVersions::updateVersionId(7, 9, m_connection));
    EXPECT_EQ(linkedTo(one), (QList<quint64>{8, 9}));
    EXPECT_EQ(linkedTo(two), QList<quint64>{9});
    EXPECT_TRUE(DiskImageVersions::updateVersionId(7, 8, m_connection));
}

TEST_P(DiskImageTest, NeedsItsDestinationWhereForeignKeysCount)
{
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    DiskImage image;
    image.setDestinationId(99);
    EXPECT_EQ(image.insert(m_connection), isSQLite());
    DiskImageVersions link;
    link.setDiskImageId(99);
    link.setVersionId(99);
    EXPECT_EQ(link.insert(m_connection), isSQLite());
    EXPECT_EQ(image.id() != 0, isSQLite());
    EXPECT_EQ(rows("diskimage"), isSQLite() ? 1 : 0);
}

TEST_P(DiskImageTest, RefusesQuietly)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    auto image = insertImage(day(1));
    link(image, 7);
    const Tests::LogCapture log;

    EXPECT_FALSE(DiskImage().insert(closed));
    EXPECT_FALSE(image.delete_(closed));
    EXPECT_FALSE(DiskImageVersions().insert(closed));
    EXPECT_FALSE(DiskImageVersions::updateVersionId(7, 8, closed));
    for (const quint64 destinationId : {0, 1}) {
        DatabaseConnection &connection = destinationId == 0 ? m_connection : closed;
        EXPECT_FALSE(DiskImage::select(destinationId, day(1), connection));
        EXPECT_FALSE(DiskImage::selectLatestVersion(destinationId, connection));
        EXPECT_TRUE(DiskImage::select(destinationId, 0, 0, false, connection).isEmpty());
        EXPECT_TRUE(DiskImage::select(destinationId, 1, 0, true, connection).isEmpty());
        EXPECT_FALSE(DiskImage::hasData(destinationId, connection));
        EXPECT_FALSE(DiskImage::hasEncryptedData(destinationId, connection));
        EXPECT_TRUE(DiskImageVersions::select(destinationId, connection).isEmpty());
    }
    EXPECT_TRUE(log.records().isEmpty());
    EXPECT_EQ(linkedTo(image), QList<quint64>{7});
}

} // namespace
} // namespace Tolm::SQL
