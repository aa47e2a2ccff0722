#include <platform/Varn/Archive.h>

namespace Varn::Archive {

const QMap<FullReason, QString> &fullReasonNames() noexcept
{
    static const QMap<FullReason, QString> names{
        {FullReason::FirstRun, QStringLiteral("FirstRun")},
        {FullReason::ForceFull, QStringLiteral("ForceFull")},
        {FullReason::EncryptionKeyLength, QStringLiteral("EncryptionKeyLength")},
        {FullReason::EncryptionAlgorithm, QStringLiteral("EncryptionAlgorithm")},
        {FullReason::CompressionAlgorithm, QStringLiteral("CompressionAlgorithm")},
        {FullReason::BlockSize, QStringLiteral("BlockSize")},
        {FullReason::Broken, QStringLiteral("Broken")},
        {FullReason::ConsistencyCheckFailed, QStringLiteral("ConsistencyCheckFailed")},
        {FullReason::DeduplicationDatabaseMissing, QStringLiteral("DeduplicationDatabaseMissing")},
        {FullReason::Hash, QStringLiteral("Hash")},
        {FullReason::Unknown, QStringLiteral("Unknown")},
    };
    return names;
}

const QMap<BrokenType, QString> &brokenTypeNames() noexcept
{
    static const QMap<BrokenType, QString> names{
        {BrokenType::NotBroken, QStringLiteral("NotBroken")},
        {BrokenType::ToPurge, QStringLiteral("ToPurge")},
        {BrokenType::ToPurgeAfterSync, QStringLiteral("ToPurgeAfterSync")},
        {BrokenType::ToPurgeRemoved, QStringLiteral("ToPurgeRemoved")},
    };
    return names;
}

} // namespace Varn::Archive
