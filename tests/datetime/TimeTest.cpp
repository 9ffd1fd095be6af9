#include "qvlib/Time.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/crt_time.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace qvlib;

TEST(Time, MovesAroundMidnight)
{
    CTime time(23, 59, 0);
    time.AddMinutes(2);
    EXPECT_TRUE(time.Format(L"%H:%M:%S") == L"00:01:00");
    time.AddMinutes(-2);
    EXPECT_EQ(time.GetHour(), 23U);
    EXPECT_EQ(time.GetMinute(), 59U);
    time.AddSeconds(-86400);
    EXPECT_EQ(time.GetSecond(), 0U);
    time += CTimeSpan(5.5);
    EXPECT_GE(time, 0);
    EXPECT_LT(time, 1);
}

TEST(Time, OnlySomeSettersNormalise)
{
    CTime time;
    time.SetValue(-0.75);
    EXPECT_EQ(time, 0.25);
    time.SetValue(3.25);
    EXPECT_EQ(time, 0.25);
    time.SetValue(5000000000.25);
    EXPECT_EQ(time, 0.25) << "further off than an int counts";
    time.SetValue(-1e-20);
    EXPECT_EQ(time, 0.0) << "the sum with 1 rounds to 1, which is out of the range";
    // These take the fraction with its sign, or the number as it is, on purpose.
    EXPECT_EQ(CTime(-1.25), -0.25);
    EXPECT_EQ(CTime(CDateTime(-1.25)), -0.25);
    EXPECT_EQ(CTime(0.25) - CTimeSpan(0.5), -0.25);
    time = 7.5;
    EXPECT_EQ(time, 7.5);
}

TEST(Time, IsReadWithoutItsDate)
{
    CTime time(0.5);
    EXPECT_FALSE(time.ParseTime(L"noon", 0, 0x409));
    EXPECT_FALSE(time.SetTime(24, 0, 0));
    EXPECT_EQ(time, 0.5);
    EXPECT_TRUE(time.ParseTime(L"1/2/2023 6:00 am", 0, 0x409));
    EXPECT_EQ(time, 0.25);
    EXPECT_TRUE(time.FromSystemTime({2023, 1, 0, 2, 18, 0, 0, 0}));
    EXPECT_EQ(time, 0.75);
    EXPECT_TRUE(time.Format(0UL, 0x409UL) == L"6:00:00 PM");
    time = std::numeric_limits<double>::infinity();
    EXPECT_THROW(time.GetHour(), unexpected_error);
}

TEST(Time, TheMinuteOfTheDayHasNoBias)
{
    double const almostTen = 600.0 / 1440.0 - 1e-12;
    EXPECT_EQ(CTime::GetMinuteOfTheDay(almostTen), 599U);
    EXPECT_EQ(CDateTime::GetMinuteOfTheDay(almostTen), 600U);
}

TEST(TimeSpan, KeepsToMilliseconds)
{
    EXPECT_EQ(CTimeSpan(1.5 / 86400000.0).GetTotalMilliseconds(), 2.0);
    EXPECT_EQ(CTimeSpan(0, 0, 0, 1, 500).GetTotalMilliseconds(), 1500.0);
    EXPECT_EQ(CTimeSpan(1, 1, 1, 1, 1).GetTotalMilliseconds(), 90061001.0);
    EXPECT_EQ(CTimeSpan().SetHourSpan(1.5).GetTotalMinutes(), 90.0);
    EXPECT_EQ(CTimeSpan().SetMinuteSpan(-2).GetTotalSeconds(), -120.0);
    EXPECT_EQ(CTimeSpan().SetSecondsSpan(0.0004).GetSpan(), 0.0);
    CTimeSpan const third = 1.0 / 3;
    EXPECT_EQ((third + third + third).GetTotalMilliseconds(), 86400000.0);
    EXPECT_EQ(-third + third, 0);
    EXPECT_EQ(CTimeSpan(std::nan("")), 0);
}

TEST(TimeSpan, RunningSumsStayRaw)
{
    CTimeSpan const day = 1.0;
    CTimeSpan sum = 1.0 / 3;
    double const raw = sum.GetSpan() + 0.1;
    CTimeSpan tenth = 0.1;
    sum += tenth;
    EXPECT_EQ(sum.GetSpan(), CTimeSpan(1.0 / 3).GetSpan() + tenth.GetSpan());
    EXPECT_NEAR(sum.GetSpan(), raw, 1e-15);
    EXPECT_GT(day, sum);
}

