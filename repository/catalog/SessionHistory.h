#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/Tolm/Plan.h>
#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL {

/// One run (session) of a backup or restore plan (table session_history), written when the run starts or ends, and read
/// for the reports and for the last run of a plan. A record belongs to the thread that uses it; the operations run on
/// that thread's connection.
///
/// Numbers reach from 0 to 2^63-1, on PostgreSQL those of the ids, counts and times (duration, processor time) only to
/// 2^31-1; a larger one is refused and nothing is stored. Sizes are in bytes; the units of the times and of the memory
/// are the engine's own.
class TOLM_EXPORT SessionHistory {
public:
    quint64 id() const { return m_id; }
    void setId(quint64 id) { m_id = id; }
    quint64 destinationId() const { return m_destinationId; }
    void setDestinationId(quint64 destinationId) { m_destinationId = destinationId; }
    const QUuid &palnId() const { return m_planId; }
    void setPalnId(const QUuid &planId) { m_planId = planId; }

    /// When the run started, in UTC and whole seconds: the clock fields are stored without a conversion.
    const QDateTime &dateStart() const { return m_dateStart; }
    void setDateStart(const QDateTime &dateStart) { m_dateStart = dateStart; }
    quint64 duration() const { return m_duration; }
    void setDuration(quint64 duration) { m_duration = duration; }

    /// How the run ended; of its number, the lowest 8 bits come back.
    const Tolm::Info::Plan::PlanResult &result() const { return m_result; }
    void setResult(const Tolm::Info::Plan::PlanResult &result) { m_result = result; }

    quint64 uploadedCount() const { return m_uploadedCount; }
    void setUploadedCount(quint64 uploadedCount) { m_uploadedCount = uploadedCount; }
    quint64 uploadedSize() const { return m_uploadedSize; }
    void setUploadedSize(quint64 uploadedSize) { m_uploadedSize = uploadedSize; }
    quint64 scannedCount() const { return m_scannedCount; }
    void setScannedCount(quint64 scannedCount) { m_scannedCount = scannedCount; }
    quint64 scannedSize() const { return m_scannedSize; }
    void setScannedSize(quint64 scannedSize) { m_scannedSize = scannedSize; }
    quint64 purgedCount() const { return m_purgedCount; }
    void setPurgedCount(quint64 purgedCount) { m_purgedCount = purgedCount; }
    quint64 totalCount() const { return m_totalCount; }
    void setTotalCount(quint64 totalCount) { m_totalCount = totalCount; }
    quint64 totalSize() const { return m_totalSize; }
    void setTotalSize(quint64 totalSize) { m_totalSize = totalSize; }
    quint64 failedCount() const { return m_failedCount; }
    void setFailedCount(quint64 failedCount) { m_failedCount = failedCount; }
    const QString &errorMessage() const { return m_errorMessage; }
    void setErrorMessage(const QString &errorMessage) { m_errorMessage = errorMessage; }

    quint64 processorTime() const { return m_processorTime; }
    void setProcessorTime(quint64 processorTime) { m_processorTime = processorTime; }
    quint64 peerMemmoryUsage() const { return m_peakMemoryUsage; }
    void setPeerMemmoryUsage(quint64 peakMemoryUsage) { m_peakMemoryUsage = peakMemoryUsage; }

    /// The size of the differential data; -1 when none is known.
    qint64 diffSize() const { return m_diffSize; }
    void setDiffSize(qint64 diffSize) { m_diffSize = diffSize; }

    /// Where a detailed report lies, and the run's steps as free text; null for none.
    const QString &detailedReportUrl() const { return m_detailedReportUrl; }
    void setDetailedReportUrl(const QString &detailedReportUrl) { m_detailedReportUrl = detailedReportUrl; }
    const QString &steps() const { return m_steps; }
    void setSteps(const QString &steps) { m_steps = steps; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// The text that brings the table of a repository of `version` up to date, for the caller to run; empty when there
    /// is nothing to do.
    static QString update(const QVersionNumber &version);

    /// Stores the run as a new row and takes its id. \return true when it is stored; false, with the id as it was, when
    /// the connection is not open, a value does not fit or the statement failed.
    bool insert(DatabaseConnection &connection);

    /// Stores every field in the row of this id. \return true when the statement ran, also when there is no such row;
    /// false as insert().
    bool update(DatabaseConnection &connection) const;

    /// The run of `planId` with the highest id, whenever it started. \return null when the plan has none, the
    /// connection is not open or the statement failed.
    static QSharedPointer<SessionHistory> selectLast(const QUuid &planId, DatabaseConnection &connection);

    /// A page of `limit` runs after the `offset` newest, by id and oldest first. \return an empty list when there is
    /// none, the connection is not open or the statement failed.
    static QList<QSharedPointer<SessionHistory>> selectLast(unsigned long long limit, unsigned long long offset,
                                                            const DatabaseConnection &connection);

    /// A report of runs, the latest start first. NULL durations, upload counters and error messages come as 0 and the
    /// empty text.
    /// \param planId only this plan's runs; all when null.
    /// \param begin,end only runs started between the two, inclusive; from 1900 on and without an end when invalid.
    /// Runs without a start are never in.
    /// \param id only runs of lower ids, to page on from the oldest one shown; all when below 1.
    /// \param limit at most so many; all when 0 or negative.
    /// \return an empty list when there is none, the connection is not open or the statement failed.
    static QList<QSharedPointer<SessionHistory>> select(const QUuid &planId, const QDateTime &begin,
                                                        const QDateTime &end, long long id, long long limit,
                                                        const DatabaseConnection &connection);

    /// The run of this id. \return null when there is none, the connection is not open or the statement failed.
    static QSharedPointer<SessionHistory> selectById(unsigned long long id, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_destinationId = 0;
    QUuid m_planId;
    QDateTime m_dateStart;
    quint64 m_duration = 0;
    Tolm::Info::Plan::PlanResult m_result = Tolm::Info::Plan::PlanResult::NotSet;
    quint64 m_uploadedCount = 0;
    quint64 m_uploadedSize = 0;
    quint64 m_scannedCount = 0;
    quint64 m_scannedSize = 0;
    quint64 m_purgedCount = 0;
    quint64 m_totalCount = 0;
    quint64 m_totalSize = 0;
    quint64 m_failedCount = 0;
    QString m_errorMessage;
    quint64 m_processorTime = 0;
    quint64 m_peakMemoryUsage = 0;
    qint64 m_diffSize = -1;
    QString m_detailedReportUrl;
    QString m_steps;
};

} // namespace Tolm::SQL
