#include <examples/catalogue/Terminal.h>

#include <QVector>

#include <algorithm>
#include <cwchar>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Client {

namespace {

constexpr int UsualWidth = 80;

int widthOf(uint character)
{
    // Negative for what the locale does not know; the terminal takes one column for it.
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : width;
}

bool isHarmless(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format: // among them those that turn the writing direction
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

} // namespace

int terminalWidth(std::FILE *stream)
{
    const int descriptor = ::fileno(stream);
    if (!::isatty(descriptor))
        return 0;
    winsize size{};
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : UsualWidth;
}

int displayWidth(const QString &text)
{
    int width = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters)
        width += widthOf(character);
    return width;
}

QString cutToWidth(const QString &text, int width)
{
    int left = displayWidth(text);
    if (left <= width)
        return text;
    const QVector<uint> characters = text.toUcs4();
    int begin = 0;
    while (begin < characters.size() && left > width - 1)
        left -= widthOf(characters.at(begin++));
    return QStringLiteral("…") + QString::fromUcs4(characters.constData() + begin, characters.size() - begin);
}

QString printable(const QString &text)
{
    const QVector<uint> characters = text.toUcs4();
    if (std::all_of(characters.begin(), characters.end(), isHarmless))
        return text;
    QString line;
    for (const uint character : characters) {
        if (isHarmless(character))
            line += QString::fromUcs4(&character, 1);
        else if (character == '\n')
            line += QStringLiteral("\\n");
        else
            line += QStringLiteral("\\x%1").arg(character, 2, 16, QLatin1Char('0'));
    }
    return line;
}

void print(const QString &text, std::FILE *stream)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
}

void clearLine(std::FILE *stream)
{
    if (terminalWidth(stream) > 0)
        print(QStringLiteral("\r\033[K"), stream);
}

} // namespace Client
