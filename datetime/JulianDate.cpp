#include "qvlib/JulianDate.h"

#include "qvlib/Exceptions.h"
#include "qvlib/Time.h"

namespace qvlib
{

unsigned long CJulianDate::GetYear() const { return ToDateTime().GetYear(); }

unsigned long CJulianDate::GetMonth() const { return ToDateTime().GetMonth(); }

ECalendarMonth CJulianDate::GetCalendarMonth() const { return ToDateTime().GetCalendarMonth(); }

unsigned long CJulianDate::GetDay() const { return ToDateTime().GetDay(); }

void CJulianDate::AddDays(int days) noexcept
{
    CDateTime date = ToDateTime();
    date.AddDays(days);
    SetDate(date.GetValue());
}

void CJulianDate::AddMonths(int months)
{
    CDateTime date = ToDateTime();
    date.AddMonths(months);
    SetDate(date.GetValue());
}

void CJulianDate::AddYears(int years)
{
    CDateTime date = ToDateTime();
    date.AddYears(years);
    SetDate(date.GetValue());
}

bool CJulianDate::SetDate(int year, int month, int day)
{
    CDateTime date;
    if (!date.SetDate(year, month, day))
    {
        return false;
    }
    SetDate(date.GetValue());
    return true;
}

bool CJulianDate::FromSystemTime(SYSTEMTIME const & time)
{
    CDateTime date;
    if (!date.FromSystemTime(time))
    {
        return false;
    }
    SetDate(date.GetValue());
    return true;
}

bool CJulianDate::FromString(wchar_t const * text) { return ParseDate(text, 0, LOCALE_USER_DEFAULT); }

bool CJulianDate::ParseDate(wchar_t const * text, unsigned long flags, unsigned long locale)
{
    CDateTime date;
    if (!date.ParseDateTime(text, flags, locale))
    {
        return false;
    }
    SetDate(date.GetValue());
    return true;
}

CJulianDate CJulianDate::Parse(wchar_t const * text, unsigned long flags, unsigned long locale)
{
    return {CDateTime::Parse(text, flags, locale)};
}

CDateTime CJulianDate::operator+(CTime const & time) const noexcept { return time + *this; }

void CJulianDate::FailWideSerial()
{
    static char const * const kParameter = "serial";
    throw argument_out_of_range_exception(kParameter, nullptr);
}

} // namespace qvlib
