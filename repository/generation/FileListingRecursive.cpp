#include <repository/database/DatabaseConnection.h>
#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>
#include <repository/generation/FileListingRecursive.h>
#include <repository/generation/RestorePointRange_p.h>
#include <repository/generation/RestorePoints.h>

#include <algorithm>

namespace Tolm::SQL::Generation {

namespace {

constexpr char Tag[] = "FileListingRecursive";

template <class List, class Predicate>
void removeIf(List &list, Predicate predicate)
{
    list.erase(std::remove_if(list.begin(), list.end(), predicate), list.end());
}

QString withSlash(const QString &folderPath)
{
    return folderPath.endsWith(QLatin1Char('/')) ? folderPath : folderPath + QLatin1Char('/');
}

ResultValue<QStringList> pathsOf(const ResultList<Folders> &folders)
{
    QStringList paths;
    for (const auto &folder : folders.list)
        paths.append(folder->localPath());
    return {paths, folders.error};
}

bool liesDirectlyIn(const QString &path, const QString &folderWithSlash)
{
    return path.size() > folderWithSlash.size() && path.startsWith(folderWithSlash) &&
           path.indexOf(QLatin1Char('/'), folderWithSlash.size()) < 0;
}

} // namespace

FileListingRecursive::FileListingRecursive(const QStringList &includes, const QDateTime &pointInTime, bool filesOnly,
                                           bool excludeDeleted, QPointer<DatabasePool> &pool)
    : m_filesOnly(filesOnly)
    , m_excludeDeleted(excludeDeleted)
    , m_pool(pool)
{
    DatabaseConnection connection(m_pool);
    const auto restorePoints = pointInTime.isValid() ? RestorePoints::select(pointInTime, {}, 0, 0, connection)
                                                     : RestorePoints::select({}, 0, 0, connection);
    if (failed(restorePoints.error))
        return;
    for (const auto &restorePoint : restorePoints.list)
        m_restorePointIds.append(restorePoint->id());
    // To the look-ups an empty list would mean all restore points.
    if (m_restorePointIds.isEmpty())
        return;

    log().debug() << Tag << "init listing restore point:" << pointInTime.toString();
    for (const QString &path : includes) {
        const auto isFolder = Folders::isFolder(path, m_restorePointIds, m_excludeDeleted, {}, connection);
        if (failed(isFolder.error))
            return;
        if (isFolder.value) {
            log().debug() << Tag << "include folder:" << path;
            m_folderQueue.append(path);
        } else {
            log().debug() << Tag << "include file:" << path;
            m_includeFiles.append(path);
        }
    }
}

FileListingRecursive::~FileListingRecursive() = default;

bool FileListingRecursive::isEmpty() const
{
    return m_includeFiles.isEmpty() && m_folderQueue.isEmpty() && m_pendingFiles.isEmpty() &&
           m_pendingFolders.isEmpty();
}

// The first error stays, and ends the walk.
bool FileListingRecursive::failed(int error)
{
    if (m_error == ResultCode::Ok)
        m_error = error;
    return m_error != ResultCode::Ok;
}

bool FileListingRecursive::isFinished() const
{
    return m_error != ResultCode::Ok || isEmpty();
}

ResultValue<bool> FileListingRecursive::hasNext() const
{
    return {!isFinished(), m_error};
}

FileListingRecursive::Entry FileListingRecursive::next()
{
    while (!isFinished()) {
        if (!m_pendingFolders.isEmpty()) {
            const auto folder = m_pendingFolders.takeFirst();
            if (!m_filesOnly)
                return {nullptr, folder};
        } else if (!m_pendingFiles.isEmpty()) {
            const auto file = m_pendingFiles.takeFirst();
            if (!m_excludeDeleted || !file->deleted())
                return {file, nullptr};
        } else if (!m_includeFiles.isEmpty()) {
            DatabaseConnection connection(m_pool);
            const auto file = Files::select(m_includeFiles.takeFirst(), m_restorePointIds, {}, connection);
            if (!failed(file.error) && file.pointer)
                m_pendingFiles.append(file.pointer);
        } else {
            next(m_folderQueue.takeFirst());
        }
    }
    return {};
}

void FileListingRecursive::next(const QString &folderPath)
{
    if (m_error != ResultCode::Ok || m_restorePointIds.isEmpty())
        return;
    DatabaseConnection connection(m_pool);
    const auto range = RestorePointRange::of(m_restorePointIds);
    const auto folder = range ? Folders::select(folderPath, *range, connection)
                              : Folders::select(folderPath, m_restorePointIds, {}, connection);
    if (failed(folder.error) || !folder.pointer || (m_excludeDeleted && folder.pointer->deleted()))
        return;
    m_pendingFolders.append(folder.pointer);

    const auto files = range ? Files::selectInFolder(folderPath, *range, connection)
                             : Files::selectInFolder(folderPath, m_restorePointIds, -1, -1, {}, connection);
    if (failed(files.error))
        return;
    m_pendingFiles.append(files.list);

    const auto subfolders =
        range ? Folders::selectPathsInFolder(folderPath, *range, connection)
              : pathsOf(Folders::selectInFolder(folderPath, m_restorePointIds, false, -1, -1, {}, connection));
    if (failed(subfolders.error))
        return;
    for (const QString &subfolder : subfolders.value) {
        if (isToFollow(folderPath, subfolder))
            m_folderQueue.append(subfolder);
    }
}

// A link to a path directly below the parent's cannot lead in a circle, and no second one leads there. Any other comes
// from damaged parents; following each once keeps the walk finite, and only those need to be remembered.
bool FileListingRecursive::isToFollow(const QString &parentPath, const QString &childPath)
{
    if (liesDirectlyIn(childPath, withSlash(parentPath)))
        return true;
    const QPair<QString, QString> link(parentPath, childPath);
    if (childPath == parentPath || m_strayLinks.contains(link))
        return false;
    m_strayLinks.insert(link);
    return true;
}

void FileListingRecursive::skipFolderListing(QSharedPointer<Folders> folder)
{
    if (!folder)
        return;
    const QString below = withSlash(folder->localPath());
    removeIf(m_pendingFiles, [&](const QSharedPointer<Files> &file) {
        return file->parentId() == folder->id() || liesDirectlyIn(file->localPath(), below);
    });
    removeIf(m_folderQueue, [&](const QString &path) { return path.startsWith(below); });
}

void FileListingRecursive::skipFolderListing(const QString &folderPath)
{
    if (m_error != ResultCode::Ok || m_restorePointIds.isEmpty())
        return;
    DatabaseConnection connection(m_pool);
    const auto folder = Folders::select(folderPath, m_restorePointIds, {}, connection);
    failed(folder.error);
    skipFolderListing(folder.pointer);
}

} // namespace Tolm::SQL::Generation
