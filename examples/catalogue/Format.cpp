#include <examples/catalogue/Format.h>

#include <QLocale>

namespace Client {

namespace {

const QLocale &english()
{
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

} // namespace

QString countText(quint64 count)
{
    return english().toString(count);
}

QString countOf(quint64 count, const QString &noun)
{
    return countText(count) + QLatin1Char(' ') + noun + (count == 1 ? QString() : QStringLiteral("s"));
}

QString sizeText(quint64 bytes)
{
    return english().formattedDataSize(static_cast<qint64>(bytes), 1);
}

QString dateText(const QDateTime &date)
{
    return date.isValid() ? date.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) : QStringLiteral("-");
}

QString durationText(quint64 milliseconds)
{
    const quint64 seconds = milliseconds / 1000;
    if (seconds < 60)
        return QString::number(static_cast<double>(milliseconds) / 1000, 'f', 2) + QStringLiteral(" s");
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace Client
