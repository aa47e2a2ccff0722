#include <repository/catalog/CloudFolder.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

#include <QSet>
#include <QStringList>

#include <array>

namespace Tolm::SQL {

struct CloudFolder::Columns {
    // Reading sets the name from the display name, so that line comes last.
    static constexpr auto Table = columns(                                      //
        column<Stored::Number>("id", &CloudFolder::m_id),                       //
        column<Stored::Number>("parent_id", &CloudFolder::m_parentId),          //
        column<Stored::Number>("destination_id", &CloudFolder::m_destintionId), //
        column<Stored::RequiredText>("name", &CloudFolder::m_name),             //
        column<Stored::RequiredText>("display_name", &CloudFolder::m_displayName, &CloudFolder::setName));
};

namespace {

QStringList componentsOf(QString path)
{
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path.split(QLatin1Char('/'));
}

struct Step {
    const char *destination;
    const char *name;
};

constexpr std::array Steps = {Step{":destination1", ":name1"}, Step{":destination2", ":name2"},
                              Step{":destination3", ":name3"}, Step{":destination4", ":name4"},
                              Step{":destination5", ":name5"}, Step{":destination6", ":name6"},
                              Step{":destination7", ":name7"}, Step{":destination8", ":name8"}};

// Going down step by step takes a statement each, and on PostgreSQL a round trip; most of recording a new file was
// that. The steps are nested and not joined: PostgreSQL's plan of a join reads every folder of a name, wherever it
// lies.
QString selectBelowText(std::size_t steps)
{
    QString parent = QStringLiteral(":parent_id");
    QString text;
    for (std::size_t step = 0; step < steps; ++step) {
        const bool isLast = step + 1 == steps;
        text = QStringLiteral("select %1 from cloud_folders where parent_id = %2 and destination_id = %3 and "
                              "display_name = %4%5")
                   .arg(isLast ? QStringLiteral("id, parent_id, destination_id, display_name") : QStringLiteral("id"),
                        parent, QLatin1String(Steps.at(step).destination), QLatin1String(Steps.at(step).name),
                        isLast ? QStringLiteral(" limit 1") : QString());
        parent = QLatin1Char('(') + text + QLatin1Char(')');
    }
    return text;
}

} // namespace

void CloudFolder::setName(const QString &displayName)
{
    m_displayName = displayName;
    m_name = displayName.toLower();
}

QString CloudFolder::createTable(DatabaseType type)
{
    return dialect(
        type,
        QStringLiteral("CREATE TABLE cloud_folders (id INTEGER PRIMARY KEY ASC, name TEXT, display_name TEXT,parent_id "
                       "INTEGER DEFAULT 0,destination_id INTEGER,UNIQUE(display_name,parent_id,destination_id));"),
        QStringLiteral("CREATE TABLE cloud_folders ( id SERIAL PRIMARY KEY ,name TEXT ,display_name TEXT ,parent_id "
                       "INTEGER DEFAULT 0 ,destination_id INTEGER ,UNIQUE(display_name,parent_id,destination_id)  )"));
}

bool CloudFolder::select(quint64 id, DatabaseConnection &connection)
{
    if (id == 0)
        return false;
    Statement statement(
        connection,
        QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where id = :id limit 1"));
    statement.bind(":id", id);
    return selectInto(*this, statement, Columns::Table);
}

bool CloudFolder::select(quint64 destinationId, quint64 parentId, const QString &displayName,
                         DatabaseConnection &connection)
{
    Statement statement(
        connection,
        QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where parent_id = "
                       ":parent_id and destination_id = :destination_id  and display_name = :display_name limit 1"));
    statement.bind(":parent_id", parentId).bind(":destination_id", destinationId).bind(":display_name", displayName);
    return selectInto(*this, statement, Columns::Table);
}

bool CloudFolder::select(DatabaseConnection &connection)
{
    return select(m_destintionId, m_parentId, m_displayName, connection);
}

QSharedPointer<CloudFolder> CloudFolder::selectByFolderId(quint64 id, DatabaseConnection &connection)
{
    const auto folder = QSharedPointer<CloudFolder>::create();
    return folder->select(id, connection) ? folder : nullptr;
}

// The folder at the end of `names`, of which the first lies in the parent and each other one in the one before.
bool CloudFolder::selectBelow(quint64 destinationId, quint64 parentId, const QStringList &names,
                              DatabaseConnection &connection)
{
    static const std::array<QString, Steps.size()> texts = [] {
        std::array<QString, Steps.size()> list;
        for (std::size_t steps = 1; steps <= list.size(); ++steps)
            list.at(steps - 1) = selectBelowText(steps);
        return list;
    }();
    Statement statement(connection, texts.at(static_cast<std::size_t>(names.size() - 1)));
    statement.bind(":parent_id", parentId);
    for (int i = 0; i < names.size(); ++i) {
        const Step &step = Steps.at(static_cast<std::size_t>(i));
        statement.bind(step.destination, destinationId).bind(step.name, names.at(i));
    }
    return selectInto(*this, statement, Columns::Table);
}

QSharedPointer<CloudFolder> CloudFolder::select(quint64 destinationId, const QString &path,
                                                DatabaseConnection &connection)
{
    const auto folder = QSharedPointer<CloudFolder>::create();
    const QStringList components = componentsOf(path);
    constexpr int MostAtOnce = static_cast<int>(Steps.size());
    for (int done = 0; done < components.size(); done += MostAtOnce) {
        if (!folder->selectBelow(destinationId, folder->m_id, components.mid(done, MostAtOnce), connection))
            return nullptr;
    }
    return folder;
}

QSharedPointer<CloudFolder> CloudFolder::selectOrInsert(quint64 destinationId, const QString &path,
                                                        DatabaseConnection &connection)
{
    if (const auto existing = select(destinationId, path, connection))
        return existing;

    const auto folder = QSharedPointer<CloudFolder>::create();
    bool missing = false;
    const QStringList components = componentsOf(path);
    for (const QString &component : components) {
        const quint64 parentId = folder->m_id;
        missing = missing || !folder->select(destinationId, parentId, component, connection);
        if (missing) {
            folder->setName(component);
            folder->m_parentId = parentId;
            folder->m_destintionId = destinationId;
            if (!folder->insert(connection))
                return nullptr;
        }
    }
    return folder;
}

bool CloudFolder::insert(DatabaseConnection &connection)
{
    Statement statement(
        connection, QStringLiteral("insert into cloud_folders (display_name, name, parent_id, destination_id) values "
                                   "(:display_name, :name, :parent_id, :destination_id)"));
    return insertRecord(statement, *this, Columns::Table, m_id) == ResultCode::Ok;
}

QList<QSharedPointer<CloudFolder>> CloudFolder::select(quint64 parentId, quint64 limit, quint64 offset,
                                                       DatabaseConnection &connection)
{
    if (limit == 0) {
        Statement statement(
            connection,
            dialect(
                connection.dbType(),
                QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where parent_id "
                               "= :parent_id order by display_name"),
                QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where parent_id "
                               "= :parent_id order by display_name collate \"C\"")));
        statement.bind(":parent_id", parentId);
        return selectAll<CloudFolder>(statement, Columns::Table).list;
    }
    Statement statement(
        connection,
        dialect(
            connection.dbType(),
            QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where parent_id = "
                           ":parent_id order by display_name  limit :limit offset :offset "),
            QStringLiteral("select id, parent_id, destination_id, display_name from cloud_folders where parent_id = "
                           ":parent_id order by display_name collate \"C\"  limit :limit offset :offset ")));
    statement.bind(":parent_id", parentId).bindPage(limit, offset);
    return selectAll<CloudFolder>(statement, Columns::Table).list;
}

