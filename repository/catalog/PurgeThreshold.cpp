#include <repository/catalog/PurgeThreshold_p.h>
#include <repository/database/CatalogDate_p.h>
#include <repository/database/Log_p.h>

#include <limits>

namespace Tolm::SQL {

std::optional<qint64> purgeThreshold(qint64 days)
{
    // So far back no year has four digits any more; beyond it, the calendar's own numbers would run over.
    constexpr qint64 MostDays = 9000LL * 366;
    if (days >= 0 && days <= MostDays) {
        const QDateTime date = QDateTime::currentDateTimeUtc().addDays(-days);
        const auto number = CatalogDate::toNumber(date);
        if (date.isValid() && number)
            return number;
    }
    log().warning() << "Purge: there is no date" << days << "days ago, the rule selects nothing";
    return std::nullopt;
}

std::optional<qint64> purgeThreshold(quint64 days)
{
    constexpr quint64 Most = std::numeric_limits<qint64>::max();
    return purgeThreshold(static_cast<qint64>(qMin(days, Most)));
}

} // namespace Tolm::SQL
