#include <repository/catalog/DiskImage.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

namespace {

using PlatformType = DiskImage::PlatformType;

/// A platform that has a number of its own; everything else is unknown, in the table and out of it.
struct KnownPlatform {
    static QVariant store(PlatformType platform, DatabaseType type)
    {
        return Stored::Number::store(known(platform), type);
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return known(Stored::Number::load<T>(stored));
    }

    static PlatformType known(PlatformType platform)
    {
        const bool isKnown = platform == PlatformType::Windows || platform == PlatformType::Linux;
        return isKnown ? platform : PlatformType::Unknown;
    }
};

// What every select begins with, except the two that only ask whether there is a row.
const QString &columnList()
{
    static const QString list = QStringLiteral(
        "select id, size, original_size, date_created_utc, is_compressed, is_encrypted, backup_folder_name, "
        "destination_id, xml, host_name, platform_type, need_decrypt, is_block_level from diskimage");
    return list;
}

const QString &imagesText(bool isPage, bool onlyDecryptable)
{
    static const QString texts[2][2] = {
        {columnList() + QStringLiteral(" where destination_id = :destination_id order by date_created_utc asc"),
         columnList() + QStringLiteral(" where destination_id = :destination_id and need_decrypt = 0 order by "
                                       "date_created_utc asc")},
        {columnList() + QStringLiteral(" where destination_id = :destination_id order by date_created_utc asc limit "
                                       ":limit offset :offset"),
         columnList() + QStringLiteral(" where destination_id = :destination_id and need_decrypt = 0 order by "
                                       "date_created_utc asc limit :limit offset :offset")}};
    return texts[isPage ? 1 : 0][onlyDecryptable ? 1 : 0];
}

bool hasImage(quint64 destinationId, const QString &text, DatabaseConnection &connection)
{
    if (destinationId == 0)
        return false;
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId);
    return selectExists(statement).value;
}

} // namespace

struct DiskImage::Columns {
    static constexpr auto Table = columns(                                          //
        column<Stored::Number>("id", &DiskImage::m_id),                             //
        column<Stored::Number>("size", &DiskImage::m_size),                         //
        column<Stored::Number>("original_size", &DiskImage::m_originalSize),        //
        column<Stored::DateText>("date_created_utc", &DiskImage::m_dateCreate),     //
        column<Stored::Number>("is_compressed", &DiskImage::m_isCompressed),        //
        column<Stored::Number>("is_encrypted", &DiskImage::m_isEncrypted),          //
        column<Stored::Text>("backup_folder_name", &DiskImage::m_backupFolderName), //
        column<Stored::Number>("destination_id", &DiskImage::m_destinationId),      //
        column<Stored::Text>("host_name", &DiskImage::m_hostName),                  //
        column<Stored::Text>("xml", &DiskImage::m_xml),                             //
        column<KnownPlatform>("platform_type", &DiskImage::m_platformType),         //
        column<Stored::Number>("is_block_level", &DiskImage::m_isBlockLevel),       //
        column<Stored::Number>("need_decrypt", &DiskImage::m_needDecrypt));
};

QString DiskImage::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE diskimage ( id INTEGER PRIMARY KEY ASC, size NUMERIC, original_size NUMERIC, "
                       "date_created_utc NUMERIC, is_compressed INTEGER, is_encrypted INTEGER, backup_folder_name "
                       "TEXT, destination_id INTEGER NOT NULL, host_name TEXT, xml TEXT, platform_type INTEGER default "
                       "1, is_block_level INTEGET default 0, need_decrypt INTEGER default 0, FOREIGN "
                       "KEY(destination_id) REFERENCES destination(id))"),
        QStringLiteral("CREATE TABLE diskimage ( id SERIAL PRIMARY KEY, size NUMERIC, original_size NUMERIC, "
                       "date_created_utc NUMERIC, is_compressed INTEGER, is_encrypted INTEGER, backup_folder_name "
                       "TEXT, destination_id INTEGER NOT NULL, host_name TEXT, xml TEXT, platform_type INTEGER default "
                       "1, is_block_level INTEGER default 0, need_decrypt INTEGER default 0, FOREIGN "
                       "KEY(destination_id) REFERENCES destination(id))"));
}

