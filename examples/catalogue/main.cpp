// A command-line client of the library: it uses what every caller gets, the shared library and its public headers.

#include <examples/catalogue/Catalogue.h>
#include <examples/catalogue/CommandLine.h>
#include <examples/catalogue/Destinations.h>
#include <examples/catalogue/Failure.h>
#include <examples/catalogue/Features.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Generation.h>
#include <examples/catalogue/Interrupt.h>
#include <examples/catalogue/Purge.h>
#include <examples/catalogue/Questions.h>
#include <examples/catalogue/Recorder.h>
#include <examples/catalogue/Report.h>
#include <examples/catalogue/Terminal.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QLoggingCategory>

using namespace Client;
using Tolm::SQL::DatabaseConnection;
using Tolm::SQL::DatabasePool;
using Command = CommandLine::Command;

namespace {

// The library reports failures to Qt's log. A record must not end up behind a progress bar.
void printLogRecord(QtMsgType, const QMessageLogContext &, const QString &text)
{
    clearLine(stderr);
    print(QStringLiteral("catalogue: %1\n").arg(text), stderr);
}

void printSummary(const Recorder &recorder, const CommandLine &line)
{
    const auto &session = recorder.session();
    print(QStringLiteral("Session %1, %2: %3\n")
              .arg(QString::number(session.id()), printable(line.argument), RunResult::text(session.result())));
    print(QStringLiteral("  recorded     %1, %2\n")
              .arg(countOf(session.uploadedCount(), QStringLiteral("file")), sizeText(session.uploadedSize())));
    print(QStringLiteral("  unchanged    %1\n").arg(countOf(recorder.unchanged(), QStringLiteral("file"))));
    const auto printIfAny = [](const char *what, quint64 count, const char *which) {
        if (count > 0)
            print(QStringLiteral("  %1 %2 %3\n")
                      .arg(QLatin1String(what), -12)
                      .arg(countText(count), QLatin1String(which)));
    };
    printIfAny("returned", recorder.returned(), "that had been deleted");
    printIfAny("deleted", recorder.deleted(), "that the catalogue knew");
    printIfAny("failed", session.failedCount(), "as told above");
    printIfAny("passed over", recorder.passedOver(), "that are links, special files or the catalogue itself");
    print(QStringLiteral("  took         %1\n").arg(durationText(session.duration())));
}

bool record(const CommandLine &line, const Catalogue &catalogue, DatabaseConnection &connection)
{
    watchForInterrupt();
    const auto destination = destinationToRecord(line.accountFile, connection);
    Recorder recorder(connection, destination, line.argument, catalogue.files());
    recorder.run();
    countRecording(connection);
    printSummary(recorder, line);
    return recorder.session().result().value() == RunResult::Succeeded;
}

// Whether the command found what it was asked for, or did all of it.
bool run(const CommandLine &line)
{
    const bool isRecord = line.command == Command::Record;
    const bool readsFolder = isRecord || line.command == Command::RecordGeneration;
    // Before the catalogue is opened, and so perhaps made. A folder that is not there is a slip of the pen or a disk
    // that is not mounted, and no reason to mark everything that was in it as deleted.
    if (readsFolder && !QFileInfo(line.argument).isDir())
        throw Failure(QStringLiteral("%1 is no folder").arg(line.argument));
    if (line.command == Command::RecordGeneration)
        return recordGeneration(line);
    if (line.command == Command::ListGeneration)
        return listGeneration(line);
    const Catalogue catalogue(line.catalogue,
                              isRecord ? Catalogue::WhenMissing::Create : Catalogue::WhenMissing::Refuse);
    DatabaseConnection connection(DatabasePool::defaultPool());
    if (!connection.isOpen())
        throw Failure(QStringLiteral("the catalogue cannot be reached"));
    if (isRecord)
        return record(line, catalogue, connection);

    const auto destinations = destinationsToAsk(line.accountFile, connection);
    if (line.command == Command::Report)
        return printReport(destinations, connection);
    if (line.command == Command::Purge)
        return purge(line, destinations, connection);
    const Questions questions(destinations, connection);
    switch (line.command) {
    case Command::List:
        return questions.list(line.argument, line.at);
    case Command::Versions:
        return questions.versions(line.argument);
    default:
        return questions.find(line.argument);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(printLogRecord);
    // What the library does is of no interest here while it goes well; QT_LOGGING_RULES can ask for more.
    QLoggingCategory::setFilterRules(QStringLiteral("SQL.debug=false\nSQL.info=false"));
    try {
        const CommandLine line = parseCommandLine(QCoreApplication::arguments());
        if (line.command == Command::ShowText) {
            print(line.text);
            return 0;
        }
        return run(line) ? 0 : 1;
    } catch (const Failure &failure) {
        print(QStringLiteral("catalogue: %1\n").arg(printable(failure.text())), stderr);
        return 2;
    }
}
