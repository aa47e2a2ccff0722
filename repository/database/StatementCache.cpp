#include <repository/database/Placeholders_p.h>
#include <repository/database/StatementCache_p.h>

#include <algorithm>

namespace Tolm::SQL {

namespace {

// Its result changes shape when a column is added: running it again then crashes inside the SQLite driver and fails on
// PostgreSQL.
bool readsUnnamedColumns(const QString &text)
{
    return text.contains(QLatin1String("select *"), Qt::CaseInsensitive);
}

// Longer ones hold a list of ids and never come again; they would only push out those that do.
constexpr int LongestText = 2048;

bool mayBeKept(const QString &text)
{
    return text.size() <= LongestText && !readsUnnamedColumns(text);
}

} // namespace

PreparedStatement::PreparedStatement(const QSqlQuery &unprepared, const QString &statementText)
    : query(unprepared)
    , text(statementText)
    , placeholders(placeholdersOf(statementText))
    , cacheable(mayBeKept(statementText))
{}

std::size_t StatementCache::SampleHash::operator()(const QString &text) const noexcept
{
    constexpr int Samples = 16;
    const int size = text.size();
    std::size_t hash = static_cast<std::size_t>(size);
    for (int i = 0; i < Samples && i < size; ++i) {
        hash = hash * 31 + text.at(size - 1 - i).unicode();
        hash = hash * 31 + text.at(size / Samples * i).unicode();
    }
    return hash;
}

std::unique_ptr<PreparedStatement> StatementCache::take(const QString &text)
{
    const auto found = m_statements.find(text);
    if (found == m_statements.end())
        return nullptr;
    std::unique_ptr<PreparedStatement> statement = std::move(found->second.statement);
    m_statements.erase(found);
    return statement;
}

void StatementCache::give(std::unique_ptr<PreparedStatement> statement)
{
    if (!statement->usable || statement->epoch != m_epoch || !statement->cacheable)
        return;
    const QString text = statement->text;
    m_statements.try_emplace(text, Idle{std::move(statement), ++m_clock});
    if (size() > Capacity)
        dropLongestUnused();
}

void StatementCache::clear()
{
    m_statements.clear();
    ++m_epoch;
}

void StatementCache::dropLongestUnused()
{
    const auto oldest =
        std::min_element(m_statements.begin(), m_statements.end(),
                         [](const auto &left, const auto &right) { return left.second.since < right.second.since; });
    m_statements.erase(oldest);
}

} // namespace Tolm::SQL
