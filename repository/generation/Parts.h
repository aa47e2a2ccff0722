#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QString>
#include <QStringList>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL::Generation {

/// A storage file that holds data of a restore point (table parts); its id is that of the storage file. A record
/// belongs to the thread that uses it; the operations run on that thread's connection.
///
/// The schema name of each operation is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it.
class TOLM_EXPORT Parts {
public:
    Parts() = default;
    Parts(unsigned long long id, unsigned long long restorePointId)
        : m_id(id)
        , m_restorePointId(restorePointId)
    {}

    quint64 id() const { return m_id; }
    quint64 restorePointId() const { return m_restorePointId; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// Inserts this record; a part whose id is there already stays as it was.
    /// \return 0 in both cases; 2 when the connection is not open; else the code.
    int insert(const QString &schemaName, DatabaseConnection &connection);

    /// The parts of a restore point.
    static ResultList<Parts> select(unsigned long long restorePointId, const QString &schemaName,
                                    DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    quint64 m_id = 0;
    quint64 m_restorePointId = 0;
};

} // namespace Tolm::SQL::Generation
