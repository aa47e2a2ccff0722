#pragma once

#include <repository/database/Statement_p.h>

#include <tuple>
#include <utility>

namespace Tolm::SQL {

/// One column of a record class: its name, the member that holds it, and in which form it is stored. A column may name
/// a setter that is to be called instead of assigning the member when a row is read.
template <class Form, class Record, class Value, class Setter = std::nullptr_t>
struct Column {
    QLatin1String name;
    Value Record::*member;
    Setter setter;

    static constexpr Form form() { return {}; }
};

template <class Form, std::size_t N, class Record, class Value, class Setter = std::nullptr_t>
constexpr auto column(const char (&name)[N], Value Record::*member, Setter setter = nullptr)
{
    return Column<Form, Record, Value, Setter>{QLatin1String(name, N - 1), member, setter};
}

/// A record class's columns, a line a column:
///
///     struct PlanName::Columns {
///         static constexpr auto Table = columns(
///             column<Stored::PlainUuid>("plan_id", &PlanName::m_id),
///             column<Stored::RequiredText>("name", &PlanName::m_name));
///     };
///
/// A column is bound where a statement has the placeholder of its name, and read where a result has it.
template <class... Column>
constexpr std::tuple<Column...> columns(Column... column)
{
    return {column...};
}

template <class... Column>
constexpr auto namesOf(const std::tuple<Column...> &table)
{
    return std::apply(
        [](const auto &...column) { return std::array<QLatin1String, sizeof...(column)>{column.name...}; }, table);
}

namespace ColumnsDetail {

template <class Record, class Form, class Value, class Setter>
void bind(Statement &statement, int placeholder, const Record &record,
          const Column<Form, Record, Value, Setter> &column)
{
    if (placeholder >= 0)
        statement.bindStored(placeholder, Form::store(record.*column.member, statement.type()));
}

template <class Record, class Form, class Value, class Setter>
void read(Record &record, const QSqlQuery &query, int position, const Column<Form, Record, Value, Setter> &column)
{
    if (position < 0)
        return;
    if constexpr (std::is_null_pointer_v<Setter>)
        record.*column.member = Form::template load<Value>(query.value(position));
    else
        (record.*column.setter)(Form::template load<Value>(query.value(position)));
}

} // namespace ColumnsDetail

/// Binds every column of `record` that `statement` has a placeholder for.
template <class Record, class... Column>
void bindRecord(Statement &statement, const Record &record, const std::tuple<Column...> &table)
{
    if (statement.isRefused())
        return;
    const int *placeholder = statement.placeholdersOfColumns(namesOf(table)).constData();
    std::apply([&](const auto &...column) { (ColumnsDetail::bind(statement, *placeholder++, record, column), ...); },
               table);
}

/// Binds every column of `record` to a caller's SQLite query whose text has a placeholder for each of them.
/// \return false when it has a value that no column can hold.
template <class Record, class... Column>
bool bindRecord(QSqlQuery &query, const Record &record, const std::tuple<Column...> &table)
{
    const auto bind = [&](const auto &column, auto form) {
        const QVariant value = decltype(form)::store(record.*column.member, DatabaseType::SQLite);
        query.bindValue(QLatin1Char(':') + column.name, value);
        return value.isValid();
    };
    return std::apply([&](const auto &...column) { return (bind(column, column.form()) && ...); }, table);
}

/// Reads the current row of `query`, whose columns stand at `positions`, into `record`.
template <class Record, class... Column>
void readRow(Record &record, const QSqlQuery &query, const ColumnIndexes &positions, const std::tuple<Column...> &table)
{
    const int *position = positions.constData();
    std::apply([&](const auto &...column) { (ColumnsDetail::read(record, query, *position++, column), ...); }, table);
}

} // namespace Tolm::SQL
