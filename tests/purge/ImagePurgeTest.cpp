#include <repository/catalog/CheckCloudFiles4IbbPurge.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>
#include <repository/catalog/DiskImageVersions.h>

#include <platform/Tolm/DiskImageMetaData.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TestDatabase.h>

#include <gmock/gmock.h>

#include <random>

namespace Tolm::SQL {
namespace {

using Reason = CheckCloudFiles4IbbPurge::Reason;
using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

Names namesOf(const CheckCloudFiles4IbbPurge::Selection &selection)
{
    Names names;
    for (const auto &one : selection)
        names.push_back(one.first->backupFolderName().toStdString() + " " + std::to_string(int(one.second)));
    return names;
}

class ImagePurgeTest : public Tests::DatabaseTest {
protected:
    void SetUp() override
    {
        m_database.createTables<CloudFolder, CloudFile, CloudFileVersion, Destination, DiskImage, DiskImageVersions>();
        m_database.sql(QStringLiteral("insert into destination (id, account_id) values (1, 'a'), (2, 'b')"));
    }

    // Named by its letter ("F" full, "I" incremental) and number; a day count of -1 makes an undated image.
    QSharedPointer<DiskImage> add(const QString &name, int daysAgo, bool needDecrypt = false, quint64 destination = 1)
    {
        DatabaseConnection connection(m_database.pool());
        const auto image = QSharedPointer<DiskImage>::create();
        const bool isBlockLevel = name.startsWith(QLatin1Char('I'));
        Tolm::Info::DiskImageMetaData metadata;
        metadata.setBlockLevelBackup(isBlockLevel);
        image->setXml(metadata.toXml());
        image->setIsBlockLevel(isBlockLevel);
        image->setBackupFolderName(name);
        image->setDestinationId(destination);
        image->setNeedDecrypt(needDecrypt);
        image->setDateCreate(daysAgo < 0 ? QDateTime() : m_now.addDays(-daysAgo));
        EXPECT_TRUE(image->insert(connection));
        return image;
    }

    Names policy(bool age, long days, bool count, long long keep)
    {
        DatabaseConnection connection(m_database.pool());
        CheckCloudFiles4IbbPurgePolicy purge(1);
        purge.deleteVersionOlder(age, days, true);
        purge.keepNumberOfVersion(count, keep);
        return namesOf(purge.versions(connection));
    }

    Names current(const QDateTime &date)
    {
        DatabaseConnection connection(m_database.pool());
        return namesOf(CheckCloudFiles4IbbPurgeCurrent(1, date).versions(connection));
    }

