#include <repository/generation/RestorePointParts.h>

#include <tests/generation/GenerationTest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <limits>
#include <tuple>

namespace Tolm::SQL::Generation {
namespace {

using testing::ElementsAre;
using Tests::onDay;

constexpr long long Most = std::numeric_limits<long long>::max();
constexpr unsigned long long TooMuch = 1ULL << 63;
const QString Wild = QString("quote ' \" %1 %2 :id ? \\ \n\t Жß\u00a0\U0001F5C4") + QString(4000, 'x');
const QByteArray Binary = QByteArray("\0\xff'\0--\n", 7) + QByteArray(70000, '\0') + "end";
const QTime NearlyASecond(10, 0, 0, 750);
const QJsonObject Json{{"Ж \U0001F5C4", QString::fromUtf8("a\0b\n\"", 5)},
                       {"list", QJsonArray{1, 2.5, true, QJsonValue()}},
                       {"nested", QJsonObject{{"empty", ""}}}};

// What existing files have.
const QStringList Schema{
    "CREATE TABLE %1metadata (product_version TEXT, repository_version TEXT, date_created_utc DATETIME, "
    "generation_marker TEXT, generation_type INTEGER NOT NULL DEFAULT 0, full_backup_reason INTEGER, "
    "encryption_algorithm integer, key_size integer, kdf_iterations integer, kdf_salt BLOB, secret_key "
    "BLOB, compression_algorithm integer, block_size integer, params_hash blob, platform integer);",
    "CREATE TABLE %1storage_files (id INTEGER PRIMARY KEY ASC, path TEXT, cloud_id TEXT, upload_id TEXT, "
    "size NUMERIC, broken_type INTEGER, last_modified_date DATETIME)",
    "CREATE TABLE %1restore_points (id INTEGER PRIMARY KEY ASC, start_date DATETIME NOT NULL, finish_date"
    " DATETIME, sequence_number INTEGER NOT NULL, is_full INTEGER, toc_id INTEGER, total_bytes INTEGER, "
    "new_bytes INTEGER, compressed_bytes INTEGER, snapshot_type INTEGER, files_backed_up INTEGER, "
    "files_deleted INTEGER, folders_backed_up INTEGER, folders_deleted INTEGER, metadata TEXT, plan TEXT,"
    " blocks_count INTEGER, parts_count INTEGER, sgn_file_name TEXT, session_history_id INTEGER, "
    "backup_result INTEGER DEFAULT 0, backup_error_list TEXT, consistency_check_result INTEGER DEFAULT 0,"
    " consistency_check_datetime DATETIME, consistency_check_error_list TEXT, broken_type INTEGER, "
    "total_files_count INTEGER, total_files_size INTEGER, UNIQUE(sequence_number), FOREIGN KEY(toc_id) "
    "REFERENCES storage_files(id) ON UPDATE CASCADE ON DELETE SET NULL);",
    "CREATE TABLE %1folders (id INTEGER PRIMARY KEY ASC, display_name TEXT, parent_id INTEGER DEFAULT 0, "
    "restore_point_id INTEGER, deleted INTEGER, metadata TEXT, local_path TEXT, UNIQUE (display_name, "
    "parent_id, restore_point_id), FOREIGN KEY(restore_point_id) REFERENCES restore_points(id) ON UPDATE "
    "RESTRICT ON DELETE CASCADE)",
    "CREATE TABLE %1files (id INTEGER PRIMARY KEY ASC, display_name TEXT, local_path TEXT, original_size "
    "INTEGER NOT NULL, date_modified_utc DATETIME NOT NULL, attributes INTEGER, is_compressed INTEGER, "
    "parent_id INTEGER NOT NULL, total_size INTEGER not NULL, hash BLOB, map BLOB, deleted INTEGER, "
    "metadata TEXT, extents_size INTEGER, UNIQUE (display_name, parent_id), FOREIGN KEY(parent_id) "
    "REFERENCES folders(id) ON UPDATE RESTRICT ON DELETE CASCADE);",
    "CREATE TABLE %1parts (id INTEGER, restore_point_id INTEGER NOT NULL, UNIQUE(id), FOREIGN "
    "KEY(restore_point_id) REFERENCES restore_points(id) ON UPDATE CASCADE ON DELETE CASCADE , FOREIGN "
    "KEY(id) REFERENCES storage_files(id) ON UPDATE CASCADE ON DELETE CASCADE);",
    "CREATE TABLE %1part_blocks (id integer NOT NULL, part_id INTEGER NOT NULL, address BLOB NOT NULL, "
    "PRIMARY KEY(id), UNIQUE(address), FOREIGN KEY (part_id) REFERENCES parts(id) ON UPDATE CASCADE ON "
    "DELETE CASCADE);",
    "CREATE TABLE %1block_id_generator (id INTEGER PRIMARY KEY AUTOINCREMENT)",
    "CREATE INDEX IF NOT EXISTS %1archive_folders_parent_id ON folders (parent_id);",
    "CREATE INDEX IF NOT EXISTS %1archive_folders_archive_id ON folders (restore_point_id);",
    "CREATE INDEX IF NOT EXISTS %1folders_path ON folders(local_path);",
    "CREATE INDEX IF NOT EXISTS %1files_parent_id ON files (parent_id);",
    "CREATE INDEX %1file_path ON files (local_path, display_name);",
    "CREATE INDEX IF NOT EXISTS %1parts_archive_id ON parts (restore_point_id)",
    "CREATE INDEX IF NOT EXISTS %1part_blocks_part_id ON part_blocks (part_id);",
    "insert into %1SQLITE_SEQUENCE (seq, name) values (0, 'block_id_generator')"};

/// Every table class, on a connection whose main database is the generation (the empty name), and on one that has it
/// attached under a name; there, the main database is another file, which nothing may be written to.
class RecordsTest : public testing::TestWithParam<const char *> {
protected:
    RecordsTest()
    {
        if (!m_schema.isEmpty())
            sql(QString("ATTACH '%1' AS %2").arg(m_folder.filePath("attached.db"), m_schema));
        const QStringList texts = Tests::creationStatements(m_schema);
        for (const QString &text : texts)
            sql(text);
    }

