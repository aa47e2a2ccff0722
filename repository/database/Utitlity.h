#pragma once

#include <platform/TolmExport.h>

#include <QDateTime>

namespace Tolm::SQL::Utitlity {

/// `dateTime` with its milliseconds cut to 0 and labelled UTC: the clock fields stay as they are, nothing is converted.
/// An invalid date-time stays invalid. Any thread may call it.
TOLM_EXPORT QDateTime modifiedDateTime(const QDateTime &dateTime);

} // namespace Tolm::SQL::Utitlity
