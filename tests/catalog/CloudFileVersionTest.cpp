#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QRegularExpression>
#include <QSqlQuery>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileVersionTest : public DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, CloudFile, CloudFileVersion, CloudFileVersionBitmap>();
        m_database.sql("create table archive_bunches (id integer primary key, folder_id integer not null)");
        m_database.sql("create table diskimage_versions (diskimage_id integer NOT NULL, version_id integer NOT NULL, "
                       "FOREIGN KEY(version_id) REFERENCES cloud_file_versions(id))");
    }

    int count(const QString &table = "cloud_file_versions")
    {
        return m_database.value("select count(*) from " + table).toInt();
    }

    QString stored(const QString &column, quint64 id)
    {
        return m_database
            .value(QStringLiteral("select cast(%1 as text) from cloud_file_versions where id = %2").arg(column).arg(id))
            .toString();
    }

    static CloudFileVersion version(const QDateTime &modified, int attribute = 1, quint64 fileId = 5)
    {
        CloudFileVersion version;
        version.setFileId(fileId);
        version.setPath("/data/a.txt");
        version.setDateModified(modified);
        version.setAttribute(attribute);
        return version;
    }

    static QByteArray everyByte()
    {
        QByteArray bytes;
        for (int byte = 0; byte < 256; ++byte)
            bytes.append(static_cast<char>(byte));
        return bytes;
    }

    // With a value in every field.
    static CloudFileVersion fullVersion()
    {
        CloudFileVersion full = version(utc(2024, 3, 10, 2, 30), -7); // a time that the clocks of New York skip
        full.setPath('/' + awkwardNames().join('/'));
        full.setCloudPath(awkwardNames().join('/').toUtf8());
        full.setUploadId("upload \xF0\x9F\x97\x84");
        full.setSize(Largest);
        full.setOriginalSize(Largest - 1);
        full.setDatePurgeDelay(utc(9999, 12, 31, 23, 59, 59));
        full.setDateBackup(utc(1000, 1, 1));
        full.setIsCompressed(1);
        full.setIsEncrypted(127);
        full.setIsSimple(-128);
        full.setIsBroken(true);
        full.setBlockLevelRevision(0x7FFFFFFF);
        full.setBlockLevelIsFull(true);
        full.setVersionDelimiter("ж");
        full.setFileNameIv(QByteArray(1, '\0'));
        full.setEncryptionIv(QByteArray("\0\xFF\0'\\x00", 8));
        full.setKdfsalt(QByteArray(16, '\0'));
        full.setEncryptionKey(everyByte());
        return full;
    }

    QString readBack(quint64 id) { return shown(CloudFileVersion::selectById(id, m_connection)); }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileVersionTest);

TEST_P(CloudFileVersionTest, ReturnsEveryFieldAsItWasStored)
{
    CloudFileVersion full = fullVersion();
    ASSERT_TRUE(full.insert(1, m_connection));
    EXPECT_EQ(readBack(full.id()), shown(full));
    EXPECT_EQ(stored("size", full.id()), "9223372036854775807");
    EXPECT_EQ(stored("date_modified_utc", full.id()), "20240310023000");
    EXPECT_EQ(stored("date_purgeddelay_utc", full.id()), "99991231235959");

    CloudFileVersion plain = version(utc(2024, 1, 1));
    ASSERT_TRUE(plain.insert(1, m_connection));
    EXPECT_EQ(readBack(plain.id()), shown(plain));
    EXPECT_EQ(plain.versionDelimiter(), "$");
    EXPECT_EQ(stored("date_purgeddelay_utc", plain.id()), "99999999999999");
    EXPECT_EQ(stored("coalesce(cast(date_backedup_utc as text), '')", plain.id()), "");
    EXPECT_EQ(stored("coalesce(upload_id, 'missing')", plain.id()), "missing");

    // The empty beside the missing, and a path as long as paths get.
    CloudFileVersion empty = version(utc(2024, 1, 2));
    empty.setPath('/' + incompressible(4000));
    empty.setCloudPath("");
    empty.setUploadId("");
    empty.setVersionDelimiter("");
    empty.setFileNameIv("");
    empty.setEncryptionIv("");
    empty.setKdfsalt("");
    empty.setEncryptionKey("");
    ASSERT_TRUE(empty.insert(1, m_connection));
    empty.setFileNameIv({});
    empty.setEncryptionIv({});
    empty.setKdfsalt({});
    empty.setEncryptionKey({});
    EXPECT_EQ(readBack(empty.id()), shown(empty))
        << "of texts, but not of bytes, the empty one is told from a null one";

    // A row of somebody else.
    m_database.sql("insert into cloud_file_versions (id, file_id, date_modified_utc, blocklevel_revision_isfull, "
                   "is_broken) values (900, 5, 20240230000000, 2, 2)");
    const auto foreign = CloudFileVersion::selectById(900, m_connection);
    ASSERT_TRUE(foreign);
    EXPECT_EQ(foreign->versionDelimiter(), ":");
    EXPECT_FALSE(foreign->blockLevelIsFull());
    EXPECT_TRUE(foreign->isBroken());
    EXPECT_FALSE(foreign->dateModified().isValid());
    EXPECT_FALSE(foreign->datePurgeDelay().isValid());
    EXPECT_TRUE(foreign->dateBackup().isValid()) << "the moment of the table's creation";
}

