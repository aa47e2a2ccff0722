#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>
#include <repository/catalog/DiskImage.h>
#include <repository/catalog/DiskImageVersions.h>
#include <repository/catalog/History.h>
#include <repository/catalog/PlanName.h>
#include <repository/catalog/SessionHistory.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Statistics.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QJsonObject>
#include <QVersionNumber>

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

static QString shown(const Destination &destination)
{
    return rowOf(destination.cloudType(), destination.accountId(), destination.container(), destination.prefix(),
                 destination.lastSyncTime(), destination.usedSpace(), destination.fileCount(),
                 destination.folderCount());
}

static QString shown(const SessionHistory &session)
{
    return rowOf(session.id(), session.destinationId(), session.palnId().toString(), session.dateStart(),
                 session.duration(), int(session.result().value()), session.uploadedCount(), session.uploadedSize(),
                 session.scannedCount(), session.scannedSize(), session.purgedCount(), session.totalCount(),
                 session.totalSize(), session.failedCount(), session.errorMessage(), session.processorTime(),
                 session.peerMemmoryUsage(), session.diffSize(), session.detailedReportUrl(), session.steps());
}

static QString shown(const History &operation)
{
    return rowOf(operation.id(), operation.destinationId(), operation.palnId().toString(), operation.localPath(),
                 int(operation.operationType()), operation.duration(), operation.dateFinished(),
                 operation.dateModified(), operation.size(), operation.message(), operation.sessionId(),
                 operation.attempts(), operation.planName());
}

static QString shown(const PlanName &plan)
{
    return rowOf(plan.id().toString(), plan.name(), int(plan.type()));
}

static QString shown(const DiskImage &image)
{
    return rowOf(image.size(), image.originalSize(), image.dateCreate(), image.backupFolderName(),
                 image.destinationId(), image.hostName(), image.xml(), int(image.platformType()),
                 int(image.isCompressed()), int(image.isEncrypted()), int(image.isBlockLevel()),
                 int(image.needDecrypt()));
}

static QString shown(const ArchiveBunches &bunch)
{
    return rowOf(bunch.displayName(), int(bunch.type()), bunch.destinationId(), bunch.planId().toString(),
                 bunch.metaFileName());
}

static QString shown(const ArchiveGenerations &generation)
{
    return rowOf(generation.marker().toString(), generation.format().toString(), generation.number(),
                 int(generation.type()), int(generation.fullBackupReason()), int(generation.brokenType()),
                 generation.hint(), generation.errorList(), generation.customPurge(), generation.uploadedFilesSize());
}

static QString shown(const Statistics &feature)
{
    return rowOf(feature.id(), feature.featureName(), feature.counter(), int(feature.lastUseDate().isValid()));
}

namespace {

QUuid uuid(const QString &name)
{
    return QUuid::createUuidV5(QUuid(), name);
}

/// The life of a catalogue, the same in every run, and what the catalogue says to every question on its way.
class Scenario {
public:
    explicit Scenario(DatabaseType type)
        : m_database(type)
    {
        m_database.createTables<Destination, CloudFolder, CloudFile, CloudFileVersion, CloudFileVersionBitmap,
                                SessionHistory, History, PlanName, DiskImage, DiskImageVersions, ArchiveBunches,
                                ArchiveGenerations, Statistics>();
        m_database.sql("create index versions_file on cloud_file_versions (file_id)");
    }

