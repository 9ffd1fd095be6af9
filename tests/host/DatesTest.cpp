#include "qvlib/host/dates.h"

#include "qvlib/host/crt_time.h"
#include "qvlib/host/locale.h"
#include "support/threads.h"
#include "support/tsv.h"

#include <cmath>
#include <cwchar>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

using qvlib_test::OnThreads;
using qvlib_test::Table;

namespace
{

constexpr LCID kEnglishUS = 0x409;
constexpr LCID kEnglishGB = 0x809;
constexpr LCID kGerman = 0x407;

std::wstring Written(double date, LCID locale, ULONG flags = 0)
{
    BSTR text = nullptr;
    if (VarBstrFromDate(date, locale, flags, &text) < 0)
    {
        return L"failed";
    }
    std::wstring const result(text, SysStringLen(text));
    SysFreeString(text);
    return result;
}

double Read(wchar_t const * text, LCID locale, ULONG flags = 0)
{
    double date = std::numeric_limits<double>::quiet_NaN();
    return VarDateFromStr(text, locale, flags, &date) == S_OK ? date : std::numeric_limits<double>::quiet_NaN();
}

/// Fixes the clock at a moment of a common year for as long as it lives.
struct FixedClock
{
    FixedClock()
    {
        qvlib::host::SetClock([] { return std::int64_t{1782000000}; });
    } // 21 June 2026
    ~FixedClock() { qvlib::host::SetClock(nullptr); }
};

} // namespace

TEST(Dates, ExpandAsThePlatformDoes)
{
    Table const table("host/variant_time.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SCOPED_TRACE(table.Raw(row, "serial"));
        double const date = table.Double(row, "serial");
        SYSTEMTIME time;
        bool const expected = table.Raw(row, "vt_ok") == "1";
        ASSERT_EQ(VariantTimeToSystemTime(date, &time), expected ? 1 : 0);
        UDATE fields;
        ASSERT_EQ(VarUdateFromDate(date, 0, &fields), static_cast<HRESULT>(table.Integer(row, "ud_hr")));
        if (expected)
        {
            EXPECT_EQ(time.wYear, table.Integer(row, "vt_year"));
            EXPECT_EQ(time.wMonth, table.Integer(row, "vt_month"));
            EXPECT_EQ(time.wDayOfWeek, table.Integer(row, "vt_dow"));
            EXPECT_EQ(time.wDay, table.Integer(row, "vt_day"));
            EXPECT_EQ(time.wHour, table.Integer(row, "vt_hour"));
            EXPECT_EQ(time.wMinute, table.Integer(row, "vt_minute"));
            EXPECT_EQ(time.wSecond, table.Integer(row, "vt_second"));
            EXPECT_EQ(time.wMilliseconds, 0);
            EXPECT_EQ(fields.st.wYear, time.wYear);
            EXPECT_EQ(fields.st.wSecond, time.wSecond);
            EXPECT_EQ(fields.wDayOfYear, table.Integer(row, "ud_doy"));
        }
    }
}

TEST(Dates, FoldToTheSameBits)
{
    Table const table("host/system_time.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        auto const field = [&](char const * name) { return static_cast<WORD>(table.Integer(row, name)); };
        SYSTEMTIME time = {field("year"), field("month"),  field("day_of_week"), field("day"),
                           field("hour"), field("minute"), field("second"),      field("ms")};
        double date = -1e9;
        bool const expected = table.Raw(row, "ok") == "1";
        EXPECT_EQ(SystemTimeToVariantTime(&time, &date), expected ? 1 : 0) << "row " << row;
        EXPECT_EQ(date, expected ? table.Double(row, "serial") : -1e9) << "row " << row;
    }
}

