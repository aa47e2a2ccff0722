#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QString>
#include <QStringList>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL {

/// How often, and when last, a feature of the product was used (table statistic). The caller registers a feature once
/// under an id of its own choosing and counts each use. A record belongs to the thread that uses it; the operations run
/// on that thread's connection.
class TOLM_EXPORT Statistics {
public:
    /// The feature's id, from 1 to 2^63-1.
    quint64 id() const { return m_id; }
    void setId(quint64 id) { m_id = id; }
    const QString &featureName() const { return m_featureName; }
    void setFeatureName(const QString &featureName) { m_featureName = featureName; }

    /// The number of uses; filled only when a row is read.
    int counter() const { return m_counter; }

    /// The time of the last use in UTC, in whole seconds, invalid before the first one; filled only when a row is read.
    const QDateTime &lastUseDate() const { return m_lastUseDate; }

    /// The text that makes the table.
    static QString createTable(DatabaseType type);

    /// The texts that bring a table of an older repository version up to date: none so far.
    static QStringList update(const QVersionNumber &oldVersion, const QString &schema);

    /// Registers the feature under its id and name; it has not been used yet.
    /// \return 0 when it is stored; 2 when the id is 0 or the connection is not open; 8 on SQLite, 10 on PostgreSQL,
    /// when the id is registered already; else the ResultCode of the failure.
    int insert(DatabaseConnection &connection);

    /// Counts one use of the feature, now. No use is lost when several connections count at once.
    /// \return 0 when it is counted; 2 when the id is 0 or the connection is not open; 6 when the id is above 2^63-1; 8
    /// on SQLite, 10 on PostgreSQL, when the id was never registered; else the ResultCode of the failure.
    static int update(quint64 id, DatabaseConnection &connection);

    /// All features, in no particular order. \return an empty list with error 0 when there is none; an empty list and
    /// the code when the connection is not open (2) or the statement failed.
    static ResultList<Statistics> select(DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    QString m_featureName;
    int m_counter = 0;
    QDateTime m_lastUseDate;
};

} // namespace Tolm::SQL
