// The clocks of the platform, under its names, and a clock that the program moves by hand in their place.
//
// The performance counter and the tick counter stand on one monotonic clock, which nobody can set; the tick counter has
// 32 bits and goes back to 0 every 49.7 days. The wall clock (`_time64`, host/crt_time.h) is the only one that can be
// stepped.
//
// A test does not sleep. While a `ManualClock` lives, both counters, the wall clock and the multimedia timers
// (host/mmtimer.h) of the whole process stand still until it moves them:
//
//     qvlib::host::ManualClock clock(0xFFFFFF00);   // the tick counter is about to go round
//     timeSetEvent(500, 0, callback, 0, TIME_ONESHOT);
//     clock.Advance(499);                           // nothing yet
//     clock.Advance(1);                             // the callback has run, here on this thread
//     clock.StepWallClock(-3600);                   // somebody set the clock back by an hour
//
// Waits with a time-out, `Sleep` and threads go on by the real clock. A reading costs one atomic load for the choice.
#pragma once

#include "qvlib/host/export.h"
#include "qvlib/host/types.h"

#include <cstdint>

#if !defined(_WIN32)

/// How often the performance counter counts in a second: 10,000,000, always. FALSE for a null pointer. Thread-safe.
QVLIB_API BOOL QueryPerformanceFrequency(LARGE_INTEGER * frequency);

/// The performance counter; it never goes back. FALSE for a null pointer. Thread-safe.
QVLIB_API BOOL QueryPerformanceCounter(LARGE_INTEGER * count);

/// Milliseconds of the monotonic clock, modulo 2^32. Thread-safe.
QVLIB_API DWORD GetTickCount();

/// The same counter as GetTickCount, under the name that goes with the multimedia timers. Thread-safe.
QVLIB_API DWORD timeGetTime();

#endif

namespace qvlib::host
{

/// What QueryPerformanceCounter stores, as a result: saves the trip through memory, which costs as much as the rest of
/// a reading. Thread-safe.
QVLIB_API std::int64_t PerformanceCount() noexcept;

/// The tick count as it will stand when the millisecond that has begun is over. A delay that is counted from here is
/// never short; counted from `timeGetTime` it may be short by what has passed of that millisecond. Thread-safe.
QVLIB_API DWORD TickCountRoundedUp();

/// Takes the place of the process's clocks and timers for as long as it lives. At most one at a time.
///
/// Timers that are waiting when it comes or goes keep what is left of their delays. A difference between readings of
/// before and after means nothing. Thread-safe, but for its construction and destruction, which need every other user
/// of the clocks to be still.
class QVLIB_API ManualClock
{
public:
    /// The tick counter and the performance counter start at `tickCount` milliseconds; the wall clock at
    /// `wallClock` seconds since 1 January 1970 in GMT, with local time `minutesEast` of it. Throws std::logic_error
    /// when there is one already.
    explicit ManualClock(DWORD tickCount = 0, std::int64_t wallClock = 1700000000, int minutesEast = 0);
    ManualClock(ManualClock const &) = delete;
    ManualClock & operator=(ManualClock const &) = delete;
    /// The system's clocks again, a clock that host::SetClock had set included.
    ~ManualClock();

    /// Moves everything on. Each timer that comes due on the way runs its callback on the calling thread, at the very
    /// moment for which it was set (that is what the clocks read inside), in order of time and then of setting; a
    /// callback may set and cancel timers, which take part. A call from a callback moves the clocks only, and what
    /// comes due follows when the callback has returned. Calls from several threads follow one another. What a
    /// callback throws ends the call, with the clocks where they stood. A negative distance is 0.
    void Advance(std::int64_t milliseconds);
    /// The same, in counts of the performance counter.
    void AdvanceCounts(std::int64_t counts);
    /// Moves on to the earliest timer and runs what is due then; false, and nothing moved, when no timer is waiting.
    bool AdvanceToNextTimer();

    /// Sets the tick counter alone. Timers keep what is left of their delays.
    void SetTickCount(DWORD tickCount);
    /// Sets the wall clock alone, or steps it by so many seconds; it goes on from there.
    void SetWallClock(std::int64_t secondsSince1970);
    void StepWallClock(std::int64_t seconds);

    /// How many multimedia timers are waiting.
    unsigned int PendingTimers() const;
};

} // namespace qvlib::host
