#include <repository/database/Records_p.h>
#include <repository/generation/SchemaPrefix_p.h>
#include <repository/generation/StorageFiles.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

struct StorageFiles::Columns {
    static constexpr auto Table = columns(                                             //
        column<Stored::RequiredText>("path", &StorageFiles::m_path),                   //
        column<Stored::Text>("cloud_id", &StorageFiles::m_cloudId),                    //
        column<Stored::Text>("upload_id", &StorageFiles::m_uploadId),                  //
        column<Stored::Number>("size", &StorageFiles::m_size),                         //
        column<Stored::Number>("broken_type", &StorageFiles::m_brokenType),            //
        column<Stored::DateTime>("last_modified_date", &StorageFiles::m_lastModified), //
        column<Stored::Number>("id", &StorageFiles::m_id));
};

QString StorageFiles::createTable(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE TABLE %1storage_files (id INTEGER PRIMARY KEY ASC, path TEXT, cloud_id TEXT, upload_id "
                       "TEXT, size NUMERIC, broken_type INTEGER, last_modified_date DATETIME)"));
    return text.of(schemaName);
}

QStringList StorageFiles::createIndex(const QString & /*schemaName*/)
{
    return {};
}

QStringList StorageFiles::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int StorageFiles::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("insert into %1storage_files (path, cloud_id, upload_id, size, broken_type, last_modified_date) "
                       "values (:path, :cloud_id, :upload_id, :size, :broken_type, :last_modified_date);"));
    Statement statement(connection, text.of(schemaName));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

int StorageFiles::update(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "update %1storage_files set path = :path, cloud_id = :cloud_id, upload_id = :upload_id, size = :size, "
        "broken_type = :broken_type, last_modified_date = :last_modified_date where id = :id"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

int StorageFiles::remove(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral("delete from %1storage_files where id = :id"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

ResultList<StorageFiles> StorageFiles::select(const QString &schemaName, long long limit, long long offset,
                                              DatabaseConnection &connection)
{
    if (limit < 1) {
        static const SchemaText text(QStringLiteral(
            "select id, path, cloud_id, upload_id, size, broken_type, last_modified_date from %1storage_files"));
        Statement statement(connection, text.of(schemaName));
        return selectAll<StorageFiles>(statement, Columns::Table);
    }
    static const SchemaText text(
        QStringLiteral("select id, path, cloud_id, upload_id, size, broken_type, last_modified_date from "
                       "%1storage_files limit :limit offset :offset"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":limit", limit).bind(":offset", offset);
    return selectAll<StorageFiles>(statement, Columns::Table);
}

ResultPointer<StorageFiles> StorageFiles::select(const QString &path, const QString &schemaName,
                                                 DatabaseConnection &connection)
{
    if (path.isEmpty())
        return {{}, ResultCode::Error};
    static const SchemaText text(
        QStringLiteral("select id, path, cloud_id, upload_id, size, broken_type, last_modified_date from "
                       "%1storage_files where path = :path"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":path", path);
    return selectFirst<StorageFiles>(statement, Columns::Table);
}

ResultPointer<StorageFiles> StorageFiles::select(unsigned long long id, const QString &schemaName,
                                                 DatabaseConnection &connection)
{
    if (id == 0)
        return {{}, ResultCode::Error};
    static const SchemaText text(
        QStringLiteral("select id, path, cloud_id, upload_id, size, broken_type, last_modified_date from "
                       "%1storage_files where id = :id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":id", id);
    return selectFirst<StorageFiles>(statement, Columns::Table);
}

ResultList<StorageFiles> StorageFiles::selectPathStartWith(const QString &path, const QString &schemaName,
                                                           DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("select id, path, cloud_id, upload_id, size, broken_type, last_modified_date from "
                       "%1storage_files where path LIKE :path"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":path", QString(path + QLatin1Char('%')));
    return selectAll<StorageFiles>(statement, Columns::Table);
}

bool StorageFiles::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
