// The work on a generation beside SQLite's own interface and other wrappers: the listing of a folder, the blocks of a
// backup, and the recursive listing of a whole tree.

#include <repository/generation/AttachDatabase.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/FileListingRecursive.h>
#include <repository/generation/Files.h>
#include <repository/generation/Folders.h>
#include <repository/generation/PartsBlocks.h>

#include <benchmarks/support/Contenders.h>
#include <benchmarks/support/Generation.h>
#include <benchmarks/support/Library.h>
#include <benchmarks/support/Table.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <deque>
#include <random>

using namespace Tolm;
using namespace Tolm::Benchmarks;

namespace {

constexpr int Parents = 50;
constexpr int Children = 20;
constexpr int RestorePoints = 20;
constexpr int Blocks = 4000;

const std::vector<std::string> &parentPaths()
{
    static const std::vector<std::string> paths = [] {
        std::vector<std::string> list;
        list.reserve(Parents);
        for (int i = 0; i < Parents; ++i)
            list.push_back("/data/" + std::to_string(i));
        return list;
    }();
    return paths;
}

// Addresses are digests: any two of them lie far apart.
const std::vector<std::string> &addresses()
{
    constexpr int AddressSize = 32;
    static const std::vector<std::string> list = [] {
        std::vector<std::string> digests;
        std::mt19937 random(1);
        for (int i = 0; i < Blocks; ++i) {
            std::string &digest = digests.emplace_back();
            for (int byte = 0; byte < AddressSize; ++byte)
                digest += static_cast<char>(random() & 0xFF);
        }
        return digests;
    }();
    return list;
}

template <class T>
const T &cycled(const std::vector<T> &list, int i)
{
    return list[static_cast<std::size_t>(i) % list.size()];
}

// ---- What the others run -------------------------------------------------------------------------------------------

template <class Connection, class Row>
class PlainListing {
public:
    PlainListing(Connection &connection, std::string text)
        : m_text(std::move(text))
        , m_statement(connection, m_text.c_str(), m_path, m_row)
    {}
    void operator()(int i)
    {
        m_path.path = cycled(parentPaths(), i);
        int rows = 0;
        m_statement.run([&] { ++rows; });
        if (rows != Children)
            qFatal("%d children", rows);
    }

private:
    std::string m_text;
    Path m_path{};
    Row m_row{};
    typename Connection::template Statement<Path, Row> m_statement;
};

template <class Connection>
class PlainFolders : public PlainListing<Connection, GenerationFolder> {
public:
    explicit PlainFolders(Connection &connection)
        : PlainListing<Connection, GenerationFolder>(connection, selectFoldersInFolderText(RestorePoints))
    {}
};

template <class Connection>
class PlainFiles : public PlainListing<Connection, GenerationFile> {
public:
    explicit PlainFiles(Connection &connection)
        : PlainListing<Connection, GenerationFile>(connection, selectFilesInFolderText(RestorePoints))
    {}
};

template <class Connection>
class PlainBlockInsert {
public:
    explicit PlainBlockInsert(Connection &connection)
        : m_statement(connection, Block::Insert, m_block, m_nothing)
    {}
    void operator()(int i)
    {
        m_block.id = i + 1;
        m_block.address.data = cycled(addresses(), i);
        m_statement.run([] {});
    }

private:
    Block m_block{};
    Nothing m_nothing{};
    typename Connection::template Statement<Block, Nothing> m_statement;
};

template <class Connection>
class PlainBlockId {
public:
    explicit PlainBlockId(Connection &connection)
        : m_update(connection,
                   "update SQLITE_SEQUENCE set seq = COALESCE(seq, 0) + 1 where name = 'block_id_generator'", m_nothing,
                   m_nothing)
        , m_select(connection, "select seq from SQLITE_SEQUENCE where name = 'block_id_generator'", m_nothing, m_id)
    {}
    void operator()(int /*i*/)
    {
        m_update.run([] {});
        m_select.run([] {});
    }

private:
    Nothing m_nothing{};
    Id m_id{};
    typename Connection::template Statement<Nothing, Nothing> m_update;
    typename Connection::template Statement<Nothing, Id> m_select;
};

// ---- What the library runs: each operation with a handle of its own
// --------------------------------------------------

class Work {
public:
    explicit Work(QPointer<SQL::DatabasePool> &pool)
        : m_pool(pool)
    {
        for (const std::string &path : parentPaths())
            m_paths.push_back(QString::fromStdString(path));
        for (const std::string &address : addresses())
            m_addresses.push_back(QByteArray::fromStdString(address));
        for (unsigned long long id = 1; id <= RestorePoints; ++id)
            m_restorePoints.append(id);
    }

protected:
    QPointer<SQL::DatabasePool> &m_pool;
    std::vector<QString> m_paths{};
    std::vector<QByteArray> m_addresses{};
    QList<unsigned long long> m_restorePoints{};
};

class ListFolders : public Work {
public:
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        const auto folders = SQL::Generation::Folders::selectInFolder(cycled(m_paths, i), m_restorePoints, false, -1,
                                                                      -1, {}, connection);
        if (folders.list.size() != Children)
            qFatal("%d children", folders.list.size());
    }
};

class ListFiles : public Work {
public:
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        const auto files =
            SQL::Generation::Files::selectInFolder(cycled(m_paths, i), m_restorePoints, -1, -1, {}, connection);
        if (files.list.size() != Children)
            qFatal("%d children", files.list.size());
    }
};

class BlockInsert : public Work {
public:
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        SQL::Generation::PartsBlocks block(i + 1, 1, cycled(m_addresses, i));
        if (block.insert({}, connection) != 0)
            qFatal("not inserted");
    }
};

