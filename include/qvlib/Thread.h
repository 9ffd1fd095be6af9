// Thread: whether a thread of the host (CreateThread in host/thread.h) still runs.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

/// Thread-safe.
struct QVLIB_API Thread
{
    Thread() = default;
    Thread(Thread const &) = default;
    /// Assignments do nothing.
    Thread & operator=(Thread const &) noexcept { return *this; }
    Thread & operator=(Thread &&) noexcept { return *this; }

    /// The thread's exit code, 259 while it runs, 0 when it can't be read.
    static unsigned long GetExitCode(void * threadHandle);
    /// Whether the exit code is 259. A thread that ended with just that code counts as alive.
    static bool IsAlive(void * threadHandle);
};

} // namespace qvlib
