#include <repository/database/Records_p.h>
#include <repository/generation/GenerationForms_p.h>
#include <repository/generation/RestorePoints.h>
#include <repository/generation/SchemaPrefix_p.h>

#include <QVersionNumber>

namespace Tolm::SQL::Generation {

struct RestorePoints::Columns {
    static constexpr auto Table = columns(                                                                      //
        column<Stored::WholeSeconds>("start_date", &RestorePoints::m_startDate),                                //
        column<Stored::WholeSeconds>("finish_date", &RestorePoints::m_finishDate),                              //
        column<Stored::Number>("sequence_number", &RestorePoints::m_sequenceNumber),                            //
        column<Stored::Number>("is_full", &RestorePoints::m_backupType),                                        //
        column<Stored::Number>("toc_id", &RestorePoints::m_tocId),                                              //
        column<Stored::Number>("total_bytes", &RestorePoints::m_totalBytes),                                    //
        column<Stored::Number>("new_bytes", &RestorePoints::m_newBytes),                                        //
        column<Stored::Number>("compressed_bytes", &RestorePoints::m_compressedBytes),                          //
        column<Stored::Number>("snapshot_type", &RestorePoints::m_snapshotType),                                //
        column<Stored::Number>("files_backed_up", &RestorePoints::m_filesBackedUp),                             //
        column<Stored::Number>("files_deleted", &RestorePoints::m_filesDeleted),                                //
        column<Stored::Number>("folders_backed_up", &RestorePoints::m_foldersBackedUp),                         //
        column<Stored::Number>("folders_deleted", &RestorePoints::m_foldersDeleted),                            //
        column<Stored::Text>("metadata", &RestorePoints::m_metadata),                                           //
        column<Stored::Text>("plan", &RestorePoints::m_plan),                                                   //
        column<Stored::Number>("blocks_count", &RestorePoints::m_blocksCount),                                  //
        column<Stored::Number>("parts_count", &RestorePoints::m_partsCount),                                    //
        column<Stored::Text>("sgn_file_name", &RestorePoints::m_sgnFileName),                                   //
        column<Stored::Number>("session_history_id", &RestorePoints::m_sessionHistoryId),                       //
        column<Stored::Number>("backup_result", &RestorePoints::m_backupResult),                                //
        column<Stored::Text>("backup_error_list", &RestorePoints::m_backupErrorList),                           //
        column<Stored::Number>("consistency_check_result", &RestorePoints::m_consistencyCheckResult),           //
        column<Stored::WholeSeconds>("consistency_check_datetime", &RestorePoints::m_consistencyCheckDateTime), //
        column<Stored::Text>("consistency_check_error_list", &RestorePoints::m_consistencyCheckErrorList),      //
        column<Stored::Number>("broken_type", &RestorePoints::m_brokenType),                                    //
        column<Stored::Number>("total_files_count", &RestorePoints::m_totalFileCount),                          //
        column<Stored::Number>("total_files_size", &RestorePoints::m_totalFileSize),                            //
        column<Stored::Number>("id", &RestorePoints::m_id));
};

namespace {

constexpr long long NotSet = -1;

// What every select begins with.
const QString &columnList()
{
    static const QString list =
        QStringLiteral("select id, start_date, finish_date, sequence_number, is_full, toc_id, total_bytes, new_bytes, "
                       "compressed_bytes, snapshot_type, files_backed_up, files_deleted, folders_backed_up, "
                       "folders_deleted, metadata, plan, blocks_count, parts_count, sgn_file_name, session_history_id, "
                       "backup_result, backup_error_list, consistency_check_result, consistency_check_datetime, "
                       "consistency_check_error_list, broken_type, total_files_count, total_files_size from "
                       "%1restore_points ");
    return list;
}

} // namespace

bool RestorePoints::needSync() const
{
    const bool isUncounted = m_filesBackedUp == NotSet || m_filesDeleted == NotSet || m_foldersBackedUp == NotSet ||
                             m_foldersDeleted == NotSet;
    return isUncounted && (m_partsCount > 0 || m_tocId != 0);
}

QString RestorePoints::createTable(const QString &schemaName)
{
    static const SchemaText text(QStringLiteral(
        "CREATE TABLE %1restore_points (id INTEGER PRIMARY KEY ASC, start_date DATETIME NOT NULL, "
        "finish_date DATETIME, sequence_number INTEGER NOT NULL, is_full INTEGER, toc_id INTEGER, "
        "total_bytes INTEGER, new_bytes INTEGER, compressed_bytes INTEGER, snapshot_type INTEGER, "
        "files_backed_up INTEGER, files_deleted INTEGER, folders_backed_up INTEGER, folders_deleted INTEGER, "
        "metadata TEXT, plan TEXT, blocks_count INTEGER, parts_count INTEGER, sgn_file_name TEXT, "
        "session_history_id INTEGER, backup_result INTEGER DEFAULT 0, backup_error_list TEXT, "
        "consistency_check_result INTEGER DEFAULT 0, consistency_check_datetime DATETIME, "
        "consistency_check_error_list TEXT, broken_type INTEGER, total_files_count INTEGER, total_files_size "
        "INTEGER, UNIQUE(sequence_number), FOREIGN KEY(toc_id) REFERENCES storage_files(id) ON UPDATE "
        "CASCADE ON DELETE SET NULL);"));
    return text.of(schemaName);
}

QStringList RestorePoints::createIndex(const QString & /*schemaName*/)
{
    return {};
}

QStringList RestorePoints::update(const QVersionNumber & /*fromVersion*/, const QString & /*schemaName*/)
{
    return {};
}

int RestorePoints::insert(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "insert into %1restore_points(start_date, finish_date, sequence_number, is_full, toc_id, "
        "total_bytes, new_bytes, compressed_bytes, snapshot_type, files_backed_up, files_deleted, "
        "folders_backed_up, folders_deleted, metadata, plan, blocks_count, parts_count, sgn_file_name, "
        "session_history_id, backup_result, backup_error_list, consistency_check_result, "
        "consistency_check_datetime, consistency_check_error_list, broken_type, total_files_count, "
        "total_files_size) values (:start_date, :finish_date, :sequence_number, :is_full, :toc_id, "
        ":total_bytes, :new_bytes, :compressed_bytes, :snapshot_type, :files_backed_up, :files_deleted, "
        ":folders_backed_up, :folders_deleted, :metadata, :plan, :blocks_count, :parts_count, "
        ":sgn_file_name, :session_history_id, :backup_result, :backup_error_list, :consistency_check_result, "
        ":consistency_check_datetime, :consistency_check_error_list, :broken_type, :total_files_count, "
        ":total_files_size)"));
    Statement statement(connection, text.of(schemaName));
    return insertRecord(statement, *this, Columns::Table, m_id);
}

