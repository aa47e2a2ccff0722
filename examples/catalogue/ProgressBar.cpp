#include <examples/catalogue/Format.h>
#include <examples/catalogue/ProgressBar.h>
#include <examples/catalogue/Terminal.h>

#include <algorithm>

namespace Client {

namespace {

constexpr qint64 UpdateInterval = 100; // ms
constexpr int BarWidth = 24;

} // namespace

ProgressBar::ProgressBar()
    : m_isVisible(terminalWidth(stderr) > 0)
{
    m_elapsed.start();
}

ProgressBar::~ProgressBar()
{
    clear();
}

void ProgressBar::announce(const QString &text)
{
    if (m_isVisible)
        show(text);
}

void ProgressBar::start(quint64 files)
{
    m_total = files;
    m_nextUpdate = 0;
    m_elapsed.restart();
}

void ProgressBar::update(quint64 files, quint64 bytes)
{
    const qint64 elapsed = m_elapsed.elapsed();
    if (!m_isVisible || elapsed < m_nextUpdate)
        return;
    m_nextUpdate = elapsed + UpdateInterval;

    // Files may have appeared since they were counted.
    const quint64 total = std::max({m_total, files, Q_UINT64_C(1)});
    const int done = static_cast<int>(files * BarWidth / total);
    const quint64 perSecond = files * 1000 / static_cast<quint64>(std::max(elapsed, Q_INT64_C(1)));
    show(QStringLiteral("[%1%2] %3/%4 files, %5, %6 files/s")
             .arg(QString(done, QLatin1Char('#')), QString(BarWidth - done, QLatin1Char('.')), countText(files),
                  countText(total), sizeText(bytes), countText(perSecond)));
}

// In one piece, the rest of the old line cleared after the new one: nothing is ever seen empty, so nothing flickers.
void ProgressBar::show(const QString &line)
{
    m_isShown = true;
    print(QLatin1Char('\r') + line.left(terminalWidth(stderr) - 1) + QStringLiteral("\033[K"), stderr);
}

void ProgressBar::clear()
{
    if (m_isShown)
        clearLine(stderr);
    m_isShown = false;
}

} // namespace Client