class BlockId : public Work {
public:
    using Work::Work;
    void operator()(int /*i*/)
    {
        SQL::DatabaseConnection connection(m_pool);
        if (SQL::Generation::BlockIdGenerator::next({}, connection) < 1)
            qFatal("no id");
    }
};

// ---- The recursive listing -----------------------------------------------------------------------------------------

// The three statements of each folder, each prepared once.
long plainWalk(Sqlite &sqlite, int restorePoints)
{
    const std::string folderText = selectFolderText(restorePoints);
    const std::string filesText = selectFilesInFolderText(restorePoints);
    const std::string foldersText = selectFoldersInFolderText(restorePoints);
    Path path;
    GenerationFolder folder;
    GenerationFile file;
    Sqlite::Statement<Path, GenerationFolder> selectFolder(sqlite, folderText.c_str(), path, folder);
    Sqlite::Statement<Path, GenerationFile> selectFiles(sqlite, filesText.c_str(), path, file);
    Sqlite::Statement<Path, GenerationFolder> selectFolders(sqlite, foldersText.c_str(), path, folder);
    long entries = 0;
    std::deque<std::string> queue{"/data"};
    while (!queue.empty()) {
        path.path = std::move(queue.front());
        queue.pop_front();
        selectFolder.run([&] { ++entries; });
        selectFiles.run([&] { ++entries; });
        selectFolders.run([&] { queue.push_back(folder.localPath); });
    }
    return entries;
}

long libraryWalk(QPointer<SQL::DatabasePool> &pool)
{
    SQL::Generation::FileListingRecursive listing({QStringLiteral("/data")}, {}, false, true, pool);
    long entries = 0;
    for (auto entry = listing.next(); entry.first || entry.second; entry = listing.next())
        ++entries;
    if (listing.hasNext().error != 0)
        qFatal("error %d", listing.hasNext().error);
    return entries;
}

void compareWalks(Table &table, int folders, int restorePoints, int rounds)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath(QStringLiteral("generation.db"));
    const auto generation = SQL::Generation::AttachDatabase::attach(file, QUuid::createUuid());
    Sqlite sqlite(file.toStdString());
    writeTree(sqlite, folders, restorePoints);

    long entries = 0;
    std::vector<double> limit;
    std::vector<double> library;
    std::vector<double> ratios;
    resetPeak();
    const long before = residentMegabytes();
    for (int round = 0; round < rounds; ++round) {
        limit.push_back(measured([&] { entries = plainWalk(sqlite, restorePoints); }));
        library.push_back(measured([&] {
            if (libraryWalk(generation->attachedDatabasePool()) != entries)
                qFatal("the listing is not the same");
        }));
        ratios.push_back(library.back() / limit.back());
    }
    const auto count = static_cast<double>(entries);
    const std::string row = std::to_string(folders) + " folders, " + std::to_string(restorePoints) + " restore points";
    table.text(row, "entries", std::to_string(entries));
    table.text(row, "limit, entries/s", formatted("%.0f", count / medianOf(limit)));
    table.text(row, "library, entries/s", formatted("%.0f", count / medianOf(library)));
    table.ratio(row, "library's share of the limit's speed", 1 / medianOf(ratios));
    table.text(row, "memory added", std::to_string(peakMegabytes() - before) + " MB");
}

void compareOperations(int argc, char **argv)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath(QStringLiteral("generation.db"));
    const std::string path = file.toStdString();
    const auto generation = SQL::Generation::AttachDatabase::attach(file, QUuid::createUuid());
    {
        Sqlite sqlite(path);
        writeRecordedFolders(sqlite, Parents, Children, RestorePoints);
    }
    QPointer<SQL::DatabasePool> &pool = generation->attachedDatabasePool();
    const auto library = std::make_shared<Library>(pool);

    Comparison comparison(argc, argv);
    comparison.row("folders of a folder, 20 children, 20 restore points", 1.9, 100);
    addLimit<PlainFolders>(comparison, path);
    addContender(comparison, library, std::make_shared<ListFolders>(pool));
    addPeers<PlainFolders>(comparison, path);
    comparison.row("files of a folder, 20 files, 20 restore points", 1.9, 100);
    addLimit<PlainFiles>(comparison, path);
    addContender(comparison, library, std::make_shared<ListFiles>(pool));
    addPeers<PlainFiles>(comparison, path);
    comparison.row("insert a block", 1.6, Blocks);
    addLimit<PlainBlockInsert>(comparison, path);
    addContender(comparison, library, std::make_shared<BlockInsert>(pool));
    addPeers<PlainBlockInsert>(comparison, path);
    comparison.row("next block id (two statements at the limit)", 2.3, Blocks);
    addLimit<PlainBlockId>(comparison, path);
    addContender(comparison, library, std::make_shared<BlockId>(pool));
    addPeers<PlainBlockId>(comparison, path);
    comparison.run("Generation, SQLite: times the limit");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    quietLog();
    compareOperations(argc, argv);
    if (hasArgument(argc, argv, "--once"))
        return 0;

    Table table("Recursive listing of a generation");
    if (hasArgument(argc, argv, "--tiny")) {
        compareWalks(table, 200, 200, 1);
        return 0;
    }
    constexpr int Most = 50000;
    constexpr int Some = 5000;
    constexpr int FewRounds = 3;
    for (const int restorePoints : {1, 2, 20, 200})
        compareWalks(table, Some, restorePoints, FewRounds);
    compareWalks(table, Most / 100, 1, FewRounds);
    compareWalks(table, Most, 1, 1);
    compareWalks(table, Most, 200, FewRounds);
    return 0;
}
