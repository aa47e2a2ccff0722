#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

namespace Tolm::SQL {

/// A transaction around a caller's operations: begun by the constructor, ended by commit(), rolled back by the
/// destructor otherwise. It belongs to the thread of its connection, and spans every handle of that thread on the same
/// pool.
///
/// No operation of the library opens a transaction of its own; on SQLite, where each commit waits for the disk, a batch
/// of a thousand inserts in one transaction is about ten times as fast as a thousand single ones.
///
///     DatabaseTransaction transaction(connection);
///     for (History &operation : operations)
///         operation.insert(connection);
///     if (transaction.commit() != ResultCode::Ok) …
class TOLM_EXPORT DatabaseTransaction {
public:
    /// Begins the transaction; on SQLite an IMMEDIATE one, which waits for its turn to write here and not in the
    /// middle. \param connection must outlive the transaction.
    explicit DatabaseTransaction(DatabaseConnection &connection);

    /// Rolls back what was not committed.
    ~DatabaseTransaction();

    Q_DISABLE_COPY_MOVE(DatabaseTransaction)

    /// Whether it was begun and not yet ended.
    bool isActive() const { return m_active; }

    /// The code of beginning it: 0; 2 when the connection is not open or the thread has a transaction open already;
    /// else the ResultCode.
    int error() const { return m_error; }

    /// Makes everything since the beginning permanent.
    /// \return 0 when it is; otherwise a ResultCode, and nothing of it will be: the transaction was never begun, has
    /// ended, was lost with its connection, one of its statements has failed (PostgreSQL), or it was undone when the
    /// disk was full or failed (SQLite). SQLite still busy leaves it active, so that the call may be repeated.
    int commit();

    /// Undoes everything since the beginning. \return 0, or 2 when the transaction is not active.
    int rollback();

private:
    int run(const QString &text);
    bool isStillOpen() const;
    void end();

    DatabaseConnection &m_connection;
    quint64 m_epoch = 0;
    int m_error;
    bool m_active = false;
};

} // namespace Tolm::SQL
