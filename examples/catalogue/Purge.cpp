#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <examples/catalogue/Failure.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Purge.h>
#include <examples/catalogue/Table.h>
#include <examples/catalogue/Terminal.h>

#include <QSet>

#include <algorithm>

using namespace Tolm::SQL;

namespace Client {

namespace {

constexpr int BatchSize = 1000;

// The library compares the beginnings of paths; /a must not take /ab along.
bool liesBelow(const QString &path, const QStringList &roots)
{
    return std::any_of(roots.begin(), roots.end(), [&path](const QString &root) {
        return path == root || path.startsWith(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/'));
    });
}

// What goes, each version once: the library may name one for several reasons.
CheckCloudFiles4Purge::Selection select(const CommandLine &line, quint64 destination, DatabaseConnection &connection)
{
    CheckCloudFiles4Purge policy(destination);
    if (line.olderDays)
        policy.deleteVersionOlder(true, *line.olderDays, true, CheckCloudFiles4Purge::VersionOlderType::DateModified);
    if (line.keep)
        policy.keepNumberOfVersion(true, *line.keep);
    if (line.deletedDays)
        policy.deleteLocalyDeleted(true, *line.deletedDays);

    CheckCloudFiles4Purge::Selection selection;
    QSet<quint64> seen;
    const auto all = policy.files(line.paths, connection);
    for (const auto &one : all) {
        if (!seen.contains(one.first->id()) && liesBelow(one.first->path(), line.paths)) {
            seen.insert(one.first->id());
            selection.append(one);
        }
    }
    return selection;
}

void remove(const CheckCloudFiles4Purge::Selection &selection, DatabaseConnection &connection)
{
    for (int start = 0; start < selection.size(); start += BatchSize) {
        DatabaseTransaction transaction(connection);
        for (const auto &one : selection.mid(start, BatchSize)) {
            if (!one.first->delete_(true, connection))
                throw Failure(QStringLiteral("version %1 cannot be removed").arg(one.first->id()));
        }
        if (transaction.commit() != ResultCode::Ok)
            throw Failure(QStringLiteral("the removal cannot be committed; %1 were removed before")
                              .arg(countOf(static_cast<quint64>(start), QStringLiteral("version"))));
    }
}

} // namespace

bool purge(const CommandLine &line, const QList<QSharedPointer<Destination>> &destinations,
           DatabaseConnection &connection)
{
    quint64 versions = 0;
    quint64 bytes = 0;
    for (const auto &destination : destinations) {
        const auto selection = select(line, destination->id(), connection);
        if (selection.isEmpty())
            continue;
        Table table({{QStringLiteral("Version"), Table::Align::Right},
                     {QStringLiteral("Modified (UTC)")},
                     {QStringLiteral("Size"), Table::Align::Right},
                     {QStringLiteral("Reason")},
                     {QStringLiteral("Path")}});
        for (const auto &one : selection) {
            table.add({QString::number(one.first->id()), dateText(one.first->dateModified()),
                       sizeText(one.first->size()), CheckCloudFiles4Purge::reasonToString(one.second),
                       one.first->path()});
            bytes += one.first->size();
        }
        versions += static_cast<quint64>(selection.size());
        table.print();
        if (!line.dryRun)
            remove(selection, connection);
    }
    if (versions == 0) {
        print(QStringLiteral("Nothing is to go.\n"));
        return false;
    }
    print(QStringLiteral("%1 %2, %3 %4 free.\n")
              .arg(countOf(versions, QStringLiteral("version")),
                   line.dryRun ? QStringLiteral("would go") : QStringLiteral("gone"), sizeText(bytes),
                   line.dryRun ? QStringLiteral("would come") : QStringLiteral("came")));
    return true;
}

} // namespace Client
