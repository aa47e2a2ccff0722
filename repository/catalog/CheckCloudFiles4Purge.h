#pragma once

#include <repository/catalog/CloudFileVersion.h>
#include <repository/database/DatabaseConnection.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

namespace Tolm::SQL {

struct PurgeRules;

/// Tells which stored file versions of a destination a purge may delete, and why; and keeps the deleted-locally marks
/// of the catalogue in step with the local disk. The selection only reads; the engine deletes the copies and then
/// removes their rows. An object belongs to the thread that uses it; the operations run on that thread's connection.
///
/// Three rules, each off until it is set, work independently: versions older than a time, versions beyond a number per
/// file, and all versions of files that were deleted locally long enough ago. Block-level chains are kept whole: a full
/// copy goes with what depends on it or not at all, and the newest chain stays.
class TOLM_EXPORT CheckCloudFiles4Purge {
public:
    /// What the age of a version is measured by. Any other value makes the selection empty while the age rule is on.
    enum class VersionOlderType {
        NoLimit = 0,      ///< selects nothing by age
        DateModified = 1, ///< the local modification time
        DateBackup = 2,   ///< the time of the backup
    };

    /// Why a version was chosen.
    enum class Reason {
        RetentionTime = 0,
        NumberOfVersions = 1,
        DeletedLocally = 2,
    };

    /// The versions with their reasons. One version may stand in it more than once.
    using Selection = QList<QPair<QSharedPointer<CloudFileVersion>, Reason>>;

    explicit CheckCloudFiles4Purge(unsigned long long destinationId);

    /// The age rule: versions from more than `days` days ago; with `keepLastVersion` not the newest full one of a file.
    /// Negative days, or so many that the date has no 14 digits, choose nothing, with a warning record at each
    /// selection. Undated versions are never old.
    void deleteVersionOlder(bool enable, long days, bool keepLastVersion, VersionOlderType type);

    /// The count rule: full versions beyond the newest `count` of a file.
    void keepNumberOfVersion(bool enable, unsigned long long count);

    /// The deleted-locally rule: every version of a file whose deleted mark is at least `days` days old; too many days
    /// as above.
    void deleteLocalyDeleted(bool enable, unsigned long long days);

    /// "RetentionTime", "NumberOfVersions", "DeletedLocally"; "Unknown" for any other value.
    static QString reasonToString(Reason reason);

    /// The versions that the rules let go, among the files whose local path starts with one of `paths`: those of the
    /// age and count rules file by file, then those of files deleted locally. Memory grows with the answer, not with
    /// the catalogue. \return an empty list when nothing is chosen, no rule is on, `paths` is empty, or the catalogue
    /// could not be read; without the last part when only that failed.
    Selection files(const QStringList &paths, DatabaseConnection &connection);

    /// The age and count rules for one file.
    /// \param fulls its full versions, oldest first; what the rules have looked at is taken off its front.
    Selection checkFileBackup(QList<QSharedPointer<CloudFileVersion>> &fulls);

    /// Marks the file at `catalogPath` as deleted when it is not at `diskPath`, or clears its mark when it is; likewise
    /// everything below, when there is a folder at `catalogPath`. How far it is shows in the log only.
    void updateDeleteLocallyPath(const QString &diskPath, const QString &catalogPath, DatabaseConnection &connection);

    /// Marks or unmarks everything below a folder of the catalogue by what is below `diskDir`.
    void updateDeleteLocally4Dir(const QString &diskDir, unsigned long long folderId, DatabaseConnection &connection);

private:
    struct Policy {
        bool ageEnabled = false;
        qint64 ageDays = 0;
        bool keepLastVersion = false;
        VersionOlderType ageType = VersionOlderType::NoLimit;
        bool countEnabled = false;
        quint64 count = 0;
        bool deletedEnabled = false;
        quint64 deletedDays = 0;
    };

    PurgeRules rules() const;
    bool appendByRules(const QStringList &paths, DatabaseConnection &connection, Selection &selection) const;
    void appendDeleted(const QStringList &paths, DatabaseConnection &connection, Selection &selection) const;

    quint64 m_destinationId;
    Policy m_policy;
};

/// Whether `path` starts with one of `roots`, compared with their case; false when there is no root. Any thread may
/// call it.
TOLM_EXPORT bool checkFilePath(const QString &path, const QStringList &roots);

/// The modification time of the first of `versions` (oldest first) that is a full block-level copy and later than
/// `after`; invalid when there is none, or `after` is. Any thread may call it.
TOLM_EXPORT QDateTime findNextFull(const QDateTime &after, const QList<QSharedPointer<CloudFileVersion>> &versions);

} // namespace Tolm::SQL
