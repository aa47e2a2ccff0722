#include <platform/Varn/Network.h>

#include <examples/catalogue/Destinations.h>
#include <examples/catalogue/Failure.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

using Tolm::SQL::DatabaseConnection;
using Tolm::SQL::Destination;

namespace Client {

namespace {

QJsonObject accountOfThisMachine()
{
    return {{QStringLiteral("AccountType"), QStringLiteral("FileSystem")},
            {QStringLiteral("Path"), QStringLiteral("/backups")},
            {QStringLiteral("BackupPrefix"), Varn::Network::ComputerName::name()}};
}

QJsonObject readAccount(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject()) {
        throw Failure(QStringLiteral("%1 holds no JSON object: %2, at byte %3")
                          .arg(fileName, error.errorString(), QString::number(error.offset)));
    }
    return document.object();
}

} // namespace

Destination destinationToRecord(const QString &accountFile, DatabaseConnection &connection)
{
    const QJsonObject account = accountFile.isEmpty() ? accountOfThisMachine() : readAccount(accountFile);
    QString accountId;
    QString prefix;
    QString container;
    QString cloudType;
    if (!Destination::SearchParams(account, accountId, prefix, container, cloudType))
        throw Failure(QStringLiteral("%1 describes no account that is known here").arg(accountFile));
    auto destination = Destination::selectOrInsert(account, connection);
    if (!destination) // perhaps because another process has just inserted the same one
        destination = Destination::select(account, connection);
    if (!destination)
        throw Failure(QStringLiteral("the destination cannot be stored"));
    return *destination;
}

QList<QSharedPointer<Destination>> destinationsToAsk(const QString &accountFile, DatabaseConnection &connection)
{
    if (accountFile.isEmpty())
        return Destination::select(connection);
    const auto destination = Destination::select(readAccount(accountFile), connection);
    if (!destination)
        throw Failure(QStringLiteral("the catalogue has no destination of the account in %1").arg(accountFile));
    return {destination};
}

QString describe(const Destination &destination)
{
    return QStringLiteral("%1 %2 %3").arg(destination.cloudType(), destination.container(), destination.prefix());
}

} // namespace Client
