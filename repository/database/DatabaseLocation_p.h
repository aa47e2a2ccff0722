#pragma once

#include <QString>

namespace Tolm::SQL {

/// Where the main catalogue is: one text, read from the settings anew at every call. Any thread may ask.
namespace DatabaseLocation {

/// The value of "DB_location" in the settings; empty when there is none.
QString configured();

/// The configured location, or the file "tolmvault.db" in the configuration root.
QString current();

/// The folder of databases that were set aside, in the configuration root whatever the location is.
QString setAsideFolder();

/// Whether `location` is a PostgreSQL connection string; everything else is the path of a SQLite file.
bool isPostgreSql(const QString &location);

} // namespace DatabaseLocation

/// What a connection string says.
struct PostgreSqlLocation {
    QString host;
    int port = 5432;
    QString user;
    QString password;
    QString database;

    /// Reads items "key:value" that are separated by ";", such as "PGSQL;host:db1;port:5432;user:backup;password:…;
    /// database:catalogue". An item is known by how it begins, its value stands after its last ":", trimmed; the last
    /// item of a key counts, and unknown ones are passed over. A port that is no number gives 0.
    static PostgreSqlLocation parse(const QString &connectionString);
};

} // namespace Tolm::SQL
