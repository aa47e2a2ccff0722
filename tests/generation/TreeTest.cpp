#include <tests/generation/GenerationTest.h>

namespace Tolm::SQL::Generation {
namespace {

using Tests::good;
using Tests::Ids;

const QString Top = "/top";

/// The tree of three restore points; "-" is a deleted row:
///
///     1: /top  /top/kept  /top/gone  /top/back  /top/kept/deep
///     2: /top  /top/kept -/top/gone -/top/back
///     3: /top                        /top/back  /top/new
class FoldersTest : public Tests::GenerationTest {
protected:
    FoldersTest()
    {
        addRestorePoints(3);
        m_top1 = add(Top, 0, 1);
        m_deep = add("/top/kept/deep", add("/top/kept", m_top1, 1), 1);
        add("/top/gone", m_top1, 1);
        add("/top/back", m_top1, 1);
        m_top2 = add(Top, 0, 2);
        add("/top/kept", m_top2, 2);
        add("/top/gone", m_top2, 2, true);
        add("/top/back", m_top2, 2, true);
        m_top3 = add(Top, 0, 3);
        add("/top/back", m_top3, 3);
        add("/top/new", m_top3, 3);
    }

    quint64 add(const QString &path, quint64 parentId, quint64 restorePointId, bool deleted = false)
    {
        return Tests::addFolder(m_connection, path, parentId, restorePointId, deleted);
    }

    /// The folders in a folder by their names, each with the restore point of its row, and "-" when it is deleted.
    template <class Folder>
    QString children(Folder folder, const Ids &ids, bool excludeDeleted, int limit = 0, int offset = 0)
    {
        const auto folders = Folders::selectInFolder(folder, ids, excludeDeleted, limit, offset, {}, m_connection);
        EXPECT_EQ(folders.error, ResultCode::Ok);
        QStringList texts;
        for (const auto &child : folders.list) {
            EXPECT_TRUE(child->localPath().endsWith('/' + child->displayName()));
            texts << child->displayName() + QString::number(child->restorePointId()) + (child->deleted() ? "-" : "");
        }
        texts.sort();
        return texts.join(' ');
    }

    template <class Folder>
    int count(Folder folder, const Ids &ids, bool excludeDeleted)
    {
        return good(Folders::countSubfolder(folder, ids, excludeDeleted, {}, m_connection));
    }

    bool isDeleted(const QString &path, const Ids &ids)
    {
        return good(Folders::checkPathIsDeleted(path, ids, {}, m_connection));
    }

    unsigned long long m_top1, m_top2, m_top3, m_deep;
};

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

