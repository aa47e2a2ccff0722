#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QSqlQuery>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileTest : public DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, CloudFile, CloudFileVersion, CloudFileVersionBitmap>();
        m_database.sql("create table archive_bunches (id integer primary key, folder_id integer not null)");
        m_database.sql("create table diskimage_versions (diskimage_id integer, version_id integer)");
    }

    int count(const QString &table = "cloud_files")
    {
        return m_database.value("select count(*) from " + table).toInt();
    }

    QString stored(const QString &column, quint64 id)
    {
        return m_database
            .value(QStringLiteral("select cast(%1 as text) from cloud_files where id = %2").arg(column).arg(id))
            .toString();
    }

    static CloudFile file(const QString &path, quint64 parent = 5, quint64 destination = 1)
    {
        CloudFile file;
        file.setDestinationId(destination);
        file.setParentId(parent);
        file.setLocalPath(path);
        file.setName(path.section('/', -1));
        return file;
    }

    // With a value in every field.
    static CloudFile fullFile()
    {
        CloudFile file = CloudFileTest::file("/Data/Отчёт \U0001F5C4.TXT");
        file.setCloudPath(QByteArray("cloud/\xD0\x96'%\n.bin"));
        file.setSize(Largest);
        file.setOriginalSize(Largest - 1);
        file.setDateModified(utc(2024, 1, 31, 23, 59, 59));
        file.setDateDeleted(utc(2024, 3, 10, 2, 30)); // a time that the clocks of New York skip
        file.setIsCompressed(1);
        file.setIsEncrypted(-128);
        file.setIsSimple(127);
        file.setIsBroken(true);
        return file;
    }

    QString readBack(quint64 id)
    {
        CloudFile file;
        return file.select(id, m_connection) ? shown(file) : "nothing";
    }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileTest);

TEST_P(CloudFileTest, ReturnsEveryFieldAsItWasStored)
{
    CloudFile full = fullFile();
    ASSERT_TRUE(full.insert(m_connection));
    EXPECT_EQ(readBack(full.id()), shown(full));
    EXPECT_EQ(full.displayName(), "Отчёт \U0001F5C4.TXT");
    EXPECT_EQ(full.name(), "отчёт \U0001F5C4.txt");
    EXPECT_EQ(stored("size", full.id()), "9223372036854775807");
    EXPECT_EQ(stored("date_modified_utc", full.id()), "20240131235959");
    EXPECT_EQ(stored("date_deleted_utc", full.id()), "20240310023000");
    EXPECT_EQ(shown(CloudFile::select_(1, full.localPath(), m_connection)), shown(full));

    // A new record's own defaults, and the empty beside the missing.
    CloudFile plain = file("/data/plain");
    CloudFile empty = file("/data/empty");
    empty.setCloudPath("");
    ASSERT_TRUE(plain.insert(m_connection));
    ASSERT_TRUE(empty.insert(m_connection));
    EXPECT_EQ(readBack(plain.id()), shown(plain));
    EXPECT_EQ(readBack(empty.id()), shown(empty));
    EXPECT_EQ(stored("coalesce(cloud_path, 'missing')", plain.id()), "missing");
    EXPECT_EQ(stored("coalesce(cloud_path, 'missing')", empty.id()), "");
    EXPECT_EQ(stored("date_deleted_utc", plain.id()), "99999999999999");
    EXPECT_EQ(stored("date_modified_utc", plain.id()), "0");

    for (const QString &name : awkwardNames()) {
        CloudFile named = file("/" + QString("folder/").repeated(560) + name);
        ASSERT_TRUE(named.insert(m_connection)) << qPrintable(name);
        EXPECT_EQ(shown(CloudFile::select_(1, named.localPath(), m_connection)), shown(named));
    }

    // An update writes all of it; the two columns without accessors go through unchanged.
    m_database.sql("update cloud_files set drive_id = 255, flags = 65535");
    CloudFile changed;
    ASSERT_TRUE(changed.select(full.id(), m_connection));
    changed.setId(plain.id());
    changed.setLocalPath("/changed");
    changed.setDestinationId(2);
    changed.setParentId(6);
    EXPECT_TRUE(changed.update(m_connection));
    EXPECT_EQ(readBack(plain.id()), shown(changed));
    EXPECT_EQ(stored("drive_id + flags", plain.id()), QString::number(255 + 65535));
    changed.setDateDeleted({});
    EXPECT_TRUE(changed.update(m_connection));
    EXPECT_EQ(stored("date_deleted_utc", plain.id()), "99999999999999");
    changed.setId(4000);
    EXPECT_TRUE(changed.update(m_connection)) << "no such row is no failure";
}

