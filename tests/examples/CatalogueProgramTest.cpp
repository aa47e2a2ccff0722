#include <tests/support/TestDatabase.h>

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tolm::Tests {

namespace {

constexpr int Patience = 120000; // ms; sanitized programs are slow

struct Outcome {
    int code = -1;
    QString out;
    QString err;
};

// A tree of files to record, and the program that does, beside every setting of this machine.
class Client {
public:
    QString path(const QString &name) const { return m_folder.filePath(QStringLiteral("tree/") + name); }
    QString tree() const { return m_folder.filePath(QStringLiteral("tree")); }
    QString beside(const QString &name) const { return m_folder.filePath(name); }
    QString configRoot() const { return beside(QStringLiteral("config")); }

    Client() { QDir().mkpath(tree()); }

    // Not by QTemporaryDir alone: it does not reach what lies deeper than a path is long.
    ~Client() { QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), m_folder.path()}); }
    Q_DISABLE_COPY_MOVE(Client)

    void write(const QString &name, const QByteArray &content, const QString &modified) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.flush();
        const QDateTime time = QDateTime::fromString(modified + QLatin1Char('Z'), Qt::ISODate);
        ASSERT_TRUE(file.setFileTime(time, QFileDevice::FileModificationTime));
    }

    void writeMany(int count) const
    {
        for (int i = 0; i < count; ++i)
            std::ofstream(QStringLiteral("%1/f%2").arg(tree()).arg(i, 5, 10, QLatin1Char('0')).toStdString());
    }

    void prepare(QProcess &process, const QStringList &arguments) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TOLM_CONFIG_ROOT"), configRoot());
        environment.insert(QStringLiteral("TMPDIR"), m_folder.path());
        process.setProcessEnvironment(environment);
        process.setProgram(QStringLiteral(TOLM_CATALOGUE_PROGRAM));
        process.setArguments(arguments);
    }

    static Outcome finish(QProcess &process)
    {
        EXPECT_TRUE(process.waitForFinished(Patience));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    Outcome run(const QStringList &arguments) const
    {
        QProcess process;
        prepare(process, arguments);
        process.start();
        return finish(process);
    }

private:
    QTemporaryDir m_folder;
};

// The master side of a terminal that is 60 columns wide, and what programs wrote to it.
class Terminal {
public:
    Terminal()
        : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        ::grantpt(m_master);
        ::unlockpt(m_master);
        // Held open: without a slave, what was written to it is gone.
        m_slave = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY);
        const winsize size{24, 60, 0, 0};
        EXPECT_EQ(::ioctl(m_slave, TIOCSWINSZ, &size), 0);
    }

    ~Terminal()
    {
        ::close(m_slave);
        ::close(m_master);
    }
    Q_DISABLE_COPY_MOVE(Terminal)

    QString name() const { return QString::fromLocal8Bit(::ptsname(m_master)); }

    QString takeOutput() const
    {
        QByteArray all;
        char buffer[4096];
        for (ssize_t size = 0; (size = ::read(m_master, buffer, sizeof buffer)) > 0;)
            all.append(buffer, static_cast<int>(size));
        return QString::fromUtf8(all);
    }

private:
    int m_master;
    int m_slave = -1;
};

} // namespace

class CatalogueProgramTest : public DatabaseTest {
protected:
    QStringList withCatalogue(QStringList arguments) const
    {
        return arguments << QStringLiteral("--catalogue") << m_database.location();
    }

    Outcome run(const QStringList &arguments) const { return m_client.run(withCatalogue(arguments)); }

    Outcome record() const { return run({QStringLiteral("record"), m_client.tree()}); }

    int number(const QString &sql) { return m_database.value(sql).toInt(); }
    int versions() { return number(QStringLiteral("select count(*) from cloud_file_versions")); }
    int operations() { return number(QStringLiteral("select count(*) from history")); }
    int deletedFiles()
    {
        return number(QStringLiteral("select count(*) from cloud_files where date_deleted_utc <> 99999999999999"));
    }

