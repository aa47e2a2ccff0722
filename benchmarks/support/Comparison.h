#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Tolm::Benchmarks {

/// The same works done by several contenders in one process, and how many times as long as the first contender, the
/// limit, each of them took. Google Benchmark runs the rounds, all of them interleaved at random, so that what else
/// happens on the machine meets everybody alike; the middle one of the rounds counts.
class Comparison {
public:
    /// Takes --tiny, --once for a single round (with --benchmark_filter and callgrind it counts instructions), and
    /// Google Benchmark's own arguments.
    Comparison(int argc, char **argv);

    /// Does its work so many times and returns the CPU seconds that it took.
    using Contender = std::function<double(int operations)>;

    /// A row of the table. \param target the ratio that the library is to reach; 0 for none.
    void row(const std::string &name, double target, int operations);
    /// A contender of the last row; the first one is the limit.
    void contender(const std::string &column, Contender contender);

    /// Runs everything and makes the table `title`.
    void run(const std::string &title);

    bool isTiny() const { return m_tiny; }

private:
    struct Cell {
        std::string column;
        Contender contender;
        std::vector<double> samples{};
    };

    struct Row {
        std::string name;
        double target;
        int operations;
        std::vector<Cell> cells{};
    };

    bool m_tiny;
    int m_rounds;
    std::vector<Row> m_rows{};
};

} // namespace Tolm::Benchmarks
