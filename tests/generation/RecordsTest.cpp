#include <repository/generation/RestorePointParts.h>

#include <tests/generation/GenerationTest.h>
#include <tests/support/CatalogueFolder.h>
#include <tests/support/TestDatabase.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <limits>
#include <type_traits>

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

/// \name A value as the text that is read of its column
///@{
template <class Value>
QString stored(const Value &value)
{
    if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value>)
        return QString::number(static_cast<long long>(value));
    else
        return QVariant(value).toString();
}
QString stored(const QDateTime &date)
{
    return date.toString(Qt::ISODateWithMs);
}
QString stored(const QVersionNumber &version)
{
    return version.toString();
}
QString stored(const QJsonObject &object)
{
    return object.isEmpty() ? QString() : QString::fromUtf8(QJsonDocument(object).toJson());
}
///@}

/// One row, as the tests read rows.
template <class... Values>
QStringList row(const Values &...values)
{
    return {QStringList{stored(values)...}.join('|')};
}

/// \name The row that a record should have in its table
///@{
QStringList rowOf(const Metadata &record)
{
    return row(record.productVersion(), record.repositoryVersion(), record.dateCreatedUtc(), record.generationMarker(),
               record.generationType(), record.fullBackupReason(), record.encryptionAlgorithm(), record.keySize(),
               record.kdfIteration(), record.kdfSalt(), record.secretKey(), record.compressionAlgorithm(),
               record.blockSize(), record.paramsHash(), record.platform());
}

QStringList rowOf(const RestorePoints &record)
{
    return row(record.id(), record.startDate(), record.finishDate(), record.sequenceNumber(), record.backupType(),
               record.tocId(), record.totalBytes(), record.newBytes(), record.compressedBytes(), record.snapshotType(),
               record.filesBackedUp(), record.filesDeleted(), record.foldersBackedUp(), record.foldersDeleted(),
               record.metadata(), record.plan(), record.blocksCount(), record.partsCount(), record.sgnFileName(),
               record.sessionHistoryId(), record.backupResult(), record.backupErrorList(),
               record.consistencyCheckResult(), record.consistencyCheckDateTime(), record.consistencyCheckErrorList(),
               record.brokenType(), record.totalFileCount(), record.totalFileSize());
}

QStringList rowOf(const Folders &record)
{
    return row(record.id(), record.displayName(), record.parentId(), record.restorePointId(), record.deleted(),
               record.metadata(), record.localPath());
}

QStringList rowOf(Files &record)
{
    return row(record.id(), record.displayName(), record.localPath(), record.originalSize(),
               record.dateModificationUtc(), record.attributes(), record.isCompressed(), record.parentId(),
               record.totalSize(), record.hash(), record.map(), record.deleted(), record.metadata(),
               record.extentsSize());
}

QStringList rowOf(const StorageFiles &record)
{
    return row(record.id(), record.path(), record.cloudId(), record.uploadId(), record.size(), record.brokenType(),
               record.lastModified());
}
///@}