    QStringList run()
    {
        const ShortWaits waits;
        LogCapture log;
        makeDestinations();
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
        report();
        image();
        archive();
        count();
        for (const auto &destination : Destination::select(m_connection))
            EXPECT_TRUE(destination->updateStatistic(m_connection));
        say("destinations", sorted(shown(Destination::select(m_connection))));
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

    template <class Record>
    void say(const char *question, const QList<QSharedPointer<Record>> &answer)
    {
        say(question, shown(answer));
    }

    quint64 below(quint64 end) { return m_random() % end; }

    void makeDestinations()
    {
        const QJsonObject accounts[] = {
            {{"AccountType", "FileSystem"}, {"Path", "/mnt/100%2 \U0001F5C4"}, {"BackupPrefix", "host"}},
            {{"AccountType", "AmazonS3"}, {"AccessKey", "k'ey"}, {"ContainerName", "c"}},
            {{"AccountType", "Wasabi (UB)"}},
        };
        for (const QJsonObject &account : accounts) {
            const auto made = Destination::selectOrInsert(account, m_connection);
            const auto found = Destination::selectOrInsert(account, m_connection);
            say("same destination", int(made && found && made->id() == found->id()));
        }
        say("destinations", sorted(shown(Destination::select(m_connection))));
    }

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
                    map.setVersionUuid(uuid(path + QString::number(number)));
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

    void report()
    {
        const QUuid plans[] = {uuid("a"), uuid("b"), uuid("c"), QUuid()};
        for (int i = 0; i < 3; ++i)
            say("plan named",
                int(PlanName::update(plans[i], awkwardNames().at(i), Info::Plan::SubType::Backup, m_connection)));
        constexpr qint64 Interval = 10800;
        DatabaseTransaction transaction(m_connection);
        for (int i = 0; i < 120; ++i) {
            SessionHistory session;
            session.setDestinationId(static_cast<quint64>(1 + i % 2));
            session.setPalnId(plans[i % 4]);
            if (i % 11 != 0)
                session.setDateStart(utc(2024, 5, 1).addSecs(i * Interval));
            session.setResult(Info::Plan::PlanResult(i % 6));
            session.setUploadedCount(below(100));
            session.setUploadedSize(i % 10 == 0 ? Largest : below(quint64(1) << 40U));
            session.setErrorMessage(i % 3 == 0 ? QString() : awkwardNames().at(i % 11));
            session.setDiffSize(i % 2 == 0 ? -1 : qint64(Largest));
            say("session", int(session.insert(m_connection)));
            session.setDuration(static_cast<quint64>(i));
            session.setSteps("scan, upload");
            say("session updated", int(session.update(m_connection)));
            for (int k = 0; k < 5; ++k) {
                History operation;
                operation.setDestinationId(session.destinationId());
                operation.setPalnId(session.palnId());
                operation.setSessionId(session.id());
                operation.setLocalPath('/' + awkwardNames().at((i + k) % 12) + QString::number(k));
                operation.setOperationType(static_cast<quint8>(k));
                if (k != 4)
                    operation.setDateFinished(utc(2024, 5, 1).addSecs(i * Interval + k));
                operation.setSize(k == 3 ? Largest : below(quint64(1) << 40U));
                operation.setMessage(k == 0 ? QString() : k == 1 ? "" : k == 2 ? "Success" : "Disk full: 'é'");
                say("operation", int(operation.insert(m_connection)));
            }
        }
        EXPECT_EQ(transaction.commit(), ResultCode::Ok);

        say("plans", PlanName::select(m_connection).values());
        say("sessions", SessionHistory::selectLast(7, 3, m_connection));
        say("sessions", SessionHistory::selectLast(1000, 0, m_connection));
        say("operations", History::select(17, 3, 1, m_connection));
        const QDateTime begin = utc(2024, 5, 3);
        const QDateTime end = utc(2024, 5, 10, 12);
        for (const QUuid &plan : plans) {
            say("last session", shown(*SessionHistory::selectLast(plan, m_connection)));
            say("report", SessionHistory::select(plan, begin, end, 0, 0, m_connection));
            say("report", SessionHistory::select(plan, {}, end, 50, 4, m_connection));
            say("report", SessionHistory::select(plan, begin, {}, -1, -1, m_connection));
            for (const int kind : {-1, 3, 100}) {
                for (const char *path : {"", "50%_OFF", "'QUOTED'", "Жу", "c_ba"})
                    say("operations", History::select(plan, begin, end, 0, kind, path, 40, m_connection));
                say("operations", History::select(plan, {}, {}, 1, kind, "", -1, m_connection));
            }
        }
    }

    void image()
    {
        const auto versions = CloudFileVersion::select_(files().first()->id(), m_connection);
        for (int i = 0; i < 12; ++i) {
            DiskImage image;
            image.setDestinationId(static_cast<quint64>(1 + i % 2));
            image.setSize(Largest);
            image.setDateCreate(utc(2024, 6, 1 + i));
            image.setHostName(awkwardNames().at(i));
            image.setXml(i % 3 == 0 ? QString() : "<x a='é'/>");
            image.setIsBlockLevel(i % 4 != 0);
            image.setNeedDecrypt(i % 5 == 0);
            say("image", int(image.insert(m_connection)));
            DiskImageVersions link;
            link.setDiskImageId(image.id());
            link.setVersionId(versions.first()->id());
            say("link", int(link.insert(m_connection)));
            if (i == 5)
                say("image removed", int(image.delete_(m_connection)));
            say("links", DiskImageVersions::select(image.id(), m_connection).size());
        }
        for (const quint64 destination : {1, 2, 3}) {
            say("images", DiskImage::select(destination, 0, 0, false, m_connection));
            say("images", DiskImage::select(destination, 2, 1, true, m_connection));
            for (const QDateTime &date : {QDateTime(), utc(2024, 6, 4, 12), utc(2020, 1, 1)}) {
                const auto found = DiskImage::select(destination, date, m_connection);
                say("image then", found ? shown(*found) : "nothing");
            }
            say("data", int(DiskImage::hasData(destination, m_connection)),
                int(DiskImage::hasEncryptedData(destination, m_connection)));
        }
    }

    void archive()
    {
        for (int i = 0; i < 6; ++i) {
            ArchiveBunches bunch;
            bunch.setDestinationId(static_cast<quint64>(1 + i % 2));
            bunch.setFolderId(CloudFolder::selectOrInsert(1, QStringLiteral("/archive/%1").arg(i), m_connection)->id());
            bunch.setDisplayName(awkwardNames().at(i));
            bunch.setPlanId(uuid(QString::number(i)));
            say("bunch", bunch.insert(m_connection));
            say("bunch changed",
                ArchiveBunches::updateMetaFileInfo(bunch.planId(), bunch.destinationId(), "new", Varn::Archive::Type(i),
                                                   i % 2 == 0 ? "meta" : QString(), m_connection));
            for (int k = 0; k < 4; ++k) {
                ArchiveGenerations generation;
                generation.setBunchId(bunch.id());
                generation.setMarker(uuid(QString::number(k)));
                generation.setNumber((k * 3) % 4);
                generation.setFormat(QVersionNumber(1, k));
                generation.setHint(k == 0 ? QString() : awkwardNames().at(k));
                say("generation", generation.insert(m_connection));
                generation.setUploadedFilesSize(k == 0 ? -1 : qint64(1) << (30 + k));
                generation.setErrorList(k == 2 ? "['é']" : QString());
                say("generation changed", generation.update(m_connection));
                if (k == 1)
                    say("generation removed", generation.remove(m_connection));
            }
            say("generations", sorted(shown(ArchiveGenerations::select(bunch.id(), 0, 0, m_connection).list)));
            say("current", shown(*ArchiveGenerations::current(bunch.id(), m_connection).pointer));
            say("found", shown(*ArchiveGenerations::select(bunch.id(), uuid("2"), m_connection).pointer));
            say("page", ArchiveGenerations::select(bunch.id(), 2, 2, m_connection).list.size());
            say("own bunch",
                shown(*ArchiveBunches::select(bunch.planId(), bunch.destinationId(), m_connection).pointer));
        }
        say("bunches", sorted(shown(ArchiveBunches::select(1, 0, 0, m_connection).list)));
        say("no bunch", ArchiveBunches::select(uuid("none"), 1, m_connection).error);
    }

    void count()
    {
        for (const quint64 id : {quint64(1), quint64(1) << 40U, Largest}) {
            Statistics feature;
            feature.setId(id);
            feature.setFeatureName(QString::number(id));
            say("feature", feature.insert(m_connection));
            for (quint64 use = 0; use < id % 5; ++use)
                say("use", Statistics::update(id, m_connection));
        }
        say("features", sorted(shown(Statistics::select(m_connection).list)));
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
