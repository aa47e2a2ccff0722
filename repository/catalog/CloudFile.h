#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>

class QSqlQuery;

namespace Tolm::SQL {

/// One local file that was backed up to one destination (table cloud_files), under the folder that contains it; its
/// stored copies are its versions. A record belongs to the thread that uses it; the operations run on that thread's
/// connection.
///
/// A file is unique by destination and local path. On PostgreSQL identifiers end at 2^31-1 and a local path near 2,700
/// bytes (it stands in a unique index); more is refused.
class TOLM_EXPORT CloudFile {
public:
    /// "yyyyMMddhhmmss", the form of every date of the catalogue, in UTC.
    static const QString DateFormat;

    quint64 id() const { return m_id; }
    quint64 destinationId() const { return m_destinationId; }
    quint64 parentId() const { return m_parentId; }             ///< the containing folder
    const QByteArray &cloudPath() const { return m_cloudPath; } ///< in the storage, UTF-8
    const QString &localPath() const { return m_localPath; }    ///< full path, separated by "/"
    const QString &name() const { return m_name; }              ///< in lower case
    const QString &displayName() const { return m_displayName; }
    quint64 size() const { return m_size; }                          ///< bytes in the storage
    quint64 originalSize() const { return m_originalSize; }          ///< bytes on the local disk
    const QDateTime &dateModified() const { return m_dateModified; } ///< UTC
    signed char isCompressed() const { return m_isCompressed; }
    signed char isEncrypted() const { return m_isEncrypted; }
    signed char isSimple() const { return m_isSimple; }
    bool isBroken() const { return m_isBroken; }
    /// When the file was found deleted on the local machine, UTC; invalid while it is not.
    const QDateTime &dateDeleted() const { return m_dateDeleted; }

    void setId(quint64 id) { m_id = id; }
    void setDestinationId(quint64 destinationId) { m_destinationId = destinationId; }
    void setParentId(quint64 parentId) { m_parentId = parentId; }
    void setCloudPath(const QByteArray &cloudPath) { m_cloudPath = cloudPath; }
    void setLocalPath(const QString &localPath) { m_localPath = localPath; }
    /// Sets the display name, and the name to its lower-case form.
    void setName(const QString &displayName);
    void setSize(quint64 size) { m_size = size; }
    void setOriginalSize(quint64 originalSize) { m_originalSize = originalSize; }
    void setDateModified(const QDateTime &dateModified) { m_dateModified = dateModified; }
    void setIsCompressed(signed char isCompressed) { m_isCompressed = isCompressed; }
    void setIsEncrypted(signed char isEncrypted) { m_isEncrypted = isEncrypted; }
    void setIsSimple(signed char isSimple) { m_isSimple = isSimple; }
    void setIsBroken(bool isBroken) { m_isBroken = isBroken; }
    /// Marks the file as deleted locally; an invalid date clears the mark.
    void setDateDeleted(const QDateTime &dateDeleted) { m_dateDeleted = dateDeleted; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Inserts this record and sets its id. \return false, with the id as it was, when the local path is empty,
    /// destination or parent is 0, or the statement failed.
    bool insert(DatabaseConnection &connection);

    /// Writes this record over the row of its id. \return whether the statement ran, also when there is no such row.
    bool update(DatabaseConnection &connection) const;

    /// Fills this record from the row of its destination and local path; without one, inserts it, after finding or
    /// making the folder of its path unless the parent is set. \return false when destination or path is missing, or a
    /// statement failed.
    bool selectOrInsert(DatabaseConnection &connection);

    /// Fills this record. \return false, with the record as it was, when there is no such file, an argument is 0 or
    /// empty, or the statement failed.
    bool select(quint64 destinationId, const QString &localPath, const DatabaseConnection &connection);
    bool select(quint64 id, const DatabaseConnection &connection);
    /// The file of this record's own destination and local path.
    bool select(DatabaseConnection &connection);

    /// \return null when there is no such file, an argument is 0 or empty, or the statement failed.
    static QSharedPointer<CloudFile> select_(quint64 destinationId, const QString &localPath,
                                             DatabaseConnection &connection);

    /// \name Lists
    /// Each is empty when there is nothing, the id is 0, or the statement failed.
    ///@{
    /// A page of a destination's files, in no particular order.
    static QList<QSharedPointer<CloudFile>> select_(quint64 destinationId, quint64 limit, quint64 offset,
                                                    const DatabaseConnection &connection);
    /// A page of a folder's files in the order of their display names' bytes; all of them for limit 0.
    static QList<QSharedPointer<CloudFile>> selectFolder(quint64 parentId, quint64 limit, quint64 offset,
                                                         const DatabaseConnection &connection);
    /// The same of the files that are not broken; none for limit 0.
    static QList<QSharedPointer<CloudFile>> selectFolderUploaded(quint64 parentId, quint64 limit, quint64 offset,
                                                                 const DatabaseConnection &connection);
    /// A page of a destination's files whose name contains `name`, ASCII letters without regard to case.
    static QList<QSharedPointer<CloudFile>> selectByName(quint64 limit, quint64 offset, quint64 destinationId,
                                                         const QString &name, const DatabaseConnection &connection);
    ///@}

    /// Removes this file's row, its versions too if asked, and then its folder and the folder's parents as far as they
    /// have become empty. \return false when the id is 0, or removing the file or an emptied folder failed.
    bool delete_(bool withVersions, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_destinationId = 0;
    quint64 m_parentId = 0;
    QByteArray m_cloudPath;
    QString m_localPath;
    QString m_name;
    QString m_displayName;
    quint64 m_size = 0;
    quint64 m_originalSize = 0;
    QDateTime m_dateModified;
    signed char m_isCompressed = 0;
    signed char m_isEncrypted = 0;
    signed char m_isSimple = 0;
    bool m_isBroken = false;
    quint8 m_driveId = 0;
    QDateTime m_dateDeleted;
    quint16 m_flags = 0;
};

} // namespace Tolm::SQL
