#include <repository/catalog/ArchiveGenerations.h>
#include <repository/database/Records_p.h>

#include <algorithm>

namespace Tolm::SQL {

struct ArchiveGenerations::Columns {
    static constexpr auto Table = columns(                                                     //
        column<Stored::Number>("id", &ArchiveGenerations::m_id),                               //
        column<Stored::Number>("bunch_id", &ArchiveGenerations::m_bunchId),                    //
        column<Stored::BracedUuid>("marker", &ArchiveGenerations::m_marker),                   //
        column<Stored::Version>("format", &ArchiveGenerations::m_format),                      //
        column<Stored::Number>("number", &ArchiveGenerations::m_number),                       //
        column<Stored::Number>("type", &ArchiveGenerations::m_type),                           //
        column<Stored::Number>("full_backup_reason", &ArchiveGenerations::m_fullBackupReason), //
        column<Stored::Number>("broken_type", &ArchiveGenerations::m_brokenType),              //
        column<Stored::Text>("hint", &ArchiveGenerations::m_hint),                             //
        column<Stored::Text>("errors_list", &ArchiveGenerations::m_errorList),                 //
        column<Stored::Number>("custom_purge", &ArchiveGenerations::m_customPurge),            //
        column<Stored::Number>("uploaded_files_size", &ArchiveGenerations::m_uploadedFilesSize));
};

namespace {

// What every select begins with.
const QString &columnList()
{
    static const QString list = QStringLiteral(
        "select id,  bunch_id, marker, format, number, type, full_backup_reason, broken_type, hint, errors_list, "
        "custom_purge, uploaded_files_size  from archive_generations");
    return list;
}

} // namespace

QString ArchiveGenerations::createTable(DatabaseType type)
{
    // PostgreSQL has no type BLOB, its "integer primary key" makes no ids, and its INTEGER holds no size above 2 GiB.
    if (type == DatabaseType::PostgreSQL)
        return QStringLiteral(
            "create table archive_generations (id SERIAL primary key not null, bunch_id integer not null, marker text "
            "not null, format TEXT, number integer not null, type INTEGER NOT NULL DEFAULT 0, full_backup_reason "
            "INTEGER, broken_type INTEGER, hint TEXT, errors_list TEXT, custom_purge INTEGER NOT NULL DEFAULT 0, "
            "uploaded_files_size BIGINT, unique(bunch_id, marker), foreign key (bunch_id) references "
            "archive_bunches(id) on update cascade on delete cascade);");
    return QStringLiteral(
        "create table archive_generations (id integer primary key not null, bunch_id integer not null, marker text not "
        "null, format TEXT, number integer not null, type INTEGER NOT NULL DEFAULT 0, full_backup_reason INTEGER, "
        "broken_type INTEGER, hint BLOB, errors_list TEXT, custom_purge INTEGER NOT NULL DEFAULT 0, "
        "uploaded_files_size INTEGER, unique(bunch_id, marker), foreign key (bunch_id) references archive_bunches(id) "
        "on update cascade on delete cascade);");
}

QString ArchiveGenerations::createIndex(DatabaseType /*type*/)
{
    return QStringLiteral("CREATE INDEX IF NOT EXISTS archive_generations_bunch_id ON archive_generations (bunch_id);");
}

int ArchiveGenerations::insert(DatabaseConnection &connection)
{
    if (m_bunchId == 0)
        return ResultCode::Error;
    Statement statement(
        connection,
        QStringLiteral("insert into archive_generations (bunch_id, marker, format, number, type, full_backup_reason, "
                       "broken_type, hint, errors_list, custom_purge, uploaded_files_size) values(:bunch_id, :marker, "
                       ":format, :number, :type, :full_backup_reason, :broken_type, :hint, :errors_list, "
                       ":custom_purge, :uploaded_files_size)"));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

int ArchiveGenerations::update(DatabaseConnection &connection) const
{
    if (m_id == 0)
        return ResultCode::Error;
    Statement statement(
        connection,
        QStringLiteral("update archive_generations set bunch_id = :bunch_id, marker = :marker, number = :number, type "
                       "= :type, full_backup_reason = :full_backup_reason, broken_type = :broken_type, hint = :hint, "
                       "errors_list = :errors_list, custom_purge = :custom_purge, uploaded_files_size = "
                       ":uploaded_files_size , format = :format where id = :id"));
    return writeRecord(statement, *this, Columns::Table);
}

int ArchiveGenerations::remove(DatabaseConnection &connection) const
{
    Statement statement(connection, QStringLiteral("delete from archive_generations where id = :id"));
    return statement.bind(":id", m_id).exec();
}

ResultList<ArchiveGenerations> ArchiveGenerations::select(quint64 bunchId, qint64 limit, qint64 offset,
                                                          DatabaseConnection &connection)
{
    static const QString all = columnList() + QStringLiteral(" where bunch_id = :bunch_id");
    static const QString page =
        columnList() + QStringLiteral(" where bunch_id = :bunch_id limit :limit offset :offset");
    const bool isPage = limit >= 1;
    Statement statement(connection, isPage ? page : all);
    statement.bind(":bunch_id", bunchId);
    if (isPage) // PostgreSQL refuses a negative offset
        statement.bindPage(static_cast<quint64>(limit), static_cast<quint64>(std::max<qint64>(offset, 0)));
    return selectAll<ArchiveGenerations>(statement, Columns::Table);
}

ResultPointer<ArchiveGenerations> ArchiveGenerations::select(quint64 bunchId, const QUuid &marker,
                                                             DatabaseConnection &connection)
{
    if (bunchId == 0 || marker.isNull())
        return {{}, ResultCode::Error};
    static const QString text = columnList() + QStringLiteral(" where marker = :marker and bunch_id = :bunch_id");
    Statement statement(connection, text);
    statement.bindAs<Stored::BracedUuid>(":marker", marker).bind(":bunch_id", bunchId);
    return selectFirst<ArchiveGenerations>(statement, Columns::Table);
}

ResultPointer<ArchiveGenerations> ArchiveGenerations::current(quint64 bunchId, DatabaseConnection &connection)
{
    static const QString text =
        columnList() + QStringLiteral(" where bunch_id = :bunch_id order by number desc limit 1");
    Statement statement(connection, text);
    statement.bind(":bunch_id", bunchId);
    return selectFirst<ArchiveGenerations>(statement, Columns::Table);
}

bool ArchiveGenerations::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