    // Of the last session: result, files uploaded, bytes uploaded, files scanned, failed.
    QVariantList session()
    {
        QVariantList row = m_database
                               .sql(QStringLiteral("select result, uploaded_count, uploaded_size, scanned_count, "
                                                   "failed_count from session_history order by id desc limit 1"))
                               .value(0);
        for (QVariant &value : row)
            value = value.toInt();
        return row;
    }

    Client m_client;
};

TOLM_TEST_ON_EVERY_BACKEND(CatalogueProgramTest);

TEST_P(CatalogueProgramTest, RecordsEachStateOfEachFileOnce)
{
    m_client.write(QStringLiteral("a.txt"), "12345", QStringLiteral("2024-01-31T10:00:00"));
    m_client.write(QStringLiteral("sub/b.txt"), "1", QStringLiteral("2024-03-10T02:30:00"));
    m_client.write(QStringLiteral("sub/deep/c.txt"), "", QStringLiteral("2024-02-29T23:59:59"));
    EXPECT_EQ(record().code, 0);
    EXPECT_EQ(session(), (QVariantList{0, 3, 6, 3, 0}));
    EXPECT_EQ(versions(), 3);
    EXPECT_EQ(number(QStringLiteral("select count(*) from history h join session_history s on h.session_id = s.id "
                                    "join plan_name p on p.plan_id = s.plan_id and p.plan_id = h.plan_id "
                                    "where h.message = 'Success'")),
              3);
    EXPECT_EQ(number(QStringLiteral("select count(*) from cloud_folders")),
              m_client.path(QStringLiteral("sub/deep")).count(QLatin1Char('/')) + 1);
    EXPECT_EQ(m_database.value(QStringLiteral("select date_modified_utc from cloud_file_versions where size = 1"))
                  .toLongLong(),
              20240310023000);

    EXPECT_EQ(record().code, 0);
    EXPECT_EQ(session(), (QVariantList{0, 0, 0, 3, 0}));
    EXPECT_EQ(versions(), 3);

    // Another time, another size at the same time, a new file; a file and a whole folder gone.
    m_client.write(QStringLiteral("a.txt"), "12345", QStringLiteral("2024-02-01T10:00:00"));
    m_client.write(QStringLiteral("sub/b.txt"), "22", QStringLiteral("2024-03-10T02:30:00"));
    m_client.write(QStringLiteral("new.txt"), "333", QStringLiteral("2024-04-01T00:00:00"));
    QDir(m_client.path(QStringLiteral("sub/deep"))).removeRecursively();
    EXPECT_EQ(record().code, 0);
    EXPECT_EQ(session(), (QVariantList{0, 3, 10, 3, 0}));
    EXPECT_EQ(versions(), 6);
    EXPECT_EQ(deletedFiles(), 1);

    // Back to what is stored already.
    m_client.write(QStringLiteral("a.txt"), "12345", QStringLiteral("2024-01-31T10:00:00"));
    m_client.write(QStringLiteral("sub/deep/c.txt"), "", QStringLiteral("2024-02-29T23:59:59"));
    EXPECT_EQ(record().code, 0);
    EXPECT_EQ(session(), (QVariantList{0, 0, 0, 4, 0}));
    EXPECT_EQ(deletedFiles(), 0);

    EXPECT_EQ(versions(), 6);
    EXPECT_EQ(operations(), 6);
    EXPECT_EQ(number(QStringLiteral("select counter from statistic")), 4);
    EXPECT_EQ(number(QStringLiteral("select count(*) from destination")), 1);
    EXPECT_EQ(number(QStringLiteral("select count(*) from plan_name")), 1);
}

