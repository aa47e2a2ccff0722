#include <repository/database/FailureReport_p.h>
#include <repository/database/Log_p.h>

#include <platform/Tolm/AppPath.h>

#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <array>

namespace Tolm::SQL {

namespace {

QMap<QString, QVariant> loggableValues(const QSqlQuery &query)
{
    QMap<QString, QVariant> values = query.boundValues();
    for (QVariant &value : values) {
        if (value.type() == QVariant::ByteArray && !value.isNull())
            value = QStringLiteral("%1 bytes").arg(value.toByteArray().size());
    }
    return values;
}

QString permissionMark(QFile::Permissions permissions)
{
    static constexpr std::array<std::array<QFileDevice::Permission, 3>, 4> Groups{{
        {QFile::ReadOwner, QFile::WriteOwner, QFile::ExeOwner},
        {QFile::ReadUser, QFile::WriteUser, QFile::ExeUser},
        {QFile::ReadGroup, QFile::WriteGroup, QFile::ExeGroup},
        {QFile::ReadOther, QFile::WriteOther, QFile::ExeOther},
    }};
    QStringList groups;
    for (const auto &group : Groups) {
        QString mark;
        for (const auto permission : group)
            mark += permissions.testFlag(permission) ? QLatin1Char('x') : QLatin1Char('_');
        groups << mark;
    }
    return groups.join(QLatin1Char('-'));
}

} // namespace

void reportFailure(const QSqlQuery &query, qint64 elapsedMilliseconds)
{
    const QSqlError error = query.lastError();
    log().warning() << "Error on exec sql query:"
                    << "\n\tdatabase text:" << error.databaseText() << "\n\tdriver text:" << error.driverText()
                    << "\n\terror code:" << error.nativeErrorCode() << "\n\terror query:" << query.lastQuery()
                    << "\n\tvalues:" << loggableValues(query) << "\n\ttimeout:" << elapsedMilliseconds;
}

void reportPermissions()
{
    QString text;
    const QFileInfoList entries = QDir(Tolm::Defines::AppPath::to().config()).entryInfoList();
    for (const QFileInfo &entry : entries)
        text += entry.filePath() + QStringLiteral("\t\t\t") + permissionMark(entry.permissions()) + QLatin1Char('\n');
    log().debug() << "Permissions\n" << text << "------------";
}

} // namespace Tolm::SQL
