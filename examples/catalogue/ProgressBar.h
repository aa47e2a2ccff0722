#pragma once

#include <QElapsedTimer>
#include <QString>

namespace Client {

/// The state of a long run, on one line of the standard error that is written over again and again and taken away at
/// the end. Where the standard error is no terminal it does nothing.
class ProgressBar {
public:
    ProgressBar();
    ~ProgressBar();
    Q_DISABLE_COPY_MOVE(ProgressBar)

    /// Whether anybody can see it: the total need not be counted for nobody.
    bool isVisible() const { return m_isVisible; }

    /// Shows what is done before the work can begin.
    void announce(const QString &text);

    /// The work begins now, on this many files.
    void start(quint64 files);

    /// Shows the state, a few times a second at most.
    void update(quint64 files, quint64 bytes);

    /// Takes the line away; the next update() brings it back.
    void clear();

private:
    void show(const QString &line);

    bool m_isVisible;
    bool m_isShown = false;
    quint64 m_total = 0;
    qint64 m_nextUpdate = 0; // ms after the start
    QElapsedTimer m_elapsed;
};

} // namespace Client
