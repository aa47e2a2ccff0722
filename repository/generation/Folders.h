#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL::Generation {

struct RestorePointRange;

/// A folder as one restore point recorded it (table folders). One path has a row for each restore point in which it
/// changed; the listings take, for each path, the row written last among the restore points asked for. A record belongs
/// to the thread that uses it; the operations run on that thread's connection.
///
/// An empty list of restore points stands for all of them. A limit or offset below 1 is none; an offset needs a limit.
/// The schema name of an operation is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it. Every operation gives ResultCode::Error on a connection that is not
/// open.
class TOLM_EXPORT Folders {
public:
    quint64 id() const { return m_id; }
    const QString &displayName() const { return m_displayName; }
    quint64 parentId() const { return m_parentId; } ///< a folder row; 0 for none
    quint64 restorePointId() const { return m_restorePointId; }
    bool deleted() const { return m_deleted; } ///< it was gone in that restore point
    const QJsonObject &metadata() const { return m_metadata; }
    const QString &localPath() const { return m_localPath; }

    void setId(unsigned long long id) { m_id = id; }
    void setDisplayName(const QString &displayName) { m_displayName = displayName; }
    void setParentId(unsigned long long parentId) { m_parentId = parentId; }
    void setRestorePointId(unsigned long long restorePointId) { m_restorePointId = restorePointId; }
    void setDeleted(bool deleted) { m_deleted = deleted; }
    void setMetadata(const QJsonObject &metadata) { m_metadata = metadata; }
    void setLocalPath(const QString &localPath) { m_localPath = localPath; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Inserts this record and sets its id, which stays as it is on a failure, such as 8 for a folder that has a row of
    /// this name, parent and restore point already.
    int insert(const QString &schemaName, DatabaseConnection &connection);

    /// \name One row
    ///@{
    static ResultPointer<Folders> select(unsigned long long parentId, const QString &displayName,
                                         unsigned long long restorePointId, const QString &schemaName,
                                         DatabaseConnection &connection);
    static ResultPointer<Folders> select(const QString &localPath, unsigned long long restorePointId,
                                         const QString &schemaName, DatabaseConnection &connection);
    /// The row of the newest of these restore points in which the path was recorded.
    static ResultPointer<Folders> select(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                         const QString &schemaName, DatabaseConnection &connection);
    ///@}

    /// The children of a folder by its path, through all its rows: each child once, by the row written last; with
    /// `excludeDeleted` by the last one that is not deleted.
    static ResultList<Folders> selectInFolder(const QString &localPath,
                                              const QList<unsigned long long> &restorePointIds, bool excludeDeleted,
                                              long long limit, long long offset, const QString &schemaName,
                                              DatabaseConnection &connection);
    /// The children of one folder row: each child once, by whichever of its rows SQLite gives.
    static ResultList<Folders> selectInFolder(const unsigned long long &parentId,
                                              const QList<unsigned long long> &restorePointIds, bool excludeDeleted,
                                              long long limit, long long offset, const QString &schemaName,
                                              DatabaseConnection &connection);

    /// The number of children of a folder by its path; with `excludeDeleted` without those whose last row is deleted.
    static ResultValue<int> countSubfolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                           bool excludeDeleted, const QString &schemaName,
                                           DatabaseConnection &connection);
    /// The number of children of one folder row; with `excludeDeleted` without those that have deleted rows only.
    static ResultValue<int> countSubfolder(const unsigned long long &parentId,
                                           const QList<unsigned long long> &restorePointIds, bool excludeDeleted,
                                           const QString &schemaName, DatabaseConnection &connection);

    /// Whether a path is a folder there, by the row of the newest restore point; with `excludeDeleted` and not deleted.
    static ResultValue<bool> isFolder(const QString &localPath, const QList<unsigned long long> &restorePointIds,
                                      bool excludeDeleted, const QString &schemaName, DatabaseConnection &connection);

    /// Whether a path's last row, or any row above it, is deleted; false for an unknown path.
    static ResultValue<bool> checkPathIsDeleted(const QString &localPath,
                                                const QList<unsigned long long> &restorePointIds,
                                                const QString &schemaName, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name; metadata that is no JSON is reported and stays as it
    /// was. \return false when there is no row.
    bool init(QSqlQuery &query);

private:
    friend class FileListingRecursive;
    struct Columns;

    // What select() finds for the list of the range's restore points, and the paths of what selectInFolder() finds.
    static ResultPointer<Folders> select(const QString &localPath, const RestorePointRange &restorePoints,
                                         DatabaseConnection &connection);
    static ResultValue<QStringList> selectPathsInFolder(const QString &localPath,
                                                        const RestorePointRange &restorePoints,
                                                        DatabaseConnection &connection);

    void takeMetadata(const std::optional<QJsonObject> &metadata)
    {
        if (metadata)
            m_metadata = *metadata;
    }

    quint64 m_id = 0;
    QString m_displayName;
    quint64 m_parentId = 0;
    quint64 m_restorePointId = 0;
    bool m_deleted = false;
    QJsonObject m_metadata;
    QString m_localPath;
};

} // namespace Tolm::SQL::Generation
