// Locale data and the formatting of numbers, money, dates and times, under the platform's names.
//
//     wchar_t text[64];
//     if (GetNumberFormatW(0x407, 0, L"1234567.891", nullptr, text, 64) > 0) ...   // 1.234.567,89
//     SYSTEMTIME day = {2024, 2, 0, 29, 0, 0, 0, 0};
//     GetDateFormatW(0x419, 0, &day, L"d MMMM yyyy", text, 64);                      // 29 февраля 2024
//
// What a reader may not expect:
//  - Locales are the platform's own list, whatever is installed on the machine, and setlocale plays no part. The user's
//    default is told in host/locale.h. Neutral ids (0x7, German) stand for their usual region (0x407).
//  - Values are text: an optional "-", digits and one ".". Nothing else is taken, no blanks, no exponent, no "+".
//  - Buffer sizes and results count wchar_t, with the terminating NUL. A size of 0 asks for the size that is needed,
//    and the buffer may be null then. 0 is failure, with the reason in GetLastError: ERROR_INSUFFICIENT_BUFFER for a
//    buffer that is too small, ERROR_INVALID_FLAGS for flags or an item that do not exist, ERROR_INVALID_PARAMETER for
//    everything else, an unknown locale too. A buffer is untouched by a failure.
//  - All dates are Gregorian, in every locale.
//
// All functions are thread-safe. Public reference: the platform's documentation of national language support
// (winnls.h).
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"

// Items of GetLocaleInfoW.
constexpr LCTYPE LOCALE_ILANGUAGE = 0x1;          ///< the id in four hexadecimal digits
constexpr LCTYPE LOCALE_SLANGUAGE = 0x2;          ///< language and region, in English here
constexpr LCTYPE LOCALE_SNATIVELANGNAME = 0x4;    ///< the language in its own words
constexpr LCTYPE LOCALE_SCOUNTRY = 0x6;           ///< the region, in English here
constexpr LCTYPE LOCALE_SABBREVCTRYNAME = 0x7;    ///< the region's three letters
constexpr LCTYPE LOCALE_SNATIVECTRYNAME = 0x8;    ///< the region in the locale's words
constexpr LCTYPE LOCALE_SLIST = 0xC;              ///< what separates the items of a list
constexpr LCTYPE LOCALE_IMEASURE = 0xD;           ///< 0 metric, 1 of the United States
constexpr LCTYPE LOCALE_SDECIMAL = 0xE;           ///< decimal separator
constexpr LCTYPE LOCALE_STHOUSAND = 0xF;          ///< separator of groups of digits
constexpr LCTYPE LOCALE_SGROUPING = 0x10;         ///< sizes of the groups, "3;0"; 0 at the end repeats the last
constexpr LCTYPE LOCALE_IDIGITS = 0x11;           ///< decimals of a number
constexpr LCTYPE LOCALE_ILZERO = 0x12;            ///< 1: a zero stands before the separator
constexpr LCTYPE LOCALE_SCURRENCY = 0x14;         ///< sign of the currency
constexpr LCTYPE LOCALE_SINTLSYMBOL = 0x15;       ///< the currency's three letters
constexpr LCTYPE LOCALE_SMONDECIMALSEP = 0x16;    ///< the same four for money
constexpr LCTYPE LOCALE_SMONTHOUSANDSEP = 0x17;   ///< see LOCALE_STHOUSAND
constexpr LCTYPE LOCALE_SMONGROUPING = 0x18;      ///< see LOCALE_SGROUPING
constexpr LCTYPE LOCALE_ICURRDIGITS = 0x19;       ///< decimals of an amount
constexpr LCTYPE LOCALE_IINTLCURRDIGITS = 0x1A;   ///< decimals of an amount with the currency's letters
constexpr LCTYPE LOCALE_ICURRENCY = 0x1B;         ///< form of a positive amount, see CURRENCYFMTW
constexpr LCTYPE LOCALE_INEGCURR = 0x1C;          ///< form of a negative amount, see CURRENCYFMTW
constexpr LCTYPE LOCALE_SDATE = 0x1D;             ///< what stands between the fields of a short date
constexpr LCTYPE LOCALE_STIME = 0x1E;             ///< what stands between hours and minutes
constexpr LCTYPE LOCALE_SSHORTDATE = 0x1F;        ///< pattern of a short date
constexpr LCTYPE LOCALE_SLONGDATE = 0x20;         ///< pattern of a long date
constexpr LCTYPE LOCALE_IDATE = 0x21;             ///< order of a short date: 0 month first, 1 day first, 2 year first
constexpr LCTYPE LOCALE_ITIME = 0x23;             ///< 1: hours from 0 to 23
constexpr LCTYPE LOCALE_S1159 = 0x28;             ///< mark of the hours before noon
constexpr LCTYPE LOCALE_S2359 = 0x29;             ///< mark of the hours from noon on
constexpr LCTYPE LOCALE_SDAYNAME1 = 0x2A;         ///< Monday; the other days follow, Sunday last
constexpr LCTYPE LOCALE_SABBREVDAYNAME1 = 0x31;   ///< Monday, shortened; the other days follow
constexpr LCTYPE LOCALE_SMONTHNAME1 = 0x38;       ///< January; the other months follow
constexpr LCTYPE LOCALE_SABBREVMONTHNAME1 = 0x44; ///< January, shortened; the other months follow
constexpr LCTYPE LOCALE_SPOSITIVESIGN = 0x50;     ///< empty
constexpr LCTYPE LOCALE_SNEGATIVESIGN = 0x51;     ///< sign of negative numbers
constexpr LCTYPE LOCALE_SISO639LANGNAME = 0x59;   ///< the language's two letters, three where there are no two
constexpr LCTYPE LOCALE_SISO3166CTRYNAME = 0x5A;  ///< the region's two letters
constexpr LCTYPE LOCALE_SNAME = 0x5C;             ///< the locale's name, as from LCIDToLocaleName
constexpr LCTYPE LOCALE_SISO639LANGNAME2 = 0x67;  ///< the language's three letters
constexpr LCTYPE LOCALE_SISO3166CTRYNAME2 = 0x68; ///< the region's three letters
constexpr LCTYPE LOCALE_SPERCENT = 0x76;          ///< percent sign
constexpr LCTYPE LOCALE_SMONTHDAY = 0x78;         ///< pattern of a month and its day
constexpr LCTYPE LOCALE_SSHORTTIME = 0x79;        ///< pattern of a time without seconds
constexpr LCTYPE LOCALE_SENGLANGUAGE = 0x1001;    ///< the language in English
constexpr LCTYPE LOCALE_SENGCOUNTRY = 0x1002;     ///< the region in English
constexpr LCTYPE LOCALE_STIMEFORMAT = 0x1003;     ///< pattern of a time
constexpr LCTYPE LOCALE_SYEARMONTH = 0x1006;      ///< pattern of a month and its year
constexpr LCTYPE LOCALE_SENGCURRNAME = 0x1007;    ///< the currency in English
constexpr LCTYPE LOCALE_SNATIVECURRNAME = 0x1008; ///< the currency in the locale's words
constexpr LCTYPE LOCALE_ICALENDARTYPE = 0x1009;   ///< the usual calendar: 1 Gregorian
constexpr LCTYPE LOCALE_IFIRSTDAYOFWEEK = 0x100C; ///< 0 Monday to 6 Sunday
constexpr LCTYPE LOCALE_INEGNUMBER = 0x1010;      ///< form of a negative number, see NUMBERFMTW

