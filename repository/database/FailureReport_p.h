#pragma once

#include <QtGlobal>

class QSqlQuery;

namespace Tolm::SQL {

/// Writes the warning record of a statement that failed: its last error, its text and its values. Byte arrays appear as
/// their length only, because key material does not belong in a log.
void reportFailure(const QSqlQuery &query, qint64 elapsedMilliseconds);

/// Writes the debug record that lists the configuration folder's entries with their permissions: most databases that
/// stay busy or read-only do so because of a file's owner or mode.
void reportPermissions();

} // namespace Tolm::SQL
