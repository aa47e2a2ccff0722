#include <tests/generation/GenerationTest.h>
#include <tests/support/FullDisk.h>
#include <tests/support/ShortWaits.h>

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace Tolm::SQL::Generation {
namespace {

using testing::HasSubstr;
using Tests::FullDisk;
using Tests::LogCapture;

int modeOf(const QString &path)
{
    struct stat status {};
    EXPECT_EQ(stat(qPrintable(path), &status), 0) << qPrintable(path);
    return static_cast<int>(status.st_mode & 07777U);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return file.readAll();
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

/// A connection of the test's own to a SQLite file.
class OwnConnection {
public:
    explicit OwnConnection(const QString &path)
    {
        m_database.setDatabaseName(path);
        EXPECT_TRUE(m_database.open());
    }
    ~OwnConnection()
    {
        m_database = {};
        QSqlDatabase::removeDatabase(m_name);
    }
    Q_DISABLE_COPY_MOVE(OwnConnection)

    QStringList sql(const QString &text) const { return Tests::rowsOf(QSqlQuery(m_database), text); }

private:
    const QString m_name = QUuid::createUuid().toString();
    QSqlDatabase m_database = QSqlDatabase::addDatabase("QSQLITE", m_name);
};

const QStringList Tables{"block_id_generator", "files",           "folders",      "metadata", "part_blocks", "parts",
                         "restore_points",     "sqlite_sequence", "storage_files"};
const QStringList Indexes{
    "archive_folders_archive_id", "archive_folders_parent_id", "file_path", "files_parent_id", "folders_path",
    "part_blocks_part_id",        "parts_archive_id"};

class AttachDatabaseTest : public testing::Test {
protected:
    int attach(const QUuid &marker = QUuid::createUuid()) const { return AttachDatabase(m_path, marker).attach(); }

    QStringList sql(const QString &text) const { return OwnConnection(m_path).sql(text); }

    void expectWholeGeneration() const
    {
        const OwnConnection own(m_path);
        EXPECT_EQ(own.sql("select name from sqlite_master where type = 'table' order by name"), Tables);
        EXPECT_EQ(own.sql("select name from sqlite_master where type = 'index' and sql is not null order by name"),
                  Indexes);
        EXPECT_EQ(own.sql("select name, seq from sqlite_sequence"), QStringList("block_id_generator|0"));
        EXPECT_EQ(own.sql("select repository_version from metadata"), QStringList("1.0.0"));
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
    const auto generation = AttachDatabase::attach(m_path, m_marker);
    umask(mask);
    ASSERT_TRUE(generation);
    EXPECT_TRUE(generation->isAttached());
    EXPECT_EQ(generation->path(), m_path);
    EXPECT_EQ(log.texts(QtInfoMsg), QStringList("Generation repository not exist, create new. path: " + m_path));
    EXPECT_EQ(log.complaints(), QString());
    for (const char *suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(m_path + suffix), 0666) << suffix;

    DatabaseConnection connection(generation->attachedDatabasePool());
    EXPECT_EQ(Tests::rowsOf(connection.query(), "PRAGMA journal_mode"), QStringList("wal"));
    EXPECT_EQ(Tests::rowsOf(connection.query(), "PRAGMA busy_timeout"), QStringList("30000"));
    EXPECT_EQ(Tests::rowsOf(connection.query(), "select count(*) from metadata"), QStringList("1"));
    const auto metadata = Metadata::select({}, connection);
    ASSERT_TRUE(metadata.pointer);
    EXPECT_EQ(metadata.pointer->repositoryVersion(), QVersionNumber(1, 0, 0));
    EXPECT_EQ(metadata.pointer->productVersion(), Varn::Core::Version::number());
    EXPECT_EQ(metadata.pointer->generationMarker(), m_marker);
    EXPECT_EQ(metadata.pointer->dateCreatedUtc().timeSpec(), Qt::UTC);
    EXPECT_GE(metadata.pointer->dateCreatedUtc(), before);
    EXPECT_LE(metadata.pointer->dateCreatedUtc(), QDateTime::currentDateTimeUtc());
    EXPECT_EQ(BlockIdGenerator::createIndex("g1") + BlockIdGenerator::update({}, "g1"), QStringList());
    generation->detach();
    EXPECT_TRUE(generation->isAttached());
    expectWholeGeneration();
}

TEST_F(AttachDatabaseTest, LeavesCurrentAndNewerFilesAsTheyAre)
{
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    ASSERT_EQ(chmod(qPrintable(m_path), 0640), 0);
    for (const QString version : {"1.0.0", "1.0.1", "99.2"}) {
        sql(QString("update metadata set repository_version = '%1'").arg(version));
        if (version == "99.2") // which may have done away with something
            sql("drop table part_blocks");
        const QByteArray before = contentOf(m_path);
        const LogCapture log;
        EXPECT_EQ(attach(), ResultCode::Ok) << qPrintable(log.complaints());
        EXPECT_EQ(contentOf(m_path), before);
        EXPECT_EQ(modeOf(m_path), 0640);
        EXPECT_EQ(log.count(QtInfoMsg), 0);
        EXPECT_EQ(log.complaints(), QString());
    }
    EXPECT_EQ(sql("select generation_marker, repository_version from metadata"),
              QStringList(m_marker.toString() + "|99.2"));
}

TEST_F(AttachDatabaseTest, GivesAnOlderFileTheCurrentVersionAndNothingElse)
{
    const QString others = "select quote(product_version), quote(date_created_utc), quote(generation_marker), "
                           "quote(generation_type), quote(full_backup_reason), quote(encryption_algorithm), "
                           "quote(key_size), quote(kdf_iterations), quote(kdf_salt), quote(secret_key), "
                           "quote(compression_algorithm), quote(block_size), quote(params_hash), quote(platform) "
                           "from metadata";
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    sql("update metadata set product_version = '7.1', generation_type = 4, kdf_salt = x'00ff00', block_size = 4096");
    const QStringList before = sql(others);
    for (const QString version : {"0.9", "0.10.7", "", "old"}) {
        sql(QString("update metadata set repository_version = '%1'").arg(version));
        EXPECT_EQ(attach(), ResultCode::Ok);
        EXPECT_EQ(sql("select repository_version from metadata"), QStringList("1.0.0"));
        EXPECT_EQ(sql(others), before);
    }
    EXPECT_EQ(sql("select seq from sqlite_sequence"), QStringList("0"));
}

TEST_F(AttachDatabaseTest, MakesAnEmptyFileAGeneration)
{
    write(m_path, {});
    ASSERT_EQ(chmod(qPrintable(m_path), 0600), 0);
    const auto generation = AttachDatabase::attach(m_path, m_marker);
    ASSERT_TRUE(generation);
    for (const char *suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(m_path + suffix), 0600) << suffix;
    expectWholeGeneration();
    EXPECT_EQ(sql("select generation_marker from metadata"), QStringList(m_marker.toString()));
}

TEST_F(AttachDatabaseTest, GivesBackAMissingMetadataRow)
{
    ASSERT_EQ(attach(), ResultCode::Ok);
    sql("delete from metadata");
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    EXPECT_EQ(sql("select repository_version, generation_marker from metadata"),
              QStringList("1.0.0|" + m_marker.toString()));
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
        const QByteArray before = contentOf(m_path);
        const LogCapture log;
        EXPECT_EQ(attach(), ResultCode::Error) << made;
        ASSERT_EQ(log.count(QtCriticalMsg), 1) << made;
        EXPECT_THAT(log.texts(QtCriticalMsg).first().toStdString(),
                    HasSubstr("Error on attache generation database, path: " + m_path.toStdString()));
        EXPECT_EQ(contentOf(m_path), before) << made;
    }
    sql(statements.last());
    EXPECT_EQ(attach(), ResultCode::Ok);
    expectWholeGeneration();
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
            const FullDisk disk(room);
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
    expectWholeGeneration();
}

TEST_F(AttachDatabaseTest, RefusesWhatIsNoGeneration)
{
    const int connections = QSqlDatabase::connectionNames().size();
    const LogCapture log;
    const QByteArray text(5000, 'x');
    write(m_path, text);
    EXPECT_EQ(attach(), ResultCode::Error);
    EXPECT_EQ(contentOf(m_path), text);
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

TEST_F(AttachDatabaseTest, WaitsForLocksInVainAndChangesNothing)
{
    const Tests::ShortWaits shortWaits;
    ASSERT_EQ(attach(), ResultCode::Ok);
    sql("update metadata set repository_version = '0.9'");
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

TEST_F(AttachDatabaseTest, TakesNothingFromTheJournalOfAFileThatIsGone)
{
    auto generation = AttachDatabase::attach(m_path, QUuid::createUuid());
    const QString saved = m_folder.filePath("saved");
    ASSERT_TRUE(QFile::copy(m_path + "-wal", saved));
    generation.reset();
    ASSERT_TRUE(QFile::remove(m_path));
    ASSERT_TRUE(QFile::rename(saved, m_path + "-wal"));
    ASSERT_EQ(attach(m_marker), ResultCode::Ok);
    expectWholeGeneration();
    EXPECT_EQ(sql("select generation_marker from metadata"), QStringList(m_marker.toString()));
}

} // namespace
} // namespace Tolm::SQL::Generation
