#include <repository/database/Log_p.h>
#include <repository/database/SetAsideCopies_p.h>
#include <repository/database/Timing_p.h>

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Tolm::SQL {

namespace {

constexpr int MostCopies = 3;

bool report(const char *what, const QString &path)
{
    log().error() << "Error on set database aside:" << what << path << std::strerror(errno);
    return false;
}

void discardOldest(const QFileInfoList &copies)
{
    const auto oldest =
        std::min_element(copies.begin(), copies.end(), [](const QFileInfo &left, const QFileInfo &right) {
            return left.lastModified() < right.lastModified();
        });
    if (oldest->lastModified() < QDateTime::currentDateTime())
        DatabaseFile::discard(oldest->filePath());
}

} // namespace

SetAsideCopies::SetAsideCopies(const QString &folder)
    : m_folder(folder)
{}

SetAsideCopies::~SetAsideCopies()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool SetAsideCopies::open()
{
    QDir().mkdir(m_folder); // whether it is there now, opening it tells
    m_descriptor = ::open(QFile::encodeName(m_folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_descriptor < 0)
        return report("cannot open the folder", m_folder);
    int locked = 0;
    do
        locked = ::flock(m_descriptor, LOCK_EX);
    while (locked != 0 && errno == EINTR);
    return locked == 0 || report("cannot lock the folder", m_folder);
}

bool SetAsideCopies::take(const QString &path)
{
    // Whoever else starts just now looks into the file, too, and finds it damaged.
    QElapsedTimer waited;
    waited.start();
    DatabaseFile::Step step = tryToTake(path);
    while (step == DatabaseFile::Step::InUse && waited.elapsed() < Timing::instance().busyTimeout) {
        QThread::msleep(10);
        step = tryToTake(path);
    }
    if (step == DatabaseFile::Step::InUse)
        log().error() << "Error on set database aside: in use by another process:" << path;
    return step == DatabaseFile::Step::Done;
}

DatabaseFile::Step SetAsideCopies::tryToTake(const QString &path)
{
    using Step = DatabaseFile::Step;

    const QFileInfoList earlier = copies();
    const QString copy = newName();
    DatabaseFile file(path);
    Step step = file.claim();
    if (step == Step::Done)
        step = file.copyTo(copy);
    if (step != Step::Done)
        return step;

    step = isOnDisk() ? file.remove() : Step::Failed;
    if (step == Step::Done) {
        log().debug() << "Corrupted: " << copy;
        if (earlier.size() >= MostCopies)
            discardOldest(earlier);
    } else if (file.exists()) {
        // Else every further attempt would drive an earlier copy out for one more copy of the same file.
        DatabaseFile::discard(copy);
    }
    return step;
}

QFileInfoList SetAsideCopies::copies() const
{
    return QDir(m_folder).entryInfoList({QStringLiteral("tolmvault*.db")}, QDir::Files | QDir::CaseSensitive,
                                        QDir::Name | QDir::IgnoreCase);
}

QString SetAsideCopies::newName() const
{
    const QString stem = m_folder + QLatin1String("/tolmvault") +
                         QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss"));
    QString name = stem + QLatin1String(".db");
    for (int number = 1; DatabaseFile::isTaken(name); ++number)
        name = QStringLiteral("%1_%2.db").arg(stem, QString::number(number));
    return name;
}

// The files are there already, their names in the folder perhaps not.
bool SetAsideCopies::isOnDisk() const
{
    return ::fsync(m_descriptor) == 0 || report("cannot write to the disk", m_folder);
}

} // namespace Tolm::SQL
