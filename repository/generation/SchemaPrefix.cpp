#include <repository/generation/SchemaPrefix_p.h>

#include <QByteArray>

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

namespace Tolm::SQL::Generation {

SchemaText::SchemaText(const QString &text)
{
    int end = 0;
    for (int at = text.indexOf(QLatin1Char('%')); at >= 0; at = text.indexOf(QLatin1Char('%'), end)) {
        m_places.append({text.mid(end, at - end), text.at(at + 1).digitValue()});
        end = at + 2;
    }
    m_tail = text.mid(end);
    m_plain = of({}, {});
}

QString SchemaText::of(const QString &schemaName) const
{
    return schemaName.isEmpty() ? m_plain : of(schemaName, {});
}

QString SchemaText::of(const QString &schemaName, std::initializer_list<QString> pieces) const
{
    int size = m_plain.size() + m_places.size() * (schemaName.size() + 1);
    for (const QString &piece : pieces)
        size += piece.size();
    QString text;
    text.reserve(size);
    for (const Place &place : m_places) {
        text += place.before;
        if (place.number > 1 && place.number - 2 < static_cast<int>(pieces.size()))
            text += pieces.begin()[place.number - 2];
        else if (place.number == 1 && !schemaName.isEmpty())
            text += schemaName + QLatin1Char('.');
    }
    text += m_tail;
    return text;
}

QString idList(const QList<unsigned long long> &ids)
{
    // A walk asks for the same list at every step. It is compared by its values: a caller may hold a reference into it.
    thread_local std::vector<unsigned long long> last;
    thread_local QString text;
    if (last.size() == static_cast<std::size_t>(ids.size()) && std::equal(last.begin(), last.end(), ids.begin()))
        return text;

    constexpr int Longest = std::numeric_limits<unsigned long long>::digits10 + 2; // with its comma
    QByteArray list(ids.size() * Longest, Qt::Uninitialized);
    char *end = list.data();
    for (const unsigned long long id : ids) {
        if (end != list.constData())
            *end++ = ',';
        end = std::to_chars(end, end + Longest, id).ptr;
    }
    text = QString::fromLatin1(list.constData(), static_cast<int>(end - list.constData()));
    last.assign(ids.begin(), ids.end());
    return text;
}

QString deletedFilter(bool excludeDeleted)
{
    return excludeDeleted ? QStringLiteral("and deleted = 0") : QString();
}

QString limitPiece(long long limit)
{
    return limit < 1 ? QString() : QStringLiteral("limit %1").arg(limit);
}

QString offsetPiece(long long offset)
{
    return offset < 1 ? QString() : QStringLiteral("offset %1").arg(offset);
}

} // namespace Tolm::SQL::Generation
