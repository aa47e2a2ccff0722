#include <tests/generation/GenerationTest.h>

namespace Tolm::SQL::Generation {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Tests::addFolder;
using Tests::addRestorePoint;
using Tests::Ids;
using Tests::onDay;

/// The tree of three restore points; "-" is a deleted row:
///
///     1: /top  /top/kept  /top/gone  /top/back  /top/kept/deep
///     2: /top  /top/kept -/top/gone -/top/back
///     3: /top                        /top/back  /top/new
class FoldersTest : public Tests::GenerationTest {
protected:
    FoldersTest()
    {
        for (int number = 1; number <= 3; ++number)
            addRestorePoint(m_connection, number, onDay(number));
        m_top1 = add("/top", 0, 1);
        const quint64 kept = add("/top/kept", m_top1, 1);
        m_deep = add("/top/kept/deep", kept, 1);
        add("/top/gone", m_top1, 1);
        add("/top/back", m_top1, 1);
        m_top2 = add("/top", 0, 2);
        add("/top/kept", m_top2, 2);
        add("/top/gone", m_top2, 2, true);
        add("/top/back", m_top2, 2, true);
        m_top3 = add("/top", 0, 3);
        add("/top/back", m_top3, 3);
        add("/top/new", m_top3, 3);
    }

    quint64 add(const QString &path, quint64 parentId, quint64 restorePointId, bool deleted = false)
    {
        return addFolder(m_connection, path, parentId, restorePointId, deleted);
    }

    /// Each folder as its path, a colon, the restore point of its row, and "-" when it is deleted.
    static std::vector<std::string> shown(const ResultList<Folders> &folders)
    {
        EXPECT_EQ(folders.error, ResultCode::Ok);
        std::vector<std::string> texts;
        for (const auto &folder : folders.list) {
            texts.push_back(QString("%1:%2%3")
                                .arg(folder->localPath(), QString::number(folder->restorePointId()),
                                     QLatin1String(folder->deleted() ? "-" : ""))
                                .toStdString());
        }
        return texts;
    }

    template <class Folder>
    std::vector<std::string> children(Folder folder, const Ids &ids, bool excludeDeleted, int limit = 0, int offset = 0)
    {
        return shown(Folders::selectInFolder(folder, ids, excludeDeleted, limit, offset, {}, m_connection));
    }

    template <class Folder>
    int count(Folder folder, const Ids &ids, bool excludeDeleted)
    {
        const auto number = Folders::countSubfolder(folder, ids, excludeDeleted, {}, m_connection);
        EXPECT_EQ(number.error, ResultCode::Ok);
        return number.value;
    }