/// Every table class, on a connection whose main database is the generation (the empty name), and on one that has it
/// attached under a name; there, the main database is another file, which nothing may be written to.
class RecordsTest : public testing::TestWithParam<const char *> {
protected:
    RecordsTest()
    {
        if (!m_schema.isEmpty())
            sql(QString("ATTACH '%1' AS %2").arg(m_database.file() + ".attached", m_schema));
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

    const QString m_schema = GetParam();
    const QString m_prefix = m_schema.isEmpty() ? QString() : m_schema + ".";
    Tests::TestDatabase m_database{DatabaseType::SQLite};
    Tests::LogCapture m_log;
    DatabaseConnection m_connection{m_database.pool()};
};
INSTANTIATE_TEST_SUITE_P(Schemas, RecordsTest, testing::Values("", "g1"),
                         [](const auto &schema) { return *schema.param ? schema.param : "main"; });

TEST_P(RecordsTest, SchemaTextsAreThoseOfExistingFiles)
{
    QString expected = QString::fromUtf8(Tests::CatalogueFolder::read(TOLM_TEST_DATA_DIR "/generation/schema.txt"));
    EXPECT_EQ(Tests::creationStatements(m_schema).join('\n') + '\n', expected.replace("%1", m_prefix));
}

TEST_P(RecordsTest, MetadataComesBackByteForByte)
{
    EXPECT_FALSE(Metadata::select(m_schema, m_connection).pointer);
    EXPECT_EQ(Metadata().update(m_schema, m_connection), ResultCode::Ok); // of no row
    EXPECT_EQ(sql("select * from %1metadata"), QStringList());

    Metadata record;
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(sql("select * from %1metadata"),
              row(Varn::Core::Version::number(), "1.0.0", "", QUuid(), 1000, 1000, 6, 0, 0, "", "", 0, 0, "", 3));
    EXPECT_EQ(rowOf(*Metadata::select(m_schema, m_connection).pointer), rowOf(record));

    record.setProductVersion(QVersionNumber({7, 0, 12, 2147483647}));
    record.setRepositoryVersion({});
    record.setDateCreatedUtc(onDay(60, NearlyASecond));
    const QUuid marker = QUuid::createUuid();
    record.setGenerationMarker(marker);
    record.setGenerationType(Varn::Archive::GenerationType(-7));
    record.setFullBackupReason(Varn::Archive::FullReason(8));
    record.setEncryptionAlgorithm(Varn::Core::Encryption::Algorithm(2147483647));
    record.setKeySize(std::numeric_limits<int>::min());
    record.setKdfIteration(std::numeric_limits<int>::max());
    record.setKdfSalt(Binary);
    record.setSecretKey("secret");
    record.setCompressionAlgorithm(Varn::Core::Compression::Algorithm(99));
    record.setBlockSize(1 << 20);
    record.setParamsHash(Binary.left(20));
    record.setPlatform(Varn::Core::Platform::Type(255));
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(sql("select * from %1metadata"),
              row("7.0.12.2147483647", "", onDay(60, NearlyASecond), marker, -7, 8, 2147483647, -2147483648LL,
                  2147483647, Binary, "secret", 99, 1048576, Binary.left(20), 255));
    const auto read = Metadata::select(m_schema, m_connection).pointer;
    EXPECT_EQ(rowOf(*read), rowOf(record));
    EXPECT_TRUE(read->kdfSalt() == Binary && read->paramsHash() == Binary.left(20));

    QSqlQuery query = m_connection.query();
    record.setBlockSize(5);
    EXPECT_EQ(record.update(query, m_schema), ResultCode::Ok);
    EXPECT_EQ(Metadata::select(m_schema, m_connection).pointer->blockSize(), 5);
    sql("update %1metadata set product_version = 'x', generation_marker = 'x', key_size = 'x', date_created_utc = 'x'");
    const auto damaged = Metadata::select(m_schema, m_connection).pointer;
    EXPECT_TRUE(damaged->productVersion().isNull() && damaged->generationMarker().isNull());
    EXPECT_TRUE(damaged->keySize() == 0 && !damaged->dateCreatedUtc().isValid());
}

TEST_P(RecordsTest, RestorePointsComeBackInWholeSeconds)
{
    RestorePoints record;
    record.setStartDate(onDay(1, NearlyASecond));
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(sql("select * from %1restore_points"),
              row(1, onDay(1, QTime(10, 0)), "", 0, 1000, 0, 0, -1, -1, 10, -1, -1, -1, -1, "", "", 0, 0, "", 0, 1000,
                  "", 0, "", "", 0, 0, 0));
    EXPECT_EQ(rowOf(*RestorePoints::selectById(record.id(), m_schema, m_connection).pointer),
              sql("select * from %1restore_points"));

    // A wall clock time, without regard to its zone, as in every date of the catalogue.
    record.setStartDate(QDateTime(QDate(2024, 3, 10), QTime(2, 30), Qt::OffsetFromUTC, 3600));
    record.setFinishDate(onDay(3));
    record.setSequenceNumber(-Most);
    record.setBackupType(Varn::Archive::BackupType(2));
    record.setTocId(Most);
    record.setTotalBytes(Most - 1);
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
    record.setSessionHistoryId(Most - 2);
    record.setBackupResult(Varn::Archive::BackupResult(-1));
    record.setBackupErrorList("errors");
    record.setConsistencyCheckResult(Varn::Archive::ConsistencyCheckResult(12));
    record.setConsistencyCheckDateTime(onDay(4));
    record.setConsistencyCheckErrorList(Wild + "2");
    record.setBrokenType(Varn::Archive::BrokenType(3));
    record.setTotalFileCount(13);
    record.setTotalFileSize(14);
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    const QStringList expected =
        row(1, "2024-03-10T02:30:00.000Z", onDay(3), -Most, 2, Most, Most - 1, -Most - 1, 4, 77, 5, 6, 7, 8, Wild, "",
            9, 10, "signature", Most - 2, -1, "errors", 12, onDay(4), Wild + "2", 3, 13, 14);
    EXPECT_EQ(sql("select * from %1restore_points"), expected);
    EXPECT_EQ(rowOf(*RestorePoints::selectBySequenceNumber(-Most, m_schema, m_connection).pointer), expected);

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
        QStringList found;
        for (const auto &record : result.list)
            found << QString::number(record->sequenceNumber());
        return found.join(' ');
    };
    const auto number = [](const ResultPointer<RestorePoints> &result) {
        EXPECT_EQ(result.error, ResultCode::Ok);
        return result.pointer ? result.pointer->sequenceNumber() : 0;
    };
    EXPECT_EQ(numbers(RestorePoints::select(m_schema, 0, 3, m_connection)), "1 2 3 4 5 6");
    EXPECT_EQ(numbers(RestorePoints::select(m_schema, -1, 0, m_connection)), "1 2 3 4 5 6");
    EXPECT_EQ(numbers(RestorePoints::select(m_schema, 2, 1, m_connection)), "2 3");
    const QDateTime day3 = onDay(3, QTime(12, 0, 0, 999));
    EXPECT_EQ(numbers(RestorePoints::select(day3, m_schema, 0, 0, m_connection)), "1 2 5");
    EXPECT_EQ(numbers(RestorePoints::select(day3, m_schema, 1, 2, m_connection)), "5");
    EXPECT_EQ(numbers(RestorePoints::select(QDateTime(), m_schema, 0, 0, m_connection)), "");
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
    record.setPartsCount(1);
    EXPECT_TRUE(record.needSync());
    record.setPartsCount(0);
    record.setTocId(9);
    for (const auto count : {&RestorePoints::setFilesBackedUp, &RestorePoints::setFilesDeleted,
                             &RestorePoints::setFoldersBackedUp, &RestorePoints::setFoldersDeleted}) {
        EXPECT_TRUE(record.needSync());
        (record.*count)(0);
    }
    EXPECT_FALSE(record.needSync());
}

