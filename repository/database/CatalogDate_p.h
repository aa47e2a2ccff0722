#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <optional>

/// The catalogue's date form, "yyyyMMddhhmmss" in UTC, as text or as the number of that text.
///
/// Written and read by hand, digit by digit: QDateTime's own conversion by a format looks at the time zone files, costs
/// more than everything else of a row together, and refuses clock times that the zone of the process skips.
namespace Tolm::SQL::CatalogDate {

/// The stored value of "none": not deleted, no purge delay.
inline constexpr qint64 None = 99999999999999;
QString noneText();

/// The number of `date`'s clock fields, without any conversion between zones. 0 for an invalid date; nothing when the
/// year is not one of 1000 to 9999, whose form would not have 14 digits.
std::optional<qint64> toNumber(const QDateTime &date);

/// The same as text; the empty text for an invalid date.
std::optional<QString> toText(const QDateTime &date);

/// The date of a stored number or text, in UTC; an invalid date for "none", 0, the empty text, NULL and everything else
/// that is not exactly 14 digits of a date and a clock time.
QDateTime fromStored(const QVariant &stored);

/// The text that a report compares stored dates with, of any year: a caller's "from the beginning" may well be one that
/// no stored date can have.
QString upperBound(const QDateTime &end);

/// The same for its beginning; 1900 for an invalid one, so that rows without a date stay out.
QString lowerBound(const QDateTime &begin);

} // namespace Tolm::SQL::CatalogDate
