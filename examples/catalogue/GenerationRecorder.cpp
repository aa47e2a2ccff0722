#include <repository/database/ResultCode.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/Parts.h>
#include <repository/generation/PartsBlocks.h>

#include <examples/catalogue/Failure.h>
#include <examples/catalogue/GenerationRecorder.h>
#include <examples/catalogue/Terminal.h>

#include <QCryptographicHash>

#include <algorithm>

using namespace Tolm::SQL;
using namespace Tolm::SQL::Generation;

namespace Client {

namespace {

constexpr int StepsPerTransaction = 1000;

// An empty object would be no JSON to the reader.
const QJsonObject &madeByUs()
{
    static const QJsonObject metadata{{QStringLiteral("client"), QStringLiteral("catalogue")}};
    return metadata;
}

void require(int code, const QString &what)
{
    if (code != ResultCode::Ok)
        throw Failure(QStringLiteral("%1 cannot be stored, code %2").arg(what).arg(code));
}

} // namespace

GenerationRecorder::GenerationRecorder(DatabaseConnection &connection, const QString &folder)
    : m_connection(connection)
    , m_folder(folder)
{}

void GenerationRecorder::run()
{
    if (m_progress.isVisible()) {
        m_progress.announce(QStringLiteral("Counting files"));
        m_progress.start(countFiles(m_folder));
    }
    m_transaction.emplace(m_connection);
    begin();
    m_pending.append(FolderPointer::create(Folder{m_folder, {}, 0}));
    rowOf(m_pending.first());
    while (!m_pending.isEmpty())
        recordFolder(m_pending.takeLast());

    m_restorePoint.setPartsCount(1);
    m_restorePoint.setFinishDate(QDateTime::currentDateTimeUtc());
    require(m_restorePoint.update({}, m_connection), QStringLiteral("the restore point"));
    require(m_storageFile.update({}, m_connection), QStringLiteral("the storage file"));
    commit();
}

void GenerationRecorder::begin()
{
    const auto earlier = RestorePoints::select({}, 0, 0, m_connection);
    require(earlier.error, QStringLiteral("the list of restore points"));
    qint64 sequenceNumber = 0;
    for (const auto &restorePoint : earlier.list)
        sequenceNumber = std::max(sequenceNumber, restorePoint->sequenceNumber());
    ++sequenceNumber;

    m_storageFile.setPath(QStringLiteral("data/%1.part").arg(sequenceNumber));
    m_storageFile.setLastModified(QDateTime::currentDateTimeUtc());
    require(m_storageFile.insert({}, m_connection), QStringLiteral("the storage file"));

    m_restorePoint.setSequenceNumber(sequenceNumber);
    m_restorePoint.setStartDate(QDateTime::currentDateTimeUtc());
    m_restorePoint.setBackupType(sequenceNumber == 1 ? Varn::Archive::BackupType::Full
                                                     : Varn::Archive::BackupType::Incremental);
    m_restorePoint.setNewBytes(0);
    m_restorePoint.setFilesBackedUp(0);
    m_restorePoint.setFilesDeleted(0);
    m_restorePoint.setFoldersBackedUp(0);
    m_restorePoint.setFoldersDeleted(0);
    require(m_restorePoint.insert({}, m_connection), QStringLiteral("the restore point"));
    require(Parts(m_storageFile.id(), m_restorePoint.id()).insert({}, m_connection), QStringLiteral("the part"));
}

void GenerationRecorder::recordFolder(const FolderPointer &folder)
{
    const FolderContent content = readFolder(folder->path);
    m_unreadable += static_cast<quint64>(content.unreadable.size());
    for (const FolderContent::Unreadable &entry : content.unreadable)
        print(QStringLiteral("catalogue: %1: %2\n").arg(printable(entry.path), entry.reason), stderr);
    recordFiles(folder, content);
    recordFolders(folder, content);
    step();
}

void GenerationRecorder::recordFiles(const FolderPointer &folder, const FolderContent &content)
{
    const auto known = Files::selectInFolder(folder->path, {}, -1, -1, {}, m_connection);
    require(known.error, QStringLiteral("the list of files"));
    QHash<QString, QSharedPointer<Files>> gone;
    for (const auto &file : known.list)
        gone.insert(file->displayName(), file);

    for (const FolderContent::File &entry : content.files) {
        m_progress.update(++m_seen, static_cast<quint64>(m_restorePoint.newBytes()));
        const auto before = gone.take(entry.name);
        m_restorePoint.setTotalFileCount(m_restorePoint.totalFileCount() + 1);
        m_restorePoint.setTotalFileSize(m_restorePoint.totalFileSize() + static_cast<qint64>(entry.size));
        const bool isSame = before && !before->deleted() && before->dateModificationUtc() == entry.modified &&
                            before->originalSize() == static_cast<qint64>(entry.size);
        if (isSame) {
            ++m_unchanged;
            continue;
        }
        Files file;
        file.setDisplayName(entry.name);
        file.setLocalPath(pathIn(folder->path, entry.name));
        file.setOriginalSize(static_cast<qint64>(entry.size));
        file.setTotalSize(static_cast<qint64>(entry.size));
        file.setDateModificationUtc(entry.modified);
        insertFile(folder, file, false);
    }
    for (const auto &file : qAsConst(gone)) {
        if (content.isComplete && !file->deleted())
            insertFile(folder, *file, true);
    }
}

void GenerationRecorder::recordFolders(const FolderPointer &folder, const FolderContent &content)
{
    const auto known = Folders::selectInFolder(folder->path, {}, false, -1, -1, {}, m_connection);
    require(known.error, QStringLiteral("the list of folders"));
    QHash<QString, bool> wasDeleted;
    for (const auto &subfolder : known.list)
        wasDeleted.insert(subfolder->displayName(), subfolder->deleted());

    for (const QString &name : content.folders) {
        const auto subfolder = FolderPointer::create(Folder{pathIn(folder->path, name), folder, 0});
        if (!wasDeleted.contains(name) || wasDeleted.value(name))
            rowOf(subfolder);
        wasDeleted.remove(name);
        m_pending.append(subfolder);
    }
    for (auto gone = wasDeleted.cbegin(); gone != wasDeleted.cend(); ++gone) {
        if (content.isComplete && !gone.value())
            insertFolder(FolderPointer::create(Folder{pathIn(folder->path, gone.key()), folder, 0}), true);
    }
}

// A row hangs under the row of its parent in the same restore point.
quint64 GenerationRecorder::rowOf(const FolderPointer &folder)
{
    if (folder->row == 0)
        insertFolder(folder, false);
    return folder->row;
}

void GenerationRecorder::insertFolder(const FolderPointer &folder, bool deleted)
{
    Folders row;
    row.setDisplayName(folder->path.section(QLatin1Char('/'), -1));
    row.setLocalPath(folder->path);
    row.setParentId(folder->parent ? rowOf(folder->parent) : 0);
    row.setRestorePointId(m_restorePoint.id());
    row.setDeleted(deleted);
    row.setMetadata(madeByUs());
    require(row.insert({}, m_connection), folder->path);
    folder->row = row.id();
    if (deleted)
        m_restorePoint.setFoldersDeleted(m_restorePoint.foldersDeleted() + 1);
    else
        m_restorePoint.setFoldersBackedUp(m_restorePoint.foldersBackedUp() + 1);
}

void GenerationRecorder::insertFile(const FolderPointer &folder, Files file, bool deleted)
{
    file.setParentId(rowOf(folder));
    file.setDeleted(deleted);
    file.setMetadata(madeByUs());
    if (deleted) {
        m_restorePoint.setFilesDeleted(m_restorePoint.filesDeleted() + 1);
    } else {
        file.setMap(QByteArray::number(storeBlock(file.localPath())));
        m_storageFile.setSize(m_storageFile.size() + file.totalSize());
        m_restorePoint.setNewBytes(m_restorePoint.newBytes() + file.originalSize());
        m_restorePoint.setFilesBackedUp(m_restorePoint.filesBackedUp() + 1);
    }
    require(file.insert({}, m_connection), file.localPath());
    step();
}

// A real engine addresses a block by its content; this one reads no content, so path and run stand for it.
long long GenerationRecorder::storeBlock(const QString &path)
{
    const long long id = BlockIdGenerator::next({}, m_connection);
    if (id < 0)
        throw Failure(QStringLiteral("the generation gives no block id"));
    const QByteArray name = path.toUtf8() + '\0' + QByteArray::number(m_restorePoint.sequenceNumber());
    const PartsBlocks block(id, m_storageFile.id(), QCryptographicHash::hash(name, QCryptographicHash::Sha256));
    require(PartsBlocks(block).insert({}, m_connection), QStringLiteral("a block of %1").arg(path));
    m_restorePoint.setBlocksCount(m_restorePoint.blocksCount() + 1);
    return id;
}

void GenerationRecorder::step()
{
    if (++m_steps % StepsPerTransaction != 0)
        return;
    commit();
    m_transaction.emplace(m_connection);
}

void GenerationRecorder::commit()
{
    if (m_transaction->commit() != ResultCode::Ok)
        throw Failure(QStringLiteral("the restore point cannot be committed"));
    m_transaction.reset();
}

} // namespace Client
