#include "qvlib/host/clock.h"

#include "host/linux/internal/clock.h"
#include "host/linux/internal/timers.h"
#include "qvlib/host/crt_time.h"

#include <atomic>
#include <ctime>
#include <limits>
#include <stdexcept>

namespace
{

constexpr std::int64_t kCountsPerSecond = 10'000'000;
constexpr std::int64_t kNanosecondsPerCount = 100;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::atomic<bool> s_manual{false};
std::atomic<std::int64_t> s_manualNow{0};
std::atomic<std::uint32_t> s_tickOffset{0};
std::atomic<std::int64_t> s_wallOffset{0}; // nanoseconds of the manual wall clock since 1970, less those of the clock

// Acquire: whoever finds the manual clock finds its readings.
bool IsManual() { return s_manual.load(std::memory_order_acquire); }

// Relaxed: each reading stands alone, and moving the clock promises no order beyond that of the callbacks.
std::int64_t ManualNow() { return s_manualNow.load(std::memory_order_relaxed); }

std::timespec SystemNow()
{
    std::timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

std::uint32_t Ticks(std::int64_t roundUp)
{
    if (IsManual()) [[unlikely]]
        return static_cast<std::uint32_t>((ManualNow() + roundUp) / kNanosecondsPerMillisecond) +
               s_tickOffset.load(std::memory_order_relaxed);
    std::timespec const now = SystemNow();
    return static_cast<std::uint32_t>(now.tv_sec) * 1000U +
           static_cast<std::uint32_t>((now.tv_nsec + roundUp) / kNanosecondsPerMillisecond);
}

std::int64_t ManualWallClock()
{
    std::int64_t const now = ManualNow() + s_wallOffset.load(std::memory_order_relaxed);
    return now / kNanosecondsPerSecond - (now % kNanosecondsPerSecond < 0 ? 1 : 0);
}

/// A product that stays within a third of the range, so that sums of two do as well.
std::int64_t Scaled(std::int64_t value, std::int64_t factor)
{
    std::int64_t const limit = std::numeric_limits<std::int64_t>::max() / 3 / factor;
    return (value > limit ? limit : value < -limit ? -limit : value) * factor;
}

} // namespace

BOOL QueryPerformanceFrequency(LARGE_INTEGER * frequency)
{
    if (frequency == nullptr)
        return FALSE;
    frequency->QuadPart = kCountsPerSecond;
    return TRUE;
}

BOOL QueryPerformanceCounter(LARGE_INTEGER * count)
{
    if (count == nullptr)
        return FALSE;
    count->QuadPart = qvlib::host::PerformanceCount();
    return TRUE;
}

DWORD GetTickCount() { return Ticks(0); }

DWORD timeGetTime() { return Ticks(0); }

namespace qvlib::host
{

std::int64_t internal::MonotonicNanoseconds()
{
    if (IsManual()) [[unlikely]]
        return ManualNow();
    std::timespec const now = SystemNow();
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

bool internal::IsClockManual() { return IsManual(); }

void internal::SetManualClock(std::int64_t nanoseconds) { s_manualNow.store(nanoseconds, std::memory_order_relaxed); }

std::int64_t PerformanceCount() noexcept
{
    if (IsManual()) [[unlikely]]
        return ManualNow() / kNanosecondsPerCount;
    std::timespec const now = SystemNow();
    // Below 2^32 the division is a multiplication of 32 by 32 bits.
    return now.tv_sec * kCountsPerSecond + static_cast<std::uint32_t>(now.tv_nsec) / 100U;
}

DWORD TickCountRoundedUp() { return Ticks(kNanosecondsPerMillisecond - 1); }

ManualClock::ManualClock(DWORD tickCount, std::int64_t wallClock, int minutesEast)
{
    if (IsManual())
        throw std::logic_error("There is a manual clock already");
    internal::ChangeTimerClock(
        [](std::int64_t now)
        {
            s_manualNow.store(now, std::memory_order_relaxed);
            s_tickOffset.store(0, std::memory_order_relaxed);
            s_manual.store(true, std::memory_order_release);
        },
        tickCount * kNanosecondsPerMillisecond);
    SetWallClock(wallClock);
    SetClock(ManualWallClock, minutesEast);
}

ManualClock::~ManualClock()
{
    SetClock(nullptr);
    internal::ChangeTimerClock([](std::int64_t) { s_manual.store(false, std::memory_order_release); }, 0);
}

void ManualClock::Advance(std::int64_t milliseconds)
{
    internal::AdvanceTimers(Scaled(milliseconds, kNanosecondsPerMillisecond));
}

void ManualClock::AdvanceCounts(std::int64_t counts) { internal::AdvanceTimers(Scaled(counts, kNanosecondsPerCount)); }

bool ManualClock::AdvanceToNextTimer() { return internal::AdvanceToNextTimer(); }

void ManualClock::SetTickCount(DWORD tickCount)
{
    s_tickOffset.store(tickCount - static_cast<std::uint32_t>(ManualNow() / kNanosecondsPerMillisecond),
                       std::memory_order_relaxed);
}

void ManualClock::SetWallClock(std::int64_t secondsSince1970)
{
    s_wallOffset.store(Scaled(secondsSince1970, kNanosecondsPerSecond) - ManualNow(), std::memory_order_relaxed);
}

void ManualClock::StepWallClock(std::int64_t seconds)
{
    s_wallOffset.fetch_add(Scaled(seconds, kNanosecondsPerSecond), std::memory_order_relaxed);
}

unsigned int ManualClock::PendingTimers() const { return internal::PendingTimers(); }

} // namespace qvlib::host
