#include <repository/database/Records_p.h>
#include <repository/generation/Folders.h>
#include <repository/generation/GenerationForms_p.h>
#include <repository/generation/RestorePointRange_p.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

namespace {

constexpr char NoJson[] = "Error parce folder metadata:";

} // namespace

struct Folders::Columns {
    static constexpr auto Table = columns(                                                      //
        column<Stored::RequiredText>("display_name", &Folders::m_displayName),                  //
        column<Stored::Number>("parent_id", &Folders::m_parentId),                              //
        column<Stored::Number>("restore_point_id", &Folders::m_restorePointId),                 //
        column<Stored::FlagIsOne>("deleted", &Folders::m_deleted),                              //
        column<Stored::Json<NoJson>>("metadata", &Folders::m_metadata, &Folders::takeMetadata), //
        column<Stored::RequiredText>("local_path", &Folders::m_localPath),                      //
        column<Stored::Number>("id", &Folders::m_id));
};

QString Folders::createTable(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE TABLE %1folders (id INTEGER PRIMARY KEY ASC, display_name TEXT, parent_id INTEGER "
                       "DEFAULT 0, restore_point_id INTEGER, deleted INTEGER, metadata TEXT, local_path TEXT, UNIQUE "
                       "(display_name, parent_id, restore_point_id), FOREIGN KEY(restore_point_id) REFERENCES "
                       "restore_points(id) ON UPDATE RESTRICT ON DELETE CASCADE)"));
    return text.of(schemaName);
}

QStringList Folders::createIndex(const QString &schemaName)
{
    static const SchemaText parent(
        QStringLiteral("CREATE INDEX IF NOT EXISTS %1archive_folders_parent_id ON folders (parent_id);"));
    static const SchemaText restorePoint(
        QStringLiteral("CREATE INDEX IF NOT EXISTS %1archive_folders_archive_id ON folders (restore_point_id);"));
    static const SchemaText path(QStringLiteral("CREATE INDEX IF NOT EXISTS %1folders_path ON folders(local_path);"));
    return {parent.of(schemaName), restorePoint.of(schemaName), path.of(schemaName)};
}

QStringList Folders::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int Folders::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("insert into %1folders (display_name, parent_id, restore_point_id, deleted, metadata, "
                       "local_path)  values (:display_name, :parent_id, :restore_point_id, :deleted, :metadata, "
                       ":local_path);"));
    Statement statement(connection, text.of(schemaName));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

ResultPointer<Folders> Folders::select(unsigned long long parentId, const QString &displayName,
                                       unsigned long long restorePointId, const QString &schemaName,
                                       DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from %1folders  where "
        "display_name = :display_name and parent_id = :parent_id and restore_point_id = :restore_point_id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":display_name", displayName).bind(":parent_id", parentId).bind(":restore_point_id", restorePointId);
    return selectFirst<Folders>(statement, Columns::Table);
}

ResultPointer<Folders> Folders::select(const QString &localPath, unsigned long long restorePointId,
                                       const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from "
                       "%1folders  where local_path = :local_path  and restore_point_id = :restore_point_id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":local_path", localPath).bind(":restore_point_id", restorePointId);
    return selectFirst<Folders>(statement, Columns::Table);
}

ResultPointer<Folders> Folders::select(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                       const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText all(
        QStringLiteral("select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from "
                       "%1folders where local_path = :local_path order by restore_point_id desc limit 1"));
    // With the plus SQLite looks the path up, and not every folder of the restore points.
    static const SchemaText some(
        QStringLiteral("select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from "
                       "%1folders where +restore_point_id in (%2) and local_path = :local_path order by "
                       "restore_point_id desc limit 1"));
    Statement statement(connection, restorePointIds.isEmpty() ? all.of(schemaName)
                                                              : some.of(schemaName, {idList(restorePointIds)}));
    statement.bind(":local_path", localPath);
    return selectFirst<Folders>(statement, Columns::Table);
}

