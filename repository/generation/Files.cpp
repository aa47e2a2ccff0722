#include <repository/database/Records_p.h>
#include <repository/generation/Files.h>
#include <repository/generation/GenerationForms_p.h>
#include <repository/generation/RestorePointRange_p.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

namespace {

constexpr char NoJson[] = "Error parce files metadata:";

} // namespace

struct Files::Columns {
    static constexpr auto Table = columns(                                                  //
        column<Stored::RequiredText>("display_name", &Files::m_displayName),                //
        column<Stored::RequiredText>("local_path", &Files::m_localPath),                    //
        column<Stored::Number>("original_size", &Files::m_originalSize),                    //
        column<Stored::WholeSeconds>("date_modified_utc", &Files::m_dateModificationUtc),   //
        column<Stored::Number>("attributes", &Files::m_attributes),                         //
        column<Stored::FlagIsOne>("is_compressed", &Files::m_isCompressed),                 //
        column<Stored::Number>("parent_id", &Files::m_parentId),                            //
        column<Stored::Number>("total_size", &Files::m_totalSize),                          //
        column<Stored::Bytes>("hash", &Files::m_hash),                                      //
        column<Stored::Bytes>("map", &Files::m_map),                                        //
        column<Stored::FlagIsOne>("deleted", &Files::m_deleted),                            //
        column<Stored::Json<NoJson>>("metadata", &Files::m_metadata, &Files::takeMetadata), //
        column<Stored::Number>("extents_size", &Files::m_extentsSize),                      //
        column<Stored::Number>("id", &Files::m_id));
};

namespace {

// Every column under its own name; a select puts its "select f.id as id" or "select MAX(f.id) as id" in front.
const QString &columnList()
{
    static const QString list = QStringLiteral(
        ", f.display_name as display_name, f.local_path as local_path, f.original_size as original_size, "
        "f.date_modified_utc as date_modified_utc, f.attributes as attributes, f.is_compressed as is_compressed, "
        "f.parent_id as parent_id, f.total_size as total_size, f.hash as hash, f.map as map, f.deleted as deleted, "
        "f.metadata as metadata, f.extents_size as extents_size");
    return list;
}

QString selectOne(const char *tail)
{
    return QStringLiteral("select f.id as id") + columnList() + QLatin1String(tail);
}

QString selectLast(const char *tail)
{
    return QStringLiteral("select MAX(f.id) as id") + columnList() + QLatin1String(tail);
}

} // namespace

QString Files::createTable(const QString &schemaName)
{
    static const SchemaText text(QStringLiteral(
        "CREATE TABLE %1files (id INTEGER PRIMARY KEY ASC, display_name TEXT, local_path TEXT, original_size INTEGER "
        "NOT NULL, date_modified_utc DATETIME NOT NULL, attributes INTEGER, is_compressed INTEGER, parent_id INTEGER "
        "NOT NULL, total_size INTEGER not NULL, hash BLOB, map BLOB, deleted INTEGER, metadata TEXT, extents_size "
        "INTEGER, UNIQUE (display_name, parent_id), FOREIGN KEY(parent_id) REFERENCES folders(id) ON UPDATE RESTRICT "
        "ON DELETE CASCADE);"));
    return text.of(schemaName);
}

QStringList Files::createIndex(const QString &schemaName)
{
    static const SchemaText parent(
        QStringLiteral("CREATE INDEX IF NOT EXISTS %1files_parent_id ON files (parent_id);"));
    static const SchemaText path(QStringLiteral("CREATE INDEX %1file_path ON files (local_path, display_name);"));
    return {parent.of(schemaName), path.of(schemaName)};
}

QStringList Files::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int Files::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "insert into %1files (display_name, local_path, original_size, date_modified_utc, attributes, is_compressed, "
        "parent_id, total_size, hash, map, deleted, metadata, extents_size) values (:display_name, :local_path, "
        ":original_size, :date_modified_utc, :attributes, :is_compressed, :parent_id, :total_size, :hash, :map, "
        ":deleted, :metadata, :extents_size)"));
    Statement statement(connection, text.of(schemaName));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

