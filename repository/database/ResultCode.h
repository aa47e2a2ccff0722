#pragma once

/// The outcome of a statement, a plain int: 0 is success, everything else says what kind of failure it was.
///
/// The codes are the same on both databases, but PostgreSQL gives only `Ok`, `Error`, `BadData` and `RetriesExhausted`:
/// its errors are all tried again, and none of them maps to the finer SQLite kinds.
namespace Tolm::SQL::ResultCode {

inline constexpr int Ok = 0;      ///< the statement ran
inline constexpr int Unknown = 1; ///< the driver's code is no number, or a number that SQLite does not publish
inline constexpr int Error = 2; ///< general error; also: refused before it ran (connection not open, argument missing)
inline constexpr int AccessDenied = 3; ///< SQLITE_PERM, SQLITE_AUTH
inline constexpr int Busy = 4;         ///< SQLITE_BUSY, SQLITE_LOCKED, SQLITE_PROTOCOL; tried again
inline constexpr int ReadOnly = 5;     ///< SQLITE_READONLY; tried again
inline constexpr int BadData = 6;      ///< SQLITE_MISMATCH and the like; also: a value that no column can hold, refused
inline constexpr int BadDatabase = 7;  ///< SQLITE_CORRUPT, SQLITE_CANTOPEN, SQLITE_SCHEMA
inline constexpr int Constraint = 8;   ///< a unique, not-null, check or foreign key is violated
inline constexpr int StorageError = 9; ///< SQLITE_IOERR, SQLITE_FULL
inline constexpr int RetriesExhausted = 10; ///< the last of four attempts failed on an error that is tried again

} // namespace Tolm::SQL::ResultCode
