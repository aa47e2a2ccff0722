#pragma once

#include <repository/catalog/Destination.h>

#include <QList>
#include <QSharedPointer>
#include <QString>

namespace Client {

/// The destination that a run records to: of the account that the JSON file describes, or, without one, of the folder
/// /backups of this machine; made when it is not there. Throws Failure when there is no such account or destination.
Tolm::SQL::Destination destinationToRecord(const QString &accountFile, Tolm::SQL::DatabaseConnection &connection);

/// The destinations that a question is about: that of the account, or all of them. Throws Failure likewise.
QList<QSharedPointer<Tolm::SQL::Destination>> destinationsToAsk(const QString &accountFile,
                                                                Tolm::SQL::DatabaseConnection &connection);

/// A line that names a destination.
QString describe(const Tolm::SQL::Destination &destination);

} // namespace Client
