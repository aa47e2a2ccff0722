#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QSqlQuery>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFolderTest : public DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, CloudFile>();
        m_database.sql("create table archive_bunches (id integer primary key, folder_id integer not null)");
    }

    int count() { return m_database.value("select count(*) from cloud_folders").toInt(); }

    QStringList names()
    {
        QStringList names;
        const auto rows = m_database.sql("select display_name from cloud_folders order by id");
        for (const QVariantList &row : rows)
            names.append(row.first().toString());
        return names;
    }

    QSharedPointer<CloudFolder> made(const QString &path, quint64 destination = 1)
    {
        const auto folder = CloudFolder::selectOrInsert(destination, path, m_connection);
        EXPECT_TRUE(folder) << qPrintable(path);
        return folder ? folder : QSharedPointer<CloudFolder>::create();
    }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFolderTest);

TEST_P(CloudFolderTest, MakesTheMissingStepsOfAPathOnce)
{
    const auto folder = made("/Home/user/");
    EXPECT_EQ(names(), QStringList({"", "Home", "user"}));
    EXPECT_EQ(m_database.value("select name from cloud_folders where display_name = 'Home'").toString(), "home");
    EXPECT_EQ(m_database.value("select count(*) from cloud_folders where destination_id = 1").toInt(), 3);
    EXPECT_EQ(made("/Home/user")->id(), folder->id());
    EXPECT_EQ(shown(CloudFolder::select(1, "/Home/user/", m_connection)), shown(folder));

    const auto sibling = made("/Home/User");
    EXPECT_EQ(sibling->parentId(), folder->parentId());
    EXPECT_EQ(made("/Home/user", 2)->destintionId(), 2U);
    EXPECT_EQ(count(), 7);

    EXPECT_EQ(CloudFolder::select(1, "/home/user", m_connection), nullptr);
    EXPECT_EQ(CloudFolder::select(1, "/Home/missing/user", m_connection), nullptr);
    EXPECT_EQ(CloudFolder::select(3, "/", m_connection), nullptr);
    EXPECT_EQ(count(), 7);

    // The top is the folder without a name, however it is written; a doubled slash has such a folder in between.
    const auto top = CloudFolder::select(1, "/", m_connection);
    ASSERT_TRUE(top);
    EXPECT_EQ(made("")->id(), top->id());
    EXPECT_EQ(made(QString())->id(), top->id());
    EXPECT_EQ(made("//")->parentId(), top->id());
    EXPECT_EQ(made("C:/Data")->parentId(), made("C:")->id());
    EXPECT_EQ(made("C:")->parentId(), 0U);
}

TEST_P(CloudFolderTest, KeepsEveryName)
{
    const auto all = awkwardNames();
    const auto deepest = made('/' + all.join('/'));
    EXPECT_EQ(names(), QStringList("") + all);
    EXPECT_EQ(CloudFolder::selectPath(deepest->id(), m_connection), '/' + all.join('/') + '/');
    quint64 parent = CloudFolder::select(1, "/", m_connection)->id();
    for (const QString &name : all) {
        CloudFolder folder;
        ASSERT_TRUE(folder.select(1, parent, name, m_connection)) << qPrintable(name);
        EXPECT_EQ(folder.name(), name.toLower());
        EXPECT_EQ(m_database.value(QStringLiteral("select name from cloud_folders where id = %1").arg(folder.id())),
                  name.toLower());
        CloudFolder again;
        again.setDestintionId(1);
        again.setParentId(parent);
        again.setName(name);
        EXPECT_TRUE(again.select(m_connection));
        EXPECT_EQ(shown(again), shown(folder));
        parent = folder.id();
    }

    const QString long4000 = incompressible(4000);
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_EQ(!!CloudFolder::selectOrInsert(1, "/new/" + long4000, m_connection), isSQLite());
    EXPECT_EQ(!!CloudFolder::select(1, "/new/" + long4000, m_connection), isSQLite());
    EXPECT_TRUE(CloudFolder::select(1, "/new", m_connection)) << "what was made before the failure stays";
}

