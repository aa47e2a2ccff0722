#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>

#include <platform/Varn/Network.h>

#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Tolm::SQL {
namespace {

const QString InsertRecord = QStringLiteral("SQL::Destination: Insert new destination to DB");

class ManagedEdition {
public:
    ManagedEdition() { qputenv("TOLM_EDITION", "managed"); }
    ~ManagedEdition() { qunsetenv("TOLM_EDITION"); }
    Q_DISABLE_COPY_MOVE(ManagedEdition)
};

/// Account, prefix, container and kind; "not recognised" when SearchParams() gives false, which must change nothing.
QStringList identityOf(const QJsonObject &account)
{
    const QStringList before{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")};
    QStringList texts = before;
    if (Destination::SearchParams(account, texts[0], texts[1], texts[2], texts[3]))
        return texts;
    EXPECT_EQ(texts, before);
    return {QStringLiteral("not recognised")};
}

QJsonObject fullAccount(const QString &kind)
{
    QJsonObject account{{QStringLiteral("AccountType"), kind}};
    for (const char *key : {"AccountId", "FolderPath", "ContainerName", "AccessKey", "StorageId", "ContainerId"})
        account.insert(QLatin1String(key), QLatin1String(key));
    account.insert(QStringLiteral("BackupPrefix"), QStringLiteral("host1"));
    account.insert(QStringLiteral("Path"), QStringLiteral("/home/u///"));
    account.insert(QStringLiteral("UserName"), QStringLiteral("user"));
    account.insert(QStringLiteral("User"), QStringLiteral("root"));
    account.insert(QStringLiteral("Endpoint"), QStringLiteral("https://ex.org/v3"));
    return account;
}

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char('|'));
}

TEST(DestinationIdentity, FollowsTheKindOfAccount)
{
    const QHash<QString, QStringList> special{
        {QStringLiteral("FileSystem"), words("TOLM_FS|/home/u////TOLM_host1|Local|FileSystem")},
        {QStringLiteral("AzureBlob"), words("7hHLsZBS5AsHqsDKBgwj7g==|host1|bücket|Standalone_Azure")},
        {QStringLiteral("GoogleStorage"), words("StorageId|host1|bücket|Standalone_GOOGLE")},
        {QStringLiteral("BackBlaze"), words("StorageId|host1|ContainerId|Standalone_BackBlaze")},
        {QStringLiteral("Sftp"), words("root|/home/u/TOLM_host1|Sftp|Sftp")},
    };
    const QHash<QString, QStringList> families{
        {QStringLiteral("AmazonS3|S3Compatible|Scality|DreamObjects|Cloudian|ThinkOn|Aruba|Tiscali|Seeweb|CenturyLink|"
                        "AmazonS3Chinese|Minio|Dunkel|Connectria|HostEurope|GreenQloud|Constant|Webzilla|Verizon|"
                        "Wasabi|AlibabaCloud|iDrive"),
         words("AccessKey|host1|bücket|Standalone")},
        {QStringLiteral("OracleCloud|Rackspace|Openstack|SoftLayer|HPCloud|HPHelion"),
         words("no9aXAd1P+i3YSu7DwzSNg==|host1|bücket|Standalone_RackSpace")},
        {QStringLiteral("Wasabi (UB)|Wasabi (UB) Stage|Wasabi Stage|AmazonS3 (UB)|HALVO_CLOUD|filesystem||FileSystem "),
         {QStringLiteral("not recognised")}},
    };
    QHash<QString, QStringList> expected = special;
    for (auto family = families.begin(); family != families.end(); ++family) {
        const QStringList kinds = family.key().split(QLatin1Char('|'));
        for (const QString &kind : kinds)
            expected.insert(kind, family.value());
    }
    EXPECT_EQ(expected.size(), 41);
    for (auto row = expected.begin(); row != expected.end(); ++row) {
        QJsonObject account = fullAccount(row.key());
        account[QStringLiteral("ContainerName")] = QString::fromUtf8("bücket");
        EXPECT_EQ(identityOf(account), row.value()) << qPrintable(row.key());
    }
}

TEST(DestinationIdentity, OfTheManagedEditionKnowsTwoKinds)
{
    const ManagedEdition edition;
    EXPECT_EQ(identityOf(fullAccount(QStringLiteral("FileSystem"))),
              words("TOLM_FS|/home/u////TOLM_host1|Local|FileSystem"));
    QJsonObject account = fullAccount(QStringLiteral("no such kind"));
    EXPECT_EQ(identityOf(account), words("AccountId-FolderPath|host1|ContainerName|HALVO"));
    account[QStringLiteral("BackupPrefix")] = QString();
    EXPECT_EQ(identityOf(account).at(1), Varn::Network::ComputerName::name());
}

