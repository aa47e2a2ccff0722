#pragma once

#include <benchmarks/support/Measure.h>
#include <benchmarks/support/Table.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Tolm::Benchmarks {

/// Lets the limit and the library record a first backup of so many files, each in its own database, and adds a row to
/// the table. They take turns, a transaction of a thousand files each, so that what else happens on the machine meets
/// both alike; the middle one of these turns counts. The memory is that of both together. `work(i)` records a file. The
/// limit takes only every so many turns where both write to the same tables and its own share of the rows matters less
/// than the time.
template <class Limit, class LimitWork, class Library, class LibraryWork>
void compareFirstBackups(Table &table, int files, Limit &limit, LimitWork limitWork, Library &library,
                         LibraryWork libraryWork, Clock clock, int limitsTurns = 1)
{
    constexpr int Batch = 1000;
    const auto record = [clock](auto &connection, auto &work, int first, int end) {
        return measured(
            [&] {
                connection.begin();
                for (int i = first; i < end; ++i)
                    work(i);
                connection.commit();
            },
            clock);
    };
    resetPeak();
    const long before = residentMegabytes();
    std::vector<double> limitSeconds;
    std::vector<double> librarySeconds;
    std::vector<double> ratios;
    for (int first = 0; first < files; first += Batch) {
        const int end = std::min(files, first + Batch);
        const bool isLimitsTurn = first / Batch % limitsTurns == 0;
        if (isLimitsTurn)
            limitSeconds.push_back(record(limit, limitWork, first, end) / (end - first));
        librarySeconds.push_back(record(library, libraryWork, first, end) / (end - first));
        if (isLimitsTurn)
            ratios.push_back(librarySeconds.back() / limitSeconds.back());
    }
    const std::string row = std::to_string(files) + " files";
    table.text(row, "limit, files/s", formatted("%.0f", 1 / medianOf(limitSeconds)));
    table.text(row, "library, files/s", formatted("%.0f", 1 / medianOf(librarySeconds)));
    table.ratio(row, "times the limit", medianOf(ratios));
    table.text(row, "memory added by both", std::to_string(peakMegabytes() - before) + " MB");
}

} // namespace Tolm::Benchmarks
