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

/// One backup run inside a generation (table restore_points): folders, files and parts point to it. A record belongs to
/// the thread that uses it; the operations run on that thread's connection.
///
/// A byte or item count of -1 has not been set. Dates are kept in whole seconds. The schema name of an operation is
/// empty when the connection's main database is the generation, otherwise the name under which the generation is
/// attached to it. Every operation gives ResultCode::Error on a connection that is not open.
class TOLM_EXPORT RestorePoints {
public:
    quint64 id() const { return m_id; }
    const QDateTime &startDate() const { return m_startDate; }    ///< UTC
    const QDateTime &finishDate() const { return m_finishDate; }  ///< UTC
    long long sequenceNumber() const { return m_sequenceNumber; } ///< unique in the generation
    Varn::Archive::BackupType backupType() const { return m_backupType; }
    quint64 tocId() const { return m_tocId; } ///< the storage file with the table of contents
    long long totalBytes() const { return m_totalBytes; }
    long long newBytes() const { return m_newBytes; }
    long long compressedBytes() const { return m_compressedBytes; }
    Varn::Archive::SnapshotType::Value snapshotType() const { return m_snapshotType; }
    long long filesBackedUp() const { return m_filesBackedUp; }
    long long filesDeleted() const { return m_filesDeleted; }
    long long foldersBackedUp() const { return m_foldersBackedUp; }
    long long foldersDeleted() const { return m_foldersDeleted; }
    const QString &metadata() const { return m_metadata; }
    const QString &plan() const { return m_plan; }
    long long blocksCount() const { return m_blocksCount; }
    long long partsCount() const { return m_partsCount; }
    const QString &sgnFileName() const { return m_sgnFileName; }    ///< the signature file
    quint64 sessionHistoryId() const { return m_sessionHistoryId; } ///< the run in the main catalogue
    Varn::Archive::BackupResult backupResult() const { return m_backupResult; }
    const QString &backupErrorList() const { return m_backupErrorList; }
    Varn::Archive::ConsistencyCheckResult consistencyCheckResult() const { return m_consistencyCheckResult; }
    const QDateTime &consistencyCheckDateTime() const { return m_consistencyCheckDateTime; } ///< UTC
    const QString &consistencyCheckErrorList() const { return m_consistencyCheckErrorList; }
    Varn::Archive::BrokenType brokenType() const { return m_brokenType; }
    long long totalFileCount() const { return m_totalFileCount; }
    long long totalFileSize() const { return m_totalFileSize; } ///< bytes

    void setStartDate(const QDateTime &startDate) { m_startDate = startDate; }
    void setFinishDate(const QDateTime &finishDate) { m_finishDate = finishDate; }
    void setSequenceNumber(const long long &sequenceNumber) { m_sequenceNumber = sequenceNumber; }
    void setBackupType(Varn::Archive::BackupType backupType) { m_backupType = backupType; }
    void setTocId(const quint64 &tocId) { m_tocId = tocId; }
    void setTotalBytes(const long long &totalBytes) { m_totalBytes = totalBytes; }
    void setNewBytes(const long long &newBytes) { m_newBytes = newBytes; }
    void setCompressedBytes(const long long &compressedBytes) { m_compressedBytes = compressedBytes; }
    void setSnapshotType(Varn::Archive::SnapshotType::Value snapshotType) { m_snapshotType = snapshotType; }
    void setFilesBackedUp(const long long &filesBackedUp) { m_filesBackedUp = filesBackedUp; }
    void setFilesDeleted(const long long &filesDeleted) { m_filesDeleted = filesDeleted; }
    void setFoldersBackedUp(const long long &foldersBackedUp) { m_foldersBackedUp = foldersBackedUp; }
    void setFoldersDeleted(const long long &foldersDeleted) { m_foldersDeleted = foldersDeleted; }
    void setMetadata(const QString &metadata) { m_metadata = metadata; }
    void setPlan(const QString &plan) { m_plan = plan; }
    void setBlocksCount(const long long &blocksCount) { m_blocksCount = blocksCount; }
    void setPartsCount(const long long &partsCount) { m_partsCount = partsCount; }
    void setSgnFileName(const QString &sgnFileName) { m_sgnFileName = sgnFileName; }
    void setSessionHistoryId(const quint64 &sessionHistoryId) { m_sessionHistoryId = sessionHistoryId; }
    void setBackupResult(Varn::Archive::BackupResult backupResult) { m_backupResult = backupResult; }
    void setBackupErrorList(const QString &backupErrorList) { m_backupErrorList = backupErrorList; }
    void setConsistencyCheckResult(Varn::Archive::ConsistencyCheckResult consistencyCheckResult)
    {
        m_consistencyCheckResult = consistencyCheckResult;
    }
    void setConsistencyCheckDateTime(const QDateTime &consistencyCheckDateTime)
    {
        m_consistencyCheckDateTime = consistencyCheckDateTime;
    }
    void setConsistencyCheckErrorList(const QString &consistencyCheckErrorList)
    {
        m_consistencyCheckErrorList = consistencyCheckErrorList;
    }
    void setBrokenType(Varn::Archive::BrokenType brokenType) { m_brokenType = brokenType; }
    void setTotalFileCount(const long long &totalFileCount) { m_totalFileCount = totalFileCount; }
    void setTotalFileSize(const long long &totalFileSize) { m_totalFileSize = totalFileSize; }

