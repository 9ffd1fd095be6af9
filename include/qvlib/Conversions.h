// Conversions between values and text: how a number reads as text and which text counts as a number.
//
// All numeric text of the library passes through here. What a reader may not expect:
//  - a double is written in fixed notation, never with an exponent; trailing zeros go only from numbers of 0.1 and
//  more,
//    so 0.5 reads "0.5" but 0.05 reads "0.0500000000000000";
//  - a number in text never fails to parse: the parsers stop at the first character that they cannot use;
//  - `long` and `unsigned long` mean 32-bit quantities; text beyond their range gives the nearest bound.
//
//     qvlib::CQVString text;
//     qvlib::AsString(text, 1.5);                          // "1.5"
//     bool const on = qvlib::AsBool(L" yes");              // true
//     std::string const utf8 = qvlib::AsUtf8FromWStr(text);
//
// Identifiers and variants have their conversions in ComIdentifiers.h, colours in Color.h, bytes in HexDump.h.
// Thread rule: thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <string>

namespace qvlib
{

/// Every AsString assigns to `out` and returns it.
/// Integers: plain decimal, a minus sign where needed. An unsigned long of all ones is the interface's 4294967295.
QVLIB_API CQVString & AsString(CQVString & out, int value);
QVLIB_API CQVString & AsString(CQVString & out, long value);
QVLIB_API CQVString & AsString(CQVString & out, unsigned int value);
QVLIB_API CQVString & AsString(CQVString & out, unsigned long value);
QVLIB_API CQVString & AsString(CQVString & out, __int64 value);
QVLIB_API CQVString & AsString(CQVString & out, unsigned __int64 value);
/// "True" or "False" when `trueFalse` is set, "Yes" or "No" when it is not.
QVLIB_API CQVString & AsString(CQVString & out, bool value, bool trueFalse);
QVLIB_API std::wstring AsStlString(bool value, bool trueFalse);
/// Fixed notation with 16 decimals, or with `precision` of them (as many as 348 digits hold beside those in front of
/// the point). Zeros at the end are dropped from values of 0.1 and more only. Infinity reads "1.#INF", NaN "1.#QNAN".
QVLIB_API CQVString & AsString(CQVString & out, double value);
QVLIB_API CQVString & AsString(CQVString & out, double value, unsigned long precision);
/// The value through a `printf`-style format.
QVLIB_API CQVString & AsString(CQVString & out, double value, wchar_t const * format);
/// The value of AsCleanDouble, at precision 7 or the one given; the last form takes the widened value uncleaned.
QVLIB_API CQVString & AsString(CQVString & out, float value);
QVLIB_API CQVString & AsString(CQVString & out, float value, unsigned long precision);
QVLIB_API CQVString & AsString(CQVString & out, float value, wchar_t const * format);
/// The pointer's value in lower-case hexadecimal without a prefix.
QVLIB_API CQVString & AsString(CQVString & out, void * value);

/// False for null, empty and blank text. Text that begins with a letter is true when all of it is "true" or "yes" in
/// either case (blanks may stand in front, not behind); any other text is true when its whole number is not 0.
QVLIB_API bool AsBool(wchar_t const * text);
/// The number in the first `length` characters; 0 when there is none. Beyond the range: the nearest bound.
QVLIB_API int AsInteger(wchar_t const * text, unsigned long length);
/// The same through a signed parser with its bounds, the result taken as unsigned: "-1" gives 0xFFFFFFFF and
/// "4000000000" gives 0x7FFFFFFF.
QVLIB_API unsigned long AsULong(wchar_t const * text, unsigned long length);
/// The decimal number at the beginning of the text, into `out`; true when at least one character was used.
QVLIB_API bool AsLong(wchar_t const * text, long & out);
QVLIB_API bool AsUnsignedLong(wchar_t const * text, unsigned long & out);

/// The nearest whole number, or the nearest with `places` decimals (negative: tens, hundreds...); halves go away from
/// zero. NaN gives 0.
QVLIB_API double TLRoundFloat(double value);
QVLIB_API double TLRoundFloat(double value, long places);
/// A float widened and rounded to the digits that a float holds, so that 0.1f gives 0.1. The two are the same.
QVLIB_API double AsCleanDouble(float value);
QVLIB_API double AsDouble(float value);

/// UTF-8 to wide; null or empty text gives the empty string. Bytes that are no UTF-8 become U+FFFD.
QVLIB_API CStringT<wchar_t> AsCStringFromUtf8(std::string const & text);
QVLIB_API CStringT<wchar_t> AsCStringFromUtf8(char const * text);
/// Wide to UTF-8; null gives the empty string. Lone surrogates become U+FFFD.
QVLIB_API std::string AsUtf8FromWStr(wchar_t const * text);

} // namespace qvlib