TEST_P(CloudFolderTest, ListsChildrenInTheOrderOfTheirBytes)
{
    const QStringList ordered{"", "A b", "B", "Z", "_", "a", "ab", "b", "é", "\uFF21", "\U0001F5C4"};
    const auto parent = made("/p");
    for (int i = 0; i < ordered.size(); ++i)
        made("/p/" + ordered.at(i * 7 % ordered.size()) + '/');
    made("/p", 2);

    const auto list = [&](quint64 limit, quint64 offset) {
        return each(CloudFolder::select(parent->id(), limit, offset, m_connection), &CloudFolder::displayName);
    };
    EXPECT_EQ(list(0, 5), ordered) << "limit 0 is all of them, wherever it would start";
    EXPECT_EQ(list(2, 2), ordered.mid(2, 2));
    EXPECT_EQ(list(100, 9), ordered.mid(9));
    EXPECT_EQ(list(~quint64(0), 1), ordered.mid(1));
    EXPECT_TRUE(list(2, ~quint64(0)).isEmpty());
    EXPECT_EQ(each(CloudFolder::select(1, "/p/", 3, 0, m_connection), &CloudFolder::displayName), ordered.mid(0, 3));
    EXPECT_TRUE(CloudFolder::select(1, "/none", 0, 0, m_connection).isEmpty());
    EXPECT_TRUE(CloudFolder::select(0, "/p", 0, 0, m_connection).isEmpty());
    EXPECT_EQ(CloudFolder::subfolderCount(parent->id(), m_connection), ordered.size());
    EXPECT_EQ(CloudFolder::subfolderCount(0, m_connection), 2);

    // Each child of the list is a whole record.
    for (const auto &child : CloudFolder::select(parent->id(), 0, 0, m_connection))
        EXPECT_EQ(shown(CloudFolder::selectByFolderId(child->id(), m_connection)), shown(child));

    QSqlQuery query = m_connection.query();
    ASSERT_TRUE(query.exec("select display_name, id from cloud_folders where parent_id <> 0 order by id"));
    CloudFolder row;
    ASSERT_TRUE(row.init(query));
    EXPECT_EQ(row.displayName(), "p");
    EXPECT_EQ(row.id(), parent->id());
}

TEST_P(CloudFolderTest, GivesThePathAsFarAsItCanBeRead)
{
    EXPECT_EQ(made("/home/user")->selectPath(m_connection), "/home/user/");
    EXPECT_EQ(made("C:/Data")->selectPath(m_connection), "/C:/Data/");
    EXPECT_EQ(made("/home//user")->selectPath(m_connection), "/home/user/");
    EXPECT_EQ(made("/")->selectPath(m_connection), "/");
    EXPECT_EQ(CloudFolder::selectPath(0, m_connection), "/");
    EXPECT_EQ(CloudFolder::selectPath(999, m_connection), "/");

    m_database.sql("insert into cloud_folders (id, display_name, parent_id) values (101, 'orphan', 100), "
                   "(102, 'child', 101), (201, 'itself', 201), (301, 'one', 302), (302, 'other', 301)");
    EXPECT_EQ(CloudFolder::selectPath(102, m_connection), "/orphan/child/");
    EXPECT_EQ(CloudFolder::selectPath(201, m_connection), "/itself/");
    EXPECT_EQ(CloudFolder::selectPath(301, m_connection), "/other/one/");
}