TEST_P(CatalogueProgramTest, AnswersInTables)
{
    m_client.write(QStringLiteral("Ünder_50%.TXT"), QByteArray(2048, 'x'), QStringLiteral("2024-01-01T00:00:00"));
    m_client.write(QStringLiteral("sub/b.txt"), "1", QStringLiteral("2024-01-01T00:00:00"));
    record();
    m_client.write(QStringLiteral("Ünder_50%.TXT"), QByteArray(20480, 'x'), QStringLiteral("2024-05-01T12:00:00"));
    QDir(m_client.path(QStringLiteral("sub"))).removeRecursively();
    record();

    EXPECT_EQ(run({QStringLiteral("list"), m_client.tree()}).out,
              QStringLiteral("    Size  Modified (UTC)       Versions  Name\n"
                             "--------  -------------------  --------  -------------\n"
                             "                                         sub/\n"
                             "20.0 KiB  2024-05-01 12:00:00         2  Ünder_50%.TXT\n"));
    const QString file = m_client.path(QStringLiteral("Ünder_50%.TXT"));
    for (const char *at : {"2024-05-01T11:59:59", "2024-04-30", "20240501115959", "2024-05-01T13:59:59+02:00"}) {
        const QString out = run({QStringLiteral("list"), file, QStringLiteral("--at"), QLatin1String(at)}).out;
        EXPECT_TRUE(out.contains(QStringLiteral("2.0 KiB  2024-01-01 00:00:00"))) << at << qPrintable(out);
    }
    const QString before2024 = QStringLiteral("20231231235959");
    EXPECT_EQ(run({QStringLiteral("list"), file, QStringLiteral("--at"), before2024}).code, 1);

    const QStringList lines = run({QStringLiteral("versions"), file}).out.split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 5);
    EXPECT_TRUE(lines.at(2).contains(QLatin1String("2024-01-01 00:00:00   2.0 KiB")));
    EXPECT_TRUE(lines.at(3).contains(QLatin1String("2024-05-01 12:00:00  20.0 KiB")));
    EXPECT_TRUE(lines.at(3).endsWith(file + QLatin1String("$20240501120000")));

    EXPECT_TRUE(run({QStringLiteral("find"), QStringLiteral("üNDER_50%.t")}).out.contains(file));
    EXPECT_EQ(run({QStringLiteral("find"), QStringLiteral("der%50")}).code, 1); // the percent sign stands for itself
    EXPECT_EQ(run({QStringLiteral("find"), QStringLiteral("nowhere")}).out,
              QStringLiteral("No file's name contains \"nowhere\".\n"));
    EXPECT_TRUE(run({QStringLiteral("find"), QStringLiteral("b.txt")}).out.contains(QLatin1String("Deleted (UTC)")));

    const QString report = run({QStringLiteral("report")}).out;
    for (const char *part : {"Operations of session 2 (1 of 1)", "Backup  Record /", "Record a folder by hand",
                             "       3  22.0 KiB", "FileSystem Local /backups/TOLM_"})
        EXPECT_TRUE(report.contains(QLatin1String(part))) << part << '\n' << qPrintable(report);
}

TEST_P(CatalogueProgramTest, PurgesOnlyWhatItWasAskedToAndNotWhenDry)
{
    const QString purge = QStringLiteral("purge");
    const QString keep = QStringLiteral("--keep");
    for (const char *day : {"01", "02", "03"}) {
        const QString date = QStringLiteral("2024-01-%1T00:00:00").arg(QLatin1String(day));
        m_client.write(QStringLiteral("sub/a.txt"), "12345", date);
        m_client.write(QStringLiteral("subway/b.txt"), "1", date);
        EXPECT_EQ(record().code, 0);
    }
    const QString sub = m_client.path(QStringLiteral("sub"));
    const Outcome dry = run({purge, keep, QStringLiteral("1"), QStringLiteral("--dry-run"), sub});
    EXPECT_EQ(dry.code, 0);
    EXPECT_EQ(dry.out.count(QStringLiteral("NumberOfVersions")), 2);
    EXPECT_TRUE(dry.out.endsWith(QStringLiteral("2 versions would go, 10 bytes would come free.\n")));
    EXPECT_EQ(versions(), 6);

    EXPECT_TRUE(run({purge, keep, QStringLiteral("1"), sub}).out.contains(QStringLiteral("2 versions gone")));
    EXPECT_EQ(versions(), 4);
    EXPECT_EQ(run({purge, keep, QStringLiteral("1"), sub}).code, 1);
    EXPECT_EQ(run({purge, QStringLiteral("--older"), QStringLiteral("30"), m_client.tree()}).code, 0);
    EXPECT_EQ(versions(), 2); // the newest of each file

    QDir(sub).removeRecursively();
    EXPECT_EQ(record().code, 0);
    EXPECT_EQ(run({purge, QStringLiteral("--deleted"), QStringLiteral("0"), m_client.tree()}).code, 0);
    EXPECT_EQ(versions(), 1);
    EXPECT_EQ(number(QStringLiteral("select count(*) from cloud_folders where display_name = 'sub'")), 0);
}

