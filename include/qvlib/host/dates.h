// Dates as the platform's automation layer counts them, under the platform's names.
//
// A DATE is a double that counts days from midnight of 30 December 1899. Its fraction is the part of the day, and is
// positive for dates before that day too: -1.25 is 29 December 1899, six in the morning. The calendar is the proleptic
// Gregorian one, the range 1 January 100 to 31 December 9999.
//
//     SYSTEMTIME st;
//     if (VariantTimeToSystemTime(2.5, &st)) ...      // 1 January 1900, 12:00:00
//
// Which locale the user's default (LOCALE_USER_DEFAULT) is, host/locale.h tells. All functions here are thread-safe.
// Public reference: the automation layer's documentation of these functions (oleauto.h).
#pragma once

#if defined(_WIN32)
#include <oleauto.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"
#include "qvlib/host/variant.h"

/// A calendar record with the day of the year, counted from 1.
struct UDATE
{
    SYSTEMTIME st;
    USHORT wDayOfYear;
};

/// VarBstrFromDate writes, and VarDateFromStr reads, the time of day only.
constexpr ULONG VAR_TIMEVALUEONLY = 0x1;
/// VarBstrFromDate writes, and VarDateFromStr reads, the date only.
constexpr ULONG VAR_DATEVALUEONLY = 0x2;

/// Expands a date to calendar fields, rounded to whole seconds (an exact half goes up); wMilliseconds becomes 0.
/// 1, or 0 when the date is out of range or no number; the record is then untouched.
QVLIB_API INT VariantTimeToSystemTime(DATE date, SYSTEMTIME * time);

/// Folds calendar fields to a date. wDayOfWeek and wMilliseconds are ignored. Years 0 to 49 count from 2000, 50 to 99
/// from 1900. Days 0 to 31 roll over the end of a shorter month, and month 0 is the December before; so the record of
/// 0000-00-00 is 30 November 1999. 1, or 0 when a field is out of range; the date is then untouched.
QVLIB_API INT SystemTimeToVariantTime(SYSTEMTIME * time, DATE * date);

/// Expands a date to calendar fields with the weekday and the day of the year. The flags are without meaning here.
/// S_OK, or E_INVALIDARG when the date is out of range.
QVLIB_API HRESULT VarUdateFromDate(DATE date, ULONG flags, UDATE * fields);

/// Writes a date in the locale's short date form and long time form; the date alone when the time is midnight, the time
/// alone when the day is day 0. With VAR_TIMEVALUEONLY or VAR_DATEVALUEONLY the one part only. The caller owns the text
/// and frees it with SysFreeString. S_OK, or E_INVALIDARG for a date out of range; the text is then null.
QVLIB_API HRESULT VarBstrFromDate(DATE date, LCID locale, ULONG flags, BSTR * text);

/// Reads a date and time of day from free text in the locale's order of fields, with its month and day names. A missing
/// year is the running one, a text that is a time only has day 0. S_OK, or DISP_E_TYPEMISMATCH for text that is none;
/// the date is then untouched.
QVLIB_API HRESULT VarDateFromStr(OLECHAR const * text, LCID locale, ULONG flags, DATE * date);

#endif
