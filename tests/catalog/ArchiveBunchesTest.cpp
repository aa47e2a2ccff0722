#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>
#include <repository/database/ResultCode.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QSet>

#include <limits>

namespace Tolm::SQL {
namespace {

using Varn::Archive::Type;

class ArchiveBunchesTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, Destination, ArchiveBunches>();
        m_database.sql(QStringLiteral("insert into destination(id, cloud_type) values (1, 'a'), (2, 'b')"));
        m_database.sql(QStringLiteral("insert into cloud_folders(id) values (1), (2), (3), (4), (5)"));
    }

    static ArchiveBunches bunchOf(quint64 folderId, quint64 destinationId, const QUuid &planId = QUuid::createUuid())
    {
        ArchiveBunches bunch;
        bunch.setFolderId(folderId);
        bunch.setDestinationId(destinationId);
        bunch.setPlanId(planId);
        return bunch;
    }

    static void expectEqual(const ArchiveBunches &read, const ArchiveBunches &stored)
    {
        EXPECT_EQ(read.id(), stored.id());
        EXPECT_EQ(read.folderId(), stored.folderId());
        EXPECT_EQ(read.displayName(), stored.displayName());
        EXPECT_EQ(read.type(), stored.type());
        EXPECT_EQ(read.destinationId(), stored.destinationId());
        EXPECT_EQ(read.planId(), stored.planId());
        EXPECT_EQ(read.metaFileName(), stored.metaFileName());
    }

    int rows() { return m_database.value(QStringLiteral("select count(*) from archive_bunches")).toInt(); }

    DatabaseConnection m_connection{m_database.pool()};
    const int m_violation = isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted;
};
TOLM_TEST_ON_EVERY_BACKEND(ArchiveBunchesTest);

TEST_P(ArchiveBunchesTest, ReadsBackWhatItStored)
{
    ArchiveBunches bunch = bunchOf(1, 1);
    EXPECT_EQ(static_cast<int>(bunch.type()), 1000);
    ASSERT_EQ(bunch.insert(m_connection), ResultCode::Ok);
    ASSERT_NE(bunch.id(), 0U);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from archive_bunches where display_name = '' and "
                                              "meta_file_name is null and type = 1000 and plan_id = '%1'")
                                   .arg(bunch.planId().toString())),
              1);

    const auto updated = [&bunch, this](const QUuid &planId, quint64 destinationId) {
        return ArchiveBunches::updateMetaFileInfo(planId, destinationId, bunch.displayName(), bunch.type(),
                                                  bunch.metaFileName(), m_connection);
    };
    bunch.setDisplayName(QStringLiteral("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line"));
    bunch.setType(static_cast<Type>(-7));
    bunch.setMetaFileName(QString(4000, QLatin1Char('m')));
    EXPECT_EQ(updated(bunch.planId(), 2), ResultCode::Ok);
    EXPECT_EQ(updated(QUuid(), 1), ResultCode::Ok);
    EXPECT_EQ(ArchiveBunches::select(bunch.planId(), 1, m_connection).pointer->metaFileName(), QString());
    EXPECT_EQ(updated(bunch.planId(), 1), ResultCode::Ok);

    const auto one = ArchiveBunches::select(bunch.planId(), 1, m_connection);
    const auto all = ArchiveBunches::select(1, 0, 0, m_connection);
    ASSERT_TRUE(one.pointer);
    ASSERT_EQ(all.list.size(), 1);
    expectEqual(*one.pointer, bunch);
    expectEqual(*all.list.first(), bunch);

    for (const auto &none : {ArchiveBunches::select(QUuid::createUuid(), 1, m_connection),
                             ArchiveBunches::select(bunch.planId(), 2, m_connection)}) {
        EXPECT_FALSE(none.pointer);
        EXPECT_EQ(none.error, ResultCode::Ok);
    }
}

TEST_P(ArchiveBunchesTest, HoldsIdsUpToTheColumnsEnd)
{
    constexpr quint64 Largest = std::numeric_limits<qint64>::max();
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    ArchiveBunches bunch = bunchOf(Largest, Largest - 1);
    EXPECT_EQ(bunch.insert(m_connection), isSQLite() ? ResultCode::Ok : ResultCode::RetriesExhausted);
    if (isSQLite())
        expectEqual(*ArchiveBunches::select(bunch.planId(), Largest - 1, m_connection).pointer, bunch);
    EXPECT_EQ(bunchOf(Largest + 1, 1).insert(m_connection), ResultCode::BadData);
    EXPECT_EQ(rows(), isSQLite() ? 1 : 0);
}

