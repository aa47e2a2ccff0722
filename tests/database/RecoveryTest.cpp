#include <tests/support/CatalogueFolder.h>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace Tolm::SQL {
namespace {

using Tests::CatalogueFolder;

const QByteArray Garbage = QByteArray("this is no database\n").repeated(1000);

class RecoveryTest : public testing::Test {
protected:
    QString copies() const { return m_folder.path("corrupteddb"); }

    QStringList copyNames() const { return QDir(copies()).entryList(QDir::Files, QDir::Name); }

    /// Brings a catalogue up with one plan, and leaves it closed.
    void makeCatalogue() const
    {
        ASSERT_TRUE(m_folder.run({"init"}).contains("init=true"));
        CatalogueFolder::sql(m_folder.file(),
                             {"insert into plan_name values ('a', 'before', 1)", "PRAGMA wal_checkpoint(TRUNCATE)"});
    }

    void overwrite(qint64 position, const QByteArray &bytes) const
    {
        QFile file(m_folder.file());
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.seek(position));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    /// Expects that the catalogue is replaced by an empty one, and that the copy holds what the file did.
    void expectReplaced(const QString &reason) const
    {
        const QByteArray content = CatalogueFolder::read(m_folder.file());
        EXPECT_TRUE(m_folder.run({"init"}).contains("init=false"));
        EXPECT_EQ(CatalogueFolder::read(m_folder.file()), content);

        const QStringList said = m_folder.run(
            {"recover", "lastError", "reset", "lastError", "connections", "sql", "select count(*) from plan_name"});
        EXPECT_EQ(said.filter(QRegularExpression("^(recover|lastError|connections|sql)=")),
                  (QStringList{"recover=true", "lastError=true", "lastError=false", "connections=1", "sql=0"}))
            << qPrintable(said.join('\n'));
        EXPECT_FALSE(said.filter(reason).isEmpty()) << qPrintable(said.join('\n'));
        EXPECT_EQ(said.count("SQL info: Create new DB structure"), 1);

        ASSERT_EQ(copyNames().size(), 1);
        const QString copy = copies() + '/' + copyNames().first();
        EXPECT_TRUE(QRegularExpression("/tolmvault\\d{4}(_\\d\\d){5}\\.db$").match(copy).hasMatch());
        EXPECT_TRUE(said.contains("SQL debug: Corrupted:  " + copy)) << qPrintable(said.join('\n'));
        EXPECT_EQ(CatalogueFolder::read(copy), content);
    }

    /// Expects that recovery gives up with one record for `reason` and that no file is made, changed or removed.
    void expectRefused(const QString &reason, const QStringList &before = {}) const
    {
        const auto files = m_folder.snapshot();
        const QStringList said = m_folder.run(before + QStringList{"busy", "50", "recover", "isInit", "connections"});
        EXPECT_TRUE(said.contains("recover=false")) << qPrintable(said.join('\n'));
        EXPECT_TRUE(said.contains("isInit=false"));
        EXPECT_TRUE(said.contains("connections=0"));
        EXPECT_EQ(said.filter("SQL error: Error on set database aside: " + reason).size(), 1)
            << qPrintable(said.join('\n'));
        EXPECT_EQ(m_folder.snapshot(), files);
    }

