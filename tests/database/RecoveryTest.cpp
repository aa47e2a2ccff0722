#include <tests/support/CatalogueFolder.h>
#include <tests/support/OwnConnection.h>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <fcntl.h>
#include <sys/stat.h>

namespace Tolm::SQL {
namespace {

using Tests::CatalogueFolder;
using Tests::OwnConnection;

const QByteArray Garbage = QByteArray("this is no database\n").repeated(1000);
const QString CountMetadata = "select count(*) from metadata";

class RecoveryTest : public testing::Test {
protected:
    QString copies() const { return m_folder.path("corrupteddb"); }
    QStringList copyNames() const { return QDir(copies()).entryList(QDir::Files, QDir::Name); }
    QString firstCopy() const { return copies() + '/' + copyNames().value(0); }

    /// Brings a catalogue up with one plan, and leaves it closed.
    void makeCatalogue() const
    {
        ASSERT_EQ(m_folder.answers({"init"}), "init=true");
        OwnConnection(m_folder.file()).sql("insert into plan_name values ('a', 'before', 1)");
    }

    static void overwrite(const QString &path, qint64 position, const QByteArray &bytes)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(position));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    static void setMode(const QString &path, mode_t mode) { ASSERT_EQ(::chmod(qPrintable(path), mode), 0); }

    /// Expects that the catalogue is replaced by an empty one, and that the copy holds what the file did.
    void expectReplaced(const QString &reason) const
    {
        const QByteArray content = CatalogueFolder::read(m_folder.file());
        EXPECT_EQ(m_folder.answers({"init"}), "init=false");
        EXPECT_EQ(CatalogueFolder::read(m_folder.file()), content);

        const QStringList said = m_folder.run(
            {"recover", "lastError", "reset", "lastError", "connections", "sql", "select count(*) from plan_name"});
        EXPECT_EQ(CatalogueFolder::answersIn(said),
                  "recover=true lastError=true reset= lastError=false connections=1 sql=0");
        EXPECT_FALSE(said.filter(reason).isEmpty()) << qPrintable(said.join('\n'));
        EXPECT_EQ(said.count("SQL info: Create new DB structure"), 1);
        ASSERT_EQ(copyNames().size(), 1);
        EXPECT_TRUE(QRegularExpression("/tolmvault\\d{4}(_\\d\\d){5}\\.db$").match(firstCopy()).hasMatch());
        EXPECT_TRUE(said.contains("SQL debug: Corrupted:  " + firstCopy())) << qPrintable(said.join('\n'));
        EXPECT_EQ(CatalogueFolder::read(firstCopy()), content);
    }

    /// Expects that recovery gives up with one record for `reason` and that no file is made, changed or removed.
    void expectRefused(const QString &reason, const QStringList &before = {}) const
    {
        const auto files = m_folder.snapshot();
        const QStringList said = m_folder.run(before + QStringList{"busy", "50", "recover", "isInit", "connections"});
        EXPECT_TRUE(CatalogueFolder::answersIn(said).endsWith("recover=false isInit=false connections=0"));
        EXPECT_EQ(said.filter("SQL error: Error on set database aside: " + reason).size(), 1)
            << qPrintable(said.join('\n'));
        EXPECT_EQ(m_folder.snapshot(), files);
    }

    const CatalogueFolder m_folder{};
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
    overwrite(m_folder.file(), 100, QByteArray(400, '\xff'));
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
    overwrite(m_folder.file(), 0, Garbage.left(4096));
    ASSERT_GT(QFileInfo(m_folder.file() + "-wal").size(), 0);