TEST_P(CatalogueProgramTest, CountsWhatItCannotRecordAndPassesOverWhatIsNoFile)
{
    const QString odd = QStringLiteral("it's 100%\n\"\u001b[31m\U0001F600\u00e9\u4e2d");
    m_client.write(odd, "1", QStringLiteral("2024-01-01T00:00:00"));
    const std::ofstream noText(m_client.path({}).toStdString() + "caf\xe9");
    QFile::link(m_client.tree(), m_client.path(QStringLiteral("loop")));
    QFile::link(QStringLiteral("/nowhere"), m_client.path(QStringLiteral("dangling")));
    ASSERT_EQ(::mkfifo(m_client.path(QStringLiteral("fifo")).toLocal8Bit().constData(), 0600), 0);
    // A tree that is deeper than a path is long cannot be read to its end, not even by root.
    const QString here = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_client.tree()));
    const QString step(250, QLatin1Char('d'));
    for (int depth = 0; depth < 20; ++depth) {
        ASSERT_EQ(::mkdir(step.toLocal8Bit().constData(), 0700), 0);
        ASSERT_EQ(::chdir(step.toLocal8Bit().constData()), 0);
        std::ofstream("leaf");
    }
    QDir::setCurrent(here);

    const Outcome outcome = record();
    EXPECT_EQ(outcome.code, 1);
    EXPECT_TRUE(outcome.err.contains(QLatin1String("\"caf\\xe9\" is not valid"))) << qPrintable(outcome.err);
    EXPECT_TRUE(outcome.out.contains(QLatin1String("passed over  3 "))) << qPrintable(outcome.out);

    const QVariantList counters = session();
    EXPECT_EQ(counters.at(0).toInt(), 4);
    EXPECT_EQ(counters.at(1).toInt(), versions());
    const int failed = counters.at(4).toInt();
    EXPECT_GE(failed, 2);
    EXPECT_EQ(number(QStringLiteral("select count(*) from history where message <> 'Success'")), failed);
    EXPECT_EQ(m_database.value(QStringLiteral("select local_path from cloud_files where size = 1")).toString(),
              m_client.path(odd));
    EXPECT_EQ(number(QStringLiteral("select count(*) from cloud_files where display_name like 'caf%'")), 0);

    // A second run marks nothing as deleted, for all that it could not see, and changes nothing.
    EXPECT_EQ(record().code, 1);
    EXPECT_EQ(deletedFiles(), 0);
    EXPECT_EQ(session().at(1).toInt(), 0);

    const QString answer = run({QStringLiteral("find"), QStringLiteral("100%")}).out;
    EXPECT_TRUE(answer.contains(QLatin1String("it's 100%\\n\"\\x1b[31m"))) << qPrintable(answer);
    EXPECT_FALSE(answer.contains(QChar(0x1b)));
}

