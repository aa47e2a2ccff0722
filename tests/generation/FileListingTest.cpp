#include <repository/database/DatabaseTransaction.h>
#include <repository/generation/FileListingRecursive.h>

#include <tests/generation/GenerationTest.h>

#include <QRandomGenerator>
#include <QRegularExpression>

#include <algorithm>
#include <functional>

namespace Tolm::SQL::Generation {
namespace {

using Tests::addFile;
using Tests::addFolder;
using Tests::addRestorePoint;
using Tests::Ids;
using Tests::onDay;
using Tests::parentOf;

bool isIn(const QString &path, const QString &folder)
{
    return path == folder || folder == "/" || path.startsWith(folder + "/");
}

/// A folder ("D") or file ("F") as the listing shows it, with the row that it is shown by.
QString shown(char kind, const QString &path, quint64 row)
{
    return QString("%1 %2 #%3").arg(QLatin1Char(kind)).arg(path).arg(row);
}

/// What is asked of a walk.
struct Question {
    QStringList includes{"/"};
    QDateTime pointInTime{};
    bool filesOnly = false;
    bool excludeDeleted = false;
    std::function<bool(const QString &folder)> prunes = [](const QString &) { return false; };
};

/// Plays a backup engine: makes, changes and deletes folders and files at random, and records in each restore point the
/// rows of what has changed there, and no others. Names differ by case only or come back after they were deleted.
class RandomHistory {
public:
    struct Row {
        char kind;
        QString path;
        quint64 id;
        quint64 restorePoint;
        bool deleted;
    };

    RandomHistory(DatabaseConnection &connection, quint32 seed)
        : m_connection(connection)
        , m_random(seed)
    {}

    void record(quint64 restorePoint, int changes)
    {
        DatabaseTransaction transaction(m_connection);
        m_restorePoint = restorePoint;
        folderRow("/");
        while (changes-- > 0)
            change();
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    }

    const QVector<Row> &rows() const { return m_rows; }
    int number(int end) { return m_random.bounded(end); }

private:
    using Existing = QMap<QString, quint64>; // the row last written, by path

    void change()
    {
        static const QStringList Names{"a", "A", "b", "docs", "Docs", "Ж", "ж", "x y"};
        const QString folder = anyOf(m_folders);
        const QString child = (folder == "/" ? "" : folder) + "/" + Names.at(number(Names.size()));
        const bool isNew = !m_folders.contains(child) && !m_files.contains(child) && !isRecorded(child);
        const QString file = m_files.isEmpty() ? QString() : anyOf(m_files);
        const int kind = number(10);
        if (kind < 3 && isNew && child.count('/') < 5)
            folderRow(child);
        else if (kind < 6 && isNew)
            fileRow(child, folderRow(folder), false);
        else if (kind < 8 && !file.isEmpty() && !isRecorded(file))
            fileRow(file, folderRow(parentOf(file)), kind == 7);
        else if (folder != "/" && !isRecorded(folder))
            deleteFolder(folder, number(2) == 0);
    }

    void deleteFolder(const QString &folder, bool withContents)
    {
        const quint64 row = folderRow(folder, true);
        for (const QString &file : below(m_files, folder)) {
            if (withContents && parentOf(file) == folder)
                fileRow(file, row, true);
            m_files.remove(file);
        }
        const QStringList gone = below(m_folders, folder);
        for (const QString &subfolder : gone) {
            if (withContents)
                folderRow(subfolder, true);
        }
        for (const QString &subfolder : gone)
            m_folders.remove(subfolder);
    }

    void fileRow(const QString &path, quint64 folder, bool deleted)
    {
        m_files[path] = addFile(m_connection, path, folder, deleted);
        m_rows.append({'F', path, m_files[path], m_restorePoint, deleted});
        if (deleted)
            m_files.remove(path);
    }

    /// The folder's row of this restore point; it hangs under its parent's one of this restore point or of an older.
    quint64 folderRow(const QString &path, bool deleted = false)
    {
        const quint64 last = m_folders.value(path);
        if (std::any_of(m_rows.begin(), m_rows.end(), [&](const Row &row) {
                return row.kind == 'D' && row.id == last && row.restorePoint == m_restorePoint;
            }))
            return last;
        quint64 parent = 0;
        if (path != "/")
            parent = deleted || number(2) == 0 ? m_folders.value(parentOf(path)) : folderRow(parentOf(path));
        m_folders[path] = addFolder(m_connection, path, parent, m_restorePoint, deleted);
        m_rows.append({'D', path, m_folders[path], m_restorePoint, deleted});
        return m_folders[path];
    }

