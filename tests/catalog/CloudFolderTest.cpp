#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFolderTest : public CatalogueTest {
protected:
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

    QSharedPointer<CloudFolder> found(const QString &path) { return CloudFolder::select(1, path, m_connection); }
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFolderTest);

TEST_P(CloudFolderTest, MakesTheMissingStepsOfAPathOnce)
{
    const auto folder = made("/Home/user/");
    EXPECT_EQ(names(), QStringList({"", "Home", "user"}));
    EXPECT_EQ(count("cloud_folders where destination_id = 1"), 3);
    EXPECT_EQ(made("/Home/user")->id(), folder->id());
    EXPECT_EQ(shown(found("/Home/user/")), shown(folder));

    EXPECT_EQ(made("/Home/User")->parentId(), folder->parentId());
    EXPECT_EQ(made("/Home/user", 2)->destintionId(), 2U);
    EXPECT_EQ(count("cloud_folders"), 7);

    EXPECT_EQ(found("/home/user"), nullptr);
    EXPECT_EQ(found("/Home/missing/user"), nullptr);
    EXPECT_EQ(CloudFolder::select(3, "/", m_connection), nullptr);
    EXPECT_EQ(count("cloud_folders"), 7);

    // The top is the folder without a name, however it is written; a doubled slash has such a folder in between.
    const auto top = found("/");
    ASSERT_TRUE(top);
    EXPECT_EQ(made("")->id(), top->id());
    EXPECT_EQ(made(QString())->id(), top->id());
    EXPECT_EQ(made("//")->parentId(), top->id());
    EXPECT_EQ(made("C:/Data")->parentId(), made("C:")->id());
    EXPECT_EQ(made("C:")->parentId(), 0U);
}

TEST_P(CloudFolderTest, FindsFoldersHoweverDeepTheyLie)
{
    constexpr int Depth = 20;
    made(QString("/a").repeated(Depth));
    made("/b" + QString("/a").repeated(Depth));
    for (int depth = 1; depth <= Depth; ++depth) {
        const QString path = QString("/a").repeated(depth);
        const auto folder = found(path);
        ASSERT_TRUE(folder) << depth;
        EXPECT_EQ(folder->selectPath(m_connection), path + '/');
        EXPECT_EQ(found(path + "/b"), nullptr);
    }
    EXPECT_EQ(found(QString("/a").repeated(Depth + 1)), nullptr);
}

TEST_P(CloudFolderTest, KeepsEveryName)
{
    const auto all = awkwardNames();
    const auto deepest = made('/' + all.join('/'));
    EXPECT_EQ(names(), QStringList("") + all);
    EXPECT_EQ(CloudFolder::selectPath(deepest->id(), m_connection), '/' + all.join('/') + '/');
    EXPECT_EQ(shown(found('/' + all.join('/'))), shown(deepest));
    for (const QString &name : all)
        EXPECT_EQ(count("cloud_folders where name = '" + name.toLower().replace("'", "''") + "'"), 1)
            << qPrintable(name);

    const ShortWaits waits;
    const LogCapture log;
    const QString tooLongForAnIndex = "/new/" + incompressible(4000);
    EXPECT_EQ(!!CloudFolder::selectOrInsert(1, tooLongForAnIndex, m_connection), isSQLite());
    EXPECT_EQ(!!found(tooLongForAnIndex), isSQLite());
    EXPECT_TRUE(found("/new")) << "what was made before the failure stays";
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
    EXPECT_EQ(list(~quint64(0), 1), ordered.mid(1));
    EXPECT_TRUE(list(2, ~quint64(0)).isEmpty());
    EXPECT_EQ(each(CloudFolder::select(1, "/p/", 3, 0, m_connection), &CloudFolder::displayName), ordered.mid(0, 3));
    EXPECT_TRUE(CloudFolder::select(1, "/none", 0, 0, m_connection).isEmpty());
    EXPECT_EQ(CloudFolder::subfolderCount(parent->id(), m_connection), ordered.size());
    EXPECT_EQ(CloudFolder::subfolderCount(0, m_connection), 2);
    for (const auto &child : CloudFolder::select(parent->id(), 0, 0, m_connection))
        EXPECT_EQ(shown(CloudFolder::selectByFolderId(child->id(), m_connection)), shown(child));
}