TEST(Dates, EveryDayOfTheRangeIsTheDayAfterTheOneBefore)
{
    WORD year = 99;
    WORD month = 12;
    WORD day = 31;
    WORD dayOfYear = 365;
    for (int serial = -657434; serial <= 2958465; ++serial)
    {
        bool const leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        ++dayOfYear;
        if (++day > kDays[month - 1] + (month == 2 && leap))
        {
            day = 1;
            if (++month > 12)
            {
                month = 1;
                ++year;
                dayOfYear = 1;
            }
        }
        UDATE fields;
        ASSERT_EQ(VarUdateFromDate(serial, 0, &fields), S_OK);
        ASSERT_EQ(fields.st.wYear, year) << serial;
        ASSERT_EQ(fields.st.wMonth, month) << serial;
        ASSERT_EQ(fields.st.wDay, day) << serial;
        ASSERT_EQ(fields.wDayOfYear, dayOfYear) << serial;
        ASSERT_EQ(fields.st.wDayOfWeek, ((serial - 1) % 7 + 7) % 7) << serial;
        double back;
        ASSERT_EQ(SystemTimeToVariantTime(&fields.st, &back), 1);
        ASSERT_EQ(back, serial);
    }
    EXPECT_EQ(year, 9999);
}

TEST(Dates, FoldingRollsDaysAndMonthZeroOnly)
{
    double date = 7;
    SYSTEMTIME none = {0, 0, 0, 0, 18, 0, 0, 0};
    EXPECT_EQ(SystemTimeToVariantTime(&none, &date), 1);
    EXPECT_EQ(date, 36494.75); // 30 November 1999
    SYSTEMTIME const refused[] = {{2023, 1, 0, 1, 24, 0, 0, 0},
                                  {2023, 1, 0, 1, 0, 60, 0, 0},
                                  {2023, 1, 0, 1, 0, 0, 60, 0},
                                  {100, 1, 0, 0, 0, 0, 0, 0},
                                  {100, 0, 0, 31, 0, 0, 0, 0}};
    for (SYSTEMTIME time : refused)
    {
        EXPECT_EQ(SystemTimeToVariantTime(&time, &date), 0);
    }
    EXPECT_EQ(date, 36494.75);
}

TEST(Dates, ASecondThatRoundsUpCarriesIntoTheNextDay)
{
    UDATE fields;
    ASSERT_EQ(VarUdateFromDate(45291.999999, 0, &fields), S_OK);
    EXPECT_EQ(fields.st.wYear, 2024);
    EXPECT_EQ(fields.st.wMonth, 1);
    EXPECT_EQ(fields.wDayOfYear, 1);
    EXPECT_EQ(fields.st.wDayOfWeek, 1);
    EXPECT_EQ(VarUdateFromDate(2958465.999999, 0, &fields), E_INVALIDARG);
    EXPECT_EQ(VarUdateFromDate(std::numeric_limits<double>::quiet_NaN(), 0, &fields), E_INVALIDARG);
}

TEST(Dates, TextIsWrittenInTheLocalesForm)
{
    Table const table("host/date_text.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        BSTR text = nullptr;
        HRESULT const result =
            VarBstrFromDate(table.Double(row, "serial"), static_cast<LCID>(table.Integer(row, "locale")),
                            static_cast<ULONG>(table.Integer(row, "flags")), &text);
        EXPECT_EQ(result, static_cast<HRESULT>(table.Integer(row, "hr"))) << "row " << row;
        EXPECT_EQ(std::wstring(text, SysStringLen(text)), table.Wide(row, "text"))
            << table.Raw(row, "serial") << ' ' << table.Raw(row, "locale") << ' ' << table.Raw(row, "flags");
        SysFreeString(text);
    }
}

TEST(Dates, KnownFormsStandOverTheLocaleData)
{
    double const date = 45355.3799; // 4 March 2024, 09:07:03
    EXPECT_EQ(Written(date, kGerman), L"04.03.2024 09:07:03");
    EXPECT_EQ(Written(date, 0x411), L"2024/03/04 9:07:03");
    EXPECT_EQ(Written(date, 0x410), L"04/03/2024 09:07:03");
    EXPECT_EQ(Written(date, 0x439), L"04-03-2024 9:07:03 am");
    EXPECT_EQ(Written(date, LOCALE_INVARIANT), L"03/04/2024 09:07:03");
    EXPECT_EQ(Written(date, 0x9), L"3/4/2024 9:07:03 AM");     // a language alone
    EXPECT_EQ(Written(date, 0x10407), L"04.03.2024 09:07:03"); // with a sort order
    EXPECT_EQ(Written(date, 0xFFFF), L"failed");
}

