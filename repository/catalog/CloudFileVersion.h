#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QVector>

class QSqlQuery;

namespace Tolm::SQL {

/// One stored copy of a backed-up file (table cloud_file_versions), in practice keyed by file, modification time and
/// kind. A record belongs to the thread that uses it; the operations run on that thread's connection.
///
/// The kind (`attribute`) is the engine's number; the library knows 2 and 5 as revision data of files and of disk
/// images, and that 3 and 6 may own a differential map. Encryption material is stored and returned byte for byte and
/// never interpreted. Paths given as bytes are UTF-8.
///
/// On PostgreSQL identifiers end at 2^31-1 and the delimiter is one character; more is refused.
class TOLM_EXPORT CloudFileVersion {
public:
    quint64 id() const { return m_id; }
    quint64 fileId() const { return m_fileId; }
    const QByteArray &cloudPath() const { return m_cloudPath; }      ///< in the storage, UTF-8
    const QString &path() const { return m_path; }                   ///< the file's local path
    quint64 size() const { return m_size; }                          ///< bytes in the storage
    quint64 originalSize() const { return m_originalSize; }          ///< bytes on the local disk
    const QDateTime &dateModified() const { return m_dateModified; } ///< of the local file, UTC
    /// After which it may be purged, UTC; invalid for no such time.
    const QDateTime &datePurgeDelay() const { return m_datePurgeDelay; }
    int attribute() const { return m_attribute; }
    signed char isCompressed() const { return m_isCompressed; }
    signed char isEncrypted() const { return m_isEncrypted; }
    signed char isSimple() const { return m_isSimple; }
    bool isBroken() const { return m_isBroken; }
    const QByteArray &uploadId() const { return m_uploadId; }    ///< UTF-8
    const QDateTime &dateBackup() const { return m_dateBackup; } ///< UTC
    const QByteArray &fileNameIv() const { return m_fileNameIv; }
    quint32 blockLevelRevision() const { return m_blockLevelRevision; }
    bool blockLevelIsFull() const { return m_blockLevelIsFull; }
    const QString &versionDelimiter() const { return m_versionDelimiter; } ///< "$" in a new record
    const QByteArray &encryptionIv() const { return m_encryptionIv; }
    const QByteArray &kdfsalt() const { return m_kdfsalt; }
    const QByteArray &encryptionKey() const { return m_encryptionKey; }

    void setId(quint64 id) { m_id = id; }
    void setFileId(quint64 fileId) { m_fileId = fileId; }
    void setCloudPath(const QByteArray &cloudPath) { m_cloudPath = cloudPath; }
    void setPath(const QString &path) { m_path = path; }
    void setSize(quint64 size) { m_size = size; }
    void setOriginalSize(quint64 originalSize) { m_originalSize = originalSize; }
    void setDateModified(const QDateTime &dateModified) { m_dateModified = dateModified; }
    void setDatePurgeDelay(const QDateTime &datePurgeDelay) { m_datePurgeDelay = datePurgeDelay; }
    void setAttribute(int attribute) { m_attribute = attribute; }
    void setIsCompressed(signed char isCompressed) { m_isCompressed = isCompressed; }
    void setIsEncrypted(signed char isEncrypted) { m_isEncrypted = isEncrypted; }
    void setIsSimple(signed char isSimple) { m_isSimple = isSimple; }
    void setIsBroken(bool isBroken) { m_isBroken = isBroken; }
    void setUploadId(const QByteArray &uploadId) { m_uploadId = uploadId; }
    void setDateBackup(const QDateTime &dateBackup) { m_dateBackup = dateBackup; }
    void setFileNameIv(const QByteArray &fileNameIv) { m_fileNameIv = fileNameIv; }
    void setBlockLevelRevision(quint32 revision) { m_blockLevelRevision = revision; }
    void setBlockLevelIsFull(bool isFull) { m_blockLevelIsFull = isFull; }
    void setVersionDelimiter(const QString &delimiter) { m_versionDelimiter = delimiter; }
    void setEncryptionIv(const QByteArray &encryptionIv) { m_encryptionIv = encryptionIv; }
    void setKdfsalt(const QByteArray &kdfsalt) { m_kdfsalt = kdfsalt; }
    void setEncryptionKey(const QByteArray &encryptionKey) { m_encryptionKey = encryptionKey; }

    /// The text that makes the table; empty for an unknown backend. The default time of backup in it is the moment of
    /// this call.
    static QString createTable(DatabaseType type);

