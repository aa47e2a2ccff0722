#include <repository/database/Placeholders_p.h>
#include <repository/database/StatementCache_p.h>

#include <algorithm>

namespace Tolm::SQL {

namespace {

// Its result changes shape when a column is added: running it again then crashes inside the SQLite driver and fails on
// PostgreSQL. Every star that is not count(*)'s is taken for one, so that no way of writing it slips through.
bool readsUnnamedColumns(const QString &text)
{
    for (int star = text.indexOf(QLatin1Char('*')); star >= 0; star = text.indexOf(QLatin1Char('*'), star + 1)) {
        if (star == 0 || text.at(star - 1) != QLatin1Char('('))
            return true;
    }
    return false;
}

bool hasNumberAfter(QLatin1String words, const QString &text)
{
    const int found = text.indexOf(words);
    return found >= 0 && found + words.size() < text.size() && text.at(found + words.size()).isDigit();
}

bool servesOneSelection(const QString &text)
{
    return hasNumberAfter(QLatin1String(" in ("), text) || hasNumberAfter(QLatin1String(" offset "), text);
}

PreparedStatement::Shelf shelfOf(const QString &text)
{
    if (readsUnnamedColumns(text))
        return PreparedStatement::Shelf::None;
    return servesOneSelection(text) ? PreparedStatement::Shelf::Lists : PreparedStatement::Shelf::Main;
}

} // namespace

PreparedStatement::PreparedStatement(const QSqlQuery &unprepared, const QString &statementText)
    : query(unprepared)
    , text(statementText)
    , placeholders(placeholdersOf(statementText))
    , shelf(shelfOf(statementText))
{}

std::size_t StatementCache::SampleHash::operator()(const QString &text) const noexcept
{
    constexpr int Samples = 16;
    const int size = text.size();
    auto hash = static_cast<std::size_t>(size);
    for (int i = 0; i < Samples && i < size; ++i) {
        hash = hash * 31 + text.at(size - 1 - i).unicode();
        hash = hash * 31 + text.at(size / Samples * i).unicode();
    }
    return hash;
}

std::unique_ptr<PreparedStatement> StatementCache::take(const QString &text)
{
    auto statement = m_main.take(text);
    return statement ? std::move(statement) : m_lists.take(text);
}

void StatementCache::give(std::unique_ptr<PreparedStatement> statement)
{
    if (statement->epoch != m_epoch || statement->shelf == PreparedStatement::Shelf::None)
        return;
    Shelf &shelf = statement->shelf == PreparedStatement::Shelf::Lists ? m_lists : m_main;
    shelf.give(std::move(statement), ++m_clock);
}

void StatementCache::clear()
{
    m_main.places.clear();
    m_lists.places.clear();
    ++m_epoch;
}

std::unique_ptr<PreparedStatement> StatementCache::Shelf::take(const QString &text)
{
    const auto found = places.find(text);
    if (found == places.end() || !found->second.idle)
        return nullptr;
    std::unique_ptr<PreparedStatement> statement = std::move(found->second.idle);
    statement->place = &found->second;
    return statement;
}

void StatementCache::Shelf::give(std::unique_ptr<PreparedStatement> statement, quint64 since)
{
    if (!statement->usable) {
        if (statement->place)
            places.erase(statement->text);
        return;
    }
    if (statement->place) {
        CachePlace &place = *statement->place;
        place.idle = std::move(statement);
        place.since = since;
        return;
    }
    const QString text = statement->text;
    if (places.try_emplace(text, CachePlace{std::move(statement), since}).second && size() > capacity)
        dropLongestUnused();
}

void StatementCache::Shelf::dropLongestUnused()
{
    const auto isLonger = [](const auto &left, const auto &right) {
        return left.second.idle && (!right.second.idle || left.second.since < right.second.since);
    };
    const auto longestUnused = std::min_element(places.begin(), places.end(), isLonger);
    if (longestUnused->second.idle)
        places.erase(longestUnused);
}

} // namespace Tolm::SQL
