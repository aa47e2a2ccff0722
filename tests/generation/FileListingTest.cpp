#include <repository/database/DatabaseTransaction.h>
#include <repository/database/StatementCache_p.h>
#include <repository/generation/FileListingRecursive.h>

#include <tests/generation/GenerationTest.h>

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <functional>

namespace Tolm::SQL::Generation {
namespace {

using testing::ElementsAre;
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
        m_recorded.clear();
        folderRow("/");
        while (changes-- > 0)
            change();
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    }

    const QVector<Row> &rows() const { return m_rows; }
    int number(int end) { return m_random.bounded(end); }

private:
    void change()
    {
        static const QStringList Names{"a", "A", "b", "docs", "Docs", "Ж", "ж", "x y"};
        const QString folder = anyOf(m_folders);
        const QString child = (folder == "/" ? "" : folder) + "/" + Names.at(number(Names.size()));
        const bool isNew = !m_folders.contains(child) && !m_files.contains(child) && !isRecorded(child);
        const int kind = number(10);
        if (kind < 3 && isNew && child.count('/') < 5)
            folderRow(child);
        else if (kind < 6 && isNew)
            fileRow(child, false);
        else if (kind < 8 && !m_files.isEmpty())
            changeFile(anyOf(m_files), kind == 7);
        else if (folder != "/" && !isRecorded(folder))
            deleteFolder(folder, number(2) == 0);
    }

    void changeFile(const QString &path, bool deleted)
    {
        if (!isRecorded(path))
            fileRow(path, deleted);
    }

    void deleteFolder(const QString &folder, bool withContents)
    {
        const quint64 row = folderRow(folder, true);
        for (const QString &file : below(m_files, folder)) {
            if (withContents && parentOf(file) == folder)
                append('F', file, addFile(m_connection, file, row, true), true);
            m_files.remove(file);
        }
        for (const QString &subfolder : below(m_folders, folder)) {
            if (withContents && subfolder != folder)
                folderRow(subfolder, true);
            m_folders.remove(subfolder);
        }
    }

    quint64 fileRow(const QString &path, bool deleted)
    {
        const quint64 row = addFile(m_connection, path, folderRow(parentOf(path)), deleted);
        append('F', path, row, deleted);
        if (deleted)
            m_files.remove(path);
        else
            m_files.insert(path);
        return row;
    }

    /// The folder's row of this restore point; it hangs under its parent's one of this restore point or of an older.
    quint64 folderRow(const QString &path, bool deleted = false)
    {
        if (m_recorded.contains('D' + path))
            return m_lastRow.value(path);
        quint64 parent = 0;
        if (path != "/")
            parent = deleted || number(2) == 0 ? m_lastRow.value(parentOf(path)) : folderRow(parentOf(path));
        const quint64 row = addFolder(m_connection, path, parent, m_restorePoint, deleted);
        append('D', path, row, deleted);
        m_lastRow.insert(path, row);
        m_folders.insert(path);
        return row;
    }

    void append(char kind, const QString &path, quint64 row, bool deleted)
    {
        m_rows.append({kind, path, row, m_restorePoint, deleted});
        m_recorded.insert(kind + path);
    }

    /// Whether this restore point has something of the path or below it.
    bool isRecorded(const QString &path) const
    {
        return std::any_of(m_recorded.begin(), m_recorded.end(),
                           [&path](const QString &recorded) { return isIn(recorded.mid(1), path); });
    }

    static QStringList below(const QSet<QString> &paths, const QString &folder)
    {
        QStringList found;
        for (const QString &path : paths) {
            if (isIn(path, folder))
                found << path;
        }
        found.sort();
        return found;
    }

    QString anyOf(const QSet<QString> &paths)
    {
        QStringList sorted = paths.values();
        sorted.sort();
        return sorted.at(number(sorted.size()));
    }

    DatabaseConnection &m_connection;
    QRandomGenerator m_random;
    quint64 m_restorePoint = 0;
    QVector<Row> m_rows;
    QSet<QString> m_folders; // that exist now
    QSet<QString> m_files;
    QSet<QString> m_recorded;
    QMap<QString, quint64> m_lastRow;
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
    QPointer<DatabasePool> &pool() { return m_generation->attachedDatabasePool(); }