ResultPointer<Folders> Folders::select(const QString &localPath, const RestorePointRange &restorePoints,
                                       DatabaseConnection &connection)
{
    static const QString text = QStringLiteral(
        "select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from folders where "
        "+restore_point_id between :first and :last and local_path = :local_path order by restore_point_id desc limit "
        "1");
    Statement statement(connection, text);
    statement.bind(":first", restorePoints.first).bind(":last", restorePoints.last).bind(":local_path", localPath);
    return selectFirst<Folders>(statement, Columns::Table);
}

ResultValue<QStringList> Folders::selectPathsInFolder(const QString &localPath, const RestorePointRange &restorePoints,
                                                      DatabaseConnection &connection)
{
    static const QString text = QStringLiteral(
        "WITH pd(id) as (select id from folders where local_path = :local_path) select d.local_path from folders as d, "
        "pd where d.parent_id = pd.id and +d.restore_point_id between :first and :last group by d.local_path");
    Statement statement(connection, text);
    statement.bind(":local_path", localPath).bind(":first", restorePoints.first).bind(":last", restorePoints.last);
    QStringList paths;
    if (statement.exec() == ResultCode::Ok) {
        while (statement.next())
            paths.append(Stored::Text::load<QString>(statement.value(0)));
    }
    statement.finish();
    return {statement.code() == ResultCode::Ok ? paths : QStringList(), statement.code()};
}

ResultList<Folders> Folders::selectInFolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                            bool excludeDeleted, long long limit, long long offset,
                                            const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText all(
        QStringLiteral("WITH pd(id) as (select id from %1folders where local_path = :local_path) select MAX(d.id) as "
                       "id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from %1folders as "
                       "d, pd where d.parent_id = pd.id %2 group by d.local_path %3 %4"));
    static const SchemaText some(
        QStringLiteral("WITH pd(id) as (select id from %1folders where local_path = :local_path) select MAX(d.id) as "
                       "id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from %1folders as "
                       "d, pd where d.parent_id = pd.id and +d.restore_point_id in (%2)  %3 group by d.local_path %4 "
                       "%5"));
    const QString filter = deletedFilter(excludeDeleted);
    Statement statement(connection, restorePointIds.isEmpty()
                                        ? all.of(schemaName, {filter, limitPiece(limit), offsetPiece(offset)})
                                        : some.of(schemaName, {idList(restorePointIds), filter, limitPiece(limit),
                                                               offsetPiece(offset)}));
    statement.bind(":local_path", localPath);
    return selectAll<Folders>(statement, Columns::Table);
}

ResultList<Folders> Folders::selectInFolder(const unsigned long long &parentId,
                                            const QList<unsigned long long> &restorePointIds, bool excludeDeleted,
                                            long long limit, long long offset, const QString &schemaName,
                                            DatabaseConnection &connection)
{
    static const SchemaText all(
        QStringLiteral("select d.id as id, display_name, parent_id, restore_point_id, deleted, metadata, local_path "
                       "from %1folders as d where d.parent_id = :id %2 group by d.local_path %3 %4"));
    static const SchemaText some(
        QStringLiteral("select d.id as id, display_name, parent_id, restore_point_id, deleted, metadata, local_path "
                       "from %1folders as d where d.parent_id = :id and +d.restore_point_id in (%2) %3 group by "
                       "d.local_path %4 %5"));
    const QString filter = deletedFilter(excludeDeleted);
    Statement statement(connection, restorePointIds.isEmpty()
                                        ? all.of(schemaName, {filter, limitPiece(limit), offsetPiece(offset)})
                                        : some.of(schemaName, {idList(restorePointIds), filter, limitPiece(limit),
                                                               offsetPiece(offset)}));
    statement.bind(":id", parentId);
    return selectAll<Folders>(statement, Columns::Table);
}

