#include <repository/database/Database.h>
#include <repository/database/DatabaseLocation_p.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace Tolm::SQL {
namespace {

class DatabaseLocationTest : public testing::Test {
protected:
    DatabaseLocationTest() { qputenv("TOLM_CONFIG_ROOT", m_root.path().toUtf8()); }
    ~DatabaseLocationTest() override { qunsetenv("TOLM_CONFIG_ROOT"); }
    Q_DISABLE_COPY_MOVE(DatabaseLocationTest)

    void configure(const QByteArray &settings) const
    {
        QFile file(m_root.filePath(QStringLiteral("settings.conf")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(settings);
    }

    QTemporaryDir m_root;
};

TEST_F(DatabaseLocationTest, IsAFileInTheConfigurationRootUnlessConfigured)
{
    const QString file = m_root.filePath(QStringLiteral("tolmvault.db"));
    const QString folder = m_root.filePath(QStringLiteral("corrupteddb"));
    EXPECT_EQ(Database::connectionString(), file);
    EXPECT_EQ(Database::corruptedPath(), folder);

    configure("# DB_location=/no\nOTHER=1\nDB_location=\n");
    EXPECT_EQ(Database::connectionString(), file);
    EXPECT_EQ(Database::corruptedPath(), folder);

    configure("DB_location = /var/lib/catalogue=1.db \n");
    EXPECT_EQ(Database::connectionString(), QStringLiteral("/var/lib/catalogue=1.db"));
    EXPECT_EQ(Database::corruptedPath(), QStringLiteral("/var/lib/catalogue=1.db"));
    EXPECT_EQ(DatabaseLocation::setAsideFolder(), folder);
}

TEST_F(DatabaseLocationTest, TellsPostgreSqlByItsFirstLetters)
{
    EXPECT_TRUE(DatabaseLocation::isPostgreSql(QStringLiteral("PGSQL;host:db1")));
    EXPECT_TRUE(DatabaseLocation::isPostgreSql(QStringLiteral("PGSQLhost:db1")));
    EXPECT_FALSE(DatabaseLocation::isPostgreSql(QStringLiteral("pgsql;host:db1")));
    EXPECT_FALSE(DatabaseLocation::isPostgreSql(QStringLiteral(" PGSQL;host:db1")));
    EXPECT_FALSE(DatabaseLocation::isPostgreSql(QStringLiteral("/PGSQL.db")));
}

struct Example {
    const char *text;
    const char *host;
    int port;
    const char *user;
    const char *password;
    const char *database;
};

TEST_F(DatabaseLocationTest, ReadsConnectionStrings)
{
    constexpr Example Examples[]{
        {"PGSQL;host:dbserver;port:5432;user:backup;password:pw;database:catalogue", "dbserver", 5432, "backup", "pw",
         "catalogue"},
        {"PGSQL;host: db1 ;port:6000;database:cat", "db1", 6000, "", "", "cat"},
        {"PGSQL;host:db1", "db1", 5432, "", "", ""},
        {"PGSQL", "", 5432, "", "", ""},
        {"PGSQL;port:abc", "", 0, "", "", ""},
        {"PGSQL;port:", "", 0, "", "", ""},
        {"PGSQL;;;port: 07 ;", "", 7, "", "", ""},
        // The last item of a key counts; what is before or after the known keys' letters does not matter.
        {"PGSQL;host:a;host:b;user:u;user:", "b", 5432, "", "", ""},
        {"PGSQL;hostname:a;Host:b; host:c;username:u;portal:9", "a", 9, "u", "", ""},
        // A value begins after the last colon, so it can hold none; the password is not trimmed inside.
        {"PGSQL;password:a:b c=%1'\\;database:x:y", "", 5432, "", "b c=%1'\\", "y"},
        {"PGSQL:host:a;host", "host", 5432, "", "", ""},
    };
    for (const Example &example : Examples) {
        const PostgreSqlLocation location = PostgreSqlLocation::parse(QString::fromUtf8(example.text));
        EXPECT_EQ(location.host, QLatin1String(example.host)) << example.text;
        EXPECT_EQ(location.port, example.port) << example.text;
        EXPECT_EQ(location.user, QLatin1String(example.user)) << example.text;
        EXPECT_EQ(location.password, QLatin1String(example.password)) << example.text;
        EXPECT_EQ(location.database, QLatin1String(example.database)) << example.text;
    }
}

} // namespace
} // namespace Tolm::SQL