    /// \name One version
    /// \return null when there is none, the file id (or id) is 0, a point in time is invalid, or the statement failed.
    ///@{
    static QSharedPointer<CloudFileVersion> select_(quint64 fileId, const QDateTime &dateModified, int attributes,
                                                    DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectById(quint64 id, DatabaseConnection &connection);
    /// The newest by modification time: of all, of those not broken, of one kind.
    static QSharedPointer<CloudFileVersion> selectLastVersion(quint64 fileId, DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectLastVersionUploaded(quint64 fileId, DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectLastVersion4Attribute(quint64 fileId, int attributes,
                                                                        DatabaseConnection &connection);
    /// The newest that is not newer than `date`: of all, of one kind, of those not broken.
    static QSharedPointer<CloudFileVersion> selectPointInTime(quint64 fileId, const QDateTime &date,
                                                              DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectPointInTime(quint64 fileId, int attributes, const QDateTime &date,
                                                              DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectPointInTimeUploaded(quint64 fileId, const QDateTime &date,
                                                                      DatabaseConnection &connection);
    /// The version of a block-level revision: of a kind, of differential data (2), of disk-image data (5).
    static QSharedPointer<CloudFileVersion> selectRevisionData(quint64 fileId, unsigned revision, int attributes,
                                                               DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectDifferentialRevisionData(quint64 fileId, unsigned revision,
                                                                           DatabaseConnection &connection);
    static QSharedPointer<CloudFileVersion> selectDiskImageRevisionData(quint64 fileId, unsigned revision,
                                                                        DatabaseConnection &connection);
    ///@}

    /// All versions of a file, or those not broken, oldest first. \return an empty list when there is none, the file id
    /// is 0, or the statement failed.
    static QList<QSharedPointer<CloudFileVersion>> select_(quint64 fileId, DatabaseConnection &connection);
    static QList<QSharedPointer<CloudFileVersion>> selectUploaded(quint64 fileId, DatabaseConnection &connection);

    /// Fills this record from the version of a file, modification time and kind (its own ones in the second form).
    /// \return false, with the record as it was, when there is none, the file id is 0, or the statement failed.
    bool select(quint64 fileId, const QDateTime &dateModified, int attributes, DatabaseConnection &connection);
    bool select(DatabaseConnection &connection);

    /// Inserts this record and sets its id. When the file id is 0, the file of its path in the destination is found
    /// first, or made together with its folders. \return false when the path is empty, the modification time invalid,
    /// or a statement failed; the version is not stored then, while a file or folders made on the way stay.
    bool insert(quint64 destinationId, DatabaseConnection &connection);

    /// Writes what an upload or a repair changes over every row of this record's file, modification time and kind: not
    /// the local path, purge delay, simple flag, file-name vector or delimiter. \return whether the statement ran, also
    /// when there is no such row; false when the file id is 0 or the time invalid.
    bool update(DatabaseConnection &connection);

    /// Whether a file has no version. \return false for file id 0 and when the statement failed.
    static bool isEmpty(quint64 fileId, DatabaseConnection &connection);

    /// The highest block-level revision stored for a file; a new one is one more. \return 0 when there is none, the
    /// file id is 0, or the statement failed.
    static int getNextRevisionNumber(quint64 fileId, DatabaseConnection &connection);

    /// Removes this version's row and its differential map; if asked, also the file when this was its last version,
    /// with the folders that become empty. Record the row's own kind and file id in it before: both decide what else
    /// goes. \return false when the id is 0, or removing the version, the file or an emptied folder failed.
    bool delete_(bool removeEmptyParents, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    friend class CheckCloudFiles4Purge;
    struct Columns;

    // The versions of some hundred ids in one statement, in no particular order; those whose row is gone are left out.
    static ResultList<CloudFileVersion> selectByIds(const QVector<quint64> &ids, DatabaseConnection &connection);

    quint64 m_id = 0;
    quint64 m_fileId = 0;
    QByteArray m_cloudPath;
    QString m_path;
    quint64 m_size = 0;
    quint64 m_originalSize = 0;
    QDateTime m_dateModified;
    QDateTime m_datePurgeDelay;
    int m_attribute = 0;
    signed char m_isCompressed = 0;
    signed char m_isEncrypted = 0;
    signed char m_isSimple = 0;
    bool m_isBroken = false;
    QByteArray m_uploadId;
    QDateTime m_dateBackup;
    QByteArray m_fileNameIv;
    quint32 m_blockLevelRevision = 0;
    bool m_blockLevelIsFull = false;
    QString m_versionDelimiter = QStringLiteral("$");
    QByteArray m_encryptionIv;
    QByteArray m_kdfsalt;
    QByteArray m_encryptionKey;
};

} // namespace Tolm::SQL
