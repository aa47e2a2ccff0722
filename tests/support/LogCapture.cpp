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
    current->m_records.append({type, QString::fromLatin1(context.category), text});
}

QVector<LogRecord> LogCapture::records() const
{
    const std::lock_guard lock(m_mutex);
    QVector<LogRecord> records;
    for (const LogRecord &record : m_records) {
        if (record.category == QLatin1String("SQL"))
            records.append(record);
    }
    return records;
}

QStringList LogCapture::texts(QtMsgType type, const QString &part) const
{
    QStringList texts;
    const QVector<LogRecord> all = records();
    for (const LogRecord &record : all) {
        if (record.type == type && record.text.contains(part))
            texts.append(record.text);
    }
    return texts;
}

bool LogCapture::mentions(const QString &part) const
{
    const std::lock_guard lock(m_mutex);
    return std::any_of(m_records.begin(), m_records.end(),
                       [&part](const LogRecord &record) { return record.text.contains(part); });
}

QString LogCapture::complaints() const
{
    return (texts(QtWarningMsg) + texts(QtCriticalMsg)).join(QLatin1Char('\n'));
}

void LogCapture::clear()
{
    const std::lock_guard lock(m_mutex);
    m_records.clear();
}

} // namespace Tolm::Tests
