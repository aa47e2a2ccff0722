// The smallest real use of the installed library: a catalogue in a folder of its own, one name written and read back.

#include <repository/catalog/PlanName.h>
#include <repository/database/Database.h>
#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabasePool.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdio>

using namespace Tolm;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    qputenv("TOLM_CONFIG_ROOT", folder.path().toLocal8Bit());

    if (!SQL::Database::init(false)) {
        std::fputs("the catalogue could not be brought up\n", stderr);
        return 1;
    }
    SQL::DatabaseConnection connection(SQL::DatabasePool::defaultPool());
    const QUuid plan = QUuid::createUuid();
    const QString name = QStringLiteral("Documents, every evening");
    SQL::PlanName::update(plan, name, Info::Plan::SubType::Backup, connection);
    const auto names = SQL::PlanName::select(connection);
    if (!names.contains(plan) || names.value(plan)->name() != name) {
        std::fputs("the plan's name did not come back\n", stderr);
        return 1;
    }
    std::puts("the plan's name came back");
    return 0;
}
