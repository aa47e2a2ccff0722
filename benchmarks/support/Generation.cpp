#include <benchmarks/support/Generation.h>

#include <random>
#include <vector>

namespace Tolm::Benchmarks {

namespace {

constexpr unsigned Seed = 1;
constexpr int HashSize = 32;
constexpr int MapSize = 16;
constexpr int Modes[] = {33188, 33261, 33184, 33152};

std::string idList(int restorePoints)
{
    std::string list;
    for (int id = 1; id <= restorePoints; ++id)
        list += (list.empty() ? "" : ",") + std::to_string(id);
    return list;
}

// As a backup engine records it: few of them, in no order.
std::string metadataOf(long long row)
{
    const auto owner = std::to_string(row / 7 % 3);
    return "{\n    \"mode\": " + std::to_string(Modes[row * 5 % 7 % 4]) + ",\n    \"owner\": \"user" + owner +
           "\"\n}\n";
}

std::string nameOf(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

std::string selectFolderText(int restorePoints)
{
    return "select id, display_name, parent_id, restore_point_id, deleted, metadata, local_path from folders where "
           "+restore_point_id in (" +
           idList(restorePoints) + ") and local_path = :local_path order by restore_point_id desc limit 1";
}

std::string selectFoldersInFolderText(int restorePoints)
{
    return "WITH pd(id) as (select id from folders where local_path = :local_path) select MAX(d.id) as id, "
           "display_name, parent_id, restore_point_id, deleted, metadata, local_path from folders as d, pd where "
           "d.parent_id = pd.id and +d.restore_point_id in (" +
           idList(restorePoints) + ") group by d.local_path";
}

std::string selectFilesInFolderText(int restorePoints)
{
    return "select MAX(f.id) as id, f.display_name as display_name, f.local_path as local_path, f.original_size as "
           "original_size, f.date_modified_utc as date_modified_utc, f.attributes as attributes, f.is_compressed as "
           "is_compressed, f.parent_id as parent_id, f.total_size as total_size, f.hash as hash, f.map as map, "
           "f.deleted as deleted, f.metadata as metadata, f.extents_size as extents_size from files as f , folders as "
           "d where f.parent_id = d.id and +d.restore_point_id in (" +
           idList(restorePoints) + ") and d.local_path = :local_path group by f.local_path";
}

GenerationWriter::GenerationWriter(Sqlite &sqlite)
    : m_sqlite(sqlite)
    , m_insertFolder(sqlite,
                     "insert into folders (id, display_name, parent_id, restore_point_id, deleted, metadata, "
                     "local_path) values (?, ?, ?, ?, ?, ?, ?)",
                     m_folder, m_nothing)
    , m_insertFile(sqlite,
                   "insert into files (id, display_name, local_path, original_size, date_modified_utc, attributes, "
                   "is_compressed, parent_id, total_size, hash, map, deleted, metadata, extents_size) values (?, ?, ?, "
                   "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                   m_file, m_nothing)
{
    m_file.dateModified = "2024-03-10T02:30:00.000Z";
    m_file.originalSize = 234567;
    m_file.totalSize = 123456;
    m_file.isCompressed = 1;
    m_file.hash.data = std::string(HashSize, 'h');
    m_file.map.data = std::string(MapSize, 'm');
    sqlite.run("PRAGMA synchronous=OFF; BEGIN");
}

GenerationWriter::~GenerationWriter()
{
    m_sqlite.run("COMMIT");
}

void GenerationWriter::addRestorePoints(int count)
{
    for (int id = 1; id <= count; ++id) {
        m_sqlite.run("insert into restore_points (id, start_date, sequence_number) values (" + std::to_string(id) +
                     ", '2024-03-10T02:30:00.000Z', " + std::to_string(id) + ")");
    }
}

long long GenerationWriter::addFolder(const std::string &path, long long parentId, int restorePoint)
{
    ++m_folder.id;
    m_folder.displayName = nameOf(path);
    m_folder.parentId = parentId;
    m_folder.restorePointId = restorePoint;
    m_folder.localPath = path;
    m_folder.metadata = metadataOf(m_folder.id);
    m_insertFolder.run([] {});
    return m_folder.id;
}

void GenerationWriter::addFile(const std::string &path, long long parentId)
{
    ++m_file.id;
    m_file.displayName = nameOf(path);
    m_file.localPath = path;
    m_file.metadata = metadataOf(m_file.id);
    m_file.parentId = parentId;
    m_insertFile.run([] {});
}

void writeRecordedFolders(Sqlite &sqlite, int parents, int children, int restorePoints)
{
    GenerationWriter writer(sqlite);
    writer.addRestorePoints(restorePoints);
    for (int restorePoint = 1; restorePoint <= restorePoints; ++restorePoint) {
        const long long root = writer.addFolder("/data", 0, restorePoint);
        for (int parent = 0; parent < parents; ++parent) {
            const std::string path = "/data/" + std::to_string(parent);
            const long long row = writer.addFolder(path, root, restorePoint);
            for (int child = 0; child < children; ++child) {
                writer.addFolder(path + "/folder " + std::to_string(child), row, restorePoint);
                writer.addFile(path + "/file " + std::to_string(child) + ".txt", row);
            }
        }
    }
}

void writeTree(Sqlite &sqlite, int folders, int restorePoints)
{
    constexpr int Width = 16;
    constexpr int Unchanged = 10;
    struct Row {
        long long id;
        std::string path;
        int restorePoint;
    };
    GenerationWriter writer(sqlite);
    writer.addRestorePoints(restorePoints);
    std::mt19937 random(Seed);
    const auto anyRestorePoint = [&] { return static_cast<int>(random() % static_cast<unsigned>(restorePoints)) + 1; };

    std::vector<Row> rows;
    rows.push_back({writer.addFolder("/data", 0, 1), "/data", 1});
    for (int i = 1; i < folders; ++i) {
        const Row parent = rows[static_cast<std::size_t>((i - 1) / Width)];
        const std::string path = parent.path + "/folder " + std::to_string(i);
        const int restorePoint = anyRestorePoint();
        rows.push_back({writer.addFolder(path, parent.id, restorePoint), path, restorePoint});
    }
    for (const Row &row : rows) {
        for (int file = 0; file < FilesPerFolder; ++file)
            writer.addFile(row.path + "/file " + std::to_string(file) + ".txt", row.id);
    }
    for (std::size_t i = Unchanged; restorePoints > 1 && i < rows.size(); i += Unchanged) {
        const Row &row = rows[i];
        const long long again =
            writer.addFolder(row.path, rows[(i - 1) / Width].id, row.restorePoint % restorePoints + 1);
        writer.addFile(row.path + "/file 0.txt", again);
    }
}

} // namespace Tolm::Benchmarks
