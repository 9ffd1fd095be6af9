#include "qvlib/DateTime.h"

#include "qvlib/Exceptions.h"
#include "qvlib/JulianDate.h"
#include "qvlib/Time.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/crt_time.h"
#include "qvlib/host/resources.h"

#include <climits>
#include <gtest/gtest.h>
#include <limits>

using namespace qvlib;

namespace
{

constexpr double kBeyond = 1e10; // no calendar holds it

CDateTime Day(int year, int month, int day) { return {year, month, day, 0, 0, 0}; }

} // namespace

TEST(DateTime, PortionsOfTheSerial)
{
    CDateTime date(-2.75);
    EXPECT_EQ(date.GetDatePortion(), -2);
    EXPECT_EQ(date.GetTimePortion(), -0.75);
    date = 44928.4375;
    EXPECT_FALSE(date.IsDateOnly() || date.IsTimeOnly() || date.IsNull());
    date.SetDatePortion(5);
    EXPECT_EQ(date, 5.4375);
    date.SetTimePortion(0.25);
    EXPECT_EQ(date, 5.25);
    date.ClearTimePortion();
    EXPECT_TRUE(date.IsDateOnly() && date == 5);
    date.SetMinuteOfTheDay(60);
    EXPECT_EQ(date.GetHour(), 1U);
    date.ClearDatePortion();
    EXPECT_TRUE(date.IsTimeOnly());
    EXPECT_EQ(CDateTime::GetJulianDate(-1.5), 0xFFFFFFFFUL);
    date = 4294967295.25; // further off than an int counts
    EXPECT_EQ(date.GetTimePortion(), 0.25);
    date.SetTimePortion(0.0);
    EXPECT_TRUE(date.IsDateOnly() && date == 4294967295.0);
    EXPECT_TRUE(CDateTime().IsNull());
}

TEST(DateTime, TimeFieldsNeverReadOneUnitLow)
{
    for (int second = 7; second < 86400; second += 7)
    {
        CDateTime date = Day(2023, 5, 14);
        date.SetSecondOfTheDay(second);
        for (double const error : {0.0, -1e-9, 1e-9})
        {
            CDateTime const stored = date.GetValue() + error;
            ASSERT_EQ(stored.GetHour(), static_cast<unsigned>(second / 3600)) << second;
            ASSERT_EQ(stored.GetMinute(), static_cast<unsigned>(second / 60 % 60)) << second;
            ASSERT_EQ(stored.GetSecond(), static_cast<unsigned>(second % 60)) << second;
        }
    }
}

TEST(DateTime, WeekdaysCountFromSerialOne)
{
    EXPECT_EQ(CDateTime(1.0).GetDayOfTheWeek(), Sunday);
    EXPECT_EQ(CDateTime(2.9).GetDayOfTheWeek(), Monday);
    EXPECT_EQ(Day(2024, 2, 29).GetDayOfTheWeek(), Thursday);
}

TEST(DateTime, TheLeapYearRuleIsItsOwn)
{
    for (unsigned long const leap : {2000UL, 2024UL, 1000UL, 3000UL, 0UL})
    {
        EXPECT_TRUE(CDateTime::IsLeapYear(leap)) << leap;
    }
    for (unsigned long const common : {1900UL, 2100UL, 1600UL, 2400UL, 2023UL})
    {
        EXPECT_FALSE(CDateTime::IsLeapYear(common)) << common;
    }
    EXPECT_EQ(CDateTime::DaysInMonthOneBased(2023, 2), 28);
    EXPECT_EQ(CDateTime::DaysInMonth(2024, 1), 29);
    EXPECT_EQ(CDateTime::DaysInMonth(2023, 12), 0);
    EXPECT_EQ(CDateTime::DaysInMonth(2023, December), 31);
    EXPECT_EQ(CDateTime::DaysInMonth(2023, InvalidMonth), 0);
    EXPECT_EQ(CDateTime::DaysInMonth(2023, static_cast<ECalendarMonth>(INT_MAX)), 0);
    EXPECT_EQ(CDateTime::DaysInMonthOneBased(2023, 0), 0);
    // It decides what the setters allow, though the platform knows the day.
    CDateTime date = Day(2400, 2, 1);
    EXPECT_FALSE(date.SetDay(29));
    EXPECT_EQ(Day(2400, 2, 29).GetDay(), 29U);
}

