#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>

class QJsonObject;
class QSqlQuery;

namespace Tolm::SQL {

/// One place that backups are written to (table destination): a storage account, a container in it and a prefix inside
/// the container. Every other record of the catalogue carries the id of its destination. A record belongs to the thread
/// that uses it; the operations run on that thread's connection.
///
/// Account kind, account, container and prefix together are the identity: no two rows have the same, and none of the
/// four is ever stored as NULL. Everything but the statistics and the synchronisation time is written once.
class TOLM_EXPORT Destination {
public:
    /// The key that the database gave; 0 for a record that is not stored.
    quint64 id() const { return m_id; }

    const QString &cloudType() const { return m_cloudType; }
    void setCloudType(const QString &cloudType) { m_cloudType = cloudType; }

    const QString &accountId() const { return m_accountId; }
    void setAccountId(const QString &accountId) { m_accountId = accountId; }

    const QString &container() const { return m_container; }
    void setContainer(const QString &container) { m_container = container; }

    const QString &prefix() const { return m_prefix; }
    void setPrefix(const QString &prefix) { m_prefix = prefix; }

    /// When the destination was last synchronised, in UTC; invalid when it never was. The library only reads it: who
    /// records a synchronisation writes the column last_sync_time_utc as 14 digits "yyyyMMddhhmmss" in UTC.
    const QDateTime &lastSyncTime() const { return m_lastSyncTime; }

    /// Whether the destination was never synchronised.
    bool needSync() const { return !m_lastSyncTime.isValid(); }

    /// \name Statistics as updateStatistic() last stored them
    ///@{
    quint64 usedSpace() const { return m_usedSpace; } ///< in bytes
    qint64 fileCount() const { return m_fileCount; }  ///< stored versions of files
    qint64 folderCount() const { return m_folderCount; }
    ///@}

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Stores the four identity texts as a new row and takes its id. \return false, with the id unchanged, when the
    /// identity is there already, the connection is not open, or the statement failed.
    bool insert(DatabaseConnection &connection);

    /// Computes the statistics anew and stores them in the row and in this record. \return false, with row and record
    /// unchanged, when one of the figures could not be read or the row not be written. A record without a row changes
    /// nothing and is no failure.
    bool updateStatistic(DatabaseConnection &connection);

    /// Bytes that the stored versions of files and the uploaded generations of archives take. 0 when there are none,
    /// for a record without an id, and when either sum could not be read. A sum of 2^63 - 1 or more counts as 0.
    quint64 spaceUsed(DatabaseConnection &connection) const;

    /// Number of stored versions of files. 0 for a record without an id and when it could not be read.
    qint64 filesCount(DatabaseConnection &connection) const;

    /// Number of cloud folders. 0 for a record without an id and when it could not be read.
    qint64 foldersCount(DatabaseConnection &connection) const;

    /// The destination with this id. \return null when there is none, the connection is not open, or the statement
    /// failed; so do the two selects that follow.
    static QSharedPointer<Destination> select(quint64 id, DatabaseConnection &connection);

    /// The destination with this identity. Mind the order: account, prefix, container, kind.
    static QSharedPointer<Destination> select(const QString &accountId, const QString &prefix, const QString &container,
                                              const QString &cloudType, DatabaseConnection &connection);

    /// The destination of an account description; null also when SearchParams() does not recognise it.
    static QSharedPointer<Destination> select(const QJsonObject &account, DatabaseConnection &connection);

    /// All destinations, in no particular order. \return an empty list when there is none, the connection is not open,
    /// or the statement failed.
    static QList<QSharedPointer<Destination>> select(DatabaseConnection &connection);

    /// The identity of an account description: which members of the object form it depends on its "AccountType" and on
    /// the edition of the product. A member that is missing or no text counts as the empty text. Needs no connection;
    /// any thread may call it.
    /// \return false, with the four texts unchanged, for an account of a kind that has no destinations.
    static bool SearchParams(const QJsonObject &account, QString &accountId, QString &prefix, QString &container,
                             QString &cloudType);

    /// The destination of an account description, inserted when it is not there. \return null when the object is empty
    /// or not recognised, the connection is not open, or a statement failed. A failed look-up never leads to an insert.
    /// Of two connections that insert one new destination at once, one gets null; asking again finds the other's row.
    static QSharedPointer<Destination> selectOrInsert(const QJsonObject &account, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    static ResultPointer<Destination> selectByIdentity(const Destination &identity, DatabaseConnection &connection);

    quint64 m_id = 0;
    QString m_cloudType;
    QString m_accountId;
    QString m_container;
    QString m_prefix;
    QDateTime m_lastSyncTime;
    quint64 m_usedSpace = 0;
    qint64 m_fileCount = 0;
    qint64 m_folderCount = 0;
};

} // namespace Tolm::SQL
