#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/CloudFile.h>

#include <tests/catalog/CatalogueTest.h>

#include <algorithm>
#include <optional>

namespace Tolm::SQL {
namespace {

using namespace Tests;
using Reason = CheckCloudFiles4Purge::Reason;
using Type = CheckCloudFiles4Purge::VersionOlderType;

/// Each rule is off without its number.
struct Policy {
    std::optional<long> olderThan;
    Type type = Type::DateModified;
    bool keepLast = false;
    std::optional<quint64> keep;
    std::optional<quint64> deletedDays;
};

CheckCloudFiles4Purge purgeOf(quint64 destination, const Policy &policy)
{
    CheckCloudFiles4Purge purge(destination);
    purge.deleteVersionOlder(policy.olderThan.has_value(), policy.olderThan.value_or(0), policy.keepLast, policy.type);
    purge.keepNumberOfVersion(policy.keep.has_value(), policy.keep.value_or(0));
    purge.deleteLocalyDeleted(policy.deletedDays.has_value(), policy.deletedDays.value_or(0));
    return purge;
}

Policy byCount(quint64 keep)
{
    Policy policy;
    policy.keep = keep;
    return policy;
}

Policy byDeletion(quint64 days)
{
    Policy policy;
    policy.deletedDays = days;
    return policy;
}

QString chosen(quint64 version, Reason reason)
{
    return QString::number(version) + ' ' + CheckCloudFiles4Purge::reasonToString(reason);
}

QStringList chosen(const CheckCloudFiles4Purge::Selection &selection)
{
    QStringList all;
    for (const auto &one : selection)
        all.append(chosen(one.first->id(), one.second));
    return all;
}

// In which order the files that were deleted locally come is the database's choice.
QStringList inKnownOrder(QStringList all)
{
    const auto firstDeleted =
        std::find_if(all.begin(), all.end(), [](const QString &one) { return one.contains("DeletedLocally"); });
    std::sort(firstDeleted, all.end());
    return all;
}

// ---- The reference: slow, obvious, and reading whole records only ---------------------------------------------------

struct FileRow {
    quint64 id;
    QString path;
    QDateTime deleted;
};

bool isFull(const CloudFileVersion &version)
{
    static const QList<int> fullKinds{-1, 0, 1, 4, 8, 9};
    return fullKinds.contains(version.attribute()) || (version.attribute() == 3 && version.blockLevelIsFull());
}

QStringList referenceOfFile(const QList<QSharedPointer<CloudFileVersion>> &versions, const Policy &policy,
                            const QDateTime &threshold)
{
    const bool ageRuns = policy.olderThan && policy.type != Type::NoLimit;
    const auto dateOf = [&](const CloudFileVersion &version) {
        return policy.type == Type::DateBackup ? version.dateBackup() : version.dateModified();
    };
    const auto isOld = [&](const CloudFileVersion &version) {
        return dateOf(version).isValid() && dateOf(version) < threshold;
    };
    if (versions.size() < 2 && !(ageRuns && versions.size() == 1 && isOld(*versions.first())))
        return {};

    QList<QSharedPointer<CloudFileVersion>> fulls;
    for (const auto &version : versions) {
        if (isFull(*version))
            fulls.append(version);
    }
    QList<QPair<QSharedPointer<CloudFileVersion>, Reason>> candidates;
    while (policy.keep && quint64(fulls.size()) > *policy.keep)
        candidates.append({fulls.takeFirst(), Reason::NumberOfVersions});
    while (ageRuns && fulls.size() > (policy.keepLast ? 1 : 0)) {
        const auto first = fulls.takeFirst();
        if (!isOld(*first))
            break;
        candidates.append({first, Reason::RetentionTime});
    }

    QStringList result;
    for (const auto &candidate : candidates) {
        if (candidate.first->attribute() != 3) {
            result.append(chosen(candidate.first->id(), candidate.second));
            continue;
        }
        QDateTime next;
        for (const auto &version : versions) {
            if (!next.isValid() && candidate.first->dateModified().isValid() && version->attribute() == 3 &&
                version->blockLevelIsFull() && version->dateModified() > candidate.first->dateModified())
                next = version->dateModified();
        }
        for (const auto &version : versions) {
            const bool inChain = version->attribute() == 2 || version->attribute() == 3;
            if (next.isValid() && inChain && version->dateModified().isValid() && version->dateModified() < next)
                result.append(chosen(version->id(), candidate.second));
        }
    }
    return result;
}

QStringList reference(const QList<FileRow> &files, const QStringList &roots, const Policy &policy,
                      DatabaseConnection &connection)
{
    const auto isBelow = [&](const QString &path) {
        return std::any_of(roots.begin(), roots.end(),
                           [&](const QString &root) { return path.left(root.size()) == root; });
    };
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QStringList result;
    for (const FileRow &file : files) {
        if (!(policy.olderThan || policy.keep) || !isBelow(file.path))
            continue;
        result += referenceOfFile(CloudFileVersion::select_(file.id, connection), policy,
                                  now.addDays(-policy.olderThan.value_or(0)));
    }
    for (const FileRow &file : files) {
        if (!policy.deletedDays || !file.deleted.isValid() || !isBelow(file.path) ||
            file.deleted > now.addDays(-qint64(*policy.deletedDays)))
            continue;
        const auto versions = CloudFileVersion::select_(file.id, connection);
        for (const auto &version : versions)
            result.append(chosen(version->id(), Reason::DeletedLocally));
    }
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------

class FilePurgeTest : public CatalogueTest {
protected:
    quint64 addFile(quint64 destination, const QString &path, const QDateTime &deleted = {})
    {
        CloudFile file;
        file.setDestinationId(destination);
        file.setParentId(1);
        file.setLocalPath(path);
        file.setDateDeleted(deleted);
        EXPECT_TRUE(file.insert(m_connection));
        return file.id();
    }

    // A day count of -1 makes an undated version, which the library itself would not insert.
    quint64 addVersion(quint64 file, int modifiedDaysAgo, int kind, bool isFullRevision = false, int backupDaysAgo = 0,
                       bool isBroken = false)
    {
        CloudFileVersion version;
        version.setFileId(file);
        version.setPath("/x");
        version.setDateModified(m_now.addDays(-qMax(modifiedDaysAgo, 0)));
        version.setDateBackup(backupDaysAgo < 0 ? QDateTime() : m_now.addDays(-backupDaysAgo));
        version.setAttribute(kind);
        version.setBlockLevelIsFull(isFullRevision);
        version.setIsBroken(isBroken);
        EXPECT_TRUE(version.insert(1, m_connection));
        if (modifiedDaysAgo < 0) {
            m_database.sql(QStringLiteral("update cloud_file_versions set date_modified_utc = %1 where id = %2")
                               .arg(isSQLite() ? "''" : "NULL")
                               .arg(version.id()));
        }
        return version.id();
    }

    QStringList select(const Policy &policy, const QStringList &roots = {"/"})
    {
        return chosen(purgeOf(1, policy).files(roots, m_connection));
    }

    // An hour off, so that no date lies on a threshold.
    QDateTime m_now = QDateTime::currentDateTimeUtc().addSecs(-3600);
};
TOLM_TEST_ON_EVERY_BACKEND(FilePurgeTest);

TEST_P(FilePurgeTest, ChoosesWhatTheReferenceChooses)
{
    std::mt19937 random(20261122);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    static const QStringList folders{"/data/a/", "/data/ab/", "/data/A/", "/other/"};
    QList<FileRow> files;
    for (int i = 0; i < 120; ++i) {
        const quint64 destination = below(4) == 0 ? 2 : 1;
        const QString path = folders.at(below(folders.size())) + QString::number(i);
        const QDateTime deleted = below(4) == 0 ? m_now.addDays(-below(40)) : QDateTime();
        const quint64 file = addFile(destination, path, deleted);
        if (destination == 1)
            files.append({file, path, deleted});
        const int versions = below(7);
        const bool isChain = below(2) == 0;
        for (int v = 0; v < versions; ++v) {
            const int kind = isChain ? 2 + below(2) : below(11) - 1;
            const int modified = below(12) == 0 ? -1 : below(60) * 7 + v;
            addVersion(file, modified, kind, below(2) == 0, below(10) == 0 ? -1 : below(60), below(5) == 0);
        }
    }
    int chosenInAll = 0;
    for (int round = 0; round < 60; ++round) {
        Policy policy;
        if (below(2) == 0)
            policy.olderThan = below(60) * 7;
        policy.keepLast = below(2) == 0;
        policy.type = static_cast<Type>(below(3));
        if (below(2) == 0)
            policy.keep = static_cast<quint64>(below(4));
        if (below(3) == 0)
            policy.deletedDays = static_cast<quint64>(below(40));
        QStringList roots;
        for (const QString &folder : folders) {
            if (below(2) == 0)
                roots.append(folder.left(folder.size() - below(3)));
        }
        const QStringList expected = reference(files, roots, policy, m_connection);
        ASSERT_EQ(inKnownOrder(select(policy, roots)), inKnownOrder(expected))
            << "round " << round << ", roots " << qPrintable(roots.join(' '));
        chosenInAll += expected.size();
    }
    EXPECT_GT(chosenInAll, 1000);
}

TEST_P(FilePurgeTest, RefusesRulesThatHaveNoDate)
{
    const quint64 file = addFile(1, "/f", m_now.addDays(-1000));
    const quint64 old = addVersion(file, 900, 0);
    const quint64 newer = addVersion(file, 800, 0);
    for (const long days : {-1L, 800000L, std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        Policy policy = byCount(1);
        policy.olderThan = days;
        const LogCapture log;
        EXPECT_EQ(select(policy), QStringList(chosen(old, Reason::NumberOfVersions))) << days;
        EXPECT_EQ(log.count(QtWarningMsg), 1);
    }
    EXPECT_EQ(select({10, Type(7), false, {}, {}}), QStringList());

    const LogCapture log;
    EXPECT_EQ(select(byDeletion(~quint64(0))), QStringList());
    EXPECT_EQ(log.count(QtWarningMsg), 1);
    EXPECT_EQ(select(Policy()), QStringList());
    EXPECT_EQ(select(byDeletion(1), {}), QStringList());
    EXPECT_EQ(select(byDeletion(1)),
              QStringList({chosen(old, Reason::DeletedLocally), chosen(newer, Reason::DeletedLocally)}));
}

TEST_P(FilePurgeTest, ReadsPageAfterPage)
{
    const QString numbers = "with recursive n(i) as (select 1 union all select i + 1 from n where i < 21000) ";
    m_database.sql("insert into cloud_files (id, destination_id, parent_id, local_path) " + numbers +
                   "select i, case when i % 10 = 0 then 2 else 1 end, 1, '/f/' || i from n");
    m_database.sql("insert into cloud_file_versions (id, file_id, date_modified_utc, attributes) " + numbers +
                   "select i, i, 20200101000000, 0 from n union all select 30000 + i, i, 20210101000000, 0 from n");
    QStringList expected;
    for (quint64 i = 1; i <= 21000; ++i) {
        if (i % 10 != 0)
            expected.append(chosen(i, Reason::NumberOfVersions));
    }
    EXPECT_EQ(select(byCount(1)), expected);
    EXPECT_EQ(select(byCount(1), {"/f/20999"}), QStringList(chosen(20999, Reason::NumberOfVersions)));
}

TEST_P(FilePurgeTest, ChoosesNothingWhenTheCatalogueCannotBeRead)
{
    const ShortWaits waits;
    const LogCapture log;
    const quint64 version = addVersion(addFile(1, "/f", m_now.addDays(-30)), 90, 0);
    Policy policy = byDeletion(1);
    policy.olderThan = 10;
    EXPECT_EQ(select(policy),
              QStringList({chosen(version, Reason::RetentionTime), chosen(version, Reason::DeletedLocally)}));
    m_database.sql("alter table cloud_file_versions rename to gone");
    EXPECT_EQ(select(policy), QStringList());
}

TEST(FilePurgeRulesTest, ConsumeOneFilesVersionsFromTheFront)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<QSharedPointer<CloudFileVersion>> fulls;
    for (int i = 0; i < 5; ++i) {
        const auto version = QSharedPointer<CloudFileVersion>::create();
        version->setId(static_cast<quint64>(i) + 1);
        version->setDateModified(i == 3 ? QDateTime() : now.addDays(-100 + i));
        version->setDateBackup(now.addDays(-10));
        fulls.append(version);
    }
    Policy policy = byCount(4);
    policy.olderThan = 30;
    auto left = fulls;
    EXPECT_EQ(chosen(purgeOf(1, policy).checkFileBackup(left)),
              QStringList({"1 NumberOfVersions", "2 RetentionTime", "3 RetentionTime"}));
    ASSERT_EQ(left.size(), 1); // the undated one was looked at and ended the rule
    EXPECT_EQ(left.first()->id(), 5U);

    left = fulls;
    policy.type = Type(9);
    EXPECT_EQ(chosen(purgeOf(1, policy).checkFileBackup(left)), QStringList("1 NumberOfVersions"));
    EXPECT_TRUE(left.isEmpty());

    EXPECT_EQ(CheckCloudFiles4Purge::reasonToString(Reason(7)), "Unknown");
    EXPECT_FALSE(checkFilePath("/a", {"/A", "/a/"}));
    EXPECT_TRUE(checkFilePath("/ab", {"/x", "/a"}));
    fulls.at(4)->setAttribute(3);
    EXPECT_FALSE(findNextFull(now.addDays(-200), fulls).isValid());
    fulls.at(4)->setBlockLevelIsFull(true);
    EXPECT_EQ(findNextFull(now.addDays(-200), fulls), fulls.at(4)->dateModified());
    EXPECT_FALSE(findNextFull(fulls.at(4)->dateModified(), fulls).isValid());
    EXPECT_FALSE(findNextFull(QDateTime(), fulls).isValid());
}

} // namespace
} // namespace Tolm::SQL