TEST_P(CloudFileTest, RefusesWhatDoesNotFitAndStoresNothing)
{
    CloudFile first = file("/a");
    ASSERT_TRUE(first.insert(m_connection));
    const QString before = readBack(first.id());
    const ShortWaits waits;
    const LogCapture log;
    const auto refused = [&](auto change, int warnings) {
        CloudFile record = file("/b");
        change(record);
        EXPECT_FALSE(record.insert(m_connection));
        EXPECT_EQ(record.id(), 0U);
        record.setId(first.id());
        EXPECT_FALSE(record.update(m_connection));
        EXPECT_EQ(readBack(first.id()), before);
        EXPECT_EQ(count(), 1);
        EXPECT_EQ(log.count(QtWarningMsg), warnings) << qPrintable(log.complaints());
    };
    refused([](CloudFile &file) { file.setSize(Largest + 1); }, 0);
    refused([](CloudFile &file) { file.setOriginalSize(~quint64(0)); }, 0);
    refused([](CloudFile &file) { file.setParentId(~quint64(0)); }, 0);
    refused([](CloudFile &file) { file.setDateModified(utc(10000, 1, 1)); }, 0);
    refused([](CloudFile &file) { file.setDateDeleted(utc(999, 1, 1)); }, 0);
    EXPECT_EQ(log.count(QtCriticalMsg, "value out of range"), 10);

    // The path that is there already, and (PostgreSQL) one that the index cannot hold.
    CloudFile second = file("/a");
    EXPECT_FALSE(second.insert(m_connection));
    EXPECT_EQ(log.count(QtWarningMsg), isSQLite() ? 1 : 4);
    CloudFile longPath = file('/' + incompressible(4000));
    EXPECT_EQ(longPath.insert(m_connection), isSQLite());
    EXPECT_EQ(longPath.select(m_connection), isSQLite());
    EXPECT_EQ(count(), isSQLite() ? 2 : 1);
    CloudFile highId = file("/c", Largest);
    EXPECT_EQ(highId.insert(m_connection), isSQLite());
    EXPECT_EQ(highId.select(m_connection) && highId.parentId() == Largest, isSQLite());

    for (CloudFile incomplete : {file(""), file("/d", 0), file("/d", 5, 0)})
        EXPECT_FALSE(incomplete.insert(m_connection));
    EXPECT_EQ(count(), isSQLite() ? 3 : 1);
}

TEST_P(CloudFileTest, FindsOrMakesItselfAndItsFolders)
{
    CloudFile made = file("/home/u/Docs/A.txt", 0);
    made.setSize(10);
    ASSERT_TRUE(made.selectOrInsert(m_connection));
    EXPECT_EQ(CloudFolder::selectPath(made.parentId(), m_connection), "/home/u/Docs/");
    EXPECT_EQ(count("cloud_folders"), 4);

    CloudFile found = file("/home/u/Docs/A.txt", 0);
    found.setSize(99);
    EXPECT_TRUE(found.selectOrInsert(m_connection));
    EXPECT_EQ(shown(found), shown(made)) << "the row wins";

    CloudFile top = file("/top.txt", 0);
    EXPECT_TRUE(top.selectOrInsert(m_connection));
    EXPECT_EQ(top.parentId(), CloudFolder::select(1, "/", m_connection)->id());
    CloudFile given = file("/elsewhere/b", 4711);
    EXPECT_TRUE(given.selectOrInsert(m_connection));
    EXPECT_EQ(given.parentId(), 4711U);
    EXPECT_EQ(CloudFolder::select(1, "/elsewhere", m_connection), nullptr);
    CloudFile bare = file("bare", 0);
    EXPECT_TRUE(bare.selectOrInsert(m_connection));
    EXPECT_EQ(CloudFolder::selectPath(bare.parentId(), m_connection), "/bare/");

    CloudFile noPath = file("", 0);
    CloudFile noDestination = file("/x", 0, 0);
    EXPECT_FALSE(noPath.selectOrInsert(m_connection));
    EXPECT_FALSE(noDestination.selectOrInsert(m_connection));
    EXPECT_EQ(count(), 4);
    m_database.sql("drop table cloud_folders");
    const ShortWaits waits;
    const LogCapture log;
    CloudFile homeless = file("/no/folder", 0);
    EXPECT_FALSE(homeless.selectOrInsert(m_connection));
    EXPECT_EQ(count(), 4);
}

