#include <repository/catalog/Destination.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Records_p.h>

#include <platform/SHARED/defines.h>
#include <platform/Varn/Cloud.h>
#include <platform/Varn/Network.h>
#include <platform/Varn/Utility.h>

#include <QCryptographicHash>
#include <QJsonObject>
#include <QMap>

#include <limits>
#include <optional>

namespace Tolm::SQL {

struct Destination::Columns {
    static constexpr auto Table = columns(                                            //
        column<Stored::Number>("id", &Destination::m_id),                             //
        column<Stored::RequiredText>("cloud_type", &Destination::m_cloudType),        //
        column<Stored::RequiredText>("account_id", &Destination::m_accountId),        //
        column<Stored::RequiredText>("container", &Destination::m_container),         //
        column<Stored::RequiredText>("prefix", &Destination::m_prefix),               //
        column<Stored::DateText>("last_sync_time_utc", &Destination::m_lastSyncTime), //
        column<Stored::Number>("size", &Destination::m_usedSpace),                    //
        column<Stored::Number>("filecount", &Destination::m_fileCount),               //
        column<Stored::Number>("foldercount", &Destination::m_folderCount));
};

namespace {

using Kind = Varn::Cloud::Type;

const QMap<Kind, QString> &kindNames()
{
    static const QMap<Kind, QString> names{
        {Kind::FileSystem, QStringLiteral("FileSystem")},
        {Kind::AmazonS3, QStringLiteral("AmazonS3")},
        {Kind::AzureBlob, QStringLiteral("AzureBlob")},
        {Kind::OracleCloud, QStringLiteral("OracleCloud")},
        {Kind::Rackspace, QStringLiteral("Rackspace")},
        {Kind::Openstack, QStringLiteral("Openstack")},
        {Kind::GoogleStorage, QStringLiteral("GoogleStorage")},
        {Kind::SoftLayer, QStringLiteral("SoftLayer")},
        {Kind::HPCloud, QStringLiteral("HPCloud")},
        {Kind::HPHelion, QStringLiteral("HPHelion")},
        {Kind::S3Compatible, QStringLiteral("S3Compatible")},
        {Kind::Scality, QStringLiteral("Scality")},
        {Kind::DreamObjects, QStringLiteral("DreamObjects")},
        {Kind::Cloudian, QStringLiteral("Cloudian")},
        {Kind::ThinkOn, QStringLiteral("ThinkOn")},
        {Kind::Aruba, QStringLiteral("Aruba")},
        {Kind::Tiscali, QStringLiteral("Tiscali")},
        {Kind::Seeweb, QStringLiteral("Seeweb")},
        {Kind::CenturyLink, QStringLiteral("CenturyLink")},
        {Kind::AmazonS3Chinese, QStringLiteral("AmazonS3Chinese")},
        {Kind::Minio, QStringLiteral("Minio")},
        {Kind::Dunkel, QStringLiteral("Dunkel")},
        {Kind::Connectria, QStringLiteral("Connectria")},
        {Kind::HostEurope, QStringLiteral("HostEurope")},
        {Kind::GreenQloud, QStringLiteral("GreenQloud")},
        {Kind::Constant, QStringLiteral("Constant")},
        {Kind::Webzilla, QStringLiteral("Webzilla")},
        {Kind::Verizon, QStringLiteral("Verizon")},
        {Kind::Wasabi, QStringLiteral("Wasabi")},
        {Kind::AlibabaCloud, QStringLiteral("AlibabaCloud")},
        {Kind::iDrive, QStringLiteral("iDrive")},
        {Kind::BackBlaze, QStringLiteral("BackBlaze")},
        {Kind::Sftp, QStringLiteral("Sftp")},
        {Kind::WasabiUB, QStringLiteral("Wasabi (UB)")},
        {Kind::WasabiUBStage, QStringLiteral("Wasabi (UB) Stage")},
        {Kind::WasabiStage, QStringLiteral("Wasabi Stage")},
        {Kind::AmazonS3UB, QStringLiteral("AmazonS3 (UB)")},
        {Kind::HalvoCloud, QStringLiteral("HALVO_CLOUD")},
    };
    return names;
}

bool speaksS3(Kind kind)
{
    return kind == Kind::AmazonS3 || (kind >= Kind::S3Compatible && kind <= Kind::iDrive);
}

bool speaksOpenStack(Kind kind)
{
    return kind >= Kind::OracleCloud && kind <= Kind::HPHelion && kind != Kind::GoogleStorage;
}

QString digestOf(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toBase64());
}

// Both are filled in at once: filled one after the other, a "%2" in the path would take the backup prefix.
QString folderPrefix(const QString &path, const QString &backupPrefix)
{
    return QStringLiteral("%1/TOLM_%2").arg(path, backupPrefix);
}

struct Identity {
    QString accountId;
    QString prefix;
    QString container;
    QString cloudType;
};

std::optional<Identity> identityOf(const QJsonObject &account)
{
    const auto member = [&account](const char *key) {
        const QString text = account.value(QLatin1String(key)).toString();
        return text.isNull() ? QStringLiteral("") : text;
    };
    const Kind kind = kindNames().key(member("AccountType"), Kind::Unknown);
    const QString backupPrefix = member("BackupPrefix");
    const QString container = member("ContainerName");

    if (kind == Kind::FileSystem)
        return Identity{QStringLiteral("TOLM_FS"), folderPrefix(member("Path"), backupPrefix), QStringLiteral("Local"),
                        QStringLiteral("FileSystem")};
    if (SHARED::defines::common::is_halvo())
        return Identity{QStringLiteral("%1-%2").arg(member("AccountId"), member("FolderPath")),
                        backupPrefix.isEmpty() ? Varn::Network::ComputerName::name() : backupPrefix, container,
                        QStringLiteral("HALVO")};
    if (speaksS3(kind))
        return Identity{member("AccessKey"), backupPrefix, container, QStringLiteral("Standalone")};
    if (speaksOpenStack(kind))
        return Identity{digestOf(member("Endpoint") + container), backupPrefix, container,
                        QStringLiteral("Standalone_RackSpace")};
    if (kind == Kind::AzureBlob)
        return Identity{digestOf(member("UserName")), backupPrefix, container, QStringLiteral("Standalone_Azure")};
    if (kind == Kind::GoogleStorage)
        return Identity{member("StorageId"), backupPrefix, container, QStringLiteral("Standalone_GOOGLE")};
    if (kind == Kind::BackBlaze)
        return Identity{member("StorageId"), backupPrefix, member("ContainerId"),
                        QStringLiteral("Standalone_BackBlaze")};
    if (kind == Kind::Sftp) {
        const QString path = Varn::Utility::StringFilters::removeTrailingChar(member("Path"), QLatin1Char('/'));
        return Identity{member("User"), folderPrefix(path, backupPrefix), QStringLiteral("Sftp"),
                        QStringLiteral("Sftp")};
    }
    return std::nullopt;
}

ResultValue<qint64> numberOf(quint64 destinationId, const QString &text, DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    Statement statement(connection, text);
    statement.bind(":destination_id", destinationId);
    return selectNumber<qint64>(statement);
}

quint64 usableSum(qint64 sum)
{
    return sum > 0 && sum < std::numeric_limits<qint64>::max() ? static_cast<quint64>(sum) : 0;
}

ResultValue<quint64> readSpaceUsed(quint64 destinationId, DatabaseConnection &connection)
{
    const auto versions =
        numberOf(destinationId,
                 QStringLiteral("select sum(cfv.size) as size from cloud_file_versions  cfv inner join cloud_files cf "
                                "on cfv.file_id = cf.id where cf.destination_id = :destination_id"),
                 connection);
    if (versions.error != ResultCode::Ok)
        return {0, versions.error};
    const auto generations =
        numberOf(destinationId,
                 QStringLiteral("select sum(g.uploaded_files_size) as size from archive_bunches b inner join "
                                "archive_generations g on g.bunch_id = b.id where uploaded_files_size > 0 and "
                                "b.destination_id = :destination_id"),
                 connection);
    if (generations.error != ResultCode::Ok)
        return {0, generations.error};
    return {usableSum(versions.value) + usableSum(generations.value), ResultCode::Ok};
}

ResultValue<qint64> readFilesCount(quint64 destinationId, DatabaseConnection &connection)
{
    return numberOf(
        destinationId,
        QStringLiteral("select count(*) as count_of_files from cloud_file_versions cfv inner join cloud_files "
                       "cf on cfv.file_id = cf.id where cf.destination_id = :destination_id"),
        connection);
}

ResultValue<qint64> readFoldersCount(quint64 destinationId, DatabaseConnection &connection)
{
    return numberOf(destinationId,
                    QStringLiteral("select count(*) as count_of_folders from  cloud_folders cf where  "
                                   "cf.destination_id = :destination_id"),
                    connection);
}

} // namespace

