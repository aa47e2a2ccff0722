#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

struct CloudFile::Columns {
    static constexpr auto Table = columns(                                               //
        column<Stored::Number>("destination_id", &CloudFile::m_destinationId),           //
        column<Stored::RequiredText>("local_path", &CloudFile::m_localPath),             //
        column<Stored::Number>("parent_id", &CloudFile::m_parentId),                     //
        column<Stored::Utf8>("cloud_path", &CloudFile::m_cloudPath),                     //
        column<Stored::RequiredText>("file_name", &CloudFile::m_name),                   //
        column<Stored::RequiredText>("display_name", &CloudFile::m_displayName),         //
        column<Stored::Number>("size", &CloudFile::m_size),                              //
        column<Stored::Number>("original_size", &CloudFile::m_originalSize),             //
        column<Stored::DateNumber>("date_modified_utc", &CloudFile::m_dateModified),     //
        column<Stored::Number>("is_compressed", &CloudFile::m_isCompressed),             //
        column<Stored::Number>("is_encrypted", &CloudFile::m_isEncrypted),               //
        column<Stored::Number>("is_simple", &CloudFile::m_isSimple),                     //
        column<Stored::Number>("is_broken", &CloudFile::m_isBroken),                     //
        column<Stored::Number>("drive_id", &CloudFile::m_driveId),                       //
        column<Stored::DateNumberOrNone>("date_deleted_utc", &CloudFile::m_dateDeleted), //
        column<Stored::Number>("flags", &CloudFile::m_flags),                            //
        column<Stored::Number>("id", &CloudFile::m_id));
};

const QString CloudFile::DateFormat = QStringLiteral("yyyyMMddhhmmss");

namespace {

// What every select begins with, except the name search.
const QString &columnList()
{
    static const QString list = QStringLiteral(
        "select id, destination_id, local_path, parent_id, cloud_path, file_name, display_name, size, original_size, "
        "date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, drive_id, date_deleted_utc, flags from "
        "cloud_files");
    return list;
}

// The part of a local path that its folder's path is: everything before the last "/".
QString folderOf(const QString &localPath)
{
    return localPath.left(localPath.size() - localPath.section(QLatin1Char('/'), -1).size() - 1);
}

QString patternContaining(QString name)
{
    for (int i = name.size() - 1; i >= 0; --i) {
        if (QLatin1String("%[_^").contains(name.at(i)))
            name.insert(i, QLatin1Char('/'));
    }
    return QLatin1Char('%') + name + QLatin1Char('%');
}

} // namespace

void CloudFile::setName(const QString &displayName)
{
    m_displayName = displayName;
    m_name = displayName.toLower();
}

QString CloudFile::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral(
            "CREATE TABLE cloud_files (id integer PRIMARY KEY ASC,destination_id INTEGER,parent_id INTEGER DEFAULT "
            "0,cloud_path TEXT,local_path TEXT,file_name TEXT,display_name TEXT,size NUMERIC,original_size "
            "NUMERIC,date_modified_utc NUMERIC,is_compressed INTEGER,is_encrypted INTEGER,is_simple INTEGER,is_broken "
            "INTEGER,drive_id INTEGER DEFAULT 0,date_deleted_utc NUMERIC DEFAULT 99999999999999,flags INTEGER DEFAULT "
            "0,UNIQUE (destination_id,local_path));"),
        QStringLiteral(
            "CREATE TABLE cloud_files (id SERIAL PRIMARY KEY,destination_id INTEGER,parent_id INTEGER DEFAULT "
            "0,cloud_path TEXT,local_path TEXT,file_name TEXT,display_name TEXT,size NUMERIC,original_size "
            "NUMERIC,date_modified_utc NUMERIC,is_compressed INTEGER,is_encrypted INTEGER,is_simple INTEGER,is_broken "
            "INTEGER,drive_id INTEGER DEFAULT 0,date_deleted_utc NUMERIC DEFAULT 99999999999999,flags INTEGER DEFAULT "
            "0,UNIQUE (destination_id,local_path));"));
}

