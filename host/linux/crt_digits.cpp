// Digits from doubles. Every result is the exact value rounded once, halves away from zero; only exact halves need
// care, since the C++ library's own routines round those to even.
#include "qvlib/host/crt.h"

#include "host/internal/decimal.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace
{

using qvlib::host::Binary;
using qvlib::host::kSignificant;

constexpr int kInvalid = 22; ///< EINVAL
constexpr int kRange = 34;   ///< ERANGE
/// Up to 17 significant digits (18 when they were rounded up to a power of ten), and where the point stands.
struct Digits
{
    char text[24];
    int count = 0;
    int point = 0;
};

/// Whether value * 10^decimals lies exactly half way between two whole numbers; `decimals` can be negative.
bool IsHalfway(Binary value, int decimals) noexcept
{
    int const zeros = std::countr_zero(value.mantissa);
    std::uint64_t odd = value.mantissa >> zeros;
    // odd * 2^exponent * 2^decimals * 5^decimals has to be an odd number of halves.
    if (value.exponent + zeros + decimals != -1)
        return false;
    for (int fives = -decimals; fives > 0; --fives)
    {
        if (odd % 5 != 0)
            return false;
        odd /= 5;
    }
    return true;
}

/// Adds one to the last of the digits; when all were nines, they become a power of ten of the same count.
void RoundUp(Digits & digits) noexcept
{
    int i = digits.count;
    while (i > 0 && digits.text[i - 1] == '9')
        digits.text[--i] = '0';
    if (i > 0)
        ++digits.text[i - 1];
    else
    {
        digits.text[0] = '1';
        ++digits.point;
    }
}

/// `count` digits (1 to 18) as the C++ library rounds them.
void RoundedToEven(double value, int count, Digits & digits) noexcept
{
    char text[40];
    char const * const end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, count - 1).ptr;
    digits.text[0] = text[0];
    if (count > 1)
        std::memcpy(digits.text + 1, text + 2, static_cast<std::size_t>(count - 1));
    digits.count = count;
    char const * exponent = text + (count > 1 ? count + 1 : 1) + 1;
    bool const down = *exponent++ == '-';
    int power = 0;
    std::from_chars(exponent, end, power);
    digits.point = (down ? -power : power) + 1;
}

/// `count` significant digits (1 to 17) of a positive value.
void SignificantDigits(double value, int count, Digits & digits) noexcept
{
    RoundedToEven(value, count, digits);
    if (!IsHalfway(Binary(value), count - digits.point))
        return;
    Digits exact;
    RoundedToEven(value, count + 1, exact);
    if (exact.text[count] != '5')
        return;
    exact.count = count;
    RoundUp(exact);
    digits = exact;
}

/// Whether a positive value is at least half of 10^point, where `point` is that of its digits.
bool IsHalfOrMore(double value, Digits const & digits) noexcept
{
    if (digits.text[0] != '5' ||
        std::any_of(digits.text + 1, digits.text + digits.count, [](char c) { return c != '0'; }))
        return digits.text[0] >= '5';
    char exact[800];
    std::to_chars(exact, exact + sizeof exact, value, std::chars_format::scientific, 770);
    return exact[0] >= '5';
}

/// The digits of a positive value with `decimals` behind the point, but no more than 17 that count.
void FixedDigits(double value, int decimals, Digits & digits) noexcept
{
    if (qvlib::host::ScaledDecimal scaled; qvlib::host::ScaleExactly(value, decimals, scaled))
    {
        if (scaled.digits == 0)
        {
            digits.point = -decimals;
            return;
        }
        digits.count = static_cast<int>(
            std::to_chars(digits.text, digits.text + sizeof digits.text, scaled.digits).ptr - digits.text);
        digits.point = digits.count - scaled.places;
        return;
    }
    SignificantDigits(value, kSignificant, digits);
    int const wanted = decimals > 10000 ? kSignificant : digits.point + decimals;
    if (wanted >= kSignificant)
        return;
    if (wanted > 0)
    {
        // When 17 digits were rounded up to a power of ten, fewer digits are that power of ten as well.
        bool const power = digits.text[0] == '1' &&
                           std::all_of(digits.text + 1, digits.text + digits.count, [](char c) { return c == '0'; });
        if (power)
            digits.count = wanted;
        else
            SignificantDigits(value, wanted, digits);
    }
    else if (wanted == 0 && IsHalfOrMore(value, digits))
    {
        digits.text[0] = '1';
        digits.count = 1;
        ++digits.point;
    }
    else
    {
        digits.count = 0;
        digits.point = -decimals;
    }
}