QList<QSharedPointer<CloudFolder>> CloudFolder::select(quint64 destinationId, const QString &path, quint64 limit,
                                                       quint64 offset, DatabaseConnection &connection)
{
    if (destinationId == 0)
        return {};
    const auto folder = select(destinationId, path, connection);
    return folder ? select(folder->m_id, limit, offset, connection) : QList<QSharedPointer<CloudFolder>>();
}

int CloudFolder::subfolderCount(quint64 parentId, DatabaseConnection &connection)
{
    Statement statement(
        connection,
        dialect(connection.dbType(),
                QStringLiteral("select count(*) from cloud_folders where parent_id = :parent_id order by display_name"),
                QStringLiteral("select count(*) from cloud_folders where parent_id = :parent_id")));
    statement.bind(":parent_id", parentId);
    return selectNumber<int>(statement).value;
}

bool CloudFolder::isEmpty(quint64 folderId, DatabaseConnection &connection)
{
    if (folderId == 0)
        return false;
    // Counting would read every file of the folder; removing all of them one by one would then be quadratic.
    Statement statement(
        connection,
        dialect(
            connection.dbType(),
            QStringLiteral("SELECT exists (SELECT 1 FROM cloud_files WHERE parent_id = :id) + exists (SELECT 1 FROM "
                           "cloud_folders WHERE parent_id = :id) as c"),
            QStringLiteral("SELECT (exists (SELECT 1 FROM cloud_files WHERE parent_id = :id) or exists (SELECT 1 FROM "
                           "cloud_folders WHERE parent_id = :id) or exists (SELECT 1 FROM archive_bunches WHERE "
                           "folder_id = :id))::int as c")));
    statement.bind(":id", folderId);
    const auto content = selectNumber<int>(statement);
    return content.error == ResultCode::Ok && content.value == 0;
}

QString CloudFolder::selectPath(quint64 folderId, DatabaseConnection &connection)
{
    if (!connection.isOpen())
        return {};
    QStringList names;
    QSet<quint64> seen;
    CloudFolder folder;
    for (quint64 id = folderId; !seen.contains(id) && folder.select(id, connection); id = folder.m_parentId) {
        seen.insert(id);
        if (!folder.m_displayName.isEmpty())
            names.prepend(folder.m_displayName);
    }

    QString path = names.join(QLatin1Char('/'));
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    if (!path.endsWith(QLatin1Char('/')))
        path.append(QLatin1Char('/'));
    return path;
}

QString CloudFolder::selectPath(DatabaseConnection &connection)
{
    return selectPath(m_id, connection);
}

bool CloudFolder::delete_(bool removeEmptyParents, DatabaseConnection &connection)
{
    {
        Statement statement(connection, QStringLiteral("delete from cloud_folders where id = :id"));
        if (statement.bind(":id", m_id).exec() != ResultCode::Ok)
            return false;
    }
    if (!removeEmptyParents || !isEmpty(m_parentId, connection))
        return true;
    const auto parent = selectByFolderId(m_parentId, connection);
    return parent && parent->delete_(true, connection);
}

bool CloudFolder::init(QSqlQuery &query)
{
    return initRecord(*this, query, Columns::Table);
}

} // namespace Tolm::SQL
