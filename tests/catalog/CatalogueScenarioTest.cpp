#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

#include <algorithm>

namespace Tolm::SQL {

using namespace Tests;
using Tests::shown;

// Keys are left out of the answers: how a database counts on after a rollback or a removal is its own affair.
template <class Record>
static QString withoutKeys(Record record)
{
    record.setId(0);
    if constexpr (std::is_same_v<Record, CloudFileVersion>)
        record.setFileId(0);
    else
        record.setParentId(0);
    return shown(record);
}

namespace {

/// The life of a catalogue, the same in every run, and what the catalogue says to every question on its way.
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
        LogCapture log;
        backUp();
        change();
        askTree();
        EXPECT_EQ(log.complaints(), QString());
        log.clear();
        remove();
        for (const QString &decision : log.texts(QtDebugMsg, "SQL::Cloud"))
            say("decision", decision.section(" id:", 0, 0));
        askTree();
        search();
        for (const quint64 id : {1, 2}) {
            const auto destination = Destination::select(id, m_connection);
            EXPECT_TRUE(destination->updateStatistic(m_connection));
            say("destination", shown(*destination));
        }
        EXPECT_EQ(log.complaints(), QString());
        return m_answers;
    }

private:
    template <class... Answer>
    void say(const char *question, const Answer &...answer)
    {
        m_answers.append(QLatin1String(question) + QLatin1String(": ") + rowOf(answer...));
    }

    void say(const char *question, const QStringList &answer)
    {
        say(question, answer.size());
        for (const QString &row : answer)
            say(question, row);
    }

    quint64 below(quint64 end) { return m_random() % end; }

    CloudFileVersion nextVersion(const QString &path, int number)
    {
        ++m_versions;
        CloudFileVersion version;
        version.setPath(path);
        version.setCloudPath(("cloud" + path).toUtf8());
        version.setSize(below(quint64(1) << 50U));
        version.setOriginalSize(m_versions % 100 == 0 ? Largest : below(quint64(1) << 50U));
        version.setDateModified(utc(2024, 1, 1).addSecs(m_versions * 3607));
        if (below(7) == 0)
            version.setDatePurgeDelay(version.dateModified().addDays(30));
        if (below(3) != 0)
            version.setDateBackup(version.dateModified().addSecs(61));
        version.setAttribute(static_cast<int>(1 + below(4)));
        version.setIsCompressed(below(2) == 0);
        version.setIsBroken(below(5) == 0);
        version.setBlockLevelRevision(static_cast<quint32>(number));
        version.setBlockLevelIsFull(number % 2 == 0);
        QByteArray key;
        for (quint64 length = below(20); length > 0; --length)
            key.append(static_cast<char>(below(256)));
        version.setEncryptionKey(key);
        return version;
    }

    void backUp()
    {
        const QStringList names = awkwardNames();
        for (int folder = 0; folder < 60; ++folder) {
            DatabaseTransaction transaction(m_connection);
            const quint64 destination = folder % 5 == 4 ? 2 : 1;
            for (int i = 0; i < 20; ++i) {
                const QString path = QStringLiteral("/%1/%2/%3-%4")
                                         .arg(names.at(folder % 7), QString::number(folder / 7),
                                              names.at((folder + i) % names.size()), QString::number(i));
                const quint64 versions = 1 + below(4);
                for (quint64 number = 0; number < versions; ++number) {
                    CloudFileVersion version = nextVersion(path, static_cast<int>(number));
                    EXPECT_TRUE(version.insert(destination, m_connection));
                    CloudFileVersionBitmap map(version.id());
                    map.setVersionUuid(QUuid::createUuidV5(QUuid(), path + QString::number(number)));
                    if (version.attribute() == 3) {
                        EXPECT_TRUE(map.insert(m_connection));
                    }
                }
            }
            EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        }
        DatabaseTransaction abandoned(m_connection);
        for (int i = 0; i < 50; ++i)
            EXPECT_TRUE(nextVersion(QStringLiteral("/abandoned/%1").arg(i), 0).insert(1, m_connection));
    }

    // Every file of the catalogue, by path.
    QList<QSharedPointer<CloudFile>> files()
    {
        auto files = CloudFile::select_(1, 100000, 0, m_connection) + CloudFile::select_(2, 100000, 0, m_connection);
        std::sort(files.begin(), files.end(), [](const auto &left, const auto &right) {
            return std::make_pair(left->destinationId(), left->localPath()) <
                   std::make_pair(right->destinationId(), right->localPath());
        });
        return files;
    }

    void askTree()
    {
        say("top folders", CloudFolder::subfolderCount(0, m_connection));
        for (const auto &top : CloudFolder::select(0, 0, 0, m_connection))
            askFolder(*top);
    }

