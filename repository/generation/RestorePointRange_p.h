#pragma once

#include <QList>

#include <algorithm>
#include <optional>

namespace Tolm::SQL::Generation {

/// Restore points whose ids follow each other without a gap, as they do until one of them is removed. A statement takes
/// them as two bound values. A list of ids in its text is a table that SQLite fills anew each time it runs: with 200 of
/// them that is most of what listing a folder costs.
struct RestorePointRange {
    quint64 first;
    quint64 last;

    /// The range that holds the same restore points as `ids`, each of which is there once; nothing when there is none.
    static std::optional<RestorePointRange> of(const QList<unsigned long long> &ids)
    {
        if (ids.isEmpty())
            return std::nullopt;
        const auto [first, last] = std::minmax_element(ids.begin(), ids.end());
        if (*last - *first != static_cast<quint64>(ids.size() - 1))
            return std::nullopt;
        return RestorePointRange{*first, *last};
    }
};

} // namespace Tolm::SQL::Generation
