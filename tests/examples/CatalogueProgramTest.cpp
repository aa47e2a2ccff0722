#include <tests/support/TestDatabase.h>

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <pty.h>
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

testing::AssertionResult has(const QString &text, const QString &part)
{
    if (text.contains(part))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << qPrintable(part) << " is not in:\n" << qPrintable(text);
}

// A terminal that is 60 columns wide, and what programs wrote to it.
class Terminal {
public:
    Terminal()
    {
        // The slave is held open: without one, what was written to it is gone.
        const winsize size{24, 60, 0, 0};
        EXPECT_EQ(::openpty(&m_master, &m_slave, nullptr, nullptr, &size), 0);
        ::fcntl(m_master, F_SETFL, O_NONBLOCK);
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
    int m_master = -1;
    int m_slave = -1;
};

/// The program, a catalogue and a tree of files to record, beside every setting of this machine.
class CatalogueProgramTest : public DatabaseTest {
protected:
    CatalogueProgramTest() { QDir().mkpath(m_tree); }

    // Not by QTemporaryDir alone: it does not reach what lies deeper than a path is long.
    ~CatalogueProgramTest() override { QProcess::execute("rm", {"-rf", m_folder.path()}); }

    QString beside(const QString &name) const { return m_folder.filePath(name); }
    QString path(const QString &name) const { return m_tree + '/' + name; }

    void write(const QString &name, const QByteArray &content, const QString &modified = "2024-01-01T00:00:00") const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.flush();
        const QDateTime time = QDateTime::fromString(modified + 'Z', Qt::ISODate);
        ASSERT_TRUE(file.setFileTime(time, QFileDevice::FileModificationTime));
    }

    void writeMany(int count) const
    {
        for (int i = 0; i < count; ++i)
            std::ofstream(QStringLiteral("%1/f%2").arg(m_tree).arg(i, 5, 10, QLatin1Char('0')).toStdString());
    }

    void remove(const QString &folder) const { ASSERT_TRUE(QDir(path(folder)).removeRecursively()); }

    // The words of `line`, which names the catalogue.
    QStringList inCatalogue(const QString &line) const
    {
        return line.split(' ') + QStringList{"--catalogue", m_database.location()};
    }

    void start(QProcess &process, const QStringList &words, const QString &program = TOLM_CATALOGUE_PROGRAM) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TOLM_CONFIG_ROOT", beside("config"));
        environment.insert("TMPDIR", m_folder.path());
        process.setProcessEnvironment(environment);
        process.start(program, words);
        ASSERT_TRUE(process.waitForStarted(Patience));
    }

    static Outcome finish(QProcess &process)
    {
        EXPECT_TRUE(process.waitForFinished(Patience));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    Outcome runAsIs(const QStringList &words) const
    {
        QProcess process;
        start(process, words);
        return finish(process);
    }
    Outcome run(const QString &line) const { return runAsIs(inCatalogue(line)); }

    // Expects the recorder to end with `code`.
    Outcome record(int code = 0) const
    {
        const Outcome outcome = run("record " + m_tree);
        EXPECT_EQ(outcome.code, code) << qPrintable(outcome.err);
        return outcome;
    }

    int count(const QString &from) { return m_database.value("select count(*) from " + from).toInt(); }
    int versions() { return count("cloud_file_versions"); }
    int deletedFiles() { return count("cloud_files where date_deleted_utc <> 99999999999999"); }

    // Of the last session: result, files uploaded, bytes uploaded, files scanned, failed.
    QString session()
    {
        QStringList numbers;
        for (const QVariant &value : m_database
                                         .sql("select result, uploaded_count, uploaded_size, scanned_count, "
                                              "failed_count from session_history order by id desc limit 1")
                                         .value(0))
            numbers.append(value.toString());
        return numbers.join(' ');
    }

    QTemporaryDir m_folder;
    const QString m_tree = beside("tree");
};
TOLM_TEST_ON_EVERY_BACKEND(CatalogueProgramTest);

class SQLiteCatalogueProgramTest : public CatalogueProgramTest {};
TOLM_TEST_ON_SQLITE(SQLiteCatalogueProgramTest);

} // namespace

