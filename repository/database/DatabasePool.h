#pragma once

#include <platform/TolmExport.h>

#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QSqlDatabase>
#include <QString>

#include <atomic>
#include <thread>

namespace Tolm::SQL {

/// One connection per thread to one database: made when a thread first asks, shared by everything that thread does,
/// closed a minute after its last use.
///
/// Any thread may ask for its connection once initDatabase() has returned; a connection must be used only on the thread
/// that got it. Callers normally make a DatabaseConnection, which takes the connection and gives it back.
///
/// Idle connections are closed by a timer of 10 s on the thread that made the pool. It needs that thread's Qt event
/// loop: a pool made on a thread that Qt did not start, or before the application object, keeps its connections until
/// it is destroyed. Thread ids are reused by the system: a new thread may be given the still open connection of one
/// that has ended.
class TOLM_EXPORT DatabasePool : public QObject {
    Q_OBJECT

public:
    explicit DatabasePool(QObject *parent = nullptr);

    /// Closes and unregisters every connection; no other thread may be working on one.
    ~DatabasePool() override;

    /// Makes `database` the template of the pool's connections. Call it once, before other threads use the pool.
    /// \param database an open connection; the pool keeps a closed clone of it, so the caller may close it afterwards.
    /// \return false, with an error record and without any change, when it is not valid or not open, or when the pool
    /// has a template already.
    bool initDatabase(const QSqlDatabase &database);

    /// Whether initDatabase() has succeeded.
    bool isInit() const;

    /// The calling thread's connection, made and opened when there is none, opened again when it was lost; counts one
    /// use of it. \return an invalid QSqlDatabase, with nothing to give back, when the pool is not initialised or the
    /// connection cannot be opened (then with an error record).
    QSqlDatabase getConnection();

    /// Gives one use of the calling thread's connection back; nothing happens when it has none.
    void removeConnection();

    /// The pool of the main database. Made by the first call and never destroyed, so that threads which outlive main()
    /// find it.
    static QPointer<DatabasePool> &defaultPool();

protected:
    /// Closes the connections that no handle holds and that were last handed out more than 60 s ago.
    void timerEvent(QTimerEvent *event) override;

private:
    friend class DatabaseConnection;
    struct PoolObject;
    using Entry = QSharedPointer<PoolObject>;

    Entry acquire();
    void release(Entry entry);
    Entry addConnection();
    bool reopen(PoolObject &entry);
    void remove(std::thread::id thread);

    QString m_connectOptions;
    QString m_databaseName;
    QString m_connectionName;
    QMap<std::thread::id, Entry> m_connections;
    QMutex m_mutex;
    std::atomic<bool> m_initialized{false};
};

} // namespace Tolm::SQL
