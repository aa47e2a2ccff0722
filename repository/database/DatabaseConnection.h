#pragma once

#include <repository/database/DatabasePool.h>
#include <repository/database/DatabaseType.h>

#include <platform/TolmExport.h>

#include <QSqlQuery>

namespace Tolm::SQL {

struct ConnectionState;

/// The calling thread's connection to a database, for the duration of one piece of work: made on the stack, passed by
/// reference to the operations of the record classes. It must be used and destroyed on the thread that made it; handles
/// made on one thread share one connection, and so one transaction.
///
///     DatabaseConnection connection(DatabasePool::defaultPool());
///     const auto names = PlanName::select(connection);
class TOLM_EXPORT DatabaseConnection {
public:
    /// Takes the calling thread's connection from `pool`. When the pool is gone, not initialised, or the connection
    /// cannot be opened, the handle is not open and every operation on it is refused. \param pool the QPointer itself
    /// must outlive the handle (DatabasePool::defaultPool() does).
    explicit DatabaseConnection(QPointer<DatabasePool> &pool);
    ~DatabaseConnection();

    // A copy would give back what only the original got.
    Q_DISABLE_COPY_MOVE(DatabaseConnection)

    /// Whether there is a connection and it is open.
    bool isOpen() const;

    /// A new query on this connection. That of a handle without a connection fails whatever it is asked; it never
    /// reaches the default connection of the host application.
    QSqlQuery query() const;

    /// Whether the thread has a DatabaseTransaction open on this connection, with this handle or another.
    bool isInTransaction() const;

    /// The backend; SQLite also for a handle without a connection.
    DatabaseType dbType() const;

private:
    friend class Statement;
    friend class DatabaseTransaction;

    ConnectionState *state() const;

    QPointer<DatabasePool> &m_pool;
    DatabasePool::Entry m_entry;
    QSqlDatabase m_database;
};

} // namespace Tolm::SQL
