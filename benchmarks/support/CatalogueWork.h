#pragma once

#include <repository/database/DatabaseConnection.h>

#include <benchmarks/support/Catalogue.h>

#include <algorithm>
#include <cctype>
#include <functional>

/// The daily operations of the main catalogue, each with the number of the repetition as its argument: what the others
/// run, made with their connection, and what this library runs, made with a pool.
namespace Tolm::Benchmarks {

/// The catalogue that the selects read: so many files, with the ids from 1 on, and versions of each.
///@{
constexpr int VersionsPerFile = 20;
constexpr int Files = 1000;
///@}

/// The path of the file that a number stands for.
using PathOf = std::function<std::string(int number)>;

// ---- What the others run -------------------------------------------------------------------------------------------

/// The first version of a new file in as many statements as there are things to look at: the file, each folder of its
/// path from the root (whose name is empty) on, those that are missing, the new file and the version. In samplePath()'s
/// folder these are nine; the library looks several folders up in one.
template <class Connection>
class PlainNewFile {
public:
    explicit PlainNewFile(Connection &connection, PathOf pathOf = samplePath)
        : m_connection(connection)
        , m_pathOf(std::move(pathOf))
    {}

    void operator()(int i)
    {
        const std::string path = m_pathOf(i);
        m_fileKey.localPath = path;
        bool found = false;
        m_selectFile.run([&] { found = true; });
        if (found)
            qFatal("the file is there already");

        const std::size_t nameStart = path.rfind('/') + 1;
        m_file.localPath = path;
        m_file.parentId = folderOf(path, nameStart);
        m_file.displayName.assign(path, nameStart);
        m_file.fileName = lowerCase(m_file.displayName);
        m_file.cloudPath = m_version.cloudPath;
        m_file.size = m_version.size;
        m_file.originalSize = m_version.originalSize;
        m_file.dateModified = m_version.dateModified;
        m_insertFile.run([] {});

        m_version.fileId = m_connection.lastId();
        m_version.path = path;
        m_insertVersion.run([] {});
    }

private:
    template <class In, class Out>
    using Statement = typename Connection::template Statement<In, Out>;

    static std::string lowerCase(std::string text)
    {
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
        return text;
    }

    long long folderOf(const std::string &path, std::size_t nameStart)
    {
        m_folder.id = 0;
        bool missing = false;
        for (std::size_t start = 0; start < nameStart;) {
            const std::size_t end = path.find('/', start);
            m_folderKey.parentId = m_folder.id;
            m_folderKey.displayName.assign(path, start, end - start);
            bool found = false;
            if (!missing)
                m_selectFolder.run([&] { found = true; });
            missing = !found;
            if (missing) {
                m_newFolder.displayName = m_folderKey.displayName;
                m_newFolder.name = lowerCase(m_folderKey.displayName);
                m_newFolder.parentId = m_folderKey.parentId;
                m_insertFolder.run([] {});
                m_folder.id = m_connection.lastId();
            }
            start = end + 1;
        }
        return m_folder.id;
    }