TEST_P(CloudFileVersionTest, ChangesOnlyWhatAnUploadChanges)
{
    const QDateTime modified = utc(2024, 1, 1);
    CloudFileVersion first = version(modified);
    first.setDatePurgeDelay(utc(2025, 1, 1));
    first.setIsSimple(1);
    first.setFileNameIv("iv");
    CloudFileVersion twin = first;
    CloudFileVersion otherKind = version(modified, 2);
    for (CloudFileVersion *one : {&first, &twin, &otherKind})
        ASSERT_TRUE(one->insert(1, m_connection));

    CloudFileVersion change = fullVersion();
    change.setDateModified(modified);
    change.setAttribute(1);
    ASSERT_TRUE(change.update(m_connection));
    change.setPath(first.path());
    change.setDatePurgeDelay(first.datePurgeDelay());
    change.setIsSimple(first.isSimple());
    change.setFileNameIv(first.fileNameIv());
    change.setVersionDelimiter(first.versionDelimiter());
    for (const CloudFileVersion &row : {first, twin}) {
        change.setId(row.id());
        EXPECT_EQ(readBack(row.id()), shown(change));
    }
    EXPECT_EQ(readBack(otherKind.id()), shown(otherKind));

    change.setDateModified(utc(2024, 1, 1, 0, 0, 1));
    EXPECT_TRUE(change.update(m_connection)) << "no such row is no failure";
    EXPECT_EQ(count(), 3);
    change.setDateModified({});
    EXPECT_FALSE(change.update(m_connection));
    change = version(modified, 1, 0);
    EXPECT_FALSE(change.update(m_connection));
}

TEST_P(CloudFileVersionTest, RefusesWhatDoesNotFitAndStoresNothing)
{
    CloudFileVersion first = version(utc(2024, 1, 1));
    ASSERT_TRUE(first.insert(1, m_connection));
    const QString before = readBack(first.id());
    const ShortWaits waits;
    const LogCapture log;
    const auto refused = [&](auto change) {
        CloudFileVersion record = version(utc(2024, 1, 1));
        change(record);
        EXPECT_FALSE(record.insert(1, m_connection));
        EXPECT_EQ(record.id(), 0U);
        record.update(m_connection);
        EXPECT_EQ(readBack(first.id()), before);
        EXPECT_EQ(count(), 1);
    };
    refused([](CloudFileVersion &version) { version.setSize(Largest + 1); });
    refused([](CloudFileVersion &version) { version.setOriginalSize(~quint64(0)); });
    refused([](CloudFileVersion &version) { version.setFileId(Largest + 1); });
    refused([](CloudFileVersion &version) { version.setDateModified(utc(10000, 1, 1)); });
    refused([](CloudFileVersion &version) { version.setDateBackup(utc(10000, 1, 1)); });
    refused([](CloudFileVersion &version) {
        version.setPath("");
        version.setFileId(0);
    });
    refused([](CloudFileVersion &version) { version.setDateModified({}); });
    EXPECT_EQ(log.count(QtWarningMsg), 0) << qPrintable(log.complaints());
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, utc(10000, 1, 1), m_connection), nullptr);

    // What only PostgreSQL's columns cannot hold.
    CloudFileVersion delimited = version(utc(2024, 1, 2));
    delimited.setVersionDelimiter("##");
    EXPECT_EQ(delimited.insert(1, m_connection), isSQLite());
    CloudFileVersion revised = version(utc(2024, 1, 3));
    revised.setBlockLevelRevision(0xFFFFFFFF);
    EXPECT_EQ(revised.insert(1, m_connection), isSQLite());
    CloudFileVersion high = version(utc(2024, 1, 4), 1, Largest);
    EXPECT_EQ(high.insert(1, m_connection), isSQLite());
    EXPECT_EQ(CloudFileVersion::selectById(Largest, m_connection), nullptr);
    for (const CloudFileVersion &one : {delimited, revised, high})
        EXPECT_EQ(readBack(one.id()), isSQLite() ? shown(one) : "nothing");
}

