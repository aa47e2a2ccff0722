// What another process does with a generation: generationWorker FILE COUNT draws COUNT block ids, each stored as a
// block in one transaction with its drawing, and prints them, a line each. It exits with 1 when anything failed.

#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>
#include <repository/generation/AttachDatabase.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/PartsBlocks.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Tolm::SQL;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3)
        return 2;
    const auto generation = Generation::AttachDatabase::attach(arguments.at(1), QUuid::createUuid());
    if (!generation)
        return 1;

    QTextStream out(stdout);
    DatabaseConnection connection(generation->attachedDatabasePool());
    for (int drawn = 0; drawn < arguments.at(2).toInt(); ++drawn) {
        DatabaseTransaction transaction(connection);
        const long long id = Generation::BlockIdGenerator::next({}, connection);
        Generation::PartsBlocks block(id, 1, QByteArray::number(id));
        if (id < 1 || block.insert({}, connection) != ResultCode::Ok || transaction.commit() != ResultCode::Ok)
            return 1;
        out << id << '\n';
    }
    return 0;
}
