// CTime: a time of day without a date, as the part of a day since midnight; from 0 up to but not including 1.
//
//     qvlib::CTime time(23, 59, 0);
//     time.AddMinutes(2);                               // 00:01; the day is not reported
//
// Most setters bring the value into that range. Construction from a double or a CDateTime, Now, `+` and `-` only take
// the fraction, so they can give a negative value, and assignment from a double takes the number as it is. 0 (midnight)
// also counts as null.
#pragma once

#include "qvlib/DateTime.h"
#include "qvlib/DaysOfWeek.h"
#include "qvlib/JulianDate.h"

namespace qvlib
{

/// A time of day. Thread-compatible.
class CTime
{
public:
    /// Midnight, or none.
    CTime() noexcept = default;
    // These two take the fraction with its sign, and the assignment nothing at all, on purpose: callers depend on it.
    CTime(double value) noexcept : m_value(Fraction(value)) {}
    CTime(CDateTime const & date) noexcept : m_value(Fraction(date.GetValue())) {}
    /// Midnight when the record cannot be folded.
    CTime(SYSTEMTIME const & time) { FromSystemTime(time); }
    /// Midnight when the fields cannot be folded.
    CTime(int hour, int minute, int second) { SetTime(hour, minute, second); }
    CTime(CTime const &) noexcept = default;
    CTime & operator=(CTime const &) noexcept = default;
    CTime & operator=(double value) noexcept
    {
        m_value = value;
        return *this;
    }
    operator double() const noexcept { return m_value; }

    /// The part of the day.
    double GetValue() const noexcept { return m_value; }
    /// The stored part itself; nothing brings what is put there into the range.
    double & GetValueRef() noexcept { return m_value; }
    /// Brings the value into the range: 1.25 and -0.75 become 0.25.
    void SetValue(double value) noexcept { m_value = Normalized(value); }
    bool IsNull() const noexcept { return m_value == 0.0; }
    void SetNull() noexcept { m_value = 0.0; }
    /// -1, 0 or 1, exact.
    int Compare(double value) const noexcept { return m_value < value ? -1 : m_value > value ? 1 : 0; }

    bool operator==(CTime const & other) const noexcept { return m_value == other.m_value; }
    bool operator!=(CTime const & other) const noexcept { return m_value != other.m_value; }
    bool operator<(CTime const & other) const noexcept { return m_value < other.m_value; }
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

    /// The current local time of day, to the second.
    static CTime Now() { return {CDateTime::Now()}; }
    void SetNow() { *this = Now(); }

    // Fields; unexpected_error when the value cannot be expanded.

    QVLIB_API unsigned long GetHour() const;
    QVLIB_API unsigned long GetMinute() const;
    QVLIB_API unsigned long GetSecond() const;
    /// Always 0: the platform's expansion stops at seconds.
    QVLIB_API unsigned long GetMilliseconds() const;
    unsigned long GetMinuteOfTheDay() const noexcept { return GetMinuteOfTheDay(m_value); }
    /// Without the bias that CDateTime has, on purpose: a value a rounding error below a minute reads the one before.
    static unsigned long GetMinuteOfTheDay(double value) noexcept
    {
        return detail::CutToUnsigned(Fraction(value) * 1440.0);
    }

    /// The clock goes round: past midnight it starts again.
    void AddMinutes(int minutes) noexcept { SetValue(m_value + minutes * 0.0006944444444444445); }
    void AddSeconds(int seconds) noexcept { SetValue(m_value + seconds * 1.1574074074074073e-05); }
    // False, and the value as it was, for what cannot be folded or read. A date in the text is dropped.
    QVLIB_API bool SetTime(int hour, int minute, int second);
    QVLIB_API bool FromSystemTime(SYSTEMTIME const & time);
    QVLIB_API bool FromString(wchar_t const * text);
    QVLIB_API bool ParseTime(wchar_t const * text, unsigned long flags, unsigned long locale);

    /// The time on day 0.
    CDateTime ToDateTime() const noexcept { return {m_value}; }
    /// Throws unexpected_error when the value cannot be expanded.
    SYSTEMTIME ToSystemTime() const { return ToDateTime().ToSystemTime(); }
    bool ToSystemTime(SYSTEMTIME & time) const { return ToDateTime().ToSystemTime(time); }

    // Text, as that of CDateTime.

    CQVString ToString() const { return ToDateTime().ToString(); }
    CQVString Format(unsigned long flags, unsigned long locale) const { return ToDateTime().Format(flags, locale); }
    CQVString Format(wchar_t const * format) const { return ToDateTime().Format(format); }
    CQVString Format(unsigned int resourceId) const { return ToDateTime().Format(resourceId); }

    // The fraction of the sum or difference, with its sign.
    CTime operator+(CTimeSpan const & span) const noexcept { return {m_value + span.GetSpan()}; }
    CTime operator-(CTimeSpan const & span) const noexcept { return {m_value - span.GetSpan()}; }
    CTimeSpan operator-(CTime const & other) const { return {m_value - other.m_value}; }
    CDateTime operator+(CJulianDate const & day) const noexcept
    {
        return {static_cast<double>(day.GetValue()) + m_value};
    }
    /// A plain number is added or taken off as it is.
    template <detail::Number T>
    double operator+(T days) const noexcept
    {
        return m_value + static_cast<double>(days);
    }
    template <detail::Number T>
    double operator-(T days) const noexcept
    {
        return m_value - static_cast<double>(days);
    }
    /// Moves from GMT to the machine's local time, and the weekdays with it when that crosses midnight. Whether it does
    /// is told with the daylight time of day 0; the value itself moves by the zone's plain bias. False, and nothing
    /// changed, when the zone is not known; unexpected_error when the value cannot be expanded.
    QVLIB_API bool ConvertGMTTimeToLocalTime(DaysOfWeek & days);
    /// The way back.
    QVLIB_API bool ConvertLocalTimeToGMTTime(DaysOfWeek & days);

    // These two stay in the range.
    CTime & operator+=(CTimeSpan const & span) noexcept
    {
        SetValue(m_value + span.GetSpan());
        return *this;
    }
    CTime & operator-=(CTimeSpan const & span) noexcept
    {
        SetValue(m_value - span.GetSpan());
        return *this;
    }

private:
    static double Fraction(double value) noexcept { return detail::FractionOf(value); }
    static double Normalized(double value) noexcept
    {
        double const fraction = Fraction(value);
        if (!(fraction < 0.0))
            return fraction;
        double const sum = fraction + 1.0;
        return sum < 1.0 ? sum : 0.0; // so little below midnight that the sum rounds to the next one
    }

    double m_value = 0.0;
};

} // namespace qvlib
