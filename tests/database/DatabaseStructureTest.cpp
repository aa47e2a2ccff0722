#include <repository/database/DatabaseStructure.h>
#include <repository/database/MetaData.h>

#include <platform/SHARED/defines.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TestDatabase.h>

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

namespace Tolm::SQL {
namespace {

class DatabaseStructureTest : public Tests::DatabaseTest {
protected:
    bool create()
    {
        DatabaseConnection connection(m_database.pool());
        return createDatabaseStructure(connection);
    }

    /// All that the database says of its tables, a line each. One column has the time of creation as its default.
    QString schema()
    {
        const QString sqlite = QStringLiteral("select type, name, tbl_name, sql from sqlite_master order by rowid");
        const QStringList postgreSql{
            QStringLiteral(
                "select 'column', table_name, column_name, data_type, character_maximum_length, is_nullable, "
                "column_default from information_schema.columns where table_schema = current_schema() "
                "order by table_name, ordinal_position"),
            QStringLiteral(
                "select 'constraint', conrelid::regclass, conname, pg_get_constraintdef(oid) from "
                "pg_constraint where connamespace = current_schema()::regnamespace and contype in ('c', 'f', "
                "'p', 'u') order by conrelid::regclass::text collate \"C\", conname"),
            QStringLiteral("select 'index', indexdef from pg_indexes where schemaname = current_schema() order by "
                           "tablename, indexname"),
        };
        QString text;
        const QStringList queries = isSQLite() ? QStringList{sqlite} : postgreSql;
        for (const QString &query : queries) {
            const auto rows = m_database.sql(query);
            for (const QVariantList &row : rows) {
                for (const QVariant &value : row)
                    text += (value.isNull() ? QString() : value.toString()) + QLatin1Char('|');
                text += QLatin1Char('\n');
            }
        }
        return text.replace(QRegularExpression(QStringLiteral("\\b20\\d{12}\\b")), QStringLiteral("(now)"));
    }

    int tables()
    {
        return m_database
            .value(isSQLite() ? QStringLiteral("select count(*) from sqlite_master where type = 'table' and name not "
                                               "like 'sqlite_%'")
                              : QStringLiteral("select count(*) from pg_tables where schemaname = current_schema()"))
            .toInt();
    }

    int createdIndexes()
    {
        return m_database
            .value(isSQLite()
                       ? QStringLiteral("select count(*) from sqlite_master where type = 'index' and sql is not "
                                        "null")
                       : QStringLiteral("select count(*) from pg_indexes where schemaname = current_schema() and "
                                        "indexname not like '%\\_key' and indexname not like '%\\_pkey'"))
            .toInt();
    }
};
TOLM_TEST_ON_EVERY_BACKEND(DatabaseStructureTest);

TEST_P(DatabaseStructureTest, MakesExactlyTheSchema)
{
    ASSERT_TRUE(create());
    EXPECT_EQ(tables(), 14);
    EXPECT_EQ(createdIndexes(), 11);
    QFile golden(QStringLiteral(TOLM_TEST_DATA_DIR "/database/") +
                 (isSQLite() ? QStringLiteral("schema_sqlite.txt") : QStringLiteral("schema_postgresql.txt")));
    ASSERT_TRUE(golden.open(QIODevice::ReadOnly));
    EXPECT_EQ(schema().toStdString(), golden.readAll().toStdString());
}

TEST_P(DatabaseStructureTest, RecordsItsBirth)
{
    ASSERT_TRUE(create());
    const auto rows =
        m_database.sql(QStringLiteral("select product_version, repository_version, date_created_utc from metadata"));
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0][0].toString(), SHARED::defines::common::build_version());
    EXPECT_EQ(rows[0][1].toString(), QStringLiteral("0.11"));
    const QString date = rows[0][2].toString();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^20\\d{12}$")).match(date).hasMatch()) << qPrintable(date);
    const QDate day = QDate::fromString(date.left(8), QStringLiteral("yyyyMMdd"));
    EXPECT_LE(qAbs(day.daysTo(QDateTime::currentDateTimeUtc().date())), 1);
}

TEST_P(DatabaseStructureTest, FailsWhereThereIsOne)
{
    ASSERT_TRUE(create());
    const Tests::LogCapture log;
    EXPECT_FALSE(create());
    ASSERT_EQ(log.count(QtCriticalMsg), 1);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("Can't create CloudFolder!")), 1);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("CREATE TABLE cloud_folders")), 1);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from metadata")).toInt(), 1);
}

TEST_P(DatabaseStructureTest, StopsAtTheTableThatCannotBeMade)
{
    m_database.sql(QStringLiteral("create table statistic (x integer)"));
    const Tests::LogCapture log;
    EXPECT_FALSE(create());
    ASSERT_EQ(log.count(QtCriticalMsg), 1);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("Can't create Statistics!")), 1);
    EXPECT_EQ(tables(), 14);
    EXPECT_EQ(createdIndexes(), 0);
}

TEST_P(DatabaseStructureTest, StopsAtTheIndexThatCannotBeMade)
{
    m_database.sql(QStringLiteral("create table other (x integer)"));
    m_database.sql(QStringLiteral("create index idx_plan_name on other (x)"));
    const Tests::LogCapture log;
    EXPECT_FALSE(create());
    ASSERT_EQ(log.count(QtCriticalMsg), 1);
    EXPECT_TRUE(log.texts(QtCriticalMsg).first().startsWith(QStringLiteral("Error: can't create index, command")));
    EXPECT_TRUE(log.texts(QtCriticalMsg)
                    .first()
                    .endsWith(QStringLiteral("CREATE UNIQUE INDEX idx_plan_name ON plan_name (plan_id);")));
    EXPECT_EQ(createdIndexes(), 10);
}

TEST_P(DatabaseStructureTest, LetsEveryUserReadAndWriteTheFile)
{
    if (!isSQLite())
        return;
    ASSERT_TRUE(QFile::setPermissions(m_database.file(), QFile::ReadOwner | QFile::WriteOwner));
    ASSERT_TRUE(create());
    const auto all = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther |
                     QFile::WriteOther;
    EXPECT_EQ(QFile::permissions(m_database.file()) & ~(QFile::ReadUser | QFile::WriteUser), all);
}

TEST_P(DatabaseStructureTest, RefusesAClosedConnection)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection connection(nobody);
    const Tests::LogCapture log;
    EXPECT_FALSE(createDatabaseStructure(connection));
    EXPECT_EQ(log.texts(QtCriticalMsg), QStringList{QStringLiteral("Error on chandge DB file permissions!")});
    EXPECT_FALSE(MetaData().init(connection));
}

TEST(MetaDataTest, NamesItsTable)
{
    for (const DatabaseType type : {DatabaseType::SQLite, DatabaseType::PostgreSQL}) {
        EXPECT_EQ(
            MetaData::createTable(type),
            QStringLiteral(
                "CREATE TABLE metadata (product_version TEXT, repository_version TEXT, date_created_utc NUMERIC)"));
    }
    EXPECT_TRUE(MetaData::createTable(static_cast<DatabaseType>(3)).isEmpty());
    EXPECT_EQ(MetaData::Version, QStringLiteral("0.11"));
}

} // namespace
} // namespace Tolm::SQL
