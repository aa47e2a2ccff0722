#include <repository/catalog/CloudFileVersionBitmap.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QDir>
#include <QFile>
#include <QSqlQuery>
#include <QTemporaryDir>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileVersionBitmapTest : public DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFileVersionBitmap>();
        qputenv("TOLM_CONFIG_ROOT", QFile::encodeName(m_folder.path()));
        QDir(m_folder.path()).mkdir("differentialfilemap");
        QDir(m_folder.path()).mkdir("diskimagemap");
    }
    void TearDown() override { qunsetenv("TOLM_CONFIG_ROOT"); }

    CloudFileVersionBitmap inserted(quint64 versionId)
    {
        CloudFileVersionBitmap map(versionId);
        map.setVersionUuid(Uuid);
        EXPECT_TRUE(map.insert(m_connection));
        return map;
    }

    QString fileMap() const { return m_folder.filePath("differentialfilemap/" + Uuid.toString()); }
    QString imageMap() const { return m_folder.filePath("diskimagemap/" + Uuid.toString()); }

    static void write(const QString &path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    }

    int count() { return m_database.value("select count(*) from cloud_file_version_bitmaps").toInt(); }

    const QUuid Uuid{"{0f8fad5b-d9cb-469f-a165-70867728950e}"};
    QTemporaryDir m_folder;
    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileVersionBitmapTest);

TEST_P(CloudFileVersionBitmapTest, KeepsOneUuidForEachVersion)
{
    const QString schema = "CREATE TABLE IF NOT EXISTS cloud_file_version_bitmaps ( version_id INTEGER NOT NULL , uuid "
                           "TEXT default NULL , UNIQUE(version_id) );";
    EXPECT_EQ(CloudFileVersionBitmap::createTable(GetParam()), schema);
    EXPECT_EQ(CloudFileVersionBitmap::createTable(DatabaseType(0)), QString());

    inserted(7);
    EXPECT_EQ(m_database.value("select uuid from cloud_file_version_bitmaps").toString(),
              "{0f8fad5b-d9cb-469f-a165-70867728950e}");
    CloudFileVersionBitmap found;
    EXPECT_TRUE(found.select(7, m_connection));
    EXPECT_EQ(found.versionId(), 7U);
    EXPECT_EQ(found.versionUuid(), Uuid);
    EXPECT_FALSE(found.select(8, m_connection));
    EXPECT_EQ(found.versionId(), 7U);
    EXPECT_EQ(found.versionUuid(), Uuid);

    found.setVersionUuid(QUuid::createUuid());
    EXPECT_TRUE(found.update(m_connection));
    CloudFileVersionBitmap again(7);
    EXPECT_TRUE(again.select(m_connection));
    EXPECT_EQ(again.versionUuid(), found.versionUuid());
    inserted(9);
    EXPECT_TRUE(found.update(9, m_connection));
    EXPECT_TRUE(again.select(9, m_connection));
    EXPECT_EQ(again.versionUuid(), found.versionUuid());
    EXPECT_TRUE(found.update(1000, m_connection)) << "no such row is no failure";
    EXPECT_EQ(count(), 2);

    m_database.sql("insert into cloud_file_version_bitmaps values (20, '0f8fad5b-d9cb-469f-a165-70867728950e'), "
                   "(21, NULL), (22, 'none')");
    EXPECT_TRUE(again.select(20, m_connection));
    EXPECT_EQ(again.versionUuid(), Uuid) << "the plain form serves as well";
    for (const quint64 id : {21, 22}) {
        EXPECT_TRUE(again.select(id, m_connection));
        EXPECT_TRUE(again.versionUuid().isNull());
    }
    QSqlQuery query = m_connection.query();
    ASSERT_TRUE(query.exec("select * from cloud_file_version_bitmaps where version_id = 20"));
    EXPECT_TRUE(again.init(query));
    EXPECT_EQ(again.versionId(), 20U);
    EXPECT_EQ(again.versionUuid(), Uuid);
}

