#include <repository/database/ExecQuery.h>
#include <repository/database/Records_p.h>
#include <repository/generation/Metadata.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QSqlDatabase>

namespace Tolm::SQL::Generation {

const QVersionNumber Metadata::Version(1, 0, 0);

struct Metadata::Columns {
    static constexpr auto Table = columns(                                                  //
        column<Stored::Version>("product_version", &Metadata::m_productVersion),            //
        column<Stored::Version>("repository_version", &Metadata::m_repositoryVersion),      //
        column<Stored::DateTime>("date_created_utc", &Metadata::m_dateCreatedUtc),          //
        column<Stored::BracedUuid>("generation_marker", &Metadata::m_generationMarker),     //
        column<Stored::Number>("generation_type", &Metadata::m_generationType),             //
        column<Stored::Number>("full_backup_reason", &Metadata::m_fullBackupReason),        //
        column<Stored::Number>("encryption_algorithm", &Metadata::m_encryptionAlgorithm),   //
        column<Stored::Number>("key_size", &Metadata::m_keySize),                           //
        column<Stored::Number>("kdf_iterations", &Metadata::m_kdfIteration),                //
        column<Stored::Bytes>("kdf_salt", &Metadata::m_kdfSalt),                            //
        column<Stored::Bytes>("secret_key", &Metadata::m_secretKey),                        //
        column<Stored::Number>("compression_algorithm", &Metadata::m_compressionAlgorithm), //
        column<Stored::Number>("block_size", &Metadata::m_blockSize),                       //
        column<Stored::Bytes>("params_hash", &Metadata::m_paramsHash),                      //
        column<Stored::Number>("platform", &Metadata::m_platform));
};

namespace {

const SchemaText &updateText()
{
    static const SchemaText text(QStringLiteral(
        "update %1metadata set product_version = :product_version, repository_version = :repository_version, "
        "date_created_utc = :date_created_utc, generation_marker = :generation_marker, generation_type = "
        ":generation_type, full_backup_reason = :full_backup_reason, encryption_algorithm = "
        ":encryption_algorithm, key_size = :key_size, kdf_iterations = :kdf_iterations, kdf_salt = "
        ":kdf_salt, secret_key = :secret_key, compression_algorithm = :compression_algorithm, block_size = "
        ":block_size, params_hash = :params_hash, platform = :platform"));
    return text;
}

const SchemaText &selectText()
{
    static const SchemaText text(QStringLiteral(
        "select product_version, repository_version, date_created_utc, generation_marker, generation_type, "
        "full_backup_reason, encryption_algorithm, key_size, kdf_iterations, kdf_salt, secret_key, "
        "compression_algorithm, block_size, params_hash, platform from %1metadata limit 1"));
    return text;
}

} // namespace

QString Metadata::createTable(const QString &schemaName)
{
    static const SchemaText text(QStringLiteral(
        "CREATE TABLE %1metadata (product_version TEXT, repository_version TEXT, date_created_utc DATETIME, "
        "generation_marker TEXT, generation_type INTEGER NOT NULL DEFAULT 0, full_backup_reason INTEGER, "
        "encryption_algorithm integer, key_size integer, kdf_iterations integer, kdf_salt BLOB, secret_key "
        "BLOB, compression_algorithm integer, block_size integer, params_hash blob, platform integer);"));
    return text.of(schemaName);
}

QStringList Metadata::createIndex(const QString & /*schemaName*/)
{
    return {};
}

QStringList Metadata::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int Metadata::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "insert into %1metadata (product_version, repository_version, date_created_utc, generation_marker, "
        "generation_type, full_backup_reason, encryption_algorithm, key_size, kdf_iterations, kdf_salt, "
        "secret_key, compression_algorithm, block_size, params_hash, platform) values (:product_version, "
        ":repository_version, :date_created_utc, :generation_marker, :generation_type, :full_backup_reason, "
        ":encryption_algorithm, :key_size, :kdf_iterations, :kdf_salt, :secret_key, :compression_algorithm, "
        ":block_size, :params_hash, :platform)"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

int Metadata::update(const QString &schemaName, DatabaseConnection &connection)
{
    Statement statement(connection, updateText().of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

int Metadata::update(const QSqlDatabase &database)
{
    if (!database.isOpen())
        return ResultCode::Error;
    QSqlQuery query(database);
    return update(query, {});
}

int Metadata::update(QSqlQuery &query, const QString &schemaName)
{
    query.prepare(updateText().of(schemaName));
    return bindRecord(query, *this, Columns::Table) ? ExecQuery(query).exec() : ResultCode::BadData;
}

ResultPointer<Metadata> Metadata::select(const QString &schemaName, DatabaseConnection &connection)
{
    Statement statement(connection, selectText().of(schemaName));
    return selectFirst<Metadata>(statement, Columns::Table);
}

ResultPointer<Metadata> Metadata::select(const QSqlDatabase &database)
{
    if (!database.isOpen())
        return {{}, ResultCode::Error};
    QSqlQuery query(database);
    query.prepare(selectText().of({}));
    if (const int code = ExecQuery(query).exec(); code != ResultCode::Ok)
        return {{}, code};
    const auto metadata = QSharedPointer<Metadata>::create();
    return {metadata->init(query) ? metadata : nullptr, ResultCode::Ok};
}

bool Metadata::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
