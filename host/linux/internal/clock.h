// The clocks of host/clock.h and host/crt_time.h, for the rest of the host.
#pragma once

#include <cstdint>

namespace qvlib::host::internal
{

/// Whether a program put a wall clock in place of the system's, and how many minutes its local time is east of GMT.
bool IsClockReplaced(int & minutesEast);

/// Nanoseconds of the clock under both counters and the timers: the system's monotonic clock or the manual one.
std::int64_t MonotonicNanoseconds();

/// Whether a manual clock stands in place of the system's.
bool IsClockManual();

/// Puts the manual clock at a moment. For the thread that moves it.
void SetManualClock(std::int64_t nanoseconds);

} // namespace qvlib::host::internal
