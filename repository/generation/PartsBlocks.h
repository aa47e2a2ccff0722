#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/Result.h>

#include <platform/TolmExport.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

class QSqlQuery;
class QVersionNumber;

namespace Tolm::SQL::Generation {

/// One data block stored in a part (table part_blocks), with an opaque address that is unique in the generation. A
/// record belongs to the thread that uses it; the operations run on that thread's connection.
///
/// The schema name of each operation is empty when the connection's main database is the generation, otherwise the name
/// under which the generation is attached to it.
class TOLM_EXPORT PartsBlocks {
public:
    PartsBlocks() = default;
    /// \param id drawn from BlockIdGenerator.
    PartsBlocks(long long id, unsigned long long partId, const QByteArray &address)
        : m_id(id)
        , m_partId(partId)
        , m_address(address)
    {}

    long long id() const { return m_id; }
    quint64 partId() const { return m_partId; }
    const QByteArray &address() const { return m_address; }

    /// \name Texts of the schema
    ///@{
    static QString createTable(const QString &schemaName);
    static QStringList createIndex(const QString &schemaName);
    static QStringList update(const QVersionNumber &fromVersion, const QString &schemaName);
    ///@}

    /// \return 0; 2 when the connection is not open; 8 when the id or the address is there already; else the code.
    int insert(const QString &schemaName, DatabaseConnection &connection);

    /// The block of an id.
    static ResultPointer<PartsBlocks> select(long long id, const QString &schemaName, DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    long long m_id = 0;
    quint64 m_partId = 0;
    QByteArray m_address;
};

} // namespace Tolm::SQL::Generation
