#include "qvlib/StopWatch.h"
#include "qvlib/Exceptions.h"
#include "qvlib/host/clock.h"

#include <gtest/gtest.h>

#include <limits>

using qvlib::CTLQuickStopWatch;
using qvlib::CTLStopWatch;
using qvlib::CTLTimer;
using qvlib::ETimeUnit;
using qvlib::host::ManualClock;
using namespace qvlib; // the units

namespace
{

using Ticks = __int64;
constexpr Ticks kHighest = std::numeric_limits<__int64>::max();
constexpr ETimeUnit kNoUnit = static_cast<ETimeUnit>(4);

/// Puts the tick counter in place of the high-resolution one, as on a machine without it.
struct NoCounter : CTLStopWatch
{
    NoCounter()
    {
        m_bCounterPresent = false;
        m_nGlobalFrequency = 1000;
    }
    ~NoCounter()
    {
        m_bCounterInitialized = false;
        InitializeHighResolutionTimer();
    }
};

} // namespace

TEST(StopWatch, AddsUpItsRuns)
{
    ManualClock clock;
    CTLStopWatch watch;
    EXPECT_FALSE(watch.IsRunning() || watch.Stop());
    EXPECT_EQ(watch.GetReading(TimeUnitSeconds), 0.0);
    EXPECT_EQ(watch.GetSampleReading(TimeUnitSeconds), -1.0);
    EXPECT_TRUE(watch.Start(false));
    clock.Advance(20);
    EXPECT_FALSE(watch.Start(false)); // the mark stays
    EXPECT_EQ(watch.GetReading(TimeUnitMilliseconds), 20.0);
    EXPECT_EQ(watch.GetFinalReading(TimeUnitMilliseconds), -1.0);
    EXPECT_TRUE(watch.Stop());
    clock.Advance(1000);
    EXPECT_EQ(watch.GetReading(TimeUnitMilliseconds), 20.0);
    EXPECT_TRUE(watch.Start(false)); // goes on
    clock.AdvanceCounts(5);
    EXPECT_EQ(watch.GetSampleReading(TimeUnitNanoseconds), 20'000'500.0);
    EXPECT_TRUE(watch.Stop());
    EXPECT_EQ(watch.GetFinalReading(TimeUnitTicks), 200'005.0);
    EXPECT_TRUE(watch.Start(true));
    clock.Advance(1);
    EXPECT_EQ(watch.GetReading(TimeUnitMicroseconds), 1000.0);
    EXPECT_TRUE(watch.ReStart());
    EXPECT_EQ(watch.GetReading(TimeUnitTicks), 0.0);
    watch.Reset();
    EXPECT_FALSE(watch.IsRunning());
    EXPECT_TRUE(CTLStopWatch(true).IsRunning());

    CTLQuickStopWatch quick;
    clock.Advance(1500);
    EXPECT_EQ(quick.GetReadingInSeconds(), 1.5);
    EXPECT_EQ(quick.GetReading(TimeUnitMilliseconds), 1500.0);
    EXPECT_EQ(quick.GetReading(kNoUnit), 15'000'000.0);
    quick.ReStart();
    EXPECT_EQ(quick.GetReading(TimeUnitTicks), 0.0);
}

TEST(StopWatch, ConvertsTicksByMultiplyingFirst)
{
    EXPECT_TRUE(CTLStopWatch::IsHighResolution());
    ASSERT_EQ(CTLStopWatch::Frequency(), 10'000'000);
    struct
    {
        ETimeUnit unit;
        double ofTicks;  // 12345 ticks
        __int64 toTicks; // of 2.5
    } const rows[] = {
        {TimeUnitSeconds, 0.0012345, 25'000'000},
        {TimeUnitMilliseconds, 1.2345, 25'000},
        {TimeUnitMicroseconds, 1234.5, 25},
        {TimeUnitNanoseconds, 1'234'500, 0},
        {TimeUnitTicks, 12345, 2},
        {kNoUnit, 12345, 2},
    };
    for (auto const & row : rows)
    {
        EXPECT_EQ(CTLStopWatch::ConvertTime(Ticks{12345}, row.unit), row.ofTicks) << row.unit;
        EXPECT_EQ(CTLStopWatch::ConvertTime(Ticks{-12345}, row.unit), -row.ofTicks) << row.unit;
        EXPECT_EQ(CTLStopWatch::GetElapsedTime(55, 12400, row.unit), row.ofTicks) << row.unit;
        EXPECT_EQ(CTLStopWatch::ConvertTimeToTicks(2.5, row.unit), row.toTicks) << row.unit;
        EXPECT_EQ(CTLStopWatch::ConvertTime(0.1, row.unit, row.unit), 0.1) << row.unit; // not by way of ticks
    }
    EXPECT_EQ(CTLStopWatch::ConvertTime(0.5, TimeUnitMilliseconds, TimeUnitMicroseconds), 500.0);
    EXPECT_EQ(CTLStopWatch::ConvertTime(7.0, TimeUnitNanoseconds, TimeUnitMicroseconds), 0.0); // less than a tick
    EXPECT_EQ(CTLStopWatch::ConvertTimeToSeconds(25'000'000), 2.5);

    // Every quotient is the nearest double: the same as a division by the frequency.
    for (Ticks ticks = 1; ticks < Ticks{1} << 52; ticks += ticks / 300 + 1)
    {
        double const exact = static_cast<double>(ticks);
        ASSERT_EQ(CTLStopWatch::ConvertTime(ticks, TimeUnitSeconds), exact / 1e7) << ticks;
        if (ticks < Ticks{1} << 43)
        {
            ASSERT_EQ(CTLStopWatch::ConvertTime(-ticks, TimeUnitMilliseconds), -exact * 1e3 / 1e7) << ticks;
        }
        if (ticks < Ticks{1} << 33)
        {
            ASSERT_EQ(CTLStopWatch::ConvertTime(ticks, TimeUnitNanoseconds), exact * 1e9 / 1e7) << ticks;
            ASSERT_EQ(CTLStopWatch::ConvertTime(ticks, TimeUnitMicroseconds), exact * 1e6 / 1e7) << ticks;
        }
    }
}

TEST(StopWatch, NumbersWithoutEndWrapAndStop)
{
    EXPECT_EQ(CTLStopWatch::GetRawElapsedTime(5, 10), 5);
    EXPECT_EQ(CTLStopWatch::GetRawElapsedTime(10, 5), 5 + (kHighest - 10)); // the counter began anew
    EXPECT_EQ(CTLStopWatch::GetRawElapsedTime(-1, kHighest), std::numeric_limits<__int64>::min());
    EXPECT_EQ(CTLStopWatch::GetRawElapsedTime(kHighest, std::numeric_limits<__int64>::min()),
              std::numeric_limits<__int64>::min());
    // Nanoseconds hold for 922 seconds; then the product wraps, on purpose.
    EXPECT_EQ(CTLStopWatch::ConvertTime(Ticks{9'220'000'000}, TimeUnitNanoseconds), 922e9);
    EXPECT_LT(CTLStopWatch::ConvertTime(Ticks{9'230'000'000}, TimeUnitNanoseconds), 0.0);
    for (double const much : {1e300, -1e300, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(CTLStopWatch::ConvertTimeToTicks(much, TimeUnitTicks), std::numeric_limits<__int64>::min());
}

TEST(StopWatch, WithoutTheCounterItCountsMilliseconds)
{
    ManualClock clock(0xFFFFFFFF);
    NoCounter const none;
    EXPECT_FALSE(CTLStopWatch::IsHighResolution());
    EXPECT_EQ(CTLStopWatch::GetRawPerfCounterReading(), 0xFFFFFFFF);
    CTLQuickStopWatch quick;
    clock.Advance(1);
    EXPECT_EQ(CTLStopWatch::GetRawReading(), 0);
    EXPECT_EQ(CTLStopWatch::GetPerfCounterReading(TimeUnitSeconds), 0.0);
    quick.ReStart();
    clock.Advance(250);
    EXPECT_EQ(quick.GetReading(TimeUnitMicroseconds), 250'000.0);
}

TEST(Timer, TellsWhatIsLeftInWholeUnits)
{
    ManualClock clock;
    CTLTimer timer;
    EXPECT_TRUE(timer.TimeoutExpired());
    timer.SetTimeout(5, TimeUnitSeconds);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitMilliseconds), 5000UL); // not started: all of it
    EXPECT_TRUE(timer.Start(true));
    EXPECT_FALSE(timer.Start(false));
    clock.Advance(1999);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitSeconds), 4UL);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitMicroseconds), 4'000'000UL); // 1.999 seconds are one whole second
    EXPECT_TRUE(timer.Stop());
    clock.Advance(10'000);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitSeconds), 4UL);
    EXPECT_TRUE(timer.Start(false)); // goes on
    clock.Advance(3000);
    EXPECT_FALSE(timer.TimeoutExpired());
    clock.Advance(1);
    EXPECT_TRUE(timer.TimeoutExpired());
    EXPECT_TRUE(timer.ReStart() && timer.IsRunning());
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitSeconds), 5UL);

    CTLTimer micro(900, TimeUnitMicroseconds);
    EXPECT_TRUE(micro.TimeoutExpired()); // less than a millisecond
    EXPECT_EQ(micro.GetRemainingTime(TimeUnitMicroseconds), 900UL);
}

TEST(Timer, TakesLongTimesAsNumbers)
{
    ManualClock clock;
    CTLTimer timer(~0UL, TimeUnitMilliseconds); // all ones of either width
    timer.Start(true);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitMilliseconds), 0xFFFFFFFFUL);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitSeconds), 4'294'967UL);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitMicroseconds), 0xFFFFFFFFUL); // no more is to be said
    clock.Advance(0xFFFFFFFE);
    EXPECT_EQ(timer.GetRemainingTime(TimeUnitMilliseconds), 1UL); // about 49.7 days, and not without end
    clock.Advance(1);
    EXPECT_TRUE(timer.TimeoutExpired());
    clock.Advance(10);
    EXPECT_TRUE(timer.TimeoutExpired()); // and it stays so
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_THROW(timer.SetTimeout(0x100000000UL, TimeUnitSeconds), qvlib::argument_out_of_range_exception);
    }
}
