#include <repository/catalog/CheckCloudFiles4Purge.h>

#include <tests/catalog/CatalogueTest.h>

#include <QDir>
#include <QFile>

namespace Tolm::SQL {
namespace {

using namespace Tests;

/// A tree on the disk that the catalogue knows under /backup.
class DeletedMarksTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        for (const QString path : {"top.txt", "a/one.txt", "a/two.txt", "a/deep/three.txt", "b/four.txt"}) {
            write(path);
            backedUp("/backup/" + path);
        }
    }

    void write(const QString &path)
    {
        QFile file(m_folder.filePath(path));
        ASSERT_TRUE(QDir().mkpath(file.fileName().section('/', 0, -2)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    void remove(const QString &path)
    {
        ASSERT_TRUE(QFile::remove(m_folder.filePath(path)) || QDir(m_folder.filePath(path)).removeRecursively());
    }

    void update(const QString &below = {})
    {
        CheckCloudFiles4Purge(1).updateDeleteLocallyPath(m_folder.path() + below, "/backup" + below, m_connection);
    }

    QStringList marked()
    {
        QStringList paths;
        const auto rows = m_database.sql("select local_path from cloud_files where date_deleted_utc < 99999999999999 "
                                         "order by local_path");
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
    EXPECT_EQ(marked(), QStringList());
    remove("top.txt");
    remove("a");
    update();
    EXPECT_EQ(marked(), QStringList({"a/deep/three.txt", "a/one.txt", "a/two.txt", "top.txt"}));

    // What is marked already keeps the time of its mark.
    m_database.sql("update cloud_files set date_deleted_utc = 20200101000000 where date_deleted_utc < 99999999999999");
    update();
    EXPECT_EQ(count("cloud_files where date_deleted_utc = 20200101000000"), 4);

    write("a/deep/three.txt");
    update("/a/deep");
    write("top.txt");
    update("/top.txt");
    EXPECT_EQ(marked(), QStringList({"a/one.txt", "a/two.txt"}));
}

TEST_P(DeletedMarksTest, SayWhenThereIsNoFolderAndEndInLoops)
{
    const LogCapture log;
    remove("top.txt");
    update("/top.txt");
    EXPECT_EQ(log.texts(QtInfoMsg), QStringList("CheckCloudFiles4Purge: folder path: /backup/top.txt not exist"));
    EXPECT_EQ(marked(), QStringList("top.txt"));

    // The folder "deep" becomes the parent of the one above it.
    const QString deep = "select id from (select * from cloud_folders) as f where display_name = 'deep'";
    m_database.sql("update cloud_folders set parent_id = (" + deep + ") where display_name = 'a'");
    remove("a");
    CheckCloudFiles4Purge(1).updateDeleteLocally4Dir(m_folder.filePath("a/deep"), m_database.value(deep).toULongLong(),
                                                     m_connection);
    EXPECT_EQ(marked().size(), 4);
    EXPECT_EQ(log.complaints(), QString());
}

} // namespace
} // namespace Tolm::SQL
