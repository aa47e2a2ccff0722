#include <platform/Tolm/Plan.h>

const QMap<Tolm::Info::Plan::SubType, QString> &Tolm::Info::Plan::subTypeNames() noexcept
{
    static const QMap<SubType, QString> names{
        {SubType::Backup, QStringLiteral("Backup")},
        {SubType::Restore, QStringLiteral("Restore")},
        {SubType::Sync, QStringLiteral("Sync")},
        {SubType::Purge, QStringLiteral("Purge")},
    };
    return names;
}
