// How the library grows with the catalogue: a first backup of ever more files, files in ever deeper folders, and ever
// more history read at once, beside SQLite's own interface. Usage: GrowthBenchmark [--tiny]

#include <benchmarks/support/CatalogueWork.h>
#include <benchmarks/support/Contenders.h>
#include <benchmarks/support/FirstBackup.h>
#include <benchmarks/support/Library.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <deque>

using namespace Tolm;
using namespace Tolm::Benchmarks;

namespace {

/// A catalogue in a file of its own.
class CatalogueFile {
public:
    CatalogueFile() { createCatalogue(m_pool); }
    ~CatalogueFile() { delete m_pool; }
    Q_DISABLE_COPY_MOVE(CatalogueFile)

    std::string path() const { return m_path.toStdString(); }
    QPointer<SQL::DatabasePool> &pool() { return m_pool; }

private:
    QTemporaryDir m_folder{};
    QString m_path = m_folder.filePath(QStringLiteral("catalogue.db"));
    QPointer<SQL::DatabasePool> m_pool = openPool(m_path);
};

// ---- A first backup ------------------------------------------------------------------------------------------------

void backUp(Table &table, int files)
{
    CatalogueFile plainFile;
    CatalogueFile libraryFile;
    Transacted<Sqlite> limit(plainFile.path());
    Library library(libraryFile.pool());
    compareFirstBackups(table, files, limit, PlainNewFile<Sqlite>(limit, treePath), library,
                        NewFile(libraryFile.pool(), treePath), cpuSeconds);
}

// Files in folders so many names deep, the root's empty name included.
void compareDepths(int argc, char **argv)
{
    CatalogueFile file;
    const auto limit = std::make_shared<Transacted<Sqlite>>(file.path());
    const auto library = std::make_shared<Library>(file.pool());
    Comparison comparison(argc, argv);
    for (const int depth : {1, 6, 12, 24}) {
        const auto pathOf = [depth](int number) {
            std::string path;
            for (int i = 1; i < depth; ++i)
                path += "/folder-" + std::to_string(i);
            return path + "/" + std::to_string(number);
        };
        const auto work = std::make_shared<PlainNewFile<Sqlite>>(*limit, pathOf);
        constexpr int MakesTheFolders = -1;
        (*work)(MakesTheFolders);
        comparison.row("new file, folder " + std::to_string(depth) + " deep", 0, 500);
        addContender(comparison, limit, work);
        addContender(comparison, library, std::make_shared<NewFile>(file.pool(), pathOf));
    }
    comparison.run("First version of a new file by the depth of its folder, SQLite: times the limit");
}

// ---- The history read at once --------------------------------------------------------------------------------------

void writeHistory(Sqlite &sqlite, int rows)
{
    Operation operation = plainOperation();
    operation.sessionId = rows;
    Nothing nothing;
    Sqlite::Statement<Operation, Nothing> insert(sqlite, Operation::Insert, operation, nothing);
    sqlite.run("BEGIN");
    for (int i = 0; i < rows; ++i) {
        operation.localPath = treePath(i);
        insert.run([] {});
    }
    sqlite.run("COMMIT");
}

struct Page {
    long long sessionId;
    long long limit;
    long long offset = 0;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(sessionId), column(limit), column(offset);
    }
};

struct Reading {
    double seconds;
    long megabytes;
};

template <class Read>
Reading timedReading(int rows, Read read)
{
    resetPeak();
    const long before = residentMegabytes();
    Reading reading{};
    reading.seconds = measured([&] {
        const auto records = read();
        if (static_cast<int>(records.size()) != rows)
            qFatal("%d rows", static_cast<int>(records.size()));
    });
    reading.megabytes = peakMegabytes() - before;
    return reading;
}

void readHistory(Table &table, CatalogueFile &file, int rows, int rounds)
{
    Sqlite sqlite(file.path());
    writeHistory(sqlite, rows);
    Page page{rows, rows};
    OperationWithId operation;
    Sqlite::Statement<Page, OperationWithId> select(sqlite, OperationWithId::Select, page, operation);
    const auto plain = [&] {
        std::deque<OperationWithId> records;
        select.run([&] { records.push_back(operation); });
        return records;
    };
    const auto throughLibrary = [&] {
        const SQL::DatabaseConnection connection(file.pool());
        const auto count = static_cast<unsigned long long>(rows);
        return SQL::History::select(count, count, 0, connection);
    };

    Reading limit{};
    Reading library{};
    std::vector<double> limits;
    std::vector<double> libraries;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        limit = timedReading(rows, plain);
        library = timedReading(rows, throughLibrary);
        limits.push_back(limit.seconds);
        libraries.push_back(library.seconds);
        ratios.push_back(library.seconds / limit.seconds);
    }
    const std::string row = std::to_string(rows) + " rows";
    table.seconds(row, "limit", medianOf(limits));
    table.seconds(row, "library", medianOf(libraries));
    table.ratio(row, "times the limit", medianOf(ratios));
    table.text(row, "limit, memory added", std::to_string(limit.megabytes) + " MB");
    table.text(row, "library, memory added", std::to_string(library.megabytes) + " MB");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    quietLog();
    const bool tiny = hasArgument(argc, argv, "--tiny");
    compareDepths(argc, argv);
    if (hasArgument(argc, argv, "--once"))
        return 0;
    {
        Table table("First backup, SQLite (CPU time)");
        for (const int files : tiny ? std::vector<int>{1500} : std::vector<int>{10000, 100000, 1000000})
            backUp(table, files);
    }
    {
        Table table("History read at once, SQLite (CPU time)");
        CatalogueFile file;
        if (tiny) {
            readHistory(table, file, 1000, 1);
            return 0;
        }
        readHistory(table, file, 10000, 15);
        readHistory(table, file, 100000, 5);
        readHistory(table, file, 1000000, 3);
    }
    return 0;
}
