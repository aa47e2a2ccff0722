#pragma once

#include <repository/database/ConnectionState_p.h>
#include <repository/database/DatabasePool.h>

#include <QDateTime>

namespace Tolm::SQL {

/// The pool's record of one thread's connection.
struct DatabasePool::PoolObject {
    QDateTime lastAccess; ///< UTC, the last hand-out
    QSqlDatabase database;
    int useCount = 0; ///< handles that hold it now
    std::thread::id threadId;
    ConnectionState state; ///< used by the owning thread only, or under the pool's lock while nobody holds the entry
};

} // namespace Tolm::SQL
