#include <repository/catalog/History.h>
#include <repository/catalog/PlanName.h>
#include <repository/catalog/SessionHistory.h>
#include <repository/database/Statistics.h>

#include <platform/Tolm/HistoryOperation.h>
#include <platform/Varn/Utility.h>

#include <examples/catalogue/Destinations.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Report.h>
#include <examples/catalogue/Session.h>
#include <examples/catalogue/Table.h>
#include <examples/catalogue/Terminal.h>

#include <algorithm>

using namespace Tolm::SQL;
using Tolm::Info::History::OperationType;

namespace Client {

namespace {

constexpr auto Right = Table::Align::Right;
constexpr int MostSessions = 10;
constexpr int MostOperations = 10;

using PlanNames = QMap<QUuid, QSharedPointer<PlanName>>;

void printSection(const QString &title, const Table &table)
{
    if (table.isEmpty())
        return;
    print(QStringLiteral("\n%1\n\n").arg(title));
    table.print();
}

void printSessions(const QList<QSharedPointer<SessionHistory>> &sessions, const PlanNames &plans)
{
    Table table({{QStringLiteral("Session"), Right},
                 {QStringLiteral("Started (UTC)")},
                 {QStringLiteral("Took"), Right},
                 {QStringLiteral("Result")},
                 {QStringLiteral("Scanned"), Right},
                 {QStringLiteral("Recorded"), Right},
                 {QStringLiteral("Size"), Right},
                 {QStringLiteral("Failed"), Right},
                 {QStringLiteral("Plan")}});
    for (const auto &session : sessions) {
        const auto plan = plans.value(session->palnId());
        table.add({QString::number(session->id()), dateText(session->dateStart()), durationText(session->duration()),
                   RunResult::text(session->result()), countText(session->scannedCount()),
                   countText(session->uploadedCount()), sizeText(session->uploadedSize()),
                   countText(session->failedCount()), plan ? plan->name() : QString()});
    }
    printSection(QStringLiteral("Last sessions"), table);
}

void printOperations(const QString &title, const QList<QSharedPointer<History>> &operations)
{
    Table table({{QStringLiteral("Size"), Right},
                 {QStringLiteral("Modified (UTC)")},
                 {QStringLiteral("Message")},
                 {QStringLiteral("Path")}});
    for (const auto &operation : operations) {
        table.add({sizeText(operation->size()), dateText(operation->dateModified()), operation->message(),
                   operation->localPath()});
    }
    printSection(title, table);
}

void printLastSession(const SessionHistory &session, DatabaseConnection &connection)
{
    const quint64 count = session.uploadedCount() + session.failedCount();
    const auto operations = History::select(session.id(), MostOperations, 0, connection);
    printOperations(QStringLiteral("Operations of session %1 (%2 of %3)")
                        .arg(QString::number(session.id()), countText(static_cast<quint64>(operations.size())),
                             countText(std::max(count, static_cast<quint64>(operations.size())))),
                    operations);
    if (session.failedCount() == 0)
        return;
    // Since its start: sessions of one plan that run at the same time share this list.
    const auto failed = History::select(session.palnId(), session.dateStart(), {}, 0, OperationType::Failed, {},
                                        MostOperations, connection);
    printOperations(QStringLiteral("Failed since its start"), failed);
}

void printPlans(const PlanNames &plans)
{
    Table table({{QStringLiteral("Id")}, {QStringLiteral("Type")}, {QStringLiteral("Name")}});
    for (const auto &plan : plans) {
        table.add({Varn::Utility::Uuid2String::windows(plan->id()),
                   Tolm::Info::Plan::SubTypeToString.value(plan->type()), plan->name()});
    }
    printSection(QStringLiteral("Plans"), table);
}

void printFeatures(DatabaseConnection &connection)
{
    Table table({{QStringLiteral("Uses"), Right}, {QStringLiteral("Last use (UTC)")}, {QStringLiteral("Feature")}});
    const auto features = Statistics::select(connection).list;
    for (const auto &feature : features) {
        table.add({countText(static_cast<quint64>(feature->counter())), dateText(feature->lastUseDate()),
                   feature->featureName()});
    }
    printSection(QStringLiteral("Features"), table);
}

void printDestinations(const QList<QSharedPointer<Destination>> &destinations, DatabaseConnection &connection)
{
    Table table({{QStringLiteral("Versions"), Right},
                 {QStringLiteral("Size"), Right},
                 {QStringLiteral("Folders"), Right},
                 {QStringLiteral("Destination")}});
    for (const auto &destination : destinations) {
        // When that fails, what was counted last is still an answer.
        destination->updateStatistic(connection);
        table.add({countText(static_cast<quint64>(destination->fileCount())), sizeText(destination->usedSpace()),
                   countText(static_cast<quint64>(destination->folderCount())), describe(*destination)});
    }
    printSection(QStringLiteral("Destinations"), table);
}

} // namespace

bool printReport(const QList<QSharedPointer<Destination>> &destinations, DatabaseConnection &connection)
{
    const auto sessions = SessionHistory::selectLast(MostSessions, 0, connection);
    if (sessions.isEmpty()) {
        print(QStringLiteral("Nothing has been recorded yet.\n"));
        return false;
    }
    const PlanNames plans = PlanName::select(connection);
    printSessions(sessions, plans);
    printLastSession(*sessions.last(), connection);
    printPlans(plans);
    printFeatures(connection);
    printDestinations(destinations, connection);
    return true;
}

} // namespace Client
