#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/DeletedMarks_p.h>
#include <repository/catalog/PurgePass_p.h>
#include <repository/catalog/PurgeRules_p.h>
#include <repository/catalog/PurgeThreshold_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Records_p.h>

#include <QHash>

#include <algorithm>

namespace Tolm::SQL {

namespace {

// So many versions are read whole at once.
constexpr int BatchSize = 500;

struct Chosen {
    quint64 version;
    CheckCloudFiles4Purge::Reason reason;
};

} // namespace

CheckCloudFiles4Purge::CheckCloudFiles4Purge(unsigned long long destinationId)
    : m_destinationId(destinationId)
{}

void CheckCloudFiles4Purge::deleteVersionOlder(bool enable, long days, bool keepLastVersion, VersionOlderType type)
{
    m_policy.ageEnabled = enable;
    m_policy.ageDays = days;
    m_policy.keepLastVersion = keepLastVersion;
    m_policy.ageType = type;
}

void CheckCloudFiles4Purge::keepNumberOfVersion(bool enable, unsigned long long count)
{
    m_policy.countEnabled = enable;
    m_policy.count = count;
}

void CheckCloudFiles4Purge::deleteLocalyDeleted(bool enable, unsigned long long days)
{
    m_policy.deletedEnabled = enable;
    m_policy.deletedDays = days;
}

QString CheckCloudFiles4Purge::reasonToString(Reason reason)
{
    switch (reason) {
    case Reason::RetentionTime:
        return QStringLiteral("RetentionTime");
    case Reason::NumberOfVersions:
        return QStringLiteral("NumberOfVersions");
    case Reason::DeletedLocally:
        return QStringLiteral("DeletedLocally");
    }
    return QStringLiteral("Unknown");
}

PurgeRules CheckCloudFiles4Purge::rules() const
{
    PurgeRules rules;
    rules.ageType = m_policy.ageType;
    rules.keepLastVersion = m_policy.keepLastVersion;
    if (m_policy.ageEnabled && m_policy.ageType != VersionOlderType::NoLimit)
        rules.ageThreshold = purgeThreshold(m_policy.ageDays);
    if (m_policy.countEnabled)
        rules.count = m_policy.count;
    return rules;
}

CheckCloudFiles4Purge::Selection CheckCloudFiles4Purge::files(const QStringList &paths, DatabaseConnection &connection)
{
    Selection selection;
    if (paths.isEmpty())
        return selection;
    if (m_policy.ageEnabled || m_policy.countEnabled) {
        if (!appendByRules(paths, connection, selection))
            return {};
    }
    if (m_policy.deletedEnabled)
        appendDeleted(paths, connection, selection);
    return selection;
}

bool CheckCloudFiles4Purge::appendByRules(const QStringList &paths, DatabaseConnection &connection,
                                          Selection &selection) const
{
    switch (m_policy.ageType) {
    case VersionOlderType::NoLimit:
    case VersionOlderType::DateModified:
    case VersionOlderType::DateBackup:
        break;
    default:
        if (m_policy.ageEnabled)
            return false;
    }

    const PurgeRules rules = this->rules();
    QVector<Chosen> chosen;
    PurgePass pass(m_destinationId, paths, connection);
    const bool read = pass.run([&](const QVector<VersionFacts> &versions) {
        if (!rules.isCandidate(versions))
            return;
        const QVector<Judgement> judgements = rules.judgeFile(versions);
        for (const Judgement &judgement : judgements)
            chosen.append({versions.at(judgement.index).id, judgement.reason});
    });
    if (!read)
        return false;

    for (int start = 0; start < chosen.size(); start += BatchSize) {
        const QVector<Chosen> batch = chosen.mid(start, BatchSize);
        QVector<quint64> ids;
        std::transform(batch.begin(), batch.end(), std::back_inserter(ids),
                       [](const Chosen &one) { return one.version; });
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());

        const auto found = CloudFileVersion::selectByIds(ids, connection);
        if (found.error != ResultCode::Ok)
            return false;
        QHash<quint64, QSharedPointer<CloudFileVersion>> versions;
        for (const auto &version : found.list)
            versions.insert(version->id(), version);
        for (const Chosen &one : batch) {
            if (const auto version = versions.value(one.version))
                selection.append({version, one.reason});
        }
    }
    return true;
}

void CheckCloudFiles4Purge::appendDeleted(const QStringList &paths, DatabaseConnection &connection,
                                          Selection &selection) const
{
    const std::optional<qint64> threshold = purgeThreshold(m_policy.deletedDays);
    if (!threshold)
        return;
    QVector<quint64> files;
    {
        Statement statement(connection,
                            QStringLiteral("select id, local_path from cloud_files where date_deleted_utc <= "
                                           ":date_deleted_utc and destination_id = :destination_id"));
        statement.bind(":date_deleted_utc", *threshold).bind(":destination_id", m_destinationId);
        if (statement.exec() != ResultCode::Ok)
            return;
        while (statement.next()) {
            if (checkFilePath(statement.value(1).toString(), paths))
                files.append(Stored::Number::load<quint64>(statement.value(0)));
        }
        if (statement.code() != ResultCode::Ok)
            return;
    }
    for (const quint64 file : qAsConst(files)) {
        const auto versions = CloudFileVersion::select_(file, connection);
        for (const auto &version : versions)
            selection.append({version, Reason::DeletedLocally});
    }
}

CheckCloudFiles4Purge::Selection CheckCloudFiles4Purge::checkFileBackup(QList<QSharedPointer<CloudFileVersion>> &fulls)
{
    QVector<VersionFacts> facts;
    for (const auto &full : qAsConst(fulls))
        facts.append(VersionFacts::of(*full));

    const PurgeRules::Result result = rules().judgeFulls(facts);
    Selection selection;
    for (const Judgement &judgement : result.judgements)
        selection.append({fulls.at(judgement.index), judgement.reason});
    fulls.erase(fulls.begin(), fulls.begin() + result.looked);
    return selection;
}

void CheckCloudFiles4Purge::updateDeleteLocallyPath(const QString &diskPath, const QString &catalogPath,
                                                    DatabaseConnection &connection)
{
    DeletedMarks(connection).updatePath(m_destinationId, diskPath, catalogPath);
}

void CheckCloudFiles4Purge::updateDeleteLocally4Dir(const QString &diskDir, unsigned long long folderId,
                                                    DatabaseConnection &connection)
{
    DeletedMarks(connection).updateFolder(diskDir, folderId);
}

bool checkFilePath(const QString &path, const QStringList &roots)
{
    return std::any_of(roots.begin(), roots.end(), [&path](const QString &root) { return path.startsWith(root); });
}

QDateTime findNextFull(const QDateTime &after, const QList<QSharedPointer<CloudFileVersion>> &versions)
{
    // Every date is later than an invalid one; it must not make a chain's end out of nothing.
    if (!after.isValid())
        return {};
    for (const auto &version : versions) {
        if (VersionFacts::of(*version).startsChain() && version->dateModified() > after)
            return version->dateModified();
    }
    return {};
}

} // namespace Tolm::SQL
