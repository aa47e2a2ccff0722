#pragma once

#include <repository/catalog/Destination.h>

#include <examples/catalogue/CommandLine.h>

#include <QList>
#include <QSharedPointer>

namespace Client {

/// Lists the versions that the policy of the command line lets go, each with its reason, and the bytes that come free;
/// without `dryRun` also removes their rows, in batches of the client's own transaction. \return whether anything goes.
/// Throws Failure when the catalogue refuses something; what was committed until then is gone.
bool purge(const CommandLine &line, const QList<QSharedPointer<Tolm::SQL::Destination>> &destinations,
           Tolm::SQL::DatabaseConnection &connection);

} // namespace Client
