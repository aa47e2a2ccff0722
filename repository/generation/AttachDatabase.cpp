#include <repository/database/DatabaseConnection.h>
#include <repository/database/ExecQuery.h>
#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Timing_p.h>
#include <repository/generation/AttachDatabase.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/Files.h>
#include <repository/generation/Folders.h>
#include <repository/generation/Metadata.h>
#include <repository/generation/Parts.h>
#include <repository/generation/PartsBlocks.h>
#include <repository/generation/RestorePoints.h>
#include <repository/generation/StorageFiles.h>

#include <platform/Varn/Utility.h>

#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace Tolm::SQL::Generation {

namespace {

constexpr int ConnectionNameLength = 32;

constexpr QFile::Permissions ForEveryone = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser |
                                           QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;

template <class... Table>
QStringList creationStatements()
{
    QStringList statements;
    (statements.append(Table::createTable({})), ...);
    (statements.append(Table::createIndex({})), ...);
    return statements << BlockIdGenerator::init({});
}

template <class... Table>
QStringList updateStatements(const QVersionNumber &fromVersion)
{
    QStringList statements;
    (statements.append(Table::update(fromVersion, {})), ...);
    return statements;
}

int runAll(const QStringList &statements, QSqlDatabase &database, const char *complaint)
{
    QSqlQuery query(database);
    for (const QString &statement : statements) {
        query.prepare(statement);
        if (const int code = ExecQuery(query).exec(); code != ResultCode::Ok) {
            log().error() << complaint << code;
            return code;
        }
    }
    return ResultCode::Ok;
}

int setWalMode(QSqlDatabase &database)
{
    QSqlQuery query(database);
    query.prepare(QStringLiteral("PRAGMA journal_mode"));
    if (const int code = ExecQuery(query).exec(); code != ResultCode::Ok) {
        log().error() << "Error on check database journal mode database:" << query.lastError().text();
        return code;
    }
    const QString mode = query.next() ? query.value(0).toString() : QString();
    // On its row, this query would keep the next one from switching.
    query.finish();
    if (mode.compare(QLatin1String("wal"), Qt::CaseInsensitive) == 0)
        return ResultCode::Ok;

    query.prepare(QStringLiteral("PRAGMA journal_mode=WAL"));
    const int code = ExecQuery(query).exec();
    if (code != ResultCode::Ok)
        log().error() << "Error on set database journal mode database:" << query.lastError().text();
    return code;
}

// The names of all tables; the code says whether they could be read.
QStringList tableNames(QSqlDatabase &database, int &code)
{
    QStringList names;
    QSqlQuery query(database);
    query.prepare(QStringLiteral("select name from sqlite_master where type = 'table'"));
    code = ExecQuery(query).exec();
    while (code == ResultCode::Ok && query.next())
        names.append(query.value(0).toString());
    return names;
}

// Empty when the file holds a whole generation.
QString missingTable(const QStringList &names)
{
    for (const char *table : {"metadata", "storage_files", "restore_points", "folders", "files", "parts", "part_blocks",
                              "block_id_generator"}) {
        if (!names.contains(QLatin1String(table)))
            return QLatin1String(table);
    }
    return {};
}

int create(QSqlDatabase &database)
{
    if (!QFile::setPermissions(database.databaseName(), ForEveryone)) {
        log().error() << "Error on change DB file permissions!";
        return ResultCode::Error;
    }
    return runAll(creationStatements<Metadata, StorageFiles, RestorePoints, Folders, Files, Parts, PartsBlocks,
                                     BlockIdGenerator>(),
                  database, "Error on create generation database table. code:");
}

// A generation whose row is missing counts as one of the first version; it gets its row like a new one.
int upgrade(QSqlDatabase &database, bool &lacksMetadata)
{
    const auto metadata = Metadata::select(database);
    if (metadata.error != ResultCode::Ok)
        return metadata.error;
    lacksMetadata = !metadata.pointer;
    if (lacksMetadata)
        return ResultCode::Ok;

    const QVersionNumber stored = metadata.pointer->repositoryVersion();
    if (QVersionNumber::compare(stored, Metadata::Version) >= 0)
        return ResultCode::Ok;
    const int code = runAll(
        updateStatements<Metadata, StorageFiles, RestorePoints, Folders, Files, Parts, PartsBlocks, BlockIdGenerator>(
            stored),
        database, "Error on update generation database table. code:");
    if (code != ResultCode::Ok)
        return code;
    metadata.pointer->setRepositoryVersion(Metadata::Version);
    return metadata.pointer->update(database);
}

} // namespace

AttachDatabase::AttachDatabase(const QString &path, const QUuid &generationMarker)
    : m_path(path)
    , m_generationMarker(generationMarker)
    , m_pool(new DatabasePool)
{}

AttachDatabase::~AttachDatabase()
{
    delete m_pool;
}

QSharedPointer<AttachDatabase> AttachDatabase::attach(const QString &path, const QUuid &generationMarker)
{
    const auto generation = QSharedPointer<AttachDatabase>::create(path, generationMarker);
    return generation->attach() == ResultCode::Ok ? generation : nullptr;
}

bool AttachDatabase::isAttached() const
{
    return m_pool && m_pool->isInit();
}

int AttachDatabase::attach()
{
    if (!m_pool || m_pool->isInit())
        return ResultCode::Error;

    const QString connectionName = Varn::Utility::RandomString::generateSimple(ConnectionNameLength);
    int code = ResultCode::Error;
    bool needsMetadata = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
        database.setConnectOptions(
            QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(Timing::instance().busyTimeout.load()));
        database.setDatabaseName(m_path);
        code = prepare(database, needsMetadata);
        if (code == ResultCode::Ok && !m_pool->initDatabase(database))
            log().error() << "Error on attache generation database, path:" << m_path;
    }
    if (isAttached() && needsMetadata) {
        DatabaseConnection connection(m_pool);
        Metadata metadata;
        metadata.setDateCreatedUtc(QDateTime::currentDateTimeUtc());
        metadata.setGenerationMarker(m_generationMarker);
        if (metadata.insert({}, connection) != ResultCode::Ok)
            log().error() << "Error on init generation metadata:" << m_generationMarker.toString();
    }
    QSqlDatabase::removeDatabase(connectionName);
    if (code != ResultCode::Ok)
        return code;
    return isAttached() ? ResultCode::Ok : ResultCode::Error;
}

int AttachDatabase::prepare(QSqlDatabase &database, bool &needsMetadata)
{
    const bool existed = QFile::exists(m_path);
    if (!existed)
        log().info() << "Generation repository not exist, create new. path:" << m_path;
    if (!database.open()) {
        log().error() << "Error on open database:" << database.lastError().text();
        return ResultCode::Error;
    }
    // The journal's files take the mode that the database has when they are made.
    if (!existed)
        QFile::setPermissions(m_path, ForEveryone);
    if (const int code = setWalMode(database); code != ResultCode::Ok)
        return code;

    int code = ResultCode::Ok;
    const QStringList tables = tableNames(database, code);
    if (code != ResultCode::Ok)
        return code;
    if (tables.isEmpty()) {
        needsMetadata = true;
        return create(database);
    }
    const QString missing = missingTable(tables);
    if (!missing.isEmpty()) {
        log().error() << "Error on attache generation database, path:" << m_path
                      << "it is no complete generation, table missing:" << missing;
        return ResultCode::Error;
    }
    return upgrade(database, needsMetadata);
}

} // namespace Tolm::SQL::Generation
