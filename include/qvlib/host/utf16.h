// Wide text to UTF-16, the form of every archive, stream and stored value, and back.
//
// Nothing is refused: a lone surrogate passes unchanged both ways, as a wchar_t of its own value. A high and a low
// surrogate that follow each other as UTF-16 are one character, so two such wchar_t's next to each other come back as
// one. A wchar_t that is no code point at all (above 0x10FFFF) is written as U+FFFD.
//
//     std::vector<unsigned char> bytes(2 * qvlib::host::Utf16Length(text.data(), text.size()));
//     qvlib::host::EncodeUtf16(text.data(), text.size(), bytes.data());
//
// Bytes are little-endian (RFC 2781) and need no alignment. Thread rule: thread-safe.
#pragma once

#include "qvlib/export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlib::host
{

/// How many 16-bit units the text takes.
QVLIB_API std::size_t Utf16Length(wchar_t const * text, std::size_t length) noexcept;
/// Writes the units as little-endian bytes, two for each of Utf16Length, and gives the count of units.
QVLIB_API std::size_t EncodeUtf16(wchar_t const * text, std::size_t length, unsigned char * bytes) noexcept;
/// Writes the units in the machine's own order.
QVLIB_API std::size_t EncodeUtf16(wchar_t const * text, std::size_t length, char16_t * units) noexcept;

/// How many wchar_t the units give; never more than there are units.
QVLIB_API std::size_t Utf16DecodedLength(unsigned char const * bytes, std::size_t unitCount) noexcept;
QVLIB_API std::size_t Utf16DecodedLength(char16_t const * units, std::size_t unitCount) noexcept;
/// Decodes `unitCount` units (twice as many bytes) into `text`, which has room for Utf16DecodedLength characters; gives
/// their count. No NUL is added.
QVLIB_API std::size_t DecodeUtf16(unsigned char const * bytes, std::size_t unitCount, wchar_t * text) noexcept;
QVLIB_API std::size_t DecodeUtf16(char16_t const * units, std::size_t unitCount, wchar_t * text) noexcept;

/// The same with strings.
QVLIB_API std::u16string ToUtf16(std::wstring_view text);
QVLIB_API std::wstring FromUtf16(std::u16string_view units);

} // namespace qvlib::host
