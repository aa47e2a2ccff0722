#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

class QSqlQuery;

namespace Tolm::SQL {

/// One file operation that a run performed: a file backed up, restored, synchronised or purged (table history). The
/// engine writes a row as each operation finishes; they are read by run, page by page, and through a filtered report. A
/// record belongs to the thread that uses it; the operations run on that thread's connection.
///
/// Numbers reach from 0 to 2^63-1, on PostgreSQL all but the size only to 2^31-1; a larger one is refused and nothing
/// is stored. Dates are in UTC and whole seconds: their clock fields are stored without a conversion.
class TOLM_EXPORT History {
public:
    quint64 id() const { return m_id; }
    void setId(quint64 id) { m_id = id; }
    quint64 destinationId() const { return m_destinationId; }
    void setDestinationId(quint64 destinationId) { m_destinationId = destinationId; }
    const QUuid &palnId() const { return m_planId; }
    void setPalnId(const QUuid &planId) { m_planId = planId; }
    const QString &localPath() const { return m_localPath; }
    void setLocalPath(const QString &localPath) { m_localPath = localPath; }

    /// The kind of the operation, a number of Tolm::Info::History::OperationType.
    quint8 operationType() const { return m_operationType; }
    void setOperationType(quint8 operationType) { m_operationType = operationType; }

    /// How long it took, in the engine's own unit.
    quint64 duration() const { return m_duration; }
    void setDuration(quint64 duration) { m_duration = duration; }
    const QDateTime &dateFinished() const { return m_dateFinished; }
    void setDateFinished(const QDateTime &dateFinished) { m_dateFinished = dateFinished; }

    /// The file's modification time, and its size in bytes.
    const QDateTime &dateModified() const { return m_dateModified; }
    void setDateModified(const QDateTime &dateModified) { m_dateModified = dateModified; }
    quint64 size() const { return m_size; }
    void setSize(quint64 size) { m_size = size; }

    /// The operation's outcome. Empty and "Success" both say that it succeeded.
    const QString &message() const { return m_message; }
    void setMessage(const QString &message) { m_message = message; }

    /// The SessionHistory row of the run that it belonged to.
    quint64 sessionId() const { return m_sessionId; }
    void setSessionId(quint64 sessionId) { m_sessionId = sessionId; }
    quint64 attempts() const { return m_attempts; }
    void setAttempts(quint64 attempts) { m_attempts = attempts; }

    /// The plan's name; only the report fills it, and it is not stored.
    const QString &planName() const { return m_planName; }
    void setPlanName(const QString &planName) { m_planName = planName; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Stores the operation as a new row and takes its id. \return true when it is stored; false, with the id as it
    /// was, when the connection is not open, a value does not fit or the statement failed.
    bool insert(DatabaseConnection &connection);

    /// A page of the operations of one run, in the database's own order. \return an empty list when there is none, the
    /// connection is not open or the statement failed.
    static QList<QSharedPointer<History>> select(unsigned long long sessionId, unsigned long long limit,
                                                 unsigned long long offset, const DatabaseConnection &connection);

    /// A report of operations with their plans' names, the latest finish first. Operations of a plan that has no
    /// PlanName are not in it. NULL messages come as the empty text.
    /// \param planId only this plan's operations; all when null.
    /// \param begin,end only operations finished between the two, inclusive; from 1900 on and without an end when
    /// invalid. Operations without a finish are never in.
    /// \param unused has no effect.
    /// \param operation only operations of this kind; 100: those that failed, of whatever kind; -1: all.
    /// \param localPath only operations whose path contains this text, ASCII letters without regard to case; "%" in it
    /// stands for any characters and "_" for any one. All when empty.
    /// \param limit at most so many; all when negative.
    /// \return an empty list when there is none, the connection is not open or the statement failed.
    static QList<QSharedPointer<History>> select(const QUuid &planId, const QDateTime &begin, const QDateTime &end,
                                                 int unused, int operation, const QString &localPath, int limit,
                                                 const DatabaseConnection &connection);

    /// Runs `query`, which is prepared and bound, and appends each of its rows to `list`, with the column plan_name
    /// when `withPlanName`. When the statement fails, or reading its rows, the list stays as it was.
    static void execQuery(QSqlQuery &query, QList<QSharedPointer<History>> &list, bool withPlanName);

    /// Moves `query` to its next row and reads it by column name, the column plan_name when `withPlanName`.
    /// \return false when there is none.
    bool init(QSqlQuery &query, bool withPlanName);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_destinationId = 0;
    QUuid m_planId;
    QString m_localPath;
    quint8 m_operationType = 0;
    quint64 m_duration = 0;
    QDateTime m_dateFinished;
    QDateTime m_dateModified;
    quint64 m_size = 0;
    QString m_message;
    quint64 m_sessionId = 0;
    quint64 m_attempts = 1;
    QString m_planName;
};

} // namespace Tolm::SQL
