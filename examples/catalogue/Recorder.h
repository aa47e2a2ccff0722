#pragma once

#include <repository/catalog/CloudFile.h>
#include <repository/catalog/Destination.h>

#include <examples/catalogue/FolderContent.h>
#include <examples/catalogue/ProgressBar.h>
#include <examples/catalogue/Session.h>

#include <QHash>
#include <QSharedPointer>

namespace Client {

/// Records one backup run of a folder tree, as an engine would that copies each file as it is: folders, files, a
/// version and an operation for each file that is new or changed by modification time or size, an operation for each
/// entry that could not be read. Files that are gone are marked as deleted, files that are back lose the mark; neither
/// these nor unchanged files make an operation.
class Recorder {
public:
    /// \param excluded the paths of files to pass over: a catalogue that records itself would change with every run.
    Recorder(Tolm::SQL::DatabaseConnection &connection, const Tolm::SQL::Destination &destination,
             const QString &folder, const QStringList &excluded);

    /// Throws Failure when the catalogue refuses something; all but the last thousand files is recorded then.
    void run();

    const Tolm::SQL::SessionHistory &session() const { return m_session.row(); }
    quint64 unchanged() const { return m_unchanged; }
    quint64 deleted() const { return m_deleted; }
    quint64 returned() const { return m_returned; }
    quint64 passedOver() const { return m_passedOver; }

private:
    using KnownFiles = QHash<QString, QSharedPointer<Tolm::SQL::CloudFile>>;

    void walk();
    void recordFolder(const QString &path);
    void recordFile(const QString &path, const FolderContent::File &file, quint64 folderId,
                    QSharedPointer<Tolm::SQL::CloudFile> row);
    void storeFile(Tolm::SQL::CloudFile &row);
    void storeVersion(const Tolm::SQL::CloudFile &row);
    void recordFailure(const QString &path, const QString &reason);
    void markDeletedTree(quint64 folderId);
    void markDeleted(const KnownFiles &files);
    bool isStored(const Tolm::SQL::CloudFile &row);
    KnownFiles knownFiles(quint64 folderId);
    QByteArray cloudPath(const QString &path) const;

    Tolm::SQL::DatabaseConnection &m_connection;
    const Tolm::SQL::Destination m_destination;
    const QString m_folder;
    const QStringList m_excluded;
    Session m_session;
    ProgressBar m_progress;
    QElapsedTimer m_fileTimer;
    QStringList m_pending; // folders still to be read
    quint64 m_unchanged = 0;
    quint64 m_deleted = 0;
    quint64 m_returned = 0;
    quint64 m_passedOver = 0;
};

} // namespace Client
