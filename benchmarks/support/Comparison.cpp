#include <benchmarks/support/Comparison.h>
#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Table.h>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace Tolm::Benchmarks {

namespace {

constexpr int Rounds = 15;
constexpr int TinyShare = 100;

// The samples are taken where they arise; Google Benchmark's own lines would only be in the table's way.
class Silence : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context & /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run> & /*runs*/) override {}
};

} // namespace

Comparison::Comparison(int argc, char **argv)
    : m_tiny(hasArgument(argc, argv, "--tiny"))
    , m_rounds(m_tiny || hasArgument(argc, argv, "--once") ? 1 : Rounds)
{
    std::vector<char *> arguments(argv, argv + argc);
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaving);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
}

void Comparison::row(const std::string &name, double target, int operations)
{
    m_rows.push_back({name, target, m_tiny ? std::max(1, operations / TinyShare) : operations});
}

void Comparison::contender(const std::string &column, Contender contender)
{
    m_rows.back().cells.push_back({column, std::move(contender)});
}

void Comparison::run(const std::string &title)
{
    for (Row &row : m_rows) {
        for (Cell &cell : row.cells) {
            [[maybe_unused]] const auto round = [&row, &cell](benchmark::State &state) {
                if (cell.samples.empty())
                    cell.contender(1); // what only the first time costs
                for (auto iteration : state) {
                    static_cast<void>(iteration);
                    cell.samples.push_back(cell.contender(row.operations) / row.operations);
                    state.SetIterationTime(cell.samples.back());
                }
            };
            [[maybe_unused]] const std::string name = row.name + '/' + cell.column;
            // The analyzer sees a leak in what Google Benchmark keeps in a list of its own.
#ifndef __clang_analyzer__
            benchmark::RegisterBenchmark(name.c_str(), round)->UseManualTime()->Iterations(1)->Repetitions(m_rounds);
#endif
        }
    }
    Silence silence;
    benchmark::RunSpecifiedBenchmarks(&silence);

    Table table(title);
    for (const Row &row : m_rows) {
        const double limit = medianOf(row.cells.front().samples);
        for (const Cell &cell : row.cells) {
            if (cell.samples.empty())
                continue;
            if (&cell == &row.cells.front() || limit <= 0)
                table.seconds(row.name, cell.column, medianOf(cell.samples));
            else
                table.ratio(row.name, cell.column, medianOf(cell.samples) / limit, true);
            if (cell.column == "library" && row.target > 0)
                table.ratio(row.name, "target", row.target);
        }
    }
}

} // namespace Tolm::Benchmarks
