// Environment: the machine and the version of the platform.
//
// The version tests ask the platform once. A thread that comes during the first call may get false once.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

/// Thread-safe.
struct QVLIB_API Environment
{
    Environment() = default;
    Environment(Environment const &) = default;
    /// Assignments do nothing.
    Environment & operator=(Environment const &) noexcept { return *this; }
    Environment & operator=(Environment &&) noexcept { return *this; }

    /// The processors that the system runs on, at least 1.
    static unsigned long GetLogicalProcessorCount();
};

/// Whether the platform's version is 5.0, and 6.1, or a later one. Thread-safe.
QVLIB_API bool IsWindows2KOrBetter();
QVLIB_API bool IsWindows7OrBetter();

} // namespace qvlib
