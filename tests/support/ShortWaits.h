#pragma once

#include <repository/database/Timing_p.h>

namespace Tolm::Tests {

/// Shortens the library's waits while it lives: a retried statement fails after some milliseconds, a lock times out at
/// once.
class ShortWaits {
public:
    ShortWaits()
    {
        auto &timing = SQL::Timing::instance();
        timing.retryUnit = 1;
        timing.busyTimeout = 20;
    }

    ~ShortWaits()
    {
        const SQL::Timing defaults;
        auto &timing = SQL::Timing::instance();
        timing.retryUnit = defaults.retryUnit.load();
        timing.slowStatement = defaults.slowStatement.load();
        timing.idleConnection = defaults.idleConnection.load();
        timing.busyTimeout = defaults.busyTimeout.load();
    }

    ShortWaits(const ShortWaits &) = delete;
    ShortWaits &operator=(const ShortWaits &) = delete;
};

} // namespace Tolm::Tests
