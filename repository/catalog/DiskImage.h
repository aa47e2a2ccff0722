#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/Tolm/DiskImageMetaData.h>
#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>

class QSqlQuery;

namespace Tolm::SQL {

/// One disk image stored on a destination (table diskimage), with its metadata document. The stored file versions that
/// make it up are its DiskImageVersions. A record belongs to the thread that uses it; the operations run on that
/// thread's connection.
class TOLM_EXPORT DiskImage {
public:
    using PlatformType = Tolm::Info::DiskImageMetaData::PlatformType;

    /// The key that the database gave; 0 for a record that is not stored.
    quint64 id() const { return m_id; }

    /// Bytes of the stored image.
    quint64 size() const { return m_size; }
    void setSize(quint64 size) { m_size = size; }

    /// Bytes of the imaged disk.
    quint64 originalSize() const { return m_originalSize; }
    void setOriginalSize(quint64 originalSize) { m_originalSize = originalSize; }

    /// When the image was made, in UTC and stored to the second; invalid when not known. Years outside 1000 to 9999
    /// cannot be stored.
    const QDateTime &dateCreate() const { return m_dateCreate; }
    void setDateCreate(const QDateTime &dateCreate) { m_dateCreate = dateCreate; }

    bool isCompressed() const { return m_isCompressed; }
    void setIsCompressed(bool isCompressed) { m_isCompressed = isCompressed; }

    bool isEncrypted() const { return m_isEncrypted; }
    void setIsEncrypted(bool isEncrypted) { m_isEncrypted = isEncrypted; }

    /// The folder of the storage that holds the image.
    const QString &backupFolderName() const { return m_backupFolderName; }
    void setBackupFolderName(const QString &backupFolderName) { m_backupFolderName = backupFolderName; }

    quint64 destinationId() const { return m_destinationId; }
    void setDestinationId(quint64 destinationId) { m_destinationId = destinationId; }

    const QString &hostName() const { return m_hostName; }
    void setHostName(const QString &hostName) { m_hostName = hostName; }

    /// The image's metadata document, stored unchanged (Tolm::Info::DiskImageMetaData::createFromXml() reads it).
    const QString &xml() const { return m_xml; }
    void setXml(const QString &xml) { m_xml = xml; }

    /// Windows and Linux are stored as they are, anything else as Unknown.
    PlatformType platformType() const { return m_platformType; }
    void setPlatformType(PlatformType platformType) { m_platformType = platformType; }

    /// Whether the image holds only the blocks that changed since an earlier one.
    bool isBlockLevel() const { return m_isBlockLevel; }
    void setIsBlockLevel(bool isBlockLevel) { m_isBlockLevel = isBlockLevel; }

    /// Whether the image needs a decryption key that is not known here.
    bool needDecrypt() const { return m_needDecrypt; }
    void setNeedDecrypt(bool needDecrypt) { m_needDecrypt = needDecrypt; }

    QString displayName() const { return m_hostName; }
    bool isFull() const { return !m_isBlockLevel; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// A new record with what the metadata says, and the metadata itself as its document. Destination, backup folder
    /// and the block-level and decryption marks are the caller's to set.
    static QSharedPointer<DiskImage> create(const Tolm::Info::DiskImageMetaData &metaData);

    /// Stores the record as a new row and takes its id. \return false, with the id unchanged, when the connection is
    /// not open, a value does not fit, or the statement failed (PostgreSQL also wants the destination to exist).
    bool insert(DatabaseConnection &connection);

    /// Removes the image and its links to file versions; the versions stay. On SQLite these are two statements: when
    /// the second fails, links of an image that is gone are left. \return whether all of it ran; an image that is not
    /// there is no failure.
    bool delete_(DatabaseConnection &connection);

    /// The newest image of the destination made at or before `date`; the newest at all when `date` is invalid.
    /// \return null when there is none, `destinationId` is 0, the connection is not open, or the statement failed.
    static QSharedPointer<DiskImage> select(quint64 destinationId, const QDateTime &date,
                                            DatabaseConnection &connection);

    /// The newest image of the destination, null as above. An image without a date counts as newer than any other.
    static QSharedPointer<DiskImage> selectLatestVersion(quint64 destinationId, DatabaseConnection &connection);

    /// The images of the destination, oldest first and those without a date last. With `limit` and `offset` both 0 all
    /// of them, else at most `limit` after the first `offset`. \param onlyDecryptable leaves out what needDecrypt()
    /// marks. \return an empty list when there is none, `destinationId` is 0, the connection is not open, or the
    /// statement failed.
    static QList<QSharedPointer<DiskImage>> select(quint64 destinationId, quint64 limit, quint64 offset,
                                                   bool onlyDecryptable, DatabaseConnection &connection);

    /// Whether the destination has an image that needs no unknown key. \return false also when `destinationId` is 0,
    /// the connection is not open, or the statement failed.
    static bool hasData(quint64 destinationId, DatabaseConnection &connection);

    /// Whether the destination has an image that needDecrypt() marks; false as above.
    static bool hasEncryptedData(quint64 destinationId, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_size = 0;
    quint64 m_originalSize = 0;
    QDateTime m_dateCreate;
    QString m_backupFolderName;
    quint64 m_destinationId = 0;
    QString m_hostName;
    QString m_xml;
    PlatformType m_platformType = PlatformType::Unknown;
    bool m_isCompressed = false;
    bool m_isEncrypted = false;
    bool m_isBlockLevel = false;
    bool m_needDecrypt = false;
};

} // namespace Tolm::SQL