TEST_P(CloudFileVersionBitmapTest, MovesToAVersionThatHasNone)
{
    inserted(1);
    inserted(2);
    EXPECT_TRUE(CloudFileVersionBitmap::updateVersionId(1, 3, m_connection));
    CloudFileVersionBitmap map;
    EXPECT_FALSE(map.select(1, m_connection));
    EXPECT_TRUE(map.select(3, m_connection));

    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(CloudFileVersionBitmap::updateVersionId(3, 2, m_connection));
    EXPECT_TRUE(map.select(3, m_connection));
    EXPECT_FALSE(map.insert(m_connection));
    EXPECT_FALSE(CloudFileVersionBitmap::updateVersionId(3, Largest + 1, m_connection));
    EXPECT_EQ(CloudFileVersionBitmap::updateVersionId(3, Largest, m_connection), isSQLite());
    EXPECT_EQ(map.select(Largest, m_connection), isSQLite());
    EXPECT_EQ(count(), 2);

    EXPECT_TRUE(CloudFileVersionBitmap::delete_(2, m_connection));
    EXPECT_TRUE(CloudFileVersionBitmap::delete_(2, m_connection));
    EXPECT_EQ(count(), 1);
}

TEST_P(CloudFileVersionBitmapTest, RemovesTheMapOfTheFileOrElseOfTheImage)
{
    EXPECT_FALSE(CloudFileVersionBitmap(1).checkOnDisk(false)) << "without a UUID";
    CloudFileVersionBitmap map = inserted(1);
    EXPECT_FALSE(map.checkOnDisk(false));
    EXPECT_FALSE(map.checkOnDisk(true));
    const LogCapture log;
    EXPECT_TRUE(map.delete_(m_connection)) << "no file is no failure";
    EXPECT_EQ(count(), 0);

    write(fileMap());
    EXPECT_TRUE(map.checkOnDisk(false));
    EXPECT_FALSE(map.checkOnDisk(true));
    write(imageMap());
    EXPECT_TRUE(map.checkOnDisk(true));
    map = inserted(1);
    EXPECT_TRUE(map.delete_(m_connection));
    EXPECT_FALSE(QFile::exists(fileMap()));
    EXPECT_TRUE(QFile::exists(imageMap()));
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_FALSE(QFile::exists(imageMap()));
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(CloudFileVersionBitmapTest, ReportsAMapThatCannotBeRemoved)
{
    // Nobody, not even root, unlinks a folder.
    ASSERT_TRUE(QDir().mkpath(fileMap()));
    write(imageMap());
    LogCapture log;
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(QFile::exists(imageMap())) << "it is only looked for when there is no map of a file";
    EXPECT_EQ(log.complaints(), "Error on remove differential backup map, message: Is a directory");
    EXPECT_EQ(log.count(QtInfoMsg, fileMap()), 1);

    QDir(fileMap()).removeRecursively();
    QFile::remove(imageMap());
    ASSERT_TRUE(QDir().mkpath(imageMap()));
    log.clear();
    EXPECT_TRUE(inserted(1).delete_(m_connection));
    EXPECT_EQ(log.complaints(), "Error on remove differential ibb backup map, message: Is a directory");
    EXPECT_EQ(log.count(QtInfoMsg, imageMap()), 1);
}

TEST_P(CloudFileVersionBitmapTest, LeavesTheFileWhenTheRowCannotGo)
{
    write(fileMap());
    CloudFileVersionBitmap map = inserted(1);
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    {
        const LogCapture log;
        EXPECT_FALSE(map.insert(closed));
        EXPECT_FALSE(map.select(1, closed));
        EXPECT_FALSE(map.select(closed));
        EXPECT_FALSE(map.update(closed));
        EXPECT_FALSE(map.update(1, closed));
        EXPECT_FALSE(CloudFileVersionBitmap::updateVersionId(1, 2, closed));
        EXPECT_FALSE(CloudFileVersionBitmap::delete_(1, closed));
        EXPECT_FALSE(map.delete_(closed));
        EXPECT_EQ(log.complaints(), QString());
    }
    EXPECT_TRUE(QFile::exists(fileMap()));

    m_database.sql("drop table cloud_file_version_bitmaps");
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(map.delete_(m_connection));
    EXPECT_TRUE(QFile::exists(fileMap()));
}

} // namespace
} // namespace Tolm::SQL
