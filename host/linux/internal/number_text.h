// Numbers as the platform's automation layer reads and writes them as text: in a locale's signs, with currency signs,
// thousands separators, brackets for negative amounts, and "&H" and "&O" for other bases.
#pragma once

#include "qvlib/host/types.h"
#include "qvlib/host/variant.h"

#include <string>
#include <string_view>

namespace qvlib::host
{

/// A number read from text: digits (ASCII, no leading zeros, no digit at all for zero) times ten to `exponent`, or,
/// with `isBits`, a pattern of bits.
struct NumberText
{
    bool negative = false;
    bool isBits = false;
    std::string digits;
    LONGLONG exponent = 0;
    ULONGLONG bits = 0;
};

/// DISP_E_TYPEMISMATCH for a text that is no number. Blanks may stand on both sides.
HRESULT ReadNumber(std::wstring_view text, LCID locale, NumberText & number);

/// The nearest double for what most numbers look like: digits, perhaps with a sign in front and a point among them.
/// False, and nothing said, for any other text, number or not.
bool ReadPlainDouble(std::wstring_view text, LCID locale, double & value);
/// The nearest double. DISP_E_OVERFLOW beyond the largest.
HRESULT ToDouble(NumberText const & number, double & value);
/// The magnitude as a whole number, halves to the even one. DISP_E_OVERFLOW beyond 64 bits.
HRESULT ToWhole(NumberText const & number, int extraPlaces, ULONGLONG & magnitude);
/// A decimal with as many places as fit. DISP_E_OVERFLOW beyond 96 bits.
HRESULT ToDecimal(NumberText const & number, DECIMAL & decimal);

/// The digits of a decimal, with its point as the exponent.
NumberText FromDecimal(DECIMAL const & decimal);

/// A finite or other double with `digits` significant digits in the locale's decimal sign.
std::wstring DoubleText(double value, int digits, LCID locale);
/// Fixed notation, zeros behind the point dropped.
std::wstring FixedText(NumberText const & number, LCID locale);

} // namespace qvlib::host