TEST(Dates, TextIsReadAsThePlatformDoes)
{
    Table const table("host/date_parse.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        std::wstring const text = table.Wide(row, "text");
        for (ULONG const flags : {0U, 1U, 2U})
        {
            std::string const column = std::to_string(flags);
            double date = -1e9;
            HRESULT const result =
                VarDateFromStr(text.c_str(), static_cast<LCID>(table.Integer(row, "locale")), flags, &date);
            HRESULT const expected = static_cast<HRESULT>(table.Integer(row, "hr" + column));
            EXPECT_EQ(result, expected) << table.Raw(row, "text") << ' ' << table.Raw(row, "locale") << ' ' << flags;
            EXPECT_EQ(date, expected == S_OK ? table.Double(row, "value" + column) : -1e9)
                << table.Raw(row, "text") << ' ' << table.Raw(row, "locale") << ' ' << flags;
        }
    }
}

TEST(Dates, TextWithoutAYearIsOfTheRunningOne)
{
    FixedClock const clock;
    Table const table("host/date_parse_thisyear.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SCOPED_TRACE(table.Raw(row, "text") + " " + table.Raw(row, "locale") + " " + table.Raw(row, "flags"));
        double const date = Read(table.Wide(row, "text").c_str(), static_cast<LCID>(table.Integer(row, "locale")),
                                 static_cast<ULONG>(table.Integer(row, "flags")));
        if (table.Integer(row, "hr") != 0)
        {
            EXPECT_TRUE(std::isnan(date));
            continue;
        }
        SYSTEMTIME time;
        ASSERT_EQ(VariantTimeToSystemTime(std::trunc(date), &time), 1);
        EXPECT_EQ(time.wYear, table.Integer(row, "year_is_this") != 0 ? 2026 : table.Integer(row, "year_if_not"));
        EXPECT_EQ(time.wMonth, table.Integer(row, "month"));
        EXPECT_EQ(time.wDay, table.Integer(row, "day"));
        EXPECT_NEAR(date - std::trunc(date), table.Double(row, "fraction"), 1e-11);
    }
}

TEST(Dates, AMonthNameInTheMiddleStandsBehindItsDay)
{
    EXPECT_EQ(Read(L"5-Jan-20", kEnglishUS), Read(L"2020-01-05", kEnglishUS));
}

TEST(Dates, SeparatorsStandAlone)
{
    for (wchar_t const * text : {L"1,,2,2023", L"1//2023", L"10::30", L"10:-30", L"2023--01-02", L"1/2/", L"1,"})
    {
        EXPECT_TRUE(std::isnan(Read(text, kEnglishUS))) << text;
    }
}

TEST(Dates, WhatIsWrittenIsReadBack)
{
    LCID const locales[] = {0x409, 0x809, 0x407, 0x40C, 0x410, 0xC0A, 0x411, 0x804, 0x419, 0x416, 0x41D,
                            0x439, 0x412, 0x404, 0x40E, 0x40B, 0x402, 0x41F, 0x405, 0x401, 0x41E, 0x7F};
    std::mt19937 random(20240304);
    std::uniform_int_distribution<int> days(-657434, 2958465);
    std::uniform_int_distribution<int> seconds(0, 86399);
    for (LCID const locale : locales)
    {
        for (int i = 0; i < 200; ++i)
        {
            int const day = days(random);
            double const fraction = seconds(random) / 86400.0;
            double const date = day < 0 ? day - fraction : day + fraction;
            SYSTEMTIME expected;
            ASSERT_EQ(VariantTimeToSystemTime(date, &expected), 1);
            std::wstring const text = Written(date, locale);
            SYSTEMTIME read{};
            VariantTimeToSystemTime(Read(text.c_str(), locale), &read);
            EXPECT_TRUE(expected.wYear == read.wYear && expected.wMonth == read.wMonth && expected.wDay == read.wDay &&
                        expected.wHour == read.wHour && expected.wMinute == read.wMinute &&
                        expected.wSecond == read.wSecond)
                << std::hex << locale << ": " << std::string(text.begin(), text.end());
        }
    }
}