    bool isFolder(const QString &path, const Ids &ids, bool excludeDeleted)
    {
        const auto result = Folders::isFolder(path, ids, excludeDeleted, {}, m_connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        return result.value;
    }

    bool isDeleted(const QString &path, const Ids &ids)
    {
        const auto result = Folders::checkPathIsDeleted(path, ids, {}, m_connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        return result.value;
    }

    quint64 m_top1;
    quint64 m_top2;
    quint64 m_top3;
    quint64 m_deep;
};

const QString Top = "/top";

TEST_F(FoldersTest, FindsTheRowOfTheNewestRestorePointAskedFor)
{
    const auto restorePointOf = [this](const QString &path, const Ids &ids) {
        const auto folder = Folders::select(path, ids, {}, m_connection);
        EXPECT_EQ(folder.error, ResultCode::Ok);
        return folder.pointer ? folder.pointer->restorePointId() : 0;
    };
    EXPECT_EQ(restorePointOf(Top, {}), 3U);
    EXPECT_EQ(restorePointOf(Top, {3, 1, 2}), 3U);
    EXPECT_EQ(restorePointOf(Top, {1, 2}), 2U);
    EXPECT_EQ(restorePointOf("/top/new", {1, 2}), 0U);
    EXPECT_EQ(restorePointOf("/TOP", {}), 0U);
    EXPECT_EQ(restorePointOf(Top, {18446744073709551615ULL}), 0U);

    EXPECT_EQ(Folders::select(Top, 2ULL, {}, m_connection).pointer->id(), m_top2);
    EXPECT_FALSE(Folders::select("/top/new", 2ULL, {}, m_connection).pointer);
    EXPECT_EQ(Folders::select(0, "top", 3, {}, m_connection).pointer->id(), m_top3);
    EXPECT_FALSE(Folders::select(m_top1, "new", 3, {}, m_connection).pointer);

    EXPECT_TRUE(isFolder("/top/gone", {}, false));
    EXPECT_FALSE(isFolder("/top/gone", {}, true));
    EXPECT_TRUE(isFolder("/top/gone", {1}, true));
    EXPECT_FALSE(isFolder("/top/unknown", {}, false));
}

TEST_F(FoldersTest, ListsEachChildOfAPathOnceByTheRowWrittenLast)
{
    EXPECT_THAT(children(Top, {}, false),
                UnorderedElementsAre("/top/kept:2", "/top/gone:2-", "/top/back:3", "/top/new:3"));
    // The filter acts before the grouping: an older row stands in for the deleted one.
    EXPECT_THAT(children(Top, {}, true),
                UnorderedElementsAre("/top/kept:2", "/top/gone:1", "/top/back:3", "/top/new:3"));
    EXPECT_THAT(children(Top, {1, 2}, false), UnorderedElementsAre("/top/kept:2", "/top/gone:2-", "/top/back:2-"));
    EXPECT_THAT(children(Top, {2}, true), UnorderedElementsAre("/top/kept:2"));
    // Through a row of the folder that is not among the restore points asked for.
    EXPECT_THAT(children(QString("/top/kept"), {1}, false), ElementsAre("/top/kept/deep:1"));
    EXPECT_THAT(children(QString("/top/kept"), {2, 3}, false), ElementsAre());
    EXPECT_THAT(children(QString("/unknown"), {}, false), ElementsAre());

    std::vector<std::string> paged;
    for (int offset = 0; offset < 4; ++offset) {
        const auto page = children(Top, offset % 2 ? Ids{1, 2, 3} : Ids{}, false, 1, offset);
        paged.insert(paged.end(), page.begin(), page.end());
    }
    EXPECT_THAT(paged, UnorderedElementsAre("/top/kept:2", "/top/gone:2-", "/top/back:3", "/top/new:3"));
    EXPECT_THAT(children(Top, {}, false, 3, 3), testing::SizeIs(1));
    EXPECT_THAT(children(Top, {}, false, -1, -1), testing::SizeIs(4));
}

TEST_F(FoldersTest, ListsTheChildrenOfOneRow)
{
    const unsigned long long top1 = m_top1;
    const unsigned long long top2 = m_top2;
    EXPECT_THAT(children(top1, {}, false), UnorderedElementsAre("/top/kept:1", "/top/gone:1", "/top/back:1"));
    EXPECT_THAT(children(top2, {}, true), ElementsAre("/top/kept:2"));
    EXPECT_THAT(children(top2, {2, 3}, true), ElementsAre("/top/kept:2"));
    EXPECT_THAT(children(top2, {1, 3}, false), ElementsAre());
    EXPECT_THAT(children(top1, {1}, false, 2, 1), testing::SizeIs(2));
    EXPECT_THAT(children(0ULL, {2}, false), ElementsAre("/top:2"));
}

TEST_F(FoldersTest, CountsChildrenAndNotRows)
{
    EXPECT_EQ(count(Top, {}, false), 4);
    EXPECT_EQ(count(Top, {}, true), 3); // here the filter looks at the last row
    EXPECT_EQ(count(Top, {1, 2}, true), 1);
    EXPECT_EQ(count(Top, {3}, true), 2);
    EXPECT_EQ(count(QString("/top/new"), {}, false), 0);

    add("/top/kept", m_top1, 2, true); // a second row of one child under one parent
    const unsigned long long top1 = m_top1;
    const unsigned long long top2 = m_top2;
    EXPECT_EQ(count(top1, {}, false), 3);
    EXPECT_EQ(count(top1, {2}, true), 0);
    EXPECT_EQ(count(top2, {}, true), 1);
    EXPECT_EQ(count(top2, {2}, false), 3);
    EXPECT_EQ(count(12345ULL, {}, false), 0);
}

TEST_F(FoldersTest, CallsAPathDeletedWhenAnythingAboveItIs)
{
    EXPECT_FALSE(isDeleted("/top/kept/deep", {}));
    EXPECT_TRUE(isDeleted("/top/gone", {}));
    EXPECT_FALSE(isDeleted("/top/gone", {1}));
    EXPECT_FALSE(isDeleted("/top/back", {}));
    EXPECT_TRUE(isDeleted("/top/back", {2, 1}));
    EXPECT_FALSE(isDeleted("/unknown", {}));
    sql(QString("update folders set deleted = 1 where id = %1").arg(m_top1));
    EXPECT_TRUE(isDeleted("/top/kept/deep", {}));
    EXPECT_TRUE(isDeleted("/top/kept/deep", {1}));
    EXPECT_FALSE(isDeleted("/top/kept", {}));
}

TEST_F(FoldersTest, GoesRoundALoopOfParentsOnce)
{
    sql(QString("update folders set parent_id = %1 where id = %2").arg(m_deep).arg(m_top1));
    EXPECT_FALSE(isDeleted("/top/kept/deep", {}));
    sql(QString("update folders set deleted = 1 where id = %1").arg(m_top1));
    EXPECT_TRUE(isDeleted("/top/kept/deep", {1, 2, 3}));
    sql(QString("update folders set parent_id = id where id = %1").arg(m_top2));
    EXPECT_FALSE(isDeleted("/top/kept", {}));
}

TEST_F(FoldersTest, RefusesWhatCannotBeAndClosedConnections)
{
    Folders twin;
    twin.setId(77);
    twin.setDisplayName("top");
    twin.setRestorePointId(3);
    const Tests::LogCapture log;
    EXPECT_EQ(twin.insert({}, m_connection), ResultCode::Constraint);
    EXPECT_EQ(twin.id(), 77U);
    // A name that was never set is the empty name, and as unique as any other.
    EXPECT_EQ(Folders().insert({}, m_connection), ResultCode::Ok);
    EXPECT_EQ(Folders().insert({}, m_connection), ResultCode::Constraint);

    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(twin.insert({}, closed), ResultCode::Error);
    EXPECT_EQ(Folders::select(Top, Ids{}, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Folders::selectInFolder(Top, {}, false, 0, 0, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Folders::countSubfolder(Top, {}, false, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Folders::isFolder(Top, {}, false, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Folders::checkPathIsDeleted(Top, {}, {}, closed).error, ResultCode::Error);
    sql("alter table folders rename to gone");
    EXPECT_EQ(Folders::selectInFolder(Top, {1}, true, 5, 5, {}, m_connection).error, ResultCode::Error);
    EXPECT_EQ(Folders::checkPathIsDeleted(Top, {1}, {}, m_connection).error, ResultCode::Error);
}

} // namespace
} // namespace Tolm::SQL::Generation
