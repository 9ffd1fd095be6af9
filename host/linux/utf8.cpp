#include "qvlib/host/utf8.h"

#include <cstdint>
#include <cstring>

namespace qvlib::host
{

namespace
{

constexpr std::uint32_t kReplacement = 0xFFFD;
/// ASCII passes in blocks of this size, in loops that vectorise.
constexpr std::size_t kBlock = 32;
constexpr std::size_t kStretch = 1U << 20;

bool IsAsciiBlock(char const * bytes) noexcept
{
    std::uint64_t words[kBlock / 8];
    std::memcpy(words, bytes, sizeof words);
    std::uint64_t all = 0;
    for (std::uint64_t const word : words)
        all |= word;
    return (all & 0x8080808080808080U) == 0;
}

/// The code point that begins at `bytes[at]`, which is no ASCII byte; moves `at` behind it. What is no UTF-8 gives
/// U+FFFD, clears `valid` and is passed over up to the first byte that cannot belong to it.
std::uint32_t NextPoint(char const * bytes, std::size_t count, std::size_t & at, bool & valid) noexcept
{
    std::uint32_t const lead = static_cast<unsigned char>(bytes[at++]);
    // The commonest forms, when they are whole and right.
    std::uint32_t const second = at < count ? static_cast<unsigned char>(bytes[at]) ^ 0x80U : 0xFF;
    if (lead - 0xC2 <= 0xDF - 0xC2 && second < 0x40)
    {
        ++at;
        return (lead & 0x1F) << 6 | second;
    }
    if ((lead & 0xF0) == 0xE0 && second < 0x40 && count - at >= 2)
    {
        std::uint32_t const third = static_cast<unsigned char>(bytes[at + 1]) ^ 0x80U;
        std::uint32_t const point = (lead & 0xF) << 12 | second << 6 | third;
        if (third < 0x40 && point >= 0x800 && (point & 0xF800) != 0xD800)
        {
            at += 2;
            return point;
        }
    }
    // The second byte's range keeps out overlong forms, surrogates and what lies above U+10FFFF.
    unsigned extra = 0;
    unsigned low = 0x80;
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF)
        extra = 1;
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        extra = 2;
        low = lead == 0xE0 ? 0xA0 : low;
        high = lead == 0xED ? 0x9F : high;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        extra = 3;
        low = lead == 0xF0 ? 0x90 : low;
        high = lead == 0xF4 ? 0x8F : high;
    }
    if (extra == 0)
    {
        valid = false;
        return kReplacement;
    }
    std::uint32_t point = lead & (0x3FU >> extra);
    for (; extra != 0; --extra)
    {
        unsigned const next = at < count ? static_cast<unsigned char>(bytes[at]) : 0U;
        if (next < low || next > high)
        {
            valid = false;
            return kReplacement;
        }
        point = point << 6 | (next & 0x3F);
        low = 0x80;
        high = 0xBF;
        ++at;
    }
    return point;
}

} // namespace

std::size_t Utf8Length(wchar_t const * text, std::size_t length) noexcept
{
    // Counted in stretches that 32 bits hold, so that the loop keeps to 32-bit lanes.
    std::size_t extra = 0;
    for (std::size_t i = 0; i < length;)
    {
        std::size_t const end = length - i < kStretch ? length : i + kStretch;
        std::uint32_t count = 0;
        for (; i < end; ++i)
        {
            std::uint32_t const c = static_cast<std::uint32_t>(text[i]);
            count += static_cast<std::uint32_t>(c > 0x7F) + static_cast<std::uint32_t>(c > 0x7FF) +
                     static_cast<std::uint32_t>(c - 0x10000U <= 0xFFFFFU);
        }
        extra += count;
    }
    return length + extra;
}

std::size_t EncodeUtf8(wchar_t const * text, std::size_t length, char * bytes, bool * valid) noexcept
{
    char * out = bytes;
    bool allValid = true;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= kBlock)
        {
            std::uint32_t all = 0;
            for (std::size_t k = 0; k < kBlock; ++k)
                all |= static_cast<std::uint32_t>(text[i + k]);
            if (all < 0x80)
            {
                for (std::size_t k = 0; k < kBlock; ++k)
                    out[k] = static_cast<char>(text[i + k]);
                out += kBlock;
                i += kBlock;
                continue;
            }
        }
        std::size_t const end = length - i < kBlock ? length : i + kBlock;
        for (; i < end; ++i)
        {
            std::uint32_t c = static_cast<std::uint32_t>(text[i]);
            if (c < 0x80)
            {
                *out++ = static_cast<char>(c);
                continue;
            }
            if (c < 0x800)
            {
                *out++ = static_cast<char>(0xC0 | c >> 6);
                *out++ = static_cast<char>(0x80 | (c & 0x3F));
                continue;
            }
            if ((c & 0xFFFFF800U) == 0xD800 || c > 0x10FFFF)
            {
                allValid = false;
                c = kReplacement;
            }
            if (c < 0x10000)
            {
                *out++ = static_cast<char>(0xE0 | c >> 12);
            }
            else
            {
                *out++ = static_cast<char>(0xF0 | c >> 18);
                *out++ = static_cast<char>(0x80 | (c >> 12 & 0x3F));
            }
            *out++ = static_cast<char>(0x80 | (c >> 6 & 0x3F));
            *out++ = static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    if (valid)
        *valid = allValid;
    return static_cast<std::size_t>(out - bytes);
}

std::size_t Utf8DecodedLength(char const * bytes, std::size_t count, bool * valid) noexcept
{
    std::size_t length = 0;
    bool allValid = true;
    std::size_t i = 0;
    while (i < count)
    {
        if (count - i >= kBlock && IsAsciiBlock(bytes + i))
        {
            i += kBlock;
            length += kBlock;
            continue;
        }
        std::size_t const end = count - i < kBlock ? count : i + kBlock;
        while (i < end)
        {
            if (static_cast<unsigned char>(bytes[i]) < 0x80)
                ++i;
            else
                NextPoint(bytes, count, i, allValid);
            ++length;
        }
    }
    if (valid)
        *valid = allValid;
    return length;
}

std::size_t DecodeUtf8(char const * bytes, std::size_t count, wchar_t * text, bool * valid) noexcept
{
    wchar_t * out = text;
    bool allValid = true;
    std::size_t i = 0;
    while (i < count)
    {
        if (count - i >= kBlock && IsAsciiBlock(bytes + i))
        {
            for (std::size_t k = 0; k < kBlock; ++k)
                out[k] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i + k]));
            out += kBlock;
            i += kBlock;
            continue;
        }
        std::size_t const end = count - i < kBlock ? count : i + kBlock;
        while (i < end)
        {
            if (static_cast<unsigned char>(bytes[i]) < 0x80)
                *out++ = static_cast<wchar_t>(bytes[i++]);
            else
                *out++ = static_cast<wchar_t>(NextPoint(bytes, count, i, allValid));
        }
    }
    if (valid)
        *valid = allValid;
    return static_cast<std::size_t>(out - text);
}

std::string ToUtf8(std::wstring_view text)
{
    std::string bytes(Utf8Length(text.data(), text.size()), '\0');
    EncodeUtf8(text.data(), text.size(), bytes.data());
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes)
{
    std::wstring text(Utf8DecodedLength(bytes.data(), bytes.size()), L'\0');
    DecodeUtf8(bytes.data(), bytes.size(), text.data());
    return text;
}

} // namespace qvlib::host
