#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/DeletedMarks_p.h>
#include <repository/database/Log_p.h>

#include <QDateTime>
#include <QDir>
#include <QFile>

namespace Tolm::SQL {

namespace {

constexpr quint64 PageSize = 100000;

} // namespace

DeletedMarks::DeletedMarks(DatabaseConnection &connection)
    : m_connection(connection)
{}

void DeletedMarks::updatePath(quint64 destinationId, const QString &diskPath, const QString &catalogPath)
{
    if (const auto file = CloudFile::select_(destinationId, catalogPath, m_connection))
        updateFile(*file, diskPath);
    if (const auto folder = CloudFolder::select(destinationId, catalogPath, m_connection))
        updateFolder(diskPath, folder->id());
    else
        log().info() << "CheckCloudFiles4Purge: folder path:" << catalogPath << "not exist";
}

void DeletedMarks::updateFolder(const QString &diskFolder, quint64 folderId)
{
    if (m_chain.contains(folderId))
        return;
    m_chain.insert(folderId);
    updateFilesOf(folderId, diskFolder);
    const auto subfolders = CloudFolder::select(folderId, 0, 0, m_connection);
    for (const auto &subfolder : subfolders)
        updateFolder(diskFolder + QDir::separator() + subfolder->displayName(), subfolder->id());
    m_chain.remove(folderId);
}

void DeletedMarks::updateFilesOf(quint64 folderId, const QString &diskFolder)
{
    quint64 read = 0;
    for (quint64 offset = 0; offset == 0 || read == PageSize; offset += PageSize) {
        const auto files = CloudFile::selectFolder(folderId, PageSize, offset, m_connection);
        for (const auto &file : files)
            updateFile(*file, diskFolder + QDir::separator() + file->displayName());
        read = static_cast<quint64>(files.size());
    }
}

void DeletedMarks::updateFile(CloudFile &file, const QString &diskPath)
{
    const bool isMarked = file.dateDeleted().isValid();
    if (QFile::exists(diskPath) == isMarked) {
        file.setDateDeleted(isMarked ? QDateTime() : QDateTime::currentDateTimeUtc());
        if (file.update(m_connection))
            ++m_changed;
    }
    if (++m_checked % PageSize == 0)
        log().info() << "CheckCloudFiles4Purge: files checked:" << m_checked << "marks changed:" << m_changed;
}

} // namespace Tolm::SQL