    /// Whether this restore point has something of the path or below it.
    bool isRecorded(const QString &path) const
    {
        return std::any_of(m_rows.begin(), m_rows.end(),
                           [&](const Row &row) { return row.restorePoint == m_restorePoint && isIn(row.path, path); });
    }

    static QStringList below(const Existing &existing, const QString &folder)
    {
        QStringList paths = existing.keys();
        paths.erase(
            std::remove_if(paths.begin(), paths.end(), [&](const QString &path) { return !isIn(path, folder); }),
            paths.end());
        return paths;
    }

    QString anyOf(const Existing &existing) { return existing.keys().at(number(existing.size())); }

    DatabaseConnection &m_connection;
    QRandomGenerator m_random;
    quint64 m_restorePoint = 0;
    QVector<Row> m_rows;
    Existing m_folders;
    Existing m_files;
};

/// What a listing has to give: no walk, but a look at every path that was ever recorded.
class Reference {
public:
    Reference(const QVector<RandomHistory::Row> &rows, const Ids &restorePoints, const Question &question)
        : m_question(question)
    {
        for (const RandomHistory::Row &row : rows) {
            if (restorePoints.contains(row.restorePoint))
                (row.kind == 'D' ? m_folders : m_files).insert(row.path, row);
        }
    }

    QStringList list() const
    {
        QStringList entries;
        for (const QString &include : m_question.includes) {
            if (counts(m_folders, include))
                listFolder(include, entries);
            else if (counts(m_files, include))
                entries << shown('F', include, m_files[include].id);
        }
        entries.sort();
        return entries;
    }

private:
    using Newest = QMap<QString, RandomHistory::Row>;

    bool counts(const Newest &rows, const QString &path) const
    {
        return rows.contains(path) && !(m_question.excludeDeleted && rows[path].deleted);
    }

    /// Whether a walk from the included folder comes to this one: everything between counts and is not pruned.
    bool isReached(QString folder, const QString &include) const
    {
        if (!isIn(folder, include) || !counts(m_folders, folder))
            return false;
        while (folder != include) {
            folder = parentOf(folder);
            if (!counts(m_folders, folder) || m_question.prunes(folder))
                return false;
        }
        return true;
    }

    void listFolder(const QString &include, QStringList &entries) const
    {
        for (const auto &folder : m_folders) {
            if (!m_question.filesOnly && isReached(folder.path, include))
                entries << shown('D', folder.path, folder.id);
        }
        for (const auto &file : m_files) {
            const QString folder = parentOf(file.path);
            if (counts(m_files, file.path) && isReached(folder, include) && !m_question.prunes(folder))
                entries << shown('F', file.path, file.id);
        }
    }

    const Question &m_question;
    Newest m_folders;
    Newest m_files;
};

class FileListingTest : public Tests::GenerationTest {
protected:
    QStringList walk(const Question &question)
    {
        FileListingRecursive listing(question.includes, question.pointInTime, question.filesOnly,
                                     question.excludeDeleted, m_pool);
        return walk(listing, question);
    }

    static QStringList walk(FileListingRecursive &listing, const Question &question = {})
    {
        QStringList entries;
        for (auto entry = listing.next(); entry.first || entry.second; entry = listing.next()) {
            EXPECT_FALSE(entry.first && entry.second);
            if (entry.first) {
                entries << shown('F', entry.first->localPath(), entry.first->id());
                continue;
            }
            const QString path = entry.second->localPath();
            entries << shown('D', path, entry.second->id());
            if (question.prunes(path) && entries.size() % 2 == 0)
                listing.skipFolderListing(entry.second);
            else if (question.prunes(path))
                listing.skipFolderListing(path);
        }
        EXPECT_TRUE(listing.isFinished());
        EXPECT_EQ(listing.hasNext().error, ResultCode::Ok);
        return entries;
    }

    /// Only the paths of what such a walk gives.
    template <class Listing>
    QString paths(Listing &&listing)
    {
        QStringList paths = walk(listing);
        return paths.replaceInStrings(QRegularExpression("^. | #\\d+$"), "").join(' ');
    }