    QStringList walk(const Question &question)
    {
        FileListingRecursive listing(question.includes, question.pointInTime, question.filesOnly,
                                     question.excludeDeleted, pool());
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

    quint64 folder(const QString &path, quint64 parentId, quint64 restorePoint = 1, bool deleted = false)
    {
        return addFolder(m_connection, path, parentId, restorePoint, deleted);
    }
    quint64 file(const QString &path, quint64 folderId, bool deleted = false)
    {
        return addFile(m_connection, path, folderId, deleted);
    }
    void restorePoints(int count)
    {
        for (int number = 1; number <= count; ++number)
            addRestorePoint(m_connection, number, onDay(number));
    }

    static std::vector<std::string> paths(const QStringList &entries)
    {
        std::vector<std::string> paths;
        for (const QString &entry : entries)
            paths.push_back(entry.section(QLatin1Char(' '), 1, -2).toStdString());
        return paths;
    }
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
    restorePoints(2);
    const quint64 top = folder("/top", 0);
    file("/top/f", top);
    const Tests::LogCapture log;
    FileListingRecursive listing({"/top", "/top/f"}, onDay(1).addSecs(-1), false, false, pool());
    EXPECT_EQ(log.count(QtDebugMsg, "FileListingRecursive"), 0);
    EXPECT_TRUE(listing.isFinished());
    EXPECT_FALSE(listing.hasNext().value);
    EXPECT_EQ(walk(listing), QStringList());
    listing.next("/top");
    listing.skipFolderListing("/top");
    EXPECT_EQ(walk(listing), QStringList());

    EXPECT_EQ(walk({{"/top"}, onDay(1)}).size(), 2);
    EXPECT_EQ(log.texts(QtDebugMsg, "FileListingRecursive"),
              QStringList({"FileListingRecursive init listing restore point: " + onDay(1).toString(),
                           "FileListingRecursive include folder: /top"}));
}

TEST_F(FileListingTest, ShowsTheTreeAsItStood)
{
    restorePoints(3);
    const quint64 top1 = folder("/top", 0, 1);
    const quint64 sub1 = folder("/top/sub", top1, 1);
    const quint64 f1 = file("/top/f", top1);
    const quint64 g1 = file("/top/sub/g", sub1);
    const quint64 top2 = folder("/top", 0, 2);
    const quint64 sub2 = folder("/top/sub", top2, 2, true);
    const quint64 f2 = file("/top/f", top2);
    const quint64 top3 = folder("/top", 0, 3);
    const quint64 f3 = file("/top/f", top3, true);
    const auto entries = [this](const QDateTime &date, bool filesOnly, bool excludeDeleted) {
        return walk({{"/top"}, date, filesOnly, excludeDeleted});
    };
    const QString g = shown('F', "/top/sub/g", g1);
    EXPECT_EQ(entries(onDay(1), false, true),
              QStringList({shown('D', "/top", top1), shown('F', "/top/f", f1), shown('D', "/top/sub", sub1), g}));
    EXPECT_EQ(entries(onDay(1), true, true), QStringList({shown('F', "/top/f", f1), g}));
    EXPECT_EQ(entries(onDay(2), false, true), QStringList({shown('D', "/top", top2), shown('F', "/top/f", f2)}));
    EXPECT_EQ(entries({}, false, true), QStringList(shown('D', "/top", top3)));
    EXPECT_EQ(entries({}, false, false),
              QStringList({shown('D', "/top", top3), shown('F', "/top/f", f3), shown('D', "/top/sub", sub2), g}));
    // Included files come first; a deleted folder and an unknown path give nothing.
    EXPECT_EQ(walk({{"/top/sub", "/top", "/top/f", "/nothing"}, onDay(2), false, true}).first(),
              shown('F', "/top/f", f2));
}

TEST_F(FileListingTest, PrunesAFolderAndNotItsNeighbours)
{
    restorePoints(2);
    const quint64 root = folder("/", 0);
    const quint64 a1 = folder("/a", root);
    file("/a/old", a1); // its row stays under the older row of the folder
    const quint64 a2 = folder("/a", root, 2);
    file("/a/new", a2);
    folder("/a/b", a2, 2);
    file("/a/c/f", folder("/a/c", a2, 2));
    file("/ab/f", folder("/ab", root));
    file("/f", root);
    file("/fa", root);

    const auto prunesA = [](const QString &path) { return path == "/a"; };
    EXPECT_THAT(paths(walk({{"/"}, {}, false, false, prunesA})), ElementsAre("/", "/f", "/fa", "/a", "/ab", "/ab/f"));
    EXPECT_THAT(paths(walk({{"/"}, {}, false, false, [](const QString &path) { return path == "/"; }})),
                ElementsAre("/"));
    FileListingRecursive listing({"/a/b", "/a", "/ab"}, {}, false, false, pool());
    listing.skipFolderListing(QSharedPointer<Folders>());
    listing.skipFolderListing("/nowhere");
    listing.skipFolderListing("/a"); // which itself stays, while it waits
    EXPECT_THAT(paths(walk(listing)), ElementsAre("/a", "/a/new", "/a/old", "/ab", "/ab/f", "/a/b", "/a/c", "/a/c/f"));
}

// A row without metadata complains when it is read.
TEST_F(FileListingTest, ReadsNoMoreThanItHandsOut)
{
    restorePoints(1);
    const quint64 root = folder("/", 0);
    for (const QString top : {"/a", "/b", "/c"}) {
        const quint64 row = folder(top, root);
        file(top + "/f", row);
        folder(top + "/deep", row);
    }
    sql("update folders set metadata = null");
    sql("update files set metadata = null");
    const Tests::LogCapture log;
    FileListingRecursive listing({"/"}, {}, false, false, pool());
    const auto read = [&log] { return log.count(QtCriticalMsg, "Error parce"); };
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(listing.next().second->localPath(), "/");
    EXPECT_EQ(read(), 5); // again, and its three subfolders
    EXPECT_EQ(listing.next().second->localPath(), "/a");
    EXPECT_EQ(read(), 8);
    listing.skipFolderListing("/b");
    EXPECT_EQ(read(), 9);
    listing.skipFolderListing("/");
    EXPECT_EQ(read(), 10);
    EXPECT_THAT(paths(walk(listing)), ElementsAre("/a/f"));
    EXPECT_EQ(read(), 10);
}

TEST_F(FileListingTest, EndsWhereParentsFormLoops)
{
    restorePoints(1);
    const quint64 root = folder("/", 0);
    const quint64 self = folder("/self", root);
    const quint64 a = folder("/a", root);
    const quint64 b = folder("/a/b", a);
    file("/a/b/f", b);
    sql(QString("update folders set parent_id = id where id in (%1, %2)").arg(root).arg(self));
    EXPECT_THAT(paths(walk({{"/"}})), ElementsAre("/", "/a", "/a/b", "/a/b/f"));
    EXPECT_THAT(paths(walk({{"/self"}})), ElementsAre("/self"));
    // Its parent is a folder in it: each of the two is expanded once more for the other.
    sql(QString("update folders set parent_id = %1 where id = %2").arg(b).arg(a));
    EXPECT_THAT(paths(walk({{"/a/b"}, {}, false, true})), ElementsAre("/a/b", "/a/b/f", "/a", "/a/b", "/a/b/f"));
    EXPECT_EQ(walk({{"/"}, {}, true, false}), QStringList());

    // Each a child of every other: a walk along every way would not end in a lifetime.
    constexpr int Tangled = 12;
    for (int child = 0; child < Tangled; ++child) {
        for (quint64 parent = 0; parent < Tangled; ++parent)
            sql(QString("insert into folders (display_name, parent_id, restore_point_id, deleted, metadata, local_path)"
                        " select '%1', %2 + 100, 1, 0, '{}', '/tangled%1'")
                    .arg(child)
                    .arg(parent));
    }
    const QStringList rows = sql("select min(id) from folders where local_path like '/tangled%' group by local_path "
                                 "order by cast(display_name as integer)");
    for (int parent = 0; parent < Tangled; ++parent)
        sql(QString("update folders set parent_id = %1 where parent_id = %2").arg(rows.at(parent)).arg(parent + 100));
    const QStringList tangle = walk({{"/tangled0"}});
    EXPECT_EQ(tangle.size(), Tangled * (Tangled - 1) + 1);
}

TEST_F(FileListingTest, EndsAtTheFirstError)
{
    restorePoints(1);
    const quint64 top = folder("/top", 0);
    folder("/top/sub", top);
    const Tests::LogCapture log;
    const auto expectFailed = [](FileListingRecursive &listing) {
        EXPECT_TRUE(listing.isFinished());
        EXPECT_FALSE(listing.hasNext().value);
        EXPECT_EQ(listing.hasNext().error, ResultCode::Error);
        const auto entry = listing.next();
        EXPECT_FALSE(entry.first || entry.second);
        listing.next("/top");
        EXPECT_FALSE(listing.next().second);
    };
    FileListingRecursive listing({"/top"}, {}, false, false, pool());
    EXPECT_TRUE(listing.next().second);
    sql("alter table files rename to gone");
    EXPECT_FALSE(listing.next().second);
    sql("alter table gone rename to files");
    expectFailed(listing);

    sql("alter table folders rename to gone");
    FileListingRecursive blind({"/top", "/x"}, {}, false, false, pool());
    sql("alter table gone rename to folders");
    expectFailed(blind);
    QPointer<DatabasePool> nobody;
    FileListingRecursive closed({"/top"}, {}, false, false, nobody);
    expectFailed(closed);
}

// What a browser asks for page by page, and what a walk asks of its restore points, are new texts each time.
TEST_F(FileListingTest, PassingTextsLeaveTheOthersInTheCache)
{
    StatementCache cache;
    const auto use = [&](const QString &text) {
        auto statement = cache.take(text);
        const bool wasKept = statement != nullptr;
        if (!statement) {
            statement = std::make_unique<PreparedStatement>(m_connection.query(), text);
            statement->usable = statement->query.prepare(text);
            statement->epoch = cache.epoch();
        }
        EXPECT_TRUE(statement->usable) << qPrintable(text);
        cache.give(std::move(statement));
        return wasKept;
    };
    const QString lasting = "select id from restore_points order by start_date desc limit 1";
    use(lasting);
    for (int number = 1; number <= 3 * StatementCache::Capacity; ++number) {
        use(QString("select id from folders where +restore_point_id in (%1,%2)").arg(number).arg(number + 1));
        use(QString("select id from folders group by local_path limit 50 offset %1").arg(number * 50));
    }
    EXPECT_TRUE(use(lasting));
    const QString walked = "select id from folders where +restore_point_id in (1)";
    use(walked);
    EXPECT_TRUE(use(walked));
}

} // namespace
} // namespace Tolm::SQL::Generation