    const auto isFolder = [this](const QString &path, const Ids &ids, bool excludeDeleted) {
        return good(Folders::isFolder(path, ids, excludeDeleted, {}, m_connection));
    };
    EXPECT_TRUE(isFolder("/top/gone", {}, false) && isFolder("/top/gone", {1}, true));
    EXPECT_FALSE(isFolder("/top/gone", {}, true) || isFolder("/top/unknown", {}, false));
}

TEST_F(FoldersTest, ListsEachChildOfAPathOnceByTheRowWrittenLast)
{
    EXPECT_EQ(children(Top, {}, false), "back3 gone2- kept2 new3");
    // The filter acts before the grouping: an older row stands in for the deleted one.
    EXPECT_EQ(children(Top, {}, true), "back3 gone1 kept2 new3");
    EXPECT_EQ(children(Top, {1, 2}, false), "back2- gone2- kept2");
    EXPECT_EQ(children(Top, {2}, true), "kept2");
    // Through a row of the folder that is not among the restore points asked for.
    EXPECT_EQ(children(QString("/top/kept"), {1}, false), "deep1");
    EXPECT_EQ(children(QString("/top/kept"), {2, 3}, false), "");

    QStringList paged;
    for (int offset = 0; offset < 4; ++offset)
        paged << children(Top, offset % 2 ? Ids{1, 2, 3} : Ids{}, false, 1, offset);
    paged.sort();
    EXPECT_EQ(paged.join(' '), children(Top, {}, false, -1, -1));
    EXPECT_EQ(children(Top, {}, false, 3, 3).count(' '), 0);
}

TEST_F(FoldersTest, ListsTheChildrenOfOneRow)
{
    EXPECT_EQ(children(m_top1, {}, false), "back1 gone1 kept1");
    EXPECT_EQ(children(m_top2, {}, true), "kept2");
    EXPECT_EQ(children(m_top2, {2, 3}, true), "kept2");
    EXPECT_EQ(children(m_top2, {1, 3}, false), "");
    EXPECT_EQ(children(m_top1, {1}, false, 2, 1).count(' '), 1);
    EXPECT_EQ(children(0ULL, {2}, false), "top2");
}

TEST_F(FoldersTest, CountsChildrenAndNotRows)
{
    EXPECT_EQ(count(Top, {}, false), 4);
    EXPECT_EQ(count(Top, {}, true), 3); // here the filter looks at the last row
    EXPECT_EQ(count(Top, {1, 2}, true), 1);
    EXPECT_EQ(count(Top, {3}, true), 2);
    EXPECT_EQ(count(QString("/top/new"), {}, false), 0);

    add("/top/kept", m_top1, 2, true); // a second row of one child under one parent
    EXPECT_EQ(count(m_top1, {}, false), 3);
    EXPECT_EQ(count(m_top1, {2}, true), 0);
    EXPECT_EQ(count(m_top2, {}, true), 1);
    EXPECT_EQ(count(m_top2, {2}, false), 3);
}

TEST_F(FoldersTest, CallsAPathDeletedWhenAnythingAboveItIs)
{
    EXPECT_TRUE(isDeleted("/top/gone", {}) && isDeleted("/top/back", {2, 1}));
    for (const QString path : {"/top/kept/deep", "/top/back", "/unknown"})
        EXPECT_FALSE(isDeleted(path, {})) << qPrintable(path);
    EXPECT_FALSE(isDeleted("/top/gone", {1}));
    sql(QString("update folders set deleted = 1 where id = %1").arg(m_top1));
    EXPECT_TRUE(isDeleted("/top/kept/deep", {}) && isDeleted("/top/kept/deep", {1}));
    EXPECT_FALSE(isDeleted("/top/kept", {}));

    // Where the parents form a loop, it ends.
    sql(QString("update folders set parent_id = %1 where id = %2").arg(m_deep).arg(m_top1));
    sql(QString("update folders set parent_id = id where id = %1").arg(m_top2));
    EXPECT_TRUE(isDeleted("/top/kept/deep", {1, 2, 3}));
    EXPECT_FALSE(isDeleted("/top/kept", {}));
}

TEST_F(FoldersTest, RefusesWhatCannotBeAndSaysWhatFailed)
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

    sql("alter table folders rename to gone");
    EXPECT_EQ(Folders::selectInFolder(Top, {1}, true, 5, 5, {}, m_connection).error, ResultCode::Error);
    EXPECT_EQ(Folders::countSubfolder(Top, {}, false, {}, m_connection).error, ResultCode::Error);
    EXPECT_EQ(Folders::isFolder(Top, {}, false, {}, m_connection).error, ResultCode::Error);
    EXPECT_EQ(Folders::checkPathIsDeleted(Top, {1}, {}, m_connection).error, ResultCode::Error);
}

/// The files of /top in the same restore points:
///
///     1: a   b   c
///     2: a  -b
///     3: a       c   d
class FilesTest : public FoldersTest {
protected:
    FilesTest()
    {
        const unsigned long long tops[]{m_top1, m_top2, m_top3};
        for (const QString row : {"a1", "b1", "c1", "a2", "b2-", "a3", "c3", "d3"})
            m_rows[add(row.left(1), tops[row.at(1).digitValue() - 1], row.endsWith('-'))] = row;
    }

    quint64 add(const QString &name, quint64 folder, bool deleted = false)
    {
        return Tests::addFile(m_connection, "/top/" + name, folder, deleted);
    }

    QString newest(const QString &path, const Ids &ids)
    {
        const auto file = Files::select(path, ids, {}, m_connection);
        EXPECT_EQ(file.error, ResultCode::Ok);
        return file.pointer ? m_rows.value(file.pointer->id()) : "none";
    }

