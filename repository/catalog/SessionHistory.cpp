#include <repository/catalog/SessionHistory.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

namespace {

/// A run's result as its number, of which 8 bits are read back.
struct ResultNumber {
    static QVariant store(const Tolm::Info::Plan::PlanResult &result, DatabaseType type)
    {
        return Stored::Number::store(int(result.value()), type);
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return T(int(Stored::Number::load<quint8>(stored)));
    }
};

} // namespace

struct SessionHistory::Columns {
    static constexpr auto Table = columns(                                                 //
        column<Stored::Number>("id", &SessionHistory::m_id),                               //
        column<Stored::Number>("destination_id", &SessionHistory::m_destinationId),        //
        column<Stored::PlainUuid>("plan_id", &SessionHistory::m_planId),                   //
        column<Stored::DateNumber>("date_start_utc", &SessionHistory::m_dateStart),        //
        column<Stored::Number>("duration", &SessionHistory::m_duration),                   //
        column<ResultNumber>("result", &SessionHistory::m_result),                         //
        column<Stored::Number>("uploaded_count", &SessionHistory::m_uploadedCount),        //
        column<Stored::Number>("uploaded_size", &SessionHistory::m_uploadedSize),          //
        column<Stored::Number>("scanned_count", &SessionHistory::m_scannedCount),          //
        column<Stored::Number>("scanned_size", &SessionHistory::m_scannedSize),            //
        column<Stored::Number>("purged_count", &SessionHistory::m_purgedCount),            //
        column<Stored::Number>("total_count", &SessionHistory::m_totalCount),              //
        column<Stored::Number>("total_size", &SessionHistory::m_totalSize),                //
        column<Stored::Number>("failed_count", &SessionHistory::m_failedCount),            //
        column<Stored::Text>("error_message", &SessionHistory::m_errorMessage),            //
        column<Stored::Number>("processor_time", &SessionHistory::m_processorTime),        //
        column<Stored::Number>("peel_memory_usage", &SessionHistory::m_peakMemoryUsage),   //
        column<Stored::Number>("diff_size", &SessionHistory::m_diffSize),                  //
        column<Stored::Text>("detailed_report_url", &SessionHistory::m_detailedReportUrl), //
        column<Stored::Text>("steps", &SessionHistory::m_steps));
};

QString SessionHistory::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral(
            "CREATE TABLE session_history (id INTEGER PRIMARY KEY ASC, destination_id integer, plan_id text, "
            "date_start_utc numeric, duration integer, result integer, uploaded_count integer, uploaded_size numeric, "
            "scanned_count integer, scanned_size numeric, purged_count integer, total_count integer, total_size "
            "numeric, failed_count integer, error_message text, processor_time integer, peel_memory_usage numeric, "
            "diff_size numeric default -1, detailed_report_url text default NULL, steps text default NULL, "
            "UNIQUE(id))"),
        QStringLiteral(
            "CREATE TABLE session_history (id SERIAL PRIMARY KEY, destination_id integer, plan_id text, "
            "date_start_utc numeric, duration integer, result integer, uploaded_count integer, uploaded_size numeric, "
            "scanned_count integer, scanned_size numeric, purged_count integer, total_count integer, total_size "
            "numeric, failed_count integer, error_message text, processor_time integer, peel_memory_usage numeric, "
            "diff_size numeric default -1, detailed_report_url text default NULL, steps text default NULL, "
            "UNIQUE(id))"));
}

QString SessionHistory::update(const QVersionNumber &version)
{
    if (version == QVersionNumber(0, 9))
        return QStringLiteral("ALTER TABLE session_history ADD COLUMN steps test default(NULL);");
    return {};
}

