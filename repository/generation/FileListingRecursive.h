#pragma once

#include <repository/database/DatabasePool.h>
#include <repository/database/Result.h>
#include <repository/generation/Files.h>
#include <repository/generation/Folders.h>

#include <platform/TolmExport.h>

#include <QDateTime>
#include <QList>
#include <QPair>
#include <QPointer>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>

namespace Tolm::SQL::Generation {

/// Walks a generation as it stood at a point in time and hands out, one at a time, every file and folder under some
/// paths. One thread at a time may use an object; each step takes that thread's connection.
///
/// The walk is lazy and breadth-first: the paths that are files come first, then each folder with its own entry and its
/// files, and its subfolders after all folders queued before. A folder is expanded only when the walk reaches it, so a
/// pruned subtree costs nothing, and memory is bounded by the widest level.
///
///     FileListingRecursive listing({"/home"}, date, false, true, generation->attachedDatabasePool());
///     for (auto entry = listing.next(); entry.first || entry.second; entry = listing.next()) …
class TOLM_EXPORT FileListingRecursive {
public:
    /// The file, or the folder; both null when there is none.
    using Entry = QPair<QSharedPointer<Files>, QSharedPointer<Folders>>;

    /// \param includes the paths of files and folders to walk; unknown ones give nothing.
    /// \param pointInTime restore points that started later do not count; all count when it is invalid.
    /// \param filesOnly folders are walked but not handed out.
    /// \param excludeDeleted deleted files are left out, and deleted folders with everything below.
    /// \param pool the generation's; it must outlive the object.
    FileListingRecursive(const QStringList &includes, const QDateTime &pointInTime, bool filesOnly, bool excludeDeleted,
                         QPointer<DatabasePool> &pool);
    virtual ~FileListingRecursive();
    Q_DISABLE_COPY_MOVE(FileListingRecursive)

    /// Whether the walk is over or has failed.
    bool isFinished() const;

    /// Whether something is left to look at, which may still turn out to be nothing; the error when the walk has
    /// failed.
    ResultValue<bool> hasNext() const;

    /// The next entry; the empty pair when the walk is over or has failed.
    Entry next();

    /// Expands one folder: its entry and its files become the next to hand out, its subfolders are queued.
    void next(const QString &folderPath);

    /// Drops what is not handed out yet of a folder and its subtree: to be called when its entry has come. A null
    /// pointer changes nothing.
    void skipFolderListing(QSharedPointer<Folders> folder);
    /// The same for the newest row of a path; an unknown one changes nothing.
    void skipFolderListing(const QString &folderPath);

private:
    bool isEmpty() const;
    bool failed(int error);
    bool isToFollow(const QString &parentPath, const QString &childPath);

    int m_error = 0;
    QStringList m_includeFiles;
    QStringList m_folderQueue;
    QSet<QPair<QString, QString>> m_strayLinks;
    QList<unsigned long long> m_restorePointIds;
    bool m_filesOnly;
    bool m_excludeDeleted;
    QPointer<DatabasePool> &m_pool;
    QList<QSharedPointer<Files>> m_pendingFiles;
    QList<QSharedPointer<Folders>> m_pendingFolders;
};

} // namespace Tolm::SQL::Generation
