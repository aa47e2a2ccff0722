#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TestDatabase.h>

#include <QDir>
#include <QFile>
#include <gmock/gmock.h>

namespace Tolm::SQL {
namespace {

/// A tree on the disk that the catalogue knows under /backup.
class DeletedMarksTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, CloudFile, CloudFileVersion>();
        DatabaseConnection connection(m_database.pool());
        for (const char *path : {"top.txt", "a/one.txt", "a/two.txt", "a/deep/three.txt", "b/four.txt"}) {
            write(QLatin1String(path));
            CloudFile file;
            file.setDestinationId(1);
            file.setLocalPath(QLatin1String("/backup/") + QLatin1String(path));
            file.setName(file.localPath().section(QLatin1Char('/'), -1));
            ASSERT_TRUE(file.selectOrInsert(connection));
        }
    }

    void write(const QString &path)
    {
        const QString whole = m_folder.filePath(path);
        ASSERT_TRUE(QDir().mkpath(whole.section(QLatin1Char('/'), 0, -2)));
        QFile file(whole);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    void update(const QString &path = {})
    {
        DatabaseConnection connection(m_database.pool());
        const QString below = path.isEmpty() ? path : QLatin1Char('/') + path;
        CheckCloudFiles4Purge(1).updateDeleteLocallyPath(m_folder.path() + below, QLatin1String("/backup") + below,
                                                         connection);
    }

    QStringList marked()
    {
        QStringList paths;
        const auto rows = m_database.sql(QStringLiteral("select local_path from cloud_files where date_deleted_utc < "
                                                        "99999999999999 order by local_path"));
        for (const auto &row : rows)
            paths.append(row.first().toString().mid(8));
        return paths;
    }

    QTemporaryDir m_folder;
};
TOLM_TEST_ON_EVERY_BACKEND(DeletedMarksTest);

TEST_P(DeletedMarksTest, FollowTheDisk)
{
    update();
    EXPECT_TRUE(marked().isEmpty());

    ASSERT_TRUE(QFile::remove(m_folder.filePath(QStringLiteral("top.txt"))));
    ASSERT_TRUE(QDir(m_folder.filePath(QStringLiteral("a"))).removeRecursively());
    update();
    const QStringList gone{QStringLiteral("a/deep/three.txt"), QStringLiteral("a/one.txt"), QStringLiteral("a/two.txt"),
                           QStringLiteral("top.txt")};
    EXPECT_EQ(marked(), gone);

    // What is marked already keeps the time of its mark.
    m_database.sql(QStringLiteral("update cloud_files set date_deleted_utc = 20200101000000 where date_deleted_utc < "
                                  "99999999999999"));
    update();
    EXPECT_EQ(m_database
                  .value(QStringLiteral("select count(*) from cloud_files where date_deleted_utc = "
                                        "20200101000000"))
                  .toInt(),
              4);

    write(QStringLiteral("a/deep/three.txt"));
    update(QStringLiteral("a/deep"));
    write(QStringLiteral("top.txt"));
    update(QStringLiteral("top.txt"));
    EXPECT_EQ(marked(), QStringList({QStringLiteral("a/one.txt"), QStringLiteral("a/two.txt")}));
}

TEST_P(DeletedMarksTest, SayWhenThereIsNoFolderAndEndInLoops)
{
    const Tests::LogCapture log;
    ASSERT_TRUE(QFile::remove(m_folder.filePath(QStringLiteral("top.txt"))));
    update(QStringLiteral("top.txt"));
    EXPECT_EQ(log.texts(QtInfoMsg),
              QStringList(QStringLiteral("CheckCloudFiles4Purge: folder path: /backup/top.txt not exist")));
    EXPECT_EQ(marked(), QStringList(QStringLiteral("top.txt")));

    // The folder "deep" becomes the parent of the one above it.
    m_database.sql(QStringLiteral("update cloud_folders set parent_id = (select id from (select * from cloud_folders) "
                                  "as f where display_name = 'deep') where display_name = 'a'"));
    ASSERT_TRUE(QDir(m_folder.filePath(QStringLiteral("a"))).removeRecursively());
    const quint64 deep =
        m_database.value(QStringLiteral("select id from cloud_folders where display_name = 'deep'")).toULongLong();
    DatabaseConnection connection(m_database.pool());
    CheckCloudFiles4Purge(1).updateDeleteLocally4Dir(m_folder.filePath(QStringLiteral("a/deep")), deep, connection);
    EXPECT_EQ(marked().size(), 4);
    EXPECT_TRUE(log.complaints().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
