#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>
#include <platform/Varn/Archive.h>
#include <platform/Varn/Core.h>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QVersionNumber>

class QSqlDatabase;
class QSqlQuery;

namespace Tolm::SQL::Generation {

/// The one row that says what a generation database is (table metadata): which product and schema version made it,
/// which generation it belongs to, and with which parameters its data was written. A record belongs to the thread that
/// uses it; the operations run on that thread's connection.
///
/// Salt, key and hash are stored and returned byte for byte and never interpreted. The schema name of an operation is
/// empty when the connection's main database is the generation, otherwise the name under which the generation is
/// attached to it. Every operation gives ResultCode::Error on a connection that is not open.
class TOLM_EXPORT Metadata {
public:
    /// The schema version that this library writes and upgrades to: 1.0.0.
    static const QVersionNumber Version;

    const QVersionNumber &productVersion() const
    {
        return m_productVersion;
    } ///< of the product that made the generation
    const QVersionNumber &repositoryVersion() const { return m_repositoryVersion; } ///< of the schema
    const QDateTime &dateCreatedUtc() const { return m_dateCreatedUtc; }
    const QUuid &generationMarker() const { return m_generationMarker; }
    Varn::Archive::GenerationType generationType() const { return m_generationType; }
    Varn::Archive::FullReason fullBackupReason() const { return m_fullBackupReason; }
    Varn::Core::Encryption::Algorithm encryptionAlgorithm() const { return m_encryptionAlgorithm; }
    int keySize() const { return m_keySize; }
    int kdfIteration() const { return m_kdfIteration; }
    const QByteArray &kdfSalt() const { return m_kdfSalt; }
    const QByteArray &secretKey() const { return m_secretKey; }
    Varn::Core::Compression::Algorithm compressionAlgorithm() const { return m_compressionAlgorithm; }
    int blockSize() const { return m_blockSize; }
    const QByteArray &paramsHash() const { return m_paramsHash; }
    Varn::Core::Platform::Type platform() const { return m_platform; }

    void setProductVersion(const QVersionNumber &productVersion) { m_productVersion = productVersion; }
    void setRepositoryVersion(const QVersionNumber &repositoryVersion) { m_repositoryVersion = repositoryVersion; }
    void setDateCreatedUtc(const QDateTime &dateCreatedUtc) { m_dateCreatedUtc = dateCreatedUtc; }
    void setGenerationMarker(const QUuid &generationMarker) { m_generationMarker = generationMarker; }
    void setGenerationType(Varn::Archive::GenerationType generationType) { m_generationType = generationType; }
    void setFullBackupReason(Varn::Archive::FullReason fullBackupReason) { m_fullBackupReason = fullBackupReason; }
    void setEncryptionAlgorithm(Varn::Core::Encryption::Algorithm encryptionAlgorithm)
    {
        m_encryptionAlgorithm = encryptionAlgorithm;
    }
    void setKeySize(int keySize) { m_keySize = keySize; }
    void setKdfIteration(int kdfIteration) { m_kdfIteration = kdfIteration; }
    void setKdfSalt(const QByteArray &kdfSalt) { m_kdfSalt = kdfSalt; }
    void setSecretKey(const QByteArray &secretKey) { m_secretKey = secretKey; }
    void setCompressionAlgorithm(Varn::Core::Compression::Algorithm compressionAlgorithm)
    {
        m_compressionAlgorithm = compressionAlgorithm;
    }
    void setBlockSize(int blockSize) { m_blockSize = blockSize; }
    void setParamsHash(const QByteArray &paramsHash) { m_paramsHash = paramsHash; }
    void setPlatform(const Varn::Core::Platform::Type &platform) { m_platform = platform; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Adds this record as a row. \return the code.
    int insert(const QString &schemaName, DatabaseConnection &connection);

    /// Writes this record over the row; nothing happens when there is none. \return the code.
    int update(const QString &schemaName, DatabaseConnection &connection);
    /// The same on a database without a pool, whose main database is the generation.
    int update(const QSqlDatabase &database);
    /// The same on a caller's query, which is prepared anew.
    int update(QSqlQuery &query, const QString &schemaName);

    /// The row; a null pointer with error 0 when there is none.
    static ResultPointer<Metadata> select(const QString &schemaName, DatabaseConnection &connection);
    /// The same on a database without a pool, whose main database is the generation.
    static ResultPointer<Metadata> select(const QSqlDatabase &database);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    QVersionNumber m_productVersion = Varn::Core::Version::number();
    QVersionNumber m_repositoryVersion = Version;
    QDateTime m_dateCreatedUtc;
    QUuid m_generationMarker;
    Varn::Archive::GenerationType m_generationType = Varn::Archive::GenerationType::Unknown;
    Varn::Archive::FullReason m_fullBackupReason = Varn::Archive::FullReason::Unknown;
    Varn::Core::Encryption::Algorithm m_encryptionAlgorithm = Varn::Core::Encryption::Algorithm::NotSet;
    int m_keySize = 0;
    int m_kdfIteration = 0;
    QByteArray m_kdfSalt;
    QByteArray m_secretKey;
    Varn::Core::Compression::Algorithm m_compressionAlgorithm = Varn::Core::Compression::Algorithm::NotSet;
    int m_blockSize = 0;
    QByteArray m_paramsHash;
    Varn::Core::Platform::Type m_platform = Varn::Core::Platform::Type::NotSet;
};

} // namespace Tolm::SQL::Generation
