// A double as decimal digits, by whole-number arithmetic that is exact: for every value below 1e17 with the usual count
// of decimals. What lies outside goes by way of _fcvt_s, which gives the same digits.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

namespace qvlib::host
{

/// A double's text needs no more digits than these to give the same double again; the rest are zeros.
constexpr int kSignificant = 17;

constexpr std::uint64_t kPowersOfTen[] = {1,
                                          10,
                                          100,
                                          1000,
                                          10000,
                                          100000,
                                          1000000,
                                          10000000,
                                          100000000,
                                          1000000000,
                                          10000000000,
                                          100000000000,
                                          1000000000000,
                                          10000000000000,
                                          100000000000000,
                                          1000000000000000,
                                          10000000000000000,
                                          100000000000000000,
                                          1000000000000000000,
                                          10000000000000000000U};

/// How many decimal digits a number other than 0 has.
inline int DecimalLength(std::uint64_t value) noexcept
{
    // 1233 / 4096 is log10(2), closely enough for 64 bits.
    int const estimate = static_cast<int>(std::bit_width(value)) * 1233 >> 12;
    return estimate + (value >= kPowersOfTen[estimate]);
}

/// A positive finite value as mantissa * 2^exponent.
struct Binary
{
    std::uint64_t mantissa;
    int exponent;

    explicit Binary(double value) noexcept
    {
        std::uint64_t const bits = std::bit_cast<std::uint64_t>(value);
        std::uint64_t const fraction = bits & ((std::uint64_t{1} << 52) - 1);
        int const biased = static_cast<int>(bits >> 52 & 0x7FF);
        mantissa = biased == 0 ? fraction : fraction | std::uint64_t{1} << 52;
        exponent = std::max(biased, 1) - 1075;
    }
};

/// digits / 10^places
struct ScaledDecimal
{
    std::uint64_t digits;
    int places;
};

/// The positive `value` rounded, halves up, to `decimals` behind the point or to 17 significant digits if those are
/// fewer. False, and nothing done, outside the range of this arithmetic.
inline bool ScaleExactly(double value, int decimals, ScaledDecimal & scaled) noexcept
{
    __extension__ using Wide = unsigned __int128;
    if (!(value < 1e17) || decimals < 0 || (value < 1 && decimals > kSignificant))
        return false;
    Binary const binary(value);
    scaled.places = decimals;
    if (value >= 1)
        scaled.places = std::min(decimals, kSignificant - DecimalLength(static_cast<std::uint64_t>(value)));
    // At most 53 + 57 bits, then over a power of two.
    Wide const product = static_cast<Wide>(binary.mantissa) * kPowersOfTen[scaled.places];
    if (binary.exponent >= 0)
        scaled.digits = static_cast<std::uint64_t>(product << binary.exponent);
    else if (int const shift = -binary.exponent; shift < 128)
        scaled.digits = static_cast<std::uint64_t>((product + (Wide{1} << (shift - 1))) >> shift);
    else
        scaled.digits = 0;
    return true;
}

} // namespace qvlib::host
