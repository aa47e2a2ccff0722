#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>

#include <examples/catalogue/Failure.h>
#include <examples/catalogue/Recorder.h>
#include <examples/catalogue/Terminal.h>

#include <algorithm>

using namespace Tolm::SQL;

namespace Client {

namespace {

constexpr int FullVersion = 1;          // the version kind of a whole file, stored as it is
constexpr quint8 BackupOperation = 1;   // the operation kind of a file that was backed up
constexpr int PostgreSqlPathEnd = 2600; // bytes of a path that fit into the indexes there

bool isPathStorable(const QString &path, DatabaseType type)
{
    return type == DatabaseType::SQLite || path.toUtf8().size() <= PostgreSqlPathEnd;
}

// The catalogue's dates have four digits for the year.
bool isDateStorable(const QDateTime &date)
{
    return date.isValid() && date.date().year() >= 1000 && date.date().year() <= 9999;
}

} // namespace

Recorder::Recorder(DatabaseConnection &connection, const Destination &destination, const QString &folder,
                   const QStringList &excluded)
    : m_connection(connection)
    , m_destination(destination)
    , m_folder(folder)
    , m_excluded(excluded)
    , m_session(connection, destination, folder)
{}

void Recorder::run()
{
    if (m_progress.isVisible()) {
        m_progress.announce(QStringLiteral("Counting files"));
        m_progress.start(countFiles(m_folder));
    }
    try {
        walk();
        m_session.end();
    } catch (const Failure &failure) {
        m_session.fail(failure.text());
        throw;
    }
}

void Recorder::walk()
{
    m_pending.append(m_folder);
    while (!m_pending.isEmpty() && !m_session.isStopping()) {
        recordFolder(m_pending.takeLast());
        m_session.step();
    }
}

void Recorder::recordFolder(const QString &path)
{
    const FolderContent content = readFolder(path);
    m_passedOver += content.passedOver;
    for (const FolderContent::Unreadable &entry : content.unreadable)
        recordFailure(entry.path, entry.reason);
    if (!content.isComplete && content.files.isEmpty() && content.folders.isEmpty())
        return; // it could not even be opened, so nothing is known of it

    const auto folder = CloudFolder::selectOrInsert(m_destination.id(), path, m_connection);
    if (!folder)
        throw Failure(QStringLiteral("the folder %1 cannot be stored").arg(path));
    KnownFiles gone = knownFiles(folder->id());
    for (const FolderContent::File &file : content.files) {
        const QString filePath = pathIn(path, file.name);
        if (m_excluded.contains(filePath)) {
            ++m_passedOver;
            continue;
        }
        recordFile(filePath, file, folder->id(), gone.take(filePath));
        m_session.step();
        if (m_session.isStopping())
            return;
        m_progress.update(m_session.row().scannedCount(), m_session.row().scannedSize());
    }

    // The last one pending is read next.
    for (auto name = content.folders.crbegin(); name != content.folders.crend(); ++name)
        m_pending.append(pathIn(path, *name));
    if (!content.isComplete)
        return;
    markDeleted(gone);
    const auto subfolders = CloudFolder::select(folder->id(), 0, 0, m_connection);
    for (const auto &subfolder : subfolders) {
        if (!std::binary_search(content.folders.begin(), content.folders.end(), subfolder->displayName()))
            markDeletedTree(subfolder->id());
    }
}

// The row of the file keeps what was last seen of it, so that an unchanged file costs no statement.
void Recorder::recordFile(const QString &path, const FolderContent::File &file, quint64 folderId,
                          QSharedPointer<CloudFile> row)
{
    m_fileTimer.start();
    if (!isPathStorable(path, m_connection.dbType()) || !isDateStorable(file.modified)) {
        recordFailure(path, QStringLiteral("its path or modification time is beyond what the catalogue can hold"));
        return;
    }
    SessionHistory &counters = m_session.row();
    counters.setScannedCount(counters.scannedCount() + 1);
    counters.setScannedSize(counters.scannedSize() + file.size);
    counters.setTotalCount(counters.totalCount() + 1);
    counters.setTotalSize(counters.totalSize() + file.size);

    const bool isKnown = !row.isNull();
    const bool isUnchanged = isKnown && row->dateModified() == file.modified && row->originalSize() == file.size;
    const bool isBack = isKnown && row->dateDeleted().isValid();
    if (isUnchanged && !isBack) {
        ++m_unchanged;
        return;
    }

    if (!isKnown) {
        row = QSharedPointer<CloudFile>::create();
        row->setDestinationId(m_destination.id());
        row->setParentId(folderId);
        row->setLocalPath(path);
        row->setName(file.name);
        row->setCloudPath(cloudPath(path));
    }
    row->setDateModified(file.modified);
    row->setOriginalSize(file.size);
    row->setSize(file.size);
    row->setDateDeleted({});
    storeFile(*row);
    m_returned += isBack ? 1 : 0;
    // A file that goes back to an older state is changed, but its copy is there.
    if (isKnown && isStored(*row))
        ++m_unchanged;
    else
        storeVersion(*row);
}

void Recorder::storeFile(CloudFile &row)
{
    if (!(row.id() == 0 ? row.insert(m_connection) : row.update(m_connection)))
        throw Failure(QStringLiteral("the file %1 cannot be stored").arg(row.localPath()));
}

void Recorder::storeVersion(const CloudFile &row)
{
    CloudFileVersion version;
    version.setFileId(row.id());
    version.setPath(row.localPath());
    version.setDateModified(row.dateModified());
    version.setOriginalSize(row.originalSize());
    version.setSize(row.size());
    version.setAttribute(FullVersion);
    version.setDateBackup(m_session.row().dateStart());
    // Each version lies in a file of its own, told from the others by its time.
    const QString time = row.dateModified().toString(CloudFile::DateFormat);
    version.setCloudPath(row.cloudPath() + (version.versionDelimiter() + time).toUtf8());
    if (!version.insert(m_destination.id(), m_connection))
        throw Failure(QStringLiteral("the version of %1 cannot be stored").arg(row.localPath()));

    History operation;
    operation.setOperationType(BackupOperation);
    operation.setLocalPath(row.localPath());
    operation.setDateModified(row.dateModified());
    operation.setSize(row.originalSize());
    operation.setDuration(static_cast<quint64>(m_fileTimer.elapsed()));
    operation.setMessage(SuccessMessage);
    m_session.addOperation(operation);

    SessionHistory &counters = m_session.row();
    counters.setUploadedCount(counters.uploadedCount() + 1);
    counters.setUploadedSize(counters.uploadedSize() + row.size());
}

void Recorder::recordFailure(const QString &path, const QString &reason)
{
    const QString text = path + QStringLiteral(": ") + reason;
    m_progress.clear();
    print(QStringLiteral("catalogue: %1\n").arg(printable(text)), stderr);

    History operation;
    operation.setOperationType(BackupOperation);
    const bool isStorable = isPathStorable(path, m_connection.dbType());
    operation.setLocalPath(isStorable ? path : m_folder);
    operation.setMessage(isStorable ? reason : text);
    m_session.addOperation(operation);

    SessionHistory &counters = m_session.row();
    counters.setTotalCount(counters.totalCount() + 1);
    counters.setFailedCount(counters.failedCount() + 1);
}

void Recorder::markDeletedTree(quint64 folderId)
{
    QList<quint64> folders{folderId};
    while (!folders.isEmpty() && !m_session.isStopping()) {
        const quint64 folder = folders.takeLast();
        markDeleted(knownFiles(folder));
        const auto subfolders = CloudFolder::select(folder, 0, 0, m_connection);
        for (const auto &subfolder : subfolders)
            folders.append(subfolder->id());
        m_session.step();
    }
}

void Recorder::markDeleted(const KnownFiles &files)
{
    for (const auto &file : files) {
        if (file->dateDeleted().isValid())
            continue;
        file->setDateDeleted(m_session.row().dateStart());
        storeFile(*file);
        ++m_deleted;
        m_session.step();
    }
}

bool Recorder::isStored(const CloudFile &row)
{
    const auto versions = CloudFileVersion::select_(row.id(), m_connection);
    return std::any_of(versions.begin(), versions.end(), [&row](const QSharedPointer<CloudFileVersion> &version) {
        return version->dateModified() == row.dateModified() && version->originalSize() == row.originalSize();
    });
}

Recorder::KnownFiles Recorder::knownFiles(quint64 folderId)
{
    KnownFiles files;
    const auto rows = CloudFile::selectFolder(folderId, 0, 0, m_connection);
    for (const auto &row : rows)
        files.insert(row->localPath(), row);
    return files;
}

QByteArray Recorder::cloudPath(const QString &path) const
{
    return (m_destination.prefix() + path).toUtf8();
}

} // namespace Client
