// Day serials and calendar fields in integer arithmetic: the proleptic Gregorian calendar, counted from 30 December
// 1899.
//
// The two conversions follow C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar
// algorithms" (2023): a computational year starts on 1 March, so that the leap day comes last, and every division by a
// constant is a multiplication.
#pragma once

#include <cmath>
#include <cstdint>

namespace qvlib::host::internal
{

constexpr std::int32_t kMinSerial = -657434; ///< 1 January 100
constexpr std::int32_t kMaxSerial = 2958465; ///< 31 December 9999

constexpr bool IsGregorianLeapYear(std::uint32_t year) { return year % 100U != 0 ? year % 4U == 0 : year % 16U == 0; }

constexpr std::uint32_t GregorianDaysInMonth(std::uint32_t year, std::uint32_t month)
{
    return month == 2 ? 28U + IsGregorianLeapYear(year) : 30U + ((month ^ (month >> 3)) & 1U);
}

struct CivilDay
{
    std::uint32_t year;
    std::uint32_t month; ///< 1 to 12
    std::uint32_t day;
    std::uint32_t weekday; ///< Sunday is 0
    std::uint32_t dayOfMarchYear;
    bool newYear; ///< January or February: the computational year's end

    constexpr std::uint32_t DayOfYear() const
    {
        return newYear ? dayOfMarchYear - 305U : dayOfMarchYear + 60U + IsGregorianLeapYear(year);
    }
};

// Days from 1 March of the year 0 to 30 December 1899.
constexpr std::uint32_t kEpoch = 693899;

/// For serials from kMinSerial to kMaxSerial.
constexpr CivilDay CivilFromSerial(std::int32_t serial)
{
    std::uint32_t const n = static_cast<std::uint32_t>(serial) + kEpoch;
    std::uint32_t const n1 = 4 * n + 3;
    std::uint32_t const century = n1 / 146097;
    std::uint32_t const n2 = n1 % 146097 / 4 * 4 + 3;
    std::uint64_t const product = std::uint64_t{2939745} * n2;
    std::uint32_t const yearOfCentury = static_cast<std::uint32_t>(product >> 32);
    std::uint32_t const dayOfYear = static_cast<std::uint32_t>(product) / 2939745 / 4;
    std::uint32_t const n3 = 2141 * dayOfYear + 197913;
    bool const newYear = dayOfYear >= 306;
    std::uint32_t const month = n3 >> 16;
    return {100 * century + yearOfCentury + newYear,
            newYear ? month - 12 : month,
            (n3 & 0xFFFF) / 2141 + 1,
            (n + 3) % 7,
            dayOfYear,
            newYear};
}

/// For months 1 to 12; the day may be 0 or lie past the month's end, and then counts on from there.
constexpr std::int32_t SerialFromCivil(std::uint32_t year, std::uint32_t month, std::uint32_t day)
{
    bool const newYear = month <= 2;
    std::uint32_t const y = year - newYear;
    std::uint32_t const m = newYear ? month + 12 : month;
    std::uint32_t const century = y / 100;
    std::uint32_t const days = 1461 * y / 4 - century + century / 4 + (979 * m - 2919) / 32 + day - 1;
    return static_cast<std::int32_t>(days - kEpoch);
}

/// Splits a date into its day and its second of that day, rounded. False when it is out of range or no number.
inline bool SplitDate(double date, std::int32_t & serial, std::uint32_t & second)
{
    if (!(date > kMinSerial - 1 && date < kMaxSerial + 1))
    {
        return false;
    }
    serial = static_cast<std::int32_t>(date);
    // The fraction counts forwards from midnight below day 0 too.
    second = static_cast<std::uint32_t>(static_cast<std::int32_t>(std::fabs(date - serial) * 86400.0 + 0.5));
    if (second == 86400)
    {
        second = 0;
        return ++serial <= kMaxSerial;
    }
    return true;
}

/// Joins a day and a time of it. Each part is added by itself, as the platform does, so that its bits come out the
/// same.
constexpr double JoinDate(std::int32_t serial, std::uint32_t hour, std::uint32_t minute, std::uint32_t second)
{
    double const h = hour / 24.0;
    double const m = minute / 1440.0;
    double const s = second / 86400.0;
    double const day = serial;
    return serial < 0 ? day - h - m - s : day + h + m + s;
}

} // namespace qvlib::host::internal
