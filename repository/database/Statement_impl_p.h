#pragma once

// The templates of Statement_p.h; include that one.

#include <QSqlField>
#include <QSqlRecord>

namespace Tolm::SQL {

template <std::size_t N>
ColumnIndexes positionsInResult(const QSqlQuery &query, const std::array<QLatin1String, N> &names)
{
    const QSqlRecord record = query.record();
    ColumnIndexes positions;
    for (const QLatin1String name : names) {
        // The first of that name in any case, as QSqlQuery::value(name) finds it, but without its special sense of ".".
        int position = 0;
        while (position < record.count() && record.fieldName(position).compare(name, Qt::CaseInsensitive) != 0)
            ++position;
        positions.append(position < record.count() ? position : -1);
    }
    return positions;
}

template <std::size_t N>
const ColumnIndexes &Statement::placeholdersOfColumns(const std::array<QLatin1String, N> &names)
{
    ColumnIndexes &indexes = m_prepared->columnPlaceholders;
    if (indexes.isEmpty()) {
        for (const QLatin1String name : names)
            indexes.append(slotOfColumn(name));
    }
    return indexes;
}

template <std::size_t N>
const ColumnIndexes &Statement::positionsOfColumns(const std::array<QLatin1String, N> &names)
{
    ColumnIndexes &positions = m_prepared->columnPositions;
    if (positions.isEmpty())
        positions = positionsInResult(m_prepared->query, names);
    return positions;
}

} // namespace Tolm::SQL
