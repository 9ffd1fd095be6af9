// CDateTime: a calendar moment in one double, the automation date.
//
// The whole part counts days from midnight of 30 December 1899, the fraction is the part of the day: 1.0 is 31 December
// 1899, 2.5 noon on 1 January 1900. 0.0 is no date at all. The conversion to calendar fields is the platform's (years
// 100 to 9999); a value that it refuses makes the field readers throw unexpected_error.
//
//     qvlib::CDateTime date(2023, 1, 31, 10, 0, 0);
//     date.AddMonths(1);                               // 28 February 2023, 10:00
//     date.Format(L"%Y-%m-%d %H:%M:%S");               // "2023-02-28 10:00:00"
//     qvlib::CTimeSpan left = qvlib::CDateTime(2023, 3, 1, 0, 0, 0) - date;
//
// A plain number beside a date counts days: `date + 1.5`.
#pragma once

#include "qvlib/CalendarMonth.h"
#include "qvlib/DayOfWeek.h"
#include "qvlib/QVString.h"
#include "qvlib/TimeSpan.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

/// A moment in local time without a zone. Thread-compatible.
class CDateTime
{
public:
    /// No date.
    CDateTime() noexcept = default;
    CDateTime(double value) noexcept : m_value(value) {}
    /// No date when the record cannot be folded.
    CDateTime(SYSTEMTIME const & time) { FromSystemTime(time); }
    /// No date when the fields cannot be folded.
    CDateTime(int year, int month, int day, int hour, int minute, int second)
    {
        SetDateTime(year, month, day, hour, minute, second);
    }
    CDateTime(CDateTime const &) noexcept = default;
    CDateTime & operator=(CDateTime const &) noexcept = default;
    CDateTime & operator=(double value) noexcept
    {
        m_value = value;
        return *this;
    }
    operator double() const noexcept { return m_value; }

    // The serial and its two portions.

    double GetValue() const noexcept { return m_value; }
    void SetValue(double value) noexcept { m_value = value; }
    /// The stored serial itself; any number may be put there.
    double & GetValueRef() noexcept { return m_value; }
    bool IsNull() const noexcept { return m_value == 0.0; }
    void SetNull() noexcept { m_value = 0.0; }
    /// The whole part, cut toward zero.
    long GetDatePortion() const noexcept { return Whole(); }
    /// The value less its whole part; negative for a negative value.
    double GetTimePortion() const noexcept { return detail::FractionOf(m_value); }
    void ClearDatePortion() noexcept { m_value = GetTimePortion(); }
    void SetTimeOnly() noexcept { m_value = GetTimePortion(); }
    void ClearTimePortion() noexcept { m_value = Whole(); }
    void SetDateOnly() noexcept { m_value = Whole(); }
    /// Keeps the fraction, replaces the whole part.
    void SetDatePortion(long days) noexcept { m_value = static_cast<double>(days) + GetTimePortion(); }
    /// Keeps the whole part, adds the argument to it.
    void SetTimePortion(double time) noexcept { m_value = m_value - GetTimePortion() + time; }
    bool IsDateOnly() const noexcept { return GetTimePortion() == 0.0; }
    bool IsTimeOnly() const noexcept { return Whole() == 0; }
    /// The value cut to an integer, its low 32 bits.
    unsigned long GetJulianDate() const noexcept { return GetJulianDate(m_value); }
    static unsigned long GetJulianDate(double value) noexcept { return detail::CutToUnsigned(value); }
    /// That day at midnight. Throws argument_out_of_range_exception for a number that 32 bits do not hold.
    QVLIB_API void SetJulianDate(unsigned long serial);

    // The clock: local time, to the second.

    QVLIB_API static CDateTime Now();
    QVLIB_API static CDateTime NowDateOnly();
    /// The time of day on day 0.
    QVLIB_API static CDateTime NowTimeOnly();
    void SetNow() { *this = Now(); }
    void SetNowDateOnly() { *this = NowDateOnly(); }
    void SetNowtimeOnly() { *this = NowTimeOnly(); }

    // Calendar fields. Those that expand the value throw unexpected_error when it cannot be expanded.