TEST(DateTime, MonthsAndYearsKeepTheDayWithinItsMonth)
{
    struct Case
    {
        CDateTime from;
        int months;
        CDateTime to;
    };
    Case const cases[] = {{Day(2023, 1, 31), 1, Day(2023, 2, 28)},    {Day(2023, 3, 31), -1, Day(2023, 2, 28)},
                          {Day(2023, 1, 15), -13, Day(2021, 12, 15)}, {Day(2023, 12, 31), 2, Day(2024, 2, 29)},
                          {Day(2023, 1, 1), -1, Day(2022, 12, 1)},    {Day(2023, 12, 1), 12, Day(2024, 12, 1)},
                          {Day(9999, 12, 1), 1, Day(9999, 12, 1)},    {Day(2023, 7, 4), -24, Day(2021, 7, 4)}};
    for (Case const & test : cases)
    {
        CDateTime date = test.from + 0.25;
        date.AddMonths(test.months);
        EXPECT_EQ(date, test.to + 0.25) << test.from.GetValue() << " and " << test.months;
    }
    CDateTime leap = Day(2024, 2, 29);
    leap.AddYears(1);
    EXPECT_EQ(leap, Day(2025, 2, 28));
    leap.AddYears(INT_MAX);
    EXPECT_EQ(leap, Day(2025, 2, 28)) << "what cannot be folded changes nothing";
    EXPECT_THROW(leap.AddMonths(32767 * 12), unexpected_error);
    CDateTime beyond(kBeyond);
    EXPECT_THROW(beyond.AddMonths(1), unexpected_error);
    EXPECT_THROW(beyond.AddYears(1), unexpected_error);
}

TEST(DateTime, FieldsAreSetOrRefused)
{
    CDateTime date(2023, 1, 31, 10, 20, 30);
    EXPECT_FALSE(date.SetYear(1752) || date.SetYear(2079) || date.SetMonth(0) || date.SetMonth(13));
    EXPECT_FALSE(date.SetDay(0) || date.SetDay(32) || date.SetHour(24) || date.SetMinute(-1) || date.SetSecond(60));
    EXPECT_FALSE(date.SetHour(65536 + 5)) << "a field is not cut to its 16 bits";
    EXPECT_FALSE(date.SetDate(2023, 13, 1) || date.SetDateTime(10000, 1, 1, 0, 0, 0));
    EXPECT_EQ(date, CDateTime(2023, 1, 31, 10, 20, 30));
    EXPECT_TRUE(date.SetYear(1753) && date.SetMonth(3) && date.SetDay(5) && date.SetHour(1) && date.SetMinute(2));
    EXPECT_TRUE(date.SetSecond(3) && date.SetMilliseconds(999));
    EXPECT_EQ(date, CDateTime(1753, 3, 5, 1, 2, 3));
    EXPECT_TRUE(date.SetTime(18, 0, 0));
    EXPECT_EQ(date, 0.75) << "the date is given up";
    CDateTime beyond(kBeyond);
    EXPECT_THROW(beyond.SetYear(2000), unexpected_error);
    EXPECT_THROW(beyond.GetYear(), unexpected_error);
    SYSTEMTIME time;
    EXPECT_FALSE(beyond.ToSystemTime(time));
    EXPECT_THROW(beyond.ToSystemTime(), unexpected_error);
}

TEST(DateTime, ComparesToTheMillisecond)
{
    EXPECT_EQ(CDateTime::CompareToMilisecondResolution(1.0, 1.0 + 1e-9), 0);
    EXPECT_EQ(CDateTime::CompareToMilisecondResolution(1.0, 1.0 + 2e-8), -1);
    EXPECT_EQ(CDateTime::CompareToMilisecondResolution(3.0, 1.5), 1);
    EXPECT_EQ(CDateTime(1.0).Compare(1.0 + 1e-9), -1);
}

