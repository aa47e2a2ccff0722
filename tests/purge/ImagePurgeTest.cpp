#include <repository/catalog/CheckCloudFiles4IbbPurge.h>
#include <repository/catalog/DiskImageVersions.h>

#include <platform/Tolm/DiskImageMetaData.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;

// Each image that was chosen by its name, with the number of the reason.
QStringList names(const CheckCloudFiles4IbbPurge::Selection &selection)
{
    QStringList names;
    for (const auto &one : selection)
        names.append(one.first->backupFolderName() + ' ' + shown(one.second));
    return names;
}

class ImagePurgeTest : public CatalogueTest {
protected:
    void SetUp() override
    {
        CatalogueTest::SetUp();
        m_database.sql("insert into destination (id, account_id) values (1, 'a'), (2, 'b')");
    }

    // Named by its letter ("F" full, "I" incremental) and number; a day count of -1 makes an undated image.
    QSharedPointer<DiskImage> add(const QString &name, int daysAgo, bool needDecrypt = false, quint64 destination = 1)
    {
        const auto image = QSharedPointer<DiskImage>::create();
        const bool isBlockLevel = name.startsWith('I');
        Info::DiskImageMetaData metadata;
        metadata.setBlockLevelBackup(isBlockLevel);
        image->setXml(metadata.toXml());
        image->setIsBlockLevel(isBlockLevel);
        image->setBackupFolderName(name);
        image->setDestinationId(destination);
        image->setNeedDecrypt(needDecrypt);
        image->setDateCreate(daysAgo < 0 ? QDateTime() : m_now.addDays(-daysAgo));
        EXPECT_TRUE(image->insert(m_connection));
        return image;
    }

    QStringList policy(bool age, long days, bool count, long long keep)
    {
        CheckCloudFiles4IbbPurgePolicy purge(1);
        purge.deleteVersionOlder(age, days, true);
        purge.keepNumberOfVersion(count, keep);
        return names(purge.versions(m_connection));
    }

    QStringList current(const QDateTime &date)
    {
        return names(CheckCloudFiles4IbbPurgeCurrent(1, date).versions(m_connection));
    }

    // An hour off, so that no date lies on a threshold; in whole seconds, as dates are stored.
    QDateTime m_now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - 3600, Qt::UTC);
};
TOLM_TEST_ON_EVERY_BACKEND(ImagePurgeTest);

// What stays is looked for from the newest end, the other way round than the selection goes.
QStringList referencePolicy(const QVector<QPair<QString, int>> &images, bool age, int days, bool count, int keep)
{
    int aged = 0;
    while (age && aged < images.size() && images[aged].second > days)
        ++aged;
    const int left = images.size() - aged;
    int taken = aged + (count && left > keep ? left - std::max(0, keep) : 0);
    const bool breaks = taken == images.size() || images[taken].first.startsWith('I');
    if (breaks) {
        while (taken > 0 && images[--taken].first.startsWith('I')) {
        }
    }
    QStringList names;
    for (int i = 0; i < taken; ++i)
        names.append(images[i].first + (i < aged ? " 0" : " 1"));
    return names;
}

TEST_P(ImagePurgeTest, PolicyChoosesWhatTheReferenceChooses)
{
    std::mt19937 random(42);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    int chosenInAll = 0;
    for (int round = 0; round < 25; ++round) {
        m_database.sql("delete from diskimage");
        QVector<QPair<QString, int>> images;
        int daysAgo = 200;
        for (int i = 0; i < below(10); ++i) {
            const QString name = (below(3) == 0 ? "F" : "I") + QString::number(i);
            images.append({name, daysAgo});
            add(name, daysAgo);
            if (below(4) == 0)
                add("Flocked", daysAgo, true);
            daysAgo -= 1 + below(20);
        }
        add("Felsewhere", 300, false, 2);
        for (int turn = 0; turn < 8; ++turn) {
            const bool age = below(2) == 0;
            const int days = below(200);
            const bool count = below(2) == 0;
            const int keep = below(8) - 2;
            const QStringList expected = referencePolicy(images, age, days, count, keep);
            ASSERT_EQ(policy(age, days, count, keep), expected) << "round " << round << " turn " << turn;
            chosenInAll += expected.size();
        }
    }
    EXPECT_GT(chosenInAll, 50);
}

