#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QString>
#include <QStringList>

class QVersionNumber;

namespace Tolm::SQL::Generation {

/// The counter that hands out block ids: 1, 2, 3 and so on, each once in a generation, however many threads and
/// processes draw. Any thread may use it, on its own connection.
///
/// The schema name of each operation is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it.
class TOLM_EXPORT BlockIdGenerator {
public:
    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    /// The statement that starts the counter of a new generation.
    static QString init(const QString &schemaName);
    ///@}

    /// Draws the next id. Inside a caller's transaction a rolled back id is drawn again.
    /// \return -1 when the connection is not open, the counter is missing, or the statement failed.
    static long long next(const QString &schemaName, DatabaseConnection &connection);
};

} // namespace Tolm::SQL::Generation
