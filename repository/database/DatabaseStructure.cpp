#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>
#include <repository/catalog/DiskImage.h>
#include <repository/catalog/DiskImageVersions.h>
#include <repository/catalog/History.h>
#include <repository/catalog/PlanName.h>
#include <repository/catalog/SessionHistory.h>
#include <repository/database/DatabaseFile_p.h>
#include <repository/database/DatabaseStructure.h>
#include <repository/database/Log_p.h>
#include <repository/database/MetaData.h>
#include <repository/database/Statistics.h>

#include <QSqlError>
#include <QVariant>

namespace Tolm::SQL {

namespace {

struct Table {
    const char *className;
    QString (*createTable)(DatabaseType);
};

// On PostgreSQL a table can only refer to one that is there already.
constexpr Table Tables[]{
    {"CloudFolder", &CloudFolder::createTable},
    {"CloudFile", &CloudFile::createTable},
    {"CloudFileVersion", &CloudFileVersion::createTable},
    {"MetaData", &MetaData::createTable},
    {"Destination", &Destination::createTable},
    {"History", &History::createTable},
    {"SessionHistory", &SessionHistory::createTable},
    {"PlanName", &PlanName::createTable},
    {"CloudFileVersionBitmap", &CloudFileVersionBitmap::createTable},
    {"DiskImage", &DiskImage::createTable},
    {"DiskImageVersions", &DiskImageVersions::createTable},
    {"ArchiveBunches", &ArchiveBunches::createTable},
    {"ArchiveGenerations", &ArchiveGenerations::createTable},
    {"Statistics", &Statistics::createTable},
};

constexpr const char *Indexes[]{
    "CREATE INDEX IF NOT EXISTS history_session_local_operation ON history (session_id, local_path, operation);",
    "CREATE INDEX IF NOT EXISTS history_datefinished ON history (date_finished_utc);",
    ("CREATE INDEX IF NOT EXISTS sessionhistory_dest_plan_start "
     "ON session_history (destination_id, plan_id, date_start_utc); "),
    "CREATE INDEX IF NOT EXISTS versions_file ON cloud_file_versions (file_id);",
    "CREATE INDEX IF NOT EXISTS versions_file_modified ON cloud_file_versions (file_id, date_modified_utc);",
    "CREATE INDEX IF NOT EXISTS files_dest_date_deleted_utc ON cloud_files (destination_id, date_deleted_utc); ",
    "CREATE INDEX IF NOT EXISTS folders_parent_id ON cloud_folders (parent_id); ",
    "CREATE INDEX IF NOT EXISTS folders_destination_id ON cloud_folders (destination_id); ",
    "CREATE INDEX IF NOT EXISTS files_filename_parentid ON cloud_files (parent_id, file_name); ",
    "CREATE UNIQUE INDEX idx_plan_name ON plan_name (plan_id);",
};

// The file is asked of the connection, which knows it best; nothing else could name another one.
bool shareFile(QSqlQuery &query)
{
    const bool known = query.exec(QStringLiteral("PRAGMA database_list")) && query.next();
    const QString file = known ? query.value(2).toString() : QString();
    query.finish();
    if (!file.isEmpty() && DatabaseFile::shareWithEveryone(file))
        return true;
    log().error() << "Error on chandge DB file permissions!";
    return false;
}

bool createTables(QSqlQuery &query, DatabaseType type, DatabaseConnection &connection)
{
    for (const Table &table : Tables) {
        if (!query.exec(table.createTable(type))) {
            log().error() << QStringLiteral("Can't create %1!").arg(QLatin1String(table.className))
                          << query.lastError().text() << query.lastError().driverText() << query.lastQuery();
            return false;
        }
        if (table.createTable == &MetaData::createTable && !MetaData().init(connection)) {
            log().error() << "Error on write to metadata";
            return false;
        }
    }
    return true;
}

bool createIndex(QSqlQuery &query, const QString &text)
{
    if (query.exec(text))
        return true;
    log().error() << "Error: can't create index, command" << query.lastError().text() << query.lastError().driverText()
                  << text;
    return false;
}

bool createIndexes(QSqlQuery &query, DatabaseType type)
{
    for (const char *text : Indexes) {
        if (!createIndex(query, QLatin1String(text)))
            return false;
    }
    return createIndex(query, ArchiveGenerations::createIndex(type));
}

} // namespace

bool createDatabaseStructure(DatabaseConnection &connection)
{
    const DatabaseType type = connection.dbType();
    QSqlQuery query = connection.query();
    switch (type) {
    case DatabaseType::SQLite:
        if (!shareFile(query))
            return false;
        break;
    case DatabaseType::PostgreSQL:
        break;
    default:
        log().error() << "Unknown database type";
        return false;
    }
    return createTables(query, type, connection) && createIndexes(query, type);
}

} // namespace Tolm::SQL
