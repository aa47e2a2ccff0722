#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QUuid>

class QSqlQuery;

namespace Tolm::SQL {

/// Which differential map belongs to a block-level file version (table cloud_file_version_bitmaps). The map itself is a
/// file of the backup engine, named by a UUID, in the folder for maps of files or of disk images. A record belongs to
/// the thread that uses it; the operations run on that thread's connection.
class TOLM_EXPORT CloudFileVersionBitmap {
public:
    CloudFileVersionBitmap() = default;
    explicit CloudFileVersionBitmap(unsigned long long versionId)
        : m_versionId(versionId)
    {}

    quint64 versionId() const { return m_versionId; }
    const QUuid &versionUuid() const { return m_versionUuid; }
    void setVersionId(quint64 versionId) { m_versionId = versionId; }
    void setVersionUuid(const QUuid &versionUuid) { m_versionUuid = versionUuid; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// \return false when the version has a map already, or the statement failed.
    bool insert(DatabaseConnection &connection);

    /// Fills this record from the map of a version (its own one in the second form).
    /// \return false, with the record as it was, when there is none or the statement failed.
    bool select(unsigned long long versionId, DatabaseConnection &connection);
    bool select(DatabaseConnection &connection);

    /// Gives the map of a version (its own one in the second form) this record's UUID. \return whether the statement
    /// ran.
    bool update(unsigned long long versionId, DatabaseConnection &connection);
    bool update(DatabaseConnection &connection);

    /// Moves a map to another version. \return false when that has a map already, or the statement failed.
    static bool updateVersionId(unsigned long long oldVersionId, unsigned long long newVersionId,
                                DatabaseConnection &connection);

    /// Removes the row only. \return whether the statement ran.
    static bool delete_(unsigned long long versionId, DatabaseConnection &connection);

    /// Removes this version's row, and then the map's file: that of a file backup, or, where there is none, that of a
    /// disk image. A file that cannot be removed is left behind with an error record. \return false, with every file
    /// untouched, when removing the row failed.
    bool delete_(DatabaseConnection &connection);

    /// Whether the map's file is there, in the folder for disk images or in that for files. \return false without a
    /// UUID.
    bool checkOnDisk(bool diskImage) const;

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_versionId = 0;
    QUuid m_versionUuid;
};

} // namespace Tolm::SQL