// Flags beside an item; LOCALE_NOUSEROVERRIDE is in types.h and changes nothing.
constexpr LCTYPE LOCALE_USE_CP_ACP = 0x40000000;    ///< without effect on wide text
constexpr LCTYPE LOCALE_RETURN_NUMBER = 0x20000000; ///< write a DWORD; only for items that are numbers (LOCALE_I...)
constexpr LCTYPE LOCALE_RETURN_GENITIVE_NAMES = 0x10000000; ///< month names as they stand beside a day

// Flags of GetDateFormatW. The first two, YEARMONTH and MONTHDAY choose the pattern: one of them, with a null pattern.
constexpr DWORD DATE_SHORTDATE = 0x1;        ///< the short pattern, which is the usual one
constexpr DWORD DATE_LONGDATE = 0x2;         ///< the long pattern
constexpr DWORD DATE_USE_ALT_CALENDAR = 0x4; ///< without effect: all dates are Gregorian
constexpr DWORD DATE_YEARMONTH = 0x8;        ///< month and year
constexpr DWORD DATE_LTRREADING = 0x10;      ///< without effect: no marks of direction are added
constexpr DWORD DATE_RTLREADING = 0x20;      ///< without effect
constexpr DWORD DATE_AUTOLAYOUT = 0x40;      ///< without effect
constexpr DWORD DATE_MONTHDAY = 0x80;        ///< month and day

// Flags of GetTimeFormatW. What is left out takes the text before it along, up to the field before.
constexpr DWORD TIME_NOMINUTESORSECONDS = 0x1; ///< leave out minutes and seconds
constexpr DWORD TIME_NOSECONDS = 0x2;          ///< leave out seconds
constexpr DWORD TIME_NOTIMEMARKER = 0x4;       ///< leave out the mark of the half of the day
constexpr DWORD TIME_FORCE24HOURFORMAT = 0x8;  ///< hours from 0 to 23; a mark stays where the pattern has one

constexpr DWORD LCID_INSTALLED = 0x1;       ///< the locales that are installed: all that are known
constexpr DWORD LCID_SUPPORTED = 0x2;       ///< the locales that are known
constexpr DWORD LCID_ALTERNATE_SORTS = 0x4; ///< with EnumSystemLocalesW: the ids with another sort order

/// With LCIDToLocaleName: a neutral id gives the language's name ("de"), not that of its usual region.
constexpr DWORD LOCALE_ALLOW_NEUTRAL_NAMES = 0x08000000;
/// The longest name of a locale, with its NUL.
constexpr int LOCALE_NAME_MAX_LENGTH = 85;

