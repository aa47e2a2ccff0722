#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>
#include <repository/database/Statistics.h>
#include <repository/database/Utitlity.h>

#include <limits>

namespace Tolm::SQL {

struct Statistics::Columns {
    static constexpr auto Table = columns(                                        //
        column<Stored::Number>("id", &Statistics::m_id),                          //
        column<Stored::RequiredText>("feature_name", &Statistics::m_featureName), //
        column<Stored::Number>("counter", &Statistics::m_counter),                //
        column<Stored::DateTime>("last_use_date_utc", &Statistics::m_lastUseDate));
};

QString Statistics::createTable(DatabaseType type)
{
    if (type == DatabaseType::PostgreSQL) {
        return QStringLiteral("CREATE TABLE statistic (id BIGINT PRIMARY KEY , feature_name TEXT NOT NULL , counter "
                              "INTEGER DEFAULT 0 NOT NULL , last_use_date_utc TIMESTAMP WITH TIME ZONE NULL);");
    }
    return QStringLiteral("CREATE TABLE statistic (id INTEGER PRIMARY KEY , feature_name TEXT NOT NULL , counter "
                          "INTEGER DEFAULT 0 NOT NULL , last_use_date_utc DATETIME NULL);");
}

QStringList Statistics::update(const QVersionNumber & /*oldVersion*/, const QString & /*schema*/)
{
    return {};
}

int Statistics::insert(DatabaseConnection &connection)
{
    if (m_id == 0)
        return ResultCode::Error;
    Statement statement(connection,
                        QStringLiteral("insert into statistic (id, feature_name) values(:id, :feature_name)"));
    // PostgreSQL makes no key here: asked for the last one, it would give that of another table or fail.
    if (connection.dbType() == DatabaseType::PostgreSQL)
        return writeRecord(statement, *this, Columns::Table);
    return insertRecord(statement, *this, Columns::Table, m_id);
}

int Statistics::update(quint64 id, DatabaseConnection &connection)
{
    if (id == 0)
        return ResultCode::Error;
    if (id > quint64(std::numeric_limits<qint64>::max()))
        return ResultCode::BadData;
    // On a conflict the counter is read from the row that is then locked: what was selected before, another session may
    // have counted up since.
    const QString text = dialect(
        connection.dbType(),
        QStringLiteral("REPLACE INTO statistic (id, counter, feature_name, last_use_date_utc) VALUES (%1, (SELECT "
                       "counter FROM statistic WHERE id = %1) + 1, (SELECT feature_name FROM statistic WHERE id = %1), "
                       ":last_use_date_utc)"),
        QStringLiteral("INSERT INTO statistic (id, counter, feature_name, last_use_date_utc) VALUES (%1, (SELECT "
                       "counter FROM statistic WHERE id = %1) + 1, (SELECT feature_name FROM statistic WHERE id = %1), "
                       ":last_use_date_utc) ON CONFLICT (id) DO UPDATE SET counter = statistic.counter + 1, "
                       "last_use_date_utc = excluded.last_use_date_utc"));
    Statement statement(connection, text.arg(id));
    statement.bindAs<Stored::DateTime>(":last_use_date_utc",
                                       Utitlity::modifiedDateTime(QDateTime::currentDateTimeUtc()));
    return statement.exec();
}

ResultList<Statistics> Statistics::select(DatabaseConnection &connection)
{
    // PostgreSQL's driver takes a timestamp for local time, which moves the clock times that the zone of the process
    // skips; a text that says UTC arrives as it is.
    Statement statement(
        connection,
        dialect(connection.dbType(),
                QStringLiteral("select id, feature_name, counter, last_use_date_utc from statistic"),
                QStringLiteral("select id, feature_name, counter, to_char(last_use_date_utc at time zone 'UTC', "
                               "'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"') as last_use_date_utc from statistic")));
    return selectAll<Statistics>(statement, Columns::Table);
}

bool Statistics::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