TEST_P(CloudFileVersionTest, MakesItsFileAndFolders)
{
    CloudFileVersion first = version(utc(2024, 1, 1), 1, 0);
    first.setPath("/data/x/Report.TXT");
    first.setCloudPath("cloud");
    first.setSize(10);
    first.setOriginalSize(20);
    first.setIsBroken(true);
    first.setIsEncrypted(1);
    ASSERT_TRUE(first.insert(3, m_connection));
    CloudFile file;
    ASSERT_TRUE(file.select(first.fileId(), m_connection));
    EXPECT_EQ(file.destinationId(), 3U);
    EXPECT_EQ(file.name(), "report.txt");
    EXPECT_EQ(file.displayName(), "Report.TXT");
    EXPECT_EQ(file.localPath(), first.path());
    EXPECT_EQ(CloudFolder::selectPath(file.parentId(), m_connection), "/data/x/");
    EXPECT_EQ(rowOf(file.cloudPath(), file.size(), file.originalSize(), file.dateModified(), int(file.isBroken()),
                    int(file.isEncrypted()), int(file.isCompressed()), int(file.isSimple())),
              rowOf(QByteArray("cloud"), 10, 20, utc(2024, 1, 1), 1, 1, 0, 0));

    CloudFileVersion second = version(utc(2024, 1, 2), 1, 0);
    second.setPath(first.path());
    ASSERT_TRUE(second.insert(3, m_connection));
    EXPECT_EQ(second.fileId(), first.fileId());
    CloudFileVersion elsewhere = version(utc(2024, 1, 2), 1, 0);
    elsewhere.setPath(first.path());
    ASSERT_TRUE(elsewhere.insert(4, m_connection));
    EXPECT_NE(elsewhere.fileId(), first.fileId());

    CloudFileVersion nowhere = version(utc(2024, 1, 2), 1, 0);
    EXPECT_FALSE(nowhere.insert(0, m_connection));
    const ShortWaits waits;
    const LogCapture log;
    nowhere.setPath("/long/" + incompressible(4000));
    EXPECT_EQ(nowhere.insert(3, m_connection), isSQLite()) << "the file's path stands in an index";
    EXPECT_EQ(count(), isSQLite() ? 4 : 3);
    EXPECT_EQ(count("cloud_files"), isSQLite() ? 3 : 2);
}

