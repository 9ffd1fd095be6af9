#include "qvlib/host/crt.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

namespace
{

/// What an integer text says: a magnitude that stops at the largest unsigned 64-bit number, and a sign.
struct Number
{
    std::uint64_t magnitude = 0;
    bool negative = false;
    bool overflow = false;
    wchar_t const * end = nullptr; ///< where the text began when it holds no number
};

int DigitValue(wchar_t character) noexcept
{
    if (character >= L'a' && character <= L'z')
        return character - L'a' + 10;
    if (character >= L'A' && character <= L'Z')
        return character - L'A' + 10;
    int const digit = qvlib::host::DecimalDigit(static_cast<int>(character));
    return digit >= 0 ? digit : 99;
}

Number ReadInteger(wchar_t const * text, int base) noexcept
{
    Number number;
    number.end = text;
    if (text == nullptr || base < 0 || base == 1 || base > 36)
        return number;
    wchar_t const * at = text;
    while (qvlib::host::iswspace(static_cast<int>(*at)))
        ++at;
    if (*at == L'-' || *at == L'+')
        number.negative = *at++ == L'-';
    bool const prefixed = *at == L'0' && (at[1] == L'x' || at[1] == L'X') && DigitValue(at[2]) < 16;
    if (base == 0)
        base = prefixed ? 16 : DigitValue(*at) == 0 ? 8 : 10;
    if (base == 16 && prefixed)
        at += 2;
    std::uint64_t const unit = static_cast<std::uint64_t>(base);
    wchar_t const * const first = at;
    for (int digit; (digit = DigitValue(*at)) < base; ++at)
        if (__builtin_mul_overflow(number.magnitude, unit, &number.magnitude) ||
            __builtin_add_overflow(number.magnitude, static_cast<std::uint64_t>(digit), &number.magnitude))
            number.overflow = true;
    if (number.overflow)
        number.magnitude = std::numeric_limits<std::uint64_t>::max();
    if (at != first)
        number.end = at;
    else
        number.negative = false;
    return number;
}

template <class Signed>
Signed Saturated(Number const & number) noexcept
{
    std::uint64_t const bound = static_cast<std::uint64_t>(std::numeric_limits<Signed>::max());
    if (number.negative)
        return number.magnitude > bound ? std::numeric_limits<Signed>::min()
                                        : static_cast<Signed>(-static_cast<std::int64_t>(number.magnitude));
    return static_cast<Signed>(number.magnitude > bound ? bound : number.magnitude);
}

template <class Unsigned>
Unsigned SaturatedUnsigned(Number const & number) noexcept
{
    if (number.overflow || number.magnitude > std::numeric_limits<Unsigned>::max())
        return std::numeric_limits<Unsigned>::max();
    Unsigned const magnitude = static_cast<Unsigned>(number.magnitude);
    return number.negative ? static_cast<Unsigned>(Unsigned{0} - magnitude) : magnitude;
}

void StoreEnd(wchar_t ** end, wchar_t const * value) noexcept
{
    if (end)
        *end = const_cast<wchar_t *>(value);
}

bool IsAsciiDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

/// Digits that can decide how a number rounds: more than that lie below every double's halfway points, so that any
/// further digit that is not 0 counts as much as any other.
constexpr int kDecidingDigits = 800;

constexpr int kExactDigits = 19;
constexpr std::uint64_t kExactWhole = std::uint64_t{1} << 53;
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

double ReadDouble(wchar_t const * text, wchar_t const *& end) noexcept
{
    end = text;
    if (text == nullptr)
        return 0;
    wchar_t const * at = text;
    while (qvlib::host::iswspace(static_cast<int>(*at)))
        ++at;
    bool negative = false;
    if (*at == L'-' || *at == L'+')
        negative = *at++ == L'-';

    // The digits go into narrow text as a whole number; `scale` is the power of ten that is left over.
    char digits[kDecidingDigits + 40];
    int count = 0;
    std::uint64_t whole = 0;
    long long scale = 0;
    bool dropped = false;
    auto const take = [&](bool behindPoint)
    {
        wchar_t const * const from = at;
        for (; count == 0 && *at == L'0'; ++at)
        {
        }
        for (unsigned digit; (digit = static_cast<unsigned>(*at) - '0') <= 9U; ++at)
        {
            if (count >= kDecidingDigits)
            {
                dropped |= digit != 0;
                scale += 1;
                continue;
            }
            if (count < kExactDigits)
                whole = whole * 10 + digit;
            digits[count++] = static_cast<char>('0' + digit);
        }
        if (behindPoint)
            scale -= at - from;
        return at != from;
    };
    bool any = take(false);
    if (*at == L'.')
    {
        ++at;
        any |= take(true);
    }
    if (!any)
        return 0;
    end = at;
    if (*at == L'e' || *at == L'E' || *at == L'd' || *at == L'D')
    {
        wchar_t const * power = at + 1;
        bool const down = *power == L'-';
        if (*power == L'-' || *power == L'+')
            ++power;
        if (IsAsciiDigit(*power))
        {
            long long exponent = 0;
            for (; IsAsciiDigit(*power); ++power)
                if (exponent < (1LL << 50)) // far beyond any scale that the digits could make good
                    exponent = exponent * 10 + (*power - L'0');
            scale += down ? -exponent : exponent;
            end = power;
        }
    }
    double value = 0;
    if (count == 0)
        return negative ? -0.0 : 0.0;
    // A whole number and a power of ten that doubles hold exactly: one operation rounds once.
    if (count <= kExactDigits && whole <= kExactWhole && scale >= -22 && scale <= 22)
    {
        double const exact = static_cast<double>(whole);
        value = scale < 0 ? exact / kExactPowers[-scale] : exact * kExactPowers[scale];
        return negative ? -value : value;
    }
    if (dropped)
    {
        digits[count++] = '1';
        --scale;
    }
    if (scale + count > 310)
        value = std::numeric_limits<double>::infinity();
    else if (scale + count >= -330)
    {
        char * last = digits + count;
        if (scale != 0)
        {
            *last++ = 'e';
            last = std::to_chars(last, digits + sizeof digits, scale).ptr;
        }
        std::from_chars_result const result = std::from_chars(digits, last, value);
        if (result.ec == std::errc::result_out_of_range)
            value = scale + count > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return negative ? -value : value;
}

} // namespace

int _wtoi(wchar_t const * text) noexcept { return Saturated<std::int32_t>(ReadInteger(text, 10)); }

long _wtol(wchar_t const * text) noexcept { return Saturated<std::int32_t>(ReadInteger(text, 10)); }

__int64 _wtoi64(wchar_t const * text) noexcept { return Saturated<std::int64_t>(ReadInteger(text, 10)); }

unsigned __int64 _wcstoui64(wchar_t const * text, wchar_t ** end, int base) noexcept
{
    Number const number = ReadInteger(text, base);
    StoreEnd(end, number.end);
    return SaturatedUnsigned<std::uint64_t>(number);
}

double _wtof(wchar_t const * text) noexcept
{
    wchar_t const * end;
    return ReadDouble(text, end);
}

namespace qvlib::host
{

long wcstol(wchar_t const * text, wchar_t ** end, int base) noexcept
{
    Number const number = ReadInteger(text, base);
    StoreEnd(end, number.end);
    return Saturated<std::int32_t>(number);
}

unsigned long wcstoul(wchar_t const * text, wchar_t ** end, int base) noexcept
{
    Number const number = ReadInteger(text, base);
    StoreEnd(end, number.end);
    return SaturatedUnsigned<std::uint32_t>(number);
}

double wcstod(wchar_t const * text, wchar_t ** end) noexcept
{
    wchar_t const * last;
    double const value = ReadDouble(text, last);
    StoreEnd(end, last);
    return value;
}

} // namespace qvlib::host
