#include <tests/support/ChildProgram.h>

#include <QElapsedTimer>

namespace Tolm::Tests {

namespace {

constexpr int Patience = 120000;

} // namespace

ChildProgram::ChildProgram(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program, arguments);
    m_process.waitForStarted(Patience);
}

ChildProgram::~ChildProgram()
{
    kill();
}

bool ChildProgram::waitFor(const QString &line)
{
    QElapsedTimer waited;
    waited.start();
    read();
    while (!m_lines.contains(line)) {
        if (waited.elapsed() > Patience || !m_process.waitForReadyRead(Patience))
            return false;
        read();
    }
    return true;
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

QStringList ChildProgram::finish()
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(Patience)) {
        kill();
        m_lines.append(QStringLiteral("killed: it took too long"));
    }
    read();
    if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0)
        m_lines.append(QStringLiteral("ended with %1: %2").arg(m_process.exitCode()).arg(m_process.errorString()));
    return m_lines;
}

void ChildProgram::read()
{
    m_unfinished += m_process.readAllStandardOutput();
    for (int end = m_unfinished.indexOf('\n'); end >= 0; end = m_unfinished.indexOf('\n')) {
        m_lines.append(QString::fromUtf8(m_unfinished.left(end)));
        m_unfinished.remove(0, end + 1);
    }
}

} // namespace Tolm::Tests
