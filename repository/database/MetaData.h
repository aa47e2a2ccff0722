#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QString>

namespace Tolm::SQL {

/// The birth certificate of a catalogue (table metadata): which product version made it, with which schema, and when.
/// The library writes its one row when it creates the database and never reads or changes it; it is there for whoever
/// upgrades the catalogue later. Any thread may use it, on that thread's connection.
class TOLM_EXPORT MetaData {
public:
    /// The version of the main catalogue's schema, "0.11".
    static const QString Version;

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Writes the row: the product's version, Version, and the current time as a catalogue date.
    /// \return true when it is written; false when the connection is not open or the statement failed.
    bool init(DatabaseConnection &connection) const;
};

} // namespace Tolm::SQL
