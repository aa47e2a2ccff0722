#pragma once

#include <QString>

namespace Tolm::SQL {

/// How bringing a database up has ended.
enum class BringUp {
    Up,          ///< the default pool works on it
    Damaged,     ///< the file is no SQLite database, or a malformed one; only then may it be replaced
    Unavailable, ///< everything else: busy, locked, read-only, no permission, disk full, no server, …
};

/// Opens the SQLite file `path`, sets its modes, gives an empty one the catalogue's schema, and initialises the default
/// pool with it, in that order, so that the pool stays uninitialised on every failure. Failures are logged. It belongs
/// to the thread that starts the program, as Database::init() does.
BringUp bringUpSQLite(const QString &path);

/// The same with the PostgreSQL database of a connection string; it is never found damaged.
BringUp bringUpPostgreSql(const QString &connectionString);

} // namespace Tolm::SQL