    ~RecordsTest() override
    {
        const QString tables = sql("select count(*) from main.sqlite_master").value(0);
        EXPECT_EQ(tables == "0", !m_schema.isEmpty());
        EXPECT_EQ(m_log.complaints(), QString());
    }

    /// "%1" becomes the schema's prefix.
    QStringList sql(const QString &text)
    {
        return Tests::rowsOf(m_connection.query(), text.contains("%1") ? text.arg(m_prefix) : text);
    }

    static QPointer<DatabasePool> openPool(const QString &path)
    {
        QPointer<DatabasePool> pool(new DatabasePool);
        {
            QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", path);
            database.setDatabaseName(path);
            EXPECT_TRUE(database.open() && pool->initDatabase(database));
        }
        QSqlDatabase::removeDatabase(path);
        return pool;
    }

    struct PoolDeleter {
        QPointer<DatabasePool> &pool;
        ~PoolDeleter() { delete pool; }
    };

    const QString m_schema = GetParam();
    const QString m_prefix = m_schema.isEmpty() ? QString() : m_schema + ".";
    QTemporaryDir m_folder;
    Tests::LogCapture m_log;
    QPointer<DatabasePool> m_pool = openPool(m_folder.filePath("main.db"));
    const PoolDeleter m_deleter{m_pool};
    DatabaseConnection m_connection{m_pool};
};
INSTANTIATE_TEST_SUITE_P(Schemas, RecordsTest, testing::Values("", "g1"),
                         [](const auto &schema) { return *schema.param ? schema.param : "main"; });

auto fieldsOf(const Metadata &record)
{
    return std::make_tuple(record.productVersion(), record.repositoryVersion(), record.dateCreatedUtc(),
                           record.generationMarker(), record.generationType(), record.fullBackupReason(),
                           record.encryptionAlgorithm(), record.keySize(), record.kdfIteration(), record.kdfSalt(),
                           record.secretKey(), record.compressionAlgorithm(), record.blockSize(), record.paramsHash(),
                           record.platform());
}

auto fieldsOf(const RestorePoints &record)
{
    return std::make_tuple(
        record.id(), record.startDate(), record.finishDate(), record.sequenceNumber(), record.backupType(),
        record.tocId(), record.totalBytes(), record.newBytes(), record.compressedBytes(), record.snapshotType(),
        record.filesBackedUp(), record.filesDeleted(), record.foldersBackedUp(), record.foldersDeleted(),
        record.metadata(), record.plan(), record.blocksCount(), record.partsCount(), record.sgnFileName(),
        record.sessionHistoryId(), record.backupResult(), record.backupErrorList(), record.consistencyCheckResult(),
        record.consistencyCheckDateTime(), record.consistencyCheckErrorList(), record.brokenType(),
        record.totalFileCount(), record.totalFileSize());
}

auto fieldsOf(const Folders &record)
{
    return std::make_tuple(record.id(), record.displayName(), record.parentId(), record.restorePointId(),
                           record.deleted(), record.metadata(), record.localPath());
}

auto fieldsOf(Files &record)
{
    return std::make_tuple(record.id(), record.displayName(), record.localPath(), record.originalSize(),
                           record.dateModificationUtc(), record.attributes(), record.isCompressed(), record.parentId(),
                           record.totalSize(), record.hash(), record.map(), record.deleted(), record.metadata(),
                           record.extentsSize());
}

auto fieldsOf(const StorageFiles &record)
{
    return std::make_tuple(record.id(), record.path(), record.cloudId(), record.uploadId(), record.size(),
                           record.brokenType(), record.lastModified());
}

TEST_P(RecordsTest, SchemaTextsAreThoseOfExistingFiles)
{
    QStringList expected = Schema;
    EXPECT_EQ(Tests::creationStatements(m_schema), expected.replaceInStrings("%1", m_prefix));
    const QVersionNumber old(0, 9);
    EXPECT_EQ(Metadata::createIndex(m_schema) + StorageFiles::createIndex(m_schema) +
                  RestorePoints::createIndex(m_schema) + BlockIdGenerator::createIndex(m_schema),
              QStringList());
    EXPECT_EQ(Metadata::update(old, m_schema) + StorageFiles::update(old, m_schema) +
                  RestorePoints::update(old, m_schema) + Folders::update(old, m_schema) + Files::update(old, m_schema) +
                  Parts::update(old, m_schema) + PartsBlocks::update(old, m_schema) +
                  BlockIdGenerator::update(old, m_schema),
              QStringList());
}

TEST_P(RecordsTest, MetadataComesBackByteForByte)
{
    EXPECT_FALSE(Metadata::select(m_schema, m_connection).pointer);
    EXPECT_EQ(Metadata().update(m_schema, m_connection), ResultCode::Ok); // of no row
    EXPECT_EQ(sql("select count(*) from %1metadata"), QStringList("0"));

    Metadata record;
    EXPECT_EQ(fieldsOf(record),
              std::make_tuple(Varn::Core::Version::number(), Metadata::Version, QDateTime(), QUuid(),
                              Varn::Archive::GenerationType(1000), Varn::Archive::FullReason(1000),
                              Varn::Core::Encryption::Algorithm(6), 0, 0, QByteArray(), QByteArray(),
                              Varn::Core::Compression::Algorithm(0), 0, QByteArray(), Varn::Core::Platform::Type(3)));
    EXPECT_EQ(Metadata::Version, QVersionNumber(1, 0, 0));
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(fieldsOf(*Metadata::select(m_schema, m_connection).pointer), fieldsOf(record));

    record.setProductVersion(QVersionNumber({7, 0, 12, 2147483647}));
    record.setRepositoryVersion({});
    record.setDateCreatedUtc(onDay(60, NearlyASecond));
    record.setGenerationMarker(QUuid::createUuid());
    record.setGenerationType(Varn::Archive::GenerationType(-7));
    record.setFullBackupReason(Varn::Archive::FullReason::Hash);
    record.setEncryptionAlgorithm(Varn::Core::Encryption::Algorithm(2147483647));
    record.setKeySize(std::numeric_limits<int>::min());
    record.setKdfIteration(std::numeric_limits<int>::max());
    record.setKdfSalt(Binary);
    record.setSecretKey(QByteArray(1, '\0'));
    record.setCompressionAlgorithm(Varn::Core::Compression::Algorithm(99));
    record.setBlockSize(1 << 20);
    record.setParamsHash(Binary.left(20));
    record.setPlatform(Varn::Core::Platform::Type(255));
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    const auto read = Metadata::select(m_schema, m_connection).pointer;
    EXPECT_EQ(fieldsOf(*read), fieldsOf(record));
    EXPECT_EQ(read->dateCreatedUtc().timeSpec(), Qt::UTC);
    EXPECT_EQ(sql("select generation_marker, product_version, repository_version from %1metadata"),
              QStringList(record.generationMarker().toString() + "|7.0.12.2147483647|"));

    QSqlQuery query = m_connection.query();
    record.setBlockSize(5);
    EXPECT_EQ(record.update(query, m_schema), ResultCode::Ok);
    EXPECT_EQ(Metadata::select(m_schema, m_connection).pointer->blockSize(), 5);
    sql("update %1metadata set product_version = 'x', generation_marker = 'x', key_size = 'x', date_created_utc = 'x'");
    const auto damaged = Metadata::select(m_schema, m_connection).pointer;
    EXPECT_TRUE(damaged->productVersion().isNull() && damaged->generationMarker().isNull());
    EXPECT_TRUE(damaged->keySize() == 0 && !damaged->dateCreatedUtc().isValid());
    EXPECT_EQ(damaged->kdfSalt(), Binary);
}

TEST_P(RecordsTest, RestorePointsComeBackInWholeSeconds)
{
    RestorePoints record;
    EXPECT_EQ(fieldsOf(record),
              std::make_tuple(0ULL, QDateTime(), QDateTime(), 0LL, Varn::Archive::BackupType(1000), 0ULL, 0LL, -1LL,
                              -1LL, Varn::Archive::SnapshotType::Value(10), -1LL, -1LL, -1LL, -1LL, QString(),
                              QString(), 0LL, 0LL, QString(), 0ULL, Varn::Archive::BackupResult(1000), QString(),
                              Varn::Archive::ConsistencyCheckResult(0), QDateTime(), QString(),
                              Varn::Archive::BrokenType(0), 0LL, 0LL));
    record.setStartDate(onDay(1, NearlyASecond));
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    auto read = RestorePoints::selectById(record.id(), m_schema, m_connection).pointer;
    EXPECT_EQ(read->startDate(), onDay(1, QTime(10, 0)));
    EXPECT_EQ(read->startDate().timeSpec(), Qt::UTC);
    record.setStartDate(onDay(1, QTime(10, 0)));
    EXPECT_EQ(fieldsOf(*read), fieldsOf(record));

    // A wall clock time, without regard to its zone, as in every date of the catalogue.
    record.setStartDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30), Qt::OffsetFromUTC, 3600));
    record.setFinishDate(onDay(3));
    record.setSequenceNumber(-Most);
    record.setBackupType(Varn::Archive::BackupType::Incremental);
    record.setTocId(Most);
    record.setTotalBytes(Most);
    record.setNewBytes(-Most - 1);
    record.setCompressedBytes(4);
    record.setSnapshotType(Varn::Archive::SnapshotType::Value(77));
    record.setFilesBackedUp(5);
    record.setFilesDeleted(6);
    record.setFoldersBackedUp(7);
    record.setFoldersDeleted(8);
    record.setMetadata(Wild);
    record.setPlan("");
    record.setBlocksCount(9);
    record.setPartsCount(10);
    record.setSgnFileName("signature");
    record.setSessionHistoryId(Most);
    record.setBackupResult(Varn::Archive::BackupResult(-1));
    record.setBackupErrorList(Wild);
    record.setConsistencyCheckResult(Varn::Archive::ConsistencyCheckResult(12));
    record.setConsistencyCheckDateTime(onDay(4));
    record.setConsistencyCheckErrorList(Wild);
    record.setBrokenType(Varn::Archive::BrokenType::ToPurgeRemoved);
    record.setTotalFileCount(13);
    record.setTotalFileSize(14);
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    read = RestorePoints::selectBySequenceNumber(-Most, m_schema, m_connection).pointer;
    record.setStartDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30), Qt::UTC));
    EXPECT_EQ(fieldsOf(*read), fieldsOf(record));
    // The columns whose names do not say what they hold.
    EXPECT_EQ(sql("select is_full, total_files_count, total_files_size from %1restore_points"), QStringList("2|13|14"));

    RestorePoints twin = record;
    EXPECT_EQ(twin.insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(twin.id(), record.id());
    twin.setSequenceNumber(1);
    twin.setTocId(TooMuch);
    EXPECT_EQ(twin.insert(m_schema, m_connection), ResultCode::BadData);
    twin.setTocId(0);
    twin.setStartDate({});
    EXPECT_EQ(twin.insert(m_schema, m_connection), ResultCode::Constraint);
    m_log.clear();
    EXPECT_EQ(record.remove(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(record.remove(m_schema, m_connection), ResultCode::Ok);
    EXPECT_FALSE(RestorePoints::selectLast(m_schema, m_connection).pointer);
}

TEST_P(RecordsTest, RestorePointsAreFoundByNumberAndDate)
{
    // By number 1 to 6, these days; the signed ones in capitals: 3 Four, 1 Two, 5 six, 4 Five, 2 three, 6 Seven.
    const QList<int> days{3, 1, 5, 4, 2, 6};
    for (int number = 1; number <= 6; ++number) {
        RestorePoints record;
        record.setSequenceNumber(number);
        record.setStartDate(onDay(days.at(number - 1)));
        record.setSgnFileName(number == 3 ? QString() : number == 5 ? QString("") : QString("signature"));
        ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    }
    const auto numbers = [](const ResultList<RestorePoints> &result) {
        std::vector<long long> found;
        for (const auto &record : result.list)
            found.push_back(record->sequenceNumber());
        return found;
    };
    const auto number = [](const ResultPointer<RestorePoints> &result) {
        EXPECT_EQ(result.error, ResultCode::Ok);
        return result.pointer ? result.pointer->sequenceNumber() : 0;
    };
    EXPECT_THAT(numbers(RestorePoints::select(m_schema, 0, 3, m_connection)), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(numbers(RestorePoints::select(m_schema, -1, 0, m_connection)), testing::SizeIs(6));
    EXPECT_THAT(numbers(RestorePoints::select(m_schema, 2, 1, m_connection)), ElementsAre(2, 3));
    const QDateTime day3 = onDay(3, QTime(12, 0, 0, 999));
    EXPECT_THAT(numbers(RestorePoints::select(day3, m_schema, 0, 0, m_connection)), ElementsAre(1, 2, 5));
    EXPECT_THAT(numbers(RestorePoints::select(day3, m_schema, 1, 2, m_connection)), ElementsAre(5));
    EXPECT_THAT(numbers(RestorePoints::select(QDateTime(), m_schema, 0, 0, m_connection)), ElementsAre());
    EXPECT_EQ(number(RestorePoints::selectByDateTime(onDay(4), m_schema, m_connection)), 4);
    EXPECT_EQ(number(RestorePoints::selectByDateTime(day3, m_schema, m_connection)), 0);
    EXPECT_EQ(number(RestorePoints::selectLast(m_schema, m_connection)), 6);
    EXPECT_EQ(number(RestorePoints::selectPrev(5, m_schema, m_connection)), 3);
    EXPECT_EQ(number(RestorePoints::selectPrevWithSignature(6, m_schema, m_connection)), 4);
    EXPECT_EQ(number(RestorePoints::selectPrev(1, m_schema, m_connection)), 0);
    EXPECT_EQ(number(RestorePoints::selectPrev(onDay(4), m_schema, m_connection)), 1);
    EXPECT_EQ(number(RestorePoints::selectPrev(day3, m_schema, m_connection)), 1);
    EXPECT_EQ(number(RestorePoints::selectPrev(onDay(1), m_schema, m_connection)), 0);
}

TEST(RestorePointsTest, NeedSyncWhileSomethingStoredIsNotCounted)
{
    RestorePoints record;
    EXPECT_FALSE(record.needSync());
    EXPECT_EQ(record.restoreVerificationResult(), 0);
    record.setPartsCount(1);
    EXPECT_TRUE(record.needSync());
    record.setPartsCount(0);
    record.setTocId(9);
    EXPECT_TRUE(record.needSync());
    record.setFilesBackedUp(0);
    record.setFilesDeleted(0);
    record.setFoldersBackedUp(0);
    EXPECT_TRUE(record.needSync());
    record.setFoldersDeleted(0);
    EXPECT_FALSE(record.needSync());
}

TEST_P(RecordsTest, FoldersComeBackWithTheirMetadata)
{
    Folders record;
    EXPECT_EQ(fieldsOf(record), std::make_tuple(0ULL, QString(), 0ULL, 0ULL, false, QJsonObject(), QString()));
    record.setDisplayName(Wild);
    record.setLocalPath("/" + Wild);
    record.setParentId(Most);
    record.setRestorePointId(Most);
    record.setDeleted(true);
    record.setMetadata(Json);
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    const auto read = Folders::select("/" + Wild, Most, m_schema, m_connection).pointer;
    EXPECT_EQ(fieldsOf(*read), fieldsOf(record));
    const QStringList stored = sql("select metadata from %1folders");
    EXPECT_EQ(stored, QStringList(QString::fromUtf8(QJsonDocument(Json).toJson())));
    EXPECT_EQ(fieldsOf(*Folders::select(Most, Wild, Most, m_schema, m_connection).pointer), fieldsOf(record));
    EXPECT_EQ(fieldsOf(*Folders::selectInFolder(Most, {Most}, false, 1, 0, m_schema, m_connection).list.value(0)),
              fieldsOf(record));
    EXPECT_TRUE(Folders::checkPathIsDeleted("/" + Wild, {Most}, m_schema, m_connection).value);
    EXPECT_EQ(Folders::countSubfolder(Most, {}, true, m_schema, m_connection).value, 0);

    sql("update %1folders set parent_id = id + 1, deleted = 2");
    Folders parent;
    parent.setDisplayName("parent");
    parent.setLocalPath("/parent");
    ASSERT_EQ(parent.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(sql("select quote(metadata) from %1folders where display_name = 'parent'"), QStringList("NULL"));
    const QString path = parent.localPath();
    EXPECT_FALSE(Folders::selectInFolder(path, {}, false, 0, 0, m_schema, m_connection).list.value(0)->deleted());
    EXPECT_EQ(Folders::countSubfolder(path, {Most}, false, m_schema, m_connection).value, 1);
    m_log.clear();
    EXPECT_TRUE(Folders::isFolder(path, {}, true, m_schema, m_connection).value);
    EXPECT_THAT(m_log.texts(QtCriticalMsg), ElementsAre(QString("Error parce folder metadata: illegal value")));
    m_log.clear();
}

TEST_P(RecordsTest, FilesComeBackByteForByte)
{
    Files record;
    EXPECT_EQ(fieldsOf(record), std::make_tuple(0ULL, QString(), QString(), 0LL, QDateTime(), 0, false, 0ULL, 0LL,
                                                QByteArray(), QByteArray(), false, QJsonObject(), 0LL));
    Folders folder;
    folder.setLocalPath("/f");
    folder.setRestorePointId(4);
    folder.setMetadata(Json);
    ASSERT_EQ(folder.insert(m_schema, m_connection), ResultCode::Ok);
    record.setDisplayName(Wild);
    record.setLocalPath("/f/" + Wild);
    record.setOriginalSize(Most);
    record.setDateModificationUtc(onDay(5, NearlyASecond));
    record.setAttributes(std::numeric_limits<int>::min());
    record.setIsCompressed(true);
    record.setParentId(folder.id());
    record.setTotalSize(-Most - 1);
    record.setHash(Binary);
    record.setMap(Binary.right(9));
    record.setDeleted(true);
    record.setMetadata(Json);
    record.setExtentsSize(Most);
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    record.setDateModificationUtc(onDay(5, QTime(10, 0)));
    const auto read = Files::select("/f/" + Wild, {4}, m_schema, m_connection).pointer;
    EXPECT_EQ(fieldsOf(*read), fieldsOf(record));
    EXPECT_EQ(read->dateModificationUtc().timeSpec(), Qt::UTC);
    const QString path = folder.localPath();
    for (const auto &list : {Files::selectInFolder(path, {}, 0, 0, m_schema, m_connection),
                             Files::selectInFolder(path, {4}, 9, 0, m_schema, m_connection),
                             Files::selectInFolder(folder.id(), {}, 0, 0, m_schema, m_connection),
                             Files::selectInFolder(folder.id(), {4}, 9, 0, m_schema, m_connection)}) {
        ASSERT_EQ(list.list.size(), 1);
        EXPECT_EQ(fieldsOf(*list.list.first()), fieldsOf(record));
    }
    Files later;
    later.setLocalPath(record.localPath());
    later.setDateModificationUtc(onDay(6));
    later.setParentId(folder.id());
    ASSERT_EQ(later.insert(m_schema, m_connection), ResultCode::Ok);
    const auto pointer = QSharedPointer<Files>::create(later);
    EXPECT_EQ(fieldsOf(*Files::selectPrev(pointer, false, m_schema, m_connection).pointer), fieldsOf(record));
    EXPECT_FALSE(Files::selectPrev(pointer, true, m_schema, m_connection).pointer);
    m_log.clear();
    EXPECT_EQ(fieldsOf(*Files::select(record.localPath(), {}, m_schema, m_connection).pointer), fieldsOf(later));
    EXPECT_THAT(m_log.texts(QtCriticalMsg), ElementsAre(QString("Error parce files metadata: illegal value")));
    m_log.clear();
}

TEST_P(RecordsTest, UnreadableMetadataLeavesARecordsOwn)
{
    QSqlQuery query = m_connection.query();
    Folders folder;
    folder.setMetadata(Json);
    const QString row = "select 7 as id, '/n' as local_path, ";
    for (const QString text : {"null", "''", "'{\"a\": '", "'7'", "x'ff'"}) {
        ASSERT_TRUE(query.exec(row + text + " as metadata"));
        EXPECT_TRUE(folder.init(query));
        EXPECT_FALSE(folder.init(query));
    }
    EXPECT_EQ(m_log.count(QtCriticalMsg, "Error parce folder metadata:"), 5);
    EXPECT_EQ(fieldsOf(folder), std::make_tuple(7ULL, QString(), 0ULL, 0ULL, false, Json, QString("/n")));
    ASSERT_TRUE(query.exec("select '[1]' as metadata union all select '{\"a\": 1}'"));
    EXPECT_TRUE(folder.init(query));
    EXPECT_EQ(folder.metadata(), QJsonObject()); // it is JSON, though no object
    EXPECT_TRUE(folder.init(query));
    EXPECT_EQ(folder.metadata(), (QJsonObject{{"a", 1}}));
    Files file;
    file.setMetadata(Json);
    ASSERT_TRUE(query.exec("select 'x' as metadata"));
    EXPECT_TRUE(file.init(query));
    EXPECT_EQ(file.metadata(), Json);
    m_log.clear();
}

TEST_P(RecordsTest, StorageFilesComeBackAndAreFoundByTheirBeginning)
{
    StorageFiles record;
    EXPECT_EQ(fieldsOf(record),
              std::make_tuple(0ULL, QString(), QString(), QString(), 0LL, Varn::Archive::BrokenType(0), QDateTime()));
    record.setPath(Wild);
    record.setCloudId("");
    record.setUploadId(Wild);
    record.setSize(Most);
    record.setBrokenType(Varn::Archive::BrokenType(-5));
    record.setLastModified(onDay(5, NearlyASecond));
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(fieldsOf(*StorageFiles::select(Wild, m_schema, m_connection).pointer), fieldsOf(record));
    record.setSize(-1);
    record.setLastModified({});
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(fieldsOf(*StorageFiles::select(record.id(), m_schema, m_connection).pointer), fieldsOf(record));
    EXPECT_EQ(StorageFiles::select(0ULL, m_schema, m_connection).error, ResultCode::Error);
    EXPECT_EQ(StorageFiles::select(QString(), m_schema, m_connection).error, ResultCode::Error);
    EXPECT_EQ(StorageFiles::select("nothing", m_schema, m_connection).error, ResultCode::Ok);
    EXPECT_FALSE(StorageFiles::select("nothing", m_schema, m_connection).pointer);
    ASSERT_EQ(record.remove(m_schema, m_connection), ResultCode::Ok);

    // Local time keeps its fields; a path that was never set is found like an empty one.
    for (const QString &path :
         {QString("data/1.part"), QString("DATA/2.part"), QString("meta/data/3"), QString("d_ta"), QString()}) {
        StorageFiles file;
        file.setPath(path);
        file.setLastModified(QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5, 6), Qt::LocalTime));
        ASSERT_EQ(file.insert(m_schema, m_connection), ResultCode::Ok);
    }
    const auto paths = [](const ResultList<StorageFiles> &result) {
        QStringList found;
        for (const auto &file : result.list) {
            found << file->path();
            EXPECT_EQ(file->lastModified(), QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5, 6), Qt::UTC));
        }
        return found;
    };
    const auto startingWith = [&](const QString &path) {
        return paths(StorageFiles::selectPathStartWith(path, m_schema, m_connection));
    };
    EXPECT_EQ(startingWith("data/"), QStringList({"data/1.part", "DATA/2.part"}));
    EXPECT_EQ(startingWith("d_ta"), QStringList({"data/1.part", "DATA/2.part", "d_ta"}));
    EXPECT_EQ(startingWith(""), paths(StorageFiles::select(m_schema, 0, 5, m_connection)));
    EXPECT_EQ(paths(StorageFiles::select(m_schema, 2, 1, m_connection)), QStringList({"DATA/2.part", "meta/data/3"}));
}

