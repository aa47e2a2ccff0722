#include <tests/generation/GenerationTest.h>
#include <tests/support/CatalogueFolder.h>
#include <tests/support/FullDisk.h>
#include <tests/support/ShortWaits.h>

#include <QDir>

#include <sys/stat.h>
#include <unistd.h>

namespace Tolm::SQL::Generation {
namespace {

using Tests::CatalogueFolder;
using Tests::LogCapture;
using Tests::OwnConnection;

int modeOf(const QString &path)
{
    struct stat status {};
    EXPECT_EQ(stat(qPrintable(path), &status), 0) << qPrintable(path);
    return static_cast<int>(status.st_mode & 07777U);
}

class AttachDatabaseTest : public testing::Test {
protected:
    int attach(const QUuid &marker = QUuid::createUuid()) const { return AttachDatabase(m_path, marker).attach(); }

    QStringList sql(const QString &text) const { return OwnConnection(m_path).sql(text); }

    void setVersion(const QString &version) const { sql("update metadata set repository_version = '" + version + "'"); }

    void expectWholeGeneration(const QUuid &marker) const
    {
        const OwnConnection expected(":memory:");
        const QStringList statements = Tests::creationStatements({});
        for (const QString &statement : statements)
            expected.sql(statement);
        const OwnConnection own(m_path);
        for (const char *what : {"name, sql from sqlite_master order by name", "name, seq from sqlite_sequence"})
            EXPECT_EQ(own.sql(QString("select ") + what), expected.sql(QString("select ") + what));
        EXPECT_EQ(own.sql("select repository_version, generation_marker from metadata"),
                  QStringList("1.0.0|" + marker.toString()));
    }

    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath("generation.db");
    const QUuid m_marker = QUuid::createUuid();
};

TEST_F(AttachDatabaseTest, CreatesAWholeGenerationForEveryone)
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const mode_t mask = umask(077);
    const LogCapture log;
    auto generation = AttachDatabase::attach(m_path, m_marker);
    umask(mask);
    ASSERT_TRUE(generation);
    EXPECT_TRUE(generation->isAttached());
    EXPECT_EQ(generation->path(), m_path);
    EXPECT_EQ(log.texts(QtInfoMsg), QStringList("Generation repository not exist, create new. path: " + m_path));
    EXPECT_EQ(log.complaints(), QString());
    for (const char *suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(m_path + suffix), 0666) << suffix;

    {
        DatabaseConnection connection(generation->attachedDatabasePool());
        EXPECT_EQ(Tests::rowsOf(connection.query(), "PRAGMA journal_mode"), QStringList("wal"));
        EXPECT_EQ(Tests::rowsOf(connection.query(), "PRAGMA busy_timeout"), QStringList("30000"));
        const auto metadata = Metadata::select({}, connection).pointer;
        ASSERT_TRUE(metadata);
        EXPECT_EQ(metadata->productVersion(), Varn::Core::Version::number());
        EXPECT_GE(metadata->dateCreatedUtc(), before);
        EXPECT_LE(metadata->dateCreatedUtc(), QDateTime::currentDateTimeUtc());
    }
    expectWholeGeneration(m_marker);

