// writer FILE NAME COUNT BATCH: records COUNT file versions (0: until it is killed) of files "NAME-1", "NAME-2", … in
// folders that every writer uses, in transactions of BATCH (1: none), and prints each path once it is permanent.

#include <repository/catalog/CloudFileVersion.h>
#include <repository/database/Database.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>
#include <optional>

namespace {

using namespace Tolm::SQL;

bool record(const QString &path, DatabaseConnection &connection)
{
    // Of two writers that make one folder at the same moment one fails; the folder is there when it tries again.
    for (int attempt = 0; attempt < 5; ++attempt) {
        CloudFileVersion version;
        version.setPath(path);
        version.setDateModified(QDateTime(QDate(2024, 3, 10), QTime(2, 30), Qt::UTC));
        version.setSize(static_cast<quint64>(path.size()));
        if (version.insert(1, connection))
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5 || !Database::initSQLite(arguments[1]))
        return 2;
    const int count = arguments[3].toInt();
    const int batch = arguments[4].toInt();
    DatabaseConnection connection(DatabasePool::defaultPool());
    for (int number = 1; count == 0 || number <= count;) {
        std::optional<DatabaseTransaction> transaction;
        if (batch > 1)
            transaction.emplace(connection);
        QStringList paths;
        for (; paths.size() < batch && (count == 0 || number <= count); ++number) {
            paths << QString("/shared/%1/%2-%3").arg(number / 10).arg(arguments[2]).arg(number);
            if (!record(paths.last(), connection))
                return 1;
        }
        if (transaction && transaction->commit() != ResultCode::Ok)
            return 1;
        std::puts(qPrintable(paths.join('\n')));
        std::fflush(stdout);
    }
    return 0;
}
