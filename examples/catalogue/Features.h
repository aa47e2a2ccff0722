#pragma once

#include <repository/database/DatabaseConnection.h>

namespace Client {

/// Counts one use of this client's recording among the product's features. A use that cannot be counted is no reason to
/// fail: the library's log tells of it.
void countRecording(Tolm::SQL::DatabaseConnection &connection);

} // namespace Client
