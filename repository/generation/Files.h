#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <optional>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL::Generation {

struct RestorePointRange;

/// A file as one folder row recorded it (table files), and so in one restore point. The look-ups take the newest row of
/// a path. A record belongs to the thread that uses it; the operations run on that thread's connection.
///
/// An empty list of restore points stands for all of them. A limit or offset below 1 is none; an offset needs a limit.
/// Hash, map and metadata are stored and returned unchanged; the modification time in whole seconds. The schema name of
/// an operation is empty when the connection's main database is the generation, otherwise the name under which the
/// generation is attached to it. Every operation gives ResultCode::Error on a connection that is not open.
class TOLM_EXPORT Files {
public:
    quint64 id() const { return m_id; }
    const QString &displayName() const { return m_displayName; }
    const QString &localPath() const { return m_localPath; }
    long long originalSize() const { return m_originalSize; } ///< bytes on the local disk
    const QDateTime &dateModificationUtc() { return m_dateModificationUtc; }
    int attributes() const { return m_attributes; }
    bool isCompressed() const { return m_isCompressed; }
    quint64 parentId() const { return m_parentId; }     ///< a folder row
    long long totalSize() const { return m_totalSize; } ///< bytes in the storage
    const QByteArray &hash() const { return m_hash; }
    const QByteArray &map() const { return m_map; }
    bool deleted() const { return m_deleted; } ///< it was gone in that restore point
    const QJsonObject &metadata() const { return m_metadata; }
    long long extentsSize() const { return m_extentsSize; }

    void setDisplayName(const QString &displayName) { m_displayName = displayName; }
    void setLocalPath(const QString &localPath) { m_localPath = localPath; }
    void setOriginalSize(long long originalSize) { m_originalSize = originalSize; }
    void setDateModificationUtc(const QDateTime &date) { m_dateModificationUtc = date; }
    void setAttributes(int attributes) { m_attributes = attributes; }
    void setIsCompressed(bool isCompressed) { m_isCompressed = isCompressed; }
    void setParentId(unsigned long long parentId) { m_parentId = parentId; }
    void setTotalSize(long long totalSize) { m_totalSize = totalSize; }
    void setHash(const QByteArray &hash) { m_hash = hash; }
    void setMap(const QByteArray &map) { m_map = map; }
    void setDeleted(bool deleted) { m_deleted = deleted; }
    void setMetadata(const QJsonObject &metadata) { m_metadata = metadata; }
    void setExtentsSize(long long extentsSize) { m_extentsSize = extentsSize; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Inserts this record and sets its id, which stays as it is on a failure, such as 8 for a name that its folder row
    /// has already or a missing modification time.
    int insert(const QString &schemaName, DatabaseConnection &connection);

    /// The row of a path in the newest of these restore points that recorded it.
    static ResultPointer<Files> select(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                       const QString &schemaName, DatabaseConnection &connection);

    /// The row of the same path written before `file`, with `excludeDeleted` the last one that is not deleted. Refused
    /// with ResultCode::Error for a null pointer.
    static ResultPointer<Files> selectPrev(QSharedPointer<Files> file, bool excludeDeleted, const QString &schemaName,
                                           DatabaseConnection &connection);

    /// The files of a folder by its path, through all its rows of these restore points: each path once, by the row
    /// written last, deleted ones included.
    static ResultList<Files> selectInFolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                            long long limit, long long offset, const QString &schemaName,
                                            DatabaseConnection &connection);
    /// The files of one folder row, when it belongs to one of these restore points.
    static ResultList<Files> selectInFolder(unsigned long long parentId,
                                            const QList<unsigned long long> &restorePointIds, long long limit,
                                            long long offset, const QString &schemaName,
                                            DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name; metadata that is no JSON is reported and stays as it
    /// was. \return false when there is no row.
    bool init(QSqlQuery &query);

private:
    friend class FileListingRecursive;
    struct Columns;

    // What the operation of this name finds for the list of the range's restore points.
    static ResultList<Files> selectInFolder(const QString &localPath, const RestorePointRange &restorePoints,
                                            DatabaseConnection &connection);

    void takeMetadata(const std::optional<QJsonObject> &metadata)
    {
        if (metadata)
            m_metadata = *metadata;
    }

    quint64 m_id = 0;
    QString m_displayName;
    QString m_localPath;
    long long m_originalSize = 0;
    QDateTime m_dateModificationUtc;
    int m_attributes = 0;
    bool m_isCompressed = false;
    quint64 m_parentId = 0;
    long long m_totalSize = 0;
    QByteArray m_hash;
    QByteArray m_map;
    bool m_deleted = false;
    QJsonObject m_metadata;
    long long m_extentsSize = 0;
};

} // namespace Tolm::SQL::Generation
