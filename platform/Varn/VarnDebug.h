#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

#include <memory>

namespace Varn {

/// One log record under construction: items go in with <<, the record goes out when the stream does.
/// A stream belongs to the thread that made it.
///
/// Items are joined by single blanks and stand unquoted, in the form that QDebug gives them. A stream whose level
/// Qt's logging rules switch off holds nothing, converts nothing and sends nothing; neither does one that was moved
/// from.
class TOLM_EXPORT VarnStream {
public:
    VarnStream(VarnStream &&other) noexcept;
    VarnStream &operator=(VarnStream &&) = delete;
    VarnStream(const VarnStream &) = delete;
    VarnStream &operator=(const VarnStream &) = delete;
    ~VarnStream();

    /// Appends anything that QDebug can print.
    template <typename T>
    VarnStream &operator<<(const T &item)
    {
        if (m_record)
            nextItem() << item;
        return *this;
    }

private:
    friend class VarnDebug;
    struct Record;

    VarnStream(QtMsgType type, const QLoggingCategory &category);
    QDebug &nextItem();

    std::unique_ptr<Record> m_record;
};

/// The log of one category. Any thread may use it, several at once; one object can serve a whole program as a static.
///
/// Each function returns a stream; the record that it collects goes to Qt's message handler when the stream is
/// destroyed. Which levels are on is asked of Qt's logging rules at every call, as for a QLoggingCategory.
class TOLM_EXPORT VarnDebug {
public:
    /// @param category the category's name; it is not copied and must outlive every stream, as a literal does.
    explicit VarnDebug(const char *category);

    /// Bookkeeping that helps to follow what happened (QtDebugMsg).
    VarnStream debug() const;
    /// What a reader of the log should know (QtInfoMsg).
    VarnStream info() const;
    /// As info(), for what deserves highlighting (QtInfoMsg).
    VarnStream infoH() const;
    /// What went wrong but did not end the work (QtWarningMsg).
    VarnStream warning() const;
    /// What failed (QtCriticalMsg).
    VarnStream error() const;

private:
    Q_DISABLE_COPY(VarnDebug)

    QLoggingCategory m_category;
};

} // namespace Varn
