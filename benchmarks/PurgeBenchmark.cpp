// How long the purge selection takes beside one ordered, joined pass over SQLite's own interface that reads every
// column of every version: both over the same catalogue, made from a seed, in one process. Usage: PurgeBenchmark [FILES
// [SEED]]

#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/database/DatabasePool.h>

#include <QCoreApplication>
#include <QFile>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <sqlite3.h>

#include <ctime>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <vector>

using namespace Tolm::SQL;

namespace {

constexpr int VersionsPerFile = 3;
constexpr int Columns = 22;

double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double secondsOf(const std::function<void()> &work)
{
    const double start = cpuSeconds();
    work();
    return cpuSeconds() - start;
}

long peakMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    const QByteArray tail = text.mid(text.indexOf("VmHWM:") + 6).trimmed();
    return tail.left(tail.indexOf(' ')).toLong() / 1024;
}

class Sqlite {
public:
    explicit Sqlite(const QString &path) { sqlite3_open(path.toUtf8().constData(), &m_database); }
    ~Sqlite() { sqlite3_close(m_database); }
    Q_DISABLE_COPY_MOVE(Sqlite)

    void run(const std::string &text)
    {
        char *error = nullptr;
        if (sqlite3_exec(m_database, text.c_str(), nullptr, nullptr, &error) != SQLITE_OK)
            qFatal("%s: %s", text.c_str(), error);
    }

    sqlite3_stmt *prepare(const char *text)
    {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(m_database, text, -1, &statement, nullptr) != SQLITE_OK)
            qFatal("%s: %s", text, sqlite3_errmsg(m_database));
        return statement;
    }

private:
    sqlite3 *m_database = nullptr;
};

