#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/support/ChildProgram.h>
#include <tests/support/TestDatabase.h>

#include <memory>

namespace Tolm::SQL {
namespace {

class CatalogueConcurrencyTest : public testing::Test {
protected:
    CatalogueConcurrencyTest() { m_database.createTables<CloudFolder, CloudFile, CloudFileVersion>(); }

    /// Another program that writes into the same file, and says which paths are permanent.
    std::unique_ptr<Tests::ChildProgram> start(const QString &name, int count, int batch) const
    {
        const QStringList arguments{m_database.file(), name, QString::number(count), QString::number(batch)};
        return std::make_unique<Tests::ChildProgram>("writer", arguments);
    }

    int number(const QString &text) { return m_database.value("select count(*) from " + text).toInt(); }

    /// Looks up each path as a caller would, its folders included.
    void expectRecorded(const QStringList &paths)
    {
        DatabaseConnection connection(m_database.pool());
        for (const QString &path : paths) {
            CloudFile file;
            ASSERT_TRUE(file.select(1, path, connection)) << qPrintable(path);
            EXPECT_EQ(CloudFileVersion::select_(file.id(), connection).size(), 1) << qPrintable(path);
            EXPECT_EQ(CloudFolder::selectPath(file.parentId(), connection), path.section('/', 0, -2) + '/');
        }
        EXPECT_EQ(m_database.value("PRAGMA integrity_check"), "ok");
    }

    Tests::TestDatabase m_database{DatabaseType::SQLite};
};

TEST_F(CatalogueConcurrencyTest, WritersOfSeveralProcessesLoseNothing)
{
    constexpr int Count = 200;
    const auto single = start("a", Count, 1);
    const auto other = start("b", Count, 1);
    const auto batches = start("c", Count, 40);
    for (const auto *writer : {&single, &other, &batches}) {
        const QStringList paths = (*writer)->finish();
        EXPECT_EQ(paths.size(), Count);
        expectRecorded(paths);
    }
    EXPECT_EQ(number("cloud_file_versions"), 3 * Count);
    EXPECT_EQ(number("cloud_files"), 3 * Count);
    EXPECT_EQ(number("cloud_folders"), 2 + Count / 10 + 1) << "no folder twice";
}

TEST_F(CatalogueConcurrencyTest, KilledWriterLosesNothingThatItAcknowledged)
{
    constexpr int Batch = 25;
    for (const int batch : {1, Batch}) {
        for (int time = 0; time < 3; ++time) {
            const auto writer = start(QString("w%1-%2").arg(batch).arg(time), 0, batch);
            EXPECT_TRUE(writer->waitForLines(30 + 40 * time));
            writer->kill();
            expectRecorded(writer->lines());
        }
        // What was on its way is there as a whole or not at all.
        EXPECT_EQ(number("cloud_file_versions v left join cloud_files f on f.id = v.file_id where f.id is null"), 0);
        EXPECT_EQ(number(QString("cloud_files where file_name like 'w%1-%'").arg(Batch)) % Batch, 0);
    }
    EXPECT_EQ(start("after", 5, 5)->finish().size(), 5) << "the dead hold no lock";
}

} // namespace
} // namespace Tolm::SQL
