#include <tests/generation/GenerationTest.h>

namespace Tolm::SQL::Generation {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Tests::addFile;
using Tests::addFolder;
using Tests::addRestorePoint;
using Tests::Ids;
using Tests::onDay;

/// The files of /top in three restore points; "-" is a deleted row:
///
///     1: a   b   c
///     2: a  -b
///     3: a       c   d
class FilesTest : public Tests::GenerationTest {
protected:
    FilesTest()
    {
        for (int number = 1; number <= 3; ++number) {
            addRestorePoint(m_connection, number, onDay(number));
            m_top << addFolder(m_connection, "/top", 0, static_cast<quint64>(number));
        }
        m_a1 = add("a", 1);
        m_b1 = add("b", 1);
        m_c1 = add("c", 1);
        m_a2 = add("a", 2);
        m_b2 = add("b", 2, true);
        m_a3 = add("a", 3);
        m_c3 = add("c", 3);
        m_d3 = add("d", 3);
    }

    quint64 add(const QString &name, int restorePoint, bool deleted = false)
    {
        return addFile(m_connection, "/top/" + name, m_top.at(restorePoint - 1), deleted);
    }

    static quint64 idOf(const ResultPointer<Files> &file)
    {
        EXPECT_EQ(file.error, ResultCode::Ok);
        return file.pointer ? file.pointer->id() : 0;
    }

    quint64 newest(const QString &path, const Ids &ids) { return idOf(Files::select(path, ids, {}, m_connection)); }

    template <class Folder>
    std::vector<quint64> inFolder(Folder folder, const Ids &ids, int limit = 0, int offset = 0)
    {
        const auto files = Files::selectInFolder(folder, ids, limit, offset, {}, m_connection);
        EXPECT_EQ(files.error, ResultCode::Ok);
        std::vector<quint64> rows;
        for (const auto &file : files.list)
            rows.push_back(file->id());
        return rows;
    }

    QList<quint64> m_top;
    quint64 m_a1, m_b1, m_c1, m_a2, m_b2, m_a3, m_c3, m_d3;
};

TEST_F(FilesTest, FindsTheRowOfTheNewestRestorePointAskedFor)
{
    EXPECT_EQ(newest("/top/a", {}), m_a3);
    EXPECT_EQ(newest("/top/a", {2, 1}), m_a2);
    EXPECT_EQ(newest("/top/c", {1, 2}), m_c1);
    EXPECT_EQ(newest("/top/d", {1, 2}), 0U);
    EXPECT_EQ(newest("/top/D", {}), 0U);
    // By restore point, also when an older one was written later.
    sql(QString("update files set id = 1000 where id = %1").arg(m_a1));
    EXPECT_EQ(newest("/top/a", {}), m_a3);
}

TEST_F(FilesTest, GoesBackThroughTheRowsOfAPath)
{
    const auto previous = [this](const QSharedPointer<Files> &file, bool excludeDeleted) {
        return Files::selectPrev(file, excludeDeleted, {}, m_connection).pointer;
    };
    add("b", 3);
    const auto b3 = Files::select("/top/b", {}, {}, m_connection).pointer;
    EXPECT_EQ(previous(b3, false)->id(), m_b2);
    EXPECT_EQ(previous(b3, true)->id(), m_b1);
    EXPECT_EQ(previous(previous(b3, false), false)->id(), m_b1);
    EXPECT_FALSE(previous(previous(b3, true), false));
    EXPECT_EQ(Files::selectPrev({}, false, {}, m_connection).error, ResultCode::Error);
}

TEST_F(FilesTest, ListsEachFileOfAPathOnceByTheRowWrittenLast)
{
    const QString top = "/top";
    EXPECT_THAT(inFolder(top, {}), UnorderedElementsAre(m_a3, m_b2, m_c3, m_d3));
    EXPECT_THAT(inFolder(top, {1, 2}), UnorderedElementsAre(m_a2, m_b2, m_c1));
    EXPECT_THAT(inFolder(top, {1}), UnorderedElementsAre(m_a1, m_b1, m_c1));
    EXPECT_THAT(inFolder(QString("/"), {}), ElementsAre());
    std::vector<quint64> paged;
    for (int offset = 0; offset < 4; offset += 2) {
        const auto page = inFolder(top, offset ? Ids{1, 2, 3} : Ids{}, 2, offset);
        paged.insert(paged.end(), page.begin(), page.end());
    }
    EXPECT_THAT(paged, UnorderedElementsAre(m_a3, m_b2, m_c3, m_d3));

    const auto files = Files::selectInFolder(top, {}, 0, 0, {}, m_connection);
    const int deleted = static_cast<int>(
        std::count_if(files.list.begin(), files.list.end(), [](const auto &file) { return file->deleted(); }));
    EXPECT_EQ(deleted, 1);
}

TEST_F(FilesTest, ListsTheFilesOfOneRowWhenItsRestorePointIsAskedFor)
{
    const unsigned long long top3 = m_top.at(2);
    EXPECT_THAT(inFolder(top3, {}), UnorderedElementsAre(m_a3, m_c3, m_d3));
    EXPECT_THAT(inFolder(top3, {1, 3}), UnorderedElementsAre(m_a3, m_c3, m_d3));
    EXPECT_THAT(inFolder(top3, {1, 2}), ElementsAre());
    EXPECT_THAT(inFolder(top3, {3}, 2, 2), testing::SizeIs(1));
}

TEST_F(FilesTest, RefusesWhatCannotBeAndClosedConnections)
{
    Files file;
    file.setDisplayName("a");
    file.setParentId(m_top.first());
    const Tests::LogCapture log;
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::Constraint); // no modification time
    file.setDateModificationUtc(onDay(1));
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::Constraint); // the name is taken
    file.setDisplayName("A");
    file.setParentId(1ULL << 63);
    EXPECT_EQ(file.insert({}, m_connection), ResultCode::BadData);
    EXPECT_EQ(file.id(), 0U);

    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(file.insert({}, closed), ResultCode::Error);
    EXPECT_EQ(Files::select("/top/a", {}, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Files::selectInFolder(QString("/top"), {}, 0, 0, {}, closed).error, ResultCode::Error);
    EXPECT_EQ(Files::selectPrev(QSharedPointer<Files>::create(), false, {}, closed).error, ResultCode::Error);
}

} // namespace
} // namespace Tolm::SQL::Generation
