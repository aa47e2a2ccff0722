#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>
#include <platform/Varn/Archive.h>

#include <QDateTime>
#include <QString>
#include <QStringList>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL::Generation {

/// One file that the engine wrote to the backup storage for a generation (table storage_files): a data part, an index,
/// a metadata file. A record belongs to the thread that uses it; the operations run on that thread's connection.
///
/// The schema name of each operation is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it. Every operation gives ResultCode::Error on a connection that is not
/// open.
class TOLM_EXPORT StorageFiles {
public:
    quint64 id() const { return m_id; }
    const QString &path() const { return m_path; }         ///< in the storage
    const QString &cloudId() const { return m_cloudId; }   ///< the storage's own id of it
    const QString &uploadId() const { return m_uploadId; } ///< the upload that wrote it
    long long size() const { return m_size; }              ///< bytes
    Varn::Archive::BrokenType brokenType() const { return m_brokenType; }
    QDateTime lastModified() const { return m_lastModified; } ///< UTC

    void setPath(const QString &path) { m_path = path; }
    void setCloudId(const QString &cloudId) { m_cloudId = cloudId; }
    void setUploadId(const QString &uploadId) { m_uploadId = uploadId; }
    void setSize(const long long &size) { m_size = size; }
    void setBrokenType(Varn::Archive::BrokenType brokenType) { m_brokenType = brokenType; }
    void setLastModified(const QDateTime &lastModified) { m_lastModified = lastModified; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Inserts this record and sets its id, which stays as it is on a failure. \return the code.
    int insert(const QString &schemaName, DatabaseConnection &connection);
    /// Writes this record over the row of its id. \return the code; 0 also when there is no such row.
    int update(const QString &schemaName, DatabaseConnection &connection);
    /// Removes the row of this record's id. \return the code; 0 also when there is no such row.
    int remove(const QString &schemaName, DatabaseConnection &connection);

    /// A page of the files in no particular order; all of them for a limit below 1.
    static ResultList<StorageFiles> select(const QString &schemaName, long long limit, long long offset,
                                           DatabaseConnection &connection);
    /// The file of a path, or of an id; refused with ResultCode::Error for an empty path or id 0.
    static ResultPointer<StorageFiles> select(const QString &path, const QString &schemaName,
                                              DatabaseConnection &connection);
    static ResultPointer<StorageFiles> select(unsigned long long id, const QString &schemaName,
                                              DatabaseConnection &connection);
    /// The files whose path begins with `path`, ASCII letters without regard to case; "%" and "_" in it match anything
    /// and any character.
    static ResultList<StorageFiles> selectPathStartWith(const QString &path, const QString &schemaName,
                                                        DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    QString m_path;
    QString m_cloudId;
    QString m_uploadId;
    long long m_size = 0;
    Varn::Archive::BrokenType m_brokenType = Varn::Archive::BrokenType::NotBroken;
    QDateTime m_lastModified;
};

} // namespace Tolm::SQL::Generation
