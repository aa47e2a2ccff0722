#pragma once

#include <repository/database/StatementCache_p.h>

namespace Tolm::SQL {

/// What the library remembers of one open connection beside the connection itself.
struct ConnectionState {
    StatementCache statements;
    bool inTransaction = false;     ///< a DatabaseTransaction is open on it
    bool transactionUndone = false; ///< the database has undone that transaction, another holds back what follows

    /// To be called before the connection is closed or opened again: what was prepared on it is dead, and so is its
    /// transaction.
    void forget()
    {
        statements.clear();
        inTransaction = false;
        transactionUndone = false;
    }
};

} // namespace Tolm::SQL