TEST_P(CloudFolderTest, RemovesParentsThatBecomeEmpty)
{
    const LogCapture log;
    made("/keep/a/b");
    made("/file/a/b");
    made("/bunch/a");
    m_database.sql(QStringLiteral("insert into cloud_files (destination_id, local_path, parent_id) values (1, 'f', %1)")
                       .arg(made("/file")->id()));
    m_database.sql(QStringLiteral("insert into archive_bunches values (1, %1)").arg(made("/bunch")->id()));

    EXPECT_TRUE(made("/keep/a/b")->delete_(false, m_connection));
    EXPECT_EQ(CloudFolder::select(1, "/keep/a/b", m_connection), nullptr);
    EXPECT_TRUE(CloudFolder::select(1, "/keep/a", m_connection));
    EXPECT_TRUE(CloudFolder::isEmpty(made("/keep/a")->id(), m_connection));
    EXPECT_FALSE(CloudFolder::isEmpty(made("/keep")->id(), m_connection));
    EXPECT_TRUE(made("/keep/a")->delete_(true, m_connection));
    EXPECT_EQ(CloudFolder::select(1, "/keep", m_connection), nullptr);
    EXPECT_TRUE(CloudFolder::select(1, "/", m_connection)) << "it holds other folders";

    EXPECT_FALSE(CloudFolder::isEmpty(made("/file")->id(), m_connection));
    EXPECT_TRUE(made("/file/a/b")->delete_(true, m_connection));
    EXPECT_TRUE(CloudFolder::select(1, "/file", m_connection));
    EXPECT_EQ(CloudFolder::select(1, "/file/a", m_connection), nullptr);

    // Only PostgreSQL would take the bunch along.
    EXPECT_TRUE(made("/bunch/a")->delete_(true, m_connection));
    EXPECT_EQ(!!CloudFolder::select(1, "/bunch", m_connection), !isSQLite());

    // As deep as a path goes.
    DatabaseTransaction transaction(m_connection);
    EXPECT_TRUE(made("/deep" + QString("/x").repeated(2000))->delete_(true, m_connection));
    EXPECT_EQ(CloudFolder::select(1, "/deep", m_connection), nullptr);
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);

    made("/only/one", 7);
    EXPECT_TRUE(made("/only/one", 7)->delete_(true, m_connection));
    EXPECT_EQ(m_database.value("select count(*) from cloud_folders where destination_id = 7").toInt(), 0);

    m_database.sql("insert into cloud_folders (id, display_name, parent_id) values (9001, 'orphan', 9000)");
    EXPECT_FALSE(CloudFolder::selectByFolderId(9001, m_connection)->delete_(true, m_connection))
        << "its parent is empty and cannot be read";
    EXPECT_EQ(CloudFolder::selectByFolderId(9001, m_connection), nullptr);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(CloudFolderTest, RefusesASecondFolderAndWhatDoesNotFit)
{
    const auto folder = made("/a");
    const QString before = shown(folder);
    CloudFolder second;
    second.setName("a");
    second.setParentId(folder->parentId());
    second.setDestintionId(1);
    second.setId(77);
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(second.insert(m_connection));
    EXPECT_EQ(second.id(), 77U);
    EXPECT_EQ(log.count(QtWarningMsg, "insert into cloud_folders"), isSQLite() ? 1 : 4);

    second.setParentId(Largest + 1);
    EXPECT_FALSE(second.insert(m_connection));
    EXPECT_FALSE(folder->select(~quint64(0), m_connection));
    EXPECT_FALSE(folder->select(1, ~quint64(0), "a", m_connection));
    EXPECT_EQ(shown(folder), before);
    EXPECT_EQ(count(), 2);

    second.setParentId(Largest);
    EXPECT_EQ(second.insert(m_connection), isSQLite()) << "the column ends earlier there";
    EXPECT_EQ(m_database.value("select count(*) from cloud_folders where parent_id > 4294967296").toInt(), isSQLite());
    if (isSQLite()) {
        EXPECT_EQ(CloudFolder::selectByFolderId(second.id(), m_connection)->parentId(), Largest);
    }
}

TEST_P(CloudFolderTest, AsksNothingOfAClosedConnectionOrForId0)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    const LogCapture log;
    CloudFolder folder;
    EXPECT_FALSE(folder.select(1, closed));
    EXPECT_FALSE(folder.select(1, 1, "a", closed));
    EXPECT_FALSE(folder.insert(closed));
    EXPECT_FALSE(folder.delete_(true, closed));
    EXPECT_EQ(CloudFolder::select(1, "/a", closed), nullptr);
    EXPECT_EQ(CloudFolder::selectOrInsert(1, "/a", closed), nullptr);
    EXPECT_TRUE(CloudFolder::select(1, 0, 0, closed).isEmpty());
    EXPECT_TRUE(CloudFolder::select(1, "/a", 0, 0, closed).isEmpty());
    EXPECT_EQ(CloudFolder::subfolderCount(1, closed), 0);
    EXPECT_FALSE(CloudFolder::isEmpty(1, closed));
    EXPECT_EQ(CloudFolder::selectPath(1, closed), QString());

    m_database.sql("drop table cloud_folders");
    EXPECT_FALSE(folder.select(0, m_connection));
    EXPECT_EQ(CloudFolder::selectByFolderId(0, m_connection), nullptr);
    EXPECT_FALSE(CloudFolder::isEmpty(0, m_connection));
    EXPECT_EQ(log.complaints(), QString());

    const ShortWaits waits;
    EXPECT_FALSE(CloudFolder::isEmpty(1, m_connection)) << "a failure must not pass for an empty folder";
    EXPECT_EQ(CloudFolder::selectOrInsert(1, "/a", m_connection), nullptr);
    EXPECT_EQ(CloudFolder::subfolderCount(1, m_connection), 0);
}

} // namespace
} // namespace Tolm::SQL
