#pragma once

#include <repository/database/DatabasePool.h>
#include <repository/database/DatabaseTransaction.h>

#include <QPointer>
#include <QString>

#include <optional>

namespace Tolm::Benchmarks {

/// This library on a file: a pool, and a caller's transaction.
class Library {
public:
    static constexpr char Name[] = "library";

    /// Takes the connections of an existing pool.
    explicit Library(QPointer<SQL::DatabasePool> &pool)
        : m_pool(pool)
    {}

    QPointer<SQL::DatabasePool> &pool() { return m_pool; }

    void begin()
    {
        m_connection.emplace(m_pool);
        m_transaction.emplace(*m_connection);
        if (m_transaction->error() != 0)
            qFatal("no transaction");
    }
    void commit()
    {
        if (m_transaction->commit() != 0)
            qFatal("not committed");
        end();
    }
    void rollback()
    {
        m_transaction->rollback();
        end();
    }

private:
    void end()
    {
        m_transaction.reset();
        m_connection.reset();
    }

    QPointer<SQL::DatabasePool> &m_pool;
    std::optional<SQL::DatabaseConnection> m_connection{};
    std::optional<SQL::DatabaseTransaction> m_transaction{};
};

/// Switches the library's debug records off, as a host does.
void quietLog();

/// A pool of connections to the SQLite file `path`, which is made when it does not exist; in WAL mode. The caller
/// deletes it.
QPointer<SQL::DatabasePool> openPool(const QString &path);

} // namespace Tolm::Benchmarks