TEST_P(CatalogueProgramTest, EndsAfterTheBatchInWhichItIsInterrupted)
{
    m_client.writeMany(2500);
    // It reads the account from a pipe, so that the signal certainly comes before the first batch.
    const QString account = m_client.beside(QStringLiteral("account"));
    ASSERT_EQ(::mkfifo(account.toLocal8Bit().constData(), 0600), 0);
    QProcess process;
    m_client.prepare(process,
                     withCatalogue({QStringLiteral("record"), m_client.tree(), QStringLiteral("--account"), account}));
    process.start();
    ASSERT_TRUE(process.waitForStarted());
    int pipe = -1;
    QElapsedTimer waited;
    waited.start();
    while ((pipe = ::open(account.toLocal8Bit().constData(), O_WRONLY | O_NONBLOCK)) < 0 && waited.elapsed() < Patience)
        QThread::msleep(10);
    ASSERT_GE(pipe, 0);
    ASSERT_EQ(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
    const QByteArray json = R"({"AccountType": "FileSystem", "Path": "/p", "BackupPrefix": "host"})";
    ASSERT_EQ(::write(pipe, json.constData(), static_cast<size_t>(json.size())), json.size());
    ::close(pipe);

    EXPECT_EQ(Client::finish(process).code, 1);
    EXPECT_EQ(session(), (QVariantList{3, 1000, 0, 1000, 0}));
    EXPECT_EQ(versions(), 1000);
    EXPECT_EQ(m_database.value(QStringLiteral("select prefix from destination")).toString(),
              QStringLiteral("/p/TOLM_host"));

    QFile::remove(account);
    QFile file(account);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(json);
    file.close();
    EXPECT_EQ(run({QStringLiteral("record"), m_client.tree(), QStringLiteral("--account"), account}).code, 0);
    EXPECT_EQ(session(), (QVariantList{0, 1500, 0, 2500, 0}));
    EXPECT_EQ(versions(), 2500);
}

namespace {

class CatalogueProgramFileTest : public testing::Test {
protected:
    Outcome run(const QStringList &arguments) const
    {
        return m_client.run(arguments + QStringList{QStringLiteral("--catalogue"), m_database.file()});
    }

    TestDatabase m_database{SQL::DatabaseType::SQLite};
    Client m_client;
};

} // namespace

TEST_F(CatalogueProgramFileTest, KeepsWholeBatchesAndTrueCountersWhenTheCatalogueRefuses)
{
    run({QStringLiteral("record"), m_client.tree()});
    m_client.writeMany(2500);
    m_database.sql(QStringLiteral("create trigger refuse before insert on history when new.local_path like '%f01500' "
                                  "begin select raise(abort, 'no'); end"));
    const Outcome outcome = run({QStringLiteral("record"), m_client.tree()});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_TRUE(outcome.err.contains(QLatin1String("f01500 cannot be stored"))) << qPrintable(outcome.err);
    const QString counters = QStringLiteral("select result || ' ' || uploaded_count || ' ' || scanned_count from "
                                            "session_history order by id desc limit 1");
    EXPECT_EQ(m_database.value(counters).toString(), QStringLiteral("1 1000 1000"));
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from cloud_files")).toInt(), 1000);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from cloud_file_versions")).toInt(), 1000);
    EXPECT_EQ(m_database.value(QStringLiteral("select count(*) from history")).toInt(), 1000);
}

TEST_F(CatalogueProgramFileTest, ShowsProgressAndCutsTablesOnATerminalOnly)
{
    const QString longName(100, QLatin1Char('n'));
    m_client.write(longName, "1", QStringLiteral("2024-01-01T00:00:00"));
    const QStringList record{QStringLiteral("record"), m_client.tree(), QStringLiteral("--catalogue"),
                             m_database.file()};
    EXPECT_EQ(m_client.run(record).err, QString());

    const Terminal terminal;
    QProcess process;
    m_client.prepare(process, record);
    process.setStandardErrorFile(terminal.name());
    process.start();
    EXPECT_EQ(Client::finish(process).code, 0);
    const QString shown = terminal.takeOutput();
    EXPECT_TRUE(shown.contains(QLatin1String("1/1 files, 1 byte"))) << qPrintable(shown);
    EXPECT_TRUE(shown.endsWith(QLatin1String("\r\033[K"))) << qPrintable(shown);
    const QStringList states = shown.split(QLatin1Char('\r'));
    for (const QString &state : states)
        EXPECT_LE(QString(state).remove(QLatin1String("\033[K")).size(), 59);

    EXPECT_TRUE(run({QStringLiteral("find"), QStringLiteral("nn")}).out.contains(longName));
    m_client.prepare(process,
                     {QStringLiteral("find"), QStringLiteral("nn"), QStringLiteral("--catalogue"), m_database.file()});
    process.setStandardErrorFile(QString());
    process.setStandardOutputFile(terminal.name());
    process.start();
    EXPECT_EQ(Client::finish(process).code, 0);
    const QStringList lines = terminal.takeOutput().split(QStringLiteral("\r\n"));
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines.at(2).size(), 60);
    EXPECT_TRUE(lines.at(2).contains(QStringLiteral("…nnn")));
}