TEST(DestinationIdentity, TakesTextsAsTheyAreAndNothingElse)
{
    QJsonObject account = fullAccount(QStringLiteral("FileSystem"));
    account[QStringLiteral("Path")] = QStringLiteral("/%2/%1");
    account[QStringLiteral("BackupPrefix")] = QStringLiteral("%1%2");
    EXPECT_EQ(identityOf(account).at(1), QStringLiteral("/%2/%1/TOLM_%1%2"));
    {
        const ManagedEdition edition;
        const QJsonObject managed{{QStringLiteral("AccountId"), QStringLiteral("%2")},
                                  {QStringLiteral("FolderPath"), QStringLiteral("%1")}};
        EXPECT_EQ(identityOf(managed).first(), QStringLiteral("%2-%1"));
    }
    const QList<QJsonValue> noTexts{QJsonValue::Null,
                                    5.5,
                                    true,
                                    QJsonArray{QStringLiteral("x")},
                                    QJsonObject{{QStringLiteral("a"), QStringLiteral("b")}},
                                    QJsonValue::Undefined,
                                    QStringLiteral("")};
    for (const QJsonValue &noText : noTexts) {
        account = fullAccount(QStringLiteral("Minio"));
        for (const char *key : {"AccessKey", "BackupPrefix", "ContainerName"})
            account[QLatin1String(key)] = noText;
        const QStringList identity = identityOf(account);
        EXPECT_EQ(identity, words("|||Standalone"));
        EXPECT_FALSE(identity.at(0).isNull() || identity.at(1).isNull() || identity.at(2).isNull());
        account[QStringLiteral("AccountType")] = noText;
        EXPECT_EQ(identityOf(account), words("not recognised"));
    }
}

class DestinationTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database
            .createTables<CloudFolder, CloudFile, CloudFileVersion, Destination, ArchiveBunches, ArchiveGenerations>();
    }

    /// A destination 1 with versions of the sizes given and one generation for each uploaded size given.
    void store(const QStringList &versionSizes, const QStringList &uploadedSizes)
    {
        m_database.sql(QStringLiteral("insert into destination(id, cloud_type) values (1, 'here'), (2, 'there')"));
        m_database.sql(QStringLiteral("insert into cloud_folders(id, destination_id) values (1, 1), (2, 1), (3, 2)"));
        m_database.sql(QStringLiteral("insert into cloud_files(id, destination_id, local_path) values (1, 1, '/a'), "
                                      "(2, 1, '/b'), (3, 2, '/c')"));
        m_database.sql(QStringLiteral("insert into cloud_file_versions(file_id, size) values (3, 1000000)"));
        m_database.sql(QStringLiteral("insert into archive_bunches(id, folder_id, display_name, destination_id) values "
                                      "(1, 1, '', 1), (2, 3, '', 2)"));
        m_database.sql(QStringLiteral("insert into archive_generations(bunch_id, marker, number, uploaded_files_size) "
                                      "values (2, 'other', 1, 1000000)"));
        for (int i = 0; i < versionSizes.size(); ++i)
            m_database.sql(QStringLiteral("insert into cloud_file_versions(file_id, size) values (%1, %2)")
                               .arg(QString::number(i % 2 + 1), versionSizes.at(i)));
        for (int i = 0; i < uploadedSizes.size(); ++i)
            m_database.sql(QStringLiteral("insert into archive_generations(bunch_id, marker, number, "
                                          "uploaded_files_size) values (1, '%1', 1, %2)")
                               .arg(QString::number(i), uploadedSizes.at(i)));
    }

    QSharedPointer<Destination> first() { return Destination::select(1, m_connection); }

    DatabaseConnection m_connection{m_database.pool()};
};
TOLM_TEST_ON_EVERY_BACKEND(DestinationTest);