    quint64 folder(const QString &path, quint64 parentId, quint64 restorePoint = 1)
    {
        return addFolder(m_connection, path, parentId, restorePoint);
    }
    quint64 file(const QString &path, quint64 folderId) { return addFile(m_connection, path, folderId); }
};

class RandomFileListingTest : public FileListingTest, public testing::WithParamInterface<quint32> {};
INSTANTIATE_TEST_SUITE_P(Seeds, RandomFileListingTest, testing::Range(quint32(1), quint32(13)));

TEST_P(RandomFileListingTest, GivesWhatTheReferenceGives)
{
    constexpr int RestorePoints = 6;
    constexpr int Questions = 60;
    RandomHistory history(m_connection, GetParam());
    QMap<int, unsigned long long> idByDay;
    for (int number = 0; number < RestorePoints; ++number) {
        // With every other seed the clock was set back between runs.
        const int day = GetParam() % 2 ? number : number * 5 % RestorePoints;
        idByDay.insert(day, addRestorePoint(m_connection, number, onDay(10 + day)));
        history.record(idByDay[day], number == 0 ? 60 : 25);
    }
    EXPECT_GT(history.rows().size(), 100);

    const auto anyPath = [&history] { return history.rows().at(history.number(history.rows().size())).path; };
    int entries = 0;
    for (int asked = 0; asked < Questions; ++asked) {
        Question question;
        question.filesOnly = history.number(3) == 0;
        question.excludeDeleted = history.number(2) == 0;
        Ids counting = idByDay.values();
        if (const int day = history.number(RestorePoints + 2) - 1; day < RestorePoints) {
            question.pointInTime = onDay(10 + day, QTime(12, 0, 0, 500));
            counting = idByDay.values().mid(0, day + 1);
        }
        if (history.number(2) == 0)
            question.includes = QStringList{anyPath(), "/unknown", anyPath()};
        const bool overlap = isIn(question.includes.first(), question.includes.last()) ||
                             isIn(question.includes.last(), question.includes.first());
        if (!question.filesOnly && (question.includes.size() == 1 || !overlap)) {
            question.prunes = [salt = static_cast<uint>(asked)](const QString &path) {
                return qHash(path, salt) % 4 == 0;
            };
        }

        QStringList found = walk(question);
        if (question.includes.size() == 1 && !question.filesOnly) { // level after level
            const QStringList folders = found.filter(QRegularExpression("^D"));
            EXPECT_TRUE(std::is_sorted(folders.begin(), folders.end(), [](const QString &left, const QString &right) {
                const auto depth = [](const QString &entry) { return entry.contains("D / ") ? 0 : entry.count('/'); };
                return depth(left) < depth(right);
            }));
        }
        found.sort();
        EXPECT_EQ(found, Reference(history.rows(), counting, question).list()) << "question " << asked;
        entries += found.size();
    }
    EXPECT_GT(entries, Questions * 5);
}

TEST_F(FileListingTest, GivesNothingWhereThereIsNoRestorePoint)
{
    addRestorePoints(2);
    file("/top/f", folder("/top", 0));
    const Tests::LogCapture log;
    FileListingRecursive listing({"/top", "/top/f"}, onDay(1).addSecs(-1), false, false, m_pool);
    EXPECT_EQ(log.count(QtDebugMsg, "FileListingRecursive"), 0);
    EXPECT_FALSE(listing.hasNext().value);
    listing.next("/top");
    listing.skipFolderListing("/top");
    EXPECT_EQ(paths(listing), "");

    EXPECT_EQ(paths(Question{{"/top"}, onDay(1)}), "/top /top/f");
    EXPECT_EQ(log.texts(QtDebugMsg, "FileListingRecursive"),
              QStringList({"FileListingRecursive init listing restore point: " + onDay(1).toString(),
                           "FileListingRecursive include folder: /top"}));
}

TEST_F(FileListingTest, PrunesAFolderAndNotItsNeighbours)
{
    addRestorePoints(2);
    const quint64 root = folder("/", 0);
    file("/a/old", folder("/a", root)); // its row stays under the older row of the folder
    const quint64 a2 = folder("/a", root, 2);
    file("/a/new", a2);
    folder("/a/b", a2, 2);
    file("/a/c/f", folder("/a/c", a2, 2));
    file("/ab/f", folder("/ab", root));
    file("/f", root);
    file("/fa", root);

    EXPECT_EQ(paths(Question{{"/"}, {}, false, false, [](const QString &path) { return path == "/a"; }}),
              "/ /f /fa /a /ab /ab/f");
    EXPECT_EQ(paths(Question{{"/"}, {}, false, false, [](const QString &path) { return path == "/"; }}), "/");
    FileListingRecursive listing({"/a/b", "/nothing", "/a", "/ab", "/f"}, {}, false, false, m_pool);
    listing.skipFolderListing(QSharedPointer<Folders>());
    listing.skipFolderListing("/nowhere");
    listing.skipFolderListing("/a"); // which itself stays, while it waits
    EXPECT_EQ(paths(listing), "/f /a /a/new /a/old /ab /ab/f /a/b /a/c /a/c/f");
}

// A row without metadata complains when it is read.
TEST_F(FileListingTest, ReadsNoMoreThanItHandsOut)
{
    addRestorePoints(1);
    const quint64 root = folder("/", 0);
    for (const QString top : {"/a", "/b", "/c"}) {
        const quint64 row = folder(top, root);
        file(top + "/f", row);
        folder(top + "/deep", row);
    }
    sql("update folders set metadata = null");
    sql("update files set metadata = null");
    const Tests::LogCapture log;
    const auto read = [&log] { return log.count(QtCriticalMsg, "Error parce"); };
    FileListingRecursive listing({"/"}, {}, false, false, m_pool);
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(listing.next().second->localPath(), "/");
    EXPECT_EQ(read(), 2); // again, and of its subfolders only their paths
    EXPECT_EQ(listing.next().second->localPath(), "/a");
    EXPECT_EQ(read(), 4);
    listing.skipFolderListing("/b");
    listing.skipFolderListing("/");
    EXPECT_EQ(read(), 6);
    EXPECT_EQ(paths(listing), "/a/f");
    EXPECT_EQ(read(), 6);
}

TEST_F(FileListingTest, EndsWhereParentsFormLoops)
{
    addRestorePoints(1);
    const quint64 root = folder("/", 0);
    const quint64 self = folder("/self", root);
    const quint64 a = folder("/a", root);
    const quint64 b = folder("/a/b", a);
    file("/a/b/f", b);
    sql(QString("update folders set parent_id = id where id in (%1, %2)").arg(root).arg(self));
    EXPECT_EQ(paths(Question{{"/"}}), "/ /a /a/b /a/b/f");
    EXPECT_EQ(paths(Question{{"/self"}}), "/self");
    // Its parent is a folder in it: each of the two is expanded once more for the other.
    sql(QString("update folders set parent_id = %1 where id = %2").arg(b).arg(a));
    EXPECT_EQ(paths(Question{{"/a/b"}, {}, false, true}), "/a/b /a/b/f /a /a/b /a/b/f");

    // Each a child of every other: a walk along every way would not end in a lifetime.
    sql("with recursive n(i) as (select 0 union all select i + 1 from n where i < 11) insert into folders (id, "
        "display_name, parent_id, restore_point_id, deleted, metadata, local_path) select 1000 + p.i * 12 + c.i, c.i, "
        "1000 + p.i, 1, 0, '{}', '/tangled' || c.i from n p, n c");
    EXPECT_EQ(walk(Question{{"/tangled0"}}).size(), 12 * 11 + 1);
}

TEST_F(FileListingTest, EndsAtTheFirstError)
{
    addRestorePoints(1);
    folder("/top/sub", folder("/top", 0));
    const Tests::LogCapture log;
    const auto expectFailed = [](FileListingRecursive &listing) {
        EXPECT_TRUE(listing.isFinished());
        EXPECT_FALSE(listing.hasNext().value);
        EXPECT_EQ(listing.hasNext().error, ResultCode::Error);
        listing.next("/top");
        const auto entry = listing.next();
        EXPECT_FALSE(entry.first || entry.second);
    };
    FileListingRecursive listing({"/top"}, {}, false, false, m_pool);
    EXPECT_TRUE(listing.next().second);
    sql("alter table files rename to gone");
    EXPECT_FALSE(listing.next().second);
    sql("alter table gone rename to files");
    expectFailed(listing);

    sql("alter table folders rename to gone");
    FileListingRecursive blind({"/top", "/x"}, {}, false, false, m_pool);
    sql("alter table gone rename to folders");
    expectFailed(blind);
    QPointer<DatabasePool> nobody;
    FileListingRecursive closed({"/top"}, {}, false, false, nobody);
    expectFailed(closed);
}

} // namespace
} // namespace Tolm::SQL::Generation
