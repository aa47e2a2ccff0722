#include <repository/database/Utitlity.h>

namespace Tolm::SQL::Utitlity {

QDateTime modifiedDateTime(const QDateTime &dateTime)
{
    if (!dateTime.isValid())
        return {};
    const QTime time = dateTime.time();
    return {dateTime.date(), QTime(time.hour(), time.minute(), time.second()), Qt::UTC};
}

} // namespace Tolm::SQL::Utitlity