TEST_P(ArchiveBunchesTest, IsOneForAPlanAndForAFolderAndType)
{
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    ArchiveBunches first = bunchOf(1, 1);
    ASSERT_EQ(first.insert(m_connection), ResultCode::Ok);

    ArchiveBunches samePlan = bunchOf(2, 1, first.planId());
    EXPECT_EQ(samePlan.insert(m_connection), m_violation);
    EXPECT_EQ(samePlan.id(), 0U);
    ArchiveBunches sameFolder = bunchOf(1, 2);
    EXPECT_EQ(sameFolder.insert(m_connection), m_violation);
    sameFolder.setType(static_cast<Type>(1));
    EXPECT_EQ(sameFolder.insert(m_connection), ResultCode::Ok);
    EXPECT_EQ(bunchOf(2, 2, first.planId()).insert(m_connection), ResultCode::Ok);

    EXPECT_EQ(bunchOf(99, 1).insert(m_connection), isSQLite() ? ResultCode::Ok : ResultCode::RetriesExhausted);
    EXPECT_EQ(
        ArchiveBunches::updateMetaFileInfo(first.planId(), 2, QString(), static_cast<Type>(1), QString(), m_connection),
        ResultCode::Ok);
    EXPECT_EQ(rows(), isSQLite() ? 4 : 3);
}

TEST_P(ArchiveBunchesTest, ListsTheBunchesOfADestinationByPages)
{
    QSet<quint64> ids;
    for (quint64 folder = 1; folder <= 4; ++folder) {
        ArchiveBunches bunch = bunchOf(folder, 1);
        ASSERT_EQ(bunch.insert(m_connection), ResultCode::Ok);
        ids.insert(bunch.id());
    }
    ASSERT_EQ(bunchOf(5, 2).insert(m_connection), ResultCode::Ok);

    const auto page = [this](qint64 limit, qint64 offset) {
        const auto result = ArchiveBunches::select(1, limit, offset, m_connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        QList<quint64> found;
        for (const auto &bunch : result.list)
            found.append(bunch->id());
        return found;
    };
    constexpr auto Largest = std::numeric_limits<qint64>::max();
    const QList<quint64> all = page(0, 0);
    EXPECT_EQ(all.size(), 4);
    EXPECT_EQ(QSet<quint64>(all.begin(), all.end()), ids);
    EXPECT_EQ(page(-1, 3), all);
    EXPECT_EQ(page(2, 2), all.mid(2));
    EXPECT_EQ(page(2, -5), all.mid(0, 2));
    EXPECT_EQ(page(Largest, 1), all.mid(1));
    EXPECT_EQ(page(1, Largest), QList<quint64>());
    EXPECT_TRUE(ArchiveBunches::select(0, 0, 0, m_connection).list.isEmpty());
}

TEST_P(ArchiveBunchesTest, RemovesItsRow)
{
    ArchiveBunches bunch = bunchOf(1, 1);
    ArchiveBunches other = bunchOf(2, 1);
    ASSERT_EQ(bunch.insert(m_connection), ResultCode::Ok);
    ASSERT_EQ(other.insert(m_connection), ResultCode::Ok);
    EXPECT_EQ(bunch.remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(bunch.remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(ArchiveBunches::select(1, 0, 0, m_connection).list.first()->id(), other.id());
}

TEST_P(ArchiveBunchesTest, RefusesWhatIsIncomplete)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    const QUuid plan = QUuid::createUuid();
    const Tests::LogCapture log;

    EXPECT_EQ(bunchOf(0, 1).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(bunchOf(1, 0).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(bunchOf(1, 1, QUuid()).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(QUuid(), 1, m_connection).error, ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(plan, 0, m_connection).error, ResultCode::Error);

    EXPECT_EQ(bunchOf(1, 1).insert(closed), ResultCode::Error);
    EXPECT_EQ(bunchOf(1, 1).remove(closed), ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(1, 0, 0, closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(1, 1, 0, closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(plan, 1, closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::updateMetaFileInfo(plan, 1, QString(), Type::Unknown, QString(), closed),
              ResultCode::Error);
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