    // What a file that is gone left in its journal is nothing of the next one's.
    const QString saved = m_folder.filePath("saved");
    ASSERT_TRUE(QFile::copy(m_path + "-wal", saved));
    generation.reset();
    ASSERT_TRUE(QFile::remove(m_path) && QFile::rename(saved, m_path + "-wal"));
    const QUuid next = QUuid::createUuid();
    ASSERT_EQ(attach(next), ResultCode::Ok);
    expectWholeGeneration(next);
}

TEST_F(AttachDatabaseTest, LeavesCurrentAndNewerFilesAsTheyAre)
{
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    ASSERT_EQ(chmod(qPrintable(m_path), 0640), 0);
    for (const QString version : {"1.0.0", "1.0.1", "99.2"}) {
        setVersion(version);
        if (version == "99.2") // which may have done away with something
            sql("drop table part_blocks");
        const QByteArray before = CatalogueFolder::read(m_path);
        const LogCapture log;
        EXPECT_EQ(attach(), ResultCode::Ok) << qPrintable(log.complaints());
        EXPECT_EQ(CatalogueFolder::read(m_path), before);
        EXPECT_EQ(modeOf(m_path), 0640);
        EXPECT_EQ(log.count(QtInfoMsg), 0);
        EXPECT_EQ(log.complaints(), QString());
    }
}

TEST_F(AttachDatabaseTest, GivesAnOlderFileTheCurrentVersionAndNothingElse)
{
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    sql("update metadata set product_version = '7.1', generation_type = 4, kdf_salt = x'00ff00', block_size = 4096");
    const QStringList before = sql("select *, quote(kdf_salt) from metadata");
    for (const QString version : {"0.9", "0.10.7", "", "old"}) {
        setVersion(version);
        EXPECT_EQ(attach(), ResultCode::Ok);
        EXPECT_EQ(sql("select *, quote(kdf_salt) from metadata"), before);
    }
    expectWholeGeneration(m_marker);
}

TEST_F(AttachDatabaseTest, CompletesAnEmptyFileAndAMissingMetadataRow)
{
    CatalogueFolder::write(m_path, {});
    ASSERT_EQ(chmod(qPrintable(m_path), 0600), 0);
    {
        const auto generation = AttachDatabase::attach(m_path, QUuid::createUuid());
        ASSERT_TRUE(generation);
        for (const char *suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(m_path + suffix), 0600) << suffix;
    }
    sql("delete from metadata");
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    expectWholeGeneration(m_marker);
}

TEST_F(AttachDatabaseTest, SaysWhyACreationThatBrokeOffCannotBeAttached)
{
    const QStringList statements = Tests::creationStatements({});
    for (int made = 1; made < statements.size(); ++made) {
        QDir(m_folder.path()).remove("generation.db");
        {
            const OwnConnection own(m_path);
            own.sql("PRAGMA journal_mode=WAL");
            for (const QString &statement : statements.mid(0, made))
                own.sql(statement);
        }
        const QByteArray before = CatalogueFolder::read(m_path);
        const LogCapture log;
        EXPECT_EQ(attach(), ResultCode::Error) << made;
        EXPECT_EQ(log.count(QtCriticalMsg), 1) << made;
        EXPECT_EQ(log.count(QtCriticalMsg, "Error on attache generation database, path: " + m_path), 1) << made;
        EXPECT_EQ(CatalogueFolder::read(m_path), before) << made;
    }
    sql(statements.last());
    EXPECT_EQ(attach(m_marker), ResultCode::Ok);
    expectWholeGeneration(m_marker);
}

TEST_F(AttachDatabaseTest, KeepsWhatAFullDiskLeft)
{
    const Tests::ShortWaits shortWaits;
    constexpr rlim_t Page = 4096;
    int failures = 0;
    int code = ResultCode::Error;
    for (rlim_t room = 0; code != ResultCode::Ok && room < 100 * Page; room += Page) {
        QTemporaryDir folder;
        const QString path = folder.filePath("generation.db");
        const LogCapture log;
        {
            const Tests::FullDisk disk(room);
            code = AttachDatabase(path, m_marker).attach();
        }
        if (code == ResultCode::Ok)
            continue;
        ++failures;
        EXPECT_FALSE(log.complaints().isEmpty()) << room;
        const QString tables = "select count(*) from sqlite_master where type = 'table'";
        const QStringList before = OwnConnection(path).sql(tables);
        const bool isEmpty = before == QStringList("0");
        EXPECT_EQ(AttachDatabase(path, m_marker).attach(), isEmpty ? ResultCode::Ok : ResultCode::Error) << room;
        EXPECT_EQ(OwnConnection(path).sql(tables), isEmpty ? QStringList("9") : before);
    }
    EXPECT_EQ(code, ResultCode::Ok);
    EXPECT_GT(failures, 5);
}

TEST_F(AttachDatabaseTest, AttachesOnceAndSurvivesTheLossOfItsPool)
{
    const int before = QSqlDatabase::connectionNames().size();
    {
        AttachDatabase generation(m_path, m_marker);
        EXPECT_FALSE(generation.isAttached());
        EXPECT_EQ(generation.attach(), ResultCode::Ok);
        EXPECT_EQ(generation.attach(), ResultCode::Error);
        EXPECT_TRUE(generation.isAttached());

        QPointer<DatabasePool> &pool = generation.attachedDatabasePool();
        delete pool;
        EXPECT_FALSE(generation.isAttached());
        EXPECT_EQ(generation.attach(), ResultCode::Error);
        DatabaseConnection connection(pool);
        EXPECT_EQ(Metadata::select({}, connection).error, ResultCode::Error);
    }
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), before);
    expectWholeGeneration(m_marker);
}

