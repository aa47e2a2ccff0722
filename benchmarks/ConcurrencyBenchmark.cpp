// What it costs to share a catalogue: a handle taken by many threads, and inserts into one SQLite file by several
// threads and processes, with the time that each of them waits. Usage: ConcurrencyBenchmark [--tiny]

#include <repository/database/Database.h>

#include <benchmarks/support/Catalogue.h>
#include <benchmarks/support/Library.h>
#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Table.h>
#include <benchmarks/support/Writers.h>

#include <QCoreApplication>
#include <QTemporaryDir>

using namespace Tolm;
using namespace Tolm::Benchmarks;

namespace {

// ---- A handle made and dropped -------------------------------------------------------------------------------------

void makeHandle()
{
    const SQL::DatabaseConnection connection(SQL::DatabasePool::defaultPool());
    if (!connection.isOpen())
        qFatal("no connection");
}

std::string counted(int count, const std::string &what)
{
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : what.back() == 's' ? "es" : "s");
}

double elapsed(const std::vector<Working> &workings)
{
    double begin = workings.front().begin;
    double end = workings.front().end;
    for (const Working &working : workings) {
        begin = std::min(begin, working.begin);
        end = std::max(end, working.end);
    }
    return end - begin;
}

void measureHandles(int threads, int handles, int rounds)
{
    // The first handle of a thread opens its connection; a thread that gets the id of an ended one finds that open.
    const double opening = elapsed(onThreads(threads, 1, [] { return makeHandle; })) / threads;
    const Turn makeMany = [handles] {
        for (int i = 0; i < handles; ++i)
            makeHandle();
    };
    makeHandle();
    std::vector<double> alone;
    std::vector<double> together;
    for (int round = 0; round < rounds; ++round) {
        alone.push_back(measured(makeMany) / handles);
        together.push_back(elapsed(onThreads(threads, 1,
                                             [&] {
                                                 makeHandle();
                                                 return makeMany;
                                             })) /
                           handles / threads);
    }
    Table table("A handle made and dropped");
    table.seconds("by one thread (CPU time)", "each", medianOf(alone));
    const std::string atOnce = counted(threads, "thread") + " at once (wall time)";
    table.seconds("by " + atOnce, "each", medianOf(together));
    table.seconds("the first one, with its connection, by " + atOnce, "each", opening);
}

// ---- Inserts -------------------------------------------------------------------------------------------------------

/// Inserts into the history, counted by the session that they belong to.
struct Inserts {
    int session;
    int rows;  ///< in all
    int batch; ///< rows of a turn: 1 for no transaction, more for one around them
};

Turn libraryTurn(const Inserts &inserts)
{
    makeHandle();
    SQL::History operation = sampleOperation();
    operation.setSessionId(static_cast<quint64>(inserts.session));
    return [operation, batch = inserts.batch]() mutable {
        SQL::DatabaseConnection connection(SQL::DatabasePool::defaultPool());
        std::optional<SQL::DatabaseTransaction> transaction;
        if (batch > 1)
            transaction.emplace(connection);
        // What fails is missing afterwards.
        for (int i = 0; i < batch; ++i)
            operation.insert(connection);
        if (transaction)
            transaction->commit();
    };
}

template <class Mutex>
Turn locked(Mutex &mutex, Turn turn)
{
    return [turn = std::move(turn), &mutex] {
        const std::lock_guard lock(mutex);
        turn();
    };
}

/// SQLite's own interface, with a connection of its own.
class PlainInsert {
public:
    PlainInsert(const std::string &path, const Inserts &inserts)
        : m_sqlite(path)
    {
        m_operation.sessionId = inserts.session;
    }
    void operator()()
    {
        m_insert.run([] {});
    }

private:
    Sqlite m_sqlite;
    Operation m_operation = plainOperation();
    Nothing m_nothing{};
    Sqlite::Statement<Operation, Nothing> m_insert{m_sqlite, Operation::Insert, m_operation, m_nothing};
};

/// Lets writers share a file in different ways, a row of the table for each.
class Sharing {
public:
    Sharing(const std::string &title, const QString &file)
        : m_table(title)
        , m_file(file)
        , m_path(file.toStdString())
    {}

    void threads(const std::string &row, int threads, int rows, int batch = 1)
    {
        const Inserts inserts = next(rows, batch);
        add(row, inserts, onThreads(threads, rows / batch / threads, [&] { return libraryTurn(inserts); }));
    }

    /// With `Mutex` around each turn.
    template <class Mutex>
    void threadsInTurn(const std::string &row, int threads, int rows, int batch = 1)
    {
        const Inserts inserts = next(rows, batch);
        Mutex mutex;
        add(row, inserts,
            onThreads(threads, rows / batch / threads, [&] { return locked(mutex, libraryTurn(inserts)); }));
    }