TEST_P(ImagePurgeTest, UndatedImagesAreNeverOld)
{
    add("F1", 100);
    add("F2", 90);
    add("F3", -1);
    EXPECT_EQ(policy(true, 30, false, 0), QStringList({"F1 0", "F2 0"}));
    const LogCapture log;
    EXPECT_EQ(policy(true, -1, false, 0), QStringList());
    EXPECT_EQ(log.count(QtWarningMsg), 1);
}

TEST_P(ImagePurgeTest, CurrentTakesOneChainAndAllTakesEverything)
{
    add("F1", 40);
    const auto incremental = add("I1", 30);
    const auto last = add("I2", 20);
    add("F2", 10);
    add("Flocked", 5, true);

    EXPECT_EQ(current(m_now.addDays(-40)), QStringList({"F1 2", "I1 2", "I2 2"}));
    EXPECT_EQ(current(incremental->dateCreate().addSecs(1)), QStringList({"I2 2"}));
    EXPECT_EQ(current(last->dateCreate().addSecs(1)), QStringList({"F2 2"}));
    EXPECT_EQ(current(m_now), QStringList());
    EXPECT_EQ(current(QDateTime()), QStringList());

    m_database.sql("update diskimage set xml = 'damaged' where backup_folder_name = 'I1'");
    EXPECT_EQ(current(m_now.addDays(-40)), QStringList({"F1 2", "I2 2"}));

    EXPECT_EQ(names(CheckCloudFiles4IbbPurgeAll(1).versions(m_connection)),
              QStringList({"F1 2", "I1 2", "I2 2", "F2 2"}));
}

TEST_P(ImagePurgeTest, ListsTheFileVersionsOfImages)
{
    const auto image = add("F1", 40);
    const auto broken = add("F2", 30);
    const auto addVersion = [&](const QString &path, const QDateTime &date, int kind, quint64 file = 0) {
        CloudFileVersion version;
        version.setPath(path);
        version.setFileId(file);
        version.setDateModified(date);
        version.setAttribute(kind);
        EXPECT_TRUE(version.insert(1, m_connection));
        return version;
    };
    const auto versionsOf = [&](const QList<QSharedPointer<DiskImage>> &images) {
        return shown(CheckCloudFiles4IbbPurge::fileVersions(images, 1, m_connection));
    };
    {
        const LogCapture log;
        EXPECT_EQ(versionsOf({nullptr, image}), QStringList());
        EXPECT_EQ(log.complaints(), "Error on load disk image metadata file.");
    }
    const auto metadata = addVersion("/TOLM_DiskImage/DiskImageMetadata.xml", image->dateCreate(), 7);
    const auto disk = addVersion("/TOLM_DiskImage/disk0", image->dateCreate(), 5);
    const auto companion = addVersion("/TOLM_DiskImage/disk0", image->dateCreate().addDays(-1), 6, disk.fileId());
    const auto lone = addVersion("/TOLM_DiskImage/disk1", image->dateCreate(), 5);
    for (const quint64 version : {disk.id(), lone.id()}) {
        DiskImageVersions link;
        link.setDiskImageId(image->id());
        link.setVersionId(version);
        EXPECT_TRUE(link.insert(m_connection));
    }
    const LogCapture log;
    EXPECT_EQ(versionsOf({image, broken}), QStringList({shown(metadata), shown(disk), shown(companion), shown(lone)}));
    EXPECT_EQ(log.complaints(), "Error on load IBB metadata file version");
    if (isSQLite()) { // PostgreSQL's foreign keys do not let a linked version go
        m_database.sql(QStringLiteral("delete from cloud_file_versions where id = %1").arg(lone.id()));
        EXPECT_EQ(versionsOf({image}), QStringList({shown(metadata), shown(disk), shown(companion)}));
        EXPECT_EQ(log.texts(QtWarningMsg),
                  QStringList(QStringLiteral("cloud file version not exist, id: %1").arg(lone.id())));
    }
}

} // namespace
} // namespace Tolm::SQL
