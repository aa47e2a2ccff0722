#include <repository/database/DatabaseFile_p.h>

#include <tests/support/CatalogueFolder.h>
#include <tests/support/LogCapture.h>

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace Tolm::SQL {
namespace {

using Step = DatabaseFile::Step;

class DatabaseFileTest : public testing::Test {
protected:
    DatabaseFileTest()
    {
        for (const char *suffix : {"", "-wal", "-shm", "-journal"})
            write("a.db" + QLatin1String(suffix), suffix);
    }

    QString path(const QString &name) const { return m_folder.filePath(name); }
    void write(const QString &name, const QByteArray &text) { Tests::CatalogueFolder::write(path(name), text); }
    QStringList names() const { return QDir(m_folder.path()).entryList(QDir::Files, QDir::Name); }

    QTemporaryDir m_folder;
    const QStringList m_all{"a.db", "a.db-journal", "a.db-shm", "a.db-wal"};
};

TEST_F(DatabaseFileTest, MovesWithItsCompanions)
{
    DatabaseFile file(path("a.db"));
    ASSERT_EQ(file.claim(), Step::Done);
    EXPECT_EQ(file.copyTo(path("b.db")), Step::Done);
    EXPECT_EQ(names(), m_all + QStringList({"b.db", "b.db-journal", "b.db-wal"}));
    EXPECT_EQ(Tests::CatalogueFolder::read(path("b.db-wal")), "-wal");
    EXPECT_EQ(Tests::CatalogueFolder::read(path("b.db-journal")), "-journal");
    EXPECT_EQ(file.remove(), Step::Done);
    EXPECT_FALSE(file.exists());
    EXPECT_EQ(names(), QStringList({"b.db", "b.db-journal", "b.db-wal"}));
}

TEST_F(DatabaseFileTest, LeavesNothingOfACopyThatFailed)
{
    DatabaseFile file(path("a.db"));
    ASSERT_EQ(file.claim(), Step::Done);
    const Tests::LogCapture log;
    ASSERT_TRUE(QFile::remove(path("a.db-journal")));
    ASSERT_TRUE(QDir().mkdir(path("a.db-journal"))); // it cannot be read
    EXPECT_EQ(file.copyTo(path("b.db")), Step::Failed);
    EXPECT_EQ(names(), QStringList({"a.db", "a.db-shm", "a.db-wal"}));
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on set database aside: cannot open " + path("a.db-journal")), 1);
    EXPECT_EQ(file.copyTo(path("no/b.db")), Step::Failed);
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on set database aside: cannot create " + path("no/b.db")), 1);
}

TEST_F(DatabaseFileTest, IsNotRemovedUnderItsUser)
{
    const QString name = path("a.db");
    {
        QFile user(name);
        ASSERT_TRUE(user.open(QIODevice::ReadOnly));
        EXPECT_EQ(DatabaseFile(name).claim(), Step::InUse);
    }
    DatabaseFile file(name);
    ASSERT_EQ(file.claim(), Step::Done);
    // Whoever opens it now waits until the claim is given up; this one does not wait.
    EXPECT_EQ(DatabaseFile(name).claim(), Step::InUse);
    EXPECT_EQ(file.remove(), Step::InUse);
    EXPECT_EQ(names(), m_all);
}

TEST_F(DatabaseFileTest, IsTakenByWhateverThereIsOfIt)
{
    EXPECT_TRUE(DatabaseFile::isTaken(path("a.db")));
    EXPECT_FALSE(DatabaseFile::isTaken(path("b.db")));
    write("b.db-shm", "");
    EXPECT_TRUE(DatabaseFile::isTaken(path("b.db")));
    EXPECT_TRUE(DatabaseFile::discard(path("b.db")));
    EXPECT_EQ(names(), m_all);
}

} // namespace
} // namespace Tolm::SQL
