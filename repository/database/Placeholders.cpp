#include <repository/database/Placeholders_p.h>

namespace Tolm::SQL {

namespace {

bool isNameCharacter(QChar character)
{
    const ushort code = character.unicode();
    return (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z') || (code >= u'0' && code <= u'9') ||
           code == u'_';
}

} // namespace

QVector<QString> placeholdersOf(const QString &text)
{
    QVector<QString> placeholders;
    QChar openQuote;
    for (int i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        if (!openQuote.isNull()) {
            if (character == openQuote)
                openQuote = QChar();
        } else if (character == QLatin1Char('\'') || character == QLatin1Char('"') || character == QLatin1Char('`')) {
            openQuote = character;
        } else if (character == QLatin1Char(':')) {
            int end = i + 1;
            while (end < text.size() && isNameCharacter(text.at(end)))
                ++end;
            const bool isCast = i > 0 && text.at(i - 1) == QLatin1Char(':');
            if (end > i + 1 && !isCast) {
                const QString placeholder = text.mid(i, end - i);
                if (!placeholders.contains(placeholder))
                    placeholders.append(placeholder);
            }
            i = end - 1;
        }
    }
    return placeholders;
}

} // namespace Tolm::SQL
