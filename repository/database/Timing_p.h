#pragma once

#include <atomic>

namespace Tolm::SQL {

/// The library's waits and limits in milliseconds. Constants to every caller; only tests, which link the hidden
/// symbols, shorten them, because nobody can wait 12 s for each failing statement of a test.
struct Timing {
    std::atomic<int> retryUnit{2000};       ///< a statement waits 1, 2 and 3 of these between its four attempts
    std::atomic<int> slowStatement{10000};  ///< an attempt that takes longer is reported
    std::atomic<int> idleConnection{60000}; ///< a thread's connection is closed when it was unused for longer
    std::atomic<int> busyTimeout{30000};    ///< how long SQLite itself waits for another connection's lock

    static Timing &instance()
    {
        static Timing timing;
        return timing;
    }
};

} // namespace Tolm::SQL
