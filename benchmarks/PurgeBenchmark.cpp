// How long the purge selection takes beside one ordered, joined pass over SQLite's own interface that reads every
// column of every version: both over the same catalogue, made from a seed, in one process, in three sizes. Usage:
// PurgeBenchmark [--tiny]

#include <repository/catalog/CheckCloudFiles4Purge.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/database/DatabasePool.h>

#include <benchmarks/support/Library.h>
#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Sqlite.h>
#include <benchmarks/support/Table.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace Tolm::SQL;
using namespace Tolm::Benchmarks;

namespace {

constexpr int VersionsPerFile = 3;
constexpr int Columns = 22;

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

void measure(Table &table, int files)
{
    constexpr unsigned Seed = 1;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("catalogue.db"));
    Sqlite sqlite(path.toStdString());
    generate(sqlite, files, Seed);
    QPointer<DatabasePool> pool = openPool(path);

    const std::string size = std::to_string(files) + " files, ";
    resetPeak();
    const double limit = measured([&] { joinedPass(sqlite); });
    table.seconds(size + "joined pass, C API", "time", limit);
    table.text(size + "joined pass, C API", "peak memory", std::to_string(peakMegabytes()) + " MB");

    const Policy policies[] = {
        {"age of 365 days",
         [](auto &purge) {
             purge.deleteVersionOlder(true, 365, true, CheckCloudFiles4Purge::VersionOlderType::DateModified);
         }},
        {"age and count 2",
         [](auto &purge) {
             purge.deleteVersionOlder(true, 365, true, CheckCloudFiles4Purge::VersionOlderType::DateModified);
             purge.keepNumberOfVersion(true, 2);
         }},
    };
    for (const Policy &policy : policies) {
        CheckCloudFiles4Purge purge(1);
        policy.set(purge);
        CheckCloudFiles4Purge::Selection selection;
        resetPeak();
        const double seconds = measured([&] {
            DatabaseConnection connection(pool);
            selection = purge.files({QStringLiteral("/home")}, connection);
        });
        const std::string row = size + policy.name;
        table.seconds(row, "time", seconds);
        table.ratio(row, "times the pass", seconds / limit);
        table.text(row, "chosen", std::to_string(selection.size()));
        table.text(row, "peak memory", std::to_string(peakMegabytes()) + " MB");
    }
    delete pool;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    quietLog();
    Table table("Purge selection");
    for (const int files :
         hasArgument(argc, argv, "--tiny") ? std::vector<int>{1000} : std::vector<int>{10000, 100000, 1000000})
        measure(table, files);
    return 0;
}
