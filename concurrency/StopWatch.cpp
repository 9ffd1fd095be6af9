#include "qvlib/StopWatch.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/host/clock.h"

#include <limits>

namespace qvlib
{

constinit std::atomic<bool> CTLStopWatch::m_bCounterInitialized{false};
constinit std::atomic<bool> CTLStopWatch::m_bCounterPresent{false};
constinit std::atomic<__int64> CTLStopWatch::m_nGlobalFrequency{0};

namespace
{

constexpr __int64 kHighest = std::numeric_limits<__int64>::max();
constexpr __int64 kLowest = std::numeric_limits<__int64>::min();

// Also for the conversions and the quick stopwatch, which look for nothing.
struct AtLoad
{
    AtLoad() noexcept { CTLStopWatch::InitializeHighResolutionTimer(); }
} const s_atLoad;

// Relaxed throughout: the facts about the counter are settled at load and stand alone.
constexpr auto kRelaxed = std::memory_order_relaxed;

// Signed arithmetic that wraps: what overflows is meant to be what two's complement makes of it.
constexpr __int64 Add(__int64 a, __int64 b) noexcept
{
    return static_cast<__int64>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
constexpr __int64 Subtract(__int64 a, __int64 b) noexcept
{
    return static_cast<__int64>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}
constexpr __int64 Multiply(__int64 a, __int64 b) noexcept
{
    return static_cast<__int64>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

constexpr __int64 kUsualFrequency = 10'000'000;

/// A unit of time, and how to convert to it at the usual frequency without a division.
///
/// There, a count of ticks is divided by 10^n. The reciprocal of that stands here as the sum of `high`, which has so
/// few bits that its product with a count below `limit` is exact, and `low`, the rest. The sum of the two products is
/// off by less than the distance of the quotient from the middle between two doubles, so it is the double nearest to
/// the quotient: the same that multiplication by the factor (exact for such counts) and division by the frequency give.
struct Unit
{
    __int64 factor; ///< of a second; 0 for raw ticks and for what is no unit
    unsigned __int64 limit = 0;
    double high = 0.0;
    double low = 0.0;
};

constexpr Unit MakeUnit(__int64 factor, unsigned limitBits, unsigned highScaleBits)
{
    unsigned __int64 const divisor = static_cast<unsigned __int64>(kUsualFrequency / factor);
    unsigned __int64 const one = 1;
    unsigned __int64 const scale = one << highScaleBits;
    double const doubleScale = static_cast<double>(scale);
    return {factor, one << limitBits, static_cast<double>(scale / divisor) / doubleScale,
            static_cast<double>(scale % divisor) / (static_cast<double>(divisor) * doubleScale)};
}

constexpr Unit kTicks{0};
constexpr Unit kSeconds = MakeUnit(1, 27, 49);
constexpr Unit kMilliseconds = MakeUnit(1'000, 36, 30);
constexpr Unit kMicroseconds = MakeUnit(1'000'000, 39, 16);
constexpr Unit kNanoseconds{1'000'000'000, 0x100000000, 100.0, 0.0};

constexpr Unit const & UnitOf(ETimeUnit unit) noexcept
{
    switch (unit)
    {
    case TimeUnitSeconds:
        return kSeconds;
    case TimeUnitMilliseconds:
        return kMilliseconds;
    case TimeUnitMicroseconds:
        return kMicroseconds;
    case TimeUnitNanoseconds:
        return kNanoseconds;
    default:
        return kTicks;
    }
}

/// Cut off; a number out of range, and one that is none, as processors store it.
constexpr __int64 Truncate(double value) noexcept
{
    constexpr double kLimit = 9223372036854775808.0;
    return value >= -kLimit && value < kLimit ? static_cast<__int64>(value) : kLowest;
}

} // namespace

CTLStopWatch::CTLStopWatch(bool start)
{
    InitializeHighResolutionTimer();
    if (start)
        Start(true);
}

void CTLStopWatch::InitializeHighResolutionTimer() noexcept
{
    if (m_bCounterInitialized.load(kRelaxed))
        return;
    m_bCounterInitialized.store(true, kRelaxed);
    LARGE_INTEGER frequency;
    bool const present = QueryPerformanceFrequency(&frequency) != FALSE;
    m_nGlobalFrequency.store(present ? frequency.QuadPart : 1000, kRelaxed);
    m_bCounterPresent.store(present, kRelaxed);
}

bool CTLStopWatch::IsHighResolution() noexcept
{
    InitializeHighResolutionTimer();
    return m_bCounterPresent.load(kRelaxed);
}

__int64 CTLStopWatch::Frequency() noexcept
{
    InitializeHighResolutionTimer();
    return m_nGlobalFrequency.load(kRelaxed);
}

__int64 CTLStopWatch::GetRawReading() noexcept
{
    if (!m_bCounterPresent.load(kRelaxed)) [[unlikely]]
        return static_cast<__int64>(GetTickCount());
    return host::PerformanceCount();
}

__int64 CTLStopWatch::GetRawElapsedTime(__int64 start, __int64 end) noexcept
{
    return end < start ? Add(end, Subtract(kHighest, start)) : Subtract(end, start);
}

bool CTLStopWatch::Start(bool reset)
{
    if (m_running && !reset)
        return false;
    if (reset)
        Reset();
    m_running = true;
    m_start = GetRawReading();
    return true;
}

bool CTLStopWatch::Stop()
{
    if (!m_running)
        return false;
    m_running = false;
    m_accumulated = Add(m_accumulated, GetRawElapsedTime(m_start, GetRawReading()));
    return true;
}

void CTLStopWatch::Reset() noexcept
{
    m_start = 0;
    m_accumulated = 0;
    m_running = false;
}

double CTLStopWatch::GetReading(ETimeUnit unit) const
{
    return m_running ? GetSampleReading(unit) : GetFinalReading(unit);
}

double CTLStopWatch::GetSampleReading(ETimeUnit unit) const
{
    if (!m_running)
        return -1.0;
    return ConvertTime(Add(m_accumulated, GetRawElapsedTime(m_start, GetRawReading())), unit);
}

double CTLStopWatch::GetFinalReading(ETimeUnit unit) const
{
    if (m_running)
        return -1.0;
    return ConvertTime(m_accumulated < 0 ? m_accumulated + kHighest : m_accumulated, unit);
}

double CTLStopWatch::ConvertTime(__int64 ticks, ETimeUnit unit) noexcept
{
    Unit const & to = UnitOf(unit);
    __int64 const frequency = m_nGlobalFrequency.load(kRelaxed);
    double const exact = static_cast<double>(ticks);
    if (static_cast<unsigned __int64>(ticks) < to.limit && frequency == kUsualFrequency) [[likely]]
        return exact * to.high + exact * to.low;
    if (to.factor == 0)
        return exact;
    // The product comes first and may wrap, on purpose: small values stay exact so.
    return static_cast<double>(Multiply(ticks, to.factor)) / static_cast<double>(frequency);
}

double CTLStopWatch::ConvertTime(double value, ETimeUnit from, ETimeUnit to) noexcept
{
    return from == to ? value : ConvertTime(ConvertTimeToTicks(value, from), to);
}

double CTLStopWatch::ConvertTimeToSeconds(__int64 ticks) noexcept
{
    return static_cast<double>(ticks) / static_cast<double>(m_nGlobalFrequency.load(kRelaxed));
}

__int64 CTLStopWatch::ConvertTimeToTicks(double value, ETimeUnit unit) noexcept
{
    __int64 const factor = UnitOf(unit).factor;
    return factor == 0 ? Truncate(value)
                       : Truncate(static_cast<double>(m_nGlobalFrequency.load(kRelaxed)) * value) / factor;
}

double CTLQuickStopWatch::GetReading(ETimeUnit unit) const noexcept
{
    return CTLStopWatch::GetElapsedTime(m_start, CTLStopWatch::GetRawReading(), unit);
}

double CTLQuickStopWatch::GetReadingInSeconds() const noexcept
{
    return CTLStopWatch::ConvertTimeToSeconds(CTLStopWatch::GetRawElapsedTime(m_start, CTLStopWatch::GetRawReading()));
}

void CTLTimer::SetTimeout(unsigned long timeout, ETimeUnit unit)
{
    m_timeout = internal::NarrowULong(timeout);
    m_unit = unit;
}

unsigned long CTLTimer::GetRemainingTime(ETimeUnit unit) const
{
    // More than the time-out can say, a conversion that wrapped below zero among it, is over.
    constexpr double kMost = 4294967295.0;
    double const elapsed = static_cast<double>(Truncate(m_watch.GetReading(m_unit)));
    if (elapsed < 0.0 || static_cast<double>(m_timeout) <= elapsed)
        return 0;

    double remaining = static_cast<double>(m_timeout) - elapsed;
    if (unit != m_unit)
        remaining = CTLStopWatch::ConvertTime(CTLStopWatch::ConvertTimeToTicks(remaining, m_unit), unit);
    return remaining >= 0.0 && remaining <= kMost ? static_cast<unsigned long>(remaining) : 0xFFFFFFFFUL;
}

} // namespace qvlib
