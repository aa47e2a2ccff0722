#include <repository/database/DatabaseFile_p.h>

#include <tests/support/CatalogueFolder.h>
#include <tests/support/LogCapture.h>

#include <QDir>
#include <gtest/gtest.h>

namespace Tolm::SQL {
namespace {

using Step = DatabaseFile::Step;
using Tests::CatalogueFolder;

class DatabaseFileTest : public testing::Test {
protected:
    DatabaseFileTest()
    {
        for (const char *suffix : {"", "-wal", "-shm", "-journal"})
            CatalogueFolder::write(m_file + suffix, suffix);
    }

    QString path(const QString &name) const { return m_folder.path(name); }
    QString names() const { return QDir(path(".")).entryList(QDir::Files, QDir::Name).join(' '); }

    const CatalogueFolder m_folder{};
    const QString m_file = path("a.db");
};

TEST_F(DatabaseFileTest, MovesWithItsCompanions)
{
    EXPECT_TRUE(DatabaseFile::isTaken(m_file));
    EXPECT_FALSE(DatabaseFile::isTaken(path("b.db")));
    CatalogueFolder::write(path("b.db-shm"), "");
    EXPECT_TRUE(DatabaseFile::isTaken(path("b.db")));
    EXPECT_TRUE(DatabaseFile::discard(path("b.db")));

    DatabaseFile file(m_file);
    ASSERT_EQ(file.claim(), Step::Done);
    EXPECT_EQ(file.copyTo(path("b.db")), Step::Done);
    EXPECT_EQ(names(), "a.db a.db-journal a.db-shm a.db-wal b.db b.db-journal b.db-wal");
    EXPECT_EQ(file.remove(), Step::Done);
    EXPECT_EQ(names(), "b.db b.db-journal b.db-wal");
    EXPECT_EQ(CatalogueFolder::read(path("b.db-wal")), "-wal");
    EXPECT_EQ(CatalogueFolder::read(path("b.db-journal")), "-journal");
}

TEST_F(DatabaseFileTest, LeavesNothingOfACopyThatFailed)
{
    DatabaseFile file(m_file);
    ASSERT_EQ(file.claim(), Step::Done);
    const Tests::LogCapture log;
    ASSERT_TRUE(QFile::remove(m_file + "-journal"));
    ASSERT_TRUE(QDir().mkdir(m_file + "-journal")); // it cannot be read
    EXPECT_EQ(file.copyTo(path("b.db")), Step::Failed);
    EXPECT_EQ(names(), "a.db a.db-shm a.db-wal");
    EXPECT_EQ(file.copyTo(path("no/b.db")), Step::Failed);
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on set database aside: cannot open " + m_file + "-journal"), 1);
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on set database aside: cannot create " + path("no/b.db")), 1);
}

TEST_F(DatabaseFileTest, IsNotRemovedUnderItsUser)
{
    {
        QFile user(m_file);
        ASSERT_TRUE(user.open(QIODevice::ReadOnly));
        EXPECT_EQ(DatabaseFile(m_file).claim(), Step::InUse);
    }
    DatabaseFile file(m_file);
    ASSERT_EQ(file.claim(), Step::Done);
    // Whoever opens it now waits until the claim is given up; this one does not wait.
    EXPECT_EQ(DatabaseFile(m_file).claim(), Step::InUse);
    EXPECT_EQ(file.remove(), Step::InUse);
    EXPECT_EQ(names(), "a.db a.db-journal a.db-shm a.db-wal");
}

} // namespace
} // namespace Tolm::SQL
