// ECalendarMonth and its wrapper CalendarMonthX. Months count from 0 here; the platform's records count from 1.
//
//     qvlib::CalendarMonthX month = qvlib::CalendarMonthX::GetMonthOneBased(5);
//     month.IsMay();                                                    // true
//     qvlib::CalendarMonthX::ToString(qvlib::CalendarMonthX::May, false); // "May"
#pragma once

#include "qvlib/EnumHelper.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

/// The months of the year, counted from 0.
enum ECalendarMonth : int
{
    January = 0,
    February = 1,
    March = 2,
    April = 3,
    May = 4,
    June = 5,
    July = 6,
    August = 7,
    September = 8,
    October = 9,
    November = 10,
    December = 11,
    InvalidMonth = -1
};

/// A month with its constants, predicates, setters and names. A default one is January. Thread-compatible.
class CalendarMonthX : public CTLEnumHelper<ECalendarMonth>
{
public:
    using CTLEnumHelper::CTLEnumHelper;
    using CTLEnumHelper::operator=;
    CalendarMonthX() noexcept = default;

    QVLIB_ENUM_MEMBER(ECalendarMonth, January, L"January")
    QVLIB_ENUM_MEMBER(ECalendarMonth, February, L"February")
    QVLIB_ENUM_MEMBER(ECalendarMonth, March, L"March")
    QVLIB_ENUM_MEMBER(ECalendarMonth, April, L"April")
    QVLIB_ENUM_MEMBER(ECalendarMonth, May, L"May")
    QVLIB_ENUM_MEMBER(ECalendarMonth, June, L"June")
    QVLIB_ENUM_MEMBER(ECalendarMonth, July, L"July")
    QVLIB_ENUM_MEMBER(ECalendarMonth, August, L"August")
    QVLIB_ENUM_MEMBER(ECalendarMonth, September, L"September")
    QVLIB_ENUM_MEMBER(ECalendarMonth, October, L"October")
    QVLIB_ENUM_MEMBER(ECalendarMonth, November, L"November")
    QVLIB_ENUM_MEMBER(ECalendarMonth, December, L"December")
    // The name differs from what ToString gives ("Invalid") on purpose: stored texts have it.
    QVLIB_ENUM_MEMBER(ECalendarMonth, InvalidMonth, L"InvalidMonth")

    /// The month counted from 0; InvalidMonth outside 0 to 11.
    static constexpr ECalendarMonth GetMonth(int month) noexcept
    {
        return month >= 0 && month <= 11 ? static_cast<ECalendarMonth>(month) : InvalidMonth;
    }
    /// The month counted from 1; InvalidMonth outside 1 to 12.
    static constexpr ECalendarMonth GetMonthOneBased(int month) noexcept
    {
        return month >= 1 && month <= 12 ? static_cast<ECalendarMonth>(month - 1) : InvalidMonth;
    }
    /// The month of a calendar record; InvalidMonth when the record holds none.
    static constexpr ECalendarMonth GetMonth(SYSTEMTIME const & time) noexcept { return GetMonthOneBased(time.wMonth); }

    /// The English name, or its first three letters; "Invalid" or "Inv" for a number that is no month.
    CQVString ToString(bool longForm) const { return ToString(GetValue(), longForm); }
    QVLIB_API static CQVString ToString(ECalendarMonth month, bool longForm);
};

} // namespace qvlib
