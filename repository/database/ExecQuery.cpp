#include <repository/database/ExecQuery.h>
#include <repository/database/FailureReport_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>
#include <repository/database/SQLiteResultCodes.h>
#include <repository/database/Timing_p.h>

#include <QElapsedTimer>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QVariant>
#include <QVector>

namespace Tolm::SQL {

namespace {

constexpr int LastAttempt = 3;

bool isSQLite(const QSqlQuery &query)
{
    return query.driver()->dbmsType() == QSqlDriver::SQLite;
}

// A failed prepare and a failed run look alike afterwards; preparing again mends the first and does not harm the
// second.
bool wasLeftFailed(const QSqlQuery &query)
{
    return query.lastError().isValid() && !query.isActive();
}

} // namespace

ExecQuery::ExecQuery(QSqlQuery &query)
    : m_query(query)
    , m_prepared(!wasLeftFailed(query))
{}

ExecQuery::ExecQuery(QSqlQuery &query, Prepared prepared)
    : m_query(query)
    , m_prepared(prepared == Prepared::Yes)
{}

ExecQuery::ExecQuery(QSqlQuery &query, const QString &text)
    : m_query(query)
    , m_text(text)
    , m_prepared(true)
{}

int ExecQuery::exec()
{
    // A closed connection fails without an error, which would read as success.
    if (!m_query.driver() || !m_query.driver()->isOpen()) {
        if (!m_prepared && !m_query.lastQuery().isEmpty()) // it was lost while it prepared
            reportFailure(m_query, 0);
        log().error() << "Error on exec sql query: no database connection";
        return ResultCode::Error;
    }

    QElapsedTimer timer;
    for (int attemptNumber = 0;; ++attemptNumber) {
        timer.start();
        if (attempt()) {
            printTimeout(timer);
            return ResultCode::Ok;
        }
        reportFailure(m_query, timer.elapsed());
        printTimeout(timer);

        if (isSQLite(m_query)) {
            const int code = SQLiteResultCodes::to(m_query.lastError());
            if (code != ResultCode::Busy && code != ResultCode::ReadOnly)
                return code;
        }
        reportPermissions();
        if (attemptNumber == LastAttempt)
            return ResultCode::RetriesExhausted;

        log().infoH() << "Go to retry sql query:" << attemptNumber << "/" << LastAttempt;
        const int unit = Timing::instance().retryUnit;
        QThread::msleep(static_cast<unsigned long>(unit) * static_cast<unsigned long>(attemptNumber + 1));
    }
}

bool ExecQuery::attempt()
{
    if (!m_text.isEmpty())
        return m_query.exec(m_text);
    return (m_prepared || prepareAgain()) && m_query.exec();
}

// Running a query whose prepare failed would replace the error by "Parameter count mismatch" with an empty code: a
// missing table, a file that is no database or a busy one could not be told apart any more.
bool ExecQuery::prepareAgain()
{
    const QString text = m_query.lastQuery();
    const QMap<QString, QVariant> named = m_query.boundValues();
    QVector<QVariant> positional;
    for (int position = 0; position < named.size(); ++position)
        positional.append(m_query.boundValue(position));

    m_prepared = m_query.prepare(text);
    for (auto value = named.begin(); value != named.end(); ++value)
        m_query.bindValue(value.key(), value.value());
    // Values that were bound by position come under names which the text does not have, and so were not taken.
    for (int position = 0; m_query.boundValues().size() < named.size() && position < positional.size(); ++position)
        m_query.bindValue(position, positional.at(position));
    return m_prepared;
}

bool ExecQuery::printTimeout(QElapsedTimer &timer)
{
    const qint64 elapsed = timer.elapsed();
    if (elapsed <= Timing::instance().slowStatement)
        return false;
    log().warning() << "Slow SQL query. timeout:" << elapsed << "\n"
                    << m_query.lastQuery() << "\nresult code:" << m_query.lastError().nativeErrorCode()
                    << "\n#####################################";
    return true;
}

} // namespace Tolm::SQL
