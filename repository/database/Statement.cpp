#include <repository/database/ConnectionState_p.h>
#include <repository/database/ExecQuery.h>
#include <repository/database/FailureReport_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/SQLiteResultCodes.h>
#include <repository/database/Statement_p.h>

#include <QSqlDriver>
#include <QSqlError>

#include <algorithm>

namespace Tolm::SQL {

namespace {

constexpr int MostPlaceholders = 64;

quint64 maskOf(int placeholders)
{
    return placeholders == MostPlaceholders ? ~quint64(0) : (quint64(1) << placeholders) - 1;
}

} // namespace

Statement::Statement(const DatabaseConnection &connection, const QString &text)
    : m_state(connection.state())
    , m_type(connection.dbType())
{
    if (!m_state || !connection.isOpen()) {
        m_refusal = ResultCode::Error;
        return;
    }
    m_prepared = m_state->statements.take(text);
    if (m_prepared)
        return;

    m_prepared = std::make_unique<PreparedStatement>(connection.query(), text);
    m_prepared->epoch = m_state->statements.epoch();
    Q_ASSERT(m_prepared->placeholders.size() <= MostPlaceholders);
    // On PostgreSQL any other statement of the connection would cut a forward-only result off.
    m_prepared->query.setForwardOnly(m_type == DatabaseType::SQLite);
    m_prepared->usable = m_prepared->query.prepare(text);
}

Statement::~Statement()
{
    if (!m_prepared)
        return;
    finish();
    m_state->statements.give(std::move(m_prepared));
}

Statement &Statement::bindPage(quint64 limit, quint64 offset)
{
    constexpr quint64 Most = std::numeric_limits<qlonglong>::max();
    return bind(":limit", std::min(limit, Most)).bind(":offset", std::min(offset, Most));
}

int Statement::exec()
{
    if (!m_refusal && m_bound != maskOf(m_prepared->placeholders.size()))
        refuse(ResultCode::Error, "placeholders not bound in", m_prepared->text);
    m_code = m_refusal;
    if (!m_refusal) {
        const auto prepared = m_prepared->usable ? ExecQuery::Prepared::Yes : ExecQuery::Prepared::No;
        m_code = ExecQuery(m_prepared->query, prepared).exec();
        if (m_code == ResultCode::Ok)
            m_prepared->usable = true;
        else
            failed(m_code);
    }
    return m_code;
}

bool Statement::next()
{
    if (m_code != ResultCode::Ok || !m_prepared)
        return false;
    if (m_prepared->query.next())
        return true;

    // A scan that breaks off looks like the end of the rows.
    const QSqlError error = m_prepared->query.lastError();
    if (error.isValid()) {
        reportFailure(m_prepared->query, 0);
        failed(m_type == DatabaseType::SQLite ? SQLiteResultCodes::to(error) : ResultCode::Unknown);
    }
    return false;
}

void Statement::finish()
{
    // Without rows there is nothing to leave, and asking the driver to is a tenth of a short statement.
    if (m_prepared && m_prepared->query.isSelect())
        m_prepared->query.finish();
}

std::optional<quint64> Statement::insertedId()
{
    const QVariant id = m_prepared->query.lastInsertId();
    if (!id.isValid())
        return std::nullopt;
    return id.toULongLong();
}

void Statement::bindStored(int placeholderIndex, const QVariant &value)
{
    if (m_refusal)
        return;
    const QString &placeholder = m_prepared->placeholders.at(placeholderIndex);
    if (!value.isValid()) {
        refuse(ResultCode::BadData, "value out of range for", placeholder);
        return;
    }
    m_prepared->query.bindValue(placeholder, value);
    m_bound |= quint64(1) << placeholderIndex;
}

// Values are nearly always bound in the order of the text, so the next placeholder is tried first.
int Statement::slotOf(QLatin1String placeholder)
{
    if (m_refusal)
        return -1;
    const QVector<QString> &placeholders = m_prepared->placeholders;
    if (m_nextSlot < placeholders.size() && placeholders.at(m_nextSlot) == placeholder)
        return m_nextSlot++;
    for (int slot = 0; slot < placeholders.size(); ++slot) {
        if (placeholders.at(slot) == placeholder) {
            m_nextSlot = slot + 1;
            return slot;
        }
    }
    refuse(ResultCode::Error, "no such placeholder:", QString(placeholder));
    return -1;
}

int Statement::slotOfColumn(QLatin1String column) const
{
    const QVector<QString> &placeholders = m_prepared->placeholders;
    for (int slot = 0; slot < placeholders.size(); ++slot) {
        if (placeholders.at(slot).midRef(1) == column)
            return slot;
    }
    return -1;
}

void Statement::refuse(int code, const char *reason, const QString &what)
{
    m_refusal = code;
    log().error() << "Error on exec sql query: refused," << reason << what << "\n\terror query:" << m_prepared->text;
    Q_ASSERT_X(code != ResultCode::Error, "Statement", qPrintable(what));
}

void Statement::failed(int code)
{
    m_code = code;
    m_prepared->usable = false;
    if (m_type != DatabaseType::SQLite || !m_state->inTransaction)
        return;
    // On a full or failing disk SQLite undoes the whole transaction. What the caller writes after that would become
    // permanent statement by statement, so it goes into a transaction that is never committed. In one that still
    // stands, BEGIN does nothing but fail.
    QSqlQuery begin(m_prepared->query.driver()->createResult());
    if (begin.exec(QStringLiteral("BEGIN"))) {
        m_state->transactionUndone = true;
        log().error() << "DatabaseTransaction: undone by the database, it cannot be committed";
    }
}

} // namespace Tolm::SQL