TEST_F(CatalogueProgramFileTest, TellsWhatIsWrong)
{
    const QString missing = m_client.beside(QStringLiteral("missing"));
    const QString noDatabase = m_client.beside(QStringLiteral("text"));
    std::ofstream(noDatabase.toStdString()) << std::string(5000, 'x');
    const QString list = QStringLiteral("list");
    const QString option = QStringLiteral("--catalogue");
    const std::vector<std::pair<QStringList, const char *>> mistakes{
        {{}, "no command is given"},
        {{QStringLiteral("recrod")}, "no command \"recrod\""},
        {{list}, "list PATH"},
        {{list, QStringLiteral("/"), QStringLiteral("/usr")}, "list PATH"},
        {{list, QStringLiteral("/"), QStringLiteral("--nonsense")}, "nonsense"},
        {{list, QStringLiteral("/"), QStringLiteral("--at"), QStringLiteral("2024-02-30")}, "is no date"},
        {{QStringLiteral("find"), QString()}, "argument of find is empty"},
        {{QStringLiteral("purge"), QStringLiteral("/")}, "purge needs"},
        {{QStringLiteral("purge"), QStringLiteral("/"), QStringLiteral("--keep"), QStringLiteral("-1")}, "from 0 on"},
        {{list, QStringLiteral("/"), QStringLiteral("--dry-run")}, "belong to purge"},
        {{QStringLiteral("generation"), missing, QStringLiteral("forget"), QStringLiteral("/")}, "there is no command"},
        {{QStringLiteral("generation"), missing, list, QStringLiteral("/")}, "there is no generation"},
        {{QStringLiteral("generation"), noDatabase, list, QStringLiteral("/")}, "cannot open the generation"},
        {{QStringLiteral("record"), missing}, "is no folder"},
        {{list, QStringLiteral("/"), option, missing}, "there is no catalogue at"},
        {{list, QStringLiteral("/")}, "there is no catalogue at"},
        {{QStringLiteral("record"), m_client.tree(), option, missing + QStringLiteral("/c.db")}, "cannot open"},
        {{list, QStringLiteral("/"), option, noDatabase}, "cannot open"},
        {{QStringLiteral("record"), m_client.tree(), option, m_database.file(), QStringLiteral("--account"),
          noDatabase},
         "no JSON object"},
        {{QStringLiteral("report"), option,
          QStringLiteral("PGSQL;host:/nowhere;port:1;user:u;password:secret;database:d")},
         "cannot open the catalogue in the PostgreSQL database"},
    };
    for (const auto &[arguments, text] : mistakes) {
        const Outcome outcome = m_client.run(arguments);
        EXPECT_EQ(outcome.code, 2) << qPrintable(arguments.join(QLatin1Char(' ')));
        EXPECT_TRUE(outcome.err.contains(QLatin1String(text))) << qPrintable(outcome.err);
        EXPECT_FALSE(outcome.err.contains(QLatin1String("secret"))) << qPrintable(outcome.err);
        EXPECT_EQ(outcome.out, QString());
    }
    EXPECT_FALSE(QFile::exists(missing));
    EXPECT_EQ(QFileInfo(noDatabase).size(), 5000);

    const Outcome help = m_client.run({QStringLiteral("--help")});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.out.contains(QLatin1String("versions FILE")));
    EXPECT_TRUE(m_client.run({QStringLiteral("--version")}).out.startsWith(QLatin1String("catalogue ")));
    EXPECT_EQ(run({QStringLiteral("report")}).out, QStringLiteral("Nothing has been recorded yet.\n"));
}

