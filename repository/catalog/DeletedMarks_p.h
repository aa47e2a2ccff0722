#pragma once

#include <repository/database/DatabaseConnection.h>

#include <QSet>
#include <QString>

namespace Tolm::SQL {

class CloudFile;

/// Walks files and folders of the catalogue beside the local disk and marks as deleted what is not there, or clears the
/// mark of what is there again. Files are read in pages, folders one level at a time: memory is bounded by the widest
/// level.
class DeletedMarks {
public:
    explicit DeletedMarks(DatabaseConnection &connection);

    /// The file at `catalogPath`, and everything below the folder at it.
    void updatePath(quint64 destinationId, const QString &diskPath, const QString &catalogPath);

    /// Everything below a folder.
    void updateFolder(const QString &diskFolder, quint64 folderId);

private:
    void updateFile(CloudFile &file, const QString &diskPath);
    void updateFilesOf(quint64 folderId, const QString &diskFolder);

    DatabaseConnection &m_connection;
    QSet<quint64> m_chain; // the folder being walked and its parents, so that a loop among them ends
    quint64 m_checked = 0;
    quint64 m_changed = 0;
};

} // namespace Tolm::SQL
