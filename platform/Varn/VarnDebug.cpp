#include <platform/Varn/VarnDebug.h>

namespace Varn {

struct VarnStream::Record {
    Record(QtMsgType messageType, const char *categoryName)
        : type(messageType)
        , category(categoryName)
        , debug(&text)
    {}

    QtMsgType type;
    const char *category;
    QString text;
    QDebug debug; // writes into text, and so stands after it
};

VarnStream::VarnStream(QtMsgType type, const QLoggingCategory &category)
{
    if (category.isEnabled(type))
        m_record = std::make_unique<Record>(type, category.categoryName());
}

VarnStream::VarnStream(VarnStream &&other) noexcept = default;

VarnStream::~VarnStream()
{
    if (!m_record)
        return;
    // In space mode QDebug writes its blank after each item; the last one has nothing to part.
    if (m_record->debug.autoInsertSpaces())
        m_record->text.chop(1);
    qt_message_output(m_record->type, QMessageLogContext(nullptr, 0, nullptr, m_record->category), m_record->text);
}

QDebug &VarnStream::nextItem()
{
    // An item's own operator<< may leave the stream in another mode (hex, nospace, quote): the next item starts afresh.
    QDebug &debug = m_record->debug;
    if (!debug.autoInsertSpaces())
        debug.space();
    return debug.resetFormat().noquote();
}

VarnDebug::VarnDebug(const char *category)
    : m_category(category)
{}

VarnStream VarnDebug::debug() const
{
    return VarnStream(QtDebugMsg, m_category);
}

VarnStream VarnDebug::info() const
{
    return VarnStream(QtInfoMsg, m_category);
}

VarnStream VarnDebug::infoH() const
{
    return VarnStream(QtInfoMsg, m_category);
}

VarnStream VarnDebug::warning() const
{
    return VarnStream(QtWarningMsg, m_category);
}

VarnStream VarnDebug::error() const
{
    return VarnStream(QtCriticalMsg, m_category);
}

} // namespace Varn