bool SessionHistory::insert(DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral(
            "insert into session_history(destination_id, plan_id, date_start_utc, duration, result, uploaded_count, "
            "uploaded_size, scanned_count, scanned_size, purged_count, total_count, total_size, failed_count, "
            "error_message, processor_time, peel_memory_usage, diff_size, detailed_report_url, steps) values "
            "(:destination_id, :plan_id, :date_start_utc, :duration, :result, :uploaded_count, :uploaded_size, "
            ":scanned_count, :scanned_size, :purged_count, :total_count, :total_size, :failed_count, :error_message, "
            ":processor_time, :peel_memory_usage, :diff_size, :detailed_report_url, :steps)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

bool SessionHistory::update(DatabaseConnection &connection) const
{
    Statement statement(
        connection,
        QStringLiteral(
            "update session_history set destination_id = :destination_id, plan_id = :plan_id, date_start_utc = "
            ":date_start_utc, duration = :duration, result = :result, uploaded_count = :uploaded_count, uploaded_size "
            "= :uploaded_size, scanned_count = :scanned_count, scanned_size = :scanned_size, purged_count = "
            ":purged_count, total_count = :total_count, total_size = :total_size, failed_count = :failed_count, "
            "error_message = :error_message, processor_time = :processor_time, peel_memory_usage = "
            ":peel_memory_usage, diff_size = :diff_size, detailed_report_url = :detailed_report_url, steps = :steps "
            "where id = :id"));
    return writeRecord(statement, *this, Columns::Table) == ResultCode::Ok;
}

QSharedPointer<SessionHistory> SessionHistory::selectLast(const QUuid &planId, DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral(
            "select id, destination_id, plan_id, date_start_utc, duration, result, uploaded_count, uploaded_size, "
            "scanned_count, scanned_size, purged_count, total_count, total_size, failed_count, error_message, "
            "processor_time, peel_memory_usage, diff_size, detailed_report_url, steps from session_history  where "
            "plan_id = :plan_id  order by  id desc  limit 1"));
    statement.bindAs<Stored::PlainUuid>(":plan_id", planId);
    return selectFirst<SessionHistory>(statement, Columns::Table).pointer;
}

QList<QSharedPointer<SessionHistory>> SessionHistory::selectLast(unsigned long long limit, unsigned long long offset,
                                                                 const DatabaseConnection &connection)
{
    Statement statement(
        connection,
        dialect(connection.dbType(),
                QStringLiteral("SELECT * FROM (SELECT * FROM session_history ORDER BY id DESC LIMIT :limit OFFSET "
                               ":offset) ORDER BY id ASC"),
                QStringLiteral("SELECT * FROM (SELECT * FROM session_history ORDER BY id DESC LIMIT :limit OFFSET "
                               ":offset) AS t ORDER BY id ASC")));
    statement.bindPage(limit, offset);
    return selectAll<SessionHistory>(statement, Columns::Table).list;
}

QList<QSharedPointer<SessionHistory>> SessionHistory::select(const QUuid &planId, const QDateTime &begin,
                                                             const QDateTime &end, long long id, long long limit,
                                                             const DatabaseConnection &connection)
{
    const bool isSQLite = connection.dbType() == DatabaseType::SQLite;
    const bool hasEnd = end.isValid();
    const bool hasPlan = !planId.isNull();
    const bool hasId = id >= 1;
    // PostgreSQL refuses the negative limit that means none on SQLite.
    const bool hasLimit = isSQLite ? limit != 0 : limit > 0;

    QString text = dialect(
        connection.dbType(),
        QStringLiteral(
            "select id, destination_id, plan_id, date_start_utc, ifnull(duration,0) as duration, result, "
            "ifnull(uploaded_count, 0) as uploaded_count, ifnull(uploaded_size, 0) as uploaded_size, scanned_count, "
            "scanned_size, purged_count, total_count, total_size, failed_count, ifnull(error_message, '') as "
            "error_message, processor_time, peel_memory_usage, diff_size, detailed_report_url , steps from "
            "session_history where date_start_utc >= :begin_date_start_utc "),
        QStringLiteral(
            "select id, destination_id, plan_id, date_start_utc, COALESCE(duration,0) as duration, result, "
            "COALESCE(uploaded_count, 0) as uploaded_count, COALESCE(uploaded_size, 0) as uploaded_size, "
            "scanned_count, scanned_size, purged_count, total_count, total_size, failed_count, "
            "COALESCE(error_message, '') as error_message, processor_time, peel_memory_usage, diff_size, "
            "detailed_report_url , steps from session_history where date_start_utc >= :begin_date_start_utc "));
    if (hasEnd)
        text += QLatin1String(" and date_start_utc <= :end_date_start_utc ");
    if (hasPlan)
        text += QLatin1String(" and plan_id = :plan_id ");
    if (hasId)
        text += QLatin1String(" and id < :id ");
    text += QLatin1String(" order by date_start_utc desc ");
    if (hasLimit)
        text += QLatin1String(" limit :limit");

    Statement statement(connection, text);
    statement.bind(":begin_date_start_utc", CatalogDate::lowerBound(begin));
    if (hasEnd)
        statement.bind(":end_date_start_utc", CatalogDate::upperBound(end));
    if (hasPlan)
        statement.bindAs<Stored::PlainUuid>(":plan_id", planId);
    if (hasId)
        statement.bind(":id", id);
    if (hasLimit)
        statement.bind(":limit", limit);
    return selectAll<SessionHistory>(statement, Columns::Table).list;
}

QSharedPointer<SessionHistory> SessionHistory::selectById(unsigned long long id, DatabaseConnection &connection)
{
    Statement statement(connection, QStringLiteral("select * from session_history where id = :id"));
    statement.bind(":id", id);
    return selectFirst<SessionHistory>(statement, Columns::Table).pointer;
}

bool SessionHistory::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
