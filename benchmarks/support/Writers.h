#pragma once

#include <QString>
#include <QStringList>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

/// Threads or processes that work on one database at the same time.
namespace Tolm::Benchmarks {

/// One turn of a worker: an insert, a transaction of several, …
using Turn = std::function<void()>;

/// What one worker saw. The moments are wallSeconds(), which is the same clock in every process.
struct Working {
    double begin = 0;
    double end = 0;
    std::vector<double> turns{}; ///< the seconds that each turn took
    int retries = 0;             ///< how often the library tried a statement again
};

/// Lets so many threads take so many turns each, all at the same time. `makeTurn` is called on each thread before that.
std::vector<Working> onThreads(int threads, int turns, const std::function<Turn()> &makeTurn);

/// Starts this program so many times with `arguments`, and lets the children, which call reportTurns(), begin together.
/// One that takes longer than two minutes is killed.
std::vector<Working> onProcesses(int processes, const QStringList &arguments);

/// In a child: waits for the others, takes its turns and reports to the parent.
void reportTurns(int turns, const Turn &turn);

/// Counts the library's records of statements that are tried again, instead of showing them.
void countRetries();

/// Lets its callers in in the order in which they came. (A std::mutex lets in who asks first once it is free, and that
/// is mostly the one who has just left.)
class FairMutex {
public:
    void lock()
    {
        std::unique_lock lock(m_mutex);
        const unsigned long ticket = m_tickets++;
        m_left.wait(lock, [&] { return ticket == m_served; });
    }
    void unlock()
    {
        {
            const std::lock_guard lock(m_mutex);
            ++m_served;
        }
        m_left.notify_all();
    }

private:
    std::mutex m_mutex{};
    std::condition_variable m_left{};
    unsigned long m_tickets = 0;
    unsigned long m_served = 0;
};

/// The same file for several processes: they wait for each other in the system and do not ask again and again.
class FileLock {
public:
    explicit FileLock(const QString &path);
    ~FileLock();
    Q_DISABLE_COPY_MOVE(FileLock)

    void lock();
    void unlock();

private:
    int m_file;
};

} // namespace Tolm::Benchmarks