    void plainThreads(const std::string &row, int threads, int rows)
    {
        const Inserts inserts = next(rows, 1);
        add(row, inserts, onThreads(threads, rows / threads, [&]() -> Turn {
                return [insert = std::make_shared<PlainInsert>(m_path, inserts)] { (*insert)(); };
            }));
    }

    void processes(const std::string &row, int processes, int rows, int batch = 1, const QString &lockFile = {})
    {
        const Inserts inserts = next(rows, batch);
        add(row, inserts,
            onProcesses(processes, {QStringLiteral("--child"), m_file, QString::number(inserts.session),
                                    QString::number(rows / processes), QString::number(batch), lockFile}));
    }

private:
    Inserts next(int rows, int batch) { return {++s_session, rows, batch}; }

    void add(const std::string &row, const Inserts &inserts, const std::vector<Working> &workings)
    {
        std::vector<double> turns;
        int retries = 0;
        for (const Working &working : workings) {
            turns.insert(turns.end(), working.turns.begin(), working.turns.end());
            retries += working.retries;
        }
        m_table.text(row, "rows/s", formatted("%.0f", inserts.rows / elapsed(workings)));
        m_table.text(row, "rows lost", std::to_string(inserts.rows - stored(inserts.session)));
        m_table.text(row, "retries", std::to_string(retries));
        m_table.seconds(row, "wait: median", medianOf(turns));
        m_table.seconds(row, "99 %", quantileOf(turns, 0.99));
        m_table.seconds(row, "longest", quantileOf(turns, 1));
    }

    int stored(int session)
    {
        Sqlite sqlite(m_path);
        Id id;
        Id count;
        id.id = session;
        Sqlite::Statement<Id, Id>(sqlite, "select count(*) from history where session_id = :id", id, count).run([] {});
        return static_cast<int>(count.id);
    }

    static inline int s_session = 0;

    Table m_table;
    QString m_file;
    std::string m_path;
};

int child(const QStringList &arguments)
{
    const Inserts inserts{arguments.at(3).toInt(), arguments.at(4).toInt(), arguments.at(5).toInt()};
    if (!SQL::Database::initSQLite(arguments.at(2)))
        return 1;
    const Turn turn = libraryTurn(inserts);
    if (const QString &lockFile = arguments.at(6); lockFile.isEmpty()) {
        reportTurns(inserts.rows / inserts.batch, turn);
    } else {
        FileLock lock(lockFile);
        reportTurns(inserts.rows / inserts.batch, locked(lock, turn));
    }
    delete SQL::DatabasePool::defaultPool();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    countRetries();
    if (hasArgument(argc, argv, "--child"))
        return child(QCoreApplication::arguments());

    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("catalogue.db"));
    if (!SQL::Database::initSQLite(file))
        return 1;
    const bool tiny = hasArgument(argc, argv, "--tiny");
    const int many = tiny ? 4 : 32;
    measureHandles(many, tiny ? 100 : 20000, tiny ? 1 : 15);
    {
        const int rows = tiny ? 40 : 4000;
        Sharing sharing("Inserts without a transaction into one SQLite file (wall time)", file);
        for (const int writers : {1, 2, 8})
            sharing.threads(counted(writers, "thread"), writers, rows);
        sharing.plainThreads("8 threads, C API", 8, rows);
        for (const int writers : {1, 2, 8})
            sharing.processes(counted(writers, "process"), writers, rows);
    }
    {
        const int rows = many * (tiny ? 10 : 200);
        const int batch = tiny ? 10 : 100;
        const std::string batches = "in transactions of " + std::to_string(batch);
        Sharing sharing(
            std::to_string(many) + " writers, " + std::to_string(rows) + " rows, one SQLite file (wall time)", file);
        sharing.threads("threads, each row by itself", many, rows);
        sharing.threadsInTurn<std::mutex>("threads, each row by itself, under a std::mutex", many, rows);
        sharing.threadsInTurn<FairMutex>("threads, each row by itself, under a fair mutex", many, rows);
        sharing.threads("threads, " + batches, many, rows, batch);
        sharing.threadsInTurn<FairMutex>("threads, " + batches + ", under a fair mutex", many, rows, batch);
        sharing.processes("processes, each row by itself", many, rows);
        sharing.processes("processes, " + batches, many, rows, batch);
        sharing.processes("processes, " + batches + ", under a file lock", many, rows, batch,
                          folder.filePath(QStringLiteral("lock")));
    }
    delete SQL::DatabasePool::defaultPool();
    return 0;
}
