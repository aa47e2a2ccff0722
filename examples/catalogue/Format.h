#pragma once

#include <QDateTime>
#include <QString>

namespace Client {

/// "1,234,567".
QString countText(quint64 count);

/// `count` with its noun: "1 file", "2,000 files".
QString countOf(quint64 count, const QString &noun);

/// "123 bytes", "1.2 MiB".
QString sizeText(quint64 bytes);

/// "2024-01-31 23:59:59"; "-" for an invalid one.
QString dateText(const QDateTime &date);

/// "0.84 s", "1:02:03".
QString durationText(quint64 milliseconds);

} // namespace Client
