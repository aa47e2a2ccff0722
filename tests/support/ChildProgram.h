#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

namespace Tolm::Tests {

/// A helper program that runs as a child of the test and tells what it does in lines of text. It is killed with the
/// object when it still runs then.
class ChildProgram {
public:
    /// Starts `helper`, a program of tests/helpers, with `configurationRoot` as its own when that is not empty.
    ChildProgram(const QString &helper, const QStringList &arguments, const QString &configurationRoot = {});
    ~ChildProgram() { kill(); }
    Q_DISABLE_COPY_MOVE(ChildProgram)

    /// Waits until the child has said `line`. \return false when it ended without, or takes too long.
    bool waitFor(const QString &line);

    /// Waits until it has said `count` lines. \return false as for waitFor().
    bool waitForLines(int count);

    /// Sends the child an end of line, for which it waits.
    void proceed();

    /// Kills the child with SIGKILL and waits for its end.
    void kill();

    /// The lines so far.
    QStringList lines();

    /// Waits for the child's end. \return all its lines, and one that says how it ended when it did not exit with 0.
    QStringList finish();

private:
    template <class Condition>
    bool waitUntil(Condition isMet);

    QProcess m_process;
    QByteArray m_output;
};

} // namespace Tolm::Tests
