#include <tests/generation/GenerationTest.h>

namespace Tolm::SQL::Generation {
namespace {

using Tests::Ids;

/// The files of /top in three restore points; "-" is a deleted row:
///
///     1: a   b   c
///     2: a  -b
///     3: a       c   d
class FilesTest : public Tests::GenerationTest {
protected:
    FilesTest()
    {
        addRestorePoints(3);
        for (const QString row : {"a1", "b1", "c1", "a2", "b2-", "a3", "c3", "d3"}) {
            const auto restorePoint = static_cast<quint64>(row.at(1).digitValue());
            if (restorePoint > static_cast<quint64>(m_top.size()))
                m_top << Tests::addFolder(m_connection, "/top", 0, restorePoint);
            m_rows[add(row.left(1), row.endsWith('-'))] = row;
        }
    }

    quint64 add(const QString &name, bool deleted = false)
    {
        return Tests::addFile(m_connection, "/top/" + name, m_top.last(), deleted);
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

    QList<unsigned long long> m_top;
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
    add("b");
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
    const QString top = "/top";
    EXPECT_EQ(inFolder(top, {}), "a3 b2- c3 d3");
    EXPECT_EQ(inFolder(top, {1, 2}), "a2 b2- c1");
    EXPECT_EQ(inFolder(top, {1}), "a1 b1 c1");
    EXPECT_EQ(inFolder(QString("/"), {}), "");
    QStringList paged = (inFolder(top, {}, 2, 0) + ' ' + inFolder(top, {1, 2, 3}, 2, 2)).split(' ');
    paged.sort();
    EXPECT_EQ(paged.join(' '), "a3 b2- c3 d3");
}

TEST_F(FilesTest, ListsTheFilesOfOneRowWhenItsRestorePointIsAskedFor)
{
    const unsigned long long top3 = m_top.last();
    EXPECT_EQ(inFolder(top3, {}), "a3 c3 d3");
    EXPECT_EQ(inFolder(top3, {1, 3}), "a3 c3 d3");
    EXPECT_EQ(inFolder(top3, {1, 2}), "");
    EXPECT_EQ(inFolder(top3, {3}, 2, 2).size(), 2);
}

TEST_F(FilesTest, RefusesWhatCannotBe)
{
    Files file;
    file.setDisplayName("a");
    file.setParentId(m_top.first());
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
