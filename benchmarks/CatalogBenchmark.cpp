// The daily operations of the main catalogue beside SQLite's own interface and other wrappers, in one WAL file and one
// caller's transaction.

#include <benchmarks/support/Catalogue.h>
#include <benchmarks/support/Contenders.h>
#include <benchmarks/support/Library.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <algorithm>

using namespace Tolm;
using namespace Tolm::Benchmarks;

namespace {

constexpr int VersionsPerFile = 20;
constexpr int Files = 1000;

// ---- What the others run -------------------------------------------------------------------------------------------

template <class Connection>
using SelectFolder = typename Connection::template Statement<FolderKey, Folder>;

// The same nine statements that the library runs for a file in a folder six names deep, the root's empty name included.
template <class Connection>
class PlainNewFile {
public:
    explicit PlainNewFile(Connection &connection)
        : m_connection(connection)
    {}

    void operator()(int i)
    {
        const std::string path = samplePath(i);
        m_fileKey.localPath = path;
        bool found = false;
        m_selectFile.run([&] { found = true; });
        if (found)
            qFatal("the file is there already");

        m_folder.id = 0;
        const std::size_t nameStart = path.rfind('/') + 1;
        for (std::size_t start = 0; start < nameStart;) {
            const std::size_t end = path.find('/', start);
            m_folderKey.parentId = m_folder.id;
            m_folderKey.displayName.assign(path, start, end - start);
            m_selectFolder.run([] {});
            start = end + 1;
        }

        m_file.localPath = path;
        m_file.parentId = m_folder.id;
        m_file.displayName.assign(path, nameStart);
        m_file.fileName = m_file.displayName;
        std::transform(m_file.fileName.begin(), m_file.fileName.end(), m_file.fileName.begin(), ::tolower);
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
    Connection &m_connection;
    FileKey m_fileKey{};
    FileWithId m_foundFile{};
    FolderKey m_folderKey{};
    Folder m_folder{};
    File m_file{};
    Version m_version = plainVersion();
    Nothing m_nothing{};
    typename Connection::template Statement<FileKey, FileWithId> m_selectFile{m_connection, FileKey::Select, m_fileKey,
                                                                              m_foundFile};
    SelectFolder<Connection> m_selectFolder{m_connection, FolderKey::Select, m_folderKey, m_folder};
    typename Connection::template Statement<File, Nothing> m_insertFile{m_connection, File::Insert, m_file, m_nothing};
    typename Connection::template Statement<Version, Nothing> m_insertVersion{m_connection, Version::Insert, m_version,
                                                                              m_nothing};
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

// ---- What the library runs: each operation with a handle of its own
// --------------------------------------------------

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
    using Work::Work;
    void operator()(int i)
    {
        SQL::DatabaseConnection connection(m_pool);
        m_version.setFileId(0);
        m_version.setPath(QString::fromStdString(samplePath(i)));
        if (!m_version.insert(1, connection))
            qFatal("not inserted");
    }

private:
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

void insertVersions(Sqlite &sqlite)
{
    Version version = plainVersion();
    Nothing nothing;
    Sqlite::Statement<Version, Nothing> insert(sqlite, Version::Insert, version, nothing);
    sqlite.run("BEGIN");
    for (int file = 1; file <= Files; ++file) {
        for (int i = 0; i < VersionsPerFile; ++i) {
            version.fileId = file;
            version.dateModified = plainVersion().dateModified + i;
            insert.run([] {});
        }
    }
    sqlite.run("COMMIT");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    quietLog();
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("catalogue.db"));
    const std::string path = file.toStdString();
    QPointer<SQL::DatabasePool> pool = openPool(file);
    createCatalogue(pool);
    {
        Sqlite sqlite(path);
        insertSampleFolders(sqlite);
        insertVersions(sqlite);
    }

    Comparison comparison(argc, argv);
    const auto library = std::make_shared<Library>(pool);
    comparison.row("first version of a new file", 3.5, 500);
    addLimit<PlainNewFile>(comparison, path);
    addContender(comparison, library, std::make_shared<NewFile>(pool));
    addPeers<PlainNewFile>(comparison, path);
    comparison.row("insert a file version", 2.5, 2000);
    addLimit<PlainVersionInsert>(comparison, path);
    addContender(comparison, library, std::make_shared<VersionInsert>(pool));
    addPeers<PlainVersionInsert>(comparison, path);
    comparison.row("select one version by id", 6.5, 5000);
    addLimit<PlainVersionSelect>(comparison, path);
    addContender(comparison, library, std::make_shared<VersionSelect>(pool));
    addPeers<PlainVersionSelect>(comparison, path);
    comparison.row("list the 20 versions of a file", 3.2, 500);
    addLimit<PlainVersionList>(comparison, path);
    addContender(comparison, library, std::make_shared<VersionList>(pool));
    addPeers<PlainVersionList>(comparison, path);
    comparison.row("insert an operation-history row", 1.8, 3000);
    addLimit<PlainOperationInsert>(comparison, path);
    addContender(comparison, library, std::make_shared<OperationInsert>(pool));
    addPeers<PlainOperationInsert>(comparison, path);
    comparison.run("Catalogue, SQLite: times the limit");

    delete pool;
    return 0;
}
