// CJulianDate: a whole calendar day, the whole part of a CDateTime as an unsigned 32-bit number.
//
// Despite the name it is not the astronomers' day count: day 1 is 31 December 1899, and 0 is no date.
//
//     qvlib::CJulianDate day(2023, 1, 31);
//     day.AddMonths(1);                                 // 28 February 2023
//     qvlib::CDateTime noon = day + qvlib::CTime(12, 0, 0);
//
// A number that 32 bits do not hold throws argument_out_of_range_exception.
#pragma once

#include "qvlib/DateTime.h"

#include <climits>

namespace qvlib
{

class CTime;

/// A day. Thread-compatible.
class CJulianDate
{
public:
    /// No date.
    CJulianDate() noexcept = default;
    CJulianDate(unsigned long serial) : m_value(Serial(serial)) {}
    /// The day of a moment; its time of day is dropped.
    CJulianDate(CDateTime const & date) noexcept : m_value(detail::CutToUnsigned(date.GetValue())) {}
    /// No date when the fields cannot be folded.
    CJulianDate(int year, int month, int day) { SetDate(year, month, day); }
    CJulianDate(CJulianDate const &) noexcept = default;
    CJulianDate & operator=(CJulianDate const &) noexcept = default;
    CJulianDate & operator=(unsigned long serial)
    {
        m_value = Serial(serial);
        return *this;
    }
    operator unsigned long() const noexcept { return m_value; }

    unsigned long GetValue() const noexcept { return m_value; }
    /// Throws argument_out_of_range_exception for a number that 32 bits do not hold.
    void SetValue(unsigned long serial) { m_value = Serial(serial); }
    bool IsNull() const noexcept { return m_value == 0; }
    void SetNull() noexcept { m_value = 0; }

    // Calendar fields; unexpected_error when the platform cannot expand the day.

    QVLIB_API unsigned long GetYear() const;
    /// 1 to 12.
    QVLIB_API unsigned long GetMonth() const;
    QVLIB_API ECalendarMonth GetCalendarMonth() const;
    /// Of the month: 1 to 31.
    QVLIB_API unsigned long GetDay() const;

    // As in CDateTime, the result cut to a whole day.

    QVLIB_API void AddDays(int days) noexcept;
    QVLIB_API void AddMonths(int months);
    QVLIB_API void AddYears(int years);
    /// False, and the day as it was, when the fields cannot be folded.
    QVLIB_API bool SetDate(int year, int month, int day);
    void SetDate(double date) noexcept { m_value = detail::CutToUnsigned(date); }
    /// The current local date.
    static CJulianDate Now() { return {CDateTime::Now()}; }
    void SetNow() { *this = Now(); }
    CDateTime ToDateTime() const noexcept { return {static_cast<double>(m_value)}; }
    /// Throws unexpected_error when the platform cannot expand the day.
    SYSTEMTIME ToSystemTime() const { return ToDateTime().ToSystemTime(); }
    bool ToSystemTime(SYSTEMTIME & time) const { return ToDateTime().ToSystemTime(time); }
    QVLIB_API bool FromSystemTime(SYSTEMTIME const & time);

    // Text, as that of CDateTime.

    CQVString ToString() const { return ToDateTime().ToString(); }
    CQVString Format(unsigned long flags, unsigned long locale) const { return ToDateTime().Format(flags, locale); }
    CQVString Format(wchar_t const * format) const { return ToDateTime().Format(format); }
    CQVString Format(unsigned int resourceId) const { return ToDateTime().Format(resourceId); }
    QVLIB_API bool FromString(wchar_t const * text);
    QVLIB_API bool ParseDate(wchar_t const * text, unsigned long flags, unsigned long locale);
    /// Throws unexpected_error for text that is no date.
    QVLIB_API static CJulianDate Parse(wchar_t const * text, unsigned long flags, unsigned long locale);

    // Comparison.

    bool operator==(CJulianDate const & other) const noexcept { return m_value == other.m_value; }
    bool operator!=(CJulianDate const & other) const noexcept { return m_value != other.m_value; }
    bool operator<(CJulianDate const & other) const noexcept { return m_value < other.m_value; }
    template <std::integral T>
    bool operator==(T serial) const noexcept
    {
        return m_value == Compared(serial);
    }
    template <std::integral T>
    bool operator!=(T serial) const noexcept
    {
        return m_value != Compared(serial);
    }
    template <std::integral T>
    bool operator<(T serial) const noexcept
    {
        return m_value < Compared(serial);
    }

    // Arithmetic.

    CDateTime operator+(CTimeSpan const & span) const noexcept { return ToDateTime() + span; }
    QVLIB_API CDateTime operator+(CTime const & time) const noexcept;
    CJulianDate & operator+=(CTimeSpan const & span) noexcept
    {
        m_value = detail::CutToUnsigned(m_value + span.GetSpan());
        return *this;
    }
    /// The difference of the unsigned 32-bit numbers, so that an earlier day less a later one is a span of more than
    /// four thousand million days. Kept on purpose: callers test for it.
    CTimeSpan operator-(CJulianDate const & other) const { return {static_cast<double>(m_value - other.m_value)}; }
    /// So many days later, or earlier, in unsigned 32-bit arithmetic.
    template <std::integral T>
    CJulianDate operator+(T days) const noexcept
    {
        return {m_value + static_cast<std::uint32_t>(days)};
    }
    template <std::integral T>
    CJulianDate operator-(T days) const noexcept
    {
        return {m_value - static_cast<std::uint32_t>(days)};
    }

private:
    static std::uint32_t Serial(unsigned long serial)
    {
#if ULONG_MAX > 0xFFFFFFFFUL
        if (serial > 0xFFFFFFFFUL && serial != ULONG_MAX)
        {
            FailWideSerial();
        }
#endif
        return static_cast<std::uint32_t>(serial);
    }
    template <class T>
    static constexpr unsigned long long Compared(T serial) noexcept
    {
        // As an argument of 32 bits; of a wider one all ones is the all-ones word too.
        if constexpr (sizeof(T) <= sizeof(std::uint32_t))
            return static_cast<std::uint32_t>(serial);
        else
            return serial == static_cast<T>(-1) ? 0xFFFFFFFFULL : static_cast<unsigned long long>(serial);
    }
    [[noreturn]] QVLIB_API static void FailWideSerial();

    std::uint32_t m_value = 0;
};

} // namespace qvlib
