#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Writers.h>

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QVector>

#include <atomic>
#include <fcntl.h>
#include <future>
#include <iostream>
#include <memory>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Tolm::Benchmarks {

namespace {

constexpr int MostMilliseconds = 120000;

std::atomic<int> retries{0};

void countOrShow(QtMsgType type, const QMessageLogContext & /*context*/, const QString &message)
{
    if (message.startsWith(QLatin1String("Go to retry sql query")))
        ++retries;
    else if (type != QtInfoMsg)
        std::cerr << qPrintable(message) << '\n';
}

Working takeTurns(int turns, const Turn &turn)
{
    Working working;
    working.turns.reserve(static_cast<std::size_t>(turns));
    working.begin = wallSeconds();
    for (int i = 0; i < turns; ++i)
        working.turns.push_back(measured(turn, wallSeconds));
    working.end = wallSeconds();
    return working;
}

} // namespace

std::vector<Working> onThreads(int threads, int turns, const std::function<Turn()> &makeTurn)
{
    const auto count = static_cast<std::size_t>(threads);
    const int retriesBefore = retries;
    std::vector<Working> workings(count);
    std::vector<std::promise<void>> ready(count);
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> running;
    for (std::size_t i = 0; i < count; ++i) {
        running.emplace_back([&, i] {
            const Turn turn = makeTurn();
            ready[i].set_value();
            started.wait();
            workings[i] = takeTurns(turns, turn);
        });
    }
    for (std::promise<void> &one : ready)
        one.get_future().wait();
    start.set_value();
    for (std::thread &thread : running)
        thread.join();
    workings.front().retries = retries - retriesBefore; // one count for all threads
    return workings;
}

std::vector<Working> onProcesses(int processes, const QStringList &arguments)
{
    std::vector<std::unique_ptr<QProcess>> children;
    for (int i = 0; i < processes; ++i) {
        const auto &child = children.emplace_back(std::make_unique<QProcess>());
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start(QCoreApplication::applicationFilePath(), arguments);
    }
    for (const auto &child : children) {
        if (!child->waitForReadyRead(MostMilliseconds) || child->read(1) != "r")
            qFatal("a child did not start: %s", qPrintable(child->errorString()));
    }
    for (const auto &child : children) {
        child->write("s");
        child->waitForBytesWritten(MostMilliseconds);
    }
    std::vector<Working> workings;
    for (const auto &child : children) {
        if (!child->waitForFinished(MostMilliseconds) || child->exitCode() != 0) {
            for (const auto &other : children)
                other->kill();
            qFatal("a child did not finish: %s", qPrintable(child->errorString()));
        }
        QDataStream report(child->readAll());
        QVector<double> turns;
        Working &working = workings.emplace_back();
        report >> working.begin >> working.end >> turns >> working.retries;
        working.turns.assign(turns.cbegin(), turns.cend());
    }
    return workings;
}

void reportTurns(int turns, const Turn &turn)
{
    QFile parent;
    QFile output;
    if (!parent.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered) || !output.open(1, QIODevice::WriteOnly))
        qFatal("no parent");
    output.write("r");
    output.flush();
    if (parent.read(1) != "s") // or the parent is gone
        return;
    const Working working = takeTurns(turns, turn);
    QDataStream report(&output);
    report << working.begin << working.end << QVector<double>(working.turns.cbegin(), working.turns.cend()) << retries;
}

FileLock::FileLock(const QString &path)
    : m_file(open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    if (m_file < 0)
        qFatal("%s", qPrintable(path));
}

FileLock::~FileLock()
{
    close(m_file);
}

void FileLock::lock()
{
    while (flock(m_file, LOCK_EX) != 0) {
    }
}

void FileLock::unlock()
{
    flock(m_file, LOCK_UN);
}

void countRetries()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false\nSQL.info=true"));
    qInstallMessageHandler(countOrShow);
}

} // namespace Tolm::Benchmarks
