#pragma once

#include <repository/database/Columns_p.h>
#include <repository/database/ExecQuery.h>
#include <repository/database/FailureReport_p.h>
#include <repository/database/Result.h>

#include <QSqlError>

/// First and all: the loops that turn rows into records, and a record into an inserted row. `table` is the class's
/// column table.
namespace Tolm::SQL {

/// Runs `statement` and reads its first row into `record`, which stays as it is when there is none.
/// \return whether there was a row; statement.code() tells "none" from "failed".
template <class Record, class Table>
bool selectInto(Record &record, Statement &statement, const Table &table)
{
    const bool found = statement.exec() == ResultCode::Ok && statement.next();
    if (found)
        readRow(record, statement.query(), statement.positionsOfColumns(namesOf(table)), table);
    statement.finish();
    return found;
}

/// Runs `statement` and makes a record of its first row.
template <class Record, class Table>
ResultPointer<Record> selectFirst(Statement &statement, const Table &table)
{
    const auto record = QSharedPointer<Record>::create();
    if (selectInto(*record, statement, table))
        return {record, ResultCode::Ok};
    return {{}, statement.code()};
}

/// Runs `statement` and makes a record of each of its rows. A scan that fails on its way gives no rows, only its code.
template <class Record, class Table>
ResultList<Record> selectAll(Statement &statement, const Table &table)
{
    ResultList<Record> result;
    if (statement.exec() == ResultCode::Ok) {
        while (statement.next()) {
            const auto record = QSharedPointer<Record>::create();
            readRow(*record, statement.query(), statement.positionsOfColumns(namesOf(table)), table);
            result.list.append(record);
        }
    }
    statement.finish();
    result.error = statement.code();
    if (result.error != ResultCode::Ok)
        result.list.clear();
    return result;
}

/// Runs `statement` and gives column 0 of its first row as a number: 0 when there is no row or it does not convert.
template <class T>
ResultValue<T> selectNumber(Statement &statement)
{
    ResultValue<T> result;
    if (statement.exec() == ResultCode::Ok && statement.next())
        result.value = Stored::Number::load<T>(statement.value(0));
    statement.finish();
    result.error = statement.code();
    return result;
}

/// Runs `statement` and says whether it has a row.
inline ResultValue<bool> selectExists(Statement &statement)
{
    const bool found = statement.exec() == ResultCode::Ok && statement.next();
    statement.finish();
    return {found, statement.code()};
}

/// Binds `record`, inserts it and stores the new row's key in `id`, which stays as it is on a failure.
/// \return the code; Error when the row was inserted but the database gave no key.
template <class Record, class Table>
int insertRecord(Statement &statement, const Record &record, const Table &table, quint64 &id)
{
    bindRecord(statement, record, table);
    if (const int code = statement.exec(); code != ResultCode::Ok)
        return code;
    const std::optional<quint64> inserted = statement.insertedId();
    if (!inserted)
        return ResultCode::Error;
    id = *inserted;
    return ResultCode::Ok;
}

/// Binds `record` and runs an update or insert that makes no key. \return the code.
template <class Record, class Table>
int writeRecord(Statement &statement, const Record &record, const Table &table)
{
    bindRecord(statement, record, table);
    return statement.exec();
}

/// Moves a caller's query to its next row and reads that into `record`. \return false when there is none.
template <class Record, class Table>
bool initRecord(Record &record, QSqlQuery &query, const Table &table)
{
    if (!query.next())
        return false;
    readRow(record, query, positionsInResult(query, namesOf(table)), table);
    return true;
}

/// Runs a caller's query and appends a record of each of its rows to `list`, which stays as it is when the statement
/// or the scan fails.
template <class Record, class Table>
void appendAll(QList<QSharedPointer<Record>> &list, QSqlQuery &query, const Table &table)
{
    if (ExecQuery(query).exec() != ResultCode::Ok)
        return;
    const ColumnIndexes positions = positionsInResult(query, namesOf(table));
    QList<QSharedPointer<Record>> rows;
    while (query.next()) {
        const auto record = QSharedPointer<Record>::create();
        readRow(*record, query, positions, table);
        rows.append(record);
    }
    if (query.lastError().isValid())
        reportFailure(query, 0);
    else
        list += rows;
}

} // namespace Tolm::SQL
