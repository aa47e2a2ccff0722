#include <repository/catalog/CheckCloudFiles4IbbPurge.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/DiskImageVersions.h>
#include <repository/catalog/PurgeThreshold_p.h>
#include <repository/database/CatalogDate_p.h>
#include <repository/database/Log_p.h>

#include <platform/Tolm/DiskImageMetaData.h>

namespace Tolm::SQL {

namespace {

// The engine's kinds of file versions.
constexpr int MetadataVersion = 7;
constexpr int CompanionVersion = 6;

bool isOlder(const DiskImage &image, qint64 threshold)
{
    const auto created = CatalogDate::toNumber(image.dateCreate());
    return created && *created != 0 && *created < threshold;
}

} // namespace

CheckCloudFiles4IbbPurge::CheckCloudFiles4IbbPurge(Type type, unsigned long long destinationId)
    : m_type(type)
    , m_destinationId(destinationId)
{}

QList<QSharedPointer<DiskImage>> CheckCloudFiles4IbbPurge::candidates(DatabaseConnection &connection) const
{
    return DiskImage::select(m_destinationId, 0, 0, true, connection);
}

QList<QSharedPointer<CloudFileVersion>> CheckCloudFiles4IbbPurge::fileVersions(QList<QSharedPointer<DiskImage>> images,
                                                                               long long destinationId,
                                                                               DatabaseConnection &connection)
{
    QList<QSharedPointer<CloudFileVersion>> versions;
    QSharedPointer<CloudFile> metadataFile;
    for (const auto &image : qAsConst(images)) {
        if (!image)
            continue;
        if (!metadataFile) {
            metadataFile = CloudFile::select_(static_cast<quint64>(destinationId),
                                              QStringLiteral("/TOLM_DiskImage/DiskImageMetadata.xml"), connection);
        }
        if (!metadataFile) {
            log().error() << "Error on load disk image metadata file.";
            return versions;
        }
        const auto metadata =
            CloudFileVersion::select_(metadataFile->id(), image->dateCreate(), MetadataVersion, connection);
        if (!metadata) {
            log().error() << "Error on load IBB metadata file version";
            return versions;
        }
        versions.append(metadata);

        const auto links = DiskImageVersions::select(image->id(), connection);
        for (const auto &link : links) {
            const auto version = CloudFileVersion::selectById(link->versionId(), connection);
            if (!version) {
                log().warning() << "cloud file version not exist, id:" << link->versionId();
                continue;
            }
            versions.append(version);
            const auto companion = CloudFileVersion::selectPointInTime(version->fileId(), CompanionVersion,
                                                                       version->dateModified(), connection);
            if (companion)
                versions.append(companion);
        }
    }
    return versions;
}

CheckCloudFiles4IbbPurgeAll::CheckCloudFiles4IbbPurgeAll(unsigned long long destinationId)
    : CheckCloudFiles4IbbPurge(Type::All, destinationId)
{}

CheckCloudFiles4IbbPurge::Selection CheckCloudFiles4IbbPurgeAll::versions(DatabaseConnection &connection)
{
    Selection selection;
    const auto images = candidates(connection);
    for (const auto &image : images)
        selection.append({image, Reason::Requested});
    return selection;
}

CheckCloudFiles4IbbPurgeCurrent::CheckCloudFiles4IbbPurgeCurrent(unsigned long long destinationId,
                                                                 const QDateTime &date)
    : CheckCloudFiles4IbbPurge(Type::Current, destinationId)
    , m_date(date)
{
    if (m_date.isValid())
        m_date.setTimeSpec(Qt::UTC);
}

CheckCloudFiles4IbbPurge::Selection CheckCloudFiles4IbbPurgeCurrent::versions(DatabaseConnection &connection)
{
    Selection selection;
    // No image is earlier than an invalid date: the oldest chain would go although nobody named it.
    if (!m_date.isValid()) {
        log().warning() << "Purge: no date of the disk image to remove, nothing is selected";
        return selection;
    }
    const auto images = candidates(connection);
    for (const auto &image : images) {
        if (image->dateCreate() < m_date)
            continue;
        if (!selection.isEmpty()) {
            const auto metadata = Tolm::Info::DiskImageMetaData::createFromXml(image->xml());
            if (!metadata)
                continue;
            if (!metadata->blockLevelBackup())
                break;
        }
        selection.append({image, Reason::Requested});
    }
    return selection;
}

CheckCloudFiles4IbbPurgePolicy::CheckCloudFiles4IbbPurgePolicy(unsigned long long destinationId)
    : CheckCloudFiles4IbbPurge(Type::Policy, destinationId)
{}

void CheckCloudFiles4IbbPurgePolicy::deleteVersionOlder(bool enabled, long days, bool keepLastChain)
{
    m_deleteOlder = enabled;
    m_olderThanDays = days;
    m_keepLastChain = keepLastChain;
}

void CheckCloudFiles4IbbPurgePolicy::keepNumberOfVersion(bool enabled, long long count)
{
    m_keepNumber = enabled;
    m_keepCount = count;
}

CheckCloudFiles4IbbPurge::Selection CheckCloudFiles4IbbPurgePolicy::versions(DatabaseConnection &connection)
{
    Selection selection;
    if (!m_deleteOlder && !m_keepNumber)
        return selection;

    auto left = candidates(connection);
    if (const auto threshold = m_deleteOlder ? purgeThreshold(m_olderThanDays) : std::nullopt) {
        while (!left.isEmpty() && isOlder(*left.first(), *threshold))
            selection.append({left.takeFirst(), Reason::RetentionTime});
    }
    while (m_keepNumber && !left.isEmpty() && left.size() > m_keepCount)
        selection.append({left.takeFirst(), Reason::NumberOfVersions});

    // An incremental image must not lose its full one, and the newest chain stays: give images back up to a full one.
    const bool breaksChain = left.isEmpty() || !left.first()->isFull();
    while (breaksChain && !selection.isEmpty()) {
        if (selection.takeLast().first->isFull())
            break;
    }
    return selection;
}

} // namespace Tolm::SQL