ResultPointer<Files> Files::select(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                   const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText all(
        selectOne(", d.restore_point_id as restore_point_id from %1files as f , %1folders as d where d.id = "
                  "f.parent_id and f.local_path = :local_path order by restore_point_id desc limit 1 "));
    // With the plus SQLite looks the path up, and not every folder of the restore points.
    static const SchemaText some(
        selectOne(", d.restore_point_id as restore_point_id from %1files as f , %1folders as d where d.id = "
                  "f.parent_id and +d.restore_point_id in (%2) and f.local_path = :local_path order by "
                  "restore_point_id desc limit 1"));
    Statement statement(connection, restorePointIds.isEmpty() ? all.of(schemaName)
                                                              : some.of(schemaName, {idList(restorePointIds)}));
    statement.bind(":local_path", localPath);
    return selectFirst<Files>(statement, Columns::Table);
}

ResultPointer<Files> Files::selectPrev(QSharedPointer<Files> file, bool excludeDeleted, const QString &schemaName,
                                       DatabaseConnection &connection)
{
    if (!file)
        return {{}, ResultCode::Error};
    static const SchemaText any(
        selectOne(" from %1files as f where f.local_path = :local_path and f.id < :id order by id desc limit 1"));
    static const SchemaText notDeleted(selectOne(
        " from %1files as f where f.local_path = :local_path and f.id < :id and deleted = 0 order by id desc limit 1"));
    Statement statement(connection, (excludeDeleted ? notDeleted : any).of(schemaName));
    statement.bind(":local_path", file->m_localPath).bind(":id", file->m_id);
    return selectFirst<Files>(statement, Columns::Table);
}

ResultList<Files> Files::selectInFolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                        long long limit, long long offset, const QString &schemaName,
                                        DatabaseConnection &connection)
{
    static const SchemaText all(selectLast(" from %1files as f , %1folders as d where f.parent_id = d.id and "
                                           "d.local_path = :local_path group by f.local_path %2 %3"));
    static const SchemaText some(
        selectLast(" from %1files as f , %1folders as d where f.parent_id = d.id and +d.restore_point_id in (%2) and "
                   "d.local_path = :local_path group by f.local_path %3 %4"));
    Statement statement(connection,
                        restorePointIds.isEmpty()
                            ? all.of(schemaName, {limitPiece(limit), offsetPiece(offset)})
                            : some.of(schemaName, {idList(restorePointIds), limitPiece(limit), offsetPiece(offset)}));
    statement.bind(":local_path", localPath);
    return selectAll<Files>(statement, Columns::Table);
}

ResultList<Files> Files::selectInFolder(const QString &localPath, const RestorePointRange &restorePoints,
                                        DatabaseConnection &connection)
{
    static const QString text =
        selectLast(" from files as f , folders as d where f.parent_id = d.id and +d.restore_point_id between :first "
                   "and :last and d.local_path = :local_path group by f.local_path");
    Statement statement(connection, text);
    statement.bind(":first", restorePoints.first).bind(":last", restorePoints.last).bind(":local_path", localPath);
    return selectAll<Files>(statement, Columns::Table);
}

ResultList<Files> Files::selectInFolder(unsigned long long parentId, const QList<unsigned long long> &restorePointIds,
                                        long long limit, long long offset, const QString &schemaName,
                                        DatabaseConnection &connection)
{
    static const SchemaText all(selectOne(
        " from %1files as f , %1folders as d where f.parent_id = d.id and d.id = :id group by f.local_path %2 %3"));
    static const SchemaText some(
        selectOne(" from %1files as f , %1folders as d where f.parent_id = d.id and d.id = :id and "
                  "+d.restore_point_id in (%2) group by f.local_path %3 %4"));
    Statement statement(connection,
                        restorePointIds.isEmpty()
                            ? all.of(schemaName, {limitPiece(limit), offsetPiece(offset)})
                            : some.of(schemaName, {idList(restorePointIds), limitPiece(limit), offsetPiece(offset)}));
    statement.bind(":id", parentId);
    return selectAll<Files>(statement, Columns::Table);
}

bool Files::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
