#include "qvlib/Time.h"

namespace qvlib
{

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

} // namespace qvlib
