#pragma once

#include <repository/database/DatabaseTransaction.h>
#include <repository/generation/Files.h>
#include <repository/generation/Folders.h>
#include <repository/generation/RestorePoints.h>
#include <repository/generation/StorageFiles.h>

#include <examples/catalogue/FolderContent.h>
#include <examples/catalogue/ProgressBar.h>

#include <QHash>
#include <QSharedPointer>

#include <optional>

namespace Client {

/// Records one run of a folder tree as a restore point: rows only for what is new, changed or gone since the run
/// before, and for the folders that lead to it; a storage file of the run, its part, and one block for each file
/// stored. Everything throws Failure when the generation refuses it.
class GenerationRecorder {
public:
    GenerationRecorder(Tolm::SQL::DatabaseConnection &connection, const QString &folder);

    /// Writes in transactions of a thousand rows each.
    void run();

    const Tolm::SQL::Generation::RestorePoints &restorePoint() const { return m_restorePoint; }
    quint64 unchanged() const { return m_unchanged; }
    quint64 unreadable() const { return m_unreadable; }

private:
    struct Folder {
        QString path;
        QSharedPointer<Folder> parent;
        quint64 row = 0; ///< of this restore point; 0 while nothing in it is recorded
    };
    using FolderPointer = QSharedPointer<Folder>;

    void begin();
    void recordFolder(const FolderPointer &folder);
    void recordFiles(const FolderPointer &folder, const FolderContent &content);
    void recordFolders(const FolderPointer &folder, const FolderContent &content);
    quint64 rowOf(const FolderPointer &folder);
    void insertFolder(const FolderPointer &folder, bool deleted);
    void insertFile(const FolderPointer &folder, Tolm::SQL::Generation::Files file, bool deleted);
    long long storeBlock(const QString &path);
    void step();
    void commit();

    Tolm::SQL::DatabaseConnection &m_connection;
    QString m_folder;
    ProgressBar m_progress;
    Tolm::SQL::Generation::RestorePoints m_restorePoint;
    Tolm::SQL::Generation::StorageFiles m_storageFile;
    std::optional<Tolm::SQL::DatabaseTransaction> m_transaction;
    QList<FolderPointer> m_pending; // still to be read
    int m_steps = 0;
    quint64 m_unchanged = 0;
    quint64 m_unreadable = 0;
    quint64 m_seen = 0;
};

} // namespace Client
