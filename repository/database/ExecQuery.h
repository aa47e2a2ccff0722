#pragma once

#include <platform/TolmExport.h>

#include <QString>

class QElapsedTimer;
class QSqlQuery;

namespace Tolm::SQL {

/// Runs one statement: with retry while the database is busy, a report in the log when it fails or is slow, and the
/// library's ResultCode as its outcome. It belongs to the thread of the query's connection, and blocks it while it
/// waits.
///
/// It is made on the stack right before exec(); the caller's query must outlive it and afterwards holds the rows, the
/// last insert id and the last error as usual.
///
///     QSqlQuery query = connection.query();
///     query.prepare("select name from plan_name where plan_id = :plan_id");
///     query.bindValue(":plan_id", planId);
///     const int code = ExecQuery(query).exec();
class TOLM_EXPORT ExecQuery {
public:
    /// Runs `query` as it was prepared and bound. A prepare that failed need not be looked at: exec() sees it, reports
    /// its error and prepares again with the same values, at once and in each further attempt.
    explicit ExecQuery(QSqlQuery &query);

    /// Runs `text`, which is not prepared, on `query`: for statements such as BEGIN that PostgreSQL does not prepare.
    ExecQuery(QSqlQuery &query, const QString &text);

    /// Runs the statement at most four times, waiting 2, 4 and 6 s between. SQLite is tried again while it is busy,
    /// locked or read-only; PostgreSQL on every error.
    ///
    /// - done: 0;
    /// - failed: the ResultCode, and the query's lastError() says the rest; 10 when the fourth attempt failed too;
    /// - refused: 2, at once, when the query has no connection or a closed one.
    int exec();

    /// Reports the attempt that `timer` measured as slow when it has run for more than 10 s.
    /// \return whether it did.
    bool printTimeout(QElapsedTimer &timer);

private:
    friend class Statement;

    // For one who knows how preparing it ended: asking the query costs a tenth of a short statement.
    enum class Prepared { No, Yes };
    ExecQuery(QSqlQuery &query, Prepared prepared);

    bool attempt();
    bool prepareAgain();

    QSqlQuery &m_query;
    QString m_text;
    bool m_prepared;
};

} // namespace Tolm::SQL