    template <class Folder>
    QString inFolder(Folder folder, const Ids &ids, int limit = 0, int offset = 0)
    {
        const auto files = Files::selectInFolder(folder, ids, limit, offset, {}, m_connection);
        EXPECT_EQ(files.error, ResultCode::Ok);
        QStringList rows;
        for (const auto &file : files.list) {
            rows << m_rows.value(file->id());
            EXPECT_EQ(file->deleted(), rows.last().endsWith('-'));
        }
        rows.sort();
        return rows.join(' ');
    }

    QMap<quint64, QString> m_rows;
};

TEST_F(FilesTest, FindsTheRowOfTheNewestRestorePointAskedFor)
{
    EXPECT_EQ(newest("/top/a", {}), "a3");
    EXPECT_EQ(newest("/top/a", {2, 1}), "a2");
    EXPECT_EQ(newest("/top/c", {1, 2}), "c1");
    EXPECT_EQ(newest("/top/d", {1, 2}), "none");
    EXPECT_EQ(newest("/top/D", {}), "none");
    // By restore point, also when an older one was written later.
    sql(QString("update files set id = 1000 where id = %1").arg(m_rows.key("a1")));
    EXPECT_EQ(newest("/top/a", {}), "a3");
}

TEST_F(FilesTest, GoesBackThroughTheRowsOfAPath)
{
    const auto previous = [this](const QSharedPointer<Files> &file, bool excludeDeleted) {
        return Files::selectPrev(file, excludeDeleted, {}, m_connection).pointer;
    };
    add("b", m_top3);
    const auto b3 = Files::select("/top/b", {}, {}, m_connection).pointer;
    const auto b2 = previous(b3, false);
    EXPECT_EQ(m_rows[b2->id()], "b2-");
    EXPECT_EQ(m_rows[previous(b2, false)->id()], "b1");
    const auto b1 = previous(b3, true);
    EXPECT_EQ(m_rows[b1->id()], "b1");
    EXPECT_FALSE(previous(b1, false));
    EXPECT_EQ(Files::selectPrev({}, false, {}, m_connection).error, ResultCode::Error);
}

TEST_F(FilesTest, ListsEachFileOfAPathOnceByTheRowWrittenLast)
{
    EXPECT_EQ(inFolder(Top, {}), "a3 b2- c3 d3");
    EXPECT_EQ(inFolder(Top, {1, 2}), "a2 b2- c1");
    EXPECT_EQ(inFolder(Top, {1}), "a1 b1 c1");
    EXPECT_EQ(inFolder(QString("/"), {}), "");
    QStringList paged = (inFolder(Top, {}, 2, 0) + ' ' + inFolder(Top, {1, 2, 3}, 2, 2)).split(' ');
    paged.sort();
    EXPECT_EQ(paged.join(' '), "a3 b2- c3 d3");
}

TEST_F(FilesTest, ListsTheFilesOfOneRowWhenItsRestorePointIsAskedFor)
{
    EXPECT_EQ(inFolder(m_top3, {}), "a3 c3 d3");
    EXPECT_EQ(inFolder(m_top3, {1, 3}), "a3 c3 d3");
    EXPECT_EQ(inFolder(m_top3, {1, 2}), "");
    EXPECT_EQ(inFolder(m_top3, {3}, 2, 2).size(), 2);
}

TEST_F(FilesTest, RefusesWhatCannotBeAndSaysWhatFailed)
{
    Files file;
    file.setDisplayName("a");
    file.setParentId(m_top1);
    const Tests::LogCapture log;
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::Constraint); // no modification time
    file.setDateModificationUtc(Tests::onDay(1));
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::Constraint); // the name is taken
    file.setDisplayName("A");
    file.setParentId(1ULL << 63);
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::BadData);
    EXPECT_EQ(file.id(), 0U);
    sql("alter table files rename to gone");
    EXPECT_EQ(Files::select("/top/a", {}, {}, m_connection).error, ResultCode::Error);
    EXPECT_EQ(Files::selectInFolder(QString("/top"), {}, 0, 0, {}, m_connection).error, ResultCode::Error);
}

} // namespace
} // namespace Tolm::SQL::Generation
