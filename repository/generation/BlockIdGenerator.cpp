#include <repository/database/Statement_p.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

QString BlockIdGenerator::createTable(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("CREATE TABLE %1block_id_generator (id INTEGER PRIMARY KEY AUTOINCREMENT)"));
    return text.of(schemaName);
}

QStringList BlockIdGenerator::createIndex(const QString & /*schemaName*/)
{
    return {};
}

QStringList BlockIdGenerator::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

QString BlockIdGenerator::init(const QString &schemaName)
{
    static const SchemaText text(
        QStringLiteral("insert into %1SQLITE_SEQUENCE (seq, name) values (0, 'block_id_generator')"));
    return text.of(schemaName);
}

namespace {

// Both statements see the same value only where nobody else can write between them. SQLite makes a temporary table for
// each RETURNING, which costs thirty times as much as these two.
long long nextInTransaction(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText increment(
        QStringLiteral("update %1SQLITE_SEQUENCE set seq = COALESCE(seq, 0) + 1 where name = 'block_id_generator'"));
    static const SchemaText read(QStringLiteral("select seq from %1SQLITE_SEQUENCE where name = 'block_id_generator'"));
    if (Statement(connection, increment.of(schemaName)).exec() != ResultCode::Ok)
        return -1;
    Statement statement(connection, read.of(schemaName));
    if (statement.exec() != ResultCode::Ok || !statement.next())
        return -1;
    return Stored::Number::load<long long>(statement.value(0));
}

} // namespace

long long BlockIdGenerator::next(const QString &schemaName, DatabaseConnection &connection)
{
    if (connection.isInTransaction())
        return nextInTransaction(schemaName, connection);

    // Update and select as two statements can hand one value to two connections.
    static const SchemaText text(QStringLiteral("update %1SQLITE_SEQUENCE set seq = COALESCE(seq, 0) + 1 where name = "
                                                "'block_id_generator' returning seq"));
    Statement statement(connection, text.of(schemaName));
    if (statement.exec() != ResultCode::Ok || !statement.next())
        return -1;
    const auto id = Stored::Number::load<long long>(statement.value(0));
    // Outside a transaction only the end of the statement makes it permanent, and that can fail, on a full disk say.
    while (statement.next()) {
    }
    return statement.code() == ResultCode::Ok ? id : -1;
}

} // namespace Tolm::SQL::Generation
