#include <repository/catalog/DiskImageVersions.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

struct DiskImageVersions::Columns {
    static constexpr auto Table = columns(                                         //
        column<Stored::Number>("diskimage_id", &DiskImageVersions::m_diskImageId), //
        column<Stored::Number>("version_id", &DiskImageVersions::m_versionId));
};

QString DiskImageVersions::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE diskimage_versions ( diskimage_id INTEGER NOT NULL, version_id INTEGER NOT NULL, "
                       "FOREIGN KEY(diskimage_id) REFERENCES diskimage(id) , FOREIGN KEY(version_id) REFERENCES "
                       "cloud_file_versions(id))"));
}

bool DiskImageVersions::insert(DatabaseConnection &connection) const
{
    Statement statement(connection, QStringLiteral("insert into diskimage_versions (diskimage_id, version_id) values "
                                                   "(:diskimage_id, :version_id)"));
    return writeRecord(statement, *this, Columns::Table) == ResultCode::Ok;
}

QList<QSharedPointer<DiskImageVersions>> DiskImageVersions::select(quint64 diskImageId, DatabaseConnection &connection)
{
    if (diskImageId == 0)
        return {};
    Statement statement(connection,
                        QStringLiteral("select diskimage_id, version_id from diskimage_versions where diskimage_id = "
                                       ":diskimage_id"));
    statement.bind(":diskimage_id", diskImageId);
    return selectAll<DiskImageVersions>(statement, Columns::Table).list;
}

bool DiskImageVersions::updateVersionId(quint64 oldVersionId, quint64 newVersionId, DatabaseConnection &connection)
{
    if (oldVersionId == 0 || newVersionId == 0)
        return false;
    Statement statement(connection,
                        QStringLiteral("update diskimage_versions set version_id = :new_version_id where version_id = "
                                       ":old_version_id"));
    statement.bind(":new_version_id", newVersionId).bind(":old_version_id", oldVersionId);
    return statement.exec() == ResultCode::Ok;
}

bool DiskImageVersions::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