TEST_F(CatalogueProgramFileTest, ListsAGenerationAsItStood)
{
    const QString file = m_client.beside(QStringLiteral("generation.db"));
    const auto generation = [&](const QStringList &arguments) {
        return m_client.run(QStringList{QStringLiteral("generation"), file} + arguments);
    };
    const QStringList record{QStringLiteral("record"), m_client.tree()};
    const QStringList list{QStringLiteral("list"), m_client.tree(), QStringLiteral("--files-only")};
    m_client.write(QStringLiteral("a.txt"), "1", QStringLiteral("2024-01-01T00:00:00"));
    m_client.write(QStringLiteral("sub/deep/b.txt"), "1", QStringLiteral("2024-01-01T00:00:00"));
    EXPECT_EQ(generation(record).code, 0);
    const QString first = generation(list).out;
    EXPECT_EQ(first.count(QStringLiteral(" 2024-01-01 00:00:00 ")), 2) << qPrintable(first);

    // Restore points are told apart by whole seconds.
    QThread::msleep(1100);
    const QString then = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddhhmmss"));
    QThread::msleep(1100);
    m_client.write(QStringLiteral("a.txt"), "1234", QStringLiteral("2024-02-01T00:00:00"));
    QDir(m_client.path(QStringLiteral("sub"))).removeRecursively();
    EXPECT_TRUE(generation(record).out.contains(QStringLiteral("deleted      0 files, 1 folders")));

    const QString now = generation(list).out;
    EXPECT_TRUE(now.contains(QStringLiteral("4 bytes  2024-02-01 00:00:00"))) << qPrintable(now);
    EXPECT_FALSE(now.contains(QStringLiteral("b.txt")));
    EXPECT_EQ(generation(list + QStringList{QStringLiteral("--at"), then}).out, first);
    EXPECT_TRUE(generation(list + QStringList{QStringLiteral("--deleted")}).out.contains(QStringLiteral("b.txt")));
    EXPECT_EQ(generation(list + QStringList{QStringLiteral("--at"), QStringLiteral("2020-01-01")}).code, 1);

    // The same again, and back.
    m_client.write(QStringLiteral("sub/deep/b.txt"), "1", QStringLiteral("2024-01-01T00:00:00"));
    EXPECT_EQ(generation(record).code, 0);
    EXPECT_TRUE(generation(record).out.contains(QStringLiteral("unchanged    2 files")));
    EXPECT_TRUE(generation(list).out.contains(QStringLiteral("b.txt")));
}

TEST_F(CatalogueProgramFileTest, UsesTheProductsOwnCatalogueWithoutTheOption)
{
    m_client.write(QStringLiteral("a"), "1", QStringLiteral("2024-01-01T00:00:00"));
    EXPECT_EQ(m_client.run({QStringLiteral("record"), m_client.tree()}).code, 0);
    EXPECT_EQ(QDir(m_client.configRoot()).entryList(QDir::Files), QStringList{QStringLiteral("tolmvault.db")});
    EXPECT_EQ(m_client.run({QStringLiteral("find"), QStringLiteral("a")}).code, 0);

    // A catalogue inside of what it records is left out.
    std::ofstream(m_client.beside(QStringLiteral("config/settings.conf")).toStdString())
        << "DB_location=" << m_client.path(QStringLiteral("own.db")).toStdString() << '\n';
    EXPECT_EQ(m_client.run({QStringLiteral("record"), m_client.tree()}).code, 0);
    EXPECT_TRUE(
        m_client.run({QStringLiteral("record"), m_client.tree()}).out.contains(QLatin1String("recorded     0 files")));
    EXPECT_EQ(m_client.run({QStringLiteral("find"), QStringLiteral("own")}).code, 1);
}

TEST_F(CatalogueProgramFileTest, ShowsItselfInADemonstration)
{
    m_client.write(QStringLiteral("sub/file.txt"), "1", QStringLiteral("2024-01-01T00:00:00"));
    QProcess process;
    m_client.prepare(process, {QStringLiteral(TOLM_CATALOGUE_PROGRAM), m_client.tree()});
    process.setProgram(QStringLiteral(TOLM_CATALOGUE_DEMO));
    process.start();
    const Outcome outcome = Client::finish(process);
    EXPECT_EQ(outcome.code, 0) << qPrintable(outcome.err);
    EXPECT_EQ(outcome.err, QString());
    EXPECT_TRUE(outcome.out.contains(QLatin1String("recorded     1 file, 1 byte")));
    EXPECT_TRUE(outcome.out.contains(QLatin1String("deleted      1 "))) << qPrintable(outcome.out);
    EXPECT_EQ(QDir(m_client.beside(QString())).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("tree")});
}

} // namespace Tolm::Tests
