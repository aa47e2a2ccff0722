#include <repository/database/Database.h>
#include <repository/database/DatabaseLocation_p.h>

#include <tests/support/CatalogueFolder.h>

#include <gtest/gtest.h>

namespace Tolm::SQL {
namespace {

TEST(DatabaseLocationTest, IsAFileInTheConfigurationRootUnlessConfigured)
{
    const Tests::CatalogueFolder root;
    qputenv("TOLM_CONFIG_ROOT", root.path("").toUtf8());
    for (const QString location : {"", "/var/lib/catalogue=1.db"}) {
        root.configure(location);
        EXPECT_EQ(Database::connectionString(), location.isEmpty() ? root.file() : location);
        EXPECT_EQ(Database::corruptedPath(), location.isEmpty() ? root.path("corrupteddb") : location);
        EXPECT_EQ(DatabaseLocation::setAsideFolder(), root.path("corrupteddb"));
    }
    qunsetenv("TOLM_CONFIG_ROOT");
}

TEST(DatabaseLocationTest, TellsPostgreSqlByItsFirstLetters)
{
    for (const QString text : {"PGSQL;host:db1", "PGSQLhost:db1"})
        EXPECT_TRUE(DatabaseLocation::isPostgreSql(text)) << qPrintable(text);
    for (const QString text : {"pgsql;host:db1", " PGSQL;host:db1", "/PGSQL.db"})
        EXPECT_FALSE(DatabaseLocation::isPostgreSql(text)) << qPrintable(text);
}

TEST(DatabaseLocationTest, ReadsConnectionStrings)
{
    const QStringList examples[]{
        {"PGSQL;host:dbserver;port:6000;user:backup;password:pw;database:cat", "dbserver 6000 backup pw cat"},
        {"PGSQL;host: db1 ;database:cat", "db1 5432   cat"},
        {"PGSQL", " 5432   "},
        {"PGSQL;port:abc", " 0   "},
        {"PGSQL;;;port: 07 ;", " 7   "},
        // The last item of a key counts; what is before or after the known keys' letters does not matter.
        {"PGSQL;host:a;host:b;user:u;user:", "b 5432   "},
        {"PGSQL;hostname:a;Host:b; host:c;username:u;portal:9", "a 9 u  "},
        // A value begins after the last colon, so it can hold none; the password is not trimmed inside.
        {"PGSQL;password:a:b c=%1'\\;database:x:y", " 5432  b c=%1'\\ y"},
        {"PGSQL:host:a;host", "host 5432   "},
    };
    for (const QStringList &example : examples) {
        const PostgreSqlLocation read = PostgreSqlLocation::parse(example[0]);
        EXPECT_EQ(
            QStringList({read.host, QString::number(read.port), read.user, read.password, read.database}).join(' '),
            example[1]);
    }
}

} // namespace
} // namespace Tolm::SQL
