// Brings a catalogue up in a process of its own, since the default pool of a process is initialised only once. Its
// arguments are commands, some with a value, carried out one after the other; each answers with one line, and so does
// each log record.

#include <repository/database/Database.h>
#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Timing_p.h>

#include <tests/support/OwnConnection.h>

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <functional>
#include <grp.h>
#include <map>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace Tolm::SQL;

void say(QString line)
{
    std::puts(qPrintable(line.replace('\n', "\\n")));
    std::fflush(stdout);
}

void sayRecord(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    static const std::map<QtMsgType, QString> Levels{
        {QtDebugMsg, "debug"}, {QtInfoMsg, "info"}, {QtWarningMsg, "warning"}, {QtCriticalMsg, "error"}};
    say(QString("%1 %2: ").arg(context.category, Levels.at(type)) + text);
}

QString yes(bool value)
{
    return value ? "true" : "false";
}

// What a process of a user without rights can do, whoever runs the tests.
QString becomeNobody()
{
    constexpr uid_t Nobody = 65534;
    const bool done =
        ::geteuid() != 0 || (::setgroups(0, nullptr) == 0 && ::setgid(Nobody) == 0 && ::setuid(Nobody) == 0);
    ::prctl(PR_SET_DUMPABLE, 1); // the leak checker looks at the process from outside
    return yes(done);
}

// A disk that is full at a certain byte of a file; writing there fails, or kills the process in the midst of it.
QString limitFileSize(const QString &bytes, bool deadly)
{
    if (!deadly)
        ::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    const rlimit limit{bytes.toULong(), RLIM_INFINITY};
    return yes(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
}

QString waitForParent()
{
    say("ready");
    return std::getchar() == EOF ? "alone" : "proceeding";
}

// The catalogue's thread connection with a transaction that stays open.
QString beginTransaction()
{
    static DatabaseConnection connection(DatabasePool::defaultPool());
    static DatabaseTransaction transaction(connection);
    return yes(transaction.isActive());
}

QString openAsHost(const QString &file)
{
    QSqlDatabase host = QSqlDatabase::addDatabase("QSQLITE");
    host.setDatabaseName(file);
    return yes(host.open());
}

QString rowsOf(const QSqlQuery &query, const QString &text)
{
    return Tolm::Tests::rowsOf(query, text).join(';');
}

using Command = std::function<QString(QStringList &arguments)>; // it takes its value, when it has one

const std::map<QString, Command> &commands()
{
    static const std::map<QString, Command> All{
        {"init", [](auto &) { return yes(Database::init(false)); }},
        {"recover", [](auto &) { return yes(Database::init(true)); }},
        {"shrink", [](auto &) { return yes(Database::shrink()); }},
        {"lastError", [](auto &) { return yes(Database::dbLastError()); }},
        {"reset", [](auto &) { return Database::resetDbLastError(), QString(); }},
        {"isInit", [](auto &) { return yes(DatabasePool::defaultPool()->isInit()); }},
        {"connections", [](auto &) { return QString::number(QSqlDatabase::connectionNames().size()); }},
        {"begin", [](auto &) { return beginTransaction(); }},
        {"wait", [](auto &) { return waitForParent(); }},
        {"nobody", [](auto &) { return becomeNobody(); }},
        {"sqlite", [](auto &rest) { return yes(Database::initSQLite(rest.takeFirst())); }},
        {"postgres", [](auto &rest) { return yes(Database::initPostgreSQL(rest.takeFirst())); }},
        {"sql",
         [](auto &rest) { return rowsOf(DatabaseConnection(DatabasePool::defaultPool()).query(), rest.takeFirst()); }},
        {"host", [](auto &rest) { return openAsHost(rest.takeFirst()); }},
        {"hostSql", [](auto &rest) { return rowsOf(QSqlQuery(QSqlDatabase::database()), rest.takeFirst()); }},
        {"busy", [](auto &rest) { return Timing::instance().busyTimeout = rest.takeFirst().toInt(), QString(); }},
        {"full", [](auto &rest) { return limitFileSize(rest.takeFirst(), false); }},
        {"deadly", [](auto &rest) { return limitFileSize(rest.takeFirst(), true); }},
        {"folder", [](auto &rest) { return yes(::chdir(qPrintable(rest.takeFirst())) == 0); }},
    };
    return All;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(sayRecord);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    while (!arguments.isEmpty()) {
        const QString name = arguments.takeFirst();
        say(name + '=' + commands().at(name)(arguments));
    }
    return 0;
}
