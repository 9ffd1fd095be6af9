#include "qvlib/Time.h"

#include "qvlib/host/timezone.h"

namespace qvlib
{

namespace
{

/// The day of a calendar record, as a whole number that orders days.
int DayOf(SYSTEMTIME const & time)
{
    CDateTime const date(time);
    return static_cast<int>(date.GetDatePortion());
}

} // namespace

unsigned long CTime::GetHour() const { return ToSystemTime().wHour; }

unsigned long CTime::GetMinute() const { return ToSystemTime().wMinute; }

unsigned long CTime::GetSecond() const { return ToSystemTime().wSecond; }

unsigned long CTime::GetMilliseconds() const { return ToSystemTime().wMilliseconds; }

bool CTime::SetTime(int hour, int minute, int second)
{
    CDateTime date;
    if (!date.SetTime(hour, minute, second))
    {
        return false;
    }
    SetValue(date.GetValue());
    return true;
}

bool CTime::FromSystemTime(SYSTEMTIME const & time)
{
    CDateTime date;
    if (!date.FromSystemTime(time))
    {
        return false;
    }
    SetValue(date.GetValue());
    return true;
}

bool CTime::FromString(wchar_t const * text) { return ParseTime(text, 0, LOCALE_USER_DEFAULT); }

bool CTime::ParseTime(wchar_t const * text, unsigned long flags, unsigned long locale)
{
    CDateTime date;
    if (!date.ParseDateTime(text, flags, locale))
    {
        return false;
    }
    SetValue(date.GetValue());
    return true;
}

bool CTime::ConvertGMTTimeToLocalTime(DaysOfWeek & days)
{
    TIME_ZONE_INFORMATION zone;
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID)
    {
        return false;
    }
    SYSTEMTIME const gmt = ToSystemTime();
    SYSTEMTIME local;
    if (!SystemTimeToTzSpecificLocalTime(&zone, &gmt, &local))
    {
        return false;
    }
    int const shift = DayOf(local) - DayOf(gmt);
    if (shift > 0)
    {
        days.MoveLaterOneDay();
    }
    else if (shift < 0)
    {
        days.MoveEarlierOneDay();
    }
    // The daylight bias stays out of it on purpose: callers store times by the plain bias.
    SetValue(m_value - zone.Bias * 0.0006944444444444445);
    return true;
}

bool CTime::ConvertLocalTimeToGMTTime(DaysOfWeek & days)
{
    TIME_ZONE_INFORMATION zone;
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID)
    {
        return false;
    }
    SYSTEMTIME const local = ToSystemTime();
    SYSTEMTIME gmt;
    if (!TzSpecificLocalTimeToSystemTime(&zone, &local, &gmt))
    {
        return false;
    }
    int const shift = DayOf(local) - DayOf(gmt);
    if (shift < 0)
    {
        days.MoveLaterOneDay();
    }
    else if (shift > 0)
    {
        days.MoveEarlierOneDay();
    }
    SetValue(m_value + zone.Bias * 0.0006944444444444445);
    return true;
}

} // namespace qvlib
