#pragma once

namespace Tolm::SQL {

/// The backend of a connection; every statement text that differs between the two is chosen by it.
enum class DatabaseType {
    SQLite = 1,     ///< one file, opened by Qt's "QSQLITE" driver
    PostgreSQL = 2, ///< a server, reached by Qt's "QPSQL" driver
};

} // namespace Tolm::SQL
