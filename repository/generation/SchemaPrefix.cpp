#include <repository/generation/SchemaPrefix_p.h>

namespace Tolm::SQL::Generation {

namespace {

QString filled(QString text, const QString &schemaName)
{
    return text.replace(QLatin1String("%1"), schemaName.isEmpty() ? QString() : schemaName + QLatin1Char('.'));
}

} // namespace

SchemaText::SchemaText(const QString &text)
    : m_text(text)
    , m_plain(filled(text, {}))
{}

QString SchemaText::of(const QString &schemaName) const
{
    return schemaName.isEmpty() ? m_plain : filled(m_text, schemaName);
}

QString SchemaText::of(const QString &schemaName, std::initializer_list<QString> pieces) const
{
    QString text = of(schemaName);
    int number = 2;
    for (const QString &piece : pieces)
        text.replace(QLatin1Char('%') + QString::number(number++), piece);
    return text;
}

QString idList(const QList<unsigned long long> &ids)
{
    QString list;
    for (const unsigned long long id : ids) {
        if (!list.isEmpty())
            list += QLatin1Char(',');
        list += QString::number(id);
    }
    return list;
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