class ChainedPart : public RestorePointParts {
public:
    static RestorePointParts *make() { return new ChainedPart; }

protected:
    bool initRow() override
    {
        setChainNumber(uploadId().toLongLong());
        return uploadId() != "stop";
    }
};

TEST_P(RecordsTest, PartsAndBlocksComeBackThroughTheirStorageFiles)
{
    const auto addPart = [this](const QString &chainNumber, Varn::Archive::BrokenType brokenType) {
        StorageFiles file;
        file.setPath("p" + chainNumber);
        file.setCloudId(Wild);
        file.setUploadId(chainNumber);
        file.setSize(Most);
        file.setBrokenType(brokenType);
        file.setLastModified(onDay(9));
        EXPECT_EQ(file.insert(m_schema, m_connection), ResultCode::Ok);
        EXPECT_EQ(Parts(file.id(), 5).insert(m_schema, m_connection), ResultCode::Ok);
        return file.id();
    };
    const auto sound = Varn::Archive::BrokenType::NotBroken;
    const quint64 first = addPart("30", sound);
    const quint64 second = addPart("10", Varn::Archive::BrokenType::ToPurge);
    const quint64 third = addPart("-20", sound);
    EXPECT_EQ(Parts(first, 6).insert(m_schema, m_connection), ResultCode::Ok); // the first row stays
    EXPECT_EQ(Parts(77, 5).insert(m_schema, m_connection), ResultCode::Ok);    // a part without a file
    const auto parts = Parts::select(5, m_schema, m_connection);
    ASSERT_EQ(parts.list.size(), 4);
    EXPECT_EQ(parts.list.first()->id(), first);
    EXPECT_EQ(parts.list.first()->restorePointId(), 5U);
    EXPECT_TRUE(Parts::select(6, m_schema, m_connection).list.isEmpty());

    const auto all = RestorePointParts::select(5, m_schema, m_connection, &ChainedPart::make);
    EXPECT_EQ(all.keys(), QList<long long>({-20, 10, 30}));
    const auto &part = *all[10];
    EXPECT_EQ(std::make_tuple(part.id(), part.chainNumber(), part.path(), part.cloudId(), part.uploadId(), part.size(),
                              part.brokenType(), part.lastModified()),
              std::make_tuple(second, 10LL, QString("p10"), Wild, QString("10"), Most,
                              Varn::Archive::BrokenType::ToPurge, onDay(9)));
    EXPECT_EQ(RestorePointParts::selectNotBroken(5, m_schema, m_connection, &ChainedPart::make).keys(),
              QList<long long>({-20, 30}));
    EXPECT_TRUE(RestorePointParts::select(0, m_schema, m_connection, &ChainedPart::make).isEmpty());
    addPart("10", sound); // of two with one number, the one read last
    const auto again = RestorePointParts::select(5, m_schema, m_connection, &ChainedPart::make);
    EXPECT_EQ(again.size(), 3);
    EXPECT_EQ(again[10]->brokenType(), sound);
    sql(QString("update %1storage_files set upload_id = 'stop' where id = ").append(QString::number(third)));
    EXPECT_EQ(RestorePointParts::select(5, m_schema, m_connection, &ChainedPart::make).keys(),
              QList<long long>({10, 30}));

    const long long id = BlockIdGenerator::next(m_schema, m_connection);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(BlockIdGenerator::next(m_schema, m_connection), 2);
    ASSERT_EQ(PartsBlocks(Most, second, Binary).insert(m_schema, m_connection), ResultCode::Ok);
    ASSERT_EQ(PartsBlocks(id, third, Binary.left(2)).insert(m_schema, m_connection), ResultCode::Ok);
    const auto block = PartsBlocks::select(Most, m_schema, m_connection).pointer;
    EXPECT_EQ(std::make_tuple(block->id(), block->partId(), block->address()), std::make_tuple(Most, second, Binary));
    EXPECT_FALSE(PartsBlocks::select(3, m_schema, m_connection).pointer);
    EXPECT_EQ(PartsBlocks(3, second, Binary).insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(id, second, "other").insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(3, second, {}).insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(3, TooMuch, "x").insert(m_schema, m_connection), ResultCode::BadData);
    EXPECT_EQ(sql("select count(*) from %1part_blocks"), QStringList("2"));
    m_log.clear();
}

TEST_P(RecordsTest, RefusesDatesThatItsTextFormCannotHold)
{
    const QDateTime year10000(QDate(10000, 1, 1), QTime(1, 0), Qt::UTC);
    StorageFiles file;
    file.setLastModified(year10000);
    EXPECT_EQ(file.insert(m_schema, m_connection), ResultCode::BadData);
    RestorePoints restorePoint;
    restorePoint.setStartDate(year10000);
    EXPECT_EQ(restorePoint.insert(m_schema, m_connection), ResultCode::BadData);
    Metadata metadata;
    ASSERT_EQ(metadata.insert(m_schema, m_connection), ResultCode::Ok);
    metadata.setDateCreatedUtc(year10000);
    metadata.setBlockSize(7);
    EXPECT_EQ(metadata.update(m_schema, m_connection), ResultCode::BadData);
    QSqlQuery query = m_connection.query();
    EXPECT_EQ(metadata.update(query, m_schema), ResultCode::BadData);
    EXPECT_EQ(Metadata::select(m_schema, m_connection).pointer->blockSize(), 0);
    m_log.clear();
}

} // namespace
} // namespace Tolm::SQL::Generation
