// EDayOfWeek and its wrapper DayOfWeekX. The week starts on Sunday here (see DaysOfWeek.h for a set of weekdays, whose
// week starts on Monday).
//
//     qvlib::DayOfWeekX::FromString(L"wed");        // Wednesday
//     qvlib::DayOfWeekX day = qvlib::DayOfWeekX::TodaysDay();
#pragma once

#include "qvlib/EnumHelper.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <cstdint>

namespace qvlib
{

/// The days of the week, counted from Sunday.
enum EDayOfWeek : int
{
    Sunday = 0,
    Monday = 1,
    Tuesday = 2,
    Wednesday = 3,
    Thursday = 4,
    Friday = 5,
    Saturday = 6,
    InvalidDay = -1
};

/// A weekday with its constants, predicates, setters and names. A default one is Sunday. Thread-compatible.
class DayOfWeekX : public CTLEnumHelper<EDayOfWeek>
{
public:
    using CTLEnumHelper::CTLEnumHelper;
    using CTLEnumHelper::operator=;
    DayOfWeekX() noexcept = default;

    QVLIB_ENUM_MEMBER(EDayOfWeek, Sunday, L"Sunday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Monday, L"Monday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Tuesday, L"Tuesday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Wednesday, L"Wednesday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Thursday, L"Thursday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Friday, L"Friday")
    QVLIB_ENUM_MEMBER(EDayOfWeek, Saturday, L"Saturday")
    // The name differs from what ToString gives ("Invalid") on purpose: stored texts have it.
    QVLIB_ENUM_MEMBER(EDayOfWeek, InvalidDay, L"InvalidDay")

    static constexpr EDayOfWeek First() noexcept { return Sunday; }
    static constexpr EDayOfWeek Last() noexcept { return Saturday; }
    /// The day behind the given one; InvalidDay behind Saturday, so that a walk from First ends.
    static constexpr EDayOfWeek Next(EDayOfWeek day) noexcept
    {
        return GetDay(static_cast<int>(static_cast<std::uint32_t>(day) + 1U));
    }
    /// The day of that number; InvalidDay outside 0 to 6.
    static constexpr EDayOfWeek GetDay(int day) noexcept
    {
        return day >= 0 && day <= 6 ? static_cast<EDayOfWeek>(day) : InvalidDay;
    }
    /// The weekday of a day serial (see CJulianDate), in unsigned 32-bit arithmetic.
    static constexpr EDayOfWeek FromJulianDate(unsigned long serial) noexcept
    {
        return static_cast<EDayOfWeek>((static_cast<std::uint32_t>(serial) - 1U) % 7U);
    }
    /// The weekday of the current local date.
    QVLIB_API static EDayOfWeek TodaysDay();

    /// The English name, or its first three letters; "Invalid" or "Inv" for a number that is no day.
    CQVString ToString(bool longForm) const { return ToString(GetValue(), longForm); }
    QVLIB_API static CQVString ToString(EDayOfWeek day, bool longForm);

    /// The day with that English name, long or short, ignoring case; InvalidDay for any other text and for null.
    QVLIB_API static EDayOfWeek FromString(wchar_t const * text);
    /// The first day whose short name (below four characters) or long name (else) starts with the first `length`
    /// characters of the text, ignoring case: "S" is Sunday, "Tu" Tuesday. InvalidDay when there is none.
    QVLIB_API static EDayOfWeek FromString(wchar_t const * text, unsigned long length);
};

} // namespace qvlib