int RestorePoints::update(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral(
        "update %1restore_points set start_date = :start_date, finish_date = :finish_date, sequence_number = "
        ":sequence_number, is_full = :is_full, toc_id = :toc_id, total_bytes = :total_bytes, new_bytes = "
        ":new_bytes, compressed_bytes = :compressed_bytes, snapshot_type = :snapshot_type, files_backed_up = "
        ":files_backed_up, files_deleted = :files_deleted, folders_backed_up = :folders_backed_up, "
        "folders_deleted = :folders_deleted , metadata = :metadata, plan = :plan, blocks_count = "
        ":blocks_count, parts_count = :parts_count, sgn_file_name = :sgn_file_name, session_history_id = "
        ":session_history_id, backup_result = :backup_result, backup_error_list = :backup_error_list, "
        "consistency_check_result = :consistency_check_result, consistency_check_datetime = "
        ":consistency_check_datetime, consistency_check_error_list = :consistency_check_error_list, "
        "broken_type = :broken_type, total_files_count = :total_files_count, total_files_size = "
        ":total_files_size where id = :id"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

int RestorePoints::remove(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(QStringLiteral("delete from %1restore_points where id = :id"));
    Statement statement(connection, text.of(schemaName));
    return writeRecord(statement, *this, Columns::Table);
}

ResultList<RestorePoints> RestorePoints::select(const QString &schemaName, qint64 limit, qint64 offset,
                                                DatabaseConnection &connection)
{
    if (limit < 1) {
        static const SchemaText text(columnList());
        Statement statement(connection, text.of(schemaName));
        return selectAll<RestorePoints>(statement, Columns::Table);
    }
    static const SchemaText text(columnList() + QStringLiteral("limit :limit offset :offset"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":limit", limit).bind(":offset", offset);
    return selectAll<RestorePoints>(statement, Columns::Table);
}

ResultList<RestorePoints> RestorePoints::select(const QDateTime &date, const QString &schemaName, qint64 limit,
                                                qint64 offset, DatabaseConnection &connection)
{
    if (limit < 1) {
        static const SchemaText text(columnList() + QStringLiteral("where start_date <= :start_date"));
        Statement statement(connection, text.of(schemaName));
        statement.bindAs<Stored::WholeSeconds>(":start_date", date);
        return selectAll<RestorePoints>(statement, Columns::Table);
    }
    static const SchemaText text(columnList() +
                                 QStringLiteral("where start_date <= :start_date limit :limit offset :offset"));
    Statement statement(connection, text.of(schemaName));
    statement.bindAs<Stored::WholeSeconds>(":start_date", date).bind(":limit", limit).bind(":offset", offset);
    return selectAll<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectBySequenceNumber(qint64 sequenceNumber, const QString &schemaName,
                                                                   DatabaseConnection &connection)
{
    static const SchemaText text(columnList() + QStringLiteral("where sequence_number = :sequence_number"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":sequence_number", sequenceNumber);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectByDateTime(const QDateTime &date, const QString &schemaName,
                                                             DatabaseConnection &connection)
{
    static const SchemaText text(columnList() + QStringLiteral("where start_date = :start_date"));
    Statement statement(connection, text.of(schemaName));
    statement.bindAs<Stored::DateTime>(":start_date", date);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectById(quint64 id, const QString &schemaName,
                                                       DatabaseConnection &connection)
{
    static const SchemaText text(columnList() + QStringLiteral("where id = :id"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":id", id);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectLast(const QString &schemaName, DatabaseConnection &connection)
{
    static const SchemaText text(columnList() + QStringLiteral("order by start_date desc limit 1"));
    Statement statement(connection, text.of(schemaName));
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectPrev(qint64 sequenceNumber, const QString &schemaName,
                                                       DatabaseConnection &connection)
{
    static const SchemaText text(
        columnList() + QStringLiteral("where sequence_number < :sequence_number order by start_date desc limit 1"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":sequence_number", sequenceNumber);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectPrevWithSignature(qint64 sequenceNumber, const QString &schemaName,
                                                                    DatabaseConnection &connection)
{
    static const SchemaText text(
        columnList() +
        QStringLiteral(
            "where sequence_number < :sequence_number and sgn_file_name is not NULL and sgn_file_name != \"\"  order by start_date desc limit 1"));
    Statement statement(connection, text.of(schemaName));
    statement.bind(":sequence_number", sequenceNumber);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

ResultPointer<RestorePoints> RestorePoints::selectPrev(const QDateTime &date, const QString &schemaName,
                                                       DatabaseConnection &connection)
{
    static const SchemaText text(columnList() +
                                 QStringLiteral("where start_date < :start_date order by start_date desc limit 1"));
    Statement statement(connection, text.of(schemaName));
    statement.bindAs<Stored::DateTime>(":start_date", date);
    return selectFirst<RestorePoints>(statement, Columns::Table);
}

bool RestorePoints::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL::Generation
