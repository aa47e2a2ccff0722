#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

struct CloudFileVersion::Columns {
    static constexpr auto Table = columns(                                                              //
        column<Stored::Number>("file_id", &CloudFileVersion::m_fileId),                                 //
        column<Stored::DateText>("date_modified_utc", &CloudFileVersion::m_dateModified),               //
        column<Stored::Utf8>("cloud_path", &CloudFileVersion::m_cloudPath),                             //
        column<Stored::Text>("history_path", &CloudFileVersion::m_path),                                //
        column<Stored::Number>("size", &CloudFileVersion::m_size),                                      //
        column<Stored::Number>("original_size", &CloudFileVersion::m_originalSize),                     //
        column<Stored::DateTextOrNone>("date_purgeddelay_utc", &CloudFileVersion::m_datePurgeDelay),    //
        column<Stored::Number>("attributes", &CloudFileVersion::m_attribute),                           //
        column<Stored::Number>("is_compressed", &CloudFileVersion::m_isCompressed),                     //
        column<Stored::Number>("is_encrypted", &CloudFileVersion::m_isEncrypted),                       //
        column<Stored::Number>("is_simple", &CloudFileVersion::m_isSimple),                             //
        column<Stored::Number>("is_broken", &CloudFileVersion::m_isBroken),                             //
        column<Stored::Utf8>("upload_id", &CloudFileVersion::m_uploadId),                               //
        column<Stored::DateText>("date_backedup_utc", &CloudFileVersion::m_dateBackup),                 //
        column<Stored::Bytes>("filenameiv", &CloudFileVersion::m_fileNameIv),                           //
        column<Stored::Number>("blocklevel_revision", &CloudFileVersion::m_blockLevelRevision),         //
        column<Stored::FlagIsOne>("blocklevel_revision_isfull", &CloudFileVersion::m_blockLevelIsFull), //
        column<Stored::Text>("delimiter", &CloudFileVersion::m_versionDelimiter),                       //
        column<Stored::Bytes>("encryptioniv", &CloudFileVersion::m_encryptionIv),                       //
        column<Stored::Bytes>("kdfsalt", &CloudFileVersion::m_kdfsalt),                                 //
        column<Stored::Bytes>("encryptionkey", &CloudFileVersion::m_encryptionKey),                     //
        column<Stored::Number>("id", &CloudFileVersion::m_id));
};

namespace {

constexpr int DifferentialRevision = 2;
constexpr int DiskImageRevision = 5;

// The kinds that may own a differential map.
constexpr int BlockLevelFile = 3;
constexpr int BlockLevelDiskImage = 6;

// What every select of versions begins with.
const QString &columnList()
{
    static const QString list = QStringLiteral(
        "select file_id, id, cloud_path, history_path, size, original_size, date_purgeddelay_utc, attributes, "
        "date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, upload_id, date_backedup_utc, "
        "filenameiv, blocklevel_revision, blocklevel_revision_isfull, delimiter, encryptioniv, kdfsalt, encryptionkey "
        "from cloud_file_versions ");
    return list;
}

} // namespace

