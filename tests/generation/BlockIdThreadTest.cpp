#include <repository/database/DatabaseTransaction.h>

#include <tests/generation/GenerationTest.h>
#include <tests/support/ChildProgram.h>
#include <tests/support/FullDisk.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

namespace Tolm::SQL::Generation {
namespace {

class BlockIdThreadTest : public Tests::GenerationTest {
protected:
    long long next() { return BlockIdGenerator::next({}, m_connection); }
};

TEST_F(BlockIdThreadTest, GivesEachIdOnceToThreadsAndProcesses)
{
    constexpr int Threads = 8;
    constexpr int Processes = 2;
    constexpr int Draws = 100;

    std::vector<std::unique_ptr<Tests::ChildProgram>> processes;
    for (int process = 0; process < Processes; ++process)
        processes.push_back(
            std::make_unique<Tests::ChildProgram>("generationWorker", QStringList{m_path, QString::number(Draws)}));
    std::mutex mutex;
    std::vector<long long> ids;
    const auto draw = [&](bool ownAttachment) {
        const auto generation = ownAttachment ? AttachDatabase::attach(m_path, m_marker) : m_generation;
        DatabaseConnection connection(generation->attachedDatabasePool());
        for (int drawn = 0; drawn < Draws; ++drawn) {
            const long long id = BlockIdGenerator::next({}, connection);
            EXPECT_EQ(PartsBlocks(id, 1, QByteArray::number(id)).insert({}, connection), ResultCode::Ok);
            const std::lock_guard lock(mutex);
            ids.push_back(id);
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread)
        threads.emplace_back(draw, thread % 4 == 0);
    for (std::thread &thread : threads)
        thread.join();
    for (const auto &process : processes) {
        const QStringList lines = process->finish();
        for (const QString &line : lines)
            ids.push_back(line.toLongLong());
    }

    std::sort(ids.begin(), ids.end());
    std::vector<long long> expected(static_cast<std::size_t>(Threads + Processes) * Draws);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(ids, expected);
    EXPECT_EQ(sql("select count(*) from part_blocks where cast(address as text) = id"),
              QStringList(QString::number(expected.size())));
    EXPECT_EQ(sql("select generation_marker from metadata"), QStringList(m_marker.toString()));
}

TEST_F(BlockIdThreadTest, DrawsARolledBackIdAgain)
{
    EXPECT_EQ(next(), 1);
    {
        DatabaseTransaction transaction(m_connection);
        EXPECT_EQ(next(), 2);
        EXPECT_EQ(next(), 3);
    }
    EXPECT_EQ(next(), 2);
    sql("update sqlite_sequence set seq = null");
    EXPECT_EQ(next(), 1);
    sql("update sqlite_sequence set seq = 9223372036854775806");
    EXPECT_EQ(next(), 9223372036854775807LL);

    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    EXPECT_EQ(BlockIdGenerator::next({}, closed), -1);
    sql("delete from sqlite_sequence");
    EXPECT_EQ(next(), -1);
}

// The update is made when the row comes, but made permanent only at the statement's end.
TEST_F(BlockIdThreadTest, GivesNoIdThatTheDiskCannotKeep)
{
    EXPECT_EQ(next(), 1);
    const Tests::LogCapture log;
    {
        const Tests::FullDisk disk(0);
        EXPECT_EQ(next(), -1);
    }
    EXPECT_FALSE(log.complaints().isEmpty());
    EXPECT_EQ(next(), 2);
}

} // namespace
} // namespace Tolm::SQL::Generation
