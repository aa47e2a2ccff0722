#include <repository/catalog/Destination.h>

#include <platform/Varn/Network.h>

#include <tests/catalog/CatalogueTest.h>

#include <QJsonArray>
#include <QJsonObject>

namespace Tolm::SQL {
namespace {

using namespace Tests;

const QString InsertRecord = "SQL::Destination: Insert new destination to DB";

class ManagedEdition {
public:
    ManagedEdition() { qputenv("TOLM_EDITION", "managed"); }
    ~ManagedEdition() { qunsetenv("TOLM_EDITION"); }
    Q_DISABLE_COPY_MOVE(ManagedEdition)
};

/// Account, prefix, container and kind; "not recognised" when SearchParams() gives false, which must change nothing.
QString identityOf(const QJsonObject &account)
{
    QString texts[] = {"a", "b", "c", "d"};
    const bool recognised = Destination::SearchParams(account, texts[0], texts[1], texts[2], texts[3]);
    const QString identity = rowOf(texts[0], texts[1], texts[2], texts[3]);
    if (!recognised) {
        EXPECT_EQ(identity, "'a'|'b'|'c'|'d'");
    }
    return recognised ? identity : "not recognised";
}

QJsonObject fullAccount(const QString &kind)
{
    QJsonObject account{{"AccountType", kind},       {"BackupPrefix", "host1"}, {"Path", "/home/u///"},
                        {"UserName", "user"},        {"User", "root"},          {"Endpoint", "https://ex.org/v3"},
                        {"ContainerName", "bücket"}, {"AccountId", "id"},       {"FolderPath", "folder"}};
    for (const char *key : {"AccessKey", "StorageId", "ContainerId"})
        account.insert(key, key);
    return account;
}

TEST(DestinationIdentity, FollowsTheKindOfAccount)
{
    const std::pair<QString, QString> families[] = {
        {"FileSystem", "'TOLM_FS'|'/home/u////TOLM_host1'|'Local'|'FileSystem'"},
        {"AzureBlob", "'7hHLsZBS5AsHqsDKBgwj7g=='|'host1'|'bücket'|'Standalone_Azure'"},
        {"GoogleStorage", "'StorageId'|'host1'|'bücket'|'Standalone_GOOGLE'"},
        {"BackBlaze", "'StorageId'|'host1'|'ContainerId'|'Standalone_BackBlaze'"},
        {"Sftp", "'root'|'/home/u/TOLM_host1'|'Sftp'|'Sftp'"},
        {"AmazonS3|S3Compatible|Scality|DreamObjects|Cloudian|ThinkOn|Aruba|Tiscali|Seeweb|CenturyLink|AmazonS3Chinese|"
         "Minio|Dunkel|Connectria|HostEurope|GreenQloud|Constant|Webzilla|Verizon|Wasabi|AlibabaCloud|iDrive",
         "'AccessKey'|'host1'|'bücket'|'Standalone'"},
        {"OracleCloud|Rackspace|Openstack|SoftLayer|HPCloud|HPHelion",
         "'no9aXAd1P+i3YSu7DwzSNg=='|'host1'|'bücket'|'Standalone_RackSpace'"},
        {"Wasabi (UB)|Wasabi (UB) Stage|Wasabi Stage|AmazonS3 (UB)|HALVO_CLOUD|filesystem||FileSystem ",
         "not recognised"},
    };
    int checked = 0;
    for (const auto &[kinds, identity] : families) {
        for (const QString &kind : kinds.split('|')) {
            EXPECT_EQ(identityOf(fullAccount(kind)), identity) << qPrintable(kind);
            ++checked;
        }
    }
    EXPECT_EQ(checked, 41);

    const ManagedEdition edition;
    EXPECT_EQ(identityOf(fullAccount("FileSystem")), "'TOLM_FS'|'/home/u////TOLM_host1'|'Local'|'FileSystem'");
    QJsonObject account = fullAccount("no such kind");
    EXPECT_EQ(identityOf(account), "'id-folder'|'host1'|'bücket'|'HALVO'");
    account["BackupPrefix"] = "";
    EXPECT_EQ(identityOf(account), "'id-folder'|'" + Varn::Network::ComputerName::name() + "'|'bücket'|'HALVO'");
}

TEST(DestinationIdentity, TakesTextsAsTheyAreAndNothingElse)
{
    QJsonObject account{{"AccountType", "FileSystem"},
                        {"Path", "/%2/%1"},
                        {"BackupPrefix", "%1%2"},
                        {"AccountId", "%2"},
                        {"FolderPath", "%1"}};
    EXPECT_EQ(identityOf(account), "'TOLM_FS'|'/%2/%1/TOLM_%1%2'|'Local'|'FileSystem'");
    {
        const ManagedEdition edition;
        account["AccountType"] = "";
        EXPECT_EQ(identityOf(account), "'%2-%1'|'%1%2'|''|'HALVO'");
    }
    const QJsonValue noTexts[] = {QJsonValue::Null,      5.5, true, QJsonArray{"x"}, QJsonObject{{"a", "b"}},
                                  QJsonValue::Undefined, ""};
    for (const QJsonValue &noText : noTexts) {
        account = fullAccount("Minio");
        for (const char *key : {"AccessKey", "BackupPrefix", "ContainerName"})
            account[QLatin1String(key)] = noText;
        EXPECT_EQ(identityOf(account), "''|''|''|'Standalone'") << "never NULL";
        account["AccountType"] = noText;
        EXPECT_EQ(identityOf(account), "not recognised");
    }
}

class DestinationTest : public CatalogueTest {
protected:
    /// A destination 1 with versions of the sizes given and one generation for each uploaded size given, and another
    /// destination with a little of everything.
    void store(const QStringList &versionSizes, const QStringList &uploadedSizes)
    {
        m_database.sql("insert into destination(id, cloud_type) values (1, 'here'), (2, 'there')");
        m_database.sql("insert into cloud_folders(id, destination_id) values (1, 1), (2, 1), (3, 2)");
        m_database.sql("insert into cloud_files(id, destination_id, local_path) values (1, 1, '/a'), (2, 1, '/b'), "
                       "(3, 2, '/c')");
        m_database.sql("insert into cloud_file_versions(file_id, size) values (3, 1000000)");
        m_database.sql("insert into archive_bunches(id, folder_id, display_name, destination_id) values (1, 1, '', 1), "
                       "(2, 3, '', 2)");
        m_database.sql("insert into archive_generations(bunch_id, marker, number, uploaded_files_size) values "
                       "(2, 'other', 1, 1000000)");
        for (int i = 0; i < versionSizes.size(); ++i)
            m_database.sql(QStringLiteral("insert into cloud_file_versions(file_id, size) values (%1, %2)")
                               .arg(QString::number(i % 2 + 1), versionSizes.at(i)));
        for (int i = 0; i < uploadedSizes.size(); ++i)
            m_database.sql(QStringLiteral("insert into archive_generations(bunch_id, marker, number, "
                                          "uploaded_files_size) values (1, '%1', 1, %2)")
                               .arg(QString::number(i), uploadedSizes.at(i)));
    }

