#include <repository/database/Records_p.h>
#include <repository/generation/RestorePointParts.h>
#include <repository/generation/SchemaPrefix_p.h>

namespace Tolm::SQL::Generation {

struct RestorePointParts::Columns {
    static constexpr auto Table = columns(                                       //
        column<Stored::Number>("id", &RestorePointParts::m_id),                  //
        column<Stored::Text>("path", &RestorePointParts::m_path),                //
        column<Stored::Text>("cloud_id", &RestorePointParts::m_cloudId),         //
        column<Stored::Text>("upload_id", &RestorePointParts::m_uploadId),       //
        column<Stored::Number>("size", &RestorePointParts::m_size),              //
        column<Stored::Number>("broken_type", &RestorePointParts::m_brokenType), //
        column<Stored::DateTime>("last_modified_date", &RestorePointParts::m_lastModified));

    static PartsByChainNumber collect(Statement &statement, Factory factory)
    {
        PartsByChainNumber parts;
        if (statement.exec() != ResultCode::Ok)
            return parts;
        while (statement.next()) {
            const QSharedPointer<RestorePointParts> part(factory());
            readRow(*part, statement.query(), statement.positionsOfColumns(namesOf(Table)), Table);
            if (!part->initRow())
                break;
            parts.insert(part->m_chainNumber, part);
        }
        return statement.code() == ResultCode::Ok ? parts : PartsByChainNumber();
    }
};

RestorePointParts::PartsByChainNumber RestorePointParts::select(unsigned long long restorePointId,
                                                                const QString &schemaName,
                                                                DatabaseConnection &connection, Factory factory)
{
    if (restorePointId == 0)
        return {};
    static const SchemaText text(QStringLiteral(
        "SELECT p.id as id, sf.path AS path, sf.cloud_id AS cloud_id, sf.upload_id AS upload_id, sf.size, "
        "sf.broken_type AS broken_type, sf.last_modified_date AS last_modified_date FROM %1parts p inner join "
        "%1storage_files sf on p.id = sf.id WHERE p.restore_point_id = :restore_point_id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":restore_point_id", restorePointId);
    return Columns::collect(statement, factory);
}

RestorePointParts::PartsByChainNumber RestorePointParts::selectNotBroken(unsigned long long restorePointId,
                                                                         const QString &schemaName,
                                                                         DatabaseConnection &connection,
                                                                         Factory factory)
{
    if (restorePointId == 0)
        return {};
    static const SchemaText text(QStringLiteral(
        "SELECT p.id as id, sf.path AS path, sf.cloud_id AS cloud_id, sf.upload_id AS upload_id, sf.size, "
        "sf.broken_type AS broken_type, sf.last_modified_date AS last_modified_date FROM %1parts p inner join "
        "%1storage_files sf on p.id = sf.id WHERE p.restore_point_id = :restore_point_id and sf.broken_type = "
        ":broken_type"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":restore_point_id", restorePointId)
        .bindAs<Stored::Number>(":broken_type", Varn::Archive::BrokenType::NotBroken);
    return Columns::collect(statement, factory);
}

bool RestorePointParts::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table) && initRow();
}

} // namespace Tolm::SQL::Generation
