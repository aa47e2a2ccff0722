#include <repository/database/DatabaseConnection.h>
#include <repository/generation/AttachDatabase.h>
#include <repository/generation/FileListingRecursive.h>

#include <examples/catalogue/Failure.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Generation.h>
#include <examples/catalogue/GenerationRecorder.h>
#include <examples/catalogue/Table.h>
#include <examples/catalogue/Terminal.h>

#include <QFileInfo>

using namespace Tolm::SQL;
using namespace Tolm::SQL::Generation;

namespace Client {

namespace {

QSharedPointer<AttachDatabase> attach(const QString &file)
{
    const auto generation = AttachDatabase::attach(file, QUuid::createUuid());
    if (!generation)
        throw Failure(QStringLiteral("cannot open the generation at %1").arg(file));
    return generation;
}

} // namespace

bool recordGeneration(const CommandLine &line)
{
    const auto generation = attach(line.generation);
    DatabaseConnection connection(generation->attachedDatabasePool());
    GenerationRecorder recorder(connection, line.argument);
    recorder.run();

    const RestorePoints &point = recorder.restorePoint();
    const auto files = [](long long number) { return countOf(static_cast<quint64>(number), QStringLiteral("file")); };
    const auto folders = [](long long number) {
        return countOf(static_cast<quint64>(number), QStringLiteral("folder"));
    };
    print(QStringLiteral("Restore point %1, %2\n").arg(point.sequenceNumber()).arg(printable(line.argument)));
    print(QStringLiteral("  recorded     %1, %2, %3\n")
              .arg(files(point.filesBackedUp()), folders(point.foldersBackedUp()),
                   sizeText(static_cast<quint64>(point.newBytes()))));
    print(QStringLiteral("  deleted      %1, %2\n").arg(files(point.filesDeleted()), folders(point.foldersDeleted())));
    print(QStringLiteral("  unchanged    %1\n").arg(countOf(recorder.unchanged(), QStringLiteral("file"))));
    return recorder.unreadable() == 0;
}

bool listGeneration(const CommandLine &line)
{
    if (!QFileInfo::exists(line.generation))
        throw Failure(QStringLiteral("there is no generation at %1").arg(line.generation));
    const auto generation = attach(line.generation);
    FileListingRecursive listing(line.paths, line.at, line.filesOnly, !line.showDeleted,
                                 generation->attachedDatabasePool());
    Table table({{QStringLiteral("Size"), Table::Align::Right},
                 {QStringLiteral("Modified (UTC)")},
                 {QStringLiteral("State")},
                 {QStringLiteral("Path")}});
    ProgressBar progress;
    quint64 entries = 0;
    const auto state = [](bool deleted) { return deleted ? QStringLiteral("deleted") : QString(); };
    for (auto entry = listing.next(); entry.first || entry.second; entry = listing.next()) {
        if (++entries % 1000 == 0)
            progress.announce(QStringLiteral("%1 entries").arg(countText(entries)));
        if (entry.first) {
            table.add({sizeText(static_cast<quint64>(entry.first->originalSize())),
                       dateText(entry.first->dateModificationUtc()), state(entry.first->deleted()),
                       entry.first->localPath()});
        } else {
            table.add({{}, {}, state(entry.second->deleted()), entry.second->localPath() + QLatin1Char('/')});
        }
    }
    progress.clear();
    if (const int error = listing.hasNext().error; error != 0)
        throw Failure(QStringLiteral("the generation cannot be read, code %1").arg(error));
    if (table.isEmpty())
        print(QStringLiteral("The generation holds nothing there.\n"));
    else
        table.print();
    return !table.isEmpty();
}

} // namespace Client
