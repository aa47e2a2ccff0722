#include <tests/catalog/CatalogueTest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileVersionBitmapTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        qputenv("TOLM_CONFIG_ROOT", QFile::encodeName(m_folder.path()));
        QDir(m_folder.path()).mkdir("differentialfilemap");
        QDir(m_folder.path()).mkdir("diskimagemap");
    }
    void TearDown() override { qunsetenv("TOLM_CONFIG_ROOT"); }

    CloudFileVersionBitmap inserted(quint64 versionId)
    {
        CloudFileVersionBitmap map(versionId);
        map.setVersionUuid(m_uuid);
        EXPECT_TRUE(map.insert(m_connection));
        return map;
    }

    // The UUID that the version `id` has, or what there is instead.
    QString uuidOf(quint64 id)
    {
        CloudFileVersionBitmap map;
        if (!map.select(id, m_connection))
            return "nothing";
        EXPECT_EQ(map.versionId(), id);
        return map.versionUuid().toString();
    }

    static void write(const QString &path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    }

    const QUuid m_uuid{"{0f8fad5b-d9cb-469f-a165-70867728950e}"};
    QTemporaryDir m_folder;
    const QString m_fileMap = m_folder.filePath("differentialfilemap/" + m_uuid.toString());
    const QString m_imageMap = m_folder.filePath("diskimagemap/" + m_uuid.toString());
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileVersionBitmapTest);

TEST_P(CloudFileVersionBitmapTest, KeepsOneUuidForEachVersion)
{
    const QString none = QUuid().toString();
    inserted(7);
    EXPECT_EQ(m_database.value("select uuid from cloud_file_version_bitmaps").toString(), m_uuid.toString());
    CloudFileVersionBitmap found(7);
    EXPECT_TRUE(found.select(m_connection));
    EXPECT_EQ(found.versionUuid(), m_uuid);
    EXPECT_FALSE(found.select(8, m_connection));
    EXPECT_EQ(found.versionId(), 7U);

    found.setVersionUuid({});
    EXPECT_TRUE(found.update(m_connection));
    EXPECT_EQ(uuidOf(7), none);
    inserted(9);
    EXPECT_EQ(uuidOf(9), m_uuid.toString());
    EXPECT_TRUE(found.update(9, m_connection));
    EXPECT_EQ(uuidOf(9), none);
    EXPECT_TRUE(found.update(1000, m_connection)) << "no such row is no failure";

    m_database.sql("insert into cloud_file_version_bitmaps values (20, '0f8fad5b-d9cb-469f-a165-70867728950e'), "
                   "(21, NULL), (22, 'none')");
    EXPECT_EQ(uuidOf(20), m_uuid.toString()) << "the plain form serves as well";
    EXPECT_EQ(uuidOf(21) + uuidOf(22), none + none);
}

TEST_P(CloudFileVersionBitmapTest, MovesToAVersionThatHasNone)
{
    inserted(1);
    inserted(2);
    EXPECT_TRUE(CloudFileVersionBitmap::updateVersionId(1, 3, m_connection));
    EXPECT_EQ(uuidOf(1), "nothing");
    EXPECT_EQ(uuidOf(3), m_uuid.toString());

    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(CloudFileVersionBitmap::updateVersionId(3, 2, m_connection));
    EXPECT_FALSE(CloudFileVersionBitmap(3).insert(m_connection));
    EXPECT_EQ(uuidOf(3), m_uuid.toString());

    EXPECT_TRUE(CloudFileVersionBitmap::delete_(2, m_connection));
    EXPECT_TRUE(CloudFileVersionBitmap::delete_(2, m_connection));
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 1);
}

TEST_P(CloudFileVersionBitmapTest, RemovesTheMapOfTheFileOrElseOfTheImage)
{
    EXPECT_FALSE(CloudFileVersionBitmap(1).checkOnDisk(false)) << "without a UUID";
    CloudFileVersionBitmap map = inserted(1);
    EXPECT_FALSE(map.checkOnDisk(false) || map.checkOnDisk(true));
    LogCapture log;
    EXPECT_TRUE(map.delete_(m_connection)) << "no file is no failure";

    write(m_fileMap);
    EXPECT_TRUE(map.checkOnDisk(false) && !map.checkOnDisk(true));
    write(m_imageMap);
    EXPECT_TRUE(map.checkOnDisk(true));
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_FALSE(QFile::exists(m_fileMap));
    EXPECT_TRUE(QFile::exists(m_imageMap));
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_FALSE(QFile::exists(m_imageMap));
    EXPECT_EQ(log.complaints(), QString());

    // Nobody, not even root, unlinks a folder.
    ASSERT_TRUE(QDir().mkpath(m_fileMap));
    write(m_imageMap);
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_TRUE(QFile::exists(m_imageMap)) << "it is only looked for when there is no map of a file";
    EXPECT_EQ(log.complaints(), "Error on remove differential backup map, message: Is a directory");
    EXPECT_EQ(log.count(QtInfoMsg, m_fileMap), 1);

    QDir(m_fileMap).removeRecursively();
    QFile::remove(m_imageMap);
    ASSERT_TRUE(QDir().mkpath(m_imageMap));
    log.clear();
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_EQ(log.complaints(), "Error on remove differential ibb backup map, message: Is a directory");
    EXPECT_EQ(log.count(QtInfoMsg, m_imageMap), 1);
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 0);
}

TEST_P(CloudFileVersionBitmapTest, LeavesTheFileWhenTheRowCannotGo)
{
    write(m_fileMap);
    CloudFileVersionBitmap map = inserted(1);
    m_database.sql("drop table cloud_file_version_bitmaps");
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(map.delete_(m_connection));
    EXPECT_TRUE(QFile::exists(m_fileMap));
}

} // namespace
} // namespace Tolm::SQL
