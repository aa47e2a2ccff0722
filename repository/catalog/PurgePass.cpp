#include <repository/catalog/PurgePass_p.h>
#include <repository/database/Dialect_p.h>
#include <repository/database/Records_p.h>

namespace Tolm::SQL {

namespace {

constexpr int PageSize = 10000;

// A date that is there but cannot be read counts as none.
qint64 dateNumber(const QVariant &stored)
{
    return CatalogDate::toNumber(CatalogDate::fromStored(stored)).value_or(0);
}

} // namespace

PurgePass::PurgePass(quint64 destinationId, const QStringList &roots, DatabaseConnection &connection)
    : m_destinationId(destinationId)
    , m_roots(roots)
    , m_connection(connection)
{}

bool PurgePass::run(const Visitor &visit)
{
    Page page;
    do {
        const quint64 after = page.last;
        page = {};
        if (!readFiles(after, page) || !readVersions(page, visit))
            return false;
    } while (page.rows == PageSize);
    return true;
}

bool PurgePass::readFiles(quint64 after, Page &page)
{
    // The plus keeps SQLite from taking the destination's index and sorting the whole of it by id for every page.
    Statement statement(m_connection,
                        dialect(m_connection.dbType(),
                                QStringLiteral("select id, local_path from cloud_files where +destination_id = "
                                               ":destination_id and id > :after order by id limit :page_size"),
                                QStringLiteral("select id, local_path from cloud_files where destination_id = "
                                               ":destination_id and id > :after order by id limit :page_size")));
    statement.bind(":destination_id", m_destinationId).bind(":after", after).bind(":page_size", PageSize);
    if (statement.exec() != ResultCode::Ok)
        return false;
    while (statement.next()) {
        page.last = Stored::Number::load<quint64>(statement.value(0));
        ++page.rows;
        if (checkFilePath(statement.value(1).toString(), m_roots))
            page.files.append(page.last);
    }
    return statement.code() == ResultCode::Ok;
}

bool PurgePass::readVersions(const Page &page, const Visitor &visit)
{
    if (page.files.isEmpty())
        return true;
    // Files first, or SQLite sorts all versions.
    Statement statement(
        m_connection,
        dialect(m_connection.dbType(),
                QStringLiteral("select v.file_id, v.id, v.date_modified_utc, v.date_backedup_utc, v.attributes, "
                               "v.blocklevel_revision_isfull from cloud_files f cross join cloud_file_versions v on "
                               "v.file_id = f.id where f.id >= :first and f.id <= :last and +f.destination_id = "
                               ":destination_id order by f.id, v.date_modified_utc, v.id"),
                QStringLiteral("select v.file_id, v.id, v.date_modified_utc, v.date_backedup_utc, v.attributes, "
                               "v.blocklevel_revision_isfull from cloud_files f inner join cloud_file_versions v on "
                               "v.file_id = f.id where f.id >= :first and f.id <= :last and f.destination_id = "
                               ":destination_id order by f.id, v.date_modified_utc, v.id")));
    statement.bind(":first", page.files.first())
        .bind(":last", page.files.last())
        .bind(":destination_id", m_destinationId);
    if (statement.exec() != ResultCode::Ok)
        return false;

    quint64 current = 0;
    bool isWanted = false;
    auto wanted = page.files.constBegin();
    QVector<VersionFacts> versions;
    while (statement.next()) {
        const auto file = Stored::Number::load<quint64>(statement.value(0));
        if (file != current) {
            if (!versions.isEmpty())
                visit(versions);
            versions.clear();
            current = file;
            wanted = std::lower_bound(wanted, page.files.constEnd(), file);
            isWanted = wanted != page.files.constEnd() && *wanted == file;
        }
        if (isWanted) {
            versions.append({Stored::Number::load<quint64>(statement.value(1)), dateNumber(statement.value(2)),
                             dateNumber(statement.value(3)), Stored::Number::load<int>(statement.value(4)),
                             Stored::FlagIsOne::load<bool>(statement.value(5))});
        }
    }
    if (statement.code() != ResultCode::Ok)
        return false;
    if (!versions.isEmpty())
        visit(versions);
    return true;
}

} // namespace Tolm::SQL
