#include <repository/catalog/History.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

#include <platform/Tolm/HistoryOperation.h>

namespace Tolm::SQL {

struct History::Columns {
    static constexpr auto Table = columns(                                         //
        column<Stored::Number>("id", &History::m_id),                              //
        column<Stored::Number>("destination_id", &History::m_destinationId),       //
        column<Stored::PlainUuid>("plan_id", &History::m_planId),                  //
        column<Stored::RequiredText>("local_path", &History::m_localPath),         //
        column<Stored::Number>("operation", &History::m_operationType),            //
        column<Stored::Number>("duration", &History::m_duration),                  //
        column<Stored::DateNumber>("date_finished_utc", &History::m_dateFinished), //
        column<Stored::DateNumber>("date_modified_utc", &History::m_dateModified), //
        column<Stored::Number>("size", &History::m_size),                          //
        column<Stored::Text>("message", &History::m_message),                      //
        column<Stored::Number>("session_id", &History::m_sessionId),               //
        column<Stored::Number>("attempts", &History::m_attempts));

    static constexpr auto WithPlanName =
        std::tuple_cat(Table, columns(column<Stored::Text>("plan_name", &History::m_planName)));
};

QString History::createTable(DatabaseType type)
{
    return dialect(type,
                   QStringLiteral("CREATE TABLE history (id INTEGER PRIMARY KEY ASC, destination_id integer, plan_id "
                                  "text, local_path text, operation integer, duration integer, date_finished_utc "
                                  "numeric, date_modified_utc numeric, size numeric, message text, session_id integer, "
                                  "attempts integer, UNIQUE(id));"),
                   QStringLiteral("CREATE TABLE history (id SERIAL PRIMARY KEY, destination_id integer, plan_id text, "
                                  "local_path text, operation integer, duration integer, date_finished_utc numeric, "
                                  "date_modified_utc numeric, size numeric, message text, session_id integer, attempts "
                                  "integer, UNIQUE(id));"));
}

bool History::insert(DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral(
            "insert into history(destination_id, plan_id, local_path, operation, duration, date_finished_utc, "
            "date_modified_utc, size, message, session_id, attempts) values (:destination_id, :plan_id, :local_path, "
            ":operation, :duration, :date_finished_utc, :date_modified_utc, :size, :message, :session_id, "
            ":attempts)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

QList<QSharedPointer<History>> History::select(unsigned long long sessionId, unsigned long long limit,
                                               unsigned long long offset, const DatabaseConnection &connection)
{
    Statement statement(
        connection, QStringLiteral("select * from history where session_id = :session_id limit :limit offset :offset"));
    statement.bind(":session_id", sessionId).bindPage(limit, offset);
    return selectAll<History>(statement, Columns::Table).list;
}

QList<QSharedPointer<History>> History::select(const QUuid &planId, const QDateTime &begin, const QDateTime &end,
                                               int /*unused*/, int operation, const QString &localPath, int limit,
                                               const DatabaseConnection &connection)
{
    using Tolm::Info::History::OperationType;
    const DatabaseType type = connection.dbType();
    const int kind = OperationType(operation).value();
    const bool hasEnd = end.isValid();
    const bool hasPlan = !planId.isNull();
    const bool hasKind = kind != OperationType::All && kind != OperationType::Failed;
    const bool hasPath = !localPath.isEmpty();
    // PostgreSQL refuses the negative limit that means none on SQLite.
    const bool hasLimit = type == DatabaseType::SQLite || limit >= 0;

    QString text = QStringLiteral("SELECT id, destination_id, history.plan_id as plan_id, session_id, attempts, "
                                  "date_modified_utc, duration, local_path");
    text += dialect(type, QStringLiteral(", ifnull(message, '') as message"),
                    QStringLiteral(", COALESCE(message, '') as message"));
    text += QLatin1String(", operation, size, date_finished_utc, plan_name.name as plan_name FROM history, plan_name "
                          "WHERE plan_name.plan_id = history.plan_id and date_finished_utc >= "
                          ":begin_date_finished_utc");
    if (hasEnd)
        text += QLatin1String(" and date_finished_utc <= :end_date_finished_utc");
    if (hasPlan)
        text += QLatin1String(" and history.plan_id = :plan_id");
    if (kind == OperationType::Failed) {
        text += dialect(type, QStringLiteral(" and (message not NULL and message <> 'Success' and message <> '')"),
                        QStringLiteral(" and (message is not NULL and message <> 'Success' and message <> '')"));
    }
    if (hasKind)
        text += QLatin1String(" and operation = :operation");
    // SQLite's like folds ASCII letters only and knows no escape; so does ILIKE in this collation, without one.
    if (hasPath) {
        text += dialect(type, QStringLiteral(" and like(:local_path, local_path) = 1"),
                        QStringLiteral(" and local_path COLLATE \"C\" ILIKE :local_path ESCAPE ''"));
    }
    text += QLatin1String(" ORDER BY date_finished_utc DESC");
    if (hasLimit)
        text += QLatin1String(" LIMIT :limit");

    Statement statement(connection, text);
    statement.bind(":begin_date_finished_utc", CatalogDate::lowerBound(begin));
    if (hasEnd)
        statement.bind(":end_date_finished_utc", CatalogDate::upperBound(end));
    if (hasPlan)
        statement.bindAs<Stored::PlainUuid>(":plan_id", planId);
    if (hasKind)
        statement.bind(":operation", operation);
    if (hasPath)
        statement.bind(":local_path", QLatin1Char('%') + localPath + QLatin1Char('%'));
    if (hasLimit)
        statement.bind(":limit", limit);
    return selectAll<History>(statement, Columns::WithPlanName).list;
}

void History::execQuery(QSqlQuery &query, QList<QSharedPointer<History>> &list, bool withPlanName)
{
    if (withPlanName)
        appendAll(list, query, Columns::WithPlanName);
    else
        appendAll(list, query, Columns::Table);
}

bool History::init(QSqlQuery &query, bool withPlanName)
{
    return withPlanName ? initRecord(*this, query, Columns::WithPlanName) : initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
