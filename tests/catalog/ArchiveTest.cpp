#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

#include <QSet>

namespace Tolm::SQL {
namespace {

using namespace Tests;
using Varn::Archive::BrokenType;
using Varn::Archive::FullReason;
using Varn::Archive::GenerationType;
using Varn::Archive::Type;

/// Bunches and their generations, on two destinations and five folders.
class ArchiveTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        m_database.sql("insert into destination(id, cloud_type) values (1, 'a'), (2, 'b')");
        m_database.sql("insert into cloud_folders(id) values (1), (2), (3), (4), (5)");
    }

    static ArchiveBunches bunchOf(quint64 folderId, quint64 destinationId, const QUuid &planId = QUuid::createUuid())
    {
        ArchiveBunches bunch;
        bunch.setFolderId(folderId);
        bunch.setDestinationId(destinationId);
        bunch.setPlanId(planId);
        return bunch;
    }

    static ArchiveGenerations generationOf(quint64 bunchId, int number = 0, const QUuid &marker = QUuid::createUuid())
    {
        ArchiveGenerations generation;
        generation.setBunchId(bunchId);
        generation.setMarker(marker);
        generation.setNumber(number);
        return generation;
    }

    template <class Record>
    Record inserted(Record record)
    {
        EXPECT_EQ(record.insert(m_connection), ResultCode::Ok);
        return record;
    }

    QString readBack(const ArchiveBunches &bunch)
    {
        return shown(ArchiveBunches::select(bunch.planId(), bunch.destinationId(), m_connection).pointer);
    }
    QString readBack(const ArchiveGenerations &generation)
    {
        return shown(ArchiveGenerations::select(generation.bunchId(), generation.marker(), m_connection).pointer);
    }

    // What `select` gives of the records `ids`, page by page.
    template <class Record, class Select>
    static void expectPages(const QSet<quint64> &ids, Select select)
    {
        const auto page = [&](qint64 limit, qint64 offset) {
            const ResultList<Record> result = select(limit, offset);
            EXPECT_EQ(result.error, ResultCode::Ok);
            return Tests::ids(result.list);
        };
        const QList<quint64> all = page(0, 2);
        EXPECT_EQ(all.size(), ids.size());
        EXPECT_EQ(QSet<quint64>(all.begin(), all.end()), ids);
        EXPECT_EQ(page(-1, 3), all);
        EXPECT_EQ(page(2, 2), all.mid(2, 2));
        EXPECT_EQ(page(2, -5), all.mid(0, 2));
        EXPECT_EQ(page(qint64(Largest), 1), all.mid(1));
        EXPECT_EQ(page(1, qint64(Largest)), QList<quint64>());
    }
};
TOLM_TEST_ON_EVERY_BACKEND(ArchiveTest);

TEST_P(ArchiveTest, BunchReadsBackWhatItStored)
{
    ArchiveBunches bunch = inserted(bunchOf(1, 1));
    EXPECT_EQ(static_cast<int>(bunch.type()), 1000);
    EXPECT_EQ(stored("archive_bunches", bunch.id(), "plan_id"), bunch.planId().toString());
    bunch.setDisplayName(""); // never NULL
    EXPECT_EQ(readBack(bunch), shown(bunch));

    const QString name = "50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line";
    const auto update = [&](const QUuid &planId, quint64 destinationId) {
        return ArchiveBunches::updateMetaFileInfo(planId, destinationId, name, Type(-7), QString(4000, 'm'),
                                                  m_connection);
    };
    EXPECT_EQ(update(bunch.planId(), 2), ResultCode::Ok);
    EXPECT_EQ(update(QUuid(), 1), ResultCode::Ok);
    EXPECT_EQ(readBack(bunch), shown(bunch)) << "it is neither of the two";
    EXPECT_EQ(update(bunch.planId(), 1), ResultCode::Ok);
    bunch.setDisplayName(name);
    bunch.setType(Type(-7));
    bunch.setMetaFileName(QString(4000, 'm'));
    EXPECT_EQ(readBack(bunch), shown(bunch));
    EXPECT_EQ(shown(ArchiveBunches::select(1, 0, 0, m_connection).list), QStringList(shown(bunch)));

    const auto none = ArchiveBunches::select(bunch.planId(), 2, m_connection);
    EXPECT_EQ(none.pointer, nullptr);
    EXPECT_EQ(none.error, ResultCode::Ok);
}

TEST_P(ArchiveTest, GenerationReadsBackWhatItStored)
{
    inserted(bunchOf(1, 1));
    inserted(bunchOf(2, 2));
    ArchiveGenerations generation = inserted(generationOf(1));
    EXPECT_EQ(readBack(generation), shown(generation));
    EXPECT_EQ(count("archive_generations where marker = '" + generation.marker().toString() +
                    "' and format = '' and type = 1000 and full_backup_reason = 1000 and broken_type = 0 and "
                    "custom_purge = -1 and uploaded_files_size = -1"),
              1);

    generation.setBunchId(2);
    generation.setMarker(QUuid::createUuid());
    generation.setFormat(QVersionNumber(1, 2, 3));
    generation.setNumber(std::numeric_limits<int>::max());
    generation.setType(GenerationType(std::numeric_limits<int>::min()));
    generation.setFullBackupReason(FullReason::Hash);
    generation.setBrokenType(BrokenType::ToPurgeAfterSync);
    generation.setHint("50%_off 'quoted' \"Ж\" \U0001F5C4\nsecond line \\x41");
    generation.setErrorList(QString(4000, QChar(0x20AC)));
    generation.setCustomPurge(0);
    generation.setUploadedFilesSize(qint64(Largest));
    ArchiveGenerations copy = generation;
    ASSERT_EQ(generation.update(m_connection), ResultCode::Ok);
    EXPECT_EQ(readBack(generation), shown(generation));
    if (isSQLite()) {
        EXPECT_EQ(stored("archive_generations", generation.id(), "typeof(hint)"), "text");
    }
    copy.setMarker(QUuid::createUuid());
    copy = inserted(copy);
    EXPECT_EQ(readBack(copy), shown(copy));
    EXPECT_EQ(readBack(generation), shown(generation));
}

