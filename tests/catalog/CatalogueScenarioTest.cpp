#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

#include <algorithm>

namespace Tolm::SQL {
namespace {

using namespace Tests;

/// The life of a catalogue, the same in every run, and all that it holds on its way.
class Scenario {
public:
    explicit Scenario(DatabaseType type)
        : m_database(type)
    {
        EXPECT_TRUE(createDatabaseStructure(m_connection));
        m_database.sql("insert into destination (id) values (1), (2)");
    }

    QStringList run()
    {
        const ShortWaits waits;
        const LogCapture log;
        backUp();
        inTransaction(&Scenario::change);
        tell();
        inTransaction(&Scenario::remove);
        for (const QString &decision : log.texts(QtDebugMsg, "SQL::Cloud"))
            m_answers.append(decision.section(" id:", 0, 0));
        tell();
        EXPECT_EQ(log.complaints(), QString());
        return m_answers;
    }

private:
    quint64 below(quint64 end) { return m_random() % end; }

    CloudFileVersion nextVersion(const QString &path)
    {
        ++m_versions;
        CloudFileVersion version;
        version.setPath(path);
        version.setCloudPath(("cloud" + path).toUtf8());
        version.setSize(below(quint64(1) << 50U));
        version.setDateModified(utc(2024, 1, 1).addSecs(m_versions * 3607));
        if (below(3) != 0)
            version.setDateBackup(version.dateModified().addSecs(61));
        version.setAttribute(static_cast<int>(1 + below(4)));
        version.setIsBroken(below(5) == 0);
        version.setBlockLevelRevision(static_cast<quint32>(below(5)));
        version.setEncryptionKey(QByteArray(static_cast<int>(below(20)), static_cast<char>(below(256))));
        return version;
    }

    void backUp()
    {
        const QStringList names = awkwardNames();
        for (int folder = 0; folder < 60; ++folder) {
            DatabaseTransaction transaction(m_connection);
            for (int i = 0; i < 20; ++i) {
                const QString path = QStringLiteral("/%1/%2/%3-%4")
                                         .arg(names.at(folder % 7), QString::number(folder / 7),
                                              names.at((folder + i) % names.size()), QString::number(i));
                for (quint64 versions = 1 + below(4); versions > 0; --versions) {
                    CloudFileVersion version = nextVersion(path);
                    EXPECT_TRUE(version.insert(folder % 5 == 4 ? 2 : 1, m_connection));
                    if (version.attribute() == 3) {
                        EXPECT_TRUE(CloudFileVersionBitmap(version.id()).insert(m_connection));
                    }
                }
            }
            EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        }
        DatabaseTransaction abandoned(m_connection);
        for (int i = 0; i < 50; ++i)
            EXPECT_TRUE(nextVersion(QStringLiteral("/abandoned/%1").arg(i)).insert(1, m_connection));
    }

    // Does `work` on every file by path, with its number.
    void inTransaction(void (Scenario::*work)(CloudFile &file, int number))
    {
        auto files = CloudFile::select_(1, 100000, 0, m_connection) + CloudFile::select_(2, 100000, 0, m_connection);
        std::sort(files.begin(), files.end(), [](const auto &left, const auto &right) {
            return std::make_pair(left->destinationId(), left->localPath()) <
                   std::make_pair(right->destinationId(), right->localPath());
        });
        DatabaseTransaction transaction(m_connection);
        int number = 0;
        for (const auto &file : files)
            (this->*work)(*file, ++number);
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    }

    void change(CloudFile &file, int number)
    {
        if (number % 3 == 0) {
            file.setDateDeleted(utc(2025, 1, 1).addSecs(number));
            file.setSize(Largest - static_cast<quint64>(number));
            EXPECT_TRUE(file.update(m_connection));
        }
        if (number % 4 == 0) {
            const auto last = CloudFileVersion::selectLastVersion(file.id(), m_connection);
            last->setUploadId("upload " + QByteArray::number(number));
            last->setIsBroken(!last->isBroken());
            EXPECT_TRUE(last->update(m_connection));
        }
    }

    void remove(CloudFile &file, int number)
    {
        if (number % 5 == 0 || (number > 300 && number < 500)) {
            EXPECT_TRUE(file.delete_(true, m_connection));
        } else if (number % 5 < 3) {
            const auto versions = CloudFileVersion::select_(file.id(), m_connection);
            for (const auto &version : versions.mid(number % 5 - 1))
                EXPECT_TRUE(version->delete_(true, m_connection));
        }
    }

    void tell()
    {
        for (const auto &top : CloudFolder::select(0, 0, 0, m_connection))
            tellFolder(*top);
        for (const char *table : {"cloud_folders", "cloud_files", "cloud_file_versions", "cloud_file_version_bitmaps"})
            m_answers.append(m_database.value(QStringLiteral("select count(*) from %1").arg(table)).toString());
        for (const quint64 id : {1, 2}) {
            const auto destination = Destination::select(id, m_connection);
            EXPECT_TRUE(destination->updateStatistic(m_connection));
            m_answers.append(shown(destination));
        }
    }

    // Keys are left out of the answers: how a database counts on after a rollback or a removal is its own affair.
    void tellFolder(CloudFolder folder)
    {
        const quint64 id = folder.id();
        m_answers.append(rowOf(folder.displayName(), folder.destintionId(), folder.selectPath(m_connection),
                               CloudFolder::subfolderCount(id, m_connection), CloudFolder::isEmpty(id, m_connection)));
        m_answers += each(CloudFile::selectFolderUploaded(id, 50, 1, m_connection), &CloudFile::displayName);
        for (const auto &file : CloudFile::selectFolder(id, 0, 0, m_connection)) {
            for (const auto &version : CloudFileVersion::select_(file->id(), m_connection)) {
                version->setId(0);
                version->setFileId(0);
                m_answers.append(shown(version));
            }
            file->setId(0);
            file->setParentId(0);
            m_answers.append(shown(file));
        }
        for (const auto &child : CloudFolder::select(id, 0, 0, m_connection))
            tellFolder(*child);
    }

    TestDatabase m_database;
    DatabaseConnection m_connection{m_database.pool()};
    std::mt19937_64 m_random{1};
    qint64 m_versions = 0;
    QStringList m_answers;
};

TEST(CatalogueScenario, GetsTheSameAnswersFromEveryDatabase)
{
    const QStringList expected = Scenario(DatabaseType::SQLite).run();
    EXPECT_GT(expected.size(), 5000);
    for (const DatabaseType type : backend(DatabaseType::PostgreSQL)) {
        const QStringList answers = Scenario(type).run();
        EXPECT_EQ(answers.size(), expected.size());
        const auto [ours, theirs] = std::mismatch(expected.begin(), expected.end(), answers.begin(), answers.end());
        EXPECT_EQ(ours == expected.end() ? QString() : *ours, theirs == answers.end() ? QString() : *theirs)
            << "row " << ours - expected.begin();
    }
}

} // namespace
} // namespace Tolm::SQL
