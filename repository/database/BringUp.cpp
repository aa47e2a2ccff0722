#include <repository/database/BringUp_p.h>
#include <repository/database/DatabaseFile_p.h>
#include <repository/database/DatabaseLocation_p.h>
#include <repository/database/DatabaseStructure.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Log_p.h>
#include <repository/database/ResultCode.h>
#include <repository/database/Timing_p.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSqlDriver>
#include <QSqlError>
#include <QStringList>
#include <QThread>
#include <QUuid>
#include <QVariant>

namespace Tolm::SQL {

namespace {

/// The connection that a database is brought up on, unregistered at the end. It has Qt's default name, unless the host
/// application has a default connection of its own, which registering ours would close.
class BootstrapConnection {
public:
    explicit BootstrapConnection(const QString &driver)
        : m_name(QSqlDatabase::contains() ? QUuid::createUuid().toString()
                                          : QString::fromLatin1(QSqlDatabase::defaultConnection))
        , m_database(QSqlDatabase::addDatabase(driver, m_name))
    {}

    ~BootstrapConnection()
    {
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }

    Q_DISABLE_COPY_MOVE(BootstrapConnection)

    QSqlDatabase &database() { return m_database; }

private:
    QString m_name;
    QSqlDatabase m_database;
};

// The native codes are SQLite's primary ones, as texts; PostgreSQL's have five characters and are never one of these.
bool isDamage(const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    return code == QLatin1String("11") || code == QLatin1String("26"); // SQLITE_CORRUPT, SQLITE_NOTADB
}

bool isBusy(const QSqlError &error)
{
    return error.nativeErrorCode() == QLatin1String("5"); // SQLITE_BUSY
}

BringUp failure(const QSqlError &error)
{
    return isDamage(error) ? BringUp::Damaged : BringUp::Unavailable;
}

struct Answer {
    QVariant value; ///< the first column of the first row
    QSqlError error;
};

// Runs `text`. SQLite's own busy time-out does not cover a change of the journal mode, which fails at once while
// another process is starting on the same file; so the waiting is done here as well.
Answer ask(QSqlQuery query, const QString &text)
{
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        Answer answer;
        if (query.exec(text) && query.next())
            answer.value = query.value(0);
        answer.error = query.lastError();
        // A query left on its row would make every further change of the database fail.
        query.finish();
        if (!isBusy(answer.error) || waited.elapsed() >= Timing::instance().busyTimeout)
            return answer;
        QThread::msleep(5);
    }
}

struct Mode {
    const char *readStatement;
    const char *wanted;
    const char *writeStatement;
    const char *readFailure;
    const char *writeFailure;
};

constexpr Mode JournalMode{
    "PRAGMA journal_mode;",
    "wal",
    "PRAGMA journal_mode=WAL;",
    "Error on check database journal mode database:",
    "Error on set database journal mode database:",
};

constexpr Mode LockingMode{
    "PRAGMA locking_mode;",
    "normal",
    "PRAGMA locking_mode=NORMAL;",
    "Error on check database locking mode database:",
    "Error on set database locking mode database:",
};

BringUp ensureMode(const QSqlDatabase &database, const Mode &mode)
{
    const Answer current = ask(QSqlQuery(database), QLatin1String(mode.readStatement));
    if (current.error.isValid()) {
        log().error() << mode.readFailure << current.error.text();
        return failure(current.error);
    }
    if (current.value.toString().compare(QLatin1String(mode.wanted), Qt::CaseInsensitive) == 0)
        return BringUp::Up;

    const Answer change = ask(QSqlQuery(database), QLatin1String(mode.writeStatement));
    if (change.error.isValid()) {
        log().error() << mode.writeFailure << change.error.text();
        return failure(change.error);
    }
    return BringUp::Up;
}

// QSqlDatabase::tables() would answer "none" for a locked or damaged file, too.
Answer countTables(const QSqlQuery &query, DatabaseType type)
{
    const Answer answer =
        ask(query,
            dialect(type,
                    QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                                   "'sqlite\\_%' ESCAPE '\\'"),
                    QStringLiteral("SELECT count(*) FROM pg_catalog.pg_tables WHERE schemaname = current_schema()")));
    if (answer.error.isValid())
        log().error() << "Error on check database tables:" << answer.error.text();
    return answer;
}

