#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileVersionTest : public CatalogueTest {
protected:
    static CloudFileVersion version(const QDateTime &modified, int attribute = 1, quint64 fileId = 5)
    {
        CloudFileVersion version;
        version.setFileId(fileId);
        version.setPath("/data/a.txt");
        version.setDateModified(modified);
        version.setAttribute(attribute);
        return version;
    }

    CloudFileVersion inserted(const CloudFileVersion &version)
    {
        CloudFileVersion copy = version;
        EXPECT_TRUE(copy.insert(1, m_connection));
        return copy;
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
        QByteArray everyByte;
        for (int byte = 0; byte < 256; ++byte)
            everyByte.append(static_cast<char>(byte));
        full.setEncryptionKey(everyByte);
        return full;
    }

    QString readBack(quint64 id) { return shown(CloudFileVersion::selectById(id, m_connection)); }

    QString stored(const CloudFileVersion &version, const QString &column)
    {
        return CatalogueTest::stored("cloud_file_versions", version.id(), column);
    }
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileVersionTest);

TEST_P(CloudFileVersionTest, ReturnsEveryFieldAsItWasStored)
{
    const CloudFileVersion full = inserted(fullVersion());
    EXPECT_EQ(readBack(full.id()), shown(full));
    EXPECT_EQ(stored(full, "size"), "9223372036854775807");
    EXPECT_EQ(stored(full, "date_modified_utc"), "20240310023000");
    EXPECT_EQ(stored(full, "date_purgeddelay_utc"), "99991231235959");

    const CloudFileVersion plain = inserted(version(utc(2024, 1, 1)));
    EXPECT_EQ(readBack(plain.id()), shown(plain));
    EXPECT_EQ(plain.versionDelimiter(), "$");
    EXPECT_EQ(stored(plain, "date_purgeddelay_utc"), "99999999999999");
    EXPECT_EQ(stored(plain, "date_backedup_utc"), isSQLite() ? "" : "NULL");
    EXPECT_EQ(stored(plain, "upload_id"), "NULL");

    // A row of somebody else.
    m_database.sql("insert into cloud_file_versions (id, blocklevel_revision_isfull, is_broken) values (900, 2, 2)");
    const auto foreign = CloudFileVersion::selectById(900, m_connection);
    ASSERT_TRUE(foreign);
    EXPECT_FALSE(foreign->blockLevelIsFull());
    EXPECT_TRUE(foreign->isBroken());
    EXPECT_TRUE(foreign->dateBackup().isValid()) << "the moment of the table's creation";
}

TEST_P(CloudFileVersionTest, ChangesOnlyWhatAnUploadChanges)
{
    const QDateTime modified = utc(2024, 1, 1);
    CloudFileVersion first = version(modified);
    first.setDatePurgeDelay(utc(2025, 1, 1));
    first.setIsSimple(1);
    first.setFileNameIv("iv");
    const CloudFileVersion twins[] = {inserted(first), inserted(first)};
    const CloudFileVersion otherKind = inserted(version(modified, 2));

    CloudFileVersion change = fullVersion();
    change.setDateModified(modified);
    change.setAttribute(1);
    ASSERT_TRUE(change.update(m_connection));
    change.setPath(first.path());
    change.setDatePurgeDelay(first.datePurgeDelay());
    change.setIsSimple(first.isSimple());
    change.setFileNameIv(first.fileNameIv());
    change.setVersionDelimiter(first.versionDelimiter());
    for (const CloudFileVersion &row : twins) {
        change.setId(row.id());
        EXPECT_EQ(readBack(row.id()), shown(change));
    }
    EXPECT_EQ(readBack(otherKind.id()), shown(otherKind));

    change.setDateModified(modified.addSecs(1));
    EXPECT_TRUE(change.update(m_connection)) << "no such row is no failure";
    EXPECT_EQ(count("cloud_file_versions"), 3);
    EXPECT_FALSE(version({}).update(m_connection));
    EXPECT_FALSE(version(modified, 1, 0).update(m_connection));
}

TEST_P(CloudFileVersionTest, RefusesWhatIsIncomplete)
{
    const LogCapture log;
    CloudFileVersion pathless = version(utc(2024, 1, 1), 1, 0);
    pathless.setPath("");
    for (CloudFileVersion record : {pathless, version({}), version(utc(10000, 1, 1))}) {
        EXPECT_FALSE(record.insert(1, m_connection));
        EXPECT_EQ(record.id(), 0U);
        EXPECT_FALSE(record.update(m_connection));
    }
    EXPECT_EQ(count("cloud_file_versions") + log.count(QtWarningMsg), 0) << qPrintable(log.complaints());
}

