#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QList>
#include <QSharedPointer>

class QSqlQuery;

namespace Tolm::SQL {

/// One link between a disk image and a stored file version that it is made of (table diskimage_versions). A record
/// belongs to the thread that uses it; the operations run on that thread's connection.
class TOLM_EXPORT DiskImageVersions {
public:
    quint64 diskImageId() const { return m_diskImageId; }
    void setDiskImageId(quint64 diskImageId) { m_diskImageId = diskImageId; }

    quint64 versionId() const { return m_versionId; }
    void setVersionId(quint64 versionId) { m_versionId = versionId; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Stores the link; a second one of the same two is stored as well. \return false when the connection is not open,
    /// a value does not fit, or the statement failed (PostgreSQL also wants image and version to exist).
    bool insert(DatabaseConnection &connection) const;

    /// The links of an image. \return an empty list when there is none, `diskImageId` is 0, the connection is not open,
    /// or the statement failed.
    static QList<QSharedPointer<DiskImageVersions>> select(quint64 diskImageId, DatabaseConnection &connection);

    /// Moves every link of one file version to another, for a stored version that is replaced. \return whether it ran,
    /// true also when there was no link; false, with nothing changed, when either id is 0, the connection is not open,
    /// or the statement failed (PostgreSQL also wants the new version to exist).
    static bool updateVersionId(quint64 oldVersionId, quint64 newVersionId, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_diskImageId = 0;
    quint64 m_versionId = 0;
};

} // namespace Tolm::SQL
