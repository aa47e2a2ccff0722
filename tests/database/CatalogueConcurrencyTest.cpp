#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>

#include <tests/support/TestDatabase.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QSet>

#include <csignal>
#include <memory>

namespace Tolm::SQL {
namespace {

/// Another program that writes into the same file.
class Writer {
public:
    Writer(const QString &file, const QString &name, int count, int batch)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(TOLM_TEST_HELPER_DIR "/writer", {file, name, QString::number(count), QString::number(batch)});
        EXPECT_TRUE(m_process.waitForStarted());
    }

    ~Writer()
    {
        if (m_process.state() != QProcess::NotRunning)
            kill();
    }
    Q_DISABLE_COPY_MOVE(Writer)

    void waitForPaths(int paths)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_output.count('\n') < paths && timer.elapsed() < 60000 && m_process.waitForReadyRead(10000))
            m_output += m_process.readAllStandardOutput();
        EXPECT_GE(m_output.count('\n'), paths);
    }

    bool finishes() { return m_process.waitForFinished(120000) && m_process.exitCode() == 0; }

    void kill()
    {
        ::kill(static_cast<pid_t>(m_process.processId()), SIGKILL);
        m_process.waitForFinished();
        EXPECT_EQ(m_process.exitStatus(), QProcess::CrashExit);
    }

    /// The paths that it said are permanent.
    QStringList paths()
    {
        m_output += m_process.readAllStandardOutput();
        return QString::fromUtf8(m_output).split('\n', Qt::SkipEmptyParts);
    }

private:
    QProcess m_process;
    QByteArray m_output;
};

class CatalogueConcurrencyTest : public testing::Test {
protected:
    CatalogueConcurrencyTest() { m_database.createTables<CloudFolder, CloudFile, CloudFileVersion>(); }

    int number(const QString &text) { return m_database.value("select count(*) from " + text).toInt(); }

    /// Looks up each path as a caller would, its folders included.
    void expectRecorded(const QStringList &paths)
    {
        DatabaseConnection connection(m_database.pool());
        for (const QString &path : paths) {
            CloudFile file;
            ASSERT_TRUE(file.select(1, path, connection)) << qPrintable(path);
            EXPECT_EQ(CloudFileVersion::select_(file.id(), connection).size(), 1) << qPrintable(path);
            EXPECT_EQ(CloudFolder::selectPath(file.parentId(), connection), path.section('/', 0, -2) + '/');
        }
        EXPECT_EQ(m_database.value("PRAGMA integrity_check"), "ok");
    }

    Tests::TestDatabase m_database{DatabaseType::SQLite};
};

TEST_F(CatalogueConcurrencyTest, WritersOfSeveralProcessesLoseNothing)
{
    constexpr int Count = 200;
    std::vector<std::unique_ptr<Writer>> writers;
    for (const int batch : {1, 1, 40})
        writers.push_back(
            std::make_unique<Writer>(m_database.file(), QString('a' + char(writers.size())), Count, batch));
    for (const auto &writer : writers) {
        EXPECT_TRUE(writer->finishes());
        EXPECT_EQ(writer->paths().size(), Count);
        expectRecorded(writer->paths());
    }
    const int all = static_cast<int>(writers.size()) * Count;
    EXPECT_EQ(number("cloud_file_versions"), all);
    EXPECT_EQ(number("cloud_files"), all);
    EXPECT_EQ(number("cloud_folders"), 2 + Count / 10 + 1) << "no folder twice";
}

TEST_F(CatalogueConcurrencyTest, KilledWriterLosesNothingThatItAcknowledged)
{
    constexpr int Batch = 25;
    for (const int batch : {1, Batch}) {
        for (int time = 0; time < 3; ++time) {
            Writer writer(m_database.file(), QString("w%1-%2").arg(batch).arg(time), 0, batch);
            writer.waitForPaths(30 + 40 * time);
            writer.kill();
            expectRecorded(writer.paths());
        }
        // What was on its way is there as a whole or not at all.
        EXPECT_EQ(number("cloud_file_versions v left join cloud_files f on f.id = v.file_id where f.id is null"), 0);
        EXPECT_EQ(number(QString("cloud_files where file_name like 'w%1-%'").arg(Batch)) % Batch, 0);
    }
    Writer after(m_database.file(), "after", 5, 5);
    EXPECT_TRUE(after.finishes()) << "the dead hold no lock";
}

} // namespace
} // namespace Tolm::SQL