TEST(TimeSpan, PartsAddUpToTheSpan)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<int> milliseconds(0, 400000000);
    for (int i = 0; i < 20000; ++i)
    {
        int const total = milliseconds(random);
        CTimeSpan const span = CTimeSpan().SetMillisecondsSpan(total);
        ASSERT_EQ(span.GetDays(), total / 86400000) << total;
        ASSERT_EQ(span.GetHours(), total / 3600000 % 24) << total;
        ASSERT_EQ(span.GetMilliseconds(), total % 1000) << total;
        ASSERT_EQ(span.GetTotalMilliseconds(), total) << total;
    }
    CTimeSpan const ninety(0, 0, 90, 0, 0);
    EXPECT_EQ(ninety.GetHours(), 1);
    EXPECT_EQ(ninety.GetMinutes(), 30);
    EXPECT_EQ(ninety.GetFullMinutes(), 90);
    EXPECT_EQ(CTimeSpan(0, -1.5, 0, 0, 0).GetPartialHours(), -2);
    EXPECT_EQ(CTimeSpan(0, 1.5, 0, 0, 0).GetPartialHours(), 2);
    EXPECT_EQ(CTimeSpan(1e6).GetFullMilliseconds(), std::numeric_limits<int>::min()) << "more than an int holds";
}

TEST(TimeSpan, TextOfTheParts)
{
    EXPECT_TRUE(CTimeSpan(2, 3, 0, 0, 5).ToString() == L"2. 3. 0. 0.  5");
    EXPECT_TRUE(CTimeSpan().ToString() == L"0. 0. 0. 0.  0");
    EXPECT_TRUE(CTimeSpan(12, 23, 59, 58, 999).ToString() == L"12.23.59.59.999") << "seconds are rounded";
}

TEST(TimeSpan, TextOfTheTimeRemaining)
{
    EXPECT_TRUE(CTimeSpan(2, 3, 4, 0, 0).ToStringAsTimeRemaining() == L"2 days 3 hours");
    EXPECT_TRUE(CTimeSpan(3, 0, 0, 5, 0).ToStringAsTimeRemaining() == L"3 days 5 seconds");
    EXPECT_TRUE(CTimeSpan(1.0).ToStringAsTimeRemaining() == L"1 day");
    EXPECT_TRUE(CTimeSpan().ToStringAsTimeRemaining().IsEmpty());
    EXPECT_TRUE(CTimeSpan(0, 0, 0, 59.6, 0).ToStringAsTimeRemaining(Seconds) == L"1 minute");
    EXPECT_TRUE(CTimeSpan(0, 0, 0, 59.6, 0).ToStringAsTimeRemaining() == L"59 seconds 600 milliseconds");
    EXPECT_TRUE(CTimeSpan(0, 0, 0, 0.4, 0).ToStringAsTimeRemaining(Seconds).IsEmpty());
}

TEST(Time, MovesBetweenGmtAndLocalTimeWithItsDays)
{
    struct Case
    {
        int minutesEast;
        CTime gmt;
        CTime local;
        wchar_t const * localDays;
    };
    Case const cases[] = {{-300, CTime(23, 0, 0), CTime(18, 0, 0), L"(Monday)"},
                          {-300, CTime(2, 0, 0), CTime(21, 0, 0), L"(Sunday)"},
                          {330, CTime(20, 0, 0), CTime(1, 30, 0), L"(Tuesday)"},
                          {0, CTime(0, 0, 0), CTime(0, 0, 0), L"(Monday)"}};
    for (Case const & test : cases)
    {
        host::SetClock([] { return std::int64_t{0}; }, test.minutesEast);
        CTime time = test.gmt;
        DaysOfWeek days;
        days.AddMonday();
        EXPECT_TRUE(time.ConvertGMTTimeToLocalTime(days));
        EXPECT_NEAR(time, test.local, 1e-11);
        EXPECT_TRUE(days.ToString() == test.localDays);
        EXPECT_TRUE(time.ConvertLocalTimeToGMTTime(days));
        EXPECT_NEAR(time, test.gmt, 1e-11);
        EXPECT_TRUE(days.HasMonday());
        host::SetClock(nullptr);
    }
}
