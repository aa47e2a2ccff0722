#include <benchmarks/support/Table.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>

namespace Tolm::Benchmarks {

namespace {

std::string inHandyUnit(double seconds)
{
    constexpr double Milli = 1e-3;
    constexpr double Micro = 1e-6;
    if (seconds >= 1)
        return formatted("%.3g s", seconds);
    if (seconds >= Milli)
        return formatted("%.3g ms", seconds / Milli);
    return formatted("%.3g µs", seconds / Micro);
}

void addOnce(std::vector<std::string> &list, const std::string &item)
{
    if (std::find(list.begin(), list.end(), item) == list.end())
        list.push_back(item);
}

// The number of characters, not of bytes: "µ" is one.
std::size_t widthOf(const std::string &text)
{
    constexpr unsigned ContinuationMask = 0xC0;
    constexpr unsigned Continuation = 0x80;
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & ContinuationMask) != Continuation;
    }));
}

std::string padded(const std::string &text, std::size_t width)
{
    return text + std::string(width - std::min(width, widthOf(text)), ' ');
}

} // namespace

std::string formatted(const char *format, double value)
{
    std::array<char, 64> buffer{};
    // The formats are this folder's own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(buffer.data(), buffer.size(), format, value);
#pragma GCC diagnostic pop
    return buffer.data();
}

Table::Table(std::string title)
    : m_title(std::move(title))
{}

Table::~Table()
{
    print();
    write();
}

void Table::text(const std::string &row, const std::string &column, const std::string &text)
{
    m_cells.push_back({row, column, text, {}});
}

void Table::seconds(const std::string &row, const std::string &column, double seconds)
{
    text(row, column, inHandyUnit(seconds));
}

void Table::ratio(const std::string &row, const std::string &column, double ratio, bool charted)
{
    const std::string number = formatted("%.2f", ratio);
    m_cells.push_back({row, column, number, charted ? number : std::string()});
}

void Table::print() const
{
    std::vector<std::string> rows;
    std::vector<std::string> columns{{}};
    std::map<std::pair<std::string, std::string>, std::string> texts;
    for (const Cell &cell : m_cells) {
        addOnce(rows, cell.row);
        addOnce(columns, cell.column);
        texts[{cell.row, cell.column}] = cell.text;
        texts[{cell.row, {}}] = cell.row;
    }
    std::cout << '\n' << m_title << '\n';
    const auto line = [&](const auto &textOf) {
        for (const std::string &column : columns) {
            std::size_t width = widthOf(column);
            for (const std::string &row : rows)
                width = std::max(width, widthOf(texts[{row, column}]));
            std::cout << padded(textOf(column), width) << "  ";
        }
        std::cout << '\n';
    };
    line([](const std::string &column) { return column; });
    for (const std::string &row : rows)
        line([&](const std::string &column) { return texts[{row, column}]; });
    std::cout << std::flush;
}

void Table::write() const
{
    const char *path = std::getenv("TOLM_BENCH_OUT");
    if (!path)
        return;
    std::ofstream file(path, std::ios::app);
    for (const Cell &cell : m_cells) {
        file << m_title << '\t' << cell.row << '\t' << cell.column << '\t' << cell.text << '\t' << cell.bar << '\n';
    }
}

} // namespace Tolm::Benchmarks