TEST_P(ArchiveTest, KeepsAPlanAndAFolderOfATypeAndAMarkerOnce)
{
    const ShortWaits waits;
    const LogCapture log;
    const int violation = isSQLite() ? ResultCode::Constraint : ResultCode::RetriesExhausted;
    const ArchiveBunches first = inserted(bunchOf(1, 1));
    inserted(bunchOf(2, 2, first.planId()));
    ArchiveBunches sameFolder = bunchOf(1, 2);
    EXPECT_EQ(sameFolder.insert(m_connection), violation);
    EXPECT_EQ(sameFolder.id(), 0U);
    sameFolder.setType(Type(1));
    inserted(sameFolder);
    EXPECT_EQ(bunchOf(3, 1, first.planId()).insert(m_connection), violation);
    EXPECT_EQ(bunchOf(99, 1).insert(m_connection), isSQLite() ? ResultCode::Ok : violation) << "no such folder";
    EXPECT_EQ(bunchOf(Largest + 1, 1).insert(m_connection), ResultCode::BadData);

    const ArchiveGenerations generation = inserted(generationOf(1));
    EXPECT_EQ(generationOf(1, 0, generation.marker()).insert(m_connection), violation);
    ArchiveGenerations second = inserted(generationOf(2, 0, generation.marker()));
    EXPECT_EQ(readBack(second), shown(second));
    second.setBunchId(1);
    EXPECT_EQ(second.update(m_connection), violation);
    EXPECT_EQ(readBack(generation), shown(generation));
}

TEST_P(ArchiveTest, KnowsTheCurrentGeneration)
{
    inserted(bunchOf(1, 1));
    inserted(bunchOf(2, 2));
    inserted(generationOf(2, 11));
    const auto none = ArchiveGenerations::current(1, m_connection);
    EXPECT_EQ(none.pointer, nullptr);
    EXPECT_EQ(none.error, ResultCode::Ok);
    for (const int number : {2, 10, 3})
        inserted(generationOf(1, number));
    EXPECT_EQ(ArchiveGenerations::current(1, m_connection).pointer->number(), 10);
    EXPECT_EQ(ArchiveGenerations::select(1, QUuid::createUuid(), m_connection).error, ResultCode::Ok);
}

TEST_P(ArchiveTest, ListsByPages)
{
    QSet<quint64> bunches;
    QSet<quint64> generations;
    for (quint64 folder = 1; folder <= 4; ++folder) {
        bunches.insert(inserted(bunchOf(folder, 1)).id());
        generations.insert(inserted(generationOf(1, int(folder))).id());
    }
    inserted(generationOf(inserted(bunchOf(5, 2)).id()));
    expectPages<ArchiveBunches>(
        bunches, [&](qint64 limit, qint64 offset) { return ArchiveBunches::select(1, limit, offset, m_connection); });
    expectPages<ArchiveGenerations>(generations, [&](qint64 limit, qint64 offset) {
        return ArchiveGenerations::select(1, limit, offset, m_connection);
    });
}

TEST_P(ArchiveTest, RemovesRowsAndWhereForeignKeysCountWhatBelongsToThem)
{
    const ArchiveBunches bunch = inserted(bunchOf(1, 1));
    const ArchiveBunches other = inserted(bunchOf(2, 2));
    const ArchiveGenerations one = inserted(generationOf(1));
    const ArchiveGenerations two = inserted(generationOf(1));
    inserted(generationOf(2));
    for (int time = 1; time <= 2; ++time)
        EXPECT_EQ(one.remove(m_connection), ResultCode::Ok) << "no such row is no failure";
    EXPECT_EQ(one.update(m_connection), ResultCode::Ok);
    EXPECT_EQ(readBack(one), "nothing");
    EXPECT_EQ(readBack(two), shown(two));

    EXPECT_EQ(bunch.remove(m_connection), ResultCode::Ok);
    EXPECT_EQ(readBack(bunch), "nothing");
    EXPECT_EQ(count("archive_generations"), isSQLite() ? 2 : 1);
    m_database.sql("delete from destination where id = 2");
    EXPECT_EQ(count("archive_bunches"), isSQLite() ? 1 : 0);
    EXPECT_EQ(count("archive_generations"), isSQLite() ? 2 : 0);
}

TEST_P(ArchiveTest, RefusesWhatIsIncomplete)
{
    const LogCapture log;
    EXPECT_EQ(bunchOf(0, 1).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(bunchOf(1, 0).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(bunchOf(1, 1, QUuid()).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(QUuid(), 1, m_connection).error, ResultCode::Error);
    EXPECT_EQ(ArchiveBunches::select(QUuid::createUuid(), 0, m_connection).error, ResultCode::Error);
    EXPECT_EQ(generationOf(0).insert(m_connection), ResultCode::Error);
    EXPECT_EQ(generationOf(1).update(m_connection), ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(0, QUuid::createUuid(), m_connection).error, ResultCode::Error);
    EXPECT_EQ(ArchiveGenerations::select(1, QUuid(), m_connection).error, ResultCode::Error);
    EXPECT_EQ(count("archive_bunches") + count("archive_generations"), 0);
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