    EXPECT_EQ(m_folder.answers({"recover", "sql", "select count(*) from plan_name"}), "recover=true sql=0");
    overwrite(firstCopy(), 0, firstPage);
    EXPECT_EQ(OwnConnection(firstCopy()).sql("select name from plan_name"), QStringList({"before", "after"}));
}

TEST_F(RecoveryTest, SetsAsideBesideTheConfigurationWhereverTheFileIs)
{
    ASSERT_TRUE(QDir().mkdir(m_folder.path("data")));
    const QString file = m_folder.path("data/cat.db");
    CatalogueFolder::write(file, Garbage);
    setMode(file, 0640);
    ASSERT_TRUE(QFile::link(file, m_folder.path("link.db")));
    m_folder.configure(m_folder.path("link.db"));

    EXPECT_EQ(m_folder.answers({"recover"}), "recover=true");
    EXPECT_EQ(CatalogueFolder::read(firstCopy()), Garbage);
    EXPECT_EQ(QFile::permissions(firstCopy()) & 0xfff, QFile::Permissions(0x640));
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
    EXPECT_EQ(m_folder.answers({"recover"}), "recover=true");

    const QStringList added = copyNames().filter(QRegularExpression("_1\\.db$"));
    ASSERT_EQ(added.size(), 1);
    auto later = CatalogueFolder::snapshot(copies());
    EXPECT_EQ(later.take(added.first()), Garbage);
    EXPECT_EQ(later.size(), earlier.size() - 1); // there were three or more: one had to go
}

TEST_F(RecoveryTest, LetsTheOldestOfThreeGo)
{
    ASSERT_TRUE(QDir().mkpath(copies() + "/tolmvault2019.db"));
    const auto add = [this](const QString &name, int daysAgo) {
        CatalogueFolder::write(copies() + '/' + name, name.toUtf8());
        QFile file(copies() + '/' + name);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFile::FileModificationTime));
    };
    const auto earlierOnesAfterRecovery = [this] {
        CatalogueFolder::write(m_folder.file(), Garbage);
        EXPECT_EQ(m_folder.answers({"recover"}), "recover=true");
        return copyNames().filter(QRegularExpression("^[^_]+$")).join(' ');
    };
    add("tolmvault2020.db", 2);
    add("tolmvault2021.db", 9);
    add("tolmvault2021.db-wal", 9);
    add("tolmvault2021.db-journal", 9);
    add("tolmvault2022.db-wal", 50); // a companion alone is no database
    add("notes.db", 90);
    add("tolmvault.txt", 90);
    // Two databases: both may stay. Three with the new one: the oldest goes with all that is its own.
    const QString all = copyNames().join(' ');
    EXPECT_EQ(earlierOnesAfterRecovery(), all);
    EXPECT_EQ(earlierOnesAfterRecovery(), "notes.db tolmvault.txt tolmvault2020.db tolmvault2022.db-wal");
    // Four earlier ones: still only one goes.
    add("tolmvault2018.db", 1);
    EXPECT_EQ(earlierOnesAfterRecovery(), "notes.db tolmvault.txt tolmvault2018.db tolmvault2022.db-wal");
    EXPECT_EQ(copyNames().size(), 7);
    EXPECT_TRUE(QFileInfo::exists(copies() + "/tolmvault2019.db"));
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
    setMode(m_folder.path("."), 0777);
    setMode(copies(), 0777);
    setMode(m_folder.path("data"), 0555);
    setMode(file, 0666);
    expectRefused("cannot remove", {"nobody"});
    setMode(m_folder.path("data"), 0755);
}

TEST_F(RecoveryTest, RemovesNothingThatAnotherProcessHasOpen)
{
    CatalogueFolder::write(m_folder.file(), Garbage);
    QFile reader(m_folder.file()); // it holds no lock that SQLite would see
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    expectRefused("in use by another process:");

    // Another user's file gives no lease; a connection that does nothing still holds this lock, where the journal is
    // WAL.
    setMode(m_folder.path("."), 0777);
    ASSERT_TRUE(QDir().mkpath(copies()));
    setMode(copies(), 0777);
    struct flock shared {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    shared.l_start = 0x40000002;
    shared.l_len = 510;
    ASSERT_EQ(::fcntl(reader.handle(), F_SETLK, &shared), 0);
    // Reading the file here would give the lock up.
    const QStringList said = m_folder.run({"nobody", "busy", "50", "recover"});
    EXPECT_TRUE(said.contains("recover=false"));
    EXPECT_EQ(said.filter("in use by another process: " + m_folder.file()).size(), 1);
    EXPECT_TRUE(copyNames().isEmpty());
    reader.close();
    EXPECT_EQ(m_folder.answers({"nobody", "recover"}), "nobody=true recover=true");
    EXPECT_EQ(copyNames().size(), 1);
}

TEST_F(RecoveryTest, LetsProcessesRecoverTogether)
{
    for (int round = 0; round < 5; ++round) {
        const CatalogueFolder folder;
        CatalogueFolder::write(folder.file(), Garbage);
        for (const QStringList &said : folder.runTogether(3, {"wait", "recover", "sql", CountMetadata}))
            EXPECT_EQ(CatalogueFolder::answersIn(said), "wait=proceeding recover=true sql=1");
        EXPECT_EQ(folder.answers({"recover", "sql", CountMetadata}), "recover=true sql=1");
        // Nobody's new database was set aside.
        EXPECT_EQ(CatalogueFolder::snapshot(folder.path("corrupteddb")).values(), QList<QByteArray>{Garbage});
    }
}

// The process dies in the midst of a write to the copy or to the new database, a bit later each time.
TEST_F(RecoveryTest, LosesNothingWhenItIsKilled)
{
    int killed = 0;
    for (int bytes = 0;; bytes += 12000) {
        const CatalogueFolder folder;
        CatalogueFolder::write(folder.file(), Garbage);
        const QStringList said = folder.run({"deadly", QString::number(bytes), "recover"});
        if (said.contains("recover=true"))
            break;
        ASSERT_EQ(said.filter("ended with").size(), 1) << qPrintable(said.join('\n'));
        ++killed;
        EXPECT_TRUE(folder.snapshot().values().contains(Garbage)) << "after " << bytes;
        EXPECT_EQ(folder.answers({"recover", "sql", CountMetadata}), "recover=true sql=1");
        EXPECT_TRUE(CatalogueFolder::snapshot(folder.path("corrupteddb")).values().contains(Garbage));
    }
    EXPECT_GT(killed, 5);
}

} // namespace
} // namespace Tolm::SQL