// Files in folders of a hundred, three versions each; a tenth of the versions is older than a year.
void generate(Sqlite &sqlite, int files, unsigned seed)
{
    sqlite.run("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF;");
    sqlite.run(CloudFile::createTable(DatabaseType::SQLite).toStdString());
    sqlite.run(CloudFileVersion::createTable(DatabaseType::SQLite).toStdString());
    sqlite.run("CREATE INDEX versions_file ON cloud_file_versions (file_id);"
               "CREATE INDEX versions_file_modified ON cloud_file_versions (file_id, date_modified_utc);"
               "CREATE INDEX files_dest_date_deleted_utc ON cloud_files (destination_id, date_deleted_utc);"
               "BEGIN");
    sqlite3_stmt *file = sqlite.prepare("insert into cloud_files (destination_id, parent_id, local_path, file_name, "
                                        "display_name) values (1, ?, ?, ?, ?)");
    sqlite3_stmt *version = sqlite.prepare(
        "insert into cloud_file_versions (file_id, cloud_path, history_path, size, original_size, date_modified_utc, "
        "attributes, is_compressed, is_encrypted, is_simple, is_broken, date_backedup_utc, encryptioniv, kdfsalt, "
        "encryptionkey) values (?, ?, ?, ?, ?, ?, 0, 1, 1, 0, 0, ?, randomblob(16), randomblob(16), randomblob(48))");

    std::mt19937 random(seed);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (int i = 1; i <= files; ++i) {
        const std::string name = "document-" + std::to_string(i) + ".txt";
        const std::string path = "/home/user/folder-" + std::to_string(i / 100) + "/" + name;
        sqlite3_bind_int(file, 1, i / 100 + 1);
        sqlite3_bind_text(file, 2, path.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(file, 3, name.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(file, 4, name.c_str(), -1, SQLITE_STATIC);
        sqlite3_step(file);
        sqlite3_reset(file);

        int daysAgo = random() % 10 == 0 ? 400 : 100;
        for (int v = 0; v < VersionsPerFile; ++v, daysAgo -= 30) {
            const auto date = now.addDays(-daysAgo).toString(CloudFile::DateFormat).toLongLong();
            sqlite3_bind_int(version, 1, i);
            sqlite3_bind_text(version, 2, path.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(version, 3, path.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_int64(version, 4, static_cast<int>(random() % 100000));
            sqlite3_bind_int64(version, 5, static_cast<int>(random() % 200000));
            sqlite3_bind_int64(version, 6, date);
            sqlite3_bind_int64(version, 7, date);
            sqlite3_step(version);
            sqlite3_reset(version);
        }
    }
    sqlite3_finalize(file);
    sqlite3_finalize(version);
    sqlite.run("COMMIT; PRAGMA wal_checkpoint(TRUNCATE);");
}

// The limit: every column of every version into plain variables, file by file.
long joinedPass(Sqlite &sqlite)
{
    sqlite3_stmt *statement = sqlite.prepare(
        "select v.file_id, v.id, v.cloud_path, v.history_path, v.size, v.original_size, v.date_purgeddelay_utc, "
        "v.attributes, v.date_modified_utc, v.is_compressed, v.is_encrypted, v.is_simple, v.is_broken, v.upload_id, "
        "v.date_backedup_utc, v.filenameiv, v.blocklevel_revision, v.blocklevel_revision_isfull, v.delimiter, "
        "v.encryptioniv, v.kdfsalt, v.encryptionkey, f.local_path from cloud_files f cross join cloud_file_versions v "
        "on v.file_id = f.id where +f.destination_id = 1 order by f.id, v.date_modified_utc");
    struct Version {
        sqlite3_int64 numbers[Columns];
        std::string texts[Columns];
    };
    std::vector<Version> versions;
    long chosen = 0;
    sqlite3_int64 current = 0;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        if (sqlite3_column_int64(statement, 0) != current) {
            chosen += versions.size() > 2 ? 1 : 0;
            versions.clear();
            current = sqlite3_column_int64(statement, 0);
        }
        Version &version = versions.emplace_back();
        for (int column = 0; column < Columns; ++column) {
            const int type = sqlite3_column_type(statement, column);
            if (type == SQLITE_INTEGER) {
                version.numbers[column] = sqlite3_column_int64(statement, column);
            } else if (type != SQLITE_NULL) {
                const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement, column));
                version.texts[column].assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
            }
        }
    }
    sqlite3_finalize(statement);
    return chosen + (versions.size() > 2 ? 1 : 0);
}

struct Policy {
    const char *name;
    std::function<void(CheckCloudFiles4Purge &)> set;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const int files = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 1000000;
    const unsigned seed = argc > 2 ? QString::fromLocal8Bit(argv[2]).toUInt() : 1;

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("catalogue.db"));
    Sqlite sqlite(path);
    generate(sqlite, files, seed);
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
        database.setDatabaseName(path);
        if (!database.open() || !DatabasePool::defaultPool()->initDatabase(database))
            return 1;
    }
    QSqlDatabase::removeDatabase(QLatin1String(QSqlDatabase::defaultConnection));

    const double limit = secondsOf([&] { joinedPass(sqlite); });
    std::cout << files << " files, " << files * VersionsPerFile << " versions, seed " << seed
              << "; CPU time of this thread\n"
              << "joined pass, C API: " << limit << " s, peak memory " << peakMegabytes() << " MB\n";

    const Policy policies[] = {
        {"age, 365 days",
         [](auto &purge) {
             purge.deleteVersionOlder(true, 365, true, CheckCloudFiles4Purge::VersionOlderType::DateModified);
         }},
        {"age, and count 2",
         [](auto &purge) {
             purge.deleteVersionOlder(true, 365, true, CheckCloudFiles4Purge::VersionOlderType::DateModified);
             purge.keepNumberOfVersion(true, 2);
         }},
    };
    for (const Policy &policy : policies) {
        CheckCloudFiles4Purge purge(1);
        policy.set(purge);
        CheckCloudFiles4Purge::Selection selection;
        const double seconds = secondsOf([&] {
            DatabaseConnection connection(DatabasePool::defaultPool());
            selection = purge.files({QStringLiteral("/home")}, connection);
        });
        std::cout << policy.name << ": " << selection.size() << " chosen, " << seconds << " s, ratio "
                  << seconds / limit << ", peak memory " << peakMegabytes() << " MB\n";
    }
    return 0;
}