QString CloudFileVersion::createTable(DatabaseType type)
{
    return dialect(
               type,
               QStringLiteral(
                   "create table cloud_file_versions(id integer primary key asc,file_id integer,defferential_parent integer "
                   "default 0,differential_page integer default 0,cloud_path text,history_path text,size "
                   "numeric,original_size numeric,date_modified_utc numeric,date_purgeddelay_utc numeric default "
                   "99999999999999,attributes integer,is_compressed integer,is_encrypted integer,is_simple "
                   "integer,is_broken integer,job_id integer default 0,upload_id text,date_backedup_utc numeric default "
                   "%1,filenameiv blob default NULL,blocklevel_revision integer default(0),blocklevel_revision_isfull "
                   "integer default(0),delimiter VARCHAR(1) default(':'),encryptioniv BLOB(16) default NULL,kdfsalt BLOB(16) "
                   "default NULL,encryptionkey BLOB default NULL )"),
               QStringLiteral(
                   "create table cloud_file_versions(id SERIAL primary key,file_id integer,defferential_parent integer "
                   "default 0,differential_page integer default 0,cloud_path text,history_path text,size "
                   "numeric,original_size numeric,date_modified_utc numeric,date_purgeddelay_utc numeric default "
                   "99999999999999,attributes integer,is_compressed integer,is_encrypted integer,is_simple "
                   "integer,is_broken integer,job_id integer default 0,upload_id text,date_backedup_utc numeric default "
                   "%1,filenameiv bytea default NULL,blocklevel_revision integer default(0),blocklevel_revision_isfull "
                   "integer default(0),delimiter VARCHAR(1) default(':'),encryptioniv bytea default NULL,kdfsalt bytea "
                   "default NULL,encryptionkey bytea default NULL )"))
        .replace(QLatin1String("%1"), *CatalogDate::toText(QDateTime::currentDateTimeUtc()));
}