ResultValue<int> Folders::countSubfolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                         bool excludeDeleted, const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText all(
        QStringLiteral("WITH pd(id) as (select id from %1folders where local_path = :local_path)  select count(*) "
                       "from (select MAX(d.id) as id, d.deleted AS deleted from %1folders as d, pd where d.parent_id = "
                       "pd.id group by d.local_path) as rdp %2"));
    static const SchemaText some(
        QStringLiteral("WITH pd(id) as (select id from %1folders where local_path = :local_path)  select count(*) "
                       "from (select MAX(d.id) as id, d.deleted AS deleted from %1folders as d, pd where d.parent_id = "
                       "pd.id and +d.restore_point_id in (%2) group by d.local_path) as rdp %3"));
    const QString filter = excludeDeleted ? QStringLiteral("where rdp.deleted = 0") : QString();
    Statement statement(connection, restorePointIds.isEmpty() ? all.of(schemaName, {filter})
                                                              : some.of(schemaName, {idList(restorePointIds), filter}));
    statement.bind(":local_path", localPath);
    return selectNumber<int>(statement);
}

ResultValue<int> Folders::countSubfolder(const unsigned long long &parentId,
                                         const QList<unsigned long long> &restorePointIds, bool excludeDeleted,
                                         const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText all(
        QStringLiteral("select count(*) from (select count(*) as cc from %1folders as d where d.parent_id = :id %2 "
                       "group by d.local_path )"));
    static const SchemaText some(
        QStringLiteral("select count(*) from (select count(*) as cc from %1folders as d where d.parent_id = :id and "
                       "+d.restore_point_id in (%2) %3 group by d.local_path)"));
    const QString filter = deletedFilter(excludeDeleted);
    Statement statement(connection, restorePointIds.isEmpty() ? all.of(schemaName, {filter})
                                                              : some.of(schemaName, {idList(restorePointIds), filter}));
    statement.bind(":id", parentId);
    return selectNumber<int>(statement);
}

ResultValue<bool> Folders::isFolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                    bool excludeDeleted, const QString &schemaName, DatabaseConnection &connection)
{
    const auto folder = select(localPath, restorePointIds, schemaName, connection);
    return {folder.pointer && !(excludeDeleted && folder.pointer->m_deleted), folder.error};
}

ResultValue<bool> Folders::checkPathIsDeleted(const QString &localPath,
                                              const QList<unsigned long long> &restorePointIds,
                                              const QString &schemaName, DatabaseConnection &connection)
{
    // UNION, which takes a row only once, ends where the parents form a loop.
    static const SchemaText all(
        QStringLiteral("WITH RECURSIVE dd (id, parent_id, restore_point_id, deleted, local_path) AS ( SELECT "
                       "MAX(d.id), d.parent_id, d.restore_point_id, d.deleted, d.local_path FROM %1folders d WHERE "
                       "d.local_path = :local_path group by d.local_path UNION SELECT d.id, d.parent_id, "
                       "d.restore_point_id, d.deleted, d.local_path FROM %1folders d JOIN dd c ON  c.parent_id = d.id) "
                       "SELECT SUM (deleted) as deleted  FROM dd"));
    static const SchemaText some(
        QStringLiteral("WITH RECURSIVE dd (id, parent_id, restore_point_id, deleted, local_path) AS ( SELECT "
                       "MAX(d.id), d.parent_id, d.restore_point_id, d.deleted, d.local_path FROM %1folders d WHERE "
                       "d.local_path = :local_path and +restore_point_id in (%2) group by d.local_path UNION SELECT "
                       "d.id, d.parent_id, d.restore_point_id, d.deleted, d.local_path FROM %1folders d JOIN dd c ON  "
                       "c.parent_id = d.id) SELECT SUM (deleted) as deleted FROM dd"));
    Statement statement(connection, restorePointIds.isEmpty() ? all.of(schemaName)
                                                              : some.of(schemaName, {idList(restorePointIds)}));
    statement.bind(":local_path", localPath);
    const auto deleted = selectNumber<int>(statement);
    return {deleted.value > 0, deleted.error};
}

bool Folders::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
