// The daily operations of the main catalogue beside SQLite's own interface and other wrappers, in one WAL file and one
// caller's transaction.

#include <benchmarks/support/CatalogueWork.h>
#include <benchmarks/support/Contenders.h>
#include <benchmarks/support/Library.h>

#include <QCoreApplication>
#include <QTemporaryDir>

using namespace Tolm;
using namespace Tolm::Benchmarks;

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
        insertSampleVersions(sqlite);
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
