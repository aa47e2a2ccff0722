#pragma once

#include <string>
#include <vector>

namespace Tolm::Benchmarks {

/// A table of results: printed at the end of its scope, and appended to the file that TOLM_BENCH_OUT names, a cell a
/// line, "title TAB row TAB column TAB text TAB bar", where the report takes it from. The bar is the cell's length in
/// the chart, empty for none.
class Table {
public:
    explicit Table(std::string title);
    ~Table();
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    void text(const std::string &row, const std::string &column, const std::string &text);
    /// "3.2 s", "12 µs": the unit that leaves a handy number.
    void seconds(const std::string &row, const std::string &column, double seconds);
    /// "2.1", to be charted or not.
    void ratio(const std::string &row, const std::string &column, double ratio, bool charted = false);

private:
    struct Cell {
        std::string row;
        std::string column;
        std::string text;
        std::string bar;
    };

    void print() const;
    void write() const;

    std::string m_title;
    std::vector<Cell> m_cells;
};

std::string formatted(const char *format, double value);

} // namespace Tolm::Benchmarks