TEST_P(CloudFileTest, ListsAFolderInTheOrderOfItsBytes)
{
    const QStringList ordered{"", "B", "Z", "_", "a", "a b", "ab", "é", "\uFF21", "\U0001F5C4"};
    const QStringList broken{"Z", "a", "\uFF21"};
    QStringList uploaded;
    for (int i = 0; i < ordered.size(); ++i) {
        const QString &name = ordered.at(i * 7 % ordered.size());
        CloudFile one = file("/p/" + name, 5, 1 + quint64(i % 2));
        one.setName(name.isEmpty() ? QString() : name);
        one.setIsBroken(broken.contains(name));
        ASSERT_TRUE(one.insert(m_connection));
        if (!broken.contains(ordered.at(i)))
            uploaded.append(ordered.at(i));
    }
    CloudFile other = file("/q/x", 6);
    ASSERT_TRUE(other.insert(m_connection));

    const auto list = [&](quint64 limit, quint64 offset) {
        return each(CloudFile::selectFolder(5, limit, offset, m_connection), &CloudFile::displayName);
    };
    EXPECT_EQ(list(0, 3), ordered);
    EXPECT_EQ(list(3, 2), ordered.mid(2, 3));
    EXPECT_EQ(list(~quint64(0), 8), ordered.mid(8));

    const auto listUploaded = [&](quint64 limit, quint64 offset) {
        return each(CloudFile::selectFolderUploaded(5, limit, offset, m_connection), &CloudFile::displayName);
    };
    EXPECT_TRUE(listUploaded(0, 0).isEmpty());
    EXPECT_EQ(listUploaded(100, 0), uploaded);
    EXPECT_EQ(listUploaded(2, 3), uploaded.mid(3, 2));

    QStringList pages;
    for (quint64 offset = 0; offset < 8; offset += 2)
        pages += each(CloudFile::select_(1, 2, offset, m_connection), &CloudFile::localPath);
    EXPECT_EQ(pages.size(), 6);
    pages.removeDuplicates();
    EXPECT_EQ(pages.size(), 6) << "no page repeats another one";
    EXPECT_TRUE(CloudFile::select_(1, 0, 0, m_connection).isEmpty());
    for (const auto &one : CloudFile::selectFolder(5, 0, 0, m_connection))
        EXPECT_EQ(readBack(one->id()), shown(one));
}

