#include <repository/database/DatabaseStructure.h>

#include <platform/SHARED/defines.h>

#include <tests/support/CatalogueFolder.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TestDatabase.h>

#include <QDateTime>
#include <QRegularExpression>

namespace Tolm::SQL {
namespace {

class DatabaseStructureTest : public Tests::DatabaseTest {
protected:
    static bool create(QPointer<DatabasePool> &pool)
    {
        DatabaseConnection connection(pool);
        return createDatabaseStructure(connection);
    }

    /// All that the database says of its tables, a line each. One column has the time of creation as its default.
    QString schema()
    {
        const QStringList sqlite{"select type, name, tbl_name, sql from sqlite_master order by rowid"};
        const QStringList postgreSql{
            "select 'column', table_name, column_name, data_type, character_maximum_length, is_nullable, column_default "
            "from information_schema.columns where table_schema = current_schema() order by table_name, "
            "ordinal_position",
            "select 'constraint', conrelid::regclass, conname, pg_get_constraintdef(oid) from pg_constraint where "
            "connamespace = current_schema()::regnamespace and contype in ('c', 'f', 'p', 'u') order by "
            "conrelid::regclass::text collate \"C\", conname",
            "select 'index', indexdef from pg_indexes where schemaname = current_schema() order by tablename, indexname",
        };
        QStringList lines;
        for (const QString &query : isSQLite() ? sqlite : postgreSql)
            lines << m_database.rows(query);
        return lines.replaceInStrings(QRegularExpression(R"(\b20\d{12}\b)"), "(now)").join('\n') + '\n';
    }
};
TOLM_TEST_ON_EVERY_BACKEND(DatabaseStructureTest);

TEST_P(DatabaseStructureTest, MakesExactlyTheSchemaAndRecordsItsBirth)
{
    const QString before = QDateTime::currentDateTimeUtc().toString("yyyyMMddhhmmss");
    ASSERT_TRUE(create(m_database.pool()));
    const QString golden = isSQLite() ? "schema_sqlite.txt" : "schema_postgresql.txt";
    EXPECT_EQ(schema().toStdString(),
              Tests::CatalogueFolder::read(TOLM_TEST_DATA_DIR "/database/" + golden).toStdString());

    EXPECT_EQ(m_database.rows("select product_version, repository_version from metadata"),
              QStringList(SHARED::defines::common::build_version() + "|0.11"));
    const QString date = m_database.value("select date_created_utc from metadata").toString();
    EXPECT_GE(date, before);
    EXPECT_LE(date, QDateTime::currentDateTimeUtc().toString("yyyyMMddhhmmss"));
}

TEST_P(DatabaseStructureTest, StopsAtTheFirstThatCannotBeMade)
{
    const QStringList beginnings{"Can't create CloudFolder!", "Can't create Statistics!",
                                 "Error: can't create index, command"};
    const QStringList inTheWay{"cloud_folders", "statistic", "idx_plan_name"};
    for (int number = 0; number < inTheWay.size(); ++number) {
        Tests::TestDatabase database(GetParam());
        database.sql(QString("create table %1 (x integer)").arg(inTheWay[number]));
        const Tests::LogCapture log;
        EXPECT_FALSE(create(database.pool()));
        ASSERT_EQ(log.count(QtCriticalMsg), 1);
        const QString text = log.texts(QtCriticalMsg).first();
        EXPECT_TRUE(text.startsWith(beginnings[number])) << qPrintable(text);
        EXPECT_TRUE(text.contains(QRegularExpression("CREATE (TABLE|UNIQUE INDEX) " + inTheWay[number])));
    }
    const Tests::LogCapture log;
    QPointer<DatabasePool> nobody;
    EXPECT_FALSE(create(nobody));
    EXPECT_EQ(log.texts(QtCriticalMsg), QStringList("Error on chandge DB file permissions!"));
}

} // namespace
} // namespace Tolm::SQL