TEST(DateTime, SumsOfNumbersAndSpans)
{
    CDateTime const date = Day(2023, 1, 1);
    EXPECT_EQ(date + CTimeSpan(0, 12, 0, 0, 0), 44927.5);
    EXPECT_EQ(date - 1, 44926);
    EXPECT_EQ((date + 1.5 - date).GetTotalHours(), 36.0);
    CDateTime moved = date;
    moved.AddWeeks(1);
    moved.AddDays(-7);
    moved.AddHours(6);
    EXPECT_EQ(moved, 44927.25);
}

TEST(DateTime, TheClockGivesLocalSeconds)
{
    qvlib::host::SetClock([] { return std::int64_t{1672617600}; }, 90); // 2 January 2023 in GMT
    CDateTime const now = CDateTime::Now();
    EDayOfWeek const today = DayOfWeekX::TodaysDay();
    CJulianDate const day = CJulianDate::Now();
    CTime const time = CTime::Now();
    CDateTime const dateOnly = CDateTime::NowDateOnly();
    qvlib::host::SetClock([] { return std::int64_t{-1}; });
    CDateTime const none = CDateTime::Now();
    qvlib::host::SetClock(nullptr);
    EXPECT_EQ(now, CDateTime(2023, 1, 2, 1, 30, 0));
    EXPECT_EQ(today, Monday);
    EXPECT_EQ(day, 44928);
    EXPECT_EQ(time.GetMinute(), 30U);
    EXPECT_EQ(dateOnly, 44928);
    EXPECT_TRUE(none.IsNull());
}

TEST(DateTimeText, FormatsByLetters)
{
    CDateTime const date(2023, 1, 31, 9, 5, 7);
    EXPECT_TRUE(date.Format(L"%Y-%m-%d %H:%M:%S") == L"2023-01-31 09:05:07");
    EXPECT_TRUE(date.Format(L"%#d. %B %A %j %U%%") == L"31. January Tuesday 031 05%");
    EXPECT_TRUE(date.Format(std::wstring(255, L'x').c_str()).GetLength() == 255);
    EXPECT_TRUE(date.Format(std::wstring(256, L'x').c_str()).IsEmpty()) << "longer text does not fit";
    EXPECT_TRUE(CDateTime(kBeyond).Format(L"%Y") == L"Invalid DateTime");
    EXPECT_TRUE(CDateTime(kBeyond).ToString() == L"Invalid DateTime");
    EXPECT_THROW(date.Format(static_cast<wchar_t const *>(nullptr)), COleException);
}

TEST(DateTimeText, ResourcesGiveFormatsAndTheInvalidText)
{
    host::SetTextResource(0xD800, L"no date");
    host::SetTextResource(77, L"%Y");
    EXPECT_TRUE(CDateTime(kBeyond).Format(0UL, 0x409UL) == L"no date");
    EXPECT_TRUE(Day(1999, 1, 1).Format(77U) == L"1999");
    host::RemoveTextResource(0xD800);
    host::RemoveTextResource(77);
    EXPECT_THROW(Day(1999, 1, 1).Format(77U), COleException);
}

TEST(DateTimeText, ValidFormatsAreToldInTheirOwnWay)
{
    for (wchar_t const * valid : {L"%Y-%m-%d", L"abc", L"%#x", L"%%d", L"%d%%%d"})
    {
        EXPECT_TRUE(CDateTime::ValidFormatString(valid)) << valid;
    }
    for (wchar_t const * invalid : {L"%Q", L"%", L"100%%", L"", L"%#", L"%d%", L"%%%%"})
    {
        EXPECT_FALSE(CDateTime::ValidFormatString(invalid)) << invalid;
    }
    EXPECT_FALSE(CDateTime::ValidFormatString(nullptr));
    EXPECT_TRUE(Day(1899, 1, 2).TryFormat(L"%y").IsEmpty());
    EXPECT_TRUE(Day(1899, 1, 2).TryFormat(L"%Y") == L"1899");
    EXPECT_TRUE(Day(1899, 1, 2).TryFormat(L"%Q").IsEmpty());
}

