#pragma once

#include <repository/database/DatabaseConnection.h>

#include <platform/Tolm/Plan.h>
#include <platform/TolmExport.h>

#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

class QSqlQuery;

namespace Tolm::SQL {

/// The display name and sub-type of a backup or restore plan (table plan_name), written whenever the engine learns a
/// plan's current name, and joined by the reports. A record belongs to the thread that uses it; the operations run on
/// that thread's connection.
class TOLM_EXPORT PlanName {
public:
    const QUuid &id() const { return m_id; }
    const QString &name() const { return m_name; }
    Tolm::Info::Plan::SubType type() const { return m_type; }

    /// The text that makes the table; empty for an unknown backend.
    static QString createTable(DatabaseType type);

    /// Stores a plan's name. An existing row takes the new name; it also takes the new sub-type on SQLite, while on
    /// PostgreSQL it keeps its own. \return true when it is stored; false when the connection is not open or the
    /// statement failed.
    static bool update(const QUuid &planId, const QString &name, Tolm::Info::Plan::SubType type,
                       DatabaseConnection &connection);

    /// All plan names by plan. Rows whose plan is no UUID share the null one, of which the last read stays.
    /// \return an empty map when there is none, the connection is not open, or the statement failed.
    static QMap<QUuid, QSharedPointer<PlanName>> select(DatabaseConnection &connection);

    /// Moves `query` to its next row and reads it by column name. \return false when there is none.
    bool init(QSqlQuery &query);

private:
    struct Columns;

    QUuid m_id;
    QString m_name;
    Tolm::Info::Plan::SubType m_type{};
};

} // namespace Tolm::SQL