TEST_F(AttachDatabaseTest, RefusesAFolderThatCannotBeWritten)
{
    constexpr uid_t Nobody = 65534;
    const bool isRoot = geteuid() == 0; // whom permissions do not stop
    ASSERT_EQ(chmod(qPrintable(m_folder.path()), 0555), 0);
    ASSERT_TRUE(!isRoot || seteuid(Nobody) == 0);
    const LogCapture log;
    const int code = attach();
    ASSERT_TRUE(!isRoot || seteuid(0) == 0);
    ASSERT_EQ(chmod(qPrintable(m_folder.path()), 0755), 0);
    EXPECT_EQ(code, ResultCode::Error);
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on open database: "), 1);
    EXPECT_TRUE(QDir(m_folder.path()).isEmpty());
}

TEST_F(AttachDatabaseTest, RefusesWhatIsNoGeneration)
{
    const int connections = QSqlDatabase::connectionNames().size();
    const LogCapture log;
    CatalogueFolder::write(m_path, QByteArray(5000, 'x'));
    EXPECT_EQ(attach(), ResultCode::Error);
    EXPECT_EQ(CatalogueFolder::read(m_path), QByteArray(5000, 'x'));
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on check database journal mode database:"), 1);

    const QString nowhere = m_folder.filePath("missing/generation.db");
    for (const QString &path : {nowhere, m_folder.path()}) {
        EXPECT_FALSE(AttachDatabase::attach(path, m_marker));
        EXPECT_EQ(log.count(QtCriticalMsg, "Error on open database: "), path == nowhere ? 1 : 2);
    }

    const QString other = m_folder.filePath("other.db");
    OwnConnection(other).sql("create table customers (id integer)");
    EXPECT_EQ(AttachDatabase(other, m_marker).attach(), ResultCode::Error);
    EXPECT_EQ(OwnConnection(other).sql("select name from sqlite_master"), QStringList("customers"));
    EXPECT_EQ(log.count(QtCriticalMsg, "Error on attache generation database, path: " + other), 1);

    EXPECT_EQ(log.count(QtCriticalMsg), 4);
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), connections);
}

TEST_F(AttachDatabaseTest, WaitsForLocksInVainAndChangesNothing)
{
    const Tests::ShortWaits shortWaits;
    ASSERT_EQ(attach(), ResultCode::Ok);
    setVersion("0.9");
    {
        const OwnConnection other(m_path);
        other.sql("BEGIN IMMEDIATE");
        EXPECT_EQ(attach(), ResultCode::RetriesExhausted); // the new version cannot be written
        other.sql("ROLLBACK");
        EXPECT_EQ(other.sql("select repository_version from metadata"), QStringList("0.9"));
    }
    EXPECT_EQ(attach(), ResultCode::Ok);
    {
        const OwnConnection other(m_path);
        other.sql("BEGIN IMMEDIATE");
        EXPECT_EQ(attach(), ResultCode::Ok); // nothing to write
    }
    const OwnConnection exclusive(m_path);
    exclusive.sql("PRAGMA locking_mode = EXCLUSIVE");
    exclusive.sql("select count(*) from metadata");
    EXPECT_EQ(attach(), ResultCode::RetriesExhausted);
}

} // namespace
} // namespace Tolm::SQL::Generation