/// How a number is written. Separators hold up to three characters.
struct _numberfmtW
{
    UINT NumDigits;   ///< decimals, 0 to 9; the rest is rounded, halves away from zero
    UINT LeadingZero; ///< 1: a zero before the separator where nothing else stands; else 0
    /// Sizes of the groups: 3 for 1,234,567; 32 for 12,34,567; 0 for none; with a 0 behind (30) the last does not
    /// repeat.
    UINT Grouping;
    LPWSTR lpDecimalSep;
    LPWSTR lpThousandSep;
    UINT NegativeOrder; ///< 0 (1.1), 1 -1.1, 2 - 1.1, 3 1.1-, 4 1.1 -
};
using NUMBERFMTW = _numberfmtW;
using LPNUMBERFMTW = _numberfmtW *;

/// How an amount is written.
struct _currencyfmtW
{
    UINT NumDigits; ///< as in NUMBERFMTW, as are the next four
    UINT LeadingZero;
    UINT Grouping;
    LPWSTR lpDecimalSep;
    LPWSTR lpThousandSep;
    /// 0 ($1), 1 -$1, 2 $-1, 3 $1-, 4 (1$), 5 -1$, 6 1-$, 7 1$-, 8 -1 $, 9 -$ 1, 10 1 $-, 11 $ 1-, 12 $ -1, 13 1- $,
    /// 14 ($ 1), 15 (1 $)
    UINT NegativeOrder;
    UINT PositiveOrder; ///< 0 $1, 1 1$, 2 $ 1, 3 1 $
    LPWSTR lpCurrencySymbol;
};
using CURRENCYFMTW = _currencyfmtW;
using LPCURRENCYFMTW = _currencyfmtW *;

/// Called for each locale with its id in eight hexadecimal digits; FALSE ends the walk.
using LOCALE_ENUMPROCW = BOOL(CALLBACK *)(LPWSTR);

/// Reads one item of a locale into `buffer`. The result is the length with its NUL. With LOCALE_RETURN_NUMBER a DWORD
/// is written to the buffer, which needs one wchar_t for it; the result is 2 then, as wherever a wchar_t has 16 bits.
QVLIB_API int GetLocaleInfoW(LCID locale, LCTYPE item, LPWSTR buffer, int size);

/// Writes a number in a locale's form, or in that of `format`, with which LOCALE_NOUSEROVERRIDE is refused.
QVLIB_API int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, NUMBERFMTW const * format, LPWSTR buffer,
                               int size);

/// Writes an amount of money in a locale's form, or in that of `format`, with which LOCALE_NOUSEROVERRIDE is refused.
QVLIB_API int GetCurrencyFormatW(LCID locale, DWORD flags, LPCWSTR value, CURRENCYFMTW const * format, LPWSTR buffer,
                                 int size);

/// Writes a date (the running local one for null) in one of the locale's patterns, or in `pattern`: d, dd, ddd (short
/// name), dddd; M, MM, MMM (short name), MMMM; yy (y is the same), yyyy; g or gg (era); 'text'. Months that stand with
/// a day have the form that goes with it. Days of the week are reckoned, not read. Years from 1601 to 30827.
QVLIB_API int GetDateFormatW(LCID locale, DWORD flags, SYSTEMTIME const * date, LPCWSTR pattern, LPWSTR buffer,
                             int size);

/// Writes a time (the running local one for null) in the locale's pattern or in `pattern`: h, hh (1 to 12), H, HH (0 to
/// 23), m, mm, s, ss, t (first letter of the mark), tt, 'text'.
QVLIB_API int GetTimeFormatW(LCID locale, DWORD flags, SYSTEMTIME const * time, LPCWSTR pattern, LPWSTR buffer,
                             int size);

/// The id that a default or neutral id stands for; any other id as it is.
QVLIB_API LCID ConvertDefaultLocale(LCID locale) noexcept;
/// Whether the id names a locale that is known; neutral and default ids do. `flags` is LCID_INSTALLED or
/// LCID_SUPPORTED.
QVLIB_API BOOL IsValidLocale(LCID locale, DWORD flags) noexcept;
/// The name of a locale id ("de-DE"; empty for the invariant locale). The flags are 0 or LOCALE_ALLOW_NEUTRAL_NAMES.
QVLIB_API int LCIDToLocaleName(LCID locale, LPWSTR name, int size, DWORD flags);
/// The id of a locale name, without regard to case; null is the user's default, "" the invariant locale. 0 for a name
/// that has no id; a language alone gives its usual region unless neutral names are allowed.
QVLIB_API LCID LocaleNameToLCID(LPCWSTR name, DWORD flags);
/// Calls `callback` for each locale that is known, the main locale of every region before the region's others. TRUE
/// also when the callback ended the walk.
QVLIB_API BOOL EnumSystemLocalesW(LOCALE_ENUMPROCW callback, DWORD flags);

/// The running thread's locale, the user's default at first.
QVLIB_API LCID GetThreadLocale() noexcept;
/// Sets it. FALSE, and nothing changed, for an id that names no locale.
QVLIB_API BOOL SetThreadLocale(LCID locale) noexcept;

#endif
