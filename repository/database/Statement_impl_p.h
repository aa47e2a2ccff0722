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
        int position = record.count() - 1;
        while (position >= 0 && record.fieldName(position) != name)
            --position;
        positions.append(position);
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
