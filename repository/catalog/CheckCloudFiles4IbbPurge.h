#pragma once

#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/DiskImage.h>
#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QPair>
#include <QSharedPointer>

namespace Tolm::SQL {

/// Tells which disk images of a destination a purge may delete, and why, and which file versions make those images up.
/// Nothing is written. An object belongs to the thread that uses it; the operations run on that thread's connection.
///
/// Images that need a key which the engine does not have are never selected. A catalogue that cannot be read gives an
/// empty selection.
class TOLM_EXPORT CheckCloudFiles4IbbPurge {
public:
    enum class Type {
        All = 0,
        Current = 1,
        Policy = 2,
    };

    /// Why an image was chosen.
    enum class Reason {
        RetentionTime = 0,
        NumberOfVersions = 1,
        Requested = 2,
    };

    using Selection = QList<QPair<QSharedPointer<DiskImage>, Reason>>;

    virtual ~CheckCloudFiles4IbbPurge() = default;
    Q_DISABLE_COPY_MOVE(CheckCloudFiles4IbbPurge)

    Type type() const { return m_type; }

    /// The selected images, oldest first. May be asked any number of times; the catalogue is read afresh each time.
    virtual Selection versions(DatabaseConnection &connection) = 0;

    /// The file versions that make up the images: for each its metadata version, then each linked version and the
    /// kind-6 version beside it. One version may stand in it more than once. \return what was collected before a
    /// metadata file or version was missing, with an error record; linked versions that are missing are left out with a
    /// warning.
    static QList<QSharedPointer<CloudFileVersion>>
    fileVersions(QList<QSharedPointer<DiskImage>> images, long long destinationId, DatabaseConnection &connection);

protected:
    CheckCloudFiles4IbbPurge(Type type, unsigned long long destinationId);

    /// Every image that may be selected at all, oldest first.
    QList<QSharedPointer<DiskImage>> candidates(DatabaseConnection &connection) const;

private:
    Type m_type;
    quint64 m_destinationId;
};

/// All images of a destination.
class TOLM_EXPORT CheckCloudFiles4IbbPurgeAll : public CheckCloudFiles4IbbPurge {
public:
    explicit CheckCloudFiles4IbbPurgeAll(unsigned long long destinationId);
    Selection versions(DatabaseConnection &connection) override;
};

/// The chain that starts at a time: the first image at or after it, and the incremental ones up to the next full image.
class TOLM_EXPORT CheckCloudFiles4IbbPurgeCurrent : public CheckCloudFiles4IbbPurge {
public:
    /// \param date its clock fields are taken for UTC; an invalid date selects nothing, with a warning record.
    CheckCloudFiles4IbbPurgeCurrent(unsigned long long destinationId, const QDateTime &date);
    Selection versions(DatabaseConnection &connection) override;

private:
    QDateTime m_date;
};

/// The images that a retention policy lets go, by age, by number, or both. An incremental image never loses its full
/// one, and the newest full image stays with everything after it.
class TOLM_EXPORT CheckCloudFiles4IbbPurgePolicy : public CheckCloudFiles4IbbPurge {
public:
    explicit CheckCloudFiles4IbbPurgePolicy(unsigned long long destinationId);

    /// The age rule: images from more than `days` days ago. Negative days, or so many that there is no such date,
    /// choose nothing, with a warning record. Undated images are never old. \param keepLastChain changes nothing: the
    /// newest chain always stays.
    void deleteVersionOlder(bool enabled, long days, bool keepLastChain);

    /// The count rule: images beyond the newest `count`.
    void keepNumberOfVersion(bool enabled, long long count);

    Selection versions(DatabaseConnection &connection) override;

private:
    bool m_deleteOlder = false;
    qint64 m_olderThanDays = 0;
    bool m_keepLastChain = false;
    bool m_keepNumber = false;
    qint64 m_keepCount = 0;
};

} // namespace Tolm::SQL