/// Infinity and NaN, as the run-time library of the interface's time wrote them; null for a number.
char const * SpecialDigits(double value) noexcept
{
    std::uint64_t const bits = std::bit_cast<std::uint64_t>(value);
    if ((bits >> 52 & 0x7FF) != 0x7FF)
        return nullptr;
    std::uint64_t const fraction = bits & ((std::uint64_t{1} << 52) - 1);
    if (fraction == 0)
        return "1#INF";
    if ((fraction >> 51) == 0)
        return "1#SNAN";
    return std::signbit(value) && fraction == std::uint64_t{1} << 51 ? "1#IND" : "1#QNAN";
}

/// Writes the digits and as many zeros as are missing from `total`.
int Store(char * buffer, std::size_t size, char const * digits, int count, int total) noexcept
{
    if (total < 0 || static_cast<std::size_t>(total) >= size)
    {
        buffer[0] = '\0';
        return kRange;
    }
    count = std::min(count, total);
    std::memcpy(buffer, digits, static_cast<std::size_t>(count));
    std::memset(buffer + count, '0', static_cast<std::size_t>(total - count));
    buffer[total] = '\0';
    return 0;
}

int StoreSpecial(char * buffer, std::size_t size, char const * special, int total, int * point) noexcept
{
    *point = 1;
    int const length = static_cast<int>(std::strlen(special));
    return Store(buffer, size, special, length, std::max(length, total));
}

} // namespace

int _fcvt_s(char * buffer, std::size_t size, double value, int decimals, int * point, int * sign) noexcept
{
    if (buffer == nullptr || size == 0)
        return kInvalid;
    buffer[0] = '\0';
    if (point == nullptr || sign == nullptr)
        return kInvalid;
    *sign = std::signbit(value) ? 1 : 0;
    *point = 0;
    if (char const * const special = SpecialDigits(value))
        return StoreSpecial(buffer, size, special, std::min(decimals, 1 << 30) + 1, point);
    decimals = std::max(decimals, -1000); // no double has that many digits in front of its point
    Digits digits;
    if (value != 0)
        FixedDigits(std::abs(value), decimals, digits);
    *point = digits.point;
    long long const total = static_cast<long long>(digits.point) + decimals;
    return Store(buffer, size, digits.text, digits.count, static_cast<int>(std::clamp(total, 0LL, 0x7FFFFFFFLL)));
}

int _ecvt_s(char * buffer, std::size_t size, double value, int count, int * point, int * sign) noexcept
{
    if (buffer == nullptr || size == 0)
        return kInvalid;
    buffer[0] = '\0';
    if (point == nullptr || sign == nullptr)
        return kInvalid;
    *sign = std::signbit(value) ? 1 : 0;
    *point = 0;
    if (char const * const special = SpecialDigits(value))
        return StoreSpecial(buffer, size, special, count, point);
    Digits digits;
    if (value != 0)
        SignificantDigits(std::abs(value), std::clamp(count, 1, kSignificant), digits);
    *point = digits.point;
    return Store(buffer, size, digits.text, digits.count, std::max(count, 0));
}

int _gcvt_s(char * buffer, std::size_t size, double value, int count) noexcept
{
    if (buffer == nullptr || size == 0)
        return kInvalid;
    buffer[0] = '\0';
    // The longest text: sign, "0.000", the digits of a double and an exponent. Digits past the 17th are zeros, which
    // are dropped behind the point.
    char text[400];
    char * out = text;
    if (std::signbit(value))
        *out++ = '-';
    Digits digits;
    if (char const * const special = SpecialDigits(value))
    {
        *out++ = *special;
        *out++ = '.';
        out = std::copy_n(special + 1, std::strlen(special + 1), out);
    }
    else
    {
        count = std::max(count, 1);
        if (value != 0)
            SignificantDigits(std::abs(value), std::min(count, kSignificant), digits);
        else
            digits = {{'0'}, 1, 1};
        while (digits.count > 1 && digits.text[digits.count - 1] == '0')
            --digits.count;
        int const point = digits.point;
        if (point > count || point < -3)
        {
            *out++ = digits.text[0];
            if (digits.count > 1)
                *out++ = '.';
            out = std::copy_n(digits.text + 1, digits.count - 1, out);
            int const power = point - 1;
            *out++ = 'e';
            *out++ = power < 0 ? '-' : '+';
            int const magnitude = power < 0 ? -power : power;
            *out++ = static_cast<char>('0' + magnitude / 100);
            *out++ = static_cast<char>('0' + magnitude / 10 % 10);
            *out++ = static_cast<char>('0' + magnitude % 10);
        }
        else if (point <= 0)
        {
            *out++ = '0';
            *out++ = '.';
            out = std::fill_n(out, -point, '0');
            out = std::copy_n(digits.text, digits.count, out);
        }
        else
        {
            // A whole number keeps its point: "1500.".
            int const front = std::min(point, digits.count);
            out = std::copy_n(digits.text, front, out);
            out = std::fill_n(out, point - front, '0');
            *out++ = '.';
            out = std::copy_n(digits.text + front, digits.count - front, out);
        }
    }
    int const length = static_cast<int>(out - text);
    return Store(buffer, size, text, length, length);
}
