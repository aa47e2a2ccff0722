#include <repository/database/Records_p.h>
#include <repository/generation/PartsBlocks.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

struct PartsBlocks::Columns {
    static constexpr auto Table = columns(                         //
        column<Stored::Number>("id", &PartsBlocks::m_id),          //
        column<Stored::Number>("part_id", &PartsBlocks::m_partId), //
        column<Stored::Bytes>("address", &PartsBlocks::m_address));
};

QString PartsBlocks::createTable(const QString &schemaName)
{
    static const SchemaText text(QStringLiteral(
        "CREATE TABLE %1part_blocks (id integer NOT NULL, part_id INTEGER NOT NULL, address BLOB NOT NULL, PRIMARY "
        "KEY(id), UNIQUE(address), FOREIGN KEY (part_id) REFERENCES parts(id) ON UPDATE CASCADE ON DELETE CASCADE);"));
    return text.of(schemaName);
}

QStringList PartsBlocks::createIndex(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE INDEX IF NOT EXISTS %1part_blocks_part_id ON part_blocks (part_id);"));
    return {text.of(schemaName)};
}

QStringList PartsBlocks::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int PartsBlocks::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(
        QStringLiteral("insert into %1part_blocks (id, part_id, address) values (:id, :part_id, :address)"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

ResultPointer<PartsBlocks> PartsBlocks::select(long long id, const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral("select id, part_id, address from %1part_blocks where id = :id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":id", id);
    return selectFirst<PartsBlocks>(statement, Columns::Table);
}

bool PartsBlocks::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