QSharedPointer<DiskImage> DiskImage::create(const Tolm::Info::DiskImageMetaData &metaData)
{
    const auto image = QSharedPointer<DiskImage>::create();
    image->m_dateCreate = metaData.createDate();
    image->m_isCompressed = metaData.compressed();
    image->m_isEncrypted = metaData.encrypted();
    image->m_originalSize = metaData.originalSize();
    image->m_size = metaData.compressedSize();
    image->m_xml = metaData.toXml();
    image->m_hostName = metaData.hostName();
    image->m_platformType = metaData.platformType();
    return image;
}

bool DiskImage::insert(DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("insert into diskimage(size, original_size, date_created_utc, is_compressed, is_encrypted, "
                       "backup_folder_name, destination_id, xml, host_name, platform_type, need_decrypt, "
                       "is_block_level) values(:size, :original_size, :date_created_utc, :is_compressed, "
                       ":is_encrypted, :backup_folder_name, :destination_id, :xml, :host_name, :platform_type, "
                       ":need_decrypt, :is_block_level)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

bool DiskImage::delete_(DatabaseConnection &connection)
{
    // PostgreSQL enforces the links' foreign key: an image that has any can go only together with them.
    Statement image(connection,
                    dialect(connection.dbType(), QStringLiteral("delete from diskimage where id = :id"),
                            QStringLiteral("WITH l AS (DELETE FROM diskimage_versions WHERE diskimage_id = :id) delete "
                                           "from diskimage where id = :id")));
    image.bind(":id", m_id);
    if (image.exec() != ResultCode::Ok)
        return false;
    if (connection.dbType() == DatabaseType::PostgreSQL)
        return true;

    Statement links(connection, QStringLiteral("delete from diskimage_versions where diskimage_id = :id"));
    links.bind(":id", m_id);
    return links.exec() == ResultCode::Ok;
}

QSharedPointer<DiskImage> DiskImage::select(quint64 destinationId, const QDateTime &date,
                                            DatabaseConnection &connection)
{
    if (!date.isValid())
        return selectLatestVersion(destinationId, connection);
    if (destinationId == 0)
        return {};
    static const QString text =
        columnList() + QStringLiteral(" where destination_id = :destination_id and date_created_utc <= "
                                      ":date_created_utc order by date_created_utc desc limit 1");
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId).bindAs<Stored::DateText>(":date_created_utc", date);
    return selectFirst<DiskImage>(statement, Columns::Table).pointer;
}

QSharedPointer<DiskImage> DiskImage::selectLatestVersion(quint64 destinationId, DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    static const QString text =
        columnList() + QStringLiteral(" where destination_id = :destination_id order by date_created_utc desc limit 1");
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId);
    return selectFirst<DiskImage>(statement, Columns::Table).pointer;
}

QList<QSharedPointer<DiskImage>> DiskImage::select(quint64 destinationId, quint64 limit, quint64 offset,
                                                   bool onlyDecryptable, DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    const bool isPage = limit != 0 || offset != 0;
    Statement statement(connection, imagesText(isPage, onlyDecryptable));
    statement.bind(":destination_id", destinationId);
    if (isPage)
        statement.bindPage(limit, offset);
    return selectAll<DiskImage>(statement, Columns::Table).list;
}

bool DiskImage::hasData(quint64 destinationId, DatabaseConnection &connection)
{
    return hasImage(
        destinationId,
        QStringLiteral("select * from diskimage where destination_id = :destination_id and need_decrypt = 0 limit 1"),
        connection);
}

bool DiskImage::hasEncryptedData(quint64 destinationId, DatabaseConnection &connection)
{
    return hasImage(
        destinationId,
        QStringLiteral("select * from diskimage where destination_id = :destination_id and need_decrypt = 1 limit 1"),
        connection);
}

bool DiskImage::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
