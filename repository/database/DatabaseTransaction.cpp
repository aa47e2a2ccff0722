#include <repository/database/ConnectionState_p.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ExecQuery.h>
#include <repository/database/FailureReport_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>

namespace Tolm::SQL {

DatabaseTransaction::DatabaseTransaction(DatabaseConnection &connection)
    : m_connection(connection)
    , m_error(ResultCode::Error)
{
    ConnectionState *state = connection.state();
    if (!state || !connection.isOpen())
        return;
    if (state->inTransaction) {
        log().error() << "DatabaseTransaction: the thread's connection has a transaction open already";
        return;
    }
    QSqlQuery query = connection.query();
    const bool isSQLite = connection.dbType() == DatabaseType::SQLite;
    m_error = ExecQuery(query, isSQLite ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("BEGIN")).exec();
    if (m_error == ResultCode::Ok) {
        m_active = true;
        m_epoch = state->statements.epoch();
        state->inTransaction = true;
    }
}

DatabaseTransaction::~DatabaseTransaction()
{
    if (!m_active)
        return;
    log().debug() << "DatabaseTransaction: rolled back, it was not committed";
    rollback();
}

int DatabaseTransaction::commit()
{
    if (!m_active)
        return ResultCode::Error;
    if (!isStillOpen()) {
        end();
        return ResultCode::Error;
    }
    if (m_connection.state()->transactionUndone) {
        rollback();
        return ResultCode::Error;
    }
    QSqlQuery query = m_connection.query();
    if (m_connection.dbType() == DatabaseType::SQLite) {
        const int code = ExecQuery(query, QStringLiteral("COMMIT")).exec();
        if (code == ResultCode::Ok)
            end();
        else if (code != ResultCode::RetriesExhausted)
            rollback();
        return code;
    }
    // The server answers the COMMIT of a failed transaction with a successful rollback, and that of no transaction with
    // a mere notice: so it is asked first whether the transaction is still good, and a failed COMMIT is never tried
    // again.
    if (run(QStringLiteral("SELECT 1")) != ResultCode::Ok)
        return ResultCode::Error;
    const int code = run(QStringLiteral("COMMIT"));
    end();
    return code;
}

int DatabaseTransaction::rollback()
{
    if (!m_active)
        return ResultCode::Error;
    const int code = isStillOpen() ? run(QStringLiteral("ROLLBACK")) : ResultCode::Error;
    end();
    return code;
}

int DatabaseTransaction::run(const QString &text)
{
    QSqlQuery query = m_connection.query();
    if (query.exec(text))
        return ResultCode::Ok;
    reportFailure(query, 0);
    return ResultCode::Error;
}

// When the pool had to open the connection anew, the transaction went with the old one.
bool DatabaseTransaction::isStillOpen() const
{
    return m_connection.isOpen() && m_connection.state()->statements.epoch() == m_epoch;
}

void DatabaseTransaction::end()
{
    m_active = false;
    if (isStillOpen()) {
        m_connection.state()->inTransaction = false;
        m_connection.state()->transactionUndone = false;
    }
}

} // namespace Tolm::SQL
