#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

namespace Tolm::Tests {

/// A helper program that runs as a child of the test and tells what it does in lines of text. It is killed with the
/// object when it still runs then.
class ChildProgram {
public:
    ChildProgram(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment);
    ~ChildProgram();
    Q_DISABLE_COPY_MOVE(ChildProgram)

    /// Waits until the child has said `line`. \return false when it ended without, or takes too long.
    bool waitFor(const QString &line);

    /// Sends the child an end of line, for which it waits.
    void proceed();

    /// Kills the child with SIGKILL and waits for its end.
    void kill();

    /// Waits for the child's end. \return all its lines, and one that says how it ended when it did not exit with 0.
    QStringList finish();

private:
    void read();

    QProcess m_process;
    QByteArray m_unfinished;
    QStringList m_lines;
};

} // namespace Tolm::Tests
