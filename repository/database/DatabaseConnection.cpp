#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabasePool_p.h>

#include <QSqlDriver>

namespace Tolm::SQL {

DatabaseConnection::DatabaseConnection(QPointer<DatabasePool> &pool)
    : m_pool(pool)
{
    if (m_pool)
        m_entry = m_pool->acquire();
    if (m_entry)
        m_database = m_entry->database;
}

DatabaseConnection::~DatabaseConnection()
{
    // Once it is given back, the sweep of another thread may close it, and must not find a copy still in use.
    m_database = QSqlDatabase();
    if (m_entry && m_pool)
        m_pool->release(std::move(m_entry));
}

bool DatabaseConnection::isOpen() const
{
    return m_database.isOpen();
}

QSqlQuery DatabaseConnection::query() const
{
    // QSqlQuery's constructor takes an invalid database for "the default connection of the process".
    return m_database.isValid() ? QSqlQuery(m_database) : QSqlQuery(static_cast<QSqlResult *>(nullptr));
}

DatabaseType DatabaseConnection::dbType() const
{
    const QSqlDriver *driver = m_database.driver();
    return driver && driver->dbmsType() == QSqlDriver::PostgreSQL ? DatabaseType::PostgreSQL : DatabaseType::SQLite;
}

bool DatabaseConnection::isInTransaction() const
{
    return m_entry && m_entry->state.inTransaction;
}

ConnectionState *DatabaseConnection::state() const
{
    return m_entry ? &m_entry->state : nullptr;
}

} // namespace Tolm::SQL
