#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>
#include <platform/Varn/Archive.h>

#include <QString>
#include <QUuid>

class QSqlQuery;

namespace Tolm::SQL {

/// The archive of one plan on one destination (table archive_bunches): the cloud folder that holds it, its display name
/// and its metadata file. Its generations are ArchiveGenerations. A record belongs to the thread that uses it; the
/// operations run on that thread's connection.
///
/// A folder holds at most one bunch of each type, a plan has at most one bunch per destination. When a destination or
/// folder is deleted, PostgreSQL deletes its bunches and their generations; on SQLite they stay, because the library
/// does not switch foreign keys on there. PostgreSQL's ids end at 2^31 - 1.
class TOLM_EXPORT ArchiveBunches {
public:
    /// The key that the database gave; 0 for a record that is not stored.
    quint64 id() const { return m_id; }

    quint64 folderId() const { return m_folderId; }
    void setFolderId(quint64 folderId) { m_folderId = folderId; }

    const QString &displayName() const { return m_displayName; }
    void setDisplayName(const QString &displayName) { m_displayName = displayName; }

    Varn::Archive::Type type() const { return m_type; }
    void setType(Varn::Archive::Type type) { m_type = type; }

    quint64 destinationId() const { return m_destinationId; }
    void setDestinationId(quint64 destinationId) { m_destinationId = destinationId; }

    const QUuid &planId() const { return m_planId; }
    void setPlanId(const QUuid &planId) { m_planId = planId; }

    /// The name of the archive's metadata file.
    const QString &metaFileName() const { return m_metaFileName; }
    void setMetaFileName(const QString &metaFileName) { m_metaFileName = metaFileName; }

    /// The text that makes the table.
    static QString createTable(DatabaseType type);

    /// Stores the record as a new row and takes its id. \return a ResultCode: Error, with nothing run, when the
    /// connection is not open, folder or destination are 0 or the plan is null; Error also when the database gave no
    /// key. The id changes only with Ok.
    int insert(DatabaseConnection &connection);

    /// Deletes the row with this record's id. \return a ResultCode: Ok also when there is no such row, Error when the
    /// connection is not open.
    int remove(DatabaseConnection &connection) const;

    /// The bunches of a destination, in the database's order. With `limit` below 1 all of them, else at most `limit`
    /// after the first `offset` (below 0: after none). A connection that is not open gives Error.
    static ResultList<ArchiveBunches> select(quint64 destinationId, qint64 limit, qint64 offset,
                                             DatabaseConnection &connection);

    /// The plan's bunch on the destination. Error, with nothing run, when the connection is not open, the destination
    /// is 0 or the plan null.
    static ResultPointer<ArchiveBunches> select(const QUuid &planId, quint64 destinationId,
                                                DatabaseConnection &connection);

    /// Renames and retypes the plan's bunch on the destination and records its metadata file. \return a ResultCode: Ok
    /// also when there is no such bunch, Error when the connection is not open.
    static int updateMetaFileInfo(const QUuid &planId, quint64 destinationId, const QString &displayName,
                                  Varn::Archive::Type type, const QString &metaFileName,
                                  DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_folderId = 0;
    QString m_displayName;
    Varn::Archive::Type m_type = Varn::Archive::Type::Unknown;
    quint64 m_destinationId = 0;
    QUuid m_planId;
    QString m_metaFileName;
};

} // namespace Tolm::SQL
