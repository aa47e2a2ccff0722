#include <repository/catalog/PurgeRules_p.h>
#include <repository/database/CatalogDate_p.h>

#include <algorithm>

namespace Tolm::SQL {

namespace {

using Reason = CheckCloudFiles4Purge::Reason;
using VersionOlderType = CheckCloudFiles4Purge::VersionOlderType;

constexpr int DifferentialRevision = 2;
constexpr int BlockLevelRevision = 3;

// The time of the full copy that follows the one at `after` in the list, 0 when there is none.
qint64 nextChainStart(qint64 after, const QVector<VersionFacts> &versions)
{
    const auto next = std::find_if(versions.begin(), versions.end(), [after](const VersionFacts &version) {
        return version.startsChain() && version.dateModified > after;
    });
    return next == versions.end() ? 0 : next->dateModified;
}

} // namespace

VersionFacts VersionFacts::of(const CloudFileVersion &version)
{
    return {version.id(), CatalogDate::toNumber(version.dateModified()).value_or(0),
            CatalogDate::toNumber(version.dateBackup()).value_or(0), version.attribute(), version.blockLevelIsFull()};
}

bool VersionFacts::isFull() const
{
    switch (kind) {
    case -1:
    case 0:
    case 1:
    case 4:
    case 8:
    case 9:
        return true;
    default:
        return startsChain();
    }
}

bool VersionFacts::startsChain() const
{
    return kind == BlockLevelRevision && blockLevelIsFull;
}

bool VersionFacts::belongsToChain() const
{
    return kind == BlockLevelRevision || kind == DifferentialRevision;
}

bool PurgeRules::isCandidate(const QVector<VersionFacts> &versions) const
{
    if (versions.size() != 1)
        return versions.size() > 1;
    return ageThreshold && ageType != VersionOlderType::NoLimit && isOld(versions.first());
}

PurgeRules::Result PurgeRules::judgeFulls(const QVector<VersionFacts> &fulls) const
{
    Result result;
    const auto left = [&] { return static_cast<quint64>(fulls.size() - result.looked); };

    while (count && left() > *count)
        result.judgements.append({result.looked++, Reason::NumberOfVersions});

    if (!ageThreshold || ageType == VersionOlderType::NoLimit)
        return result;
    const bool isKnownType = ageType == VersionOlderType::DateModified || ageType == VersionOlderType::DateBackup;
    const quint64 keep = keepLastVersion ? 1 : 0;
    while (left() > keep) {
        const int index = result.looked++;
        if (!isKnownType)
            continue;
        if (!isOld(fulls.at(index)))
            break;
        result.judgements.append({index, Reason::RetentionTime});
    }
    return result;
}

// An undated version is not old: nobody knows that it is.
bool PurgeRules::isOld(const VersionFacts &version) const
{
    const qint64 date = ageType == VersionOlderType::DateBackup ? version.dateBackup : version.dateModified;
    return date != 0 && date < *ageThreshold;
}

QVector<Judgement> PurgeRules::judgeFile(const QVector<VersionFacts> &versions) const
{
    QVector<VersionFacts> fulls;
    QVector<int> places;
    for (int place = 0; place < versions.size(); ++place) {
        if (versions.at(place).isFull()) {
            fulls.append(versions.at(place));
            places.append(place);
        }
    }

    QVector<Judgement> chosen;
    const QVector<Judgement> judgements = judgeFulls(fulls).judgements;
    for (const Judgement &judgement : judgements) {
        const VersionFacts &full = fulls.at(judgement.index);
        if (!full.startsChain()) {
            chosen.append({places.at(judgement.index), judgement.reason});
            continue;
        }
        // Without a later full copy this is the newest chain, and without a date nobody knows which one it is: both
        // stay.
        const qint64 next = full.dateModified == 0 ? 0 : nextChainStart(full.dateModified, versions);
        for (int place = 0; next != 0 && place < versions.size(); ++place) {
            const VersionFacts &version = versions.at(place);
            if (version.belongsToChain() && version.dateModified != 0 && version.dateModified < next)
                chosen.append({place, judgement.reason});
        }
    }
    return chosen;
}

} // namespace Tolm::SQL