    // An hour off, so that no date lies on a threshold; in whole seconds, as dates are stored.
    QDateTime m_now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - 3600, Qt::UTC);
};
TOLM_TEST_ON_EVERY_BACKEND(ImagePurgeTest);

// What stays is looked for from the newest end, the other way round than the selection goes.
Names referencePolicy(const std::vector<std::pair<std::string, int>> &images, bool age, int days, bool count,
                      long long keep)
{
    std::size_t aged = 0;
    while (age && aged < images.size() && images[aged].second > days)
        ++aged;
    const auto size = static_cast<long long>(images.size());
    const auto left = static_cast<std::size_t>(std::min(size, std::max(0LL, size - static_cast<long long>(aged))));
    const std::size_t beyond =
        count && static_cast<long long>(left) > keep ? left - static_cast<std::size_t>(std::max(0LL, keep)) : 0;
    std::size_t taken = (age || count) ? aged + beyond : 0;
    const bool breaks = taken == images.size() || images[taken].first[0] == 'I';
    if (breaks) {
        while (taken > 0 && images[--taken].first[0] == 'I') {
        }
    }
    Names names;
    for (std::size_t i = 0; i < taken; ++i)
        names.push_back(images[i].first + (i < aged ? " 0" : " 1"));
    return names;
}

TEST_P(ImagePurgeTest, PolicyChoosesWhatTheReferenceChooses)
{
    std::mt19937 random(42);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    int chosenInAll = 0;
    for (int round = 0; round < 25; ++round) {
        m_database.sql(QStringLiteral("delete from diskimage"));
        std::vector<std::pair<std::string, int>> images;
        int daysAgo = 200;
        for (int i = 0; i < below(10); ++i) {
            const std::string name = (below(3) == 0 ? "F" : "I") + std::to_string(i);
            images.emplace_back(name, daysAgo);
            add(QString::fromStdString(name), daysAgo);
            if (below(4) == 0)
                add(QStringLiteral("Flocked"), daysAgo, true);
            daysAgo -= 1 + below(20);
        }
        add(QStringLiteral("Felsewhere"), 300, false, 2);
        for (int turn = 0; turn < 8; ++turn) {
            const bool age = below(2) == 0;
            const int days = below(200);
            const bool count = below(2) == 0;
            const int keep = below(8) - 2;
            const Names expected = referencePolicy(images, age, days, count, keep);
            ASSERT_EQ(policy(age, days, count, keep), expected) << "round " << round << " turn " << turn;
            chosenInAll += static_cast<int>(expected.size());
        }
    }
    EXPECT_GT(chosenInAll, 50);
}

TEST_P(ImagePurgeTest, UndatedImagesAreNeverOld)
{
    add(QStringLiteral("F1"), 100);
    add(QStringLiteral("F2"), 90);
    add(QStringLiteral("F3"), -1);
    EXPECT_THAT(policy(true, 30, false, 0), ElementsAre("F1 0", "F2 0"));
    const Tests::LogCapture log;
    EXPECT_THAT(policy(true, -1, false, 0), IsEmpty());
    EXPECT_EQ(log.count(QtWarningMsg), 1);
}

TEST_P(ImagePurgeTest, CurrentTakesOneChainAndAllTakesEverything)
{
    add(QStringLiteral("F1"), 40);
    const auto incremental = add(QStringLiteral("I1"), 30);
    const auto last = add(QStringLiteral("I2"), 20);
    add(QStringLiteral("F2"), 10);
    add(QStringLiteral("Flocked"), 5, true);

    EXPECT_THAT(current(m_now.addDays(-40)), ElementsAre("F1 2", "I1 2", "I2 2"));
    EXPECT_THAT(current(incremental->dateCreate().addSecs(1)), ElementsAre("I2 2"));
    EXPECT_THAT(current(last->dateCreate().addSecs(1)), ElementsAre("F2 2"));
    EXPECT_THAT(current(m_now), IsEmpty());
    EXPECT_THAT(current(QDateTime()), IsEmpty());

    m_database.sql(QStringLiteral("update diskimage set xml = 'damaged' where backup_folder_name = 'I1'"));
    EXPECT_THAT(current(m_now.addDays(-40)), ElementsAre("F1 2", "I2 2"));

    DatabaseConnection connection(m_database.pool());
    EXPECT_THAT(namesOf(CheckCloudFiles4IbbPurgeAll(1).versions(connection)),
                ElementsAre("F1 2", "I1 2", "I2 2", "F2 2"));
}

TEST_P(ImagePurgeTest, ListsTheFileVersionsOfImages)
{
    DatabaseConnection connection(m_database.pool());
    const auto image = add(QStringLiteral("F1"), 40);
    const auto broken = add(QStringLiteral("F2"), 30);
    const auto addVersion = [&](const QString &path, const QDateTime &date, int kind, quint64 file) {
        CloudFileVersion version;
        version.setPath(path);
        version.setFileId(file);
        version.setDateModified(date);
        version.setAttribute(kind);
        EXPECT_TRUE(version.insert(1, connection));
        return version;
    };
    const auto idsOf = [&](const QList<QSharedPointer<DiskImage>> &images) {
        std::vector<quint64> ids;
        const auto versions = CheckCloudFiles4IbbPurge::fileVersions(images, 1, connection);
        for (const auto &version : versions)
            ids.push_back(version->id());
        return ids;
    };
    {
        const Tests::LogCapture log;
        EXPECT_THAT(idsOf({nullptr, image}), IsEmpty());
        EXPECT_EQ(log.complaints(), QStringLiteral("Error on load disk image metadata file."));
    }
    const auto metadata =
        addVersion(QStringLiteral("/TOLM_DiskImage/DiskImageMetadata.xml"), image->dateCreate(), 7, 0);
    const auto disk = addVersion(QStringLiteral("/TOLM_DiskImage/disk0"), image->dateCreate(), 5, 0);
    const auto companion =
        addVersion(QStringLiteral("/TOLM_DiskImage/disk0"), image->dateCreate().addDays(-1), 6, disk.fileId());
    const auto lone = addVersion(QStringLiteral("/TOLM_DiskImage/disk1"), image->dateCreate(), 5, 0);
    for (const quint64 version : {disk.id(), lone.id()}) {
        DiskImageVersions link;
        link.setDiskImageId(image->id());
        link.setVersionId(version);
        EXPECT_TRUE(link.insert(connection));
    }
    const Tests::LogCapture log;
    EXPECT_THAT(idsOf({image, broken}), ElementsAre(metadata.id(), disk.id(), companion.id(), lone.id()));
    EXPECT_EQ(log.complaints(), QStringLiteral("Error on load IBB metadata file version"));
    if (isSQLite()) { // PostgreSQL's foreign keys do not let a linked version go
        m_database.sql(QStringLiteral("delete from cloud_file_versions where id = %1").arg(lone.id()));
        EXPECT_THAT(idsOf({image}), ElementsAre(metadata.id(), disk.id(), companion.id()));
        EXPECT_EQ(log.texts(QtWarningMsg),
                  QStringList(QStringLiteral("cloud file version not exist, id: %1").arg(lone.id())));
    }
}

} // namespace
} // namespace Tolm::SQL
