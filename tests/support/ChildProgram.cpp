#include <tests/support/ChildProgram.h>

#include <QCoreApplication>
#include <QElapsedTimer>

namespace Tolm::Tests {

namespace {

constexpr int Patience = 120000;

} // namespace

ChildProgram::ChildProgram(const QString &helper, const QStringList &arguments, const QString &configurationRoot)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!configurationRoot.isEmpty())
        environment.insert("TOLM_CONFIG_ROOT", configurationRoot);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationDirPath() + "/helpers/" + helper, arguments);
    m_process.waitForStarted(Patience);
}

template <class Condition>
bool ChildProgram::waitUntil(Condition isMet)
{
    QElapsedTimer waited;
    waited.start();
    while (!isMet()) {
        if (waited.elapsed() > Patience || !m_process.waitForReadyRead(Patience))
            return false;
    }
    return true;
}

bool ChildProgram::waitFor(const QString &line)
{
    return waitUntil([&] { return lines().contains(line); });
}

bool ChildProgram::waitForLines(int count)
{
    return waitUntil([&] { return lines().size() >= count; });
}

void ChildProgram::proceed()
{
    m_process.write("\n");
    m_process.waitForBytesWritten(Patience);
}

void ChildProgram::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(Patience);
}

QStringList ChildProgram::lines()
{
    m_output += m_process.readAllStandardOutput();
    const int end = m_output.lastIndexOf('\n');
    return end < 0 ? QStringList() : QString::fromUtf8(m_output.left(end)).split('\n');
}

QStringList ChildProgram::finish()
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(Patience)) {
        kill();
        return lines() + QStringList("killed: it took too long");
    }
    if (m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0)
        return lines();
    return lines() + QStringList(QString("ended with %1: %2").arg(m_process.exitCode()).arg(m_process.errorString()));
}

} // namespace Tolm::Tests
