#include <repository/catalog/PlanName.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Utitlity.h>

#include <examples/catalogue/Failure.h>
#include <examples/catalogue/Format.h>
#include <examples/catalogue/Interrupt.h>
#include <examples/catalogue/Session.h>

#include <QUuid>

#include <sys/resource.h>

using namespace Tolm::SQL;
using Tolm::Info::Plan::PlanResult;
using Tolm::Info::Plan::SubType;

namespace Client {

const QString SuccessMessage = QStringLiteral("Success");

namespace {

constexpr int StepsPerTransaction = 1000;

// Of this client's plans, one a folder; a new random one would make each run another plan.
QUuid planOf(const QString &folder)
{
    static const QUuid plans(QStringLiteral("{6f0ab0c2-5b7e-4a62-9d5e-3c1f6f1f2a70}"));
    return QUuid::createUuidV5(plans, folder);
}

quint64 milliseconds(const timeval &time)
{
    return static_cast<quint64>(time.tv_sec) * 1000 + static_cast<quint64>(time.tv_usec) / 1000;
}

} // namespace

QString RunResult::text(const PlanResult &result)
{
    switch (static_cast<int>(result.value())) {
    case Succeeded:
        return QStringLiteral("succeeded");
    case Failed:
        return QStringLiteral("failed");
    case PlanResult::NotSet:
        return QStringLiteral("not ended");
    case Interrupted:
        return QStringLiteral("interrupted");
    case SomeFailed:
        return QStringLiteral("some failed");
    default:
        return QString::number(result.value());
    }
}

Session::Session(DatabaseConnection &connection, const Destination &destination, const QString &folder)
    : m_connection(connection)
{
    m_elapsed.start();
    m_row.setDestinationId(destination.id());
    m_row.setPalnId(planOf(folder));
    m_row.setDateStart(Utitlity::modifiedDateTime(QDateTime::currentDateTimeUtc()));

    begin();
    if (!PlanName::update(m_row.palnId(), QStringLiteral("Record ") + folder, SubType::Backup, connection) ||
        !m_row.insert(connection))
        throw Failure(QStringLiteral("the session cannot be stored"));
    commit();
    begin();
}

void Session::addOperation(History &operation)
{
    operation.setDestinationId(m_row.destinationId());
    operation.setPalnId(m_row.palnId());
    operation.setSessionId(m_row.id());
    operation.setDateFinished(Utitlity::modifiedDateTime(QDateTime::currentDateTimeUtc()));
    if (!operation.insert(m_connection))
        throw Failure(QStringLiteral("the operation on %1 cannot be stored").arg(operation.localPath()));
}

void Session::step()
{
    if (++m_steps < StepsPerTransaction)
        return;
    commit();
    m_isStopping = interrupted();
    begin();
}

void Session::end()
{
    if (m_isStopping)
        m_row.setResult(PlanResult(RunResult::Interrupted));
    else
        m_row.setResult(PlanResult(m_row.failedCount() > 0 ? RunResult::SomeFailed : RunResult::Succeeded));
    if (m_row.failedCount() > 0)
        m_row.setErrorMessage(countOf(m_row.failedCount(), QStringLiteral("operation")) + QStringLiteral(" failed"));
    commit();
}

void Session::fail(const QString &reason)
{
    m_transaction.reset();
    m_row = m_committed;
    m_row.setResult(PlanResult(RunResult::Failed));
    m_row.setErrorMessage(reason);
    measure();
    m_row.update(m_connection); // may well fail, too; the reason is on its way to the user already
}

void Session::begin()
{
    m_steps = 0;
    m_transaction.emplace(m_connection);
    if (!m_transaction->isActive())
        throw Failure(QStringLiteral("the catalogue cannot be written, code %1").arg(m_transaction->error()));
}

void Session::commit()
{
    measure();
    if (!m_row.update(m_connection))
        throw Failure(QStringLiteral("the session cannot be stored"));
    const int code = m_transaction->commit();
    if (code != ResultCode::Ok) {
        throw Failure(QStringLiteral("the commit failed with code %1: the last %2, folders included, are not recorded")
                          .arg(QString::number(code), countOf(static_cast<quint64>(m_steps), QStringLiteral("file"))));
    }
    m_committed = m_row;
}

// Times in milliseconds, memory in bytes.
void Session::measure()
{
    m_row.setDuration(static_cast<quint64>(m_elapsed.elapsed()));
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) == 0) {
        m_row.setProcessorTime(milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime));
        m_row.setPeerMemmoryUsage(static_cast<quint64>(usage.ru_maxrss) * 1024);
    }
}

} // namespace Client
