// Stopwatches and time-outs over the host's performance counter (10,000,000 ticks a second).
//
//     qvlib::CTLQuickStopWatch quick;                               // a bare start mark, the cheapest to read
//     Work();
//     double const us = quick.GetReading(qvlib::TimeUnitMicroseconds);
//
//     qvlib::CTLStopWatch watch(true);                              // runs, pauses and adds up
//     watch.Stop(); watch.Start(false); watch.Stop();
//     double const seconds = watch.GetFinalReading(qvlib::TimeUnitSeconds);
//
//     qvlib::CTLTimer timer(250, qvlib::TimeUnitMilliseconds);      // a time-out
//     timer.Start(true);
//     while (!timer.TimeoutExpired()) ...
//
// Beware: a conversion multiplies the ticks by the unit's factor first, in 64 bits that wrap, for the sake of small
// values. Nanoseconds are right up to 922 seconds, microseconds up to ten days.
//
// Objects are thread-compatible; the static functions are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <atomic>
#include <cstdint>

namespace qvlib
{

/// The negated power of ten of a unit of time. A value that is none of these counts as TimeUnitTicks.
enum ETimeUnit : std::int32_t
{
    TimeUnitTicks = -1, ///< ticks of the counter as they are
    TimeUnitSeconds = 0,
    TimeUnitMilliseconds = 3,
    TimeUnitMicroseconds = 6,
    TimeUnitNanoseconds = 9,
};

/// A stopwatch that adds up its runs.
class QVLIB_API CTLStopWatch
{
public:
    /// Stands at zero, and runs where `start` says so.
    explicit CTLStopWatch(bool start = false);

    /// Runs on from where it stood, or from zero with `reset`. False, and nothing changes, when it runs already and
    /// `reset` is false.
    bool Start(bool reset);
    bool ReStart() { return Start(true); }
    /// Adds the run to the sum. False when it does not run.
    bool Stop();
    /// Stopped, at zero.
    void Reset() noexcept;
    bool IsRunning() const noexcept { return m_running; }

    /// The sum with the present run, whether it runs or not.
    double GetReading(ETimeUnit unit) const;
    /// The sum with the present run; -1 when it does not run.
    double GetSampleReading(ETimeUnit unit) const;
    /// The sum; -1 while it runs.
    double GetFinalReading(ETimeUnit unit) const;

    /// Looks once for the high-resolution counter. Done when the library is loaded.
    static void InitializeHighResolutionTimer() noexcept;
    /// Whether readings come from that counter, and not from the tick counter of milliseconds.
    static bool IsHighResolution() noexcept;
    /// Ticks a second: 10,000,000 here, 1000 without the high-resolution counter.
    static __int64 Frequency() noexcept;
    /// The counter now. Two names for one operation.
    static __int64 GetRawReading() noexcept;
    static __int64 GetRawPerfCounterReading() noexcept { return GetRawReading(); }
    static double GetPerfCounterReading(ETimeUnit unit) noexcept { return ConvertTime(GetRawReading(), unit); }
    /// Ticks from `start` to `end`; an end below its start is taken for a counter that began anew at its highest value.
    static __int64 GetRawElapsedTime(__int64 start, __int64 end) noexcept;
    static double GetElapsedTime(__int64 start, __int64 end, ETimeUnit unit) noexcept
    {
        return ConvertTime(GetRawElapsedTime(start, end), unit);
    }
    static double ConvertTime(__int64 ticks, ETimeUnit unit) noexcept;
    /// By way of whole ticks; equal units give the value back as it is.
    static double ConvertTime(double value, ETimeUnit from, ETimeUnit to) noexcept;
    static double ConvertTimeToSeconds(__int64 ticks) noexcept;
    /// Whole ticks of `value`, cut off. What is out of their range gives the lowest number.
    static __int64 ConvertTimeToTicks(double value, ETimeUnit unit) noexcept;

protected:
    static std::atomic<bool> m_bCounterInitialized;
    static std::atomic<bool> m_bCounterPresent;
    static std::atomic<__int64> m_nGlobalFrequency;

private:
    __int64 m_start = 0;
    __int64 m_accumulated = 0;
    bool m_running = false;
};

/// A start mark and nothing else, for measuring at the least cost.
class QVLIB_API CTLQuickStopWatch
{
public:
    /// Sets the mark.
    CTLQuickStopWatch() noexcept : m_start(CTLStopWatch::GetRawReading()) {}

    void ReStart() noexcept { m_start = CTLStopWatch::GetRawReading(); }
    /// The time since the mark.
    double GetReading(ETimeUnit unit) const noexcept;
    double GetReadingInSeconds() const noexcept;

private:
    __int64 m_start;
};

/// A time-out that is measured by a stopwatch.
class QVLIB_API CTLTimer
{
public:
    /// A time-out of 0 milliseconds. Not started.
    CTLTimer() = default;
    /// Throws argument_out_of_range_exception for more than 32 bits; all ones is 0xFFFFFFFF. Not started.
    CTLTimer(unsigned long timeout, ETimeUnit unit) { SetTimeout(timeout, unit); }

    /// Throws as the constructor does. The stopwatch goes on as it was.
    void SetTimeout(unsigned long timeout, ETimeUnit unit);

    /// As on CTLStopWatch.
    bool Start(bool reset) { return m_watch.Start(reset); }
    bool ReStart() { return m_watch.ReStart(); }
    bool Stop() { return m_watch.Stop(); }
    bool IsRunning() const noexcept { return m_watch.IsRunning(); }

    /// What is left, cut off to whole units; the time-out and what has passed are compared in whole units of the timer.
    /// A timer that never ran has all of its time left. What needs more than 32 bits reads 0xFFFFFFFF.
    unsigned long GetRemainingTime(ETimeUnit unit) const;
    /// Whether less than a millisecond is left.
    bool TimeoutExpired() const { return GetRemainingTime(TimeUnitMilliseconds) == 0; }

private:
    std::uint32_t m_timeout = 0;
    ETimeUnit m_unit = TimeUnitMilliseconds;
    CTLStopWatch m_watch;
};

} // namespace qvlib
