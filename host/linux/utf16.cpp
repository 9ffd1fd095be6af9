#include "qvlib/host/utf16.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace qvlib::host
{

namespace
{

/// Reads and writes units at a place that needs no alignment, in the byte order of the form.
struct LittleEndianBytes
{
    static std::uint16_t Swapped(std::uint16_t unit) noexcept
    {
        if constexpr (std::endian::native == std::endian::big)
            return static_cast<std::uint16_t>(unit << 8 | unit >> 8);
        return unit;
    }
    static std::uint16_t Read(unsigned char const * bytes, std::size_t index) noexcept
    {
        std::uint16_t unit;
        std::memcpy(&unit, bytes + 2 * index, sizeof unit);
        return Swapped(unit);
    }
    static void Write(unsigned char * bytes, std::size_t index, std::uint32_t unit) noexcept
    {
        std::uint16_t const stored = Swapped(static_cast<std::uint16_t>(unit));
        std::memcpy(bytes + 2 * index, &stored, sizeof stored);
    }
};

struct NativeUnits
{
    static std::uint16_t Read(char16_t const * units, std::size_t index) noexcept { return units[index]; }
    static void Write(char16_t * units, std::size_t index, std::uint32_t unit) noexcept
    {
        units[index] = static_cast<char16_t>(unit);
    }
};

/// Texts are worked through in blocks; a block that needs no surrogates takes a loop that vectorises.
constexpr std::size_t kBlock = 32;
constexpr std::size_t kStretch = 1U << 20;
constexpr std::size_t kShortStretch = 1U << 15;

template <class Form, class Place>
std::size_t Encode(wchar_t const * text, std::size_t length, Place * place) noexcept
{
    std::size_t out = 0;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= kBlock)
        {
            std::uint32_t all = 0;
            for (std::size_t k = 0; k < kBlock; ++k)
                all |= static_cast<std::uint32_t>(text[i + k]);
            if (all <= 0xFFFF)
            {
                for (std::size_t k = 0; k < kBlock; ++k)
                    Form::Write(place, out + k, static_cast<std::uint32_t>(text[i + k]));
                i += kBlock;
                out += kBlock;
                continue;
            }
        }
        std::size_t const end = length - i < kBlock ? length : i + kBlock;
        for (; i < end; ++i)
        {
            std::uint32_t const c = static_cast<std::uint32_t>(text[i]);
            if (c <= 0xFFFF)
                Form::Write(place, out++, c);
            else if (c <= 0x10FFFF)
            {
                Form::Write(place, out++, 0xD7C0 + (c >> 10));
                Form::Write(place, out++, 0xDC00 + (c & 0x3FF));
            }
            else
                Form::Write(place, out++, 0xFFFD);
        }
    }
    return out;
}

bool IsHigh(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }

bool IsLow(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }

template <class Form, class Place>
std::size_t DecodedLength(Place const * place, std::size_t unitCount) noexcept
{
    // Counted in stretches that 16 bits hold, so that the loop keeps to 16-bit lanes.
    std::size_t pairs = 0;
    for (std::size_t i = 1; i < unitCount;)
    {
        std::size_t const end = unitCount - i < kShortStretch ? unitCount : i + kShortStretch;
        std::uint16_t count = 0;
        for (; i < end; ++i)
        {
            std::uint16_t const high = Form::Read(place, i - 1) & 0xFC00;
            std::uint16_t const low = Form::Read(place, i) & 0xFC00;
            std::uint16_t const difference = static_cast<std::uint16_t>((high ^ 0xD800) | (low ^ 0xDC00));
            std::uint16_t const isPair = difference == 0;
            count = static_cast<std::uint16_t>(count + isPair);
        }
        pairs += count;
    }
    return unitCount - pairs;
}

template <class Form, class Place>
std::size_t Decode(Place const * place, std::size_t unitCount, wchar_t * text) noexcept
{
    std::size_t out = 0;
    std::size_t i = 0;
    while (i < unitCount)
    {
        if (unitCount - i >= kBlock)
        {
            std::uint16_t surrogates = 0;
            for (std::size_t k = 0; k < kBlock; ++k)
            {
                std::uint16_t const top = Form::Read(place, i + k) & 0xF800;
                std::uint16_t const isSurrogate = top == 0xD800;
                surrogates = static_cast<std::uint16_t>(surrogates | isSurrogate);
            }
            if (surrogates == 0)
            {
                for (std::size_t k = 0; k < kBlock; ++k)
                    text[out + k] = static_cast<wchar_t>(Form::Read(place, i + k));
                i += kBlock;
                out += kBlock;
                continue;
            }
        }
        std::size_t const end = unitCount - i < kBlock ? unitCount : i + kBlock;
        while (i < end)
        {
            std::uint32_t const unit = Form::Read(place, i++);
            if (IsHigh(unit) && i < unitCount && IsLow(Form::Read(place, i)))
                text[out++] =
                    static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (Form::Read(place, i++) - 0xDC00U));
            else
                text[out++] = static_cast<wchar_t>(unit);
        }
    }
    return out;
}

} // namespace

std::size_t Utf16Length(wchar_t const * text, std::size_t length) noexcept
{
    std::size_t pairs = 0;
    for (std::size_t i = 0; i < length;)
    {
        std::size_t const end = length - i < kStretch ? length : i + kStretch;
        std::uint32_t count = 0;
        for (; i < end; ++i)
            count += static_cast<std::uint32_t>(text[i]) - 0x10000U <= 0xFFFFFU;
        pairs += count;
    }
    return length + pairs;
}

std::size_t EncodeUtf16(wchar_t const * text, std::size_t length, unsigned char * bytes) noexcept
{
    return Encode<LittleEndianBytes>(text, length, bytes);
}

std::size_t EncodeUtf16(wchar_t const * text, std::size_t length, char16_t * units) noexcept
{
    return Encode<NativeUnits>(text, length, units);
}

std::size_t Utf16DecodedLength(unsigned char const * bytes, std::size_t unitCount) noexcept
{
    return DecodedLength<LittleEndianBytes>(bytes, unitCount);
}

std::size_t Utf16DecodedLength(char16_t const * units, std::size_t unitCount) noexcept
{
    return DecodedLength<NativeUnits>(units, unitCount);
}

std::size_t DecodeUtf16(unsigned char const * bytes, std::size_t unitCount, wchar_t * text) noexcept
{
    return Decode<LittleEndianBytes>(bytes, unitCount, text);
}

std::size_t DecodeUtf16(char16_t const * units, std::size_t unitCount, wchar_t * text) noexcept
{
    return Decode<NativeUnits>(units, unitCount, text);
}

std::u16string ToUtf16(std::wstring_view text)
{
    std::u16string units(Utf16Length(text.data(), text.size()), u'\0');
    EncodeUtf16(text.data(), text.size(), units.data());
    return units;
}

std::wstring FromUtf16(std::u16string_view units)
{
    std::wstring text(Utf16DecodedLength(units.data(), units.size()), L'\0');
    DecodeUtf16(units.data(), units.size(), text.data());
    return text;
}

} // namespace qvlib::host