TEST_P(CloudFileTest, FindsNamesByAnyPart)
{
    const QStringList all = awkwardNames() + QStringList{"50X_off", "100%", "x", "ЖУК"};
    for (const QString &name : all) {
        CloudFile one = file("/p/" + name);
        ASSERT_TRUE(one.insert(m_connection));
    }
    CloudFile other = file("/p/50%_off", 5, 2);
    ASSERT_TRUE(other.insert(m_connection));

    const LogCapture log;
    const auto found = [&](const QString &part, quint64 limit = 100, quint64 offset = 0) {
        return sorted(each(CloudFile::selectByName(limit, offset, 1, part, m_connection), &CloudFile::displayName));
    };
    EXPECT_EQ(found("50%_off"), sorted({all.at(0)}));
    EXPECT_EQ(found("%"), sorted({all.at(0), all.at(3), "100%"}));
    EXPECT_EQ(found("_"), sorted({all.at(0), "50X_off"}));
    EXPECT_EQ(found("^").size() + found("[").size() + found("]").size(), 3);
    for (const char *part : {"%_OFF [X]^", "'Quoted' \"tw", "K\\sl", ":ID ?", "o\nLI", " around ", "\uFFFD",
                             "\U0001F5C4", "\U00020000", "\U000F0000", "\U0010FFFD"})
        EXPECT_EQ(found(part).size(), 1) << part;
    EXPECT_EQ(found("ж"), sorted({"Жук ÄÖÜ é", "ЖУК"}));
    EXPECT_TRUE(found("Ж").isEmpty()) << "only ASCII letters are found without regard to case";
    EXPECT_TRUE(found("x/").isEmpty());
    EXPECT_EQ(found(""), sorted(all));
    EXPECT_EQ(found(QString(600, 'N')).size(), 1);
    EXPECT_EQ(sorted(found("", 4, 0) + found("", 100, 4)), sorted(all));
    EXPECT_TRUE(found("", 0).isEmpty());
    EXPECT_TRUE(CloudFile::selectByName(10, 0, 0, "a", m_connection).isEmpty());
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(CloudFileTest, TakesVersionsAndEmptyFoldersAlong)
{
    const auto backedUp = [&](const QString &path, int attribute, int day) {
        CloudFileVersion version;
        version.setPath(path);
        version.setDateModified(utc(2024, 1, day));
        version.setAttribute(attribute);
        EXPECT_TRUE(version.insert(1, m_connection));
        if (attribute != 1) {
            EXPECT_TRUE(CloudFileVersionBitmap(version.id()).insert(m_connection));
        }
        return version.fileId();
    };
    const quint64 a = backedUp("/d/e/a", 3, 1);
    backedUp("/d/e/a", 4, 2);
    const quint64 b = backedUp("/d/e/b", 1, 1);
    const quint64 c = backedUp("/d/c", 1, 1);

    LogCapture log;
    const auto removed = [&](quint64 id, bool withVersions) {
        log.clear();
        CloudFile file;
        EXPECT_TRUE(file.select(id, m_connection));
        EXPECT_TRUE(file.delete_(withVersions, m_connection));
        EXPECT_EQ(readBack(id), "nothing");
        return log.texts(QtDebugMsg).join('\n') + log.complaints();
    };
    EXPECT_EQ(removed(a, true), "SQL::CloudFile: path is not empty, file path: /d/e/a");
    EXPECT_EQ(count("cloud_file_versions"), 2);
    EXPECT_EQ(count("cloud_file_version_bitmaps"), 1) << "only the map of the kind that may own one";
    EXPECT_EQ(removed(b, false), "SQL::CloudFile: it's last file in folder, remove path for file: /d/e/b");
    EXPECT_EQ(count("cloud_file_versions"), 2) << "versions stay when they are not asked for";
    EXPECT_EQ(count("cloud_folders"), 2);
    EXPECT_EQ(removed(c, true), "SQL::CloudFile: it's last file in folder, remove path for file: /d/c");
    EXPECT_EQ(count("cloud_folders"), 0);
    EXPECT_EQ(count(), 0);

    CloudFile homeless = file("/lost", 900);
    ASSERT_TRUE(homeless.insert(m_connection));
    EXPECT_TRUE(homeless.delete_(true, m_connection)) << "its folder is gone already";

    // A bunch in the folder of the last file keeps the folder, where it would go along with it.
    const quint64 last = backedUp("/bunch/a", 1, 1);
    m_database.sql("insert into archive_bunches select 1, max(id) from cloud_folders");
    removed(last, true);
    EXPECT_EQ(count("cloud_folders"), isSQLite() ? 0 : 2);
}

TEST_P(CloudFileTest, AsksNothingOfAClosedConnectionOrForId0)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    const LogCapture log;
    CloudFile record = file("/a");
    record.setId(3);
    const QString before = shown(record);
    EXPECT_FALSE(record.insert(closed));
    EXPECT_FALSE(record.update(closed));
    EXPECT_FALSE(record.selectOrInsert(closed));
    EXPECT_FALSE(record.select(closed));
    EXPECT_FALSE(record.select(3, closed));
    EXPECT_EQ(CloudFile::select_(1, "/a", closed), nullptr);
    EXPECT_TRUE(CloudFile::select_(1, 10, 0, closed).isEmpty());
    EXPECT_TRUE(CloudFile::selectFolder(5, 0, 0, closed).isEmpty());
    EXPECT_TRUE(CloudFile::selectFolderUploaded(5, 1, 0, closed).isEmpty());
    EXPECT_TRUE(CloudFile::selectByName(1, 0, 1, "a", closed).isEmpty());
    EXPECT_FALSE(record.delete_(true, closed));

    m_database.sql("drop table cloud_files");
    EXPECT_FALSE(record.select(0, m_connection));
    EXPECT_FALSE(record.select(0, "/a", m_connection));
    EXPECT_FALSE(record.select(1, "", m_connection));
    EXPECT_EQ(CloudFile::select_(1, "", m_connection), nullptr);
    EXPECT_TRUE(CloudFile::select_(0, 10, 0, m_connection).isEmpty());
    EXPECT_TRUE(CloudFile::selectFolder(0, 0, 0, m_connection).isEmpty());
    EXPECT_TRUE(CloudFile::selectFolderUploaded(0, 1, 0, m_connection).isEmpty());
    EXPECT_FALSE(CloudFile().delete_(true, m_connection));
    EXPECT_EQ(shown(record), before);
    EXPECT_EQ(log.complaints(), QString());
}

} // namespace
} // namespace Tolm::SQL
