#include "foundation/internal/base64.h"

#include "qvlib/framework/exceptions.h"

#include <array>
#include <cstdint>
#include <cwchar>

namespace qvlib::internal
{

namespace
{

constexpr wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineLength = 76;
constexpr std::size_t kBytesPerLine = kLineLength / 4 * 3;
constexpr std::uint8_t kSkipped = 0x80;

constexpr std::array<std::uint8_t, 128> MakeValues()
{
    std::array<std::uint8_t, 128> values{};
    for (std::uint8_t & value : values)
        value = kSkipped;
    for (std::uint8_t i = 0; i < 64; ++i)
        values[static_cast<std::size_t>(kAlphabet[i])] = i;
    return values;
}
constexpr std::array<std::uint8_t, 128> kValues = MakeValues();

std::uint32_t ValueOf(wchar_t character) noexcept
{
    auto const code = static_cast<std::uint32_t>(character);
    return code < kValues.size() ? kValues[code] : kSkipped;
}

wchar_t * EncodeGroups(unsigned char const * bytes, std::size_t groups, wchar_t * text) noexcept
{
    for (; groups != 0; --groups, bytes += 3, text += 4)
    {
        std::uint32_t const bits =
            static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8 | bytes[2];
        text[0] = kAlphabet[bits >> 18];
        text[1] = kAlphabet[bits >> 12 & 0x3F];
        text[2] = kAlphabet[bits >> 6 & 0x3F];
        text[3] = kAlphabet[bits & 0x3F];
    }
    return text;
}

std::size_t DecodedSize(wchar_t const * text, std::size_t length) noexcept
{
    std::size_t characters = 0;
    for (std::size_t i = 0; i < length; ++i)
        characters += ValueOf(text[i]) != kSkipped;
    return characters / 4 * 3 + characters % 4 * 6 / 8;
}

} // namespace

std::size_t Base64EncodedSize(std::size_t length, unsigned flags)
{
    if (length > 2147483647U / 4)
        AfxThrowOleException(E_FAIL);
    std::size_t size = length * 4 / 3;
    if (!(flags & kBase64NoPadding))
        size += length % 3;
    std::size_t const lineEnds = (size / kLineLength + 1) * 2;
    if (std::size_t const partial = size % kLineLength % 4; partial != 0)
        size += 4 - partial;
    return flags & kBase64NoLineBreaks ? size : size + lineEnds;
}

bool Base64Encode(unsigned char const * bytes, std::size_t length, wchar_t * text, std::size_t * size, unsigned flags)
{
    if (bytes == nullptr || text == nullptr || size == nullptr || *size < Base64EncodedSize(length, flags))
        return false;
    wchar_t * out = text;
    std::size_t left = length;
    if (!(flags & kBase64NoLineBreaks))
    {
        for (; left > kBytesPerLine; left -= kBytesPerLine, bytes += kBytesPerLine)
        {
            out = EncodeGroups(bytes, kBytesPerLine / 3, out);
            *out++ = L'\r';
            *out++ = L'\n';
        }
    }
    out = EncodeGroups(bytes, left / 3, out);
    bytes += left / 3 * 3;
    left %= 3;
    if (left != 0)
    {
        std::uint32_t const bits =
            static_cast<std::uint32_t>(bytes[0]) << 16 | (left == 2 ? static_cast<std::uint32_t>(bytes[1]) << 8 : 0);
        *out++ = kAlphabet[bits >> 18];
        *out++ = kAlphabet[bits >> 12 & 0x3F];
        if (left == 2)
            *out++ = kAlphabet[bits >> 6 & 0x3F];
        if (!(flags & kBase64NoPadding))
            for (; left < 3; ++left)
                *out++ = L'=';
    }
    *size = static_cast<std::size_t>(out - text);
    return true;
}

bool Base64Decode(wchar_t const * text, std::size_t length, unsigned char * bytes, std::size_t * size)
{
    if (text == nullptr || size == nullptr)
        return false;
    length = ::wcsnlen(text, length); // nothing behind a zero character is read, whatever length was told
    // Three bytes a group of four, and two more at most: with that much room there is no need to count first.
    if (bytes == nullptr || *size < length / 4 * 3 + 2)
    {
        std::size_t const needed = DecodedSize(text, length);
        bool const fits = bytes != nullptr && *size >= needed;
        *size = needed;
        if (!fits)
            return false;
    }
    unsigned char * out = bytes;
    wchar_t const * const end = text + length;
    std::uint32_t bits = 0;
    unsigned held = 0; // characters of the group that is being collected
    while (text != end)
    {
        if (held == 0 && end - text >= 4)
        {
            std::uint32_t const a = ValueOf(text[0]);
            std::uint32_t const b = ValueOf(text[1]);
            std::uint32_t const c = ValueOf(text[2]);
            std::uint32_t const d = ValueOf(text[3]);
            if (((a | b | c | d) & kSkipped) == 0) [[likely]]
            {
                bits = a << 18 | b << 12 | c << 6 | d;
                out[0] = static_cast<unsigned char>(bits >> 16);
                out[1] = static_cast<unsigned char>(bits >> 8);
                out[2] = static_cast<unsigned char>(bits);
                out += 3;
                text += 4;
                continue;
            }
        }
        std::uint32_t const value = ValueOf(*text++);
        if (value == kSkipped)
            continue;
        bits = bits << 6 | value;
        if (++held < 4)
            continue;
        *out++ = static_cast<unsigned char>(bits >> 16);
        *out++ = static_cast<unsigned char>(bits >> 8);
        *out++ = static_cast<unsigned char>(bits);
        held = 0;
    }
    if (held >= 2)
        *out++ = static_cast<unsigned char>(bits >> (held * 6 - 8));
    if (held == 3)
        *out++ = static_cast<unsigned char>(bits >> 2);
    *size = static_cast<std::size_t>(out - bytes);
    return true;
}

} // namespace qvlib::internal
