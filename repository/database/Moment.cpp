#include <repository/database/Moment_p.h>

#include <QString>

namespace Tolm::SQL::Moment {

namespace {

// The digits from `start` on as a number; negative when one of them is none.
int numberAt(const QString &text, int start, int digits)
{
    int number = 0;
    for (int i = start; i < start + digits; ++i) {
        const int digit = text.at(i).unicode() - u'0';
        if (digit < 0 || digit > 9)
            return -1;
        number = number * 10 + digit;
    }
    return number;
}

bool hasDriversForm(const QString &text)
{
    return text.size() == 24 && text.at(4) == u'-' && text.at(7) == u'-' && text.at(10) == u'T' &&
           text.at(13) == u':' && text.at(16) == u':' && text.at(19) == u'.' && text.at(23) == u'Z';
}

// Invalid for any other form, and for clock times that only Qt's parser knows, such as 24:00.
QDateTime fromDriversText(const QString &text)
{
    if (!hasDriversForm(text))
        return {};
    const int year = numberAt(text, 0, 4);
    const QDate date = year < 0 ? QDate() : QDate(year, numberAt(text, 5, 2), numberAt(text, 8, 2));
    const QTime time(numberAt(text, 11, 2), numberAt(text, 14, 2), numberAt(text, 17, 2), numberAt(text, 20, 3));
    return date.isValid() && time.isValid() ? QDateTime(date, time, Qt::UTC) : QDateTime();
}

} // namespace

QDateTime fromStored(const QVariant &stored)
{
    if (stored.type() == QVariant::String) {
        const QDateTime date = fromDriversText(stored.toString());
        if (date.isValid())
            return date;
    }
    // PostgreSQL's driver takes the clock fields for local time: invalid, but whole, where the process's zone skips
    // them.
    QDateTime date = stored.toDateTime();
    date.setTimeSpec(Qt::UTC);
    return date;
}

} // namespace Tolm::SQL::Moment