    void askFolder(CloudFolder folder)
    {
        say("folder", folder.displayName(), folder.destintionId(), folder.selectPath(m_connection),
            CloudFolder::subfolderCount(folder.id(), m_connection),
            int(CloudFolder::isEmpty(folder.id(), m_connection)));
        say("some files", each(CloudFile::selectFolder(folder.id(), 5, 3, m_connection), &CloudFile::displayName));
        say("uploaded",
            each(CloudFile::selectFolderUploaded(folder.id(), 50, 1, m_connection), &CloudFile::displayName));
        for (const auto &file : CloudFile::selectFolder(folder.id(), 0, 0, m_connection))
            askFile(*file);
        for (const auto &child : CloudFolder::select(folder.id(), 0, 0, m_connection))
            askFolder(*child);
    }

    void askFile(const CloudFile &file)
    {
        say("file", withoutKeys(file), CloudFileVersion::getNextRevisionNumber(file.id(), m_connection));
        for (const auto &version : CloudFileVersion::select_(file.id(), m_connection)) {
            CloudFileVersionBitmap map(version->id());
            map.select(m_connection);
            say("version", withoutKeys(*version), map.versionUuid().toString());
        }
        const QDateTime moment = utc(2024, 1, 1).addSecs(m_versions * 1800);
        const auto one = [&](const char *question, const QSharedPointer<CloudFileVersion> &version) {
            say(question, version ? version->dateModified() : QDateTime());
        };
        one("last", CloudFileVersion::selectLastVersion(file.id(), m_connection));
        one("last uploaded", CloudFileVersion::selectLastVersionUploaded(file.id(), m_connection));
        one("last of kind 2", CloudFileVersion::selectLastVersion4Attribute(file.id(), 2, m_connection));
        one("then", CloudFileVersion::selectPointInTime(file.id(), moment, m_connection));
        one("then uploaded", CloudFileVersion::selectPointInTimeUploaded(file.id(), moment, m_connection));
        one("then of kind 1", CloudFileVersion::selectPointInTime(file.id(), 1, moment, m_connection));
        one("revision 1", CloudFileVersion::selectDifferentialRevisionData(file.id(), 1, m_connection));
        say("uploaded versions", CloudFileVersion::selectUploaded(file.id(), m_connection).size());
    }

    void change()
    {
        int number = 0;
        DatabaseTransaction transaction(m_connection);
        for (const auto &file : files()) {
            ++number;
            if (number % 3 == 0) {
                file->setDateDeleted(utc(2025, 1, 1).addSecs(number));
                file->setSize(Largest - static_cast<quint64>(number));
                say("file updated", int(file->update(m_connection)));
            }
            if (number % 4 == 0) {
                const auto last = CloudFileVersion::selectLastVersion(file->id(), m_connection);
                last->setUploadId("upload " + QByteArray::number(number));
                last->setSize(static_cast<quint64>(number));
                last->setIsBroken(!last->isBroken());
                last->setVersionDelimiter("#");
                say("version updated", int(last->update(m_connection)));
            }
        }
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
    }

    void remove()
    {
        DatabaseTransaction transaction(m_connection);
        int number = 0;
        for (const auto &file : files()) {
            const bool whole = ++number % 5 == 0 || (number > 300 && number < 500);
            if (whole) {
                say("file removed", int(file->delete_(true, m_connection)));
            } else if (number % 5 < 3) {
                const auto versions = CloudFileVersion::select_(file->id(), m_connection);
                for (const auto &version : versions.mid(number % 5 - 1))
                    say("version removed", int(version->delete_(true, m_connection)));
            }
        }
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);
        say("versions left", m_database.value("select count(*) from cloud_file_versions").toInt());
        say("maps left", m_database.value("select count(*) from cloud_file_version_bitmaps").toInt());
    }

    void search()
    {
        for (const char *part : {"50%_OFF", "%", "_", "^", "'", "\\", "\n", "жук", "Ж", "é", "-1", "", "none", "a/b"}) {
            for (const quint64 destination : {1, 2}) {
                say(part, sorted(each(CloudFile::selectByName(10000, 0, destination, part, m_connection),
                                      &CloudFile::localPath)));
            }
            say(part, CloudFile::selectByName(3, 2, 1, part, m_connection).size());
        }
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
    EXPECT_GT(expected.size(), 20000);
    for (const DatabaseType type : backends()) {
        if (type == DatabaseType::SQLite)
            continue;
        const QStringList answers = Scenario(type).run();
        EXPECT_EQ(answers.size(), expected.size());
        const auto [ours, theirs] = std::mismatch(expected.begin(), expected.end(), answers.begin(), answers.end());
        EXPECT_EQ(ours == expected.end() ? QString() : *ours, theirs == answers.end() ? QString() : *theirs)
            << "row " << ours - expected.begin();
    }
}

} // namespace
} // namespace Tolm::SQL