QString Destination::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE destination(id integer PRIMARY KEY ASC,cloud_type TEXT,account_id TEXT,container "
                       "TEXT,prefix TEXT,last_sync_time_utc TEXT,size NUMERIC default 0 , filecount integer default 0 "
                       ", foldercount integer default 0 , UNIQUE(cloud_type,account_id,container,prefix))"),
        QStringLiteral("CREATE TABLE destination(id SERIAL PRIMARY KEY,cloud_type TEXT,account_id TEXT,container "
                       "TEXT,prefix TEXT,last_sync_time_utc TEXT,size NUMERIC default 0 , filecount integer default 0 "
                       ", foldercount integer default 0 , UNIQUE(cloud_type,account_id,container,prefix))"));
}

bool Destination::insert(DatabaseConnection &connection)
{
    Statement statement(connection,
                        QStringLiteral("insert into destination(cloud_type, account_id, container, prefix) values "
                                       "(:cloud_type, :account_id, :container, :prefix)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

bool Destination::updateStatistic(DatabaseConnection &connection)
{
    const auto space = readSpaceUsed(m_id, connection);
    if (space.error != ResultCode::Ok)
        return false;
    const auto files = readFilesCount(m_id, connection);
    if (files.error != ResultCode::Ok)
        return false;
    const auto folders = readFoldersCount(m_id, connection);
    if (folders.error != ResultCode::Ok)
        return false;

    Statement statement(connection,
                        QStringLiteral("update destination set size = :size, filecount = :filecount, foldercount = "
                                       ":foldercount where id = :id"));
    statement.bind(":size", space.value).bind(":filecount", files.value).bind(":foldercount", folders.value);
    statement.bind(":id", m_id);
    if (statement.exec() != ResultCode::Ok)
        return false;
    m_usedSpace = space.value;
    m_fileCount = files.value;
    m_folderCount = folders.value;
    return true;
}

quint64 Destination::spaceUsed(DatabaseConnection &connection) const
{
    return readSpaceUsed(m_id, connection).value;
}

qint64 Destination::filesCount(DatabaseConnection &connection) const
{
    return readFilesCount(m_id, connection).value;
}

qint64 Destination::foldersCount(DatabaseConnection &connection) const
{
    return readFoldersCount(m_id, connection).value;
}

QSharedPointer<Destination> Destination::select(quint64 id, DatabaseConnection &connection)
{
    Statement statement(connection,
                        QStringLiteral("select id, cloud_type, account_id, container, prefix, last_sync_time_utc, "
                                       "size, filecount, foldercount from destination where id = :id limit 1"));
    statement.bind(":id", id);
    return selectFirst<Destination>(statement, Columns::Table).pointer;
}

QSharedPointer<Destination> Destination::select(const QString &accountId, const QString &prefix,
                                                const QString &container, const QString &cloudType,
                                                DatabaseConnection &connection)
{
    Destination identity;
    identity.m_accountId = accountId;
    identity.m_prefix = prefix;
    identity.m_container = container;
    identity.m_cloudType = cloudType;
    return selectByIdentity(identity, connection).pointer;
}

QSharedPointer<Destination> Destination::select(const QJsonObject &account, DatabaseConnection &connection)
{
    Destination wanted;
    if (account.isEmpty() ||
        !SearchParams(account, wanted.m_accountId, wanted.m_prefix, wanted.m_container, wanted.m_cloudType))
        return {};
    return selectByIdentity(wanted, connection).pointer;
}

QList<QSharedPointer<Destination>> Destination::select(DatabaseConnection &connection)
{
    Statement statement(connection,
                        QStringLiteral("select id, cloud_type, account_id, container, prefix, last_sync_time_utc, "
                                       "size, filecount, foldercount from destination"));
    return selectAll<Destination>(statement, Columns::Table).list;
}

bool Destination::SearchParams(const QJsonObject &account, QString &accountId, QString &prefix, QString &container,
                               QString &cloudType)
{
    const std::optional<Identity> identity = identityOf(account);
    if (!identity)
        return false;
    accountId = identity->accountId;
    prefix = identity->prefix;
    container = identity->container;
    cloudType = identity->cloudType;
    return true;
}

QSharedPointer<Destination> Destination::selectOrInsert(const QJsonObject &account, DatabaseConnection &connection)
{
    const auto wanted = QSharedPointer<Destination>::create();
    if (account.isEmpty() ||
        !SearchParams(account, wanted->m_accountId, wanted->m_prefix, wanted->m_container, wanted->m_cloudType))
        return {};
    const auto found = selectByIdentity(*wanted, connection);
    if (found.pointer || found.error != ResultCode::Ok)
        return found.pointer;

    log().debug() << "SQL::Destination: Insert new destination to DB";
    return wanted->insert(connection) ? wanted : QSharedPointer<Destination>();
}

bool Destination::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

ResultPointer<Destination> Destination::selectByIdentity(const Destination &identity, DatabaseConnection &connection)
{
    Statement statement(connection,
                        QStringLiteral("select id, cloud_type, account_id, container, prefix, last_sync_time_utc, "
                                       "size, filecount, foldercount from destination where cloud_type = :cloud_type "
                                       "and account_id = :account_id and container = :container and prefix = :prefix "
                                       "limit 1"));
    bindRecord(statement, identity, Columns::Table);
    return selectFirst<Destination>(statement, Columns::Table);
}

} // namespace Tolm::SQL
