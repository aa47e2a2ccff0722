#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>
#include <repository/database/SQLiteResultCodes.h>

#include <array>

namespace Tolm::SQL {

namespace {

constexpr int NotPublished = -1;

// Indexed by the primary result code of sqlite3.h.
constexpr std::array<int, 27> CodeBySQLiteCode{
    ResultCode::Ok,           // 0 OK
    ResultCode::Error,        // 1 ERROR
    ResultCode::Error,        // 2 INTERNAL
    ResultCode::AccessDenied, // 3 PERM
    ResultCode::Error,        // 4 ABORT
    ResultCode::Busy,         // 5 BUSY
    ResultCode::Busy,         // 6 LOCKED
    ResultCode::Error,        // 7 NOMEM
    ResultCode::ReadOnly,     // 8 READONLY
    ResultCode::Error,        // 9 INTERRUPT
    ResultCode::StorageError, // 10 IOERR
    ResultCode::BadDatabase,  // 11 CORRUPT
    ResultCode::BadData,      // 12 NOTFOUND
    ResultCode::StorageError, // 13 FULL
    ResultCode::BadDatabase,  // 14 CANTOPEN
    ResultCode::Busy,         // 15 PROTOCOL
    NotPublished,             // 16 EMPTY
    ResultCode::BadDatabase,  // 17 SCHEMA
    ResultCode::BadData,      // 18 TOOBIG
    ResultCode::Constraint,   // 19 CONSTRAINT
    ResultCode::BadData,      // 20 MISMATCH
    ResultCode::Error,        // 21 MISUSE
    ResultCode::Error,        // 22 NOLFS
    ResultCode::AccessDenied, // 23 AUTH
    NotPublished,             // 24 FORMAT
    ResultCode::BadData,      // 25 RANGE
    ResultCode::Error,        // 26 NOTADB
};

} // namespace

int SQLiteResultCodes::to(const QSqlError &error)
{
    if (error.type() == QSqlError::NoError)
        return ResultCode::Ok;

    bool isNumber = false;
    const int code = error.nativeErrorCode().toInt(&isNumber);
    if (!isNumber) {
        log().warning() << "Unknown sqlite return nativeErrorCode:" << error.nativeErrorCode();
        return ResultCode::Unknown;
    }
    if (code >= 0 && code < static_cast<int>(CodeBySQLiteCode.size())) {
        const int result = CodeBySQLiteCode[static_cast<std::size_t>(code)];
        if (result != NotPublished)
            return result;
    }
    log().warning() << "Unknown sqlite return code:" << code;
    return ResultCode::Unknown;
}

} // namespace Tolm::SQL
