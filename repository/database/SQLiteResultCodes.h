#pragma once

#include <platform/TolmExport.h>

#include <QSqlError>

namespace Tolm::SQL {

/// Sorts the errors of the SQLite driver into the library's codes. Any thread may use it.
class TOLM_EXPORT SQLiteResultCodes {
public:
    /// The ResultCode of `error`: 0 for an error without type; the code of its primary SQLite result code
    /// (the numbers published in sqlite3.h, 0 to 26) otherwise. A native code that is no number, or none of the
    /// published ones, gives ResultCode::Unknown and a warning record.
    static int to(const QSqlError &error);
};

} // namespace Tolm::SQL
