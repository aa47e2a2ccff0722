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
    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY_MOVE(LogCapture)

    /// The records of the category "SQL" so far.
    QVector<LogRecord> records() const;

    /// The texts of those records that have `type` and contain `part`.
    QStringList texts(QtMsgType type, const QString &part = {}) const;
    int count(QtMsgType type, const QString &part = {}) const { return texts(type, part).size(); }

    /// Whether any record, of any category and level, contains `part`.
    bool mentions(const QString &part) const;

    /// All records of the category "SQL" of level warning and above, a line each: empty when nothing went wrong.
    QString complaints() const;

    void clear();

private:
    static void receive(QtMsgType type, const QMessageLogContext &context, const QString &text);

    mutable std::mutex m_mutex; // one that the race detector sees
    QVector<LogRecord> m_records;
    QStringList m_others;
    QtMessageHandler m_previous;
};

} // namespace Tolm::Tests
