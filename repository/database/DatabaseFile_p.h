#pragma once

#include <QFile>
#include <QString>

namespace Tolm::SQL {

/// One SQLite database on the disk: its file, and the companions "-wal", "-shm" and "-journal" that SQLite keeps beside
/// it. What was committed last may stand in a companion only, so they are copied and removed together. Nothing of this
/// process may have the database open. An object belongs to one thread; its failures are logged.
class DatabaseFile {
public:
    /// \param path may be a symbolic link: as for SQLite, the companions lie beside the file that it leads to.
    explicit DatabaseFile(const QString &path);

    const QString &path() const { return m_path; }

    enum class Step {
        Done,
        InUse,  ///< another process has the file open; nothing was done, and nothing was logged
        Failed, ///< logged
    };

    /// Makes sure that no other process has the file open and keeps watching that none opens it.
    Step claim();

    /// Copies a claimed file and its "-wal" and "-journal", where they are, to `target`, which must not exist, and
    /// waits until they are on the disk. \return Done or Failed; then nothing of the copy is left.
    Step copyTo(const QString &target);

    /// Removes a claimed file and its companions, unless another process has opened it since claim(). When it fails,
    /// nothing was removed as long as the file exists().
    Step remove();

    bool exists() const { return QFile::exists(m_path); }

    /// Whether there is anything of a database `path`, be it only a companion.
    static bool isTaken(const QString &path);

    /// Removes the database `path` with its companions. \return false when something of it is left.
    static bool discard(const QString &path);

    /// Lets every user read and write the file `path`. \return whether they may now.
    static bool shareWithEveryone(const QString &path);

private:
    bool isStillClaimed() const;
    bool hasOtherLocks() const;

    QString m_path;
    QFile m_file;
    bool m_leased = false;
};

} // namespace Tolm::SQL
