#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
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

using Varn::Archive::BrokenType;
using Varn::Archive::FullReason;
using Varn::Archive::GenerationType;

constexpr qint64 Largest = std::numeric_limits<qint64>::max();

class ArchiveGenerationsTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, Destination, ArchiveBunches, ArchiveGenerations>();
        m_database.sql(QStringLiteral("insert into destination(id, cloud_type) values (1, 'a'), (2, 'b')"));
        m_database.sql(QStringLiteral("insert into cloud_folders(id) values (1), (2)"));
        m_database.sql(QStringLiteral("insert into archive_bunches(id, folder_id, display_name, destination_id) values "
                                      "(1, 1, '', 1), (2, 2, '', 2)"));
    }

    static ArchiveGenerations generationOf(quint64 bunchId, int number = 0)
    {
        ArchiveGenerations generation;
        generation.setBunchId(bunchId);
        generation.setMarker(QUuid::createUuid());
        generation.setNumber(number);
        return generation;
    }

    static void expectEqual(const ArchiveGenerations &read, const ArchiveGenerations &stored)
    {
        EXPECT_EQ(read.id(), stored.id());
        EXPECT_EQ(read.bunchId(), stored.bunchId());
        EXPECT_EQ(read.marker(), stored.marker());
        EXPECT_EQ(read.format(), stored.format());
        EXPECT_EQ(read.number(), stored.number());
        EXPECT_EQ(read.type(), stored.type());
        EXPECT_EQ(read.fullBackupReason(), stored.fullBackupReason());
        EXPECT_EQ(read.brokenType(), stored.brokenType());
        EXPECT_EQ(read.hint(), stored.hint());
        EXPECT_EQ(read.hint().isNull(), stored.hint().isNull());
        EXPECT_EQ(read.errorList(), stored.errorList());
        EXPECT_EQ(read.customPurge(), stored.customPurge());
        EXPECT_EQ(read.uploadedFilesSize(), stored.uploadedFilesSize());
    }

    QSharedPointer<ArchiveGenerations> stored(const ArchiveGenerations &generation)
    {
        return ArchiveGenerations::select(generation.bunchId(), generation.marker(), m_connection).pointer;
    }

    int rows() { return m_database.value(QStringLiteral("select count(*) from archive_generations")).toInt(); }

    DatabaseConnection m_connection{m_database.pool()};
    const int m_violation = isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted;
};
TOLM_TEST_ON_EVERY_BACKEND(ArchiveGenerationsTest);

TEST_P(ArchiveGenerationsTest, ReadsBackWhatItStored)
{
    ArchiveGenerations generation = generationOf(1);
    ASSERT_EQ(generation.insert(m_connection), ResultCode::Ok);
    ASSERT_NE(generation.id(), 0U);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from archive_generations where marker = '%1' and format "
                                              "= '' and type = 1000 and full_backup_reason = 1000 and broken_type = 0 "
                                              "and custom_purge = -1 and uploaded_files_size = -1")
                                   .arg(generation.marker().toString())),
              1);
    ASSERT_TRUE(stored(generation));
    expectEqual(*stored(generation), generation);

    generation.setBunchId(2);
    generation.setMarker(QUuid::createUuid());
    generation.setFormat(QVersionNumber(1, 2, 3));
    generation.setNumber(std::numeric_limits<int>::max());
    generation.setType(static_cast<GenerationType>(std::numeric_limits<int>::min()));
    generation.setFullBackupReason(FullReason::Hash);
    generation.setBrokenType(BrokenType::ToPurgeAfterSync);
    generation.setHint(QStringLiteral("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line \\x41"));
    generation.setErrorList(QString(4000, QChar(0x20AC)));
    generation.setCustomPurge(0);
    generation.setUploadedFilesSize(Largest);
    ASSERT_EQ(generation.update(m_connection), ResultCode::Ok);
    ASSERT_TRUE(stored(generation));
    expectEqual(*stored(generation), generation);
    if (isSQLite()) {
        EXPECT_EQ(m_database.value(QStringLiteral("select typeof(hint) from archive_generations")),
                  QStringLiteral("text"));
    }
    ArchiveGenerations copy = generationOf(2);
    copy.setHint(generation.hint());
    copy.setFormat(QVersionNumber(10, 0));
    copy.setUploadedFilesSize(Q_INT64_C(3) << 30);
    ASSERT_EQ(copy.insert(m_connection), ResultCode::Ok);
    ASSERT_TRUE(stored(copy));
    expectEqual(*stored(copy), copy);
    expectEqual(*stored(generation), generation);
}

TEST_P(ArchiveGenerationsTest, HoldsIdsUpToTheColumnsEnd)
{
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    ArchiveGenerations generation = generationOf(Largest);
    EXPECT_EQ(generation.insert(m_connection), isSQLite() ? ResultCode::Ok : ResultCode::RetriesExhausted);
    if (isSQLite())
        expectEqual(*stored(generation), generation);
    EXPECT_EQ(generationOf(quint64(Largest) + 1).insert(m_connection), ResultCode::BadData);
    EXPECT_EQ(rows(), isSQLite() ? 1 : 0);
}