TEST_P(CatalogueProgramTest, RecordsEachStateOfEachFileOnce)
{
    write("a.txt", "12345", "2024-01-31T10:00:00");
    write("sub/b.txt", "1", "2024-03-10T02:30:00");
    write("sub/deep/c.txt", "", "2024-02-29T23:59:59");
    record();
    EXPECT_EQ(session(), "0 3 6 3 0");
    EXPECT_EQ(versions(), 3);
    EXPECT_EQ(count("history h join session_history s on h.session_id = s.id join plan_name p on p.plan_id = s.plan_id "
                    "and p.plan_id = h.plan_id where h.message = 'Success'"),
              3);
    EXPECT_EQ(count("cloud_folders"), path("sub/deep").count('/') + 1);
    EXPECT_EQ(count("cloud_file_versions where size = 1 and date_modified_utc = 20240310023000"), 1);
    record();
    EXPECT_EQ(session(), "0 0 0 3 0");
    EXPECT_EQ(versions(), 3);

    // Another time, another size at the same time, a new file; a file and a whole folder gone.
    write("a.txt", "12345", "2024-02-01T10:00:00");
    write("sub/b.txt", "22", "2024-03-10T02:30:00");
    write("new.txt", "333");
    remove("sub/deep");
    record();
    EXPECT_EQ(session(), "0 3 10 3 0");
    EXPECT_EQ(deletedFiles(), 1);

    // Back to what is stored already.
    write("a.txt", "12345", "2024-01-31T10:00:00");
    write("sub/deep/c.txt", "", "2024-02-29T23:59:59");
    record();
    EXPECT_EQ(session(), "0 0 0 4 0");
    EXPECT_EQ(deletedFiles(), 0);
    EXPECT_EQ(versions(), 6);
    EXPECT_EQ(count("history"), 6);
    EXPECT_EQ(m_database.value("select counter from statistic").toInt(), 4);
    EXPECT_EQ(count("destination") + count("plan_name"), 2);
}

TEST_P(CatalogueProgramTest, AnswersInTables)
{
    write("Ünder_50%.TXT", QByteArray(2048, 'x'));
    write("sub/b.txt", "1");
    record();
    write("Ünder_50%.TXT", QByteArray(20480, 'x'), "2024-05-01T12:00:00");
    remove("sub");
    record();

    EXPECT_EQ(run("list " + m_tree).out, "    Size  Modified (UTC)       Versions  Name\n"
                                         "--------  -------------------  --------  -------------\n"
                                         "                                         sub/\n"
                                         "20.0 KiB  2024-05-01 12:00:00         2  Ünder_50%.TXT\n");
    const QString file = path("Ünder_50%.TXT");
    for (const char *at : {"2024-05-01T11:59:59", "2024-04-30", "20240501115959", "2024-05-01T13:59:59+02:00"})
        EXPECT_TRUE(has(run("list " + file + " --at " + at).out, "2.0 KiB  2024-01-01 00:00:00")) << at;
    EXPECT_EQ(run("list " + file + " --at 20231231235959").code, 1);

    const QStringList lines = run("versions " + file).out.split('\n');
    ASSERT_EQ(lines.size(), 5);
    EXPECT_TRUE(has(lines.at(2), "2024-01-01 00:00:00   2.0 KiB"));
    EXPECT_TRUE(has(lines.at(3), "2024-05-01 12:00:00  20.0 KiB"));
    EXPECT_TRUE(lines.at(3).endsWith(file + "$20240501120000"));

    EXPECT_TRUE(has(run("find üNDER_50%.t").out, file));
    EXPECT_EQ(run("find der%50").code, 1); // the percent sign stands for itself
    EXPECT_EQ(run("find nowhere").out, "No file's name contains \"nowhere\".\n");
    EXPECT_TRUE(has(run("find b.txt").out, "Deleted (UTC)"));

    const QString report = run("report").out;
    for (const char *part : {"Operations of session 2 (1 of 1)", "Backup  Record /", "Record a folder by hand",
                             "       3  22.0 KiB", "FileSystem Local /backups/TOLM_"})
        EXPECT_TRUE(has(report, part));
}