    /// All four digits: 100 to 9999.
    QVLIB_API unsigned long GetYear() const;
    /// 1 to 12.
    QVLIB_API unsigned long GetMonth() const;
    QVLIB_API ECalendarMonth GetCalendarMonth() const;
    /// Of the month: 1 to 31.
    QVLIB_API unsigned long GetDay() const;
    /// Always 0: the platform's expansion stops at seconds.
    QVLIB_API unsigned long GetMilliseconds() const;
    // The time fields come from the fraction, with a bias of a millisecond, and never throw. Below day 0 they have no
    // meaning: the whole part is taken as an unsigned number there.
    unsigned long GetHour() const noexcept { return GetMinuteOfTheDay() / 60U; }
    unsigned long GetMinute() const noexcept { return GetMinuteOfTheDay() % 60U; }
    unsigned long GetSecond() const noexcept { return GetSecondOfTheDay() % 60U; }
    unsigned long GetMinuteOfTheDay() const noexcept { return GetMinuteOfTheDay(m_value); }
    static unsigned long GetMinuteOfTheDay(double value) noexcept
    {
        return detail::CutToUnsigned((value - detail::CutToUnsigned(value)) * 1440.0 + 1.6666666666666667e-05);
    }
    unsigned long GetSecondOfTheDay() const noexcept { return GetSecondOfTheDay(m_value); }
    static unsigned long GetSecondOfTheDay(double value) noexcept
    {
        return detail::CutToUnsigned((value - detail::CutToUnsigned(value)) * 86400.0 + 0.001);
    }
    EDayOfWeek GetDayOfTheWeek() const noexcept { return DayOfWeekX::FromJulianDate(GetJulianDate()); }
    /// Throws unexpected_error when the value cannot be expanded.
    QVLIB_API SYSTEMTIME ToSystemTime() const;
    /// False, and the record as it was, when the value cannot be expanded.
    QVLIB_API bool ToSystemTime(SYSTEMTIME & time) const;

    // Setting fields. False, and the value as it was, when the result cannot be folded; unexpected_error when the value
    // cannot be expanded to begin with.

    /// Years 1753 to 2078 only.
    QVLIB_API bool SetYear(int year);
    /// Months 1 to 12 only.
    QVLIB_API bool SetMonth(int month);
    /// Days of the month only, in leap years by IsLeapYear.
    QVLIB_API bool SetDay(int day);
    QVLIB_API bool SetHour(int hour);
    QVLIB_API bool SetMinute(int minute);
    QVLIB_API bool SetSecond(int second);
    /// Changes nothing but the rounding to seconds: the platform folds whole seconds only.
    QVLIB_API bool SetMilliseconds(int milliseconds);
    /// That day at midnight.
    QVLIB_API bool SetDate(int year, int month, int day);
    /// That time of day; the date is given up.
    QVLIB_API bool SetTime(int hour, int minute, int second);
    QVLIB_API bool SetDateTime(int year, int month, int day, int hour, int minute, int second);
    /// The whole part kept, the fraction so many minutes.
    void SetMinuteOfTheDay(int minute) noexcept { m_value = Whole() + minute * kMinute; }
    void SetSecondOfTheDay(int second) noexcept { m_value = Whole() + second * kSecond; }
    QVLIB_API bool FromSystemTime(SYSTEMTIME const & time);

    // Arithmetic; nothing here rounds, but for the difference of two dates, which is a span.

    void AddDays(int days) noexcept { m_value += days; }
    void AddWeeks(int weeks) noexcept { m_value += 7.0 * weeks; }
    void AddHours(int hours) noexcept { m_value += hours * 0.041666666666666664; }
    void AddMinutes(int minutes) noexcept { m_value += minutes * kMinute; }
    void AddSeconds(int seconds) noexcept { m_value += seconds * kSecond; }
    /// The same day of another month, or its last day. Throws unexpected_error when the value cannot be expanded, and
    /// for 32767 years or more.
    QVLIB_API void AddMonths(int months);
    /// The same day of another year; 29 February becomes the 28th of a common year.
    QVLIB_API void AddYears(int years);
    CDateTime operator+(CTimeSpan const & span) const noexcept { return {m_value + span.GetSpan()}; }
    CDateTime operator-(CTimeSpan const & span) const noexcept { return {m_value - span.GetSpan()}; }
    template <detail::Number T>
    CDateTime operator+(T days) const noexcept
    {
        return {m_value + static_cast<double>(days)};
    }
    template <detail::Number T>
    CDateTime operator-(T days) const noexcept
    {
        return {m_value - static_cast<double>(days)};
    }
    CDateTime & operator+=(CTimeSpan const & span) noexcept
    {
        m_value += span.GetSpan();
        return *this;
    }
    CDateTime & operator-=(CTimeSpan const & span) noexcept
    {
        m_value -= span.GetSpan();
        return *this;
    }
    CTimeSpan operator-(CDateTime const & other) const { return {m_value - other.m_value}; }

