#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class QSqlQuery;

namespace Tolm::SQL {

/// One folder of a destination's mirrored tree (table cloud_folders); files and archive bunches hang under it. A record
/// belongs to the thread that uses it; the operations run on that thread's connection.
///
/// A path is split at "/", after one trailing "/" is taken off; the first folder of an absolute path is a top-level
/// folder with the empty name. Names are compared with their case. A folder is unique by name, parent and destination;
/// of two threads that create one at once, one insert fails.
///
/// On PostgreSQL identifiers end at 2^31-1, and a name in the unique index near 2,700 bytes; more is refused.
class TOLM_EXPORT CloudFolder {
public:
    quint64 id() const { return m_id; }
    const QString &name() const { return m_name; }               ///< in lower case
    const QString &displayName() const { return m_displayName; } ///< as written in the path
    quint64 parentId() const { return m_parentId; }              ///< 0 for a top-level folder
    quint64 destintionId() const { return m_destintionId; }

    void setId(quint64 id) { m_id = id; }
    /// Sets the display name, and the name to its lower-case form.
    void setName(const QString &displayName);
    void setParentId(quint64 parentId) { m_parentId = parentId; }
    void setDestintionId(quint64 destintionId) { m_destintionId = destintionId; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Fills this record. \return false, with the record as it was, when there is no such folder, the id is 0, or the
    /// statement failed.
    bool select(quint64 id, DatabaseConnection &connection);
    bool select(quint64 destinationId, quint64 parentId, const QString &displayName, DatabaseConnection &connection);
    /// The folder of this record's own destination, parent and display name.
    bool select(DatabaseConnection &connection);

    /// \return null when there is no such folder, the id is 0, or the statement failed.
    static QSharedPointer<CloudFolder> selectByFolderId(quint64 id, DatabaseConnection &connection);

    /// The folder at a path. \return null when any step of it is missing or a statement failed.
    static QSharedPointer<CloudFolder> select(quint64 destinationId, const QString &path,
                                              DatabaseConnection &connection);

    /// The folder at a path; steps that are missing are made. \return null when one could not be made; those made
    /// before it stay, and the next call goes on from there.
    static QSharedPointer<CloudFolder> selectOrInsert(quint64 destinationId, const QString &path,
                                                      DatabaseConnection &connection);

    /// Inserts this record and sets its id. \return false, with the id as it was, when that failed.
    bool insert(DatabaseConnection &connection);

    /// The children of a folder in the order of their display names' bytes; all of them for limit 0.
    /// \return an empty list when there is none or the statement failed.
    static QList<QSharedPointer<CloudFolder>> select(quint64 parentId, quint64 limit, quint64 offset,
                                                     DatabaseConnection &connection);
    /// The children of the folder at a path; also empty for destination 0.
    static QList<QSharedPointer<CloudFolder>> select(quint64 destinationId, const QString &path, quint64 limit,
                                                     quint64 offset, DatabaseConnection &connection);

    /// The number of children; 0 when the statement failed.
    static int subfolderCount(quint64 parentId, DatabaseConnection &connection);

    /// Whether a folder holds no file and no folder, nor, on PostgreSQL, an archive bunch, which would go with the
    /// folder there. \return false for id 0 and when the statement failed.
    static bool isEmpty(quint64 folderId, DatabaseConnection &connection);

    /// The full path of a folder, "/" in front and at the end: as far as its parents can be read, and no folder twice.
    /// \return "/" when the folder cannot be read, the empty text when the connection is not open.
    static QString selectPath(quint64 folderId, DatabaseConnection &connection);
    QString selectPath(DatabaseConnection &connection);

    /// Removes this folder's row and, if asked, every parent that becomes empty by it.
    /// \return false when a statement failed, or an empty parent could not be read.
    bool delete_(bool removeEmptyParents, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    bool selectBelow(quint64 destinationId, quint64 parentId, const QStringList &names, DatabaseConnection &connection);

    quint64 m_id = 0;
    QString m_name;
    QString m_displayName;
    quint64 m_parentId = 0;
    quint64 m_destintionId = 0;
};

} // namespace Tolm::SQL