TEST_P(CatalogueProgramTest, PurgesOnlyWhatItWasAskedToAndNotWhenDry)
{
    for (const QString day : {"01", "02", "03"}) {
        write("sub/a.txt", "12345", "2024-01-" + day + "T00:00:00");
        write("subway/b.txt", "1", "2024-01-" + day + "T00:00:00");
        record();
    }
    const Outcome dry = run("purge --keep 1 --dry-run " + path("sub"));
    EXPECT_EQ(dry.code, 0);
    EXPECT_EQ(dry.out.count("NumberOfVersions"), 2);
    EXPECT_TRUE(dry.out.endsWith("2 versions would go, 10 bytes would come free.\n"));
    EXPECT_EQ(versions(), 6);

    EXPECT_TRUE(has(run("purge --keep 1 " + path("sub")).out, "2 versions gone"));
    EXPECT_EQ(versions(), 4);
    EXPECT_EQ(run("purge --keep 1 " + path("sub")).code, 1);
    EXPECT_EQ(run("purge --older 30 " + m_tree).code, 0);
    EXPECT_EQ(versions(), 2); // the newest of each file

    remove("sub");
    record();
    EXPECT_EQ(run("purge --deleted 0 " + m_tree).code, 0);
    EXPECT_EQ(versions(), 1);
    EXPECT_EQ(count("cloud_folders where display_name = 'sub'"), 0);
}

TEST_P(CatalogueProgramTest, CountsWhatItCannotRecordAndPassesOverWhatIsNoFile)
{
    const QString odd = "it's 100%\n\"\u001b[31m\U0001F600\u00e9\u4e2d";
    write(odd, "1");
    const std::ofstream noText(path({}).toStdString() + "caf\xe9");
    QFile::link(m_tree, path("loop"));
    QFile::link("/nowhere", path("dangling"));
    ASSERT_EQ(::mkfifo(path("fifo").toLocal8Bit().constData(), 0600), 0);
    // A tree that is deeper than a path is long cannot be read to its end, not even by root.
    const QString here = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_tree));
    const QByteArray step(250, 'd');
    for (int depth = 0; depth < 20; ++depth) {
        ASSERT_EQ(::mkdir(step.constData(), 0700), 0);
        ASSERT_EQ(::chdir(step.constData()), 0);
        std::ofstream("leaf");
    }
    QDir::setCurrent(here);

    const Outcome outcome = record(1);
    EXPECT_TRUE(has(outcome.err, "\"caf\\xe9\" is not valid"));
    EXPECT_TRUE(has(outcome.out, "passed over  3 "));
    const int failed = count("history where message <> 'Success'");
    EXPECT_GE(failed, 2);
    EXPECT_TRUE(session().startsWith(QStringLiteral("4 %1 ").arg(versions()))) << qPrintable(session());
    EXPECT_TRUE(session().endsWith(QStringLiteral(" %1").arg(failed))) << qPrintable(session());
    EXPECT_EQ(m_database.value("select local_path from cloud_files where size = 1").toString(), path(odd));
    EXPECT_EQ(count("cloud_files where display_name like 'caf%'"), 0);

    // A second run marks nothing as deleted, for all that it could not see, and changes nothing.
    record(1);
    EXPECT_EQ(deletedFiles(), 0);
    EXPECT_TRUE(session().startsWith("4 0 0 ")) << qPrintable(session());

    const QString answer = run("find 100%").out;
    EXPECT_TRUE(has(answer, "it's 100%\\n\"\\x1b[31m"));
    EXPECT_FALSE(answer.contains(QChar(0x1b)));
}

