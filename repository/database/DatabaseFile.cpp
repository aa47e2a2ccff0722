#include <repository/database/DatabaseFile_p.h>
#include <repository/database/Log_p.h>

#include <QFileInfo>

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Tolm::SQL {

namespace {

constexpr std::array<const char *, 3> Companions{"-wal", "-shm", "-journal"};

// "-shm" is an index of "-wal", made anew from it.
constexpr std::array<const char *, 2> CompanionsWithData{"-wal", "-journal"};

QString companion(const QString &path, const char *suffix)
{
    return path + QLatin1String(suffix);
}

bool report(const char *what, const QString &path, const QString &reason)
{
    log().error() << "Error on set database aside:" << what << path << reason;
    return false;
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool copyContent(QFile &source, QFile &copy)
{
    std::vector<char> buffer(1 << 20);
    const auto size = static_cast<qint64>(buffer.size());
    for (;;) {
        const qint64 length = source.read(buffer.data(), size);
        if (length <= 0)
            return length == 0;
        if (copy.write(buffer.data(), length) != length)
            return false;
    }
}

bool copyFile(QFile &source, const QString &target)
{
    QFile copy(target);
    if (!copy.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return report("cannot create", target, copy.errorString());
    // The mode first: nobody may read here what he may not read there.
    if (!copy.setPermissions(source.permissions()) || !copyContent(source, copy))
        return report("cannot copy to", target,
                      source.error() == QFile::NoError ? copy.errorString() : source.errorString());
    if (::fsync(copy.handle()) != 0)
        return report("cannot write to the disk", target, systemError());
    return true;
}

DatabaseFile::Step stepOf(bool done)
{
    return done ? DatabaseFile::Step::Done : DatabaseFile::Step::Failed;
}

bool removeFile(const QString &path)
{
    QFile file(path);
    return !file.exists() || file.remove() || report("cannot remove", path, file.errorString());
}

} // namespace

DatabaseFile::DatabaseFile(const QString &path)
    : m_path(QFileInfo(path).canonicalFilePath())
{
    if (m_path.isEmpty())
        m_path = QFileInfo(path).absoluteFilePath();
}

// SQLite's locks do not tell it: a connection that does nothing just now holds none. A lease for writing is given only
// while nobody else has the file open at all, and is broken by whoever opens it later. Without O_NONBLOCK, opening a
// file that another process has such a lease on would wait for it.
DatabaseFile::Step DatabaseFile::claim()
{
    const int descriptor = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 && errno == EWOULDBLOCK)
        return Step::InUse;
    if (descriptor < 0)
        return stepOf(report("cannot open", m_path, systemError()));
    if (!m_file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return stepOf(report("cannot open", m_path, m_file.errorString()));
    }
#ifdef F_SETLEASE
    // Who opens the file later is announced by a signal. The usual SIGIO would end the process, this one is ignored.
    ::fcntl(descriptor, F_SETSIG, SIGURG);
    m_leased = ::fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0;
    if (!m_leased && errno == EAGAIN)
        return Step::InUse;
#endif
    // Another user's file and some file systems give no leases; there the locks have to do.
    return isStillClaimed() ? Step::Done : Step::InUse;
}

bool DatabaseFile::isStillClaimed() const
{
#ifdef F_SETLEASE
    if (m_leased)
        return ::fcntl(m_file.handle(), F_GETLEASE) == F_WRLCK;
#endif
    return !hasOtherLocks();
}

bool DatabaseFile::hasOtherLocks() const
{
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET; // from 0, length 0: the whole file and all that SQLite locks behind its end
    return ::fcntl(m_file.handle(), F_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

DatabaseFile::Step DatabaseFile::copyTo(const QString &target)
{
    bool done = copyFile(m_file, target);
    for (const char *suffix : CompanionsWithData) {
        QFile source(companion(m_path, suffix));
        if (!done || !source.exists())
            continue;
        done = source.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
                   ? copyFile(source, companion(target, suffix))
                   : report("cannot open", source.fileName(), source.errorString());
    }
    if (!done)
        discard(target);
    return stepOf(done);
}

// The file first: SQLite drops a "-wal" or "-journal" that it finds beside no database or an empty one, but replays it
// into a database. A process that is killed here leaves nothing that could come to life again.
DatabaseFile::Step DatabaseFile::remove()
{
    return isStillClaimed() ? stepOf(discard(m_path)) : Step::InUse;
}

bool DatabaseFile::isTaken(const QString &path)
{
    bool taken = QFile::exists(path);
    for (const char *suffix : Companions)
        taken = taken || QFile::exists(companion(path, suffix));
    return taken;
}

bool DatabaseFile::discard(const QString &path)
{
    bool done = removeFile(path);
    for (const char *suffix : Companions)
        done = done && removeFile(companion(path, suffix));
    return done;
}

bool DatabaseFile::shareWithEveryone(const QString &path)
{
    constexpr mode_t ReadWrite = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    constexpr mode_t All = S_IRWXU | S_IRWXG | S_IRWXO;
    const QByteArray name = QFile::encodeName(path);
    if (::chmod(name.constData(), ReadWrite) == 0)
        return true;
    // Only the owner may change the mode; it is enough that he has done so.
    struct stat status {};
    return ::stat(name.constData(), &status) == 0 && (status.st_mode & All) == ReadWrite;
}

} // namespace Tolm::SQL
