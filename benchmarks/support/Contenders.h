#pragma once

#include <benchmarks/support/Comparison.h>
#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Sqlite.h>

#ifdef TOLM_BENCH_SOCI
#include <benchmarks/support/Soci.h>
#endif
#ifdef TOLM_BENCH_SQLITECPP
#include <benchmarks/support/SqliteCpp.h>
#endif

#include <memory>

namespace Tolm::Benchmarks {

/// Adds a contender whose work is done in a transaction that is rolled back, so that everybody finds the same database
/// in each round. Beginning and rolling back do not count. `work(i)` is one operation.
template <class Connection, class Work>
void addContender(Comparison &comparison, std::shared_ptr<Connection> connection, std::shared_ptr<Work> work,
                  Clock clock = cpuSeconds)
{
    comparison.contender(Connection::Name, [connection, work, clock](int operations) {
        connection->begin();
        const double seconds = measured(
            [&] {
                for (int i = 0; i < operations; ++i)
                    (*work)(i);
            },
            clock);
        connection->rollback();
        return seconds;
    });
}

/// A contender's connection, with the transaction.
template <class Contender>
class Transacted : public Contender {
public:
    using Contender::Contender;
    void begin() { this->run("BEGIN IMMEDIATE"); }
    void commit() { this->run("COMMIT"); }
    void rollback() { this->run("ROLLBACK"); }
};

template <template <class> class Work, class Contender, class... Arguments>
void addSqlContender(Comparison &comparison, const std::string &path, Arguments... arguments)
{
    const auto connection = std::make_shared<Transacted<Contender>>(path);
    addContender(comparison, connection, std::make_shared<Work<Contender>>(*connection, std::move(arguments)...));
}

/// Adds the limit to the row that was made last. `Work` is made with the contender's connection and the arguments.
template <template <class> class Work, class... Arguments>
void addLimit(Comparison &comparison, const std::string &path, Arguments... arguments)
{
    addSqlContender<Work, Sqlite>(comparison, path, std::move(arguments)...);
}

/// Adds those of the peers that this machine has.
template <template <class> class Work>
void addPeers([[maybe_unused]] Comparison &comparison, [[maybe_unused]] const std::string &path)
{
#ifdef TOLM_BENCH_SOCI
    addSqlContender<Work, Soci<false>>(comparison, path);
    addSqlContender<Work, Soci<true>>(comparison, path);
#endif
#ifdef TOLM_BENCH_SQLITECPP
    addSqlContender<Work, SqliteCpp<false>>(comparison, path);
    addSqlContender<Work, SqliteCpp<true>>(comparison, path);
#endif
}

} // namespace Tolm::Benchmarks
