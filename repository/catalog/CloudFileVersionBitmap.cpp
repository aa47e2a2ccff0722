#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Records_p.h>

#include <platform/SHARED/defines.h>
#include <platform/Tolm/AppPath.h>
#include <platform/Varn/Utility.h>

#include <QFile>

#include <cerrno>

namespace Tolm::SQL {

struct CloudFileVersionBitmap::Columns {
    static constexpr auto Table = columns(                                          //
        column<Stored::Number>("version_id", &CloudFileVersionBitmap::m_versionId), //
        column<Stored::BracedUuid>("uuid", &CloudFileVersionBitmap::m_versionUuid));
};

namespace {

QString mapPath(const QString &folder, const QUuid &uuid)
{
    return QStringLiteral("%1/%2").arg(folder, uuid.toString());
}

// Whether there was such a file; one that stays is reported.
bool removeMap(const QString &path, const char *failure)
{
    QFile file(path);
    if (!file.exists())
        return false;
    errno = 0;
    if (!file.remove()) {
        log().error() << failure << qt_error_string(errno);
        log().info() << Varn::Utility::listOfPathInfo(path);
    }
    return true;
}

} // namespace

QString CloudFileVersionBitmap::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE IF NOT EXISTS cloud_file_version_bitmaps ( version_id INTEGER NOT NULL , uuid "
                       "TEXT default NULL , UNIQUE(version_id) );"));
}

bool CloudFileVersionBitmap::insert(DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("insert into cloud_file_version_bitmaps (version_id, uuid) values(:version_id, :uuid)"));
    return writeRecord(statement, *this, Columns::Table) == ResultCode::Ok;
}

bool CloudFileVersionBitmap::select(unsigned long long versionId, DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("select uuid from cloud_file_version_bitmaps where version_id = :version_id limit 1"));
    statement.bind(":version_id", versionId);
    if (!selectInto(*this, statement, Columns::Table))
        return false;
    m_versionId = versionId;
    return true;
}

bool CloudFileVersionBitmap::select(DatabaseConnection &connection)
{
    return select(m_versionId, connection);
}

bool CloudFileVersionBitmap::update(unsigned long long versionId, DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("update cloud_file_version_bitmaps set uuid = :uuid where version_id = :version_id"));
    statement.bindAs<Stored::BracedUuid>(":uuid", m_versionUuid).bind(":version_id", versionId);
    return statement.exec() == ResultCode::Ok;
}

bool CloudFileVersionBitmap::update(DatabaseConnection &connection)
{
    return update(m_versionId, connection);
}

bool CloudFileVersionBitmap::updateVersionId(unsigned long long oldVersionId, unsigned long long newVersionId,
                                             DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("update cloud_file_version_bitmaps set version_id = :new_version_id where version_id = "
                       ":old_version_id"));
    statement.bind(":new_version_id", newVersionId).bind(":old_version_id", oldVersionId);
    return statement.exec() == ResultCode::Ok;
}

bool CloudFileVersionBitmap::delete_(unsigned long long versionId, DatabaseConnection &connection)
{
    Statement statement(connection,
                        QStringLiteral("delete from cloud_file_version_bitmaps where version_id = :version_id"));
    return statement.bind(":version_id", versionId).exec() == ResultCode::Ok;
}

bool CloudFileVersionBitmap::delete_(DatabaseConnection &connection)
{
    if (!delete_(m_versionId, connection))
        return false;
    const bool isFileMap = removeMap(mapPath(Tolm::Defines::AppPath::to().differentialFileMap(), m_versionUuid),
                                     "Error on remove differential backup map, message:");
    if (!isFileMap) {
        removeMap(SHARED::defines::Path::diskImageMap() + m_versionUuid.toString(),
                  "Error on remove differential ibb backup map, message:");
    }
    return true;
}

bool CloudFileVersionBitmap::checkOnDisk(bool diskImage) const
{
    if (m_versionUuid.isNull())
        return false;
    const auto paths = Tolm::Defines::AppPath::to();
    return QFile::exists(mapPath(diskImage ? paths.diskImageMap() : paths.differentialFileMap(), m_versionUuid));
}

bool CloudFileVersionBitmap::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
