#include <repository/database/DatabasePool_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/Timing_p.h>

#include <QMutexLocker>
#include <QSqlError>
#include <QTimerEvent>
#include <QUuid>

namespace Tolm::SQL {

namespace {

constexpr int SweepInterval = 10000;

QString newConnectionName()
{
    return QUuid::createUuid().toString();
}

} // namespace

DatabasePool::DatabasePool(QObject *parent)
    : QObject(parent)
    , m_connectionName(newConnectionName())
{
    startTimer(SweepInterval, Qt::CoarseTimer);
}

DatabasePool::~DatabasePool()
{
    const QMutexLocker lock(&m_mutex);
    const QList<std::thread::id> threads = m_connections.keys();
    for (const std::thread::id thread : threads)
        remove(thread);
    QSqlDatabase::removeDatabase(m_connectionName);
    log().debug() << "DatabasePool: delete pool (" << m_connectionName << ") , count:" << m_connections.size()
                  << "all connections:" << QSqlDatabase::connectionNames().size();
}

bool DatabasePool::initDatabase(const QSqlDatabase &database)
{
    if (!database.isValid() || !database.isOpen()) {
        log().error() << "DatabasePool: error on init database. database is not valid";
        return false;
    }
    if (!m_databaseName.isEmpty() || QSqlDatabase::contains(m_connectionName)) {
        log().error() << "DatabasePool: error on init database. default pool database already init";
        return false;
    }
    QSqlDatabase::cloneDatabase(database, m_connectionName);
    m_databaseName = database.databaseName();
    m_connectOptions = database.connectOptions();
    m_initialized = true;
    return true;
}

bool DatabasePool::isInit() const
{
    return m_initialized;
}

QSqlDatabase DatabasePool::getConnection()
{
    const Entry entry = acquire();
    return entry ? entry->database : QSqlDatabase();
}

void DatabasePool::removeConnection()
{
    const QMutexLocker lock(&m_mutex);
    const Entry entry = m_connections.value(std::this_thread::get_id());
    if (entry && entry->useCount > 0)
        --entry->useCount;
}

DatabasePool::Entry DatabasePool::acquire()
{
    const QMutexLocker lock(&m_mutex);
    if (!m_initialized)
        return {};

    Entry entry = m_connections.value(std::this_thread::get_id());
    if (!entry)
        entry = addConnection();
    else if (!entry->database.isOpen() && !reopen(*entry))
        return {};
    if (entry) {
        ++entry->useCount;
        entry->lastAccess = QDateTime::currentDateTimeUtc();
    }
    return entry;
}

void DatabasePool::release(Entry entry)
{
    const QMutexLocker lock(&m_mutex);
    if (entry->useCount > 0)
        --entry->useCount;
    entry.reset();
}

DatabasePool::Entry DatabasePool::addConnection()
{
    const QString name = newConnectionName();
    QSqlDatabase database = QSqlDatabase::cloneDatabase(m_connectionName, name);
    if (!database.isOpen() && !database.open()) {
        log().error() << "DatabasePool: (" << m_connectionName << ") error on open connection";
        database = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
        return {};
    }

    const auto entry = Entry::create();
    entry->database = database;
    entry->threadId = std::this_thread::get_id();
    m_connections.insert(entry->threadId, entry);
    log().debug() << "DatabasePool: add new db connection (" << m_connectionName
                  << "), current connection count:" << m_connections.size();
    return entry;
}

// A server that was restarted leaves a connection that answers nothing any more, and its prepared statements dead.
bool DatabasePool::reopen(PoolObject &entry)
{
    entry.state.forget();
    entry.database.close();
    if (entry.database.open())
        return true;
    log().error() << "DatabasePool: (" << m_connectionName << ") error on open connection";
    return false;
}

void DatabasePool::timerEvent(QTimerEvent * /*event*/)
{
    const QMutexLocker lock(&m_mutex);
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addMSecs(-Timing::instance().idleConnection);
    QList<std::thread::id> idle;
    for (const Entry &entry : qAsConst(m_connections)) {
        if (entry->useCount == 0 && entry->lastAccess < cutoff)
            idle.append(entry->threadId);
    }
    if (idle.isEmpty())
        return;

    for (const std::thread::id thread : qAsConst(idle))
        remove(thread);
    log().debug() << "DatabasePool: (" << m_connectionName << ") , count:" << m_connections.size()
                  << "all connections:" << QSqlDatabase::connectionNames().size();
}

void DatabasePool::remove(std::thread::id thread)
{
    Entry entry = m_connections.take(thread);
    const QString name = entry->database.connectionName();
    log().debug() << "DatabasePool: (" << m_connectionName << ") remove connection:" << name
                  << "db name:" << entry->database.databaseName();
    entry->state.forget();
    entry->database = QSqlDatabase();
    entry.reset();
    QSqlDatabase::removeDatabase(name);
}

QPointer<DatabasePool> &DatabasePool::defaultPool()
{
    static QPointer<DatabasePool> pool(new DatabasePool);
    return pool;
}

} // namespace Tolm::SQL
