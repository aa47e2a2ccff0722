#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace Tolm::SQL {
namespace {

using namespace Tests;

constexpr int Threads = 4;

CloudFileVersion version(const QString &path, int day = 1)
{
    CloudFileVersion version;
    version.setPath(path);
    version.setDateModified(utc(2024, 1, day));
    version.setEncryptionKey(path.toUtf8());
    return version;
}

// What the log says beyond waiting for another writer of a SQLite file, which is what the retries are for.
QString faults(const LogCapture &log)
{
    QStringList faults = log.texts(QtCriticalMsg);
    for (const QString &text : log.texts(QtWarningMsg)) {
        if (!text.contains("error code: 5 ") && !text.startsWith("Slow SQL query"))
            faults.append(text);
    }
    return faults.join('\n');
}

class CatalogueConcurrencyTest : public CatalogueTest {
protected:
    // Runs `work(number, connection)` on several threads, each with a handle of its own, and waits for all of them.
    template <class Work>
    void onThreads(Work work)
    {
        std::vector<std::thread> threads;
        threads.reserve(Threads);
        for (int number = 0; number < Threads; ++number) {
            threads.emplace_back([this, &work, number] {
                DatabaseConnection connection(m_database.pool());
                work(number, connection);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
    }
};
TOLM_TEST_ON_EVERY_BACKEND(CatalogueConcurrencyTest);

class SQLiteCatalogueConcurrencyTest : public CatalogueConcurrencyTest {};
TOLM_TEST_ON_SQLITE(SQLiteCatalogueConcurrencyTest);

TEST_P(CatalogueConcurrencyTest, LosesNothingOfManyWriters)
{
    constexpr int Batches = 6;
    constexpr int BatchSize = 20;
    ASSERT_TRUE(CloudFolder::selectOrInsert(1, "/", m_connection));
    const LogCapture log;
    std::vector<std::vector<CloudFileVersion>> stored(Threads);
    // Odd threads commit each statement, even ones a batch; every second batch of these is abandoned.
    onThreads([&](int number, DatabaseConnection &connection) {
        const auto insertBatch = [&](int batch) {
            std::vector<CloudFileVersion> records;
            for (int i = 0; i < BatchSize; ++i) {
                CloudFileVersion record =
                    version(QStringLiteral("/%1/%2/f%3").arg(number).arg(batch / 2).arg(i), 1 + batch);
                EXPECT_TRUE(record.insert(1, connection));
                const auto read = CloudFileVersion::selectById(record.id(), connection);
                EXPECT_EQ(shown(read), shown(record)) << "the key of another thread's row";
                records.push_back(record);
            }
            return records;
        };
        for (int batch = 0; batch < Batches; ++batch) {
            std::vector<CloudFileVersion> records;
            if (number % 2 == 1) {
                records = insertBatch(batch);
            } else {
                DatabaseTransaction transaction(connection);
                EXPECT_EQ(transaction.error(), ResultCode::Ok);
                records = insertBatch(batch);
                if (batch % 2 == 1)
                    continue;
                EXPECT_EQ(transaction.commit(), ResultCode::Ok);
            }
            auto &mine = stored[static_cast<std::size_t>(number)];
            mine.insert(mine.end(), records.begin(), records.end());
        }
    });
    EXPECT_EQ(faults(log), QString());

    int expected = 0;
    for (const auto &records : stored) {
        for (const CloudFileVersion &record : records) {
            EXPECT_EQ(shown(CloudFileVersion::selectById(record.id(), m_connection)), shown(record));
            ++expected;
        }
    }
    EXPECT_EQ(expected, Threads * Batches * BatchSize * 3 / 4);
    EXPECT_EQ(count("cloud_file_versions"), expected);
    EXPECT_EQ(count("cloud_files"), Threads * (Batches / 2) * BatchSize);
    EXPECT_EQ(count("cloud_folders"), 1 + Threads * (1 + Batches / 2));
    EXPECT_EQ(
        count("cloud_files f join cloud_folders d on d.id = f.parent_id join cloud_file_versions v on v.file_id = "
              "f.id and v.history_path = f.local_path"),
        expected);
}

TEST_P(CatalogueConcurrencyTest, MakesOneFolderOfManyAttempts)
{
    // The losers of a race on a folder get null and find it the next time; on PostgreSQL each loss would cost 12 s.
    const ShortWaits waits;
    const LogCapture log;
    std::atomic<int> successes{0};
    onThreads([&](int number, DatabaseConnection &connection) {
        for (int path = 0; path < 10; ++path) {
            const QString name = QStringLiteral("/shared/%1/x/y").arg(path);
            QSharedPointer<CloudFolder> folder;
            for (int attempt = 0; !folder && attempt < 100; ++attempt) {
                if (number % 2 == 1) {
                    folder = CloudFolder::selectOrInsert(1, name, connection);
                } else {
                    DatabaseTransaction transaction(connection);
                    if (transaction.error() == ResultCode::Ok)
                        folder = CloudFolder::selectOrInsert(1, name, connection);
                    if (transaction.commit() != ResultCode::Ok)
                        folder.reset();
                }
            }
            successes += folder ? 1 : 0;
        }
    });
    EXPECT_EQ(successes, Threads * 10);
    EXPECT_EQ(count("cloud_folders"), 2 + 10 * 3);
}

TEST_P(SQLiteCatalogueConcurrencyTest, RemovalAndInsertionInTransactionsDoNotMeet)
{
    // A folder that one thread finds empty and removes must not be the one that another just put a file into.
    const LogCapture log;
    onThreads([&](int number, DatabaseConnection &connection) {
        constexpr int Rounds = 30;
        for (int round = 1; round <= Rounds; ++round) {
            CloudFileVersion record = version(QStringLiteral("/same/folder/%1").arg(number));
            {
                DatabaseTransaction transaction(connection);
                EXPECT_TRUE(record.insert(1, connection));
                EXPECT_EQ(transaction.commit(), ResultCode::Ok);
            }
            if (number == 0 && round == Rounds)
                break;
            DatabaseTransaction transaction(connection);
            EXPECT_TRUE(record.delete_(true, connection));
            EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        }
    });
    EXPECT_EQ(faults(log), QString());
    EXPECT_EQ(count("cloud_files f join cloud_folders d on d.id = f.parent_id"), 1);
    EXPECT_EQ(count("cloud_folders"), 3);
    EXPECT_EQ(count("cloud_file_versions"), 1);
}

} // namespace
} // namespace Tolm::SQL