TEST_P(DestinationTest, ReadsBackWhatItStored)
{
    Destination stored;
    stored.setCloudType(QStringLiteral("'; drop table destination; --"));
    stored.setAccountId(QStringLiteral("50%_off \"Ж\" \U0001F5C4\nsecond line \\"));
    stored.setContainer(QString());
    stored.setPrefix(QString(4000, QLatin1Char('p')));
    ASSERT_TRUE(stored.insert(m_connection));
    ASSERT_NE(stored.id(), 0U);

    const auto byId = Destination::select(stored.id(), m_connection);
    const auto byIdentity =
        Destination::select(stored.accountId(), stored.prefix(), stored.container(), stored.cloudType(), m_connection);
    const auto all = Destination::select(m_connection);
    ASSERT_TRUE(byId && byIdentity);
    ASSERT_EQ(all.size(), 1);
    for (const auto &read : {byId, byIdentity, all.first()}) {
        EXPECT_EQ(read->id(), stored.id());
        EXPECT_EQ(read->cloudType(), stored.cloudType());
        EXPECT_EQ(read->accountId(), stored.accountId());
        EXPECT_EQ(read->container(), stored.container());
        EXPECT_EQ(read->prefix(), stored.prefix());
        EXPECT_EQ(read->usedSpace(), 0U);
        EXPECT_EQ(read->fileCount(), 0);
        EXPECT_EQ(read->folderCount(), 0);
        EXPECT_TRUE(read->needSync());
    }
    EXPECT_FALSE(
        Destination::select(stored.prefix(), stored.accountId(), stored.container(), stored.cloudType(), m_connection));
    EXPECT_FALSE(Destination::select(stored.id() + 1, m_connection));

    m_database.sql(QStringLiteral("update destination set last_sync_time_utc = '20240310023000', size = "
                                  "9223372036854775807, filecount = 2147483647, foldercount = 3"));
    const auto synchronised = Destination::select(stored.id(), m_connection);
    EXPECT_EQ(synchronised->lastSyncTime(), QDateTime(QDate(2024, 3, 10), QTime(2, 30), Qt::UTC));
    EXPECT_FALSE(synchronised->needSync());
    EXPECT_EQ(synchronised->usedSpace(), 9223372036854775807U);
    EXPECT_EQ(synchronised->fileCount(), 2147483647);
    EXPECT_EQ(synchronised->folderCount(), 3);
    m_database.sql(QStringLiteral("update destination set last_sync_time_utc = ''"));
    EXPECT_TRUE(Destination::select(stored.id(), m_connection)->needSync());
}

TEST_P(DestinationTest, InsertsAnIdentityOnce)
{
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    Destination one;
    ASSERT_TRUE(one.insert(m_connection));
    Destination two;
    EXPECT_FALSE(two.insert(m_connection));
    EXPECT_EQ(two.id(), 0U);
    EXPECT_EQ(Destination::select(m_connection).size(), 1);
    EXPECT_EQ(log.count(QtWarningMsg, QStringLiteral("Error on exec sql query")), isSQLite() ? 1 : 4);
}

TEST_P(DestinationTest, FindsOrMakesTheDestinationOfAnAccount)
{
    const Tests::LogCapture log;
    const QJsonObject bare{{QStringLiteral("AccountType"), QStringLiteral("Wasabi")},
                           {QStringLiteral("AccessKey"), 17},
                           {QStringLiteral("ContainerName"), QJsonValue::Null}};
    EXPECT_FALSE(Destination::select(bare, m_connection));
    const auto made = Destination::selectOrInsert(bare, m_connection);
    const auto found = Destination::selectOrInsert(bare, m_connection);
    ASSERT_TRUE(made && found);
    EXPECT_EQ(made->id(), found->id());
    EXPECT_EQ(Destination::select(bare, m_connection)->id(), made->id());
    EXPECT_EQ(log.count(QtDebugMsg, InsertRecord), 1);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from destination where account_id = '' and prefix = '' "
                                              "and container = '' and cloud_type = 'Standalone'")),
              1);

    EXPECT_NE(Destination::selectOrInsert(fullAccount(QStringLiteral("Sftp")), m_connection)->id(), made->id());
    EXPECT_FALSE(Destination::selectOrInsert(fullAccount(QStringLiteral("Wasabi (UB)")), m_connection));
    {
        const ManagedEdition edition;
        EXPECT_FALSE(Destination::selectOrInsert({}, m_connection));
        EXPECT_FALSE(Destination::select(QJsonObject(), m_connection));
        EXPECT_EQ(Destination::selectOrInsert(bare, m_connection)->cloudType(), QStringLiteral("HALVO"));
    }
    EXPECT_EQ(Destination::select(m_connection).size(), 3);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(DestinationTest, AFailedLookUpNeverLeadsToAnInsert)
{
    m_database.sql(QStringLiteral("alter table destination rename to elsewhere"));
    const Tests::ShortWaits waits;
    const Tests::LogCapture log;
    EXPECT_FALSE(Destination::selectOrInsert(fullAccount(QStringLiteral("Sftp")), m_connection));
    EXPECT_EQ(log.count(QtDebugMsg, InsertRecord), 0);
    EXPECT_NE(log.complaints(), QString());
}

TEST_P(DestinationTest, CountsWhatItHolds)
{
    store({QStringLiteral("10"), QStringLiteral("200"), QStringLiteral("null"), QStringLiteral("3000")},
          {QStringLiteral("40000"), QStringLiteral("-1"), QStringLiteral("null"), QStringLiteral("500000")});
    const auto destination = first();
    EXPECT_EQ(destination->spaceUsed(m_connection), 543210U);
    EXPECT_EQ(destination->filesCount(m_connection), 4);
    EXPECT_EQ(destination->foldersCount(m_connection), 2);
    ASSERT_TRUE(destination->updateStatistic(m_connection));
    for (const auto &record : {destination, first()}) {
        EXPECT_EQ(record->usedSpace(), 543210U);
        EXPECT_EQ(record->fileCount(), 4);
        EXPECT_EQ(record->folderCount(), 2);
    }
    EXPECT_EQ(Destination::select(2, m_connection)->usedSpace(), 0U);
}

