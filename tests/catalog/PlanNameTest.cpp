#include <repository/catalog/PlanName.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using Info::Plan::SubType;

class PlanNameTest : public Tests::CatalogueTest {};
TOLM_TEST_ON_EVERY_BACKEND(PlanNameTest);

TEST_P(PlanNameTest, KeepsTheLatestNameOfEachPlan)
{
    const QUuid plan = QUuid::createUuid();
    const QUuid other = QUuid::createUuid();
    const QString name = "50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line";
    EXPECT_TRUE(PlanName::select(m_connection).isEmpty());
    EXPECT_TRUE(PlanName::update(plan, "first", SubType::Backup, m_connection));
    EXPECT_TRUE(PlanName::update(plan, name, SubType::Restore, m_connection));
    EXPECT_TRUE(PlanName::update(other, QString(), SubType::Purge, m_connection));

    const auto names = PlanName::select(m_connection);
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(names[plan]->id(), plan);
    EXPECT_EQ(names[plan]->name(), name);
    EXPECT_EQ(names[plan]->type(), isSQLite() ? SubType::Restore : SubType::Backup);
    EXPECT_EQ(names[other]->name(), QString());
    EXPECT_EQ(names[other]->type(), SubType::Purge);
    EXPECT_EQ(count("plan_name where plan_id = '" + plan.toString(QUuid::WithoutBraces) + "'"), 1);
}

TEST_P(PlanNameTest, ReadsPlansThatAreNoUuidAsOne)
{
    m_database.sql("insert into plan_name values ('a', 'A', 1), ('b', 'B', 2)");
    const auto names = PlanName::select(m_connection);
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(names.firstKey().isNull());
}

} // namespace
} // namespace Tolm::SQL