bool CloudFile::insert(DatabaseConnection &connection)
{
    if (m_localPath.isEmpty() || m_destinationId == 0 || m_parentId == 0)
        return false;
    Statement statement(
        connection,
        QStringLiteral(
            "insert into cloud_files (destination_id, local_path, parent_id, cloud_path, file_name, display_name, "
            "size, original_size, date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, drive_id, "
            "date_deleted_utc, flags) values (:destination_id, :local_path, :parent_id, :cloud_path, :file_name, "
            ":display_name, :size, :original_size, :date_modified_utc, :is_compressed, :is_encrypted, :is_simple, "
            ":is_broken, :drive_id, :date_deleted_utc, :flags)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

bool CloudFile::update(DatabaseConnection &connection) const
{
    Statement statement(
        connection,
        QStringLiteral(
            "update cloud_files set destination_id = :destination_id, local_path = :local_path, parent_id = "
            ":parent_id, cloud_path = :cloud_path, file_name = :file_name, display_name = :display_name , size = "
            ":size, original_size = :original_size, date_modified_utc = :date_modified_utc, is_compressed = "
            ":is_compressed, is_encrypted = :is_encrypted, is_simple = :is_simple, is_broken = :is_broken , drive_id "
            "= :drive_id, date_deleted_utc = :date_deleted_utc, flags = :flags where id = :id"));
    return writeRecord(statement, *this, Columns::Table) == ResultCode::Ok;
}

bool CloudFile::selectOrInsert(DatabaseConnection &connection)
{
    if (m_destinationId == 0 || m_localPath.isEmpty())
        return false;
    if (select(connection))
        return true;
    if (m_parentId == 0) {
        const auto folder = CloudFolder::selectOrInsert(m_destinationId, folderOf(m_localPath), connection);
        if (!folder)
            return false;
        m_parentId = folder->id();
    }
    return insert(connection);
}

bool CloudFile::select(quint64 destinationId, const QString &localPath, const DatabaseConnection &connection)
{
    if (destinationId == 0 || localPath.isEmpty())
        return false;
    static const QString text =
        columnList() + QStringLiteral(" where destination_id = :destination_id and local_path = :local_path limit 1");
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId).bind(":local_path", localPath);
    return selectInto(*this, statement, Columns::Table);
}

bool CloudFile::select(quint64 id, const DatabaseConnection &connection)
{
    if (id == 0)
        return false;
    static const QString text = columnList() + QStringLiteral(" where id = :id limit 1");
    Statement statement(connection, text);
    statement.bind(":id", id);
    return selectInto(*this, statement, Columns::Table);
}

bool CloudFile::select(DatabaseConnection &connection)
{
    return select(m_destinationId, m_localPath, connection);
}

QSharedPointer<CloudFile> CloudFile::select_(quint64 destinationId, const QString &localPath,
                                             DatabaseConnection &connection)
{
    const auto file = QSharedPointer<CloudFile>::create();
    return file->select(destinationId, localPath, connection) ? file : nullptr;
}

QList<QSharedPointer<CloudFile>> CloudFile::select_(quint64 destinationId, quint64 limit, quint64 offset,
                                                    const DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    static const QString text =
        columnList() + QStringLiteral(" where destination_id = :destination_id limit :limit offset :offset");
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId).bindPage(limit, offset);
    return selectAll<CloudFile>(statement, Columns::Table).list;
}

QList<QSharedPointer<CloudFile>> CloudFile::selectFolder(quint64 parentId, quint64 limit, quint64 offset,
                                                         const DatabaseConnection &connection)
{
    if (parentId == 0)
        return {};
    if (limit == 0) {
        static const DialectText text{
            columnList() + QStringLiteral(" where parent_id = :parent_id order by display_name"),
            columnList() + QStringLiteral(" where parent_id = :parent_id order by display_name collate \"C\"")};
        Statement statement(connection, text.of(connection.dbType()));
        statement.bind(":parent_id", parentId);
        return selectAll<CloudFile>(statement, Columns::Table).list;
    }
    static const DialectText text{
        columnList() +
            QStringLiteral(" where parent_id = :parent_id order by display_name limit :limit offset :offset"),
        columnList() +
            QStringLiteral(
                " where parent_id = :parent_id order by display_name collate \"C\" limit :limit offset :offset")};
    Statement statement(connection, text.of(connection.dbType()));
    statement.bind(":parent_id", parentId).bindPage(limit, offset);
    return selectAll<CloudFile>(statement, Columns::Table).list;
}

QList<QSharedPointer<CloudFile>> CloudFile::selectFolderUploaded(quint64 parentId, quint64 limit, quint64 offset,
                                                                 const DatabaseConnection &connection)
{
    if (parentId == 0 || limit == 0)
        return {};
    static const DialectText text{
        columnList() +
            QStringLiteral(
                " where parent_id = :parent_id and is_broken = 0 order by display_name limit :limit offset :offset"),
        columnList() +
            QStringLiteral(
                " where parent_id = :parent_id and is_broken = 0 order by display_name collate \"C\" limit :limit offset :offset")};
    Statement statement(connection, text.of(connection.dbType()));
    statement.bind(":parent_id", parentId).bindPage(limit, offset);
    return selectAll<CloudFile>(statement, Columns::Table).list;
}

QList<QSharedPointer<CloudFile>> CloudFile::selectByName(quint64 limit, quint64 offset, quint64 destinationId,
                                                         const QString &name, const DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    Statement statement(
        connection,
        dialect(connection.dbType(),
                QStringLiteral("select * from cloud_files where destination_id = :destination_id and file_name like "
                               ":name_filter escape :escape limit :limit offset :offset"),
                QStringLiteral("select * from cloud_files where destination_id = :destination_id and file_name COLLATE "
                               "\"C\" ILIKE :name_filter escape :escape limit :limit offset :offset")));
    statement.bind(":destination_id", destinationId)
        .bind(":name_filter", patternContaining(name))
        .bind(":escape", QStringLiteral("/"))
        .bindPage(limit, offset);
    return selectAll<CloudFile>(statement, Columns::Table).list;
}

bool CloudFile::delete_(bool withVersions, DatabaseConnection &connection)
{
    if (m_id == 0)
        return false;
    if (withVersions) {
        const auto versions = CloudFileVersion::select_(m_id, connection);
        for (const QSharedPointer<CloudFileVersion> &version : versions)
            version->delete_(false, connection);
    }
    {
        Statement statement(connection, QStringLiteral("delete from cloud_files where id = :id"));
        if (statement.bind(":id", m_id).exec() != ResultCode::Ok)
            return false;
    }

    if (!CloudFolder::isEmpty(m_parentId, connection)) {
        log().debug() << "SQL::CloudFile: path is not empty, file path:" << m_localPath;
        return true;
    }
    log().debug() << "SQL::CloudFile: it's last file in folder, remove path for file:" << m_localPath;
    const auto folder = CloudFolder::selectByFolderId(m_parentId, connection);
    return !folder || folder->delete_(true, connection);
}

bool CloudFile::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
