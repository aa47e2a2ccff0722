#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>

#include <examples/catalogue/Destinations.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Questions.h>
#include <examples/catalogue/Table.h>
#include <examples/catalogue/Terminal.h>

#include <algorithm>
#include <limits>

using namespace Tolm::SQL;

namespace Client {

namespace {

constexpr auto Right = Table::Align::Right;

// "" for a file that is there; the time at which it was found gone.
QString deletedText(const CloudFile &file)
{
    return file.dateDeleted().isValid() ? dateText(file.dateDeleted()) : QString();
}

void addFile(Table &table, const CloudFile &file, const QDateTime &at, DatabaseConnection &connection)
{
    const auto versions = CloudFileVersion::select_(file.id(), connection);
    const auto count = static_cast<quint64>(versions.size());
    if (!at.isValid()) {
        table.add({sizeText(file.originalSize()), dateText(file.dateModified()), countText(count), deletedText(file),
                   file.displayName()});
        return;
    }
    const auto version = CloudFileVersion::selectPointInTime(file.id(), at, connection);
    const bool wasDeleted = file.dateDeleted().isValid() && file.dateDeleted() <= at;
    if (version && !wasDeleted) {
        table.add({sizeText(version->originalSize()), dateText(version->dateModified()), countText(count),
                   deletedText(file), file.displayName()});
    }
}

} // namespace

Questions::Questions(const QList<QSharedPointer<Destination>> &destinations, DatabaseConnection &connection)
    : m_destinations(destinations)
    , m_connection(connection)
{}

bool Questions::list(const QString &path, const QDateTime &at) const
{
    bool found = false;
    for (const auto &destination : m_destinations)
        found = listOne(*destination, path, at) || found;
    if (!found) {
        const QString when = at.isValid() ? QStringLiteral(" at %1 UTC").arg(dateText(at)) : QString();
        print(QStringLiteral("The catalogue holds nothing at %1%2.\n").arg(printable(path), when));
    }
    return found;
}

bool Questions::listOne(const Destination &destination, const QString &path, const QDateTime &at) const
{
    Table table({{QStringLiteral("Size"), Right},
                 {QStringLiteral("Modified (UTC)")},
                 {QStringLiteral("Versions"), Right},
                 {QStringLiteral("Deleted (UTC)")},
                 {QStringLiteral("Name")}});
    const auto folder = CloudFolder::select(destination.id(), path, m_connection);
    if (folder) {
        const auto subfolders = CloudFolder::select(folder->id(), 0, 0, m_connection);
        for (const auto &subfolder : subfolders)
            table.add({{}, {}, {}, {}, subfolder->displayName() + QLatin1Char('/')});
        const auto files = CloudFile::selectFolder(folder->id(), 0, 0, m_connection);
        for (const auto &file : files)
            addFile(table, *file, at, m_connection);
    } else if (const auto file = CloudFile::select_(destination.id(), path, m_connection)) {
        addFile(table, *file, at, m_connection);
    }
    if (table.isEmpty())
        return false;
    printTitle(destination);
    table.print();
    return true;
}

bool Questions::versions(const QString &path) const
{
    bool found = false;
    for (const auto &destination : m_destinations) {
        const auto file = CloudFile::select_(destination->id(), path, m_connection);
        if (!file)
            continue;
        Table table({{QStringLiteral("Version"), Right},
                     {QStringLiteral("Modified (UTC)")},
                     {QStringLiteral("Size"), Right},
                     {QStringLiteral("Backed up (UTC)")},
                     {QStringLiteral("Stored as")}});
        const auto all = CloudFileVersion::select_(file->id(), m_connection);
        for (const auto &version : all) {
            table.add({QString::number(version->id()), dateText(version->dateModified()),
                       sizeText(version->originalSize()), dateText(version->dateBackup()),
                       QString::fromUtf8(version->cloudPath())});
        }
        printTitle(*destination);
        table.print();
        if (file->dateDeleted().isValid())
            print(QStringLiteral("Found deleted at %1 UTC.\n").arg(dateText(file->dateDeleted())));
        found = true;
    }
    if (!found)
        print(QStringLiteral("The catalogue knows no file %1.\n").arg(printable(path)));
    return found;
}

bool Questions::find(const QString &text) const
{
    // One page: rows that come in no particular order cannot be paged through reliably.
    constexpr quint64 All = std::numeric_limits<qint64>::max();
    bool found = false;
    for (const auto &destination : m_destinations) {
        // Names are stored in lower case; the search itself disregards the case of ASCII letters only.
        auto files = CloudFile::selectByName(All, 0, destination->id(), text.toLower(), m_connection);
        if (files.isEmpty())
            continue;
        std::sort(files.begin(), files.end(),
                  [](const auto &left, const auto &right) { return left->localPath() < right->localPath(); });
        Table table({{QStringLiteral("Size"), Right},
                     {QStringLiteral("Modified (UTC)")},
                     {QStringLiteral("Deleted (UTC)")},
                     {QStringLiteral("Path")}});
        for (const auto &file : files) {
            table.add({sizeText(file->originalSize()), dateText(file->dateModified()), deletedText(*file),
                       file->localPath()});
        }
        printTitle(*destination);
        table.print();
        found = true;
    }
    if (!found)
        print(QStringLiteral("No file's name contains \"%1\".\n").arg(printable(text)));
    return found;
}

void Questions::printTitle(const Destination &destination) const
{
    if (m_destinations.size() > 1)
        print(QStringLiteral("%1:\n").arg(printable(describe(destination))));
}

} // namespace Client
