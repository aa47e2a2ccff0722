#pragma once

#include <QDateTime>
#include <QVariant>

/// Date-times in the drivers' own form.
namespace Tolm::SQL::Moment {

/// Reads a stored date-time and labels it UTC; invalid where it is none. What SQLite's driver writes,
/// "yyyy-MM-ddThh:mm:ss.zzzZ", is read by hand: QDateTime's parser costs as much as the rest of a row.
QDateTime fromStored(const QVariant &stored);

} // namespace Tolm::SQL::Moment
