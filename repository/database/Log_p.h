#pragma once

#include <platform/Varn/VarnDebug.h>

namespace Tolm::SQL {

/// The library's log. Made once: registering a category takes a process-wide lock.
inline const Varn::VarnDebug &log()
{
    static const Varn::VarnDebug log("SQL");
    return log;
}

} // namespace Tolm::SQL