TEST_P(RecordsTest, FoldersComeBackWithTheirMetadata)
{
    Folders record;
    EXPECT_EQ(rowOf(record), row(0, "", 0, 0, 0, "", ""));
    record.setDisplayName(Wild);
    record.setLocalPath("/" + Wild);
    record.setParentId(Most);
    record.setRestorePointId(Most - 1);
    record.setDeleted(true);
    record.setMetadata(Json);
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    const QStringList expected = row(1, Wild, Most, Most - 1, 1, Json, "/" + Wild);
    EXPECT_EQ(sql("select * from %1folders"), expected);
    for (const auto &read :
         {Folders::select("/" + Wild, Most - 1, m_schema, m_connection).pointer,
          Folders::select(Most, Wild, Most - 1, m_schema, m_connection).pointer,
          Folders::selectInFolder(Most, {Most - 1}, false, 1, 0, m_schema, m_connection).list.value(0)}) {
        ASSERT_TRUE(read);
        EXPECT_EQ(rowOf(*read), expected);
    }
    EXPECT_TRUE(Folders::checkPathIsDeleted("/" + Wild, {Most - 1}, m_schema, m_connection).value);
    EXPECT_EQ(Folders::countSubfolder(Most, {}, true, m_schema, m_connection).value, 0);

    sql("update %1folders set parent_id = id + 1, deleted = 2");
    Folders parent;
    parent.setLocalPath("/parent");
    ASSERT_EQ(parent.insert(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(sql("select quote(metadata) from %1folders where id = 2"), QStringList("NULL"));
    const QString path = parent.localPath();
    EXPECT_FALSE(Folders::selectInFolder(path, {}, false, 0, 0, m_schema, m_connection).list.value(0)->deleted());
    EXPECT_EQ(Folders::countSubfolder(path, {Most - 1}, false, m_schema, m_connection).value, 1);
    EXPECT_TRUE(Folders::isFolder(path, {}, true, m_schema, m_connection).value);
    EXPECT_THAT(m_log.texts(QtCriticalMsg), ElementsAre(QString("Error parce folder metadata: illegal value")));
    m_log.clear();
}

TEST_P(RecordsTest, FilesComeBackByteForByte)
{
    Folders folder;
    folder.setLocalPath("/f");
    folder.setRestorePointId(4);
    folder.setMetadata(Json);
    ASSERT_EQ(folder.insert(m_schema, m_connection), ResultCode::Ok);
    Files record;
    EXPECT_EQ(rowOf(record), row(0, "", "", 0, "", 0, 0, 0, 0, "", "", 0, "", 0));
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
    record.setMetadata(Json);
    record.setExtentsSize(Most - 1);
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    const QStringList expected = row(1, Wild, "/f/" + Wild, Most, onDay(5, QTime(10, 0)), -2147483648LL, 1, 1,
                                     -Most - 1, Binary, Binary.right(9), 0, Json, Most - 1);
    EXPECT_EQ(sql("select * from %1files"), expected);
    const QString path = folder.localPath();
    for (const auto &list : {Files::selectInFolder(path, {}, 0, 0, m_schema, m_connection),
                             Files::selectInFolder(path, {4}, 9, 0, m_schema, m_connection),
                             Files::selectInFolder(folder.id(), {}, 0, 0, m_schema, m_connection),
                             Files::selectInFolder(folder.id(), {4}, 9, 0, m_schema, m_connection)}) {
        ASSERT_EQ(list.list.size(), 1);
        EXPECT_EQ(rowOf(*list.list.first()), expected);
    }
    const auto read = Files::select("/f/" + Wild, {4}, m_schema, m_connection).pointer;
    EXPECT_EQ(rowOf(*read), expected);
    EXPECT_TRUE(read->hash() == Binary && read->map() == Binary.right(9));

    Files later;
    later.setLocalPath(record.localPath());
    later.setDateModificationUtc(onDay(6));
    later.setParentId(folder.id());
    later.setDeleted(true);
    ASSERT_EQ(later.insert(m_schema, m_connection), ResultCode::Ok);
    const auto pointer = QSharedPointer<Files>::create(later);
    EXPECT_EQ(rowOf(*Files::selectPrev(pointer, true, m_schema, m_connection).pointer), expected);
    EXPECT_EQ(rowOf(*Files::select(record.localPath(), {}, m_schema, m_connection).pointer), rowOf(later));
    EXPECT_THAT(m_log.texts(QtCriticalMsg), ElementsAre(QString("Error parce files metadata: illegal value")));
    m_log.clear();
}

TEST_P(RecordsTest, UnreadableMetadataLeavesARecordsOwn)
{
    QSqlQuery query = m_connection.query();
    Folders folder;
    for (const QString text : {"null", "''", "'{\"a\": '", "'7'", "x'ff'", "'[1]'"}) {
        folder.setMetadata(Json);
        ASSERT_TRUE(query.exec("select 7 as id, '/n' as local_path, " + text + " as metadata"));
        EXPECT_TRUE(folder.init(query));
        // The last one is JSON, though no object.
        EXPECT_EQ(rowOf(folder), row(7, "", 0, 0, 0, text == "'[1]'" ? QJsonObject() : Json, "/n"));
    }
    EXPECT_FALSE(folder.init(query));
    EXPECT_EQ(m_log.count(QtCriticalMsg, "Error parce folder metadata:"), 5);
    m_log.clear();
}

TEST_P(RecordsTest, StorageFilesComeBackAndAreFoundByTheirBeginning)
{
    StorageFiles record;
    EXPECT_EQ(rowOf(record), row(0, "", "", "", 0, 0, ""));
    record.setPath(Wild);
    record.setCloudId("");
    record.setUploadId("upload");
    record.setSize(Most);
    record.setBrokenType(Varn::Archive::BrokenType(-5));
    record.setLastModified(onDay(5, NearlyASecond));
    ASSERT_EQ(record.insert(m_schema, m_connection), ResultCode::Ok);
    const QStringList expected = row(1, Wild, "", "upload", Most, -5, onDay(5, NearlyASecond));
    EXPECT_EQ(sql("select * from %1storage_files"), expected);
    EXPECT_EQ(rowOf(*StorageFiles::select(Wild, m_schema, m_connection).pointer), expected);
    record.setSize(-1);
    record.setLastModified({});
    ASSERT_EQ(record.update(m_schema, m_connection), ResultCode::Ok);
    EXPECT_EQ(rowOf(*StorageFiles::select(record.id(), m_schema, m_connection).pointer),
              row(1, Wild, "", "upload", -1, -5, ""));
    EXPECT_EQ(StorageFiles::select(0ULL, m_schema, m_connection).error, ResultCode::Error);
    EXPECT_EQ(StorageFiles::select(QString(), m_schema, m_connection).error, ResultCode::Error);
    EXPECT_EQ(StorageFiles::select("nothing", m_schema, m_connection).error, ResultCode::Ok);
    ASSERT_EQ(record.remove(m_schema, m_connection), ResultCode::Ok);

    // Local time keeps its fields; a path that was never set is found like an empty one.
    for (const QString &path : {QString("data/1"), QString("DATA/2"), QString("meta/data/3"), QString("d_ta"), {}}) {
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
        return found.join(' ');
    };
    const auto startingWith = [&](const QString &path) {
        return paths(StorageFiles::selectPathStartWith(path, m_schema, m_connection));
    };
    EXPECT_EQ(startingWith("data/"), "data/1 DATA/2");
    EXPECT_EQ(startingWith("d_ta"), "data/1 DATA/2 d_ta");
    EXPECT_EQ(startingWith(""), "data/1 DATA/2 meta/data/3 d_ta ");
    EXPECT_EQ(paths(StorageFiles::select(m_schema, 0, 5, m_connection)), startingWith(""));
    EXPECT_EQ(paths(StorageFiles::select(m_schema, 2, 1, m_connection)), "DATA/2 meta/data/3");
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
    EXPECT_EQ(sql("select * from %1parts"), QStringList({"1|5", "2|5", "3|5", "77|5"}));
    const auto parts = Parts::select(5, m_schema, m_connection).list;
    ASSERT_EQ(parts.size(), 4);
    EXPECT_EQ(row(parts.last()->id(), parts.last()->restorePointId()), row(77, 5));
    EXPECT_TRUE(Parts::select(6, m_schema, m_connection).list.isEmpty());

    const auto select = [this] { return RestorePointParts::select(5, m_schema, m_connection, &ChainedPart::make); };
    EXPECT_EQ(select().keys(), QList<long long>({-20, 10, 30}));
    const auto tenth = select()[10];
    EXPECT_EQ(row(tenth->id(), tenth->chainNumber(), tenth->path(), tenth->cloudId(), tenth->uploadId(), tenth->size(),
                  tenth->brokenType(), tenth->lastModified()),
              row(second, 10, "p10", Wild, "10", Most, Varn::Archive::BrokenType::ToPurge, onDay(9)));
    EXPECT_EQ(RestorePointParts::selectNotBroken(5, m_schema, m_connection, &ChainedPart::make).keys(),
              QList<long long>({-20, 30}));
    addPart("10", sound); // of two with one number, the one read last
    EXPECT_EQ(select().size(), 3);
    EXPECT_EQ(select()[10]->brokenType(), sound);
    sql("update %1storage_files set upload_id = 'stop' where upload_id = '-20'");
    EXPECT_EQ(select().keys(), QList<long long>({10, 30}));

    const long long id = BlockIdGenerator::next(m_schema, m_connection);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(BlockIdGenerator::next(m_schema, m_connection), 2);
    ASSERT_EQ(PartsBlocks(Most, second, Binary).insert(m_schema, m_connection), ResultCode::Ok);
    ASSERT_EQ(PartsBlocks(id, third, Binary.left(2)).insert(m_schema, m_connection), ResultCode::Ok);
    const auto block = PartsBlocks::select(Most, m_schema, m_connection).pointer;
    EXPECT_EQ(row(block->id(), block->partId()), row(Most, second));
    EXPECT_EQ(block->address(), Binary);
    EXPECT_FALSE(PartsBlocks::select(3, m_schema, m_connection).pointer);
    EXPECT_EQ(PartsBlocks(3, second, Binary).insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(id, second, "other").insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(3, second, {}).insert(m_schema, m_connection), ResultCode::Constraint);
    EXPECT_EQ(PartsBlocks(3, TooMuch, "x").insert(m_schema, m_connection), ResultCode::BadData);
    EXPECT_EQ(sql("select count(*) from %1part_blocks"), QStringList("2"));
    m_log.clear();
}

} // namespace
} // namespace Tolm::SQL::Generation