    CatalogueFolder m_folder{QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup")};
};

TEST_F(RecoveryTest, ReplacesAFileThatIsNoDatabase)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    expectReplaced("Error on check database journal mode database: file is not a database");
}

TEST_F(RecoveryTest, ReplacesATruncatedDatabase)
{
    makeCatalogue();
    ASSERT_TRUE(QFile::resize(m_folder.file(), 3 * 4096 + 100));
    expectReplaced("database disk image is malformed");
}

TEST_F(RecoveryTest, ReplacesADatabaseWithADamagedSchema)
{
    makeCatalogue();
    overwrite(100, QByteArray(400, '\xff'));
    expectReplaced("database disk image is malformed");
}

// The row stands in "-wal" only. With the first page mended, the copy has it.
TEST_F(RecoveryTest, TakesAnUncheckpointedWalAlong)
{
    makeCatalogue();
    const QByteArray firstPage = CatalogueFolder::read(m_folder.file()).left(4096);
    const auto child = m_folder.start({"init", "sql", "insert into plan_name values ('b', 'after', 1)", "wait"});
    ASSERT_TRUE(child->waitFor("ready"));
    child->kill();
    overwrite(0, Garbage.left(4096));
    ASSERT_GT(QFileInfo(m_folder.file() + "-wal").size(), 0);

    EXPECT_TRUE(m_folder.run({"recover", "sql", "select count(*) from plan_name"}).contains("sql=0"));
    const QStringList copied = copyNames();
    ASSERT_FALSE(copied.isEmpty());
    const QString copy = copies() + '/' + copied.first();
    QFile mended(copy);
    ASSERT_TRUE(mended.open(QIODevice::ReadWrite));
    mended.write(firstPage);
    mended.close();
    EXPECT_EQ(CatalogueFolder::sql(copy, {"select group_concat(name) from plan_name"}).toString(), "before,after");
}

TEST_F(RecoveryTest, SetsAsideBesideTheConfigurationWhereverTheFileIs)
{
    ASSERT_TRUE(QDir().mkdir(m_folder.path("data")));
    const QString file = m_folder.path("data/cat.db");
    CatalogueFolder::write(file, Garbage);
    ASSERT_EQ(::chmod(file.toUtf8().constData(), 0640), 0);
    ASSERT_TRUE(QFile::link(file, m_folder.path("link.db")));
    m_folder.configure(m_folder.path("link.db"));

    EXPECT_TRUE(m_folder.run({"recover"}).contains("recover=true"));
    ASSERT_EQ(copyNames().size(), 1);
    const QString copy = copies() + '/' + copyNames().first();
    EXPECT_EQ(CatalogueFolder::read(copy), Garbage);
    EXPECT_EQ(QFile::permissions(copy) & 0xfff, QFile::Permissions(0x640));
    EXPECT_TRUE(QFileInfo(m_folder.path("link.db")).isSymLink());
    EXPECT_EQ(QFile::permissions(file) & 0xfff, QFile::Permissions(0x666));
    EXPECT_FALSE(QFileInfo::exists(m_folder.file()));
}

TEST_F(RecoveryTest, NeverOverwritesACopy)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    ASSERT_TRUE(QDir().mkdir(copies()));
    // Whatever second it will be; of some only a companion is left.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (int second = 0; second < 60; ++second) {
        const QString name = now.addSecs(second).toString("'/tolmvault'yyyy_MM_dd_hh_mm_ss'.db'");
        CatalogueFolder::write(copies() + name + (second % 2 ? "-wal" : ""), "earlier");
    }
    const auto earlier = CatalogueFolder::snapshot(copies());
    EXPECT_TRUE(m_folder.run({"recover"}).contains("recover=true"));

    const QStringList added = copyNames().filter(QRegularExpression("_1\\.db$"));
    ASSERT_EQ(added.size(), 1);
    auto later = CatalogueFolder::snapshot(copies());
    EXPECT_EQ(later.take(added.first()), Garbage);
    EXPECT_EQ(later.size(), earlier.size() - 1); // there were three or more: one had to go
}

TEST_F(RecoveryTest, LetsTheOldestOfThreeGo)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    ASSERT_TRUE(QDir().mkdir(copies()));
    const auto add = [this](const QString &name, int daysAgo) {
        CatalogueFolder::write(copies() + '/' + name, name.toUtf8());
        QFile file(copies() + '/' + name);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFile::FileModificationTime));
    };
    add("tolmvault2020_01_01_00_00_00.db", 2);
    add("tolmvault2021_01_01_00_00_00.db", 9);
    add("tolmvault2021_01_01_00_00_00.db-wal", 9);
    add("tolmvault2021_01_01_00_00_00.db-journal", 9);
    add("tolmvault2022_01_01_00_00_00.db-wal", 50); // a companion alone is no database
    add("notes.db", 90);
    add("tolmvault.txt", 90);
    ASSERT_TRUE(QDir().mkdir(copies() + "/tolmvault2019.db"));

    // Two databases: both may stay. Three with the new one: the oldest goes with all that is its own.
    ASSERT_TRUE(m_folder.run({"recover"}).contains("recover=true"));
    EXPECT_EQ(copyNames().size(), 8);
    CatalogueFolder::write(m_folder.file(), Garbage);
    ASSERT_TRUE(m_folder.run({"recover"}).contains("recover=true"));
    EXPECT_TRUE(copyNames().filter("2021").isEmpty());
    EXPECT_EQ(copyNames().size(), 6) << qPrintable(copyNames().join('\n'));
    EXPECT_TRUE(copyNames().contains("tolmvault2020_01_01_00_00_00.db"));
    EXPECT_TRUE(QFileInfo::exists(copies() + "/tolmvault2019.db"));

    // Four earlier ones: still only one goes.
    add("tolmvault2018_01_01_00_00_00.db", 1);
    CatalogueFolder::write(m_folder.file(), Garbage);
    ASSERT_TRUE(m_folder.run({"recover"}).contains("recover=true"));
    EXPECT_FALSE(copyNames().contains("tolmvault2020_01_01_00_00_00.db"));
    EXPECT_EQ(copyNames().size(), 7);
}

TEST_F(RecoveryTest, RemovesNothingWithoutACopy)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    CatalogueFolder::write(copies(), "a file where the folder should be");
    expectRefused("cannot open the folder");
    ASSERT_TRUE(QFile::remove(copies()));

    // The disk is full in the midst of the copy; three earlier copies stay, too.
    ASSERT_TRUE(QDir().mkdir(copies()));
    for (const char *name : {"1", "2", "3"})
        CatalogueFolder::write(copies() + "/tolmvault" + name + ".db", name);
    expectRefused("cannot copy to", {"full", "8192"});
}

