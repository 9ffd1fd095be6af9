// What a manual clock needs of the timers that run by it.
#pragma once

#include <cstdint>

namespace qvlib::host::internal
{

/// Changes the clock under the timers by calling `change`; the timers that wait keep what is left of their delays.
void ChangeTimerClock(void (*change)(std::int64_t argument), std::int64_t argument);

/// Moves the manual clock on by so many nanoseconds, calling the timers that come due.
void AdvanceTimers(std::int64_t nanoseconds);

/// Moves the manual clock on to the earliest timer and calls what is due then; false when no timer waits.
bool AdvanceToNextTimer();

/// How many timers wait.
unsigned int PendingTimers();

} // namespace qvlib::host::internal
