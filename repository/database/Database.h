#pragma once

#include <platform/TolmExport.h>

#include <QString>

namespace Tolm::SQL {

/// Brings the main catalogue up, once per process, before anything else of the library is used. All of it belongs to
/// the thread that starts the program, before other threads use the library; only shrink() may be called later, from
/// any thread.
///
/// Where the catalogue is stands in the settings file, under the key "DB_location":
/// - empty or absent: the SQLite file "tolmvault.db" in the configuration root folder;
/// - a text that begins with "PGSQL": a PostgreSQL database, such as
///   "PGSQL;host:db1;port:5432;user:backup;password:…;database:catalogue";
/// - anything else: the path of the SQLite file, in a folder that exists.
///
/// The items of the PostgreSQL form are separated by ";". An item is known by how it begins (host, port, user,
/// password, database), its value stands after its last ":", trimmed, so that no value can hold one of these two
/// characters; the last item of a key counts. The port is 5432 where none is given, the rest is empty.
///
/// PostgreSQL limits that the schema brings: integer columns end at 2^31-1, and the role needs the right to create in
/// the schema where its tables go.
class TOLM_EXPORT Database {
public:
    Database() = delete;

    /// Brings the catalogue up: opens it, sets a SQLite file to WAL journal and NORMAL locking, makes the tables of a
    /// database that has none (a new file gets mode 0666), and initialises DatabasePool::defaultPool() with it. Several
    /// processes may do so at the same moment. Waits up to 30 s for a SQLite file that is busy.
    ///
    /// \param recover whether a damaged SQLite file (no database, or a malformed one) is to be replaced by a new, empty
    /// one. It is copied to the folder "corrupteddb" in the configuration root first, together with its "-wal"; nothing
    /// is removed before that copy is on the disk, nor while another process has the file open (that is waited for,
    /// too). Of three or more earlier copies the oldest then goes. A database that is busy, locked, read-only or out of
    /// reach is not damaged, and PostgreSQL databases never are. \return
    /// - true when the catalogue is up, be it by an earlier call (then nothing is done);
    /// - false, with error records, when it is not. The pool is as before, dbLastError() tells it from now on, and
    /// init()
    ///   may be called again.
    static bool init(bool recover);

    /// The location as above, read from the settings anew. It may hold a password.
    static QString connectionString();

    /// The location when it is configured, else the folder "corrupteddb" in the configuration root. The copies that
    /// init() makes go to that folder in either case.
    static QString corruptedPath();

    /// Brings the SQLite file `path` up, as init() does without recovery. A file that does not exist is made.
    /// \return false, with error records, when that failed or the default pool is initialised already.
    static bool initSQLite(const QString &path);

    /// Brings the PostgreSQL database of `connectionString`, of the form above, up.
    /// \return false, with error records, when that failed or the default pool is initialised already.
    static bool initPostgreSQL(const QString &connectionString);

    /// Gives space that is no longer used back to the disk; brings the catalogue up when it is not. It takes the time
    /// to write the database anew. \return false when it is not up, or, with an error record, when it was not done: a
    /// transaction is open on the thread, another connection is writing, the disk is full.
    static bool shrink();

    /// Whether the first attempt of an init() has failed since the process started or resetDbLastError(), be it that
    /// recovery has mended it.
    static bool dbLastError();
    static void resetDbLastError();

private:
    static bool _dbLastError;
};

} // namespace Tolm::SQL
