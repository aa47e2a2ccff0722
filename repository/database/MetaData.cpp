#include <repository/database/Dialect_p.h>
#include <repository/database/MetaData.h>
#include <repository/database/Statement_p.h>

#include <platform/SHARED/defines.h>

namespace Tolm::SQL {

const QString MetaData::Version = QStringLiteral("0.11");

QString MetaData::createTable(DatabaseType type)
{
    return dialect(type, QStringLiteral("CREATE TABLE metadata (product_version TEXT, repository_version TEXT, "
                                        "date_created_utc NUMERIC)"));
}

bool MetaData::init(DatabaseConnection &connection) const
{
    Statement statement(connection,
                        QStringLiteral("INSERT INTO metadata( product_version , repository_version , date_created_utc "
                                       ") VALUES (:product_version, :repository_version, :date_created_utc)"));
    return statement.bind(":product_version", SHARED::defines::common::build_version())
               .bind(":repository_version", Version)
               .bindAs<Stored::DateText>(":date_created_utc", QDateTime::currentDateTimeUtc())
               .exec() == ResultCode::Ok;
}

} // namespace Tolm::SQL
