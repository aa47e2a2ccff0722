#include <tests/support/LogCapture.h>

#include <algorithm>

namespace Tolm::Tests {

namespace {

LogCapture *current = nullptr;

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(!current);
    current = this;
    m_previous = qInstallMessageHandler(receive);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    current = nullptr;
}

void LogCapture::receive(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const std::lock_guard lock(current->m_mutex);
    if (qstrcmp(context.category, "SQL") == 0)
        current->m_records.append({type, text});
    else
        current->m_others.append(text);
}

QVector<LogRecord> LogCapture::records() const
{
    const std::lock_guard lock(m_mutex);
    return m_records;
}

QStringList LogCapture::texts(QtMsgType type, const QString &part) const
{
    QStringList texts;
    for (const LogRecord &record : records()) {
        if (record.type == type && record.text.contains(part))
            texts.append(record.text);
    }
    return texts;
}

bool LogCapture::mentions(const QString &part) const
{
    const std::lock_guard lock(m_mutex);
    const auto contains = [&part](const LogRecord &record) { return record.text.contains(part); };
    return !m_others.filter(part).isEmpty() || std::any_of(m_records.begin(), m_records.end(), contains);
}

QString LogCapture::complaints() const
{
    return (texts(QtWarningMsg) + texts(QtCriticalMsg)).join('\n');
}

void LogCapture::clear()
{
    const std::lock_guard lock(m_mutex);
    m_records.clear();
    m_others.clear();
}

} // namespace Tolm::Tests