    Connection &m_connection;
    PathOf m_pathOf;
    FileKey m_fileKey{};
    FileWithId m_foundFile{};
    FolderKey m_folderKey{};
    Folder m_folder{};
    NewFolder m_newFolder{};
    File m_file{};
    Version m_version = plainVersion();
    Nothing m_nothing{};
    Statement<FileKey, FileWithId> m_selectFile{m_connection, FileKey::Select, m_fileKey, m_foundFile};
    Statement<FolderKey, Folder> m_selectFolder{m_connection, FolderKey::Select, m_folderKey, m_folder};
    Statement<NewFolder, Nothing> m_insertFolder{m_connection, Folder::Insert, m_newFolder, m_nothing};
    Statement<File, Nothing> m_insertFile{m_connection, File::Insert, m_file, m_nothing};
    Statement<Version, Nothing> m_insertVersion{m_connection, Version::Insert, m_version, m_nothing};
};

template <class Connection>
class PlainVersionInsert {
public:
    explicit PlainVersionInsert(Connection &connection)
        : m_statement(connection, Version::Insert, m_version, m_nothing)
    {}
    void operator()(int /*i*/)
    {
        m_statement.run([] {});
    }

private:
    Version m_version = plainVersion();
    Nothing m_nothing{};
    typename Connection::template Statement<Version, Nothing> m_statement;
};

template <class Connection>
class PlainVersionSelect {
public:
    explicit PlainVersionSelect(Connection &connection)
        : m_statement(connection, Version::SelectById, m_id, m_version)
    {}
    void operator()(int i)
    {
        m_id.id = i % (Files * VersionsPerFile) + 1;
        m_statement.run([] {});
    }

private:
    Id m_id{};
    VersionWithId m_version{};
    typename Connection::template Statement<Id, VersionWithId> m_statement;
};

template <class Connection>
class PlainVersionList {
public:
    explicit PlainVersionList(Connection &connection)
        : m_statement(connection, Version::SelectOfFile, m_id, m_version)
    {}
    void operator()(int i)
    {
        m_id.id = i % Files + 1;
        int rows = 0;
        m_statement.run([&] { ++rows; });
        if (rows != VersionsPerFile)
            qFatal("%d versions", rows);
    }

private:
    Id m_id{};
    VersionWithId m_version{};
    typename Connection::template Statement<Id, VersionWithId> m_statement;
};

template <class Connection>
class PlainOperationInsert {
public:
    explicit PlainOperationInsert(Connection &connection)
        : m_statement(connection, Operation::Insert, m_operation, m_nothing)
    {}
    void operator()(int /*i*/)
    {
        m_statement.run([] {});
    }

private:
    Operation m_operation = plainOperation();
    Nothing m_nothing{};
    typename Connection::template Statement<Operation, Nothing> m_statement;
};

/// Makes the folders of samplePath() for destination 1.
template <class Connection>
void insertSampleFolders(Connection &connection)
{
    NewFolder folder;
    Nothing nothing;
    typename Connection::template Statement<NewFolder, Nothing> insert(connection, Folder::Insert, folder, nothing);
    for (const QString &name : QString::fromLatin1(SampleFolder).split(QLatin1Char('/'))) {
        folder.displayName = folder.name = name.toStdString();
        insert.run([] {});
        folder.parentId = connection.lastId();
    }
}

/// Stores the catalogue that the selects read, or the beginning of it.
template <class Connection>
void insertSampleVersions(Connection &connection, int files = Files)
{
    Version version = plainVersion();
    Nothing nothing;
    typename Connection::template Statement<Version, Nothing> insert(connection, Version::Insert, version, nothing);
    connection.run("BEGIN");
    for (int file = 1; file <= files; ++file) {
        for (int i = 0; i < VersionsPerFile; ++i) {
            version.fileId = file;
            version.dateModified = plainVersion().dateModified + i;
            insert.run([] {});
        }
    }
    connection.run("COMMIT");
}

// ---- What the library runs: each operation with a handle of its own ------------------------------------------------

class Work {
public:
    explicit Work(QPointer<SQL::DatabasePool> &pool)
        : m_pool(pool)
    {}

protected:
    QPointer<SQL::DatabasePool> &m_pool;
};

class NewFile : public Work {
public:
    explicit NewFile(QPointer<SQL::DatabasePool> &pool, PathOf pathOf = samplePath)
        : Work(pool)
        , m_pathOf(std::move(pathOf))
    {}
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        m_version.setFileId(0);
        m_version.setPath(QString::fromStdString(m_pathOf(i)));
        if (!m_version.insert(1, connection))
            qFatal("not inserted");
    }

private:
    PathOf m_pathOf;
    SQL::CloudFileVersion m_version = sampleVersion();
};

class VersionInsert : public Work {
public:
    using Work::Work;
    void operator()(int /*i*/)
    {
        SQL::DatabaseConnection connection(m_pool);
        if (!m_version.insert(1, connection))
            qFatal("not inserted");
    }

private:
    SQL::CloudFileVersion m_version = sampleVersion();
};

class VersionSelect : public Work {
public:
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        const auto id = static_cast<quint64>(i % (Files * VersionsPerFile) + 1);
        if (!SQL::CloudFileVersion::selectById(id, connection))
            qFatal("not found");
    }
};

class VersionList : public Work {
public:
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        const auto versions = SQL::CloudFileVersion::select_(static_cast<quint64>(i % Files + 1), connection);
        if (versions.size() != VersionsPerFile)
            qFatal("%d versions", versions.size());
    }
};

class OperationInsert : public Work {
public:
    using Work::Work;
    void operator()(int /*i*/)
    {
        SQL::DatabaseConnection connection(m_pool);
        if (!m_operation.insert(connection))
            qFatal("not inserted");
    }

private:
    SQL::History m_operation = sampleOperation();
};

} // namespace Tolm::Benchmarks