// Processes that find the same database empty at the same moment come here one after the other: on SQLite the
// transaction sees to that, on PostgreSQL a lock that lasts as long as the transaction. Its number is ours alone.
bool waitForTurn(const DatabaseConnection &connection)
{
    if (connection.dbType() == DatabaseType::SQLite)
        return true;
    const Answer answer = ask(connection.query(), QStringLiteral("SELECT pg_advisory_xact_lock(8390402180462635380)"));
    if (answer.error.isValid())
        log().error() << "Error on lock database:" << answer.error.text();
    return !answer.error.isValid();
}

// In one transaction: a process that is killed here leaves an empty database and not half a schema. It runs on a pool
// of its own, because the default pool can be initialised only once.
BringUp createSchema(const QSqlDatabase &database)
{
    DatabasePool pool;
    QPointer<DatabasePool> handle(&pool);
    if (!pool.initDatabase(database))
        return BringUp::Unavailable;
    DatabaseConnection connection(handle);
    DatabaseTransaction transaction(connection);
    if (!transaction.isActive() || !waitForTurn(connection))
        return BringUp::Unavailable;

    const Answer tables = countTables(connection.query(), connection.dbType());
    if (tables.error.isValid())
        return failure(tables.error);
    if (tables.value.toInt() == 0) {
        log().info() << "Create new DB structure";
        if (!createDatabaseStructure(connection))
            return BringUp::Unavailable;
    }
    return transaction.commit() == ResultCode::Ok ? BringUp::Up : BringUp::Unavailable;
}

BringUp ensureSchema(const QSqlDatabase &database, DatabaseType type)
{
    const Answer tables = countTables(QSqlQuery(database), type);
    if (tables.error.isValid())
        return failure(tables.error);
    return tables.value.toInt() > 0 ? BringUp::Up : createSchema(database);
}

BringUp initDefaultPool(const QSqlDatabase &database)
{
    const QPointer<DatabasePool> &pool = DatabasePool::defaultPool();
    return pool && pool->initDatabase(database) ? BringUp::Up : BringUp::Unavailable;
}

bool isDefaultPoolInUse()
{
    const QPointer<DatabasePool> &pool = DatabasePool::defaultPool();
    return !pool || pool->isInit();
}

} // namespace

BringUp bringUpSQLite(const QString &path)
{
    log().info() << "Use sqlite database";
    BootstrapConnection bootstrap(QStringLiteral("QSQLITE"));
    QSqlDatabase &database = bootstrap.database();
    database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(Timing::instance().busyTimeout));

    // Absolute, so that the pool's later connections find the same file whatever the working folder is by then.
    const QString file = QFileInfo(path).absoluteFilePath();
    database.setDatabaseName(file);
    if (!database.open()) {
        log().error() << "Error on open database:" << database.lastError().text();
        log().error() << "Drivers:" << QSqlDatabase::drivers().join(QLatin1Char(' '));
        return failure(database.lastError());
    }
    // A file that this call or another process has just made. Before SQLite makes the companions, which take the file's
    // mode at that moment.
    if (QFileInfo(file).size() == 0 && !DatabaseFile::shareWithEveryone(file)) {
        log().error() << "Error on chandge DB file permissions!" << file;
        return BringUp::Unavailable;
    }
    // The pool says itself why it refuses a second database.
    if (isDefaultPoolInUse())
        return initDefaultPool(database);

    BringUp outcome = ensureMode(database, JournalMode);
    if (outcome == BringUp::Up)
        outcome = ensureMode(database, LockingMode);
    if (outcome == BringUp::Up)
        outcome = ensureSchema(database, DatabaseType::SQLite);
    if (outcome == BringUp::Up)
        outcome = initDefaultPool(database);
    return outcome;
}

BringUp bringUpPostgreSql(const QString &connectionString)
{
    log().info() << "Use PostgreSQL database";
    const PostgreSqlLocation location = PostgreSqlLocation::parse(connectionString);
    BootstrapConnection bootstrap(QStringLiteral("QPSQL"));
    QSqlDatabase &database = bootstrap.database();
    database.setHostName(location.host);
    database.setPort(location.port);
    database.setUserName(location.user);
    database.setPassword(location.password);
    database.setDatabaseName(location.database);
    // The driver would read NUMERIC as double otherwise, and change dates and large sizes.
    database.setNumericalPrecisionPolicy(QSql::HighPrecision);
    if (!database.open()) {
        log().error() << "Error on connect to database:" << database.lastError().text();
        return BringUp::Unavailable;
    }
    if (isDefaultPoolInUse())
        return initDefaultPool(database);

    const BringUp outcome = ensureSchema(database, DatabaseType::PostgreSQL);
    return outcome == BringUp::Up ? initDefaultPool(database) : outcome;
}

} // namespace Tolm::SQL
