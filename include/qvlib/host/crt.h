// The platform's run-time library: numbers from text, digits from numbers, character tests and case.
//
// The functions behave as that library did in its "C" locale at the time of the interface, whatever setlocale says:
//  - letters fold by ASCII alone; blanks and decimal digits are those of Unicode;
//  - numbers in text are read up to the first character that does not fit; "inf", "nan" and hexadecimal floating-point
//    forms are not numbers; results are correctly rounded; "d" marks an exponent as "e" does;
//  - a text beyond the range of a 32-bit number gives the nearest bound, also where `long` has 64 bits;
//  - digits from numbers are correctly rounded, halves away from zero, at most 17 of them, then zeros.
//
// What has a name that the C library uses too stands in qvlib::host. Thread rule: thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <cstddef>

#if !defined(_WIN32)

/// Decimal numbers behind blanks and an optional sign. 0 when there is none; null text gives 0.
QVLIB_API int _wtoi(wchar_t const * text) noexcept;
QVLIB_API long _wtol(wchar_t const * text) noexcept;
QVLIB_API __int64 _wtoi64(wchar_t const * text) noexcept;
QVLIB_API double _wtof(wchar_t const * text) noexcept;
/// A number in a base of 2 to 36, or 0 for the prefixes 0 and 0x; a minus sign negates the result as an unsigned
/// number.
/// `*end`, when given, becomes the first character behind the number, or `text` when there is none. A bad base gives 0.
QVLIB_API unsigned __int64 _wcstoui64(wchar_t const * text, wchar_t ** end, int base) noexcept;

/// Below, at or above 0 with ASCII letters folded to lower case; the second looks at up to `count` characters.
QVLIB_API int _wcsicmp(wchar_t const * a, wchar_t const * b) noexcept;
QVLIB_API int _wcsnicmp(wchar_t const * a, wchar_t const * b, std::size_t count) noexcept;

/// The digits of `value` with `decimals` of them behind the point (fewer than 0: rounded in front of it), without sign
/// and point, ended by a NUL. `*point` is where the point stands relative to the first digit; `*sign` is 1 for a
/// negative value. Infinity and NaN give "1#INF" and "1#QNAN" and zeros, with the point behind the 1.
/// 0 on success; 22 for null pointers or no room at all; 34 when the digits do not fit, `buffer` then being empty.
QVLIB_API int _fcvt_s(char * buffer, std::size_t size, double value, int decimals, int * point, int * sign) noexcept;
/// The same with `digits` significant digits; `*point` is 0 and the digits are zeros for zero.
QVLIB_API int _ecvt_s(char * buffer, std::size_t size, double value, int digits, int * point, int * sign) noexcept;
/// `value` as text with `digits` significant digits: fixed notation, or with an exponent of three digits where the
/// value is below 1e-4 or has more than `digits` digits in front of the point. Trailing zeros behind the point are
/// dropped. Errors as above.
QVLIB_API int _gcvt_s(char * buffer, std::size_t size, double value, int digits) noexcept;

/// The thread's floating-point status: 0x01 inexact, 0x02 underflow, 0x04 overflow, 0x08 division by zero, 0x10
/// invalid. Nothing is cleared.
QVLIB_API unsigned int _statusfp() noexcept;

namespace qvlib::host
{

/// Numbers in a base of 2 to 36, or 0 for the prefixes 0 and 0x, saturating at 32 bits. `*end`, when given, becomes the
/// first character behind the number, or `text` when there is none. The unsigned form negates behind a minus sign.
QVLIB_API long wcstol(wchar_t const * text, wchar_t ** end, int base) noexcept;
QVLIB_API unsigned long wcstoul(wchar_t const * text, wchar_t ** end, int base) noexcept;
QVLIB_API double wcstod(wchar_t const * text, wchar_t ** end) noexcept;

/// Tests of the "C" locale below 0x100; false above.
QVLIB_API bool isspace(int character) noexcept;
QVLIB_API bool isalpha(int character) noexcept;
/// Unicode's blanks and line ends.
QVLIB_API bool iswspace(int character) noexcept;
/// Decimal digits of any script in the basic plane; the second gives the digit's value, or -1.
QVLIB_API bool iswdigit(int character) noexcept;
QVLIB_API int DecimalDigit(int character) noexcept;
/// Letters and decimal digits of any script in the basic plane.
QVLIB_API bool iswalnum(int character) noexcept;
/// ASCII letters only.
constexpr wchar_t towlower(wchar_t character) noexcept
{
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
}
constexpr wchar_t towupper(wchar_t character) noexcept
{
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - 32) : character;
}

} // namespace qvlib::host

#endif