    /// Whether something was stored although one of the file and folder counts has not been set.
    bool needSync() const;
    /// Always 0: a restore is not verified here.
    int restoreVerificationResult() const { return 0; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Inserts this record and sets its id, which stays as it is on a failure, such as 8 for a sequence number that is
    /// there already.
    int insert(const QString &schemaName, DatabaseConnection &connection);
    /// Writes this record over the row of its id. \return the code; 0 also when there is no such row.
    int update(const QString &schemaName, DatabaseConnection &connection);
    /// Removes the row of this record's id. \return the code; 0 also when there is no such row.
    int remove(const QString &schemaName, DatabaseConnection &connection);

    /// A page of the restore points, or of those that started at `date` or before, in no particular order; all for a
    /// limit below 1.
    static ResultList<RestorePoints> select(const QString &schemaName, qint64 limit, qint64 offset,
                                            DatabaseConnection &connection);
    static ResultList<RestorePoints> select(const QDateTime &date, const QString &schemaName, qint64 limit,
                                            qint64 offset, DatabaseConnection &connection);

    static ResultPointer<RestorePoints> selectBySequenceNumber(qint64 sequenceNumber, const QString &schemaName,
                                                               DatabaseConnection &connection);
    /// The one that started at exactly `date`.
    static ResultPointer<RestorePoints> selectByDateTime(const QDateTime &date, const QString &schemaName,
                                                         DatabaseConnection &connection);
    static ResultPointer<RestorePoints> selectById(quint64 id, const QString &schemaName,
                                                   DatabaseConnection &connection);
    /// The one that started last.
    static ResultPointer<RestorePoints> selectLast(const QString &schemaName, DatabaseConnection &connection);
    /// Of those with a smaller sequence number, the one that started last; the second only among those with a signature
    /// file.
    static ResultPointer<RestorePoints> selectPrev(qint64 sequenceNumber, const QString &schemaName,
                                                   DatabaseConnection &connection);
    static ResultPointer<RestorePoints> selectPrevWithSignature(qint64 sequenceNumber, const QString &schemaName,
                                                                DatabaseConnection &connection);
    /// The last one that started before `date`.
    static ResultPointer<RestorePoints> selectPrev(const QDateTime &date, const QString &schemaName,
                                                   DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    QDateTime m_startDate;
    QDateTime m_finishDate;
    long long m_sequenceNumber = 0;
    Varn::Archive::BackupType m_backupType = Varn::Archive::BackupType::Unknown;
    quint64 m_tocId = 0;
    long long m_totalBytes = 0;
    long long m_newBytes = -1;
    long long m_compressedBytes = -1;
    Varn::Archive::SnapshotType::Value m_snapshotType = Varn::Archive::SnapshotType::Value::NotSet;
    long long m_filesBackedUp = -1;
    long long m_filesDeleted = -1;
    long long m_foldersBackedUp = -1;
    long long m_foldersDeleted = -1;
    QString m_metadata;
    QString m_plan;
    long long m_blocksCount = 0;
    long long m_partsCount = 0;
    QString m_sgnFileName;
    quint64 m_sessionHistoryId = 0;
    Varn::Archive::BackupResult m_backupResult = Varn::Archive::BackupResult::Unknown;
    QString m_backupErrorList;
    Varn::Archive::ConsistencyCheckResult m_consistencyCheckResult = Varn::Archive::ConsistencyCheckResult::NotSet;
    QDateTime m_consistencyCheckDateTime;
    QString m_consistencyCheckErrorList;
    Varn::Archive::BrokenType m_brokenType = Varn::Archive::BrokenType::NotBroken;
    long long m_totalFileCount = 0;
    long long m_totalFileSize = 0;
};

} // namespace Tolm::SQL::Generation
