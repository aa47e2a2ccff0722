#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVector>

namespace Client {

/// What one folder of the disk holds, without what its subfolders hold. Links are not followed: they are neither files
/// nor folders here.
struct FolderContent {
    struct File {
        QString name;
        quint64 size = 0;   ///< in bytes
        QDateTime modified; ///< in UTC and whole seconds
    };

    struct Unreadable {
        QString path; ///< of the entry; of the folder, where the entry's name is no text
        QString reason;
    };

    QVector<File> files; ///< by name, as are the folders
    QStringList folders;
    QVector<Unreadable> unreadable;
    quint64 passedOver = 0;  ///< links, sockets, devices and their like
    bool isComplete = false; ///< whether an entry that is not here is certainly not in the folder
};

/// Reads the folder at the absolute `path`. A folder that cannot be opened is unreadable and holds nothing.
FolderContent readFolder(const QString &path);

/// The path of an entry of the folder at `path`.
QString pathIn(const QString &path, const QString &name);

/// The number of files in the whole tree below `path`, as far as it can be read.
quint64 countFiles(const QString &path);

} // namespace Client
