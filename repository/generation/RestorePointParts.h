#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>
#include <platform/Varn/Archive.h>

#include <QDateTime>
#include <QMap>
#include <QSharedPointer>
#include <QString>

class QSqlQuery;

namespace Tolm::SQL::Generation {

/// The parts of one restore point together with their storage files, in the order of a chain number that only the
/// caller knows: its subclass sets it from what was read. An object belongs to the thread that uses it; the selects run
/// on that thread's connection.
///
/// The schema name of each select is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it.
class TOLM_EXPORT RestorePointParts {
public:
    /// Makes a new object of the caller's subclass; the select owns it.
    using Factory = RestorePointParts *(*)();
    using PartsByChainNumber = QMap<long long, QSharedPointer<RestorePointParts>>;

    RestorePointParts() = default;
    virtual ~RestorePointParts() = default;
    Q_DISABLE_COPY_MOVE(RestorePointParts)

    quint64 id() const { return m_id; }                     ///< of the part
    long long chainNumber() const { return m_chainNumber; } ///< -1 until the subclass sets it
    QString path() const { return m_path; }
    QString cloudId() const { return m_cloudId; }
    QString uploadId() const { return m_uploadId; }
    long long size() const { return m_size; } ///< bytes
    Varn::Archive::BrokenType brokenType() const { return m_brokenType; }
    QDateTime lastModified() const { return m_lastModified; } ///< UTC

    /// The parts of a restore point; of several with one chain number, the one read last.
    /// \return an empty map when there is none, the connection is not open, the id is 0, or the statement failed.
    static PartsByChainNumber select(unsigned long long restorePointId, const QString &schemaName,
                                     DatabaseConnection &connection, Factory factory);
    /// The same of those whose storage file is not broken.
    static PartsByChainNumber selectNotBroken(unsigned long long restorePointId, const QString &schemaName,
                                              DatabaseConnection &connection, Factory factory);

    /// Moves `query` to its next row, reads it by column name and calls initRow().
    /// \return false when there is no row, otherwise what initRow() returns.
    bool init(QSqlQuery &query);

protected:
    /// Called when the columns of a row have been read: sets the chain number. \return false to end the reading with
    /// this row left out.
    virtual bool initRow() = 0;

    void setChainNumber(long long chainNumber) { m_chainNumber = chainNumber; }

private:
    struct Columns;

    quint64 m_id = 0;
    long long m_chainNumber = -1;
    QString m_path;
    QString m_cloudId;
    QString m_uploadId;
    long long m_size = 0;
    Varn::Archive::BrokenType m_brokenType = Varn::Archive::BrokenType::NotBroken;
    QDateTime m_lastModified;
};

} // namespace Tolm::SQL::Generation