TEST(DateTimeText, ParsesOrKeepsItsValue)
{
    CDateTime date = 5;
    EXPECT_FALSE(date.ParseDateTime(L"no date", 0, 0x409));
    EXPECT_FALSE(date.ParseDateTime(nullptr, 0, 0x409));
    EXPECT_EQ(date, 5);
    EXPECT_TRUE(date.ParseDateTime(L"2/1/2023 6:00 pm", 0, 0x409));
    EXPECT_EQ(date, CDateTime(2023, 2, 1, 18, 0, 0));
    EXPECT_TRUE(date.FromString(date.ToString()));
    EXPECT_EQ(date, CDateTime(2023, 2, 1, 18, 0, 0));
    EXPECT_THROW(CDateTime::Parse(L"", 0, 0x409), unexpected_error);
    EXPECT_TRUE(CDateTime(2023, 2, 1, 18, 0, 0).Format(2UL, 0x407UL) == L"01.02.2023");
}

TEST(JulianDate, CountsWholeDays)
{
    CJulianDate day(2023, 1, 31);
    EXPECT_EQ(day, 44957);
    EXPECT_EQ(day.GetYear(), 2023U);
    EXPECT_EQ(day.GetCalendarMonth(), January);
    day.AddMonths(1);
    EXPECT_EQ(day, CJulianDate(2023, 2, 28));
    day.AddDays(1);
    day.AddYears(-3);
    EXPECT_EQ(day.GetMonth(), 3U);
    EXPECT_FALSE(day.SetDate(2023, 13, 1));
    EXPECT_EQ(day, CJulianDate(2020, 3, 1));
    EXPECT_EQ(CJulianDate(CDateTime(44957.9)), 44957);
    EXPECT_EQ(day + CTimeSpan(0.5), day.ToDateTime() + 0.5);
    EXPECT_EQ(day + CTime(6, 0, 0), day.ToDateTime() + 0.25);
    EXPECT_FALSE(day.ParseDate(L"no day", 0, 0x409));
    EXPECT_TRUE(day.ParseDate(L"1/31/2023 5:00 pm", 0, 0x409));
    EXPECT_EQ(day, 44957);
    EXPECT_TRUE(day.Format(L"%d.%m.%Y") == L"31.01.2023");
}

TEST(JulianDate, TheDifferenceIsUnsigned)
{
    EXPECT_EQ((CJulianDate(6) - CJulianDate(5)).GetTotalDays(), 1.0);
    EXPECT_EQ(CJulianDate(5) - CJulianDate(6), 4294967295.0);
}

TEST(JulianDate, HoldsNumbersOf32Bits)
{
    EXPECT_EQ(CJulianDate(ULONG_MAX).GetValue(), 0xFFFFFFFFUL);
    EXPECT_EQ(CJulianDate(0xFFFFFFFFUL), -1);
    if constexpr (sizeof(long) > 4)
    {
        CJulianDate day(7);
        EXPECT_THROW(day.SetValue(static_cast<unsigned long>(0x100000000ULL)), argument_out_of_range_exception);
        EXPECT_EQ(day, 7);
        CDateTime date(7.5);
        EXPECT_THROW(date.SetJulianDate(static_cast<unsigned long>(0x100000000ULL)), argument_out_of_range_exception);
        EXPECT_EQ(date, 7.5);
    }
    CDateTime last;
    last.SetJulianDate(ULONG_MAX);
    EXPECT_EQ(last, 4294967295.0);
}

TEST(JulianDate, ComparesWithNumbersOfAnyWidth)
{
    CJulianDate const day(0xFFFF);
    EXPECT_TRUE(day == static_cast<unsigned short>(0xFFFF) && CJulianDate(1) == true);
    EXPECT_TRUE(CJulianDate(200) < static_cast<unsigned char>(0xFF) &&
                !(CJulianDate(300) < static_cast<unsigned char>(0xFF)));
    EXPECT_TRUE(day < -1 && day < -1LL && day < ULONG_MAX && CJulianDate(0xFFFFFFFEUL) == -2);
}