TEST_P(CloudFolderTest, GivesThePathAsFarAsItCanBeRead)
{
    EXPECT_EQ(made("C:/Data")->selectPath(m_connection), "/C:/Data/");
    EXPECT_EQ(made("/home//user")->selectPath(m_connection), "/home/user/");
    EXPECT_EQ(made("/")->selectPath(m_connection), "/");
    EXPECT_EQ(CloudFolder::selectPath(999, m_connection), "/");

    m_database.sql("insert into cloud_folders (id, display_name, parent_id) values (101, 'orphan', 100), "
                   "(102, 'child', 101), (201, 'itself', 201), (301, 'one', 302), (302, 'other', 301)");
    EXPECT_EQ(CloudFolder::selectPath(102, m_connection), "/orphan/child/");
    EXPECT_EQ(CloudFolder::selectPath(201, m_connection), "/itself/");
    EXPECT_EQ(CloudFolder::selectPath(301, m_connection), "/other/one/");

    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(CloudFolder::selectPath(102, closed), QString()) << "the top must not pass for the answer";
}

TEST_P(CloudFolderTest, RemovesParentsThatBecomeEmpty)
{
    const ShortWaits waits;
    const LogCapture log;
    made("/file/a/b");
    made("/bunch/a");
    m_database.sql(QStringLiteral("insert into cloud_files (destination_id, local_path, parent_id) values (1, 'f', %1)")
                       .arg(made("/file")->id()));
    m_database.sql("insert into destination (id) values (1)");
    m_database.sql(QStringLiteral("insert into archive_bunches (folder_id, display_name, destination_id) values "
                                  "(%1, '', 1)")
                       .arg(made("/bunch")->id()));

    EXPECT_TRUE(found("/file/a/b")->delete_(false, m_connection));
    EXPECT_TRUE(CloudFolder::isEmpty(found("/file/a")->id(), m_connection));
    EXPECT_FALSE(CloudFolder::isEmpty(found("/file")->id(), m_connection));
    EXPECT_TRUE(found("/file/a")->delete_(true, m_connection));
    EXPECT_TRUE(found("/file"));
    EXPECT_EQ(found("/file/a"), nullptr);

    // Only PostgreSQL would take the bunch along.
    EXPECT_TRUE(found("/bunch/a")->delete_(true, m_connection));
    EXPECT_EQ(!!found("/bunch"), !isSQLite());

    // As deep as a path goes.
    DatabaseTransaction transaction(m_connection);
    EXPECT_TRUE(made("/deep" + QString("/x").repeated(2000))->delete_(true, m_connection));
    EXPECT_EQ(found("/deep"), nullptr);
    EXPECT_EQ(transaction.commit(), ResultCode::Ok);

    EXPECT_TRUE(made("/only/one", 7)->delete_(true, m_connection));
    EXPECT_EQ(count("cloud_folders where destination_id = 7"), 0);

    m_database.sql("insert into cloud_folders (id, display_name, parent_id) values (9001, 'orphan', 9000)");
    EXPECT_FALSE(CloudFolder::selectByFolderId(9001, m_connection)->delete_(true, m_connection))
        << "its parent is empty and cannot be read";
    EXPECT_EQ(CloudFolder::selectByFolderId(9001, m_connection), nullptr);
    EXPECT_EQ(log.complaints(), QString());

    EXPECT_FALSE(CloudFolder::isEmpty(0, m_connection));
    m_database.sql("alter table cloud_folders rename to elsewhere");
    EXPECT_FALSE(CloudFolder::isEmpty(1, m_connection)) << "a failure must not pass for an empty folder";
}

} // namespace
} // namespace Tolm::SQL
