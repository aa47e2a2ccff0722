#pragma once

#include <benchmarks/support/Sqlite.h>

#include <string>

/// The generation's tables as plain values, the statements over them that the library runs, and sample generations.
namespace Tolm::Benchmarks {

struct Path {
    std::string path;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(path);
    }
};

struct GenerationFolder {
    long long id = 0;
    std::string displayName;
    long long parentId = 0;
    long long restorePointId = 0;
    long long deleted = 0;
    std::string metadata;
    std::string localPath;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id), column(displayName), column(parentId), column(restorePointId), column(deleted), column(metadata),
            column(localPath);
    }
};

struct GenerationFile {
    long long id = 0;
    std::string displayName;
    std::string localPath;
    long long originalSize = 0;
    std::string dateModified;
    long long attributes = 0;
    long long isCompressed = 0;
    long long parentId = 0;
    long long totalSize = 0;
    Bytes hash;
    Bytes map;
    long long deleted = 0;
    std::string metadata;
    long long extentsSize = 0;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id), column(displayName), column(localPath), column(originalSize), column(dateModified),
            column(attributes), column(isCompressed), column(parentId), column(totalSize), column(hash), column(map),
            column(deleted), column(metadata), column(extentsSize);
    }
};

struct Block {
    static constexpr char Insert[] = "insert into part_blocks (id, part_id, address) values (:id, :part_id, :address)";

    long long id = 0;
    long long partId = 1;
    Bytes address;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id), column(partId), column(address);
    }
};

/// The listing statements for the restore points 1 to `restorePoints`.
///@{
std::string selectFolderText(int restorePoints);
std::string selectFoldersInFolderText(int restorePoints);
std::string selectFilesInFolderText(int restorePoints);
///@}

/// Fills the tables of a generation.
class GenerationWriter {
public:
    /// Begins a transaction on `sqlite`.
    explicit GenerationWriter(Sqlite &sqlite);
    /// Commits.
    ~GenerationWriter();
    Q_DISABLE_COPY_MOVE(GenerationWriter)

    void addRestorePoints(int count);
    /// \return the row's id.
    long long addFolder(const std::string &path, long long parentId, int restorePoint);
    void addFile(const std::string &path, long long parentId);

private:
    Sqlite &m_sqlite;
    GenerationFolder m_folder;
    GenerationFile m_file;
    Nothing m_nothing;
    Sqlite::Statement<GenerationFolder, Nothing> m_insertFolder;
    Sqlite::Statement<GenerationFile, Nothing> m_insertFile;
};

/// `parents` folders "/data/<number>" with so many subfolders and files each, all of them recorded in every restore
/// point.
void writeRecordedFolders(Sqlite &sqlite, int parents, int children, int restorePoints);

/// A tree of `folders` folders below "/data", sixteen in each, with ten files each. Each folder is recorded in one
/// restore point, every tenth with one of its files in a second one.
void writeTree(Sqlite &sqlite, int folders, int restorePoints);

constexpr int FilesPerFolder = 10;

} // namespace Tolm::Benchmarks