    // Comparison, exact on the doubles.

    bool operator==(CDateTime const & other) const noexcept { return m_value == other.m_value; }
    bool operator!=(CDateTime const & other) const noexcept { return m_value != other.m_value; }
    bool operator<(CDateTime const & other) const noexcept { return m_value < other.m_value; }
    template <detail::Number T>
    bool operator==(T value) const noexcept
    {
        return m_value == static_cast<double>(value);
    }
    template <detail::Number T>
    bool operator!=(T value) const noexcept
    {
        return m_value != static_cast<double>(value);
    }
    template <detail::Number T>
    bool operator<(T value) const noexcept
    {
        return m_value < static_cast<double>(value);
    }
    /// -1, 0 or 1.
    int Compare(double value) const noexcept { return m_value < value ? -1 : m_value > value ? 1 : 0; }
    /// -1, 0 or 1, where moments less than a millisecond apart are equal.
    QVLIB_API static int CompareToMilisecondResolution(double a, double b) noexcept;

    // The calendar.

    /// The library's own rule: multiples of 1000 are leap years, other multiples of 100 are not, other multiples of 4
    /// are. It differs from the Gregorian one in 1600, 2400, 2800, 3000 and so on. Kept on purpose: callers depend on
    /// it.
    static constexpr bool IsLeapYear(unsigned long year) noexcept
    {
        return year % 1000U == 0 || (year % 100U != 0 && year % 4U == 0);
    }
    /// 28 to 31; 0 for anything that is no month.
    QVLIB_API static unsigned char DaysInMonth(unsigned long year, ECalendarMonth month) noexcept;
    /// The month counted from 0.
    QVLIB_API static unsigned char DaysInMonth(unsigned long year, int month) noexcept;
    /// The month counted from 1.
    QVLIB_API static unsigned char DaysInMonthOneBased(unsigned long year, int month) noexcept;

    // Text.

    /// As VarBstrFromDate writes it. "Invalid DateTime", or text resource 0xD800 if there is one, for a value that the
    /// platform refuses.
    QVLIB_API CQVString Format(unsigned long flags, unsigned long locale) const;
    /// As host::wcsftime writes it, up to 255 characters; the invalid text as above. Throws COleException
    /// (E_INVALIDARG) for a null format.
    QVLIB_API CQVString Format(wchar_t const * format) const;
    /// With a text resource as the format. Throws COleException (E_FAIL) when there is none.
    QVLIB_API CQVString Format(unsigned int resourceId) const;
    /// Format(format), or the empty text when the format is not valid, or has "%y" with a year before 1900.
    QVLIB_API CQVString TryFormat(wchar_t const * format) const;
    /// Format(0, 0x400): the user's default locale.
    QVLIB_API CQVString ToString() const;
    /// Every "%" has a known letter, looked at in a way of its own: a "%" as a letter is seen again as the start of the
    /// next item, so "%%" at the end is not valid.
    QVLIB_API static bool ValidFormatString(wchar_t const * format) noexcept;

    /// ParseDateTime(text, 0, 0x400).
    QVLIB_API bool FromString(wchar_t const * text);
    /// As VarDateFromStr reads it; null is empty text. False, and the value as it was, when it cannot.
    QVLIB_API bool ParseDateTime(wchar_t const * text, unsigned long flags, unsigned long locale);
    /// Throws unexpected_error for text that is no date.
    QVLIB_API static CDateTime Parse(wchar_t const * text, unsigned long flags, unsigned long locale);

private:
    int Whole() const noexcept { return detail::CutToInt(m_value); }

    static constexpr double kMinute = 0.0006944444444444445;
    static constexpr double kSecond = 1.1574074074074073e-05;

    double m_value = 0.0;
};

} // namespace qvlib