TEST_F(RecoveryTest, RemovesNothingThatItMayNot)
{
    ASSERT_TRUE(QDir().mkdir(m_folder.path("data")));
    ASSERT_TRUE(QDir().mkdir(copies()));
    const QString file = m_folder.path("data/cat.db");
    CatalogueFolder::write(file, Garbage);
    m_folder.configure(file);
    for (const QString &path : {m_folder.path("."), copies()})
        ASSERT_EQ(::chmod(path.toUtf8().constData(), 0777), 0);
    ASSERT_EQ(::chmod(m_folder.path("data").toUtf8().constData(), 0555), 0);
    ASSERT_EQ(::chmod(file.toUtf8().constData(), 0666), 0);
    expectRefused("cannot remove", {"nobody"});
    ASSERT_EQ(::chmod(m_folder.path("data").toUtf8().constData(), 0755), 0);
}

TEST_F(RecoveryTest, RemovesNothingThatAnotherProcessHasOpen)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    {
        QFile reader(m_folder.file()); // it holds no lock that SQLite would see
        ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
        expectRefused("in use by another process:");
    }
    EXPECT_TRUE(m_folder.run({"recover"}).contains("recover=true"));
}

// Another user's file gives no lease; a connection that does nothing still holds this lock, where the journal is WAL.
TEST_F(RecoveryTest, MindsTheLocksOfAnotherUsersFile)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    ASSERT_EQ(::chmod(m_folder.path(".").toUtf8().constData(), 0777), 0);
    ASSERT_TRUE(QDir().mkdir(copies()));
    ASSERT_EQ(::chmod(copies().toUtf8().constData(), 0777), 0);
    {
        QFile holder(m_folder.file());
        ASSERT_TRUE(holder.open(QIODevice::ReadOnly));
        struct flock shared {};
        shared.l_type = F_RDLCK;
        shared.l_whence = SEEK_SET;
        shared.l_start = 0x40000002;
        shared.l_len = 510;
        ASSERT_EQ(::fcntl(holder.handle(), F_SETLK, &shared), 0);
        const QStringList said = m_folder.run({"nobody", "busy", "50", "recover"});
        EXPECT_TRUE(said.contains("recover=false"));
        EXPECT_EQ(said.filter("in use by another process: " + m_folder.file()).size(), 1);
        EXPECT_TRUE(copyNames().isEmpty());
    }
    EXPECT_TRUE(m_folder.run({"nobody", "recover"}).contains("recover=true"));
    EXPECT_EQ(copyNames().size(), 1);
}

TEST_F(RecoveryTest, LetsProcessesRecoverTogether)
{
    for (int round = 0; round < 5; ++round) {
        CatalogueFolder folder(QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup"));
        CatalogueFolder::write(folder.file(), Garbage);
        const auto all = folder.runTogether(3, {"wait", "recover", "sql", "select count(*) from metadata"});
        int recovered = 0;
        for (const QStringList &said : all)
            recovered += said.contains("recover=true") && said.contains("sql=1") ? 1 : 0;
        EXPECT_EQ(recovered, 3);
        // Nobody's new database was set aside.
        const QDir copies(folder.path("corrupteddb"));
        ASSERT_EQ(copies.entryList(QDir::Files).size(), 1);
        EXPECT_EQ(CatalogueFolder::read(copies.filePath(copies.entryList(QDir::Files).first())), Garbage);
        EXPECT_TRUE(folder.run({"recover", "sql", "select count(*) from metadata"}).contains("sql=1"));
        EXPECT_EQ(copies.entryList(QDir::Files).size(), 1);
    }
}

// The process dies in the midst of a write to the copy or to the new database, a bit later each time.
TEST_F(RecoveryTest, LosesNothingWhenItIsKilled)
{
    int killed = 0;
    for (int bytes = 0;; bytes += 12000) {
        CatalogueFolder folder(QStringLiteral(TOLM_TEST_HELPER_DIR "/bringup"));
        CatalogueFolder::write(folder.file(), Garbage);
        const QStringList said = folder.run({"deadly", QString::number(bytes), "recover"});
        if (said.contains("recover=true"))
            break;
        ASSERT_EQ(said.filter("ended with").size(), 1) << qPrintable(said.join('\n'));
        ++killed;
        EXPECT_TRUE(folder.snapshot().values().contains(Garbage)) << "after " << bytes;
        EXPECT_TRUE(folder.run({"recover", "sql", "select count(*) from metadata"}).contains("sql=1"));
        EXPECT_TRUE(CatalogueFolder::snapshot(folder.path("corrupteddb")).values().contains(Garbage));
    }
    EXPECT_GT(killed, 5);
}

} // namespace
} // namespace Tolm::SQL
