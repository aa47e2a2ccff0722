#include <repository/catalog/PlanName.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TestDatabase.h>

namespace Tolm::SQL {
namespace {

using Tolm::Info::Plan::SubType;

class PlanNameTest : public Tests::DatabaseTest {
protected:
    void SetUp() override { m_database.createTables<PlanName>(); }
};
TOLM_TEST_ON_EVERY_BACKEND(PlanNameTest);

TEST_P(PlanNameTest, KeepsTheLatestNameOfEachPlan)
{
    DatabaseConnection connection(m_database.pool());
    const QUuid plan = QUuid::createUuid();
    const QUuid other = QUuid::createUuid();
    const QString name = QStringLiteral("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line");

    EXPECT_TRUE(PlanName::select(connection).isEmpty());
    EXPECT_TRUE(PlanName::update(plan, QStringLiteral("first"), SubType::Backup, connection));
    EXPECT_TRUE(PlanName::update(plan, name, SubType::Restore, connection));
    EXPECT_TRUE(PlanName::update(other, QString(), SubType::Purge, connection));

    const auto names = PlanName::select(connection);
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(names[plan]->id(), plan);
    EXPECT_EQ(names[plan]->name(), name);
    EXPECT_EQ(names[plan]->type(), isSQLite() ? SubType::Restore : SubType::Backup);
    EXPECT_EQ(names[other]->name(), QString());
    EXPECT_EQ(names[other]->type(), SubType::Purge);
    EXPECT_EQ(m_database
                  .value(QStringLiteral("select count(*) from plan_name where plan_id = '%1'")
                             .arg(plan.toString(QUuid::WithoutBraces)))
                  .toInt(),
              1);
}

TEST_P(PlanNameTest, ReadsPlansThatAreNoUuidAsOne)
{
    m_database.sql(QStringLiteral("insert into plan_name values ('a', 'A', 1), ('b', 'B', 2)"));
    DatabaseConnection connection(m_database.pool());
    const auto names = PlanName::select(connection);
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(names.firstKey().isNull());
}

TEST_P(PlanNameTest, RefusesAClosedConnection)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection connection(nobody);
    const Tests::LogCapture log;
    EXPECT_FALSE(PlanName::update(QUuid::createUuid(), QStringLiteral("name"), SubType::Backup, connection));
    EXPECT_TRUE(PlanName::select(connection).isEmpty());
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
