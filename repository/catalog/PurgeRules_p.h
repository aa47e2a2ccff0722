#pragma once

#include <repository/catalog/CheckCloudFiles4Purge.h>

#include <QVector>

#include <optional>

namespace Tolm::SQL {

/// What the rules look at of one version: dates as 14-digit numbers, 0 for none.
struct VersionFacts {
    quint64 id = 0;
    qint64 dateModified = 0;
    qint64 dateBackup = 0;
    int kind = 0;
    bool blockLevelIsFull = false;

    static VersionFacts of(const CloudFileVersion &version);

    /// A copy that needs no other one.
    bool isFull() const;
    /// A full copy with a block-level chain behind it.
    bool startsChain() const;
    bool belongsToChain() const;
};

/// One chosen version, by its place in the list that was judged.
struct Judgement {
    int index;
    CheckCloudFiles4Purge::Reason reason;
};

/// The age and count rules, with the age's threshold fixed.
struct PurgeRules {
    CheckCloudFiles4Purge::VersionOlderType ageType = CheckCloudFiles4Purge::VersionOlderType::NoLimit;
    std::optional<qint64> ageThreshold; ///< 14 digits; without it the age rule is off
    bool keepLastVersion = false;
    std::optional<quint64> count; ///< without it the count rule is off

    struct Result {
        QVector<Judgement> judgements; ///< those of the count rule first
        int looked = 0;                ///< how many versions from the front the rules have looked at
    };

    /// Whether a file can lose anything: it has several versions, or its only one is old.
    bool isCandidate(const QVector<VersionFacts> &versions) const;

    /// Judges a file's full versions, oldest first.
    Result judgeFulls(const QVector<VersionFacts> &fulls) const;

    /// Judges a file by all its versions, oldest first: a full copy goes alone, or with the chain up to the next full
    /// one.
    QVector<Judgement> judgeFile(const QVector<VersionFacts> &versions) const;

private:
    bool isOld(const VersionFacts &version) const;
};

} // namespace Tolm::SQL
