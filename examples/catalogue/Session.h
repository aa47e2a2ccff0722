#pragma once

#include <repository/catalog/Destination.h>
#include <repository/catalog/History.h>
#include <repository/catalog/SessionHistory.h>
#include <repository/database/DatabaseTransaction.h>

#include <QElapsedTimer>

#include <optional>

namespace Client {

/// How a run ended, as this client numbers it; SessionHistory's own "not set" is a run that still goes on or was
/// killed.
namespace RunResult {
inline constexpr int Succeeded = 0;
inline constexpr int Failed = 1;
inline constexpr int Interrupted = 3;
inline constexpr int SomeFailed = 4; ///< all done but for the entries counted as failed

/// "succeeded" and so on; the number itself for another engine's.
QString text(const Tolm::Info::Plan::PlanResult &result);
} // namespace RunResult

/// The message of an operation that succeeded.
extern const QString SuccessMessage;

/// One backup run in the catalogue: its row of the session history, its operations, and the transactions that all of it
/// is written in, a thousand steps each. Every commit takes the row along, so that its counters are true whatever
/// happens to the process. Everything throws Failure when the catalogue refuses it.
class Session {
public:
    /// Begins the run of the plan that records `folder`: stores the plan's name and the session's row.
    Session(Tolm::SQL::DatabaseConnection &connection, const Tolm::SQL::Destination &destination,
            const QString &folder);

    /// The session's counters, to be counted up; they are stored by the next commit.
    Tolm::SQL::SessionHistory &row() { return m_row; }
    const Tolm::SQL::SessionHistory &row() const { return m_row; }

    /// Stores one operation of this run, which says what was done to which file; the rest is filled in here.
    void addOperation(Tolm::SQL::History &operation);

    /// One more file or folder is dealt with: commits and goes on with the next transaction when a thousand are.
    void step();

    /// Whether the user has asked to end; true only right after a commit.
    bool isStopping() const { return m_isStopping; }

    /// Ends the run and commits what is left of it.
    void end();

    /// Ends a run that cannot go on: takes back what is not committed, and stores why.
    void fail(const QString &reason);

private:
    void begin();
    void commit();
    void measure();

    Tolm::SQL::DatabaseConnection &m_connection;
    Tolm::SQL::SessionHistory m_row;
    Tolm::SQL::SessionHistory m_committed;
    std::optional<Tolm::SQL::DatabaseTransaction> m_transaction;
    QElapsedTimer m_elapsed;
    int m_steps = 0; // in this transaction
    bool m_isStopping = false;
};

} // namespace Client