    QSharedPointer<Destination> first() { return Destination::select(1, m_connection); }

    static QString statistics(const QSharedPointer<Destination> &destination)
    {
        return rowOf(destination->usedSpace(), destination->fileCount(), destination->folderCount());
    }
};
TOLM_TEST_ON_EVERY_BACKEND(DestinationTest);

TEST_P(DestinationTest, ReadsBackWhatItStoredOnce)
{
    Destination stored;
    stored.setCloudType("'; drop table destination; --");
    stored.setAccountId("50%_off \"Ж\" \U0001F5C4\nsecond line \\");
    stored.setContainer("");
    stored.setPrefix(QString(4000, 'p'));
    ASSERT_TRUE(stored.insert(m_connection));
    EXPECT_EQ(shown(Destination::select(stored.id(), m_connection)), shown(stored));
    EXPECT_EQ(
        shown(Destination::select(stored.accountId(), stored.prefix(), QString(), stored.cloudType(), m_connection)),
        shown(stored));
    EXPECT_EQ(shown(Destination::select(m_connection)), QStringList(shown(stored)));
    EXPECT_TRUE(Destination::select(stored.id(), m_connection)->needSync());
    EXPECT_EQ(Destination::select(stored.id() + 1, m_connection), nullptr);

    const ShortWaits waits;
    const LogCapture log;
    Destination again = stored;
    EXPECT_FALSE(again.insert(m_connection));
    EXPECT_EQ(count("destination"), 1);
    EXPECT_EQ(log.count(QtWarningMsg, "Error on exec sql query"), isSQLite() ? 1 : 4);

    m_database.sql("update destination set last_sync_time_utc = '20240310023000', size = 9223372036854775807, "
                   "filecount = 2147483647, foldercount = 3");
    const auto synchronised = Destination::select(stored.id(), m_connection);
    EXPECT_EQ(synchronised->lastSyncTime(), utc(2024, 3, 10, 2, 30));
    EXPECT_FALSE(synchronised->needSync());
    EXPECT_EQ(statistics(synchronised), "9223372036854775807|2147483647|3");
    m_database.sql("update destination set last_sync_time_utc = ''");
    EXPECT_TRUE(Destination::select(stored.id(), m_connection)->needSync());
}

TEST_P(DestinationTest, FindsOrMakesTheDestinationOfAnAccount)
{
    const LogCapture log;
    const QJsonObject bare{{"AccountType", "Wasabi"}, {"AccessKey", 17}, {"ContainerName", QJsonValue::Null}};
    EXPECT_EQ(Destination::select(bare, m_connection), nullptr);
    const auto made = Destination::selectOrInsert(bare, m_connection);
    ASSERT_TRUE(made);
    EXPECT_EQ(shown(Destination::selectOrInsert(bare, m_connection)), shown(made));
    EXPECT_EQ(shown(Destination::select(bare, m_connection)), shown(made));
    EXPECT_EQ(log.count(QtDebugMsg, InsertRecord), 1);
    EXPECT_EQ(made->cloudType(), "Standalone");

    EXPECT_NE(Destination::selectOrInsert(fullAccount("Sftp"), m_connection)->id(), made->id());
    EXPECT_EQ(Destination::selectOrInsert(fullAccount("Wasabi (UB)"), m_connection), nullptr);
    {
        const ManagedEdition edition;
        EXPECT_EQ(Destination::selectOrInsert({}, m_connection), nullptr);
        EXPECT_EQ(Destination::select(QJsonObject(), m_connection), nullptr);
        EXPECT_EQ(Destination::selectOrInsert(bare, m_connection)->cloudType(), "HALVO");
    }
    EXPECT_EQ(count("destination"), 3);
    EXPECT_EQ(log.complaints(), QString());
}

TEST_P(DestinationTest, AFailedLookUpNeverLeadsToAnInsert)
{
    m_database.sql("alter table destination rename to elsewhere");
    const ShortWaits waits;
    const LogCapture log;
    EXPECT_EQ(Destination::selectOrInsert(fullAccount("Sftp"), m_connection), nullptr);
    EXPECT_EQ(log.count(QtDebugMsg, InsertRecord), 0);
    EXPECT_NE(log.complaints(), QString());
}

TEST_P(DestinationTest, CountsWhatItHolds)
{
    store({"10", "200", "null", "3000"}, {"40000", "-1", "null", "500000"});
    const auto destination = first();
    EXPECT_EQ(destination->spaceUsed(m_connection), 543210U);
    EXPECT_EQ(destination->filesCount(m_connection), 4);
    EXPECT_EQ(destination->foldersCount(m_connection), 2);
    ASSERT_TRUE(destination->updateStatistic(m_connection));
    EXPECT_EQ(statistics(destination), "543210|4|2");
    EXPECT_EQ(statistics(first()), "543210|4|2");
    EXPECT_EQ(statistics(Destination::select(2, m_connection)), "0|0|0");
    EXPECT_EQ(Destination().spaceUsed(m_connection), 0U);

    m_database.sql("delete from cloud_file_versions");
    m_database.sql("delete from archive_generations where uploaded_files_size > 0");
    EXPECT_TRUE(destination->updateStatistic(m_connection));
    EXPECT_EQ(statistics(first()), "0|0|2");
}

TEST_P(DestinationTest, AddsOnlySumsBelowTheLargest)
{
    store({"9223372036854775807"}, {"4611686018427387904"});
    EXPECT_EQ(first()->spaceUsed(m_connection), Q_UINT64_C(4611686018427387904));
    m_database.sql("update cloud_file_versions set size = 4611686018427387904");
    EXPECT_EQ(first()->spaceUsed(m_connection), Q_UINT64_C(9223372036854775808));

    // Such a total fits no column.
    m_database.sql("update destination set size = 5");
    const LogCapture log;
    EXPECT_FALSE(first()->updateStatistic(m_connection));
    EXPECT_EQ(first()->usedSpace(), 5U);
    EXPECT_EQ(log.count(QtCriticalMsg, "value out of range for :size"), 1);

    // A sum beyond 64 bits: SQLite fails on it, PostgreSQL gives a number that does not convert.
    m_database.sql("insert into cloud_file_versions(file_id, size) values (1, 9223372036854775807)");
    m_database.sql("delete from archive_generations");
    EXPECT_EQ(first()->spaceUsed(m_connection), 0U);
}

TEST_P(DestinationTest, KeepsItsStatisticsWhenOneFigureCannotBeRead)
{
    store({"10"}, {});
    m_database.sql("update destination set size = 5, filecount = 6, foldercount = 7");
    const ShortWaits waits;
    for (const QString table : {"cloud_folders", "archive_generations", "cloud_file_versions"}) {
        const auto destination = first();
        m_database.sql("alter table " + table + " rename to elsewhere");
        const LogCapture log;
        EXPECT_FALSE(destination->updateStatistic(m_connection)) << qPrintable(table);
        EXPECT_EQ(statistics(destination), "5|6|7");
        EXPECT_EQ(statistics(first()), "5|6|7");
        m_database.sql("alter table elsewhere rename to " + table);
    }
    EXPECT_TRUE(first()->updateStatistic(m_connection));
}

} // namespace
} // namespace Tolm::SQL