TEST_P(CatalogueProgramTest, EndsAfterTheBatchInWhichItIsInterrupted)
{
    writeMany(2500);
    // It reads the account from a pipe, so that the signal certainly comes before the first batch.
    const QString account = beside("account");
    ASSERT_EQ(::mkfifo(account.toLocal8Bit().constData(), 0600), 0);
    QProcess process;
    start(process, inCatalogue("record " + m_tree + " --account " + account));
    int pipe = -1;
    QElapsedTimer waited;
    waited.start();
    while ((pipe = ::open(account.toLocal8Bit().constData(), O_WRONLY | O_NONBLOCK)) < 0 && waited.elapsed() < Patience)
        QThread::msleep(10);
    ASSERT_GE(pipe, 0);
    ASSERT_EQ(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
    const std::string json = R"({"AccountType": "FileSystem", "Path": "/p", "BackupPrefix": "host"})";
    ASSERT_EQ(::write(pipe, json.data(), json.size()), static_cast<ssize_t>(json.size()));
    ::close(pipe);

    EXPECT_EQ(finish(process).code, 1);
    EXPECT_EQ(session(), "3 1000 0 1000 0");
    EXPECT_EQ(versions(), 1000);
    EXPECT_EQ(m_database.value("select prefix from destination").toString(), "/p/TOLM_host");

    QFile::remove(account);
    std::ofstream(account.toStdString()) << json;
    EXPECT_EQ(run("record " + m_tree + " --account " + account).code, 0);
    EXPECT_EQ(session(), "0 1500 0 2500 0");
    EXPECT_EQ(versions(), 2500);
}

TEST_P(SQLiteCatalogueProgramTest, KeepsWholeBatchesAndTrueCountersWhenTheCatalogueRefuses)
{
    record();
    writeMany(2500);
    m_database.sql("create trigger refuse before insert on history when new.local_path like '%f01500' "
                   "begin select raise(abort, 'no'); end");
    EXPECT_TRUE(has(record(2).err, "f01500 cannot be stored"));
    EXPECT_EQ(session(), "1 1000 0 1000 0");
    for (const char *table : {"cloud_files", "cloud_file_versions", "history"})
        EXPECT_EQ(count(table), 1000) << table;
}

TEST_P(SQLiteCatalogueProgramTest, ShowsProgressAndCutsTablesOnATerminalOnly)
{
    const QString longName(100, 'n');
    write(longName, "1");
    EXPECT_EQ(record().err, QString());

    const Terminal terminal;
    QProcess process;
    process.setStandardErrorFile(terminal.name());
    start(process, inCatalogue("record " + m_tree));
    EXPECT_EQ(finish(process).code, 0);
    const QString shown = terminal.takeOutput();
    EXPECT_TRUE(has(shown, "1/1 files, 1 byte"));
    EXPECT_TRUE(shown.endsWith("\r\033[K")) << qPrintable(shown);
    for (QString state : shown.split('\r'))
        EXPECT_LE(state.remove("\033[K").size(), 59);

    EXPECT_TRUE(has(run("find nn").out, longName));
    process.setStandardErrorFile(QString());
    process.setStandardOutputFile(terminal.name());
    start(process, inCatalogue("find nn"));
    EXPECT_EQ(finish(process).code, 0);
    const QStringList lines = terminal.takeOutput().split("\r\n");
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines.at(2).size(), 60);
    EXPECT_TRUE(has(lines.at(2), "…nnn"));
}

TEST_P(SQLiteCatalogueProgramTest, TellsWhatIsWrong)
{
    const QString missing = beside("missing");
    const QString text = beside("text");
    std::ofstream(text.toStdString()) << std::string(5000, 'x');
    const std::pair<QString, const char *> mistakes[] = {
        {"recrod", "no command \"recrod\""},
        {"list", "list PATH"},
        {"list / /usr", "list PATH"},
        {"list / --nonsense", "nonsense"},
        {"list / --at 2024-02-30", "is no date"},
        {"find ", "argument of find is empty"},
        {"purge /", "purge needs"},
        {"purge / --keep -1", "from 0 on"},
        {"list / --dry-run", "belong to purge"},
        {"generation " + missing + " forget /", "there is no command"},
        {"generation " + missing + " list /", "there is no generation"},
        {"generation " + text + " list /", "cannot open the generation"},
        {"record " + missing, "is no folder"},
        {"list / --catalogue " + missing, "there is no catalogue at"},
        {"list /", "there is no catalogue at"},
        {"record " + m_tree + " --catalogue " + missing + "/c.db", "cannot open"},
        {"list / --catalogue " + text, "cannot open"},
        {"record " + m_tree + " --account " + text + " --catalogue " + m_database.file(), "no JSON object"},
        {"report --catalogue PGSQL;host:/nowhere;port:1;user:u;password:secret;database:d",
         "cannot open the catalogue in the PostgreSQL database"},
    };
    for (const auto &[line, complaint] : mistakes) {
        SCOPED_TRACE(qPrintable(line));
        const Outcome outcome = runAsIs(line.split(' '));
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(has(outcome.err, complaint));
        EXPECT_FALSE(outcome.err.contains("secret"));
        EXPECT_EQ(outcome.out, QString());
    }
    EXPECT_FALSE(QFile::exists(missing));
    EXPECT_EQ(QFileInfo(text).size(), 5000);

    EXPECT_TRUE(has(runAsIs({}).err, "no command is given"));
    EXPECT_TRUE(has(runAsIs({"--help"}).out, "versions FILE"));
    EXPECT_TRUE(has(runAsIs({"--version"}).out, "catalogue "));
    EXPECT_EQ(run("report").out, "Nothing has been recorded yet.\n");
}

