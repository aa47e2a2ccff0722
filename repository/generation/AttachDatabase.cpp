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

// Column 0 of every row of `text`; the code says whether it could be read.
QStringList firstColumn(QSqlDatabase &database, const QString &text, int &code)
{
    QStringList values;
    QSqlQuery query(database);
    query.prepare(text);
    code = ExecQuery(query).exec();
    while (code == ResultCode::Ok && query.next())
        values.append(query.value(0).toString());
    return values;
}

// What a creation that broke off has not made any more: a table, or the counter, which comes last. Empty when it is
// whole.
QString missingPiece(QSqlDatabase &database, const QStringList &tables, int &code)
{
    for (const char *table : {"metadata", "storage_files", "restore_points", "folders", "files", "parts", "part_blocks",
                              "block_id_generator"}) {
        if (!tables.contains(QLatin1String(table)))
            return QStringLiteral("table ") + QLatin1String(table);
    }
    const QString text = QStringLiteral("select name from sqlite_sequence where name = 'block_id_generator'");
    return firstColumn(database, text, code).isEmpty() ? QStringLiteral("the counter of block ids") : QString();
}

int create(QSqlDatabase &database)
{
    return runAll(creationStatements<Metadata, StorageFiles, RestorePoints, Folders, Files, Parts, PartsBlocks,
                                     BlockIdGenerator>(),
                  database, "Error on create generation database table. code:");
}

int upgrade(QSqlDatabase &database, Metadata &metadata)
{
    const QVersionNumber stored = metadata.repositoryVersion();
    if (QVersionNumber::compare(stored, Metadata::Version) >= 0)
        return ResultCode::Ok;
    const int code = runAll(
        updateStatements<Metadata, StorageFiles, RestorePoints, Folders, Files, Parts, PartsBlocks, BlockIdGenerator>(
            stored),
        database, "Error on update generation database table. code:");
    if (code != ResultCode::Ok)
        return code;
    metadata.setRepositoryVersion(Metadata::Version);
    return metadata.update(database);
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
    if (!existed && !QFile::setPermissions(m_path, ForEveryone)) {
        log().error() << "Error on change DB file permissions!";
        return ResultCode::Error;
    }
    if (const int code = setWalMode(database); code != ResultCode::Ok)
        return code;

    int code = ResultCode::Ok;
    const QString namesOfTables = QStringLiteral("select name from sqlite_master where type = 'table'");
    const QStringList tables = firstColumn(database, namesOfTables, code);
    if (code != ResultCode::Ok)
        return code;
    if (tables.isEmpty()) {
        needsMetadata = true;
        return create(database);
    }
    if (tables.contains(QLatin1String("metadata"))) {
        const auto metadata = Metadata::select(database);
        if (metadata.error != ResultCode::Ok)
            return metadata.error;
        if (metadata.pointer)
            return upgrade(database, *metadata.pointer);
    }
    // A creation ends with the row, so this one may have broken off. When it has not, the file counts as one of the
    // first version and gets its row like a new one.
    const QString missing = missingPiece(database, tables, code);
    if (code != ResultCode::Ok)
        return code;
    if (!missing.isEmpty()) {
        log().error() << "Error on attache generation database, path:" << m_path
                      << "it is no complete generation, missing:" << missing;
        return ResultCode::Error;
    }
    needsMetadata = true;
    return ResultCode::Ok;
}

} // namespace Tolm::SQL::Generation
