// How a locale writes dates and times, and the names that it reads them by.
#pragma once

#include "qvlib/host/types.h"

#include <string>
#include <vector>

namespace qvlib::host::internal
{

/// The order of the fields in a locale's short date.
enum class FieldOrder
{
    MonthDayYear,
    DayMonthYear,
    YearMonthDay
};

/// A name in folded case and what it stands for.
struct DateName
{
    enum Kind
    {
        Month,   ///< value 1 to 12
        Weekday, ///< no value: a weekday is read and not looked at
        HalfDay  ///< value 0 before noon, 1 behind it
    };

    std::wstring text;
    Kind kind;
    unsigned value;
};

/// The forms of one locale. Patterns have the platform's letters (d dd M MM MMM yy yyyy H HH h hh m mm s ss tt) and
/// texts between quotes.
struct DateForms
{
    std::wstring date;
    std::wstring time;
    std::wstring am;
    std::wstring pm;
    std::wstring shortMonths[12];
    std::vector<DateName> names; ///< longest first
    FieldOrder order = FieldOrder::MonthDayYear;
    bool dotInDates = false;   ///< a dot stands between the fields of a date
    bool dotInTimes = false;   ///< a dot stands between the fields of a time; so it does wherever dates have none
    bool halfDayFirst = false; ///< the mark of the half of the day stands before the time
    bool digitNames = false;   ///< a name starts with a digit, as in "5月"
    LCID locale = 0;
};

/// The forms of a locale id, kept for good once made; null for an id that names no locale. Thread-safe.
DateForms const * DateFormsOf(LCID locale);

/// One character in folded case; all blanks become one.
wchar_t FoldNameCharacter(wchar_t character);

} // namespace qvlib::host::internal