TEST_P(SQLiteCatalogueProgramTest, ListsAGenerationAsItStood)
{
    const auto generation = [&](const QString &command, const QString &options = {}) {
        const QString line = "generation " + beside("generation.db") + ' ' + command + ' ' + m_tree + options;
        return runAsIs(line.split(' '));
    };
    const auto list = [&](const QString &options = {}) { return generation("list", " --files-only" + options); };
    write("a.txt", "1");
    write("sub/deep/b.txt", "1");
    EXPECT_EQ(generation("record").code, 0);
    const QString first = list().out;
    EXPECT_EQ(first.count(" 2024-01-01 00:00:00 "), 2) << qPrintable(first);

    // Restore points are told apart by whole seconds.
    QThread::msleep(1100);
    const QString then = QDateTime::currentDateTimeUtc().toString("yyyyMMddhhmmss");
    QThread::msleep(1100);
    write("a.txt", "1234", "2024-02-01T00:00:00");
    remove("sub");
    EXPECT_TRUE(has(generation("record").out, "deleted      0 files, 1 folder\n"));

    const QString now = list().out;
    EXPECT_TRUE(has(now, "4 bytes  2024-02-01 00:00:00"));
    EXPECT_FALSE(now.contains("b.txt"));
    EXPECT_EQ(list(" --at " + then).out, first);
    EXPECT_TRUE(has(list(" --deleted").out, "b.txt"));
    EXPECT_EQ(list(" --at 2020-01-01").code, 1);

    // The same again, and back.
    write("sub/deep/b.txt", "1");
    EXPECT_EQ(generation("record").code, 0);
    EXPECT_TRUE(has(generation("record").out, "unchanged    2 files"));
    EXPECT_TRUE(has(list().out, "b.txt"));
}

TEST_P(SQLiteCatalogueProgramTest, UsesTheProductsOwnCatalogueWithoutTheOption)
{
    write("a", "1");
    EXPECT_EQ(runAsIs({"record", m_tree}).code, 0);
    EXPECT_EQ(QDir(beside("config")).entryList(QDir::Files), QStringList{"tolmvault.db"});
    EXPECT_EQ(runAsIs({"find", "a"}).code, 0);

    // A catalogue inside of what it records is left out.
    std::ofstream(beside("config/settings.conf").toStdString())
        << "DB_location=" << path("own.db").toStdString() << '\n';
    EXPECT_EQ(runAsIs({"record", m_tree}).code, 0);
    EXPECT_TRUE(has(runAsIs({"record", m_tree}).out, "recorded     0 files"));
    EXPECT_EQ(runAsIs({"find", "own"}).code, 1);
}

TEST_P(SQLiteCatalogueProgramTest, ShowsItselfInADemonstration)
{
    write("sub/file.txt", "1");
    QProcess process;
    start(process, {TOLM_CATALOGUE_PROGRAM, m_tree}, TOLM_CATALOGUE_DEMO);
    const Outcome outcome = finish(process);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, QString());
    EXPECT_TRUE(has(outcome.out, "recorded     1 file, 1 byte"));
    EXPECT_TRUE(has(outcome.out, "deleted      1 "));
    EXPECT_EQ(QDir(beside({})).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"tree"});
}

} // namespace Tolm::Tests
