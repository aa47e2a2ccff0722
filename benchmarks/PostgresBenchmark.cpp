// The daily operations of the main catalogue on PostgreSQL beside libpq, over the server's unix socket, in wall time:
// the server works for both. TOLM_TEST_POSTGRES names the file with the connection string of a throw-away server; it
// stays out of all databases but one that the program makes. Usage: PostgresBenchmark [--tiny]

#include <repository/database/Database.h>

#include <benchmarks/support/CatalogueWork.h>
#include <benchmarks/support/Contenders.h>
#include <benchmarks/support/FirstBackup.h>
#include <benchmarks/support/Library.h>
#include <benchmarks/support/Postgres.h>

#include <QCoreApplication>
#include <QFile>
#include <QSqlDriver>
#include <QVariant>

#include <cstdio>
#include <iostream>

using namespace Tolm;
using namespace Tolm::Benchmarks;

namespace {

using Action = std::function<void()>;

// ---- Round trips ---------------------------------------------------------------------------------------------------

// The library's connection of this thread.
PGconn *libraryConnection()
{
    const SQL::DatabaseConnection connection(SQL::DatabasePool::defaultPool());
    const QVariant handle = connection.query().driver()->handle();
    if (qstrcmp(handle.typeName(), "PGconn*") != 0)
        qFatal("the driver has no PGconn but %s", handle.typeName());
    return *static_cast<PGconn *const *>(handle.constData());
}

// libpq writes every message down; the server ends each answer by saying that it is ready.
int roundTrips(PGconn *connection, const Action &action)
{
    std::FILE *trace = std::tmpfile();
    if (!trace)
        qFatal("no temporary file");
    PQtrace(connection, trace);
    action();
    PQuntrace(connection);
    std::rewind(trace);
    int count = 0;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), trace))
        count += std::string_view(line.data()).find("ReadyForQuery") != std::string_view::npos ? 1 : 0;
    std::fclose(trace);
    return count;
}

// ---- The operations ------------------------------------------------------------------------------------------------

class Operations {
public:
    Operations(int argc, char **argv, const std::string &plainLocation)
        : m_limit(std::make_shared<Postgres>(plainLocation))
        , m_comparison(argc, argv)
    {}

    const std::shared_ptr<Postgres> &limit() { return m_limit; }
    const std::shared_ptr<Library> &library() { return m_library; }

    template <class PlainWork, class LibraryWork>
    void add(const std::string &name, double target, int operations, const std::shared_ptr<PlainWork> &plain,
             const std::shared_ptr<LibraryWork> &work)
    {
        // One after the other: with the same keys, one would wait for the end of the other's transaction.
        m_limit->begin();
        countLimit(name, [&](int i) { (*plain)(i); });
        m_limit->rollback();
        m_library->begin();
        countLibrary(name, [&](int i) { (*work)(i); });
        m_library->rollback();
        m_comparison.row("PostgreSQL: " + name, target, operations);
        addContender(m_comparison, m_limit, plain, wallSeconds);
        addContender(m_comparison, m_library, work, wallSeconds);
    }

    void addTransaction()
    {
        const auto transaction = [](auto &connection) {
            connection.begin();
            connection.commit();
        };
        const std::string name = "begin and end of a transaction";
        countLimit(name, [&](int) { transaction(*m_limit); });
        countLibrary(name, [&](int) { transaction(*m_library); });
    }

    void compare() { m_comparison.run("Catalogue, PostgreSQL over a unix socket (wall time): times the limit"); }

private:
    static constexpr int First = 1;
    static constexpr int Again = 2;

    using Work = std::function<void(int)>;

    void countLimit(const std::string &row, const Work &work)
    {
        count(row, "limit", m_limit->handle(), [&] { work(First); });
    }

    void countLibrary(const std::string &row, const Work &work)
    {
        count(row, "library", libraryConnection(), [&] { work(First); });
        count(row, "library, again", libraryConnection(), [&] { work(Again); });
    }

    void count(const std::string &row, const std::string &column, PGconn *connection, const Action &action)
    {
        m_roundTrips.text(row, column, std::to_string(roundTrips(connection, action)));
    }

    std::shared_ptr<Postgres> m_limit;
    std::shared_ptr<Library> m_library = std::make_shared<Library>(SQL::DatabasePool::defaultPool());
    Comparison m_comparison;
    Table m_roundTrips{"Round trips to PostgreSQL"};
};

void compareOperations(int argc, char **argv, const std::string &plainLocation)
{
    QPointer<SQL::DatabasePool> &pool = SQL::DatabasePool::defaultPool();
    Operations operations(argc, argv, plainLocation);
    Postgres &limit = *operations.limit();
    insertSampleFolders(limit);
    insertSampleVersions(limit, hasArgument(argc, argv, "--tiny") ? Files / 50 : Files);

    operations.add("first version of a new file", 0, 100, std::make_shared<PlainNewFile<Postgres>>(limit),
                   std::make_shared<NewFile>(pool));
    operations.add("insert a file version", 2.5, 300, std::make_shared<PlainVersionInsert<Postgres>>(limit),
                   std::make_shared<VersionInsert>(pool));
    operations.add("select one version by id", 1.8, 500, std::make_shared<PlainVersionSelect<Postgres>>(limit),
                   std::make_shared<VersionSelect>(pool));
    operations.add("list the 20 versions of a file", 1.7, 200, std::make_shared<PlainVersionList<Postgres>>(limit),
                   std::make_shared<VersionList>(pool));
    operations.addTransaction();
    operations.compare();
}

// Both in the same tables, each with files of its own. The limit's round trips would take minutes.
void compareFirstBackup(int files, const std::string &plainLocation)
{
    QPointer<SQL::DatabasePool> &pool = SQL::DatabasePool::defaultPool();
    Postgres limit(plainLocation);
    Library library(pool);
    constexpr int LimitsTurns = 10;
    Table table("First backup, PostgreSQL (wall time)");
    compareFirstBackups(table, files, limit, PlainNewFile<Postgres>(limit, treePath), library,
                        NewFile(pool, [files](int number) { return treePath(files + number); }), wallSeconds,
                        LimitsTurns);
}

int measure(int argc, char **argv, const QString &server)
{
    const ThrowAwayDatabase database(server);
    if (!SQL::Database::initPostgreSQL(database.location()))
        return 1;
    compareOperations(argc, argv, database.plainLocation());
    if (!hasArgument(argc, argv, "--once"))
        compareFirstBackup(hasArgument(argc, argv, "--tiny") ? 200 : 100000, database.plainLocation());
    delete SQL::DatabasePool::defaultPool();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    quietLog();
    QFile location(qEnvironmentVariable("TOLM_TEST_POSTGRES"));
    if (!location.open(QIODevice::ReadOnly)) {
        std::cout << "No server: TOLM_TEST_POSTGRES names no file with a connection string\n";
        return 0;
    }
    return measure(argc, argv, QString::fromUtf8(location.readAll()).trimmed());
}
