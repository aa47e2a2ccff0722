#include <examples/catalogue/FolderContent.h>
#include <examples/catalogue/Interrupt.h>

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace Client {

namespace {

QString textOf(const std::error_code &error)
{
    return QString::fromStdString(error.message());
}

// A name that is no text in the locale's encoding: what can be read of it, the rest as numbers.
QString description(const QByteArray &name)
{
    QString text;
    for (const char byte : name) {
        const auto value = static_cast<uchar>(byte);
        if (value >= ' ' && value < 0x7F)
            text += QLatin1Char(byte);
        else
            text += QStringLiteral("\\x%1").arg(value, 2, 16, QLatin1Char('0'));
    }
    return text;
}

void addEntry(FolderContent &content, const QString &path, const std::filesystem::path &entry)
{
    const QByteArray bytes = QByteArray::fromStdString(entry.filename().string());
    const QString name = QFile::decodeName(bytes);
    if (QFile::encodeName(name) != bytes) {
        content.unreadable.append(
            {path, QStringLiteral("the name of its entry \"%1\" is not valid in this locale").arg(description(bytes))});
        return;
    }

    struct stat status = {};
    if (::lstat(entry.c_str(), &status) != 0) {
        if (errno == ENOENT) // removed since the folder was read
            return;
        content.unreadable.append({pathIn(path, name), textOf({errno, std::generic_category()})});
        content.isComplete = false;
    } else if (S_ISDIR(status.st_mode)) {
        content.folders.append(name);
    } else if (S_ISREG(status.st_mode)) {
        content.files.append(
            {name, static_cast<quint64>(status.st_size), QDateTime::fromSecsSinceEpoch(status.st_mtime, Qt::UTC)});
    } else {
        ++content.passedOver;
    }
}

} // namespace

QString pathIn(const QString &path, const QString &name)
{
    return path.endsWith(QLatin1Char('/')) ? path + name : path + QLatin1Char('/') + name;
}

FolderContent readFolder(const QString &path)
{
    FolderContent content;
    content.isComplete = true;
    // Not by QDirIterator, which passes silently over a name that it cannot decode: a file that is not backed up must
    // be counted as one.
    std::error_code error;
    std::filesystem::directory_iterator entry(QFile::encodeName(path).toStdString(), error);
    const std::filesystem::directory_iterator end;
    for (; !error && entry != end; entry.increment(error))
        addEntry(content, path, entry->path());
    if (error) {
        content.unreadable.append({path, textOf(error)});
        content.isComplete = false;
    }

    std::sort(content.files.begin(), content.files.end(),
              [](const FolderContent::File &left, const FolderContent::File &right) { return left.name < right.name; });
    content.folders.sort();
    return content;
}

quint64 countFiles(const QString &path)
{
    quint64 count = 0;
    QStringList paths{path};
    while (!paths.isEmpty() && !interrupted()) {
        const QString folder = paths.takeLast();
        const FolderContent content = readFolder(folder);
        count += static_cast<quint64>(content.files.size());
        for (const QString &name : content.folders)
            paths.append(pathIn(folder, name));
    }
    return count;
}

} // namespace Client
