#include <repository/catalog/ArchiveBunches.h>
#include <repository/database/Records_p.h>

#include <algorithm>

namespace Tolm::SQL {

struct ArchiveBunches::Columns {
    static constexpr auto Table = columns(                                            //
        column<Stored::Number>("id", &ArchiveBunches::m_id),                          //
        column<Stored::Number>("folder_id", &ArchiveBunches::m_folderId),             //
        column<Stored::RequiredText>("display_name", &ArchiveBunches::m_displayName), //
        column<Stored::Number>("type", &ArchiveBunches::m_type),                      //
        column<Stored::Number>("destination_id", &ArchiveBunches::m_destinationId),   //
        column<Stored::BracedUuid>("plan_id", &ArchiveBunches::m_planId),             //
        column<Stored::Text>("meta_file_name", &ArchiveBunches::m_metaFileName));
};

QString ArchiveBunches::createTable(DatabaseType type)
{
    // An "integer primary key" makes its own ids on SQLite only.
    if (type == DatabaseType::PostgreSQL)
        return QStringLiteral(
            "create table archive_bunches (id SERIAL primary key, folder_id integer not null, display_name text not "
            "null, type integer not null DEFAULT 0, destination_id INTEGER NOT NULL, plan_id TEXT NULL, "
            "meta_file_name TEXT, unique(folder_id, type), unique(destination_id, plan_id), foreign key (folder_id) "
            "references cloud_folders(id) on update cascade on delete cascade, foreign key (destination_id) "
            "references destination(id) on update cascade on delete cascade);");
    return QStringLiteral(
        "create table archive_bunches (id integer primary key, folder_id integer not null, display_name text not null, "
        "type integer not null DEFAULT 0, destination_id INTEGER NOT NULL, plan_id TEXT NULL, meta_file_name TEXT, "
        "unique(folder_id, type), unique(destination_id, plan_id), foreign key (folder_id) references "
        "cloud_folders(id) on update cascade on delete cascade, foreign key (destination_id) references "
        "destination(id) on update cascade on delete cascade);");
}

int ArchiveBunches::insert(DatabaseConnection &connection)
{
    if (m_folderId == 0 || m_destinationId == 0 || m_planId.isNull())
        return ResultCode::Error;
    Statement statement(
        connection,
        QStringLiteral("insert into archive_bunches (folder_id, display_name, type, destination_id, plan_id, "
                       "meta_file_name) values(:folder_id, :display_name, :type, :destination_id, :plan_id, "
                       ":meta_file_name)"));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

int ArchiveBunches::remove(DatabaseConnection &connection) const
{
    Statement statement(connection, QStringLiteral("delete from archive_bunches where id = :id"));
    return statement.bind(":id", m_id).exec();
}

ResultList<ArchiveBunches> ArchiveBunches::select(quint64 destinationId, qint64 limit, qint64 offset,
                                                  DatabaseConnection &connection)
{
    const bool isPage = limit >= 1;
    Statement statement(
        connection,
        isPage ? QStringLiteral("select id,  folder_id, display_name, type, destination_id, plan_id, meta_file_name "
                                "from archive_bunches where destination_id = :destination_id limit :limit offset "
                                ":offset ")
               : QStringLiteral("select id,  folder_id, display_name, type, destination_id, plan_id, meta_file_name "
                                "from archive_bunches where destination_id = :destination_id "));
    statement.bind(":destination_id", destinationId);
    if (isPage) // PostgreSQL refuses a negative offset
        statement.bindPage(static_cast<quint64>(limit), static_cast<quint64>(std::max<qint64>(offset, 0)));
    return selectAll<ArchiveBunches>(statement, Columns::Table);
}

ResultPointer<ArchiveBunches> ArchiveBunches::select(const QUuid &planId, quint64 destinationId,
                                                     DatabaseConnection &connection)
{
    if (destinationId == 0 || planId.isNull())
        return {{}, ResultCode::Error};
    Statement statement(connection,
                        QStringLiteral("select id,  folder_id, display_name, type, destination_id, plan_id, "
                                       "meta_file_name from archive_bunches where destination_id = :destination_id "
                                       "and plan_id = :plan_id"));
    statement.bind(":destination_id", destinationId).bindAs<Stored::BracedUuid>(":plan_id", planId);
    return selectFirst<ArchiveBunches>(statement, Columns::Table);
}

int ArchiveBunches::updateMetaFileInfo(const QUuid &planId, quint64 destinationId, const QString &displayName,
                                       Varn::Archive::Type type, const QString &metaFileName,
                                       DatabaseConnection &connection)
{
    ArchiveBunches record;
    record.m_planId = planId;
    record.m_destinationId = destinationId;
    record.m_displayName = displayName;
    record.m_type = type;
    record.m_metaFileName = metaFileName;
    Statement statement(connection,
                        QStringLiteral("update archive_bunches set display_name = :display_name, type = :type, "
                                       "meta_file_name = :meta_file_name where plan_id = :plan_id and destination_id "
                                       "= :destination_id"));
    return writeRecord(statement, record, Columns::Table);
}

bool ArchiveBunches::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
