// CTimeSpan: a signed duration in days, kept on a whole number of milliseconds.
//
//     qvlib::CTimeSpan span(0, 0, 90, 0, 0);           // 90 minutes
//     span.GetHours();                                 // 1
//     span.GetMinutes();                               // 30
//     span.GetTotalMinutes();                          // 90.0
//     span.ToStringAsTimeRemaining();                  // "1 hour 30 minutes"
//
// Every operation that sets a span rounds to milliseconds, but for `+=` and `-=`, which add the raw numbers: a long
// chain of them can drift off the grid. Readers without `_` and "Total" give whole numbers with a small bias, so that a
// span stored a rounding error low never reads one unit less.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/TimeResolution.h"
#include "qvlib/export.h"

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>

namespace qvlib
{

namespace detail
{

template <class T>
concept Number = std::integral<T> || std::floating_point<T>;

/// The number cut toward zero to an int; the least int for what no int holds, as the processor cuts.
inline int CutToInt(double value) noexcept
{
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

/// The number less its whole part, with its sign; right also for a whole part that no int holds.
inline double FractionOf(double value) noexcept
{
    return value > -2147483649.0 && value < 2147483648.0 ? value - static_cast<int>(value) : value - std::trunc(value);
}

/// The number cut toward zero, the low 32 bits of the integer; 0 for what 64 bits do not hold.
inline std::uint32_t CutToUnsigned(double value) noexcept
{
    return value > -9223372036854775809.0 && value < 9223372036854775808.0
               ? static_cast<std::uint32_t>(static_cast<std::int64_t>(value))
               : 0U;
}

} // namespace detail

/// A signed duration; one double that counts days. Thread-compatible.
class CTimeSpan
{
public:
    /// No time at all.
    CTimeSpan() noexcept = default;
    /// So many days, rounded to milliseconds.
    CTimeSpan(double days) { SetSpan(days); }
    CTimeSpan(double days, double hours, double minutes, double seconds, double milliseconds)
    {
        SetSpan(days, hours, minutes, seconds, milliseconds);
    }
    CTimeSpan(CTimeSpan const &) noexcept = default;
    CTimeSpan & operator=(CTimeSpan const &) noexcept = default;
    /// Rounds to milliseconds.
    CTimeSpan & operator=(double days) { return SetSpan(days); }
    /// Days.
    operator double() const noexcept { return m_value; }

    // Setters; each rounds to milliseconds and gives this span.

    QVLIB_API CTimeSpan & SetSpan(double days);
    /// The sum of the five parts.
    QVLIB_API CTimeSpan & SetSpan(double days, double hours, double minutes, double seconds, double milliseconds);
    CTimeSpan & SetDaySpan(double days) { return SetSpan(days); }
    QVLIB_API CTimeSpan & SetHourSpan(double hours);
    QVLIB_API CTimeSpan & SetMinuteSpan(double minutes);
    QVLIB_API CTimeSpan & SetSecondsSpan(double seconds);
    QVLIB_API CTimeSpan & SetMillisecondsSpan(double milliseconds);

    // Arithmetic. The results of + and - are rounded to milliseconds.

    CTimeSpan operator+(CTimeSpan const & other) const { return {m_value + other.m_value}; }
    CTimeSpan operator-(CTimeSpan const & other) const { return {m_value - other.m_value}; }
    template <detail::Number T>
    CTimeSpan operator+(T days) const
    {
        return *this + CTimeSpan(static_cast<double>(days));
    }
    template <detail::Number T>
    CTimeSpan operator-(T days) const
    {
        return *this - CTimeSpan(static_cast<double>(days));
    }
    CTimeSpan operator-() const { return {-m_value}; }
    // Not rounded, on purpose: callers that sum many spans count on the raw sum.
    CTimeSpan & operator+=(CTimeSpan const & other) noexcept
    {
        m_value += other.m_value;
        return *this;
    }
    CTimeSpan & operator-=(CTimeSpan const & other) noexcept
    {
        m_value -= other.m_value;
        return *this;
    }

    // Comparison, exact on the doubles.

