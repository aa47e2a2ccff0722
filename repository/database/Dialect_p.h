#pragma once

#include <repository/database/DatabaseType.h>

#include <QString>

namespace Tolm::SQL {

/// The text of the backend `type`, where the two need different ones; the null text for any other value.
inline QString dialect(DatabaseType type, const QString &sqlite, const QString &postgreSql)
{
    switch (type) {
    case DatabaseType::SQLite:
        return sqlite;
    case DatabaseType::PostgreSQL:
        return postgreSql;
    }
    return {};
}

/// The same for texts that are kept.
struct DialectText {
    QString sqlite;
    QString postgreSql;

    const QString &of(DatabaseType type) const { return type == DatabaseType::PostgreSQL ? postgreSql : sqlite; }
};

/// A text that serves both backends; the null text for any other value.
inline QString dialect(DatabaseType type, const QString &both)
{
    return dialect(type, both, both);
}

} // namespace Tolm::SQL
