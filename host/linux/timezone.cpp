#include "qvlib/host/timezone.h"

#include "host/linux/internal/calendar.h"
#include "host/linux/internal/clock.h"
#include "qvlib/host/crt_time.h"

#include <algorithm>
#include <memory>
#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tzrule.h>

using namespace qvlib::host::internal;

namespace
{

constexpr std::int64_t kMinute = 60000; // milliseconds
constexpr std::int64_t kDay = 86400000;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;

std::int64_t Milliseconds(std::int32_t serial, SYSTEMTIME const & time)
{
    return serial * kDay + ((time.wHour * 60 + time.wMinute) * 60 + time.wSecond) * 1000 + time.wMilliseconds;
}

/// Milliseconds since the epoch of the serials. False for a record that is no time.
bool Count(SYSTEMTIME const & time, std::int64_t & count)
{
    if (time.wYear < kFirstYear || time.wYear > kLastYear || time.wMonth < 1 || time.wMonth > 12 || time.wDay < 1 ||
        time.wDay > GregorianDaysInMonth(time.wYear, time.wMonth) || time.wHour > 23 || time.wMinute > 59 ||
        time.wSecond > 59 || time.wMilliseconds > 999)
    {
        return false;
    }
    count = Milliseconds(SerialFromCivil(time.wYear, time.wMonth, time.wDay), time);
    return true;
}

CivilDay DayOf(std::int64_t count)
{
    std::int64_t const day = count >= 0 ? count / kDay : -((kDay - 1 - count) / kDay);
    return CivilFromSerial(static_cast<std::int32_t>(day));
}

SYSTEMTIME Fields(std::int64_t count)
{
    CivilDay const day = DayOf(count);
    std::int64_t const rest = count - kDay * SerialFromCivil(day.year, day.month, day.day);
    return {static_cast<WORD>(day.year),         static_cast<WORD>(day.month),
            static_cast<WORD>(day.weekday),      static_cast<WORD>(day.day),
            static_cast<WORD>(rest / 3600000),   static_cast<WORD>(rest / 60000 % 60),
            static_cast<WORD>(rest / 1000 % 60), static_cast<WORD>(rest % 1000)};
}

/// When a change falls in a year, in the local time that ends there.
std::int64_t ChangeIn(std::uint32_t year, SYSTEMTIME const & change)
{
    std::uint32_t day = change.wDay;
    if (change.wYear == 0)
    {
        std::uint32_t const first = CivilFromSerial(SerialFromCivil(year, change.wMonth, 1)).weekday;
        day = 1 + (change.wDayOfWeek + 7 - first) % 7 + 7 * (change.wDay - 1U);
        while (day > GregorianDaysInMonth(year, change.wMonth))
        {
            day -= 7;
        }
    }
    return Milliseconds(SerialFromCivil(year, change.wMonth, day), change);
}

bool HasChanges(TIME_ZONE_INFORMATION const & zone)
{
    auto const usable = [](SYSTEMTIME const & date) { return date.wMonth >= 1 && date.wMonth <= 12 && date.wDay >= 1; };
    return usable(zone.StandardDate) && usable(zone.DaylightDate);
}

/// The zone's bias in milliseconds at a moment, which is in GMT or in local time.
std::int64_t BiasAt(TIME_ZONE_INFORMATION const & zone, std::int64_t moment, bool local)
{
    if (!HasChanges(zone))
    {
        return zone.Bias * kMinute;
    }
    std::int64_t const standard = (std::int64_t{zone.Bias} + zone.StandardBias) * kMinute;
    std::int64_t const daylight = (std::int64_t{zone.Bias} + zone.DaylightBias) * kMinute;
    std::uint32_t const year = DayOf(local ? moment : moment - zone.Bias * kMinute).year;
    std::int64_t start = ChangeIn(year, zone.DaylightDate);
    std::int64_t end = ChangeIn(year, zone.StandardDate);
    // In local time the hour that the change repeats, like the one that it skips, counts as daylight time.
    if (!local)
    {
        start += standard;
        end += daylight;
    }
    bool const inDaylight = start < end ? moment >= start && moment < end : moment >= start || moment < end;
    return inDaylight ? daylight : standard;
}

void CopyName(WCHAR (&target)[32], icu::UnicodeString const & name)
{
    int written = 0;
    for (int i = 0; i < name.length() && written < 31; i = name.moveIndex32(i, 1))
    {
        target[written++] = static_cast<WCHAR>(name.char32At(i));
    }
    target[written] = 0;
}

SYSTEMTIME ChangeOf(icu::AnnualTimeZoneRule const & rule)
{
    icu::DateTimeRule const & date = *rule.getRule();
    // A change at the day's end is a millisecond before it, as the platform has it.
    std::int64_t const time = std::min<std::int64_t>(date.getRuleMillisInDay(), kDay - 1);
    int const week = date.getRuleWeekInMonth();
    return {0,
            static_cast<WORD>(date.getRuleMonth() + 1),
            static_cast<WORD>(date.getRuleDayOfWeek() - UCAL_SUNDAY),
            static_cast<WORD>(week < 0 ? 5 : week),
            static_cast<WORD>(time / 3600000),
            static_cast<WORD>(time / 60000 % 60),
            static_cast<WORD>(time / 1000 % 60),
            static_cast<WORD>(time % 1000)};
}

LONG MinutesOf(icu::TimeZoneRule const & rule) { return -(rule.getRawOffset() + rule.getDSTSavings()) / 60000; }

} // namespace

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION * zone)
{
    if (zone == nullptr)
    {
        return TIME_ZONE_ID_INVALID;
    }
    *zone = {};
    int minutesEast;
    if (IsClockReplaced(minutesEast))
    {
        zone->Bias = -minutesEast;
        return TIME_ZONE_ID_UNKNOWN;
    }
    std::unique_ptr<icu::TimeZone> const machine(icu::TimeZone::detectHostTimeZone());
    auto const * const basic = dynamic_cast<icu::BasicTimeZone const *>(machine.get());
    if (basic == nullptr)
    {
        return TIME_ZONE_ID_INVALID;
    }
    icu::UnicodeString name;
    CopyName(zone->StandardName, basic->getDisplayName(false, icu::TimeZone::LONG, name));
    CopyName(zone->DaylightName, basic->getDisplayName(true, icu::TimeZone::LONG, name));
    icu::InitialTimeZoneRule * initial = nullptr;
    icu::AnnualTimeZoneRule * standard = nullptr;
    icu::AnnualTimeZoneRule * daylightRule = nullptr;
    double const now = static_cast<double>(_time64(nullptr)) * 1000.0;
    UErrorCode status = U_ZERO_ERROR;
    basic->getSimpleRulesNear(now, initial, standard, daylightRule, status);
    std::unique_ptr<icu::InitialTimeZoneRule> const ownInitial(initial);
    std::unique_ptr<icu::AnnualTimeZoneRule> const ownStandard(standard);
    std::unique_ptr<icu::AnnualTimeZoneRule> const ownDaylight(daylightRule);
    if (U_FAILURE(status) || initial == nullptr)
    {
        return TIME_ZONE_ID_INVALID;
    }
    if (standard == nullptr || daylightRule == nullptr)
    {
        zone->Bias = MinutesOf(*initial);
        return TIME_ZONE_ID_UNKNOWN;
    }
    zone->Bias = MinutesOf(*standard);
    zone->DaylightBias = MinutesOf(*daylightRule) - zone->Bias;
    zone->StandardDate = ChangeOf(*standard);
    zone->DaylightDate = ChangeOf(*daylightRule);
    int raw;
    int savings;
    basic->getOffset(now, false, raw, savings, status);
    return U_SUCCESS(status) && savings != 0 ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

namespace
{

BOOL Convert(TIME_ZONE_INFORMATION const * zone, SYSTEMTIME const * from, SYSTEMTIME * to, bool fromLocal)
{
    TIME_ZONE_INFORMATION machine;
    if (zone == nullptr)
    {
        if (GetTimeZoneInformation(&machine) == TIME_ZONE_ID_INVALID)
        {
            return FALSE;
        }
        zone = &machine;
    }
    std::int64_t count;
    if (from == nullptr || to == nullptr || !Count(*from, count))
    {
        return FALSE;
    }
    std::int64_t const bias = BiasAt(*zone, count, fromLocal);
    SYSTEMTIME const converted = Fields(fromLocal ? count + bias : count - bias);
    if (converted.wYear < kFirstYear || converted.wYear > kLastYear)
    {
        return FALSE;
    }
    *to = converted;
    return TRUE;
}

} // namespace

BOOL SystemTimeToTzSpecificLocalTime(TIME_ZONE_INFORMATION const * zone, SYSTEMTIME const * gmt, SYSTEMTIME * local)
{
    return Convert(zone, gmt, local, false);
}

BOOL TzSpecificLocalTimeToSystemTime(TIME_ZONE_INFORMATION const * zone, SYSTEMTIME const * local, SYSTEMTIME * gmt)
{
    return Convert(zone, local, gmt, true);
}
