#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include <mutex>

namespace Tolm::Tests {

struct LogRecord {
    QtMsgType type;
    QString text;
};

/// Receives every log record of the process instead of the console while it lives. Only one may live at a time.
class LogCapture {
public:
    LogCapture()
    {
        Q_ASSERT(!s_current);
        s_current = this;
        m_previous = qInstallMessageHandler(receive);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    Q_DISABLE_COPY_MOVE(LogCapture)

    /// The records of the category "SQL" so far.
    QVector<LogRecord> records() const
    {
        const std::lock_guard lock(m_mutex);
        return m_records;
    }

    /// The texts of those records that have `type` and contain `part`.
    QStringList texts(QtMsgType type, const QString &part = {}) const
    {
        QStringList texts;
        for (const LogRecord &record : records()) {
            if (record.type == type && record.text.contains(part))
                texts.append(record.text);
        }
        return texts;
    }
    int count(QtMsgType type, const QString &part = {}) const { return texts(type, part).size(); }

    /// Whether any record, of any category and level, contains `part`.
    bool mentions(const QString &part) const
    {
        const std::lock_guard lock(m_mutex);
        return !m_all.filter(part).isEmpty();
    }

    /// All records of the category "SQL" of level warning and above, a line each: empty when nothing went wrong.
    QString complaints() const { return (texts(QtWarningMsg) + texts(QtCriticalMsg)).join('\n'); }

    void clear()
    {
        const std::lock_guard lock(m_mutex);
        m_records.clear();
        m_all.clear();
    }

private:
    static void receive(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        const std::lock_guard lock(s_current->m_mutex);
        s_current->m_all.append(text);
        if (qstrcmp(context.category, "SQL") == 0)
            s_current->m_records.append({type, text});
    }

    inline static LogCapture *s_current = nullptr;
    mutable std::mutex m_mutex; // one that the race detector sees
    QVector<LogRecord> m_records;
    QStringList m_all;
    QtMessageHandler m_previous;
};

} // namespace Tolm::Tests