TEST_P(ArchiveGenerationsTest, KeepsAMarkerOnceInABunch)
{
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    ArchiveGenerations first = generationOf(1);
    ASSERT_EQ(first.insert(m_connection), ResultCode::Ok);
    ArchiveGenerations second = generationOf(1);
    second.setMarker(first.marker());
    EXPECT_EQ(second.insert(m_connection), m_violation);
    EXPECT_EQ(second.id(), 0U);
    second.setBunchId(2);
    ASSERT_EQ(second.insert(m_connection), ResultCode::Ok);
    second.setBunchId(1);
    EXPECT_EQ(second.update(m_connection), m_violation);
    EXPECT_EQ(ArchiveGenerations::select(2, first.marker(), m_connection).pointer->id(), second.id());

    EXPECT_EQ(generationOf(99).insert(m_connection), isSQLite() ? ResultCode::Ok : ResultCode::RetriesExhausted);
}

TEST_P(ArchiveGenerationsTest, KnowsTheCurrentOne)
{
    EXPECT_FALSE(ArchiveGenerations::current(1, m_connection).pointer);
    EXPECT_EQ(ArchiveGenerations::current(1, m_connection).error, ResultCode::Ok);
    for (const int number : {2, 10, 3}) {
        ASSERT_EQ(generationOf(1, number).insert(m_connection), ResultCode::Ok);
        ASSERT_EQ(generationOf(2, number + 1).insert(m_connection), ResultCode::Ok);
    }
    EXPECT_EQ(ArchiveGenerations::current(1, m_connection).pointer->number(), 10);
    EXPECT_EQ(ArchiveGenerations::current(2, m_connection).pointer->number(), 11);
    EXPECT_FALSE(ArchiveGenerations::select(1, QUuid::createUuid(), m_connection).pointer);
    EXPECT_EQ(ArchiveGenerations::select(1, QUuid::createUuid(), m_connection).error, ResultCode::Ok);
}

TEST_P(ArchiveGenerationsTest, ListsTheGenerationsOfABunchByPages)
{
    for (const int number : {1, 2, 3, 4})
        ASSERT_EQ(generationOf(1, number).insert(m_connection), ResultCode::Ok);
    ASSERT_EQ(generationOf(2, 5).insert(m_connection), ResultCode::Ok);
    const auto page = [this](qint64 limit, qint64 offset) {
        const auto result = ArchiveGenerations::select(1, limit, offset, m_connection);
        EXPECT_EQ(result.error, ResultCode::Ok);
        QList<int> numbers;
        for (const auto &generation : result.list)
            numbers.append(generation->number());
        return numbers;
    };
    const QList<int> all = page(0, 2);
    EXPECT_EQ(all.size(), 4);
    EXPECT_EQ(QSet<int>(all.begin(), all.end()), (QSet<int>{1, 2, 3, 4}));
    EXPECT_EQ(page(2, 2), all.mid(2));
    EXPECT_EQ(page(3, -1), all.mid(0, 3));
    EXPECT_EQ(page(Largest, Largest), QList<int>());
}

TEST_P(ArchiveGenerationsTest, GoesWithItsDestinationWhereForeignKeysCount)
{
    ArchiveGenerations gone = generationOf(1);
    ArchiveGenerations kept = generationOf(2);
    ASSERT_EQ(gone.insert(m_connection), ResultCode::Ok);
    ASSERT_EQ(kept.insert(m_connection), ResultCode::Ok);
    m_database.sql(QStringLiteral("delete from destination where id = 1"));
    EXPECT_EQ(stored(gone).isNull(), !isSQLite());
    EXPECT_EQ(ArchiveBunches::select(1, 0, 0, m_connection).list.isEmpty(), !isSQLite());
    ASSERT_TRUE(stored(kept));

    const auto bunches = ArchiveBunches::select(2, 0, 0, m_connection).list;
    ASSERT_EQ(bunches.size(), 1);
    EXPECT_EQ(bunches.first()->remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(rows(), isSQLite() ? 2 : 0);
}

TEST_P(ArchiveGenerationsTest, RemovesItsRow)
{
    ArchiveGenerations one = generationOf(1);
    ArchiveGenerations two = generationOf(1);
    ASSERT_EQ(one.insert(m_connection), ResultCode::Ok);
    ASSERT_EQ(two.insert(m_connection), ResultCode::Ok);
    EXPECT_EQ(one.remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(one.remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(one.update(m_connection), ResultCode::Ok);
    EXPECT_FALSE(stored(one));
    EXPECT_TRUE(stored(two));
}

TEST_P(ArchiveGenerationsTest, RefusesWhatIsIncomplete)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    ArchiveGenerations inserted = generationOf(1);
    ASSERT_EQ(inserted.insert(m_connection), ResultCode::Ok);
    const Tests::LogCapture log;

    EXPECT_EQ(generationOf(0).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(generationOf(1).update(m_connection), ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(0, inserted.marker(), m_connection).error, ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(1, QUuid(), m_connection).error, ResultCode::Error);

    EXPECT_EQ(generationOf(1).insert(closed), ResultCode::Error);
    EXPECT_EQ(inserted.update(closed), ResultCode::Error);
    EXPECT_EQ(inserted.remove(closed), ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(1, 0, 0, closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(1, 2, 1, closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(1, inserted.marker(), closed).error, ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::current(1, closed).error, ResultCode::Error);
    EXPECT_EQ(rows(), 1);
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