    bool operator==(CTimeSpan const & other) const noexcept { return m_value == other.m_value; }
    bool operator!=(CTimeSpan const & other) const noexcept { return m_value != other.m_value; }
    bool operator<(CTimeSpan const & other) const noexcept { return m_value < other.m_value; }
    bool operator<=(CTimeSpan const & other) const noexcept { return m_value <= other.m_value; }
    bool operator>(CTimeSpan const & other) const noexcept { return m_value > other.m_value; }
    bool operator>=(CTimeSpan const & other) const noexcept { return m_value >= other.m_value; }
    template <detail::Number T>
    bool operator==(T days) const noexcept
    {
        return m_value == static_cast<double>(days);
    }
    template <detail::Number T>
    bool operator!=(T days) const noexcept
    {
        return m_value != static_cast<double>(days);
    }
    template <detail::Number T>
    bool operator<(T days) const noexcept
    {
        return m_value < static_cast<double>(days);
    }
    template <detail::Number T>
    bool operator<=(T days) const noexcept
    {
        return m_value <= static_cast<double>(days);
    }
    template <detail::Number T>
    bool operator>(T days) const noexcept
    {
        return m_value > static_cast<double>(days);
    }
    template <detail::Number T>
    bool operator>=(T days) const noexcept
    {
        return m_value >= static_cast<double>(days);
    }

    // Parts: what is left when the larger units are taken away.

    /// Whole days, with a bias of one millisecond.
    int GetDays() const noexcept { return detail::CutToInt(m_value + kMillisecond); }
    int GetHours() const noexcept { return detail::CutToInt(GetHours_() + 2.7777777777777776e-07); }
    int GetMinutes() const noexcept { return detail::CutToInt(GetMinutes_() + 1.6666666666666667e-05); }
    QVLIB_API int GetSeconds() const;
    int GetMilliseconds() const { return detail::CutToInt(GetMilliseconds_() + 0.5); }
    double GetDays_() const noexcept { return m_value; }
    double GetHours_() const noexcept { return GetTimePortion() * 24.0; }
    double GetMinutes_() const noexcept { return (m_value * 24.0 - detail::CutToInt(m_value * 24.0)) * 60.0; }
    QVLIB_API double GetSeconds_() const;
    QVLIB_API double GetMilliseconds_() const;

    // The whole span in one unit.

    /// Days, the fraction included.
    double GetSpan() const noexcept { return m_value; }
    /// Whole units, cut toward zero; the least int when there are more than an int holds.
    int GetFullDays() const noexcept { return GetDatePortion(); }
    int GetFullHours() const noexcept { return detail::CutToInt(m_value * 24.0); }
    int GetFullMinutes() const noexcept { return detail::CutToInt(m_value * 1440.0); }
    int GetFullSeconds() const noexcept { return detail::CutToInt(m_value * 86400.0); }
    int GetFullMilliseconds() const noexcept { return detail::CutToInt(m_value * 86400000.0); }
    /// Units, a begun one counted as whole: away from zero.
    QVLIB_API int GetPartialDays() const noexcept;
    QVLIB_API int GetPartialHours() const noexcept;
    QVLIB_API int GetPartialMinutes() const noexcept;
    QVLIB_API int GetPartialSeconds() const noexcept;
    QVLIB_API int GetPartialMilliseconds() const noexcept;
    double GetTotalDays() const noexcept { return m_value; }
    double GetTotalHours() const noexcept { return m_value * 24.0; }
    QVLIB_API double GetTotalMinutes() const;
    QVLIB_API double GetTotalSeconds() const;
    /// Whole milliseconds, cut through int: right to 24 days either way.
    QVLIB_API double GetTotalMilliseconds() const;

    // Text.

    /// Days, hours, minutes, seconds and milliseconds between dots, padded with blanks: "2. 3. 0. 0.  5".
    QVLIB_API CQVString ToString() const;
    /// The two largest units that are not zero, in English: "2 days 3 hours". Empty for a span below a millisecond.
    QVLIB_API CQVString ToStringAsTimeRemaining() const;
    /// The same, with nothing below the given unit, to which the span is rounded.
    QVLIB_API CQVString ToStringAsTimeRemaining(ETimeResolution resolution) const;

protected:
    int GetDatePortion() const noexcept { return detail::CutToInt(m_value); }
    double GetTimePortion() const noexcept { return m_value - detail::CutToInt(m_value); }

private:
    static constexpr double kMillisecond = 1.1574074074074074e-08;

    double m_value = 0.0;
};

} // namespace qvlib