TEST(Dates, DatesAreWrittenAndReadOnManyThreads)
{
    OnThreads(4,
              [](int)
              {
                  for (LCID locale = 0x401; locale < 0x440; ++locale)
                  {
                      Written(45000.25, locale);
                      Read(L"2024-03-04", locale);
                  }
              });
}

TEST(RuntimeTime, FormatsAsTheRuntimeLibraryDid)
{
    Table const table("host/strftime.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        auto const field = [&](char const * name) { return static_cast<int>(table.Integer(row, name)); };
        std::tm time{};
        time.tm_year = field("year") - 1900;
        time.tm_mon = field("month") - 1;
        time.tm_mday = field("day");
        time.tm_hour = field("hour");
        time.tm_min = field("minute");
        time.tm_sec = field("second");
        time.tm_wday = field("wday");
        time.tm_yday = field("yday");
        wchar_t buffer[256] = L"unset";
        std::size_t const count = qvlib::host::wcsftime(buffer, 256, table.Wide(row, "format").c_str(), &time);
        EXPECT_EQ(count, static_cast<std::size_t>(table.Integer(row, "count"))) << "row " << row;
        EXPECT_EQ(std::wstring(buffer), table.Wide(row, "text")) << "row " << row;
    }
}

TEST(RuntimeTime, WritesAllOrNothing)
{
    std::tm time{};
    time.tm_mday = 1;
    wchar_t buffer[9];
    for (std::size_t size = 0; size < 9; ++size)
    {
        EXPECT_EQ(qvlib::host::wcsftime(buffer, size, L"%H:%M:%S", &time), 0U) << size;
    }
    EXPECT_EQ(qvlib::host::wcsftime(buffer, 9, L"%H:%M:%S", &time), 8U);
    for (wchar_t const * refused : {L"%", L"%#", L"%q", L"%E", L"a%"})
    {
        EXPECT_EQ(qvlib::host::wcsftime(buffer, 9, refused, &time), 0U);
        EXPECT_EQ(buffer[0], L'\0');
    }
    // Fields out of range fail the letters that need them, and no others.
    time.tm_mon = 12;
    EXPECT_EQ(qvlib::host::wcsftime(buffer, 9, L"%b", &time), 0U);
    EXPECT_EQ(qvlib::host::wcsftime(buffer, 9, L"%d", &time), 2U);
}

TEST(RuntimeTime, LocalTimeRunsFrom1970To3000)
{
    std::tm fields;
    for (__time64_t const refused : {__time64_t{-1}, __time64_t{0x793407000}})
    {
        EXPECT_EQ(_localtime64_s(&fields, &refused), EINVAL);
        EXPECT_EQ(fields.tm_year, -1);
    }
    EXPECT_EQ(_localtime64_s(&fields, nullptr), EINVAL);
    qvlib::host::SetClock([] { return std::int64_t{86399}; }, 60);
    __time64_t const now = _time64(nullptr);
    ASSERT_EQ(_localtime64_s(&fields, &now), 0);
    qvlib::host::SetClock(nullptr);
    EXPECT_EQ(fields.tm_mday, 2);
    EXPECT_EQ(fields.tm_hour, 0);
    EXPECT_GT(_time64(nullptr), 1700000000);
}

TEST(Locale, IdsHaveNames)
{
    using qvlib::host::LocaleName;
    EXPECT_EQ(LocaleName(kEnglishUS), "en-US");
    EXPECT_EQ(LocaleName(kEnglishGB), "en-GB");
    EXPECT_EQ(LocaleName(kGerman), "de-DE");
    EXPECT_EQ(LocaleName(0x9), "en");
    EXPECT_EQ(LocaleName(LOCALE_USER_DEFAULT), qvlib::host::UserLocaleName());
    EXPECT_EQ(LocaleName(LOCALE_INVARIANT), "und");
    EXPECT_EQ(LocaleName(0xFFFF), "");
}
