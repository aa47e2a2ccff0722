// Brings a catalogue up in a process of its own, since the default pool of a process is initialised only once. Its
// arguments are commands, some with a value, carried out one after the other; each answers with one line, and so does
// each log record.

#include <repository/database/Database.h>
#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/Timing_p.h>

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlRecord>
#include <QStringList>
#include <QVariant>

#include <csignal>
#include <cstdio>
#include <functional>
#include <grp.h>
#include <map>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Tolm::SQL::Database;
using Tolm::SQL::DatabaseConnection;
using Tolm::SQL::DatabasePool;
using Tolm::SQL::Timing;

void say(QString line)
{
    line.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    std::puts(line.toUtf8().constData());
    std::fflush(stdout);
}

void sayRecord(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    static const std::map<QtMsgType, const char *> Levels{{QtDebugMsg, "debug"},
                                                          {QtInfoMsg, "info"},
                                                          {QtWarningMsg, "warning"},
                                                          {QtCriticalMsg, "error"},
                                                          {QtFatalMsg, "fatal"}};
    say(QStringLiteral("%1 %2: ").arg(QLatin1String(context.category), QLatin1String(Levels.at(type))) + text);
}

QString yes(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString rowsOf(QSqlQuery query, const QString &text)
{
    if (!query.exec(text))
        return QStringLiteral("failed ") + query.lastError().text();
    QStringList rows;
    while (query.next()) {
        QStringList values;
        for (int column = 0; column < query.record().count(); ++column)
            values.append(query.value(column).toString());
        rows.append(values.join(QLatin1Char('|')));
    }
    return rows.join(QLatin1Char(';'));
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
    say(QStringLiteral("ready"));
    return std::getchar() == EOF ? QStringLiteral("alone") : QStringLiteral("proceeding");
}

// The catalogue's thread connection with a transaction that stays open.
QString beginTransaction()
{
    static DatabaseConnection connection(DatabasePool::defaultPool());
    static Tolm::SQL::DatabaseTransaction transaction(connection);
    return yes(transaction.isActive());
}

QString openAsHost(const QString &file)
{
    QSqlDatabase host = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
    host.setDatabaseName(file);
    return yes(host.open());
}

QString onCatalogue(const QString &text)
{
    const DatabaseConnection connection(DatabasePool::defaultPool());
    return rowsOf(connection.query(), text);
}

struct Command {
    bool hasValue;
    std::function<QString(const QString &)> run;
};

const std::map<QString, Command> &commands()
{
    const auto plain = [](auto function) { return Command{false, [function](const QString &) { return function(); }}; };
    static const std::map<QString, Command> All{
        {QStringLiteral("init"), plain([] { return yes(Database::init(false)); })},
        {QStringLiteral("recover"), plain([] { return yes(Database::init(true)); })},
        {QStringLiteral("shrink"), plain([] { return yes(Database::shrink()); })},
        {QStringLiteral("lastError"), plain([] { return yes(Database::dbLastError()); })},
        {QStringLiteral("reset"), plain([] { return Database::resetDbLastError(), QString(); })},
        {QStringLiteral("isInit"), plain([] { return yes(DatabasePool::defaultPool()->isInit()); })},
        {QStringLiteral("connections"), plain([] { return QString::number(QSqlDatabase::connectionNames().size()); })},
        {QStringLiteral("begin"), plain(beginTransaction)},
        {QStringLiteral("wait"), plain(waitForParent)},
        {QStringLiteral("nobody"), plain(becomeNobody)},
        {QStringLiteral("sqlite"), {true, [](const QString &path) { return yes(Database::initSQLite(path)); }}},
        {QStringLiteral("postgres"),
         {true, [](const QString &location) { return yes(Database::initPostgreSQL(location)); }}},
        {QStringLiteral("sql"), {true, onCatalogue}},
        {QStringLiteral("host"), {true, openAsHost}},
        {QStringLiteral("hostSql"),
         {true, [](const QString &text) { return rowsOf(QSqlQuery(QSqlDatabase::database()), text); }}},
        {QStringLiteral("busy"),
         {true, [](const QString &time) { return Timing::instance().busyTimeout = time.toInt(), QString(); }}},
        {QStringLiteral("full"), {true, [](const QString &bytes) { return limitFileSize(bytes, false); }}},
        {QStringLiteral("deadly"), {true, [](const QString &bytes) { return limitFileSize(bytes, true); }}},
        {QStringLiteral("folder"),
         {true, [](const QString &path) { return yes(::chdir(path.toUtf8().constData()) == 0); }}},
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
        const auto command = commands().find(name);
        if (command == commands().end() || (command->second.hasValue && arguments.isEmpty()))
            return 2;
        const QString value = command->second.hasValue ? arguments.takeFirst() : QString();
        say(name + QLatin1Char('=') + command->second.run(value));
    }
    return 0;
}