QSharedPointer<CloudFileVersion> CloudFileVersion::select_(quint64 fileId, const QDateTime &dateModified,
                                                           int attributes, DatabaseConnection &connection)
{
    const auto version = QSharedPointer<CloudFileVersion>::create();
    return version->select(fileId, dateModified, attributes, connection) ? version : nullptr;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectById(quint64 id, DatabaseConnection &connection)
{
    if (id == 0)
        return nullptr;
    static const QString text =
        columnList() + QStringLiteral("where id = :id order by date_modified_utc  desc limit 1");
    Statement statement(connection, text);
    statement.bind(":id", id);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectLastVersion(quint64 fileId, DatabaseConnection &connection)
{
    if (fileId == 0)
        return nullptr;
    static const QString text =
        columnList() + QStringLiteral("where file_id = :file_id order by date_modified_utc  desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectLastVersionUploaded(quint64 fileId,
                                                                             DatabaseConnection &connection)
{
    if (fileId == 0)
        return nullptr;
    static const QString text =
        columnList() +
        QStringLiteral("where file_id = :file_id and is_broken = 0 order by date_modified_utc  desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectLastVersion4Attribute(quint64 fileId, int attributes,
                                                                               DatabaseConnection &connection)
{
    if (fileId == 0)
        return nullptr;
    static const QString text =
        columnList() +
        QStringLiteral(
            "where file_id = :file_id and attributes = :attributes order by date_modified_utc  desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId).bind(":attributes", attributes);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectPointInTime(quint64 fileId, const QDateTime &date,
                                                                     DatabaseConnection &connection)
{
    if (fileId == 0 || !date.isValid())
        return nullptr;
    static const QString text =
        columnList() + QStringLiteral("where file_id = :file_id and date_modified_utc <= :date_modified_utc order by "
                                      "date_modified_utc desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId).bindAs<Stored::DateText>(":date_modified_utc", date);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectPointInTime(quint64 fileId, int attributes,
                                                                     const QDateTime &date,
                                                                     DatabaseConnection &connection)
{
    if (fileId == 0 || !date.isValid())
        return nullptr;
    static const QString text =
        columnList() + QStringLiteral("where file_id = :file_id and attributes = :attributes and date_modified_utc <= "
                                      ":date_modified_utc order by date_modified_utc desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId)
        .bind(":attributes", attributes)
        .bindAs<Stored::DateText>(":date_modified_utc", date);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectPointInTimeUploaded(quint64 fileId, const QDateTime &date,
                                                                             DatabaseConnection &connection)
{
    if (fileId == 0 || !date.isValid())
        return nullptr;
    static const QString text =
        columnList() +
        QStringLiteral("where file_id = :file_id and date_modified_utc <= :date_modified_utc and is_broken = 0 order "
                       "by date_modified_utc desc limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId).bindAs<Stored::DateText>(":date_modified_utc", date);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectRevisionData(quint64 fileId, unsigned revision, int attributes,
                                                                      DatabaseConnection &connection)
{
    if (fileId == 0)
        return nullptr;
    static const QString text =
        columnList() +
        QStringLiteral("where file_id = :file_id and blocklevel_revision = :revision and attributes = :attributes  "
                       "limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId).bind(":revision", revision).bind(":attributes", attributes);
    return selectFirst<CloudFileVersion>(statement, Columns::Table).pointer;
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectDifferentialRevisionData(quint64 fileId, unsigned revision,
                                                                                  DatabaseConnection &connection)
{
    return selectRevisionData(fileId, revision, DifferentialRevision, connection);
}

QSharedPointer<CloudFileVersion> CloudFileVersion::selectDiskImageRevisionData(quint64 fileId, unsigned revision,
                                                                               DatabaseConnection &connection)
{
    return selectRevisionData(fileId, revision, DiskImageRevision, connection);
}

QList<QSharedPointer<CloudFileVersion>> CloudFileVersion::select_(quint64 fileId, DatabaseConnection &connection)
{
    if (fileId == 0)
        return {};
    static const QString text =
        columnList() + QStringLiteral("where file_id = :file_id order by date_modified_utc asc");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId);
    return selectAll<CloudFileVersion>(statement, Columns::Table).list;
}

QList<QSharedPointer<CloudFileVersion>> CloudFileVersion::selectUploaded(quint64 fileId, DatabaseConnection &connection)
{
    if (fileId == 0)
        return {};
    static const QString text =
        columnList() + QStringLiteral("where file_id = :file_id and is_broken = 0 order by date_modified_utc asc");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId);
    return selectAll<CloudFileVersion>(statement, Columns::Table).list;
}

ResultList<CloudFileVersion> CloudFileVersion::selectByIds(const QVector<quint64> &ids, DatabaseConnection &connection)
{
    QStringList numbers;
    for (const quint64 id : ids)
        numbers.append(QString::number(id));
    Statement statement(connection,
                        columnList() + QStringLiteral("where id in (%1)").arg(numbers.join(QLatin1Char(','))));
    return selectAll<CloudFileVersion>(statement, Columns::Table);
}

bool CloudFileVersion::select(quint64 fileId, const QDateTime &dateModified, int attributes,
                              DatabaseConnection &connection)
{
    if (fileId == 0)
        return false;
    static const QString text =
        columnList() +
        QStringLiteral("where file_id = :file_id and date_modified_utc = :date_modified_utc and attributes = "
                       ":attributes limit 1");
    Statement statement(connection, text);
    statement.bind(":file_id", fileId)
        .bindAs<Stored::DateText>(":date_modified_utc", dateModified)
        .bind(":attributes", attributes);
    return selectInto(*this, statement, Columns::Table);
}

bool CloudFileVersion::select(DatabaseConnection &connection)
{
    return select(m_fileId, m_dateModified, m_attribute, connection);
}

bool CloudFileVersion::insert(quint64 destinationId, DatabaseConnection &connection)
{
    if (m_path.isEmpty() || !m_dateModified.isValid())
        return false;
    if (m_fileId == 0) {
        CloudFile file;
        file.setCloudPath(m_cloudPath);
        file.setDateModified(m_dateModified);
        file.setDestinationId(destinationId);
        file.setName(m_path.section(QLatin1Char('/'), -1));
        file.setIsBroken(m_isBroken);
        file.setIsCompressed(m_isCompressed);
        file.setIsEncrypted(m_isEncrypted);
        file.setIsSimple(m_isSimple);
        file.setLocalPath(m_path);
        file.setOriginalSize(m_originalSize);
        file.setSize(m_size);
        if (!file.selectOrInsert(connection))
            return false;
        m_fileId = file.id();
    }
    Statement statement(
        connection,
        QStringLiteral(
            "insert into cloud_file_versions (file_id, date_modified_utc, cloud_path, history_path, size, "
            "original_size, date_purgeddelay_utc, attributes, is_compressed, is_encrypted, is_simple, is_broken, "
            "upload_id, date_backedup_utc, filenameiv, blocklevel_revision, blocklevel_revision_isfull, delimiter, "
            "encryptioniv, kdfsalt, encryptionkey) values (:file_id, :date_modified_utc, :cloud_path, :history_path, "
            ":size, :original_size, :date_purgeddelay_utc, :attributes, :is_compressed, :is_encrypted, :is_simple, "
            ":is_broken, :upload_id, :date_backedup_utc, :filenameiv, :blocklevel_revision, "
            ":blocklevel_revision_isfull, :delimiter, :encryptioniv, :kdfsalt, :encryptionkey)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

bool CloudFileVersion::update(DatabaseConnection &connection)
{
    if (m_fileId == 0 || !m_dateModified.isValid())
        return false;
    Statement statement(
        connection,
        QStringLiteral(
            "update cloud_file_versions set cloud_path = :cloud_path, size = :size, original_size = :original_size, "
            "is_compressed = :is_compressed, is_encrypted = :is_encrypted, is_broken = :is_broken, date_backedup_utc "
            "= :date_backedup_utc, blocklevel_revision = :blocklevel_revision, blocklevel_revision_isfull = "
            ":blocklevel_revision_isfull, kdfsalt = :kdfsalt, encryptionkey = :encryptionkey , upload_id = "
            ":upload_id, encryptioniv = :encryptioniv  where file_id = :file_id and date_modified_utc = "
            ":date_modified_utc and attributes = :attributes"));
    return writeRecord(statement, *this, Columns::Table) == ResultCode::Ok;
}

bool CloudFileVersion::isEmpty(quint64 fileId, DatabaseConnection &connection)
{
    if (fileId == 0)
        return false;
    Statement statement(connection,
                        QStringLiteral("select * from cloud_file_versions where file_id = :file_id limit 1"));
    statement.bind(":file_id", fileId);
    const auto version = selectExists(statement);
    return version.error == ResultCode::Ok && !version.value;
}

int CloudFileVersion::getNextRevisionNumber(quint64 fileId, DatabaseConnection &connection)
{
    if (fileId == 0)
        return 0;
    Statement statement(
        connection,
        QStringLiteral(
            "select max(blocklevel_revision) as revision  from cloud_file_versions where file_id = :file_id"));
    statement.bind(":file_id", fileId);
    return selectNumber<int>(statement).value;
}

bool CloudFileVersion::delete_(bool removeEmptyParents, DatabaseConnection &connection)
{
    if (m_id == 0)
        return false;
    {
        // PostgreSQL refuses to remove a version that a disk image still links.
        Statement statement(
            connection,
            dialect(connection.dbType(), QStringLiteral("delete from cloud_file_versions where id = :id"),
                    QStringLiteral("WITH l AS (DELETE FROM diskimage_versions WHERE version_id = :id) delete from "
                                   "cloud_file_versions where id = :id")));
        if (statement.bind(":id", m_id).exec() != ResultCode::Ok)
            return false;
    }
    if (m_attribute == BlockLevelFile || m_attribute == BlockLevelDiskImage) {
        CloudFileVersionBitmap map;
        if (map.select(m_id, connection))
            map.delete_(connection);
    }
    if (!removeEmptyParents)
        return true;

    if (!isEmpty(m_fileId, connection)) {
        log().debug() << "SQL::CloudFileVersion: it's not last file version for file:" << m_path << "id:" << m_fileId;
        return true;
    }
    log().debug() << "SQL::CloudFileVersion: it's last file version for file, remove file:" << m_path;
    CloudFile file;
    return file.select(m_fileId, connection) && file.delete_(false, connection);
}

bool CloudFileVersion::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
