#include "qvlib/DateTime.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/Exceptions.h"
#include "qvlib/host/crt_time.h"
#include "qvlib/host/dates.h"

#include <limits>

namespace qvlib
{

namespace
{

/// A field of a calendar record. What its 16 bits do not hold becomes a value that the platform refuses.
WORD Field(int value)
{
    constexpr int kRefused = std::numeric_limits<WORD>::max();
    return static_cast<WORD>(value >= 0 && value < kRefused ? value : kRefused);
}

bool Fold(SYSTEMTIME time, double & value) { return SystemTimeToVariantTime(&time, &value) != 0; }

SYSTEMTIME Record(int year, int month, int day, int hour, int minute, int second)
{
    return {Field(year), Field(month), 0, Field(day), Field(hour), Field(minute), Field(second), 0};
}

} // namespace

void CDateTime::SetJulianDate(unsigned long serial) { m_value = internal::NarrowULong(serial); }

CDateTime CDateTime::Now()
{
    __time64_t const seconds = _time64(nullptr);
    std::tm local;
    if (_localtime64_s(&local, &seconds) != 0)
    {
        return {};
    }
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
}

CDateTime CDateTime::NowDateOnly()
{
    CDateTime now = Now();
    now.SetDateOnly();
    return now;
}

CDateTime CDateTime::NowTimeOnly()
{
    CDateTime now = Now();
    now.SetTimeOnly();
    return now;
}

SYSTEMTIME CDateTime::ToSystemTime() const
{
    SYSTEMTIME time;
    if (VariantTimeToSystemTime(m_value, &time) == 0)
    {
        throw unexpected_error();
    }
    return time;
}

bool CDateTime::ToSystemTime(SYSTEMTIME & time) const { return VariantTimeToSystemTime(m_value, &time) != 0; }

unsigned long CDateTime::GetYear() const { return ToSystemTime().wYear; }

unsigned long CDateTime::GetMonth() const { return ToSystemTime().wMonth; }

ECalendarMonth CDateTime::GetCalendarMonth() const { return CalendarMonthX::GetMonth(ToSystemTime()); }

unsigned long CDateTime::GetDay() const { return ToSystemTime().wDay; }

unsigned long CDateTime::GetMilliseconds() const { return ToSystemTime().wMilliseconds; }

bool CDateTime::SetYear(int year)
{
    if (year < 1753 || year > 2078)
    {
        return false;
    }
    SYSTEMTIME time = ToSystemTime();
    time.wYear = Field(year);
    return FromSystemTime(time);
}

bool CDateTime::SetMonth(int month)
{
    if (month < 1 || month > 12)
    {
        return false;
    }
    SYSTEMTIME time = ToSystemTime();
    time.wMonth = Field(month);
    return FromSystemTime(time);
}

bool CDateTime::SetDay(int day)
{
    SYSTEMTIME time = ToSystemTime();
    if (day < 1 || day > DaysInMonthOneBased(time.wYear, time.wMonth))
    {
        return false;
    }
    time.wDay = Field(day);
    return FromSystemTime(time);
}

bool CDateTime::SetHour(int hour)
{
    SYSTEMTIME time = ToSystemTime();
    time.wHour = Field(hour);
    return FromSystemTime(time);
}

bool CDateTime::SetMinute(int minute)
{
    SYSTEMTIME time = ToSystemTime();
    time.wMinute = Field(minute);
    return FromSystemTime(time);
}

bool CDateTime::SetSecond(int second)
{
    SYSTEMTIME time = ToSystemTime();
    time.wSecond = Field(second);
    return FromSystemTime(time);
}

bool CDateTime::SetMilliseconds(int milliseconds)
{
    SYSTEMTIME time = ToSystemTime();
    time.wMilliseconds = Field(milliseconds);
    return FromSystemTime(time);
}

bool CDateTime::SetDate(int year, int month, int day) { return Fold(Record(year, month, day, 0, 0, 0), m_value); }

bool CDateTime::SetTime(int hour, int minute, int second)
{
    double value;
    if (!Fold(Record(0, 0, 0, hour, minute, second), value))
    {
        return false;
    }
    // The date is given up on purpose: callers use the result as a time of day.
    m_value = CDateTime(value).GetTimePortion();
    return true;
}

bool CDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second)
{
    return Fold(Record(year, month, day, hour, minute, second), m_value);
}

bool CDateTime::FromSystemTime(SYSTEMTIME const & time) { return Fold(time, m_value); }

void CDateTime::AddMonths(int months)
{
    SYSTEMTIME time = ToSystemTime();
    int const years = months / 12;
    if (years >= 32767)
    {
        throw unexpected_error();
    }
    int const rest = months % 12;
    int year = time.wYear + years;
    int month = time.wMonth;
    if (month <= -rest)
    {
        --year;
        month += 12;
    }
    month += rest;
    if (month > 12)
    {
        ++year;
        month -= 12;
    }
    int const days = DaysInMonthOneBased(static_cast<unsigned long>(year), month);
    // A sum that cannot be folded leaves the value as it was.
    Fold(Record(year, month, time.wDay > days ? days : time.wDay, time.wHour, time.wMinute, time.wSecond), m_value);
}

void CDateTime::AddYears(int years)
{
    SYSTEMTIME time = ToSystemTime();
    long long const sum = static_cast<long long>(time.wYear) + years;
    int const year = sum >= 0 && sum <= 9999 ? static_cast<int>(sum) : -1;
    int day = time.wDay;
    if (time.wMonth == 2)
    {
        int const days = DaysInMonthOneBased(static_cast<unsigned long>(year), 2);
        day = day > days ? days : day;
    }
    Fold(Record(year, time.wMonth, day, time.wHour, time.wMinute, time.wSecond), m_value);
}

int CDateTime::CompareToMilisecondResolution(double a, double b) noexcept
{
    double difference = a - b;
    if (difference > -1.0 && difference < 1.0)
    {
        difference *= 86400000.0;
    }
    return difference <= -1.0 ? -1 : difference >= 1.0 ? 1 : 0;
}

unsigned char CDateTime::DaysInMonth(unsigned long year, ECalendarMonth month) noexcept
{
    return DaysInMonth(year, static_cast<int>(month));
}

unsigned char CDateTime::DaysInMonth(unsigned long year, int month) noexcept
{
    return month >= 0 && month < 12 ? DaysInMonthOneBased(year, month + 1) : static_cast<unsigned char>(0);
}

unsigned char CDateTime::DaysInMonthOneBased(unsigned long year, int month) noexcept
{
    static constexpr unsigned char kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12)
    {
        return 0;
    }
    return month == 2 && IsLeapYear(year) ? static_cast<unsigned char>(29) : kDays[month - 1];
}

} // namespace qvlib