TEST_P(CloudFileVersionTest, AnswersWhichVersionWasThere)
{
    // Inserted out of order; broken ones and other kinds in between.
    struct {
        int day;
        int attribute;
        bool broken;
        unsigned revision;
    } const rows[] = {{20, 1, false, 0}, {5, 1, false, 0},  {10, 2, false, 1}, {15, 2, true, 2},
                      {25, 5, true, 3},  {10, 1, false, 0}, {12, 2, false, 2}};
    for (const auto &row : rows) {
        CloudFileVersion one = version(utc(2024, 1, row.day, 12), row.attribute);
        one.setIsBroken(row.broken);
        one.setBlockLevelRevision(row.revision);
        ASSERT_TRUE(one.insert(1, m_connection));
    }
    CloudFileVersion stranger = version(utc(2024, 1, 11), 1, 6);
    ASSERT_TRUE(stranger.insert(1, m_connection));

    const auto day = [](const QSharedPointer<CloudFileVersion> &found) {
        return found ? found->dateModified().date().day() * (found->isBroken() ? -1 : 1) : 0;
    };
    const auto at = [](int onDay, int hour = 12) { return utc(2024, 1, onDay, hour); };
    EXPECT_EQ(day(CloudFileVersion::selectLastVersion(5, m_connection)), -25);
    EXPECT_EQ(day(CloudFileVersion::selectLastVersionUploaded(5, m_connection)), 20);
    EXPECT_EQ(day(CloudFileVersion::selectLastVersion4Attribute(5, 2, m_connection)), -15);
    EXPECT_EQ(day(CloudFileVersion::selectLastVersion4Attribute(5, 3, m_connection)), 0);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, at(5, 11), m_connection)), 0);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, at(5), m_connection)), 5);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, at(19), m_connection)), -15);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTimeUploaded(5, at(19), m_connection)), 12);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, 1, at(19), m_connection)), 10);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, 2, at(11), m_connection)), 10);
    EXPECT_EQ(day(CloudFileVersion::selectPointInTime(5, utc(9999, 12, 31), m_connection)), -25);
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, 2, at(11), m_connection)->attribute(), 2);
    EXPECT_EQ(CloudFileVersion::select_(5, at(10), 1, m_connection)->attribute(), 1);
    EXPECT_EQ(CloudFileVersion::select_(5, at(10, 13), 1, m_connection), nullptr);
    EXPECT_EQ(CloudFileVersion::select_(5, {}, 1, m_connection), nullptr);

    EXPECT_EQ(day(CloudFileVersion::selectDifferentialRevisionData(5, 1, m_connection)), 10);
    EXPECT_EQ(day(CloudFileVersion::selectDiskImageRevisionData(5, 3, m_connection)), -25);
    EXPECT_EQ(day(CloudFileVersion::selectDiskImageRevisionData(5, 1, m_connection)), 0);
    EXPECT_EQ(day(CloudFileVersion::selectRevisionData(5, 1, 1, m_connection)), 0);
    EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(5, m_connection), 3);
    EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(6, m_connection), 0);
    EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(7, m_connection), 0);
    EXPECT_FALSE(CloudFileVersion::isEmpty(5, m_connection));
    EXPECT_TRUE(CloudFileVersion::isEmpty(7, m_connection));

    const auto days = [&](const QList<QSharedPointer<CloudFileVersion>> &list) {
        QList<int> all;
        for (const auto &one : list) {
            EXPECT_EQ(readBack(one->id()), shown(one));
            all.append(day(one));
        }
        return all;
    };
    EXPECT_EQ(days(CloudFileVersion::select_(5, m_connection)), QList<int>({5, 10, 10, 12, -15, 20, -25}));
    EXPECT_EQ(days(CloudFileVersion::selectUploaded(5, m_connection)), QList<int>({5, 10, 10, 12, 20}));

    CloudFileVersion own = version(at(12), 2);
    EXPECT_TRUE(own.select(m_connection));
    EXPECT_EQ(readBack(own.id()), shown(own));
    const QString before = shown(own);
    EXPECT_FALSE(own.select(5, at(13), 2, m_connection));
    EXPECT_EQ(shown(own), before);
    QSqlQuery query = m_connection.query();
    ASSERT_TRUE(query.exec(QStringLiteral("select * from cloud_file_versions where id = %1").arg(own.id())));
    CloudFileVersion row;
    EXPECT_TRUE(row.init(query));
    EXPECT_EQ(shown(row), before);
    EXPECT_FALSE(row.init(query));
}

