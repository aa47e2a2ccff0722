#include <repository/database/CatalogDate_p.h>

#include <QStringView>

namespace Tolm::SQL::CatalogDate {

namespace {

constexpr int Digits = 14;

QDateTime fromNumber(qint64 number)
{
    const auto takeLast = [&number](int base) {
        const int part = static_cast<int>(number % base);
        number /= base;
        return part;
    };
    const int second = takeLast(100);
    const int minute = takeLast(100);
    const int hour = takeLast(100);
    const int day = takeLast(100);
    const int month = takeLast(100);
    if (number < 1000 || number > 9999)
        return {};

    // With an invalid time QDateTime would silently take midnight.
    const QDate date(static_cast<int>(number), month, day);
    const QTime time(hour, minute, second);
    return date.isValid() && time.isValid() ? QDateTime(date, time, Qt::UTC) : QDateTime();
}

QDateTime fromText(QStringView text)
{
    if (text.size() != Digits)
        return {};
    qint64 number = 0;
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code < u'0' || code > u'9')
            return {};
        number = number * 10 + (code - u'0');
    }
    return fromNumber(number);
}

} // namespace

QString noneText()
{
    return QStringLiteral("99999999999999");
}

std::optional<qint64> toNumber(const QDateTime &date)
{
    if (!date.isValid())
        return 0;
    int year = 0;
    int month = 0;
    int day = 0;
    date.date().getDate(&year, &month, &day);
    if (year < 1000 || year > 9999)
        return std::nullopt;
    const QTime time = date.time();
    return ((((qint64(year) * 100 + month) * 100 + day) * 100 + time.hour()) * 100 + time.minute()) * 100 +
           time.second();
}

std::optional<QString> toText(const QDateTime &date)
{
    if (!date.isValid())
        return QStringLiteral("");
    const std::optional<qint64> number = toNumber(date);
    if (!number)
        return std::nullopt;
    return QString::number(*number);
}

QDateTime fromStored(const QVariant &stored)
{
    switch (static_cast<QMetaType::Type>(stored.type())) {
    case QMetaType::LongLong:
    case QMetaType::Int:
        return fromNumber(stored.toLongLong());
    default:
        return fromText(stored.toString());
    }
}

QString upperBound(const QDateTime &end)
{
    return end.toString(QStringLiteral("yyyyMMddhhmmss"));
}

QString lowerBound(const QDateTime &begin)
{
    return begin.isValid() ? upperBound(begin) : QStringLiteral("19000101000000");
}

} // namespace Tolm::SQL::CatalogDate
