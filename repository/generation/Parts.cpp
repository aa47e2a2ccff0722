#include <repository/database/Records_p.h>
#include <repository/generation/Parts.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

struct Parts::Columns {
    static constexpr auto Table = columns(          //
        column<Stored::Number>("id", &Parts::m_id), //
        column<Stored::Number>("restore_point_id", &Parts::m_restorePointId));
};

QString Parts::createTable(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE TABLE %1parts (id INTEGER, restore_point_id INTEGER NOT NULL, UNIQUE(id), FOREIGN "
                       "KEY(restore_point_id) REFERENCES restore_points(id) ON UPDATE CASCADE ON DELETE CASCADE , "
                       "FOREIGN KEY(id) REFERENCES storage_files(id) ON UPDATE CASCADE ON DELETE CASCADE);"));
    return text.of(schemaName);
}

QStringList Parts::createIndex(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE INDEX IF NOT EXISTS %1parts_archive_id ON parts (restore_point_id)"));
    return {text.of(schemaName)};
}

QStringList Parts::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int Parts::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("insert or ignore into %1parts (id, restore_point_id) values (:id, :restore_point_id)"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

ResultList<Parts> Parts::select(unsigned long long restorePointId, const QString &schemaName,
                                DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("select id, restore_point_id from %1parts where restore_point_id = :restore_point_id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":restore_point_id", restorePointId);
    return selectAll<Parts>(statement, Columns::Table);
}

bool Parts::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
