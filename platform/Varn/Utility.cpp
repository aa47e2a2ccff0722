#include <platform/Varn/Utility.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QRandomGenerator>
#include <QtCore/QStringList>

namespace Varn::Utility {
namespace {

QString kindOf(const QFileInfo &info)
{
    if (info.isDir())
        return QStringLiteral("folder");
    return info.isFile() ? QStringLiteral("file") : QStringLiteral("special file");
}

QString ownerOf(const QFileInfo &info)
{
    const QString name = info.owner();
    return name.isEmpty() ? QString::number(info.ownerId()) : name;
}

QString modeOf(const QFileInfo &info)
{
    // QFile::Permissions holds a hexadecimal digit each for owner, user, group and other; a mode is three octal digits.
    const auto bits = static_cast<uint>(info.permissions());
    const uint mode = ((bits & 0x7000U) >> 6U) | ((bits & 0x70U) >> 1U) | (bits & 0x7U);
    return QStringLiteral("%1").arg(mode, 4, 8, QLatin1Char('0'));
}

QString describe(const QString &path)
{
    const QFileInfo info(path);
    QString line = path + QLatin1String(": ");
    if (info.isSymLink())
        line += QLatin1String("link to ") + info.symLinkTarget() + QLatin1String(", ");
    if (!info.exists())
        return line + QLatin1String("missing");
    return line + kindOf(info) + QLatin1String(", owner ") + ownerOf(info) + QLatin1String(", mode ") + modeOf(info) +
           QLatin1String(", size ") + QString::number(info.size());
}

} // namespace

QString Uuid2String::windows(const QUuid &uuid)
{
    return uuid.toString(QUuid::WithoutBraces);
}

QString RandomString::generateSimple(int length)
{
    static constexpr char characters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    static constexpr int count = sizeof(characters) - 1;

    QString text;
    text.reserve(qMax(0, length));
    for (int i = 0; i < length; ++i)
        text += QLatin1Char(characters[QRandomGenerator::system()->bounded(count)]);
    return text;
}

QString StringFilters::removeTrailingChar(const QString &text, QChar character)
{
    int length = text.size();
    while (length > 0 && text.at(length - 1) == character)
        --length;
    return text.left(length);
}

QString listOfPathInfo(const QString &path)
{
    if (path.isEmpty())
        return {};

    QStringList lines;
    QString current = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    while (true) {
        lines += describe(current);
        const QString parent = QFileInfo(current).path();
        if (parent == current)
            return lines.join(QLatin1Char('\n'));
        current = parent;
    }
}

} // namespace Varn::Utility
