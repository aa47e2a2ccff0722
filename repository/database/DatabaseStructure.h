#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

namespace Tolm::SQL {

/// Makes the tables, the row of MetaData and the indexes of the main catalogue in a database that has none of them, and
/// sets the mode of a SQLite file to 0666. Runs on the thread of `connection`; Database::init() calls it where it is
/// needed.
///
/// It opens no transaction: a failure leaves what was made before it, unless the caller has begun one.
/// \return true when everything was made; false, with an error record, at the first failure.
TOLM_EXPORT bool createDatabaseStructure(DatabaseConnection &connection);

} // namespace Tolm::SQL
