#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QMap>
#include <QtCore/QString>

/// Kinds and results of the archive format. All are kept as their numbers; a number without a name here is the archive
/// engine's own and is carried as it is.
namespace Varn::Archive {

enum class Type : int {
    Unknown = 1000,
};

enum class GenerationType : int {
    Unknown = 1000,
};

/// Why a generation began with a full backup.
enum class FullReason : int {
    FirstRun = 0,
    ForceFull = 1,
    EncryptionKeyLength = 2,
    EncryptionAlgorithm = 3,
    CompressionAlgorithm = 4,
    BlockSize = 5,
    Broken = 6,
    ConsistencyCheckFailed = 7,
    DeduplicationDatabaseMissing = 8,
    Hash = 9,
    Unknown = 1000,
};

enum class BrokenType : int {
    NotBroken = 0,
    ToPurge = 3,
    ToPurgeAfterSync = 10,
    ToPurgeRemoved = 11,
};

enum class BackupType : int {
    Full = 0,
    SyntheticFull = 1,
    Incremental = 2,
    Unknown = 1000,
};

namespace SnapshotType {
enum class Value : int {
    NotSet = 10, ///< what a new record holds
};
} // namespace SnapshotType

enum class BackupResult : int {
    Unknown = 1000,
};

enum class ConsistencyCheckResult : int {
    NotSet = 0, ///< what a new record holds
};

/// What FullReasonToString and BrokenTypeToString stand for: the tables live in functions, so that a static object's
/// constructor can use them at any time. Any thread may read them.
TOLM_EXPORT const QMap<FullReason, QString> &fullReasonNames() noexcept;
TOLM_EXPORT const QMap<BrokenType, QString> &brokenTypeNames() noexcept;

/// Name of each full-backup reason, as its enumerator is written.
inline const QMap<FullReason, QString> &FullReasonToString = fullReasonNames();
/// Name of each kind of damage, as its enumerator is written.
inline const QMap<BrokenType, QString> &BrokenTypeToString = brokenTypeNames();

} // namespace Varn::Archive
