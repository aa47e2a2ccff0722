#pragma once

#include <repository/database/ResultCode.h>

#include <QList>
#include <QSharedPointer>

namespace Tolm::SQL {

/// The result of a single-row select.
///
/// - done: `pointer` is the record, `error` is 0;
/// - nothing there: `pointer` is null, `error` is 0;
/// - failed or refused: `pointer` is null, `error` is the ResultCode.
template <class T>
struct ResultPointer {
    QSharedPointer<T> pointer;
    int error = ResultCode::Ok;
};

/// The result of a list select: the records in the order in which the rows came. `list` is empty whenever `error` is
/// not 0.
template <class T>
struct ResultList {
    QList<QSharedPointer<T>> list;
    int error = ResultCode::Ok;
};

/// The result of a counting or yes/no query. `value` is 0 or false whenever `error` is not 0.
template <class T>
struct ResultValue {
    T value{};
    int error = ResultCode::Ok;
};

} // namespace Tolm::SQL