TEST_P(DestinationTest, CountsNothingAsNothing)
{
    store({}, {QStringLiteral("-1")});
    const auto destination = first();
    m_database.sql(QStringLiteral("update destination set size = 5"));
    EXPECT_EQ(destination->spaceUsed(m_connection), 0U);
    EXPECT_EQ(destination->filesCount(m_connection), 0);
    EXPECT_TRUE(destination->updateStatistic(m_connection));
    EXPECT_EQ(first()->usedSpace(), 0U);
}

TEST_P(DestinationTest, AddsOnlySumsBelowTheLargest)
{
    const QString largest = QStringLiteral("9223372036854775807");
    const QString half = QStringLiteral("4611686018427387904");
    store({largest}, {half});
    EXPECT_EQ(first()->spaceUsed(m_connection), Q_UINT64_C(4611686018427387904));
    m_database.sql(QStringLiteral("update cloud_file_versions set size = %1").arg(half));
    EXPECT_EQ(first()->spaceUsed(m_connection), Q_UINT64_C(9223372036854775808));

    // Such a total fits no column.
    m_database.sql(QStringLiteral("update destination set size = 5"));
    const Tests::LogCapture log;
    EXPECT_FALSE(first()->updateStatistic(m_connection));
    EXPECT_EQ(first()->usedSpace(), 5U);
    EXPECT_EQ(log.count(QtCriticalMsg, QStringLiteral("value out of range for :size")), 1);

    // A sum beyond 64 bits: SQLite fails on it, PostgreSQL gives a number that does not convert.
    m_database.sql(QStringLiteral("insert into cloud_file_versions(file_id, size) values (1, %1)").arg(largest));
    m_database.sql(QStringLiteral("delete from archive_generations"));
    EXPECT_EQ(first()->spaceUsed(m_connection), 0U);
}

TEST_P(DestinationTest, KeepsItsStatisticsWhenOneFigureCannotBeRead)
{
    store({QStringLiteral("10")}, {});
    m_database.sql(QStringLiteral("update destination set size = 5, filecount = 6, foldercount = 7"));
    const Tests::ShortWaits waits;
    for (const auto *table : {"cloud_folders", "archive_generations", "cloud_file_versions"}) {
        const QString name = QLatin1String(table);
        const auto destination = first();
        m_database.sql(QStringLiteral("alter table %1 rename to elsewhere").arg(name));
        const Tests::LogCapture log;
        EXPECT_FALSE(destination->updateStatistic(m_connection)) << table;
        for (const auto &record : {destination, first()}) {
            EXPECT_EQ(record->usedSpace(), 5U);
            EXPECT_EQ(record->fileCount(), 6);
            EXPECT_EQ(record->folderCount(), 7);
        }
        if (name == QLatin1String("cloud_folders"))
            EXPECT_EQ(destination->foldersCount(m_connection), 0);
        else
            EXPECT_EQ(destination->spaceUsed(m_connection), 0U);
        m_database.sql(QStringLiteral("alter table elsewhere rename to %1").arg(name));
    }
    EXPECT_TRUE(first()->updateStatistic(m_connection));
}

TEST_P(DestinationTest, RefusesQuietly)
{
    QPointer<DatabasePool> nobody;
    DatabaseConnection closed(nobody);
    const QJsonObject account = fullAccount(QStringLiteral("Sftp"));
    store({QStringLiteral("10")}, {});
    const auto stored = first();
    const Tests::LogCapture log;

    Destination destination;
    for (DatabaseConnection *connection : {&closed, &m_connection}) {
        EXPECT_EQ(destination.spaceUsed(*connection), 0U);
        EXPECT_EQ(destination.filesCount(*connection), 0);
        EXPECT_EQ(destination.foldersCount(*connection), 0);
    }
    EXPECT_FALSE(destination.insert(closed));
    EXPECT_FALSE(destination.updateStatistic(closed));
    EXPECT_FALSE(stored->updateStatistic(closed));
    EXPECT_EQ(stored->spaceUsed(closed), 0U);
    EXPECT_FALSE(Destination::select(1, closed));
    EXPECT_FALSE(Destination::select(QString(), QString(), QString(), QString(), closed));
    EXPECT_FALSE(Destination::select(account, closed));
    EXPECT_FALSE(Destination::selectOrInsert(account, closed));
    EXPECT_TRUE(Destination::select(closed).isEmpty());
    EXPECT_TRUE(log.records().isEmpty());
}

} // namespace
} // namespace Tolm::SQL
