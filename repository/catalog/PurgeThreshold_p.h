#pragma once

#include <QtGlobal>

#include <optional>

namespace Tolm::SQL {

/// The 14-digit number of the moment so many days ago, in UTC. Nothing, with a warning record, for negative days and
/// when that date has no 14 digits: a rule without a threshold selects nothing.
std::optional<qint64> purgeThreshold(qint64 days);
std::optional<qint64> purgeThreshold(quint64 days);

} // namespace Tolm::SQL
