#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;

class CloudFileTest : public CatalogueTest {
protected:
    static CloudFile file(const QString &path, quint64 parent = 5, quint64 destination = 1)
    {
        CloudFile file;
        file.setDestinationId(destination);
        file.setParentId(parent);
        file.setLocalPath(path);
        file.setName(path.section('/', -1));
        return file;
    }

    CloudFile inserted(const CloudFile &file)
    {
        CloudFile copy = file;
        EXPECT_TRUE(copy.insert(m_connection)) << qPrintable(file.localPath());
        return copy;
    }

    QString readBack(quint64 id)
    {
        CloudFile file;
        return file.select(id, m_connection) ? shown(file) : "nothing";
    }

    QString stored(const CloudFile &file, const QString &column)
    {
        return CatalogueTest::stored("cloud_files", file.id(), column);
    }
};
TOLM_TEST_ON_EVERY_BACKEND(CloudFileTest);

TEST_P(CloudFileTest, ReturnsEveryFieldAsItWasStored)
{
    CloudFile full = file("/Data/Отчёт \U0001F5C4.TXT");
    full.setCloudPath("cloud/\xD0\x96'%\n.bin");
    full.setSize(Largest);
    full.setOriginalSize(Largest - 1);
    full.setDateModified(utc(2024, 1, 31, 23, 59, 59));
    full.setDateDeleted(utc(2024, 3, 10, 2, 30)); // a time that the clocks of New York skip
    full.setIsCompressed(1);
    full.setIsEncrypted(-128);
    full.setIsSimple(127);
    full.setIsBroken(true);
    full = inserted(full);
    EXPECT_EQ(readBack(full.id()), shown(full));
    EXPECT_EQ(shown(CloudFile::select_(1, full.localPath(), m_connection)), shown(full));
    EXPECT_EQ(full.displayName() + full.name(), "Отчёт \U0001F5C4.TXTотчёт \U0001F5C4.txt");
    EXPECT_EQ(stored(full, "size"), "9223372036854775807");
    EXPECT_EQ(stored(full, "date_modified_utc"), "20240131235959");
    EXPECT_EQ(stored(full, "date_deleted_utc"), "20240310023000");

    const CloudFile plain = inserted(file("/data/plain"));
    EXPECT_EQ(readBack(plain.id()), shown(plain));
    EXPECT_EQ(stored(plain, "cloud_path"), "NULL");
    EXPECT_EQ(stored(plain, "date_deleted_utc"), "99999999999999");
    EXPECT_EQ(stored(plain, "date_modified_utc"), "0");

    for (const QString &name : awkwardNames()) {
        const CloudFile named = inserted(file("/" + QString("folder/").repeated(560) + name));
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
    EXPECT_EQ(stored(plain, "drive_id + flags"), QString::number(255 + 65535));
    changed.setDateDeleted({});
    EXPECT_TRUE(changed.update(m_connection));
    EXPECT_EQ(stored(plain, "date_deleted_utc"), "99999999999999");
    changed.setId(4000);
    EXPECT_TRUE(changed.update(m_connection)) << "no such row is no failure";
}

TEST_P(CloudFileTest, RefusesWhatDoesNotFitAndStoresNothing)
{
    const CloudFile first = inserted(file("/a"));
    const ShortWaits waits;
    const LogCapture log;
    CloudFile large = file("/b");
    large.setSize(Largest + 1);
    EXPECT_FALSE(large.insert(m_connection));
    EXPECT_EQ(large.id(), 0U);
    large.setId(first.id());
    EXPECT_FALSE(large.update(m_connection));
    EXPECT_EQ(readBack(first.id()), shown(first));
    EXPECT_EQ(log.count(QtCriticalMsg, "value out of range for :size"), 2);
    for (CloudFile incomplete : {file(""), file("/d", 0), file("/d", 5, 0)})
        EXPECT_FALSE(incomplete.insert(m_connection));
    EXPECT_EQ(log.count(QtWarningMsg), 0);

    // The path that is there already, and one that only PostgreSQL's index cannot hold.
    EXPECT_FALSE(file("/a").insert(m_connection));
    EXPECT_EQ(log.count(QtWarningMsg), isSQLite() ? 1 : 4);
    CloudFile longPath = file('/' + incompressible(4000));
    EXPECT_EQ(longPath.insert(m_connection), isSQLite());
    EXPECT_EQ(readBack(longPath.id()), isSQLite() ? shown(longPath) : "nothing");
    EXPECT_EQ(count("cloud_files"), isSQLite() ? 2 : 1);
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

    EXPECT_FALSE(file("", 0).selectOrInsert(m_connection));
    EXPECT_FALSE(file("/x", 0, 0).selectOrInsert(m_connection));
    m_database.sql("alter table cloud_folders rename to elsewhere");
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_FALSE(file("/no/folder", 0).selectOrInsert(m_connection));
    EXPECT_EQ(count("cloud_files"), 4);
}

TEST_P(CloudFileTest, ListsAFolderInTheOrderOfItsBytes)
{
    const QStringList ordered{"", "B", "Z", "_", "a", "a b", "ab", "é", "\uFF21", "\U0001F5C4"};
    const QStringList uploaded{"", "B", "_", "a b", "ab", "é", "\U0001F5C4"};
    for (int i = 0; i < ordered.size(); ++i) {
        const QString &name = ordered.at(i * 7 % ordered.size());
        CloudFile one = file("/p/" + name, 5, 1 + quint64(i % 2));
        one.setIsBroken(!uploaded.contains(name));
        inserted(one);
    }
    inserted(file("/q/x", 6));

    const auto list = [&](quint64 limit, quint64 offset) {
        return each(CloudFile::selectFolder(5, limit, offset, m_connection), &CloudFile::displayName);
    };
    EXPECT_EQ(list(0, 3), ordered) << "limit 0 is all of them, wherever it would start";
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
    EXPECT_EQ(pages.removeDuplicates(), 0) << "a page repeats another one";
    for (const auto &one : CloudFile::selectFolder(5, 0, 0, m_connection))
        EXPECT_EQ(readBack(one->id()), shown(one));
}

TEST_P(CloudFileTest, FindsNamesByAnyPart)
{
    const QStringList all = awkwardNames() + QStringList{"50X_off", "100%", "x", "ЖУК"};
    for (const QString &name : all)
        inserted(file("/p/" + name));
    inserted(file("/p/50%_off", 5, 2));

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
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(CloudFileTest, TakesVersionsAlongWhenTheyAreAskedFor)
{
    const auto fileOf = [&](const CloudFileVersion &version) {
        CloudFile file;
        EXPECT_TRUE(file.select(version.fileId(), m_connection));
        return file;
    };
    const CloudFile a = fileOf(backedUp("/d/a"));
    const CloudFile b = fileOf(backedUp("/d/b"));
    EXPECT_EQ(removed(a, true), "SQL::CloudFile: path is not empty, file path: /d/a");
    EXPECT_EQ(count("cloud_file_versions"), 1);
    EXPECT_EQ(removed(b, false), "SQL::CloudFile: it's last file in folder, remove path for file: /d/b");
    EXPECT_EQ(count("cloud_file_versions"), 1);
    EXPECT_EQ(count("cloud_folders") + count("cloud_files"), 0);
    EXPECT_FALSE(CloudFile().delete_(true, m_connection));
    removed(inserted(file("/lost", 900)), true); // its folder is gone already
}

} // namespace
} // namespace Tolm::SQL
