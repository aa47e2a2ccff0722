#pragma once

#include <repository/database/DatabaseFile_p.h>

#include <QFileInfoList>
#include <QString>

namespace Tolm::SQL {

/// The folder of the databases that could not be brought up and were replaced; it keeps about three of them.
///
/// While an object has it open, other processes that want to set a database aside wait. An object belongs to one
/// thread; its failures are logged.
class SetAsideCopies {
public:
    explicit SetAsideCopies(const QString &folder);
    ~SetAsideCopies();
    Q_DISABLE_COPY_MOVE(SetAsideCopies)

    /// Makes the folder where there is none and waits for its turn. \return false when that failed.
    bool open();

    /// Moves the database `path`, with its companions, into the folder: copies it, removes it when the copy is on the
    /// disk, and then lets the oldest of three or more earlier copies go. Waits for other processes that have it open
    /// as long as for a busy database. \return false when that failed; then nothing was removed, unless a companion
    /// resists when the file itself is gone already.
    bool take(const QString &path);

private:
    DatabaseFile::Step tryToTake(const QString &path);
    QFileInfoList copies() const;
    QString newName() const;
    bool isOnDisk() const;

    QString m_folder;
    int m_descriptor = -1;
};

} // namespace Tolm::SQL
