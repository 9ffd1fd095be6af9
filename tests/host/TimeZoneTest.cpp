#include "qvlib/host/timezone.h"

#include "qvlib/host/crt_time.h"
#include "support/tsv.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <string>

using qvlib_test::Table;

namespace
{

/// "0-11-0-1 2:0": year, month, weekday, day, hour and minute.
SYSTEMTIME Change(std::string const & text)
{
    int year = 0;
    int month = 0;
    int weekday = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    EXPECT_EQ(std::sscanf(text.c_str(), "%d-%d-%d-%d %d:%d", &year, &month, &weekday, &day, &hour, &minute), 6);
    return {static_cast<WORD>(year),
            static_cast<WORD>(month),
            static_cast<WORD>(weekday),
            static_cast<WORD>(day),
            static_cast<WORD>(hour),
            static_cast<WORD>(minute),
            0,
            0};
}

std::map<std::string, TIME_ZONE_INFORMATION> Zones()
{
    std::map<std::string, TIME_ZONE_INFORMATION> zones;
    Table const table("host/timezone_zones.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        TIME_ZONE_INFORMATION zone{};
        zone.Bias = static_cast<LONG>(table.Integer(row, "bias"));
        zone.StandardBias = static_cast<LONG>(table.Integer(row, "standard_bias"));
        zone.DaylightBias = static_cast<LONG>(table.Integer(row, "daylight_bias"));
        zone.StandardDate = Change(table.Raw(row, "standard_date"));
        zone.DaylightDate = Change(table.Raw(row, "daylight_date"));
        zones[table.Raw(row, "zone")] = zone;
    }
    return zones;
}

} // namespace

TEST(TimeZone, ConvertsAroundTheChangesOfTheYear)
{
    std::map<std::string, TIME_ZONE_INFORMATION> const zones = Zones();
    Table const table("host/timezone.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        auto const field = [&](std::string const & name) { return static_cast<WORD>(table.Integer(row, name)); };
        SYSTEMTIME const from = {field("year"),   field("month"),  0,          field("day"), field("hour"),
                                 field("minute"), field("second"), field("ms")};
        TIME_ZONE_INFORMATION const & zone = zones.at(table.Raw(row, "zone"));
        SYSTEMTIME to{};
        bool const toLocal = table.Raw(row, "direction") == "to_local";
        BOOL const done = toLocal ? SystemTimeToTzSpecificLocalTime(&zone, &from, &to)
                                  : TzSpecificLocalTimeToSystemTime(&zone, &from, &to);
        std::string const what = table.Raw(row, "zone") + " " + table.Raw(row, "direction") + " " +
                                 table.Raw(row, "year") + "-" + table.Raw(row, "month") + "-" + table.Raw(row, "day") +
                                 " " + table.Raw(row, "hour") + ":" + table.Raw(row, "minute") + ":" +
                                 table.Raw(row, "second");
        ASSERT_EQ(done, field("ok")) << what;
        if (done)
        {
            EXPECT_TRUE(to.wYear == field("out_year") && to.wMonth == field("out_month") &&
                        to.wDayOfWeek == field("out_dow") && to.wDay == field("out_day") &&
                        to.wHour == field("out_hour") && to.wMinute == field("out_minute") &&
                        to.wSecond == field("out_second") && to.wMilliseconds == field("out_ms"))
                << what << " gave " << to.wYear << '-' << to.wMonth << '-' << to.wDay << ' ' << to.wHour << ':'
                << to.wMinute << " and not " << table.Raw(row, "out_day") << ' ' << table.Raw(row, "out_hour") << ':'
                << table.Raw(row, "out_minute");
        }
    }
}

TEST(TimeZone, TheMachinesZoneAgreesWithTheClock)
{
    TIME_ZONE_INFORMATION zone;
    DWORD const half = GetTimeZoneInformation(&zone);
    ASSERT_NE(half, TIME_ZONE_ID_INVALID);
    __time64_t const now = _time64(nullptr);
    std::tm local;
    ASSERT_EQ(_localtime64_s(&local, &now), 0);
    LONG const bias = zone.Bias + (half == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : 0);
    EXPECT_EQ(local.tm_gmtoff, -60L * bias);
    qvlib::host::SetClock([] { return std::int64_t{0}; }, -300);
    DWORD const fixed = GetTimeZoneInformation(&zone);
    qvlib::host::SetClock(nullptr);
    EXPECT_EQ(fixed, TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(zone.Bias, 300);
}
