#pragma once

#include <repository/catalog/Destination.h>

#include <QList>
#include <QSharedPointer>

namespace Client {

/// Prints the last sessions, what the last one did, the plans, the features' counters and the destinations, whose
/// statistics it brings up to date. \return whether anything was ever recorded.
bool printReport(const QList<QSharedPointer<Tolm::SQL::Destination>> &destinations,
                 Tolm::SQL::DatabaseConnection &connection);

} // namespace Client