TEST_P(CloudFileVersionTest, TakesFileFoldersAndMapAlong)
{
    const auto backedUp = [&](const QString &path, int attribute, int day) {
        CloudFileVersion one = version(utc(2024, 1, day), attribute, 0);
        one.setPath(path);
        EXPECT_TRUE(one.insert(1, m_connection));
        EXPECT_TRUE(CloudFileVersionBitmap(one.id()).insert(m_connection));
        return one;
    };
    QList<CloudFileVersion> kinds;
    for (int attribute = 1; attribute <= 6; ++attribute)
        kinds.append(backedUp("/d/e/a", attribute, attribute));
    CloudFileVersion other = backedUp("/d/b", 1, 1);

    LogCapture log;
    const auto removed = [&](CloudFileVersion one, bool removeEmptyParents) {
        log.clear();
        EXPECT_TRUE(one.delete_(removeEmptyParents, m_connection));
        EXPECT_EQ(readBack(one.id()), "nothing");
        return log.texts(QtDebugMsg).join('\n') + log.complaints();
    };
    const quint64 fileId = kinds.first().fileId();
    EXPECT_EQ(removed(kinds.takeLast(), false), "");
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 6) << "kind 6 owned a map";
    EXPECT_EQ(removed(kinds.takeAt(2), true),
              "SQL::CloudFileVersion: it's not last file version for file: /d/e/a id: " + QString::number(fileId));
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 5) << "kind 3 owned a map";
    while (kinds.size() > 1)
        removed(kinds.takeLast(), true);
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 5) << "the other kinds own none";
    EXPECT_EQ(removed(kinds.takeLast(), true),
              "SQL::CloudFileVersion: it's last file version for file, remove file: /d/e/a\n"
              "SQL::CloudFile: it's last file in folder, remove path for file: /d/e/a");
    EXPECT_EQ(count("cloud_files"), 1);
    EXPECT_EQ(count("cloud_folders"), 2);

    // The last version without its parents, and one whose file is gone already.
    EXPECT_EQ(removed(other, false), "");
    EXPECT_EQ(count("cloud_files"), 1);
    CloudFileVersion orphan = version(utc(2024, 1, 1), 1, 4711);
    ASSERT_TRUE(orphan.insert(1, m_connection));
    EXPECT_FALSE(orphan.delete_(true, m_connection)) << "its file cannot be read";
    EXPECT_EQ(readBack(orphan.id()), "nothing");
}

TEST_P(CloudFileVersionTest, RemovesWhatADiskImageStillLinks)
{
    CloudFileVersion linked = version(utc(2024, 1, 1));
    CloudFileVersion other = version(utc(2024, 1, 2));
    ASSERT_TRUE(linked.insert(1, m_connection));
    ASSERT_TRUE(other.insert(1, m_connection));
    m_database.sql(QStringLiteral("insert into diskimage_versions values (1, %1), (2, %1), (1, %2)")
                       .arg(linked.id())
                       .arg(other.id()));
    const LogCapture log;
    EXPECT_TRUE(linked.delete_(false, m_connection));
    EXPECT_EQ(readBack(linked.id()), "nothing");
    EXPECT_EQ(readBack(other.id()), shown(other));
    EXPECT_EQ(count("diskimage_versions"), isSQLite() ? 3 : 1) << "only PostgreSQL refuses links to nothing";
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(CloudFileVersionTest, AsksNothingOfAClosedConnectionOrForId0)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    const QDateTime date = utc(2024, 1, 1);
    m_database.sql("drop table diskimage_versions");
    m_database.sql("drop table cloud_file_versions");
    const LogCapture log;
    // Against a closed handle with an id, then against an open one without.
    for (const quint64 id : {5, 0}) {
        DatabaseConnection &handle = id == 0 ? m_connection : closed;
        CloudFileVersion record = version(date, 3, id);
        record.setId(id);
        const QString before = shown(record);
        EXPECT_EQ(CloudFileVersion::selectById(id, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::select_(id, date, 1, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectLastVersion(id, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectLastVersionUploaded(id, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectLastVersion4Attribute(id, 1, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectPointInTime(id, date, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectPointInTime(id, 1, date, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectPointInTimeUploaded(id, date, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectRevisionData(id, 1, 1, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectDifferentialRevisionData(id, 1, handle), nullptr);
        EXPECT_EQ(CloudFileVersion::selectDiskImageRevisionData(id, 1, handle), nullptr);
        EXPECT_TRUE(CloudFileVersion::select_(id, handle).isEmpty());
        EXPECT_TRUE(CloudFileVersion::selectUploaded(id, handle).isEmpty());
        EXPECT_FALSE(CloudFileVersion::isEmpty(id, handle));
        EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(id, handle), 0);
        EXPECT_FALSE(record.select(handle));
        EXPECT_FALSE(record.update(handle));
        EXPECT_FALSE(record.delete_(true, handle));
        EXPECT_EQ(shown(record), before);
    }
    EXPECT_FALSE(version(date).insert(1, closed));
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, {}, m_connection), nullptr);
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, 1, {}, m_connection), nullptr);
    EXPECT_EQ(CloudFileVersion::selectPointInTimeUploaded(5, {}, m_connection), nullptr);
    EXPECT_EQ(log.complaints(), QString());
}

} // namespace
} // namespace Tolm::SQL
