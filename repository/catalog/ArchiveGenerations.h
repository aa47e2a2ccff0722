#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>
#include <platform/Varn/Archive.h>

#include <QString>
#include <QUuid>
#include <QVersionNumber>

class QSqlQuery;

namespace Tolm::SQL {

/// One generation of an archive bunch (table archive_generations): its number in sequence, its format, and why and how
/// well it was made. What the generation holds is in a database of its own, found by the marker. A record belongs to
/// the thread that uses it; the operations run on that thread's connection.
///
/// A marker is unique within its bunch. When a bunch is deleted, PostgreSQL deletes its generations; on SQLite they
/// stay, because the library does not switch foreign keys on there. PostgreSQL's ids end at 2^31 - 1.
class TOLM_EXPORT ArchiveGenerations {
public:
    /// The key that the database gave; 0 for a record that is not stored.
    quint64 id() const { return m_id; }

    quint64 bunchId() const { return m_bunchId; }
    void setBunchId(quint64 bunchId) { m_bunchId = bunchId; }

    /// What ties this row to the generation's own database.
    const QUuid &marker() const { return m_marker; }
    void setMarker(const QUuid &marker) { m_marker = marker; }

    /// The version of the archive format.
    const QVersionNumber &format() const { return m_format; }
    void setFormat(const QVersionNumber &format) { m_format = format; }

    /// The place in the bunch's sequence; the current generation has the highest.
    int number() const { return m_number; }
    void setNumber(int number) { m_number = number; }

    Varn::Archive::GenerationType type() const { return m_type; }
    void setType(Varn::Archive::GenerationType type) { m_type = type; }

    Varn::Archive::FullReason fullBackupReason() const { return m_fullBackupReason; }
    void setFullBackupReason(Varn::Archive::FullReason fullBackupReason) { m_fullBackupReason = fullBackupReason; }

    Varn::Archive::BrokenType brokenType() const { return m_brokenType; }
    void setBrokenType(Varn::Archive::BrokenType brokenType) { m_brokenType = brokenType; }

    const QString &hint() const { return m_hint; }
    void setHint(const QString &hint) { m_hint = hint; }

    const QString &errorList() const { return m_errorList; }
    void setErrorList(const QString &errorList) { m_errorList = errorList; }

    /// The generation's own purge setting; -1 when not known.
    int customPurge() const { return m_customPurge; }
    void setCustomPurge(int customPurge) { m_customPurge = customPurge; }

    /// In bytes; -1 when not known.
    qint64 uploadedFilesSize() const { return m_uploadedFilesSize; }
    void setUploadedFilesSize(qint64 uploadedFilesSize) { m_uploadedFilesSize = uploadedFilesSize; }

    /// The text that makes the table.
    static QString createTable(DatabaseType type);

    /// The text that makes the table's index.
    static QString createIndex(DatabaseType type);

    /// Stores the record as a new row and takes its id. \return a ResultCode: Error, with nothing run, when the
    /// connection is not open or the bunch is 0; Error also when the database gave no key. The id changes only with Ok.
    int insert(DatabaseConnection &connection);

    /// Writes all fields to the row with this record's id. \return a ResultCode: Ok also when there is no such row,
    /// Error, with nothing run, when the connection is not open or the id is 0.
    int update(DatabaseConnection &connection) const;

    /// Deletes the row with this record's id. \return a ResultCode: Ok also when there is no such row, Error when the
    /// connection is not open.
    int remove(DatabaseConnection &connection) const;

    /// The generations of a bunch, in the database's order. With `limit` below 1 all of them, else at most `limit`
    /// after the first `offset` (below 0: after none). A connection that is not open gives Error.
    static ResultList<ArchiveGenerations> select(quint64 bunchId, qint64 limit, qint64 offset,
                                                 DatabaseConnection &connection);

    /// The bunch's generation with this marker. Error, with nothing run, when the connection is not open, the bunch is
    /// 0 or the marker null.
    static ResultPointer<ArchiveGenerations> select(quint64 bunchId, const QUuid &marker,
                                                    DatabaseConnection &connection);

    /// The bunch's generation with the highest number; one of them when several have it. A connection that is not open
    /// gives Error.
    static ResultPointer<ArchiveGenerations> current(quint64 bunchId, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_bunchId = 0;
    QUuid m_marker;
    QVersionNumber m_format;
    int m_number = 0;
    Varn::Archive::GenerationType m_type = Varn::Archive::GenerationType::Unknown;
    Varn::Archive::FullReason m_fullBackupReason = Varn::Archive::FullReason::Unknown;
    Varn::Archive::BrokenType m_brokenType = Varn::Archive::BrokenType::NotBroken;
    QString m_hint;
    QString m_errorList;
    int m_customPurge = -1;
    qint64 m_uploadedFilesSize = -1;
};

} // namespace Tolm::SQL