TEST_P(CloudFileVersionTest, MakesItsFileAndFolders)
{
    CloudFileVersion first = fullVersion();
    first.setFileId(0);
    first.setPath("/data/x/Report.TXT");
    ASSERT_TRUE(first.insert(3, m_connection));
    const quint64 folder = CloudFolder::select(3, "/data/x/", m_connection)->id();
    EXPECT_EQ(shown(CloudFile::select_(3, first.path(), m_connection)),
              rowOf(first.fileId(), 3, folder, first.path(), QString("Report.TXT"), QString("report.txt"),
                    first.cloudPath(), first.size(), first.originalSize(), first.dateModified(), QDateTime(),
                    first.isCompressed(), first.isEncrypted(), first.isSimple(), first.isBroken()));

    CloudFileVersion second = version(utc(2024, 1, 2), 1, 0);
    second.setPath(first.path());
    CloudFileVersion elsewhere = second;
    ASSERT_TRUE(second.insert(3, m_connection));
    EXPECT_EQ(second.fileId(), first.fileId());
    ASSERT_TRUE(elsewhere.insert(4, m_connection));
    EXPECT_NE(elsewhere.fileId(), first.fileId());

    EXPECT_FALSE(version(utc(2024, 1, 2), 1, 0).insert(0, m_connection));
    EXPECT_EQ(count("cloud_file_versions"), 3);
    EXPECT_EQ(count("cloud_files"), 2);
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
        inserted(one);
    }
    inserted(version(utc(2024, 1, 11), 1, 6));

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
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, 2, at(11), m_connection)->attribute(), 2);
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, {}, m_connection), nullptr);
    EXPECT_EQ(CloudFileVersion::selectPointInTime(5, utc(10000, 1, 1), m_connection), nullptr);
    EXPECT_EQ(CloudFileVersion::select_(5, at(10), 1, m_connection)->attribute(), 1);
    EXPECT_EQ(CloudFileVersion::select_(5, at(10, 13), 1, m_connection), nullptr);

    EXPECT_EQ(day(CloudFileVersion::selectDifferentialRevisionData(5, 1, m_connection)), 10);
    EXPECT_EQ(day(CloudFileVersion::selectDiskImageRevisionData(5, 3, m_connection)), -25);
    EXPECT_EQ(day(CloudFileVersion::selectDiskImageRevisionData(5, 1, m_connection)), 0);
    EXPECT_EQ(day(CloudFileVersion::selectRevisionData(5, 1, 1, m_connection)), 0);
    EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(5, m_connection), 3);
    EXPECT_EQ(CloudFileVersion::getNextRevisionNumber(7, m_connection), 0);
    EXPECT_FALSE(CloudFileVersion::isEmpty(5, m_connection));
    EXPECT_TRUE(CloudFileVersion::isEmpty(7, m_connection));
    EXPECT_FALSE(CloudFileVersion::isEmpty(0, m_connection));

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
    const QString before = readBack(own.id());
    EXPECT_FALSE(own.select(5, at(13), 2, m_connection));
    EXPECT_EQ(shown(own), before);
}

TEST_P(CloudFileVersionTest, TakesAlongWhatItLeavesEmptyWhenAsked)
{
    const CloudFileVersion first = backedUp("/d/a", 1, 1);
    const CloudFileVersion second = backedUp("/d/a", 2, 2);
    const CloudFileVersion other = backedUp("/b");
    EXPECT_EQ(removed(second, true),
              "SQL::CloudFileVersion: it's not last file version for file: /d/a id: " + shown(first.fileId()));
    EXPECT_EQ(removed(first, true), "SQL::CloudFileVersion: it's last file version for file, remove file: /d/a\n"
                                    "SQL::CloudFile: it's last file in folder, remove path for file: /d/a");
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 3) << "none of the kinds that own a map";

    // The last version, without its parents, although disk images link it; and one whose file is gone already.
    const CloudFileVersion kept = inserted(version(utc(2024, 1, 2)));
    m_database.sql("insert into destination (id) values (1)");
    m_database.sql("insert into diskimage (id, destination_id) values (1, 1), (2, 1)");
    m_database.sql(QStringLiteral("insert into diskimage_versions values (1, %1), (2, %1), (1, %2)")
                       .arg(QString::number(other.id()), QString::number(kept.id())));
    EXPECT_EQ(removed(other, false), "");
    EXPECT_EQ(count("cloud_files"), 1);
    EXPECT_EQ(count("diskimage_versions"), isSQLite() ? 3 : 1) << "only PostgreSQL refuses links to nothing";
    EXPECT_FALSE(inserted(version(utc(2024, 1, 1), 1, 4711)).delete_(true, m_connection)) << "its file is unreadable";
    EXPECT_EQ(shown(CloudFileVersion::select_(5, m_connection)), QStringList(shown(kept)));
    EXPECT_EQ(count("cloud_file_versions"), 1);
    EXPECT_FALSE(CloudFileVersion().delete_(true, m_connection));
}

} // namespace
} // namespace Tolm::SQL
