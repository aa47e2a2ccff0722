#include <repository/catalog/PlanName.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

struct PlanName::Columns {
    static constexpr auto Table = columns(                       //
        column<Stored::PlainUuid>("plan_id", &PlanName::m_id),   //
        column<Stored::RequiredText>("name", &PlanName::m_name), //
        column<Stored::Number>("type", &PlanName::m_type));
};

QString PlanName::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE IF NOT EXISTS plan_name ( plan_id text  PRIMARY KEY, name text NOT NULL, type "
                       "integer NOT NULL);"));
}

bool PlanName::update(const QUuid &planId, const QString &name, Tolm::Info::Plan::SubType type,
                      DatabaseConnection &connection)
{
    PlanName record;
    record.m_id = planId;
    record.m_name = name;
    record.m_type = type;
    Statement statement(
        connection,
        dialect(connection.dbType(),
                QStringLiteral("INSERT OR REPLACE INTO plan_name(plan_id, name, type) VALUES (:plan_id, :name, :type)"),
                QStringLiteral("insert into plan_name(plan_id, name, type) VALUES (:plan_id, :name, :type) on "
                               "conflict(plan_id) do update set name = excluded.name")));
    return writeRecord(statement, record, Columns::Table) == ResultCode::Ok;
}

QMap<QUuid, QSharedPointer<PlanName>> PlanName::select(DatabaseConnection &connection)
{
    Statement statement(connection, QStringLiteral("select plan_id, name, type from plan_name"));
    QMap<QUuid, QSharedPointer<PlanName>> names;
    const auto rows = selectAll<PlanName>(statement, Columns::Table).list;
    for (const QSharedPointer<PlanName> &row : rows)
        names.insert(row->id(), row);
    return names;
}

bool PlanName::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
