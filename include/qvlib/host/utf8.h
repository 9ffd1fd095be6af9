// Wide text to UTF-8 (RFC 3629) and back without limits on length; what the code page functions stand on.
//
// Thread rule: thread-safe.
#pragma once

#include "qvlib/export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlib::host
{

/// How many bytes the text takes. A lone surrogate, and a wchar_t above 0x10FFFF, takes the 3 bytes of U+FFFD.
QVLIB_API std::size_t Utf8Length(wchar_t const * text, std::size_t length) noexcept;
/// Writes Utf8Length bytes, no NUL; gives their count. `*valid`, when given, tells whether nothing was replaced.
QVLIB_API std::size_t EncodeUtf8(wchar_t const * text, std::size_t length, char * bytes,
                                 bool * valid = nullptr) noexcept;

/// How many wchar_t the bytes give; never more than there are bytes. `*valid`, when given, tells whether all was UTF-8.
QVLIB_API std::size_t Utf8DecodedLength(char const * bytes, std::size_t count, bool * valid = nullptr) noexcept;
/// Decodes into `text`, which has room for Utf8DecodedLength characters (or `count`); gives their count, no NUL. The
/// longest beginning of a sequence that breaks off, and any byte that begins none, becomes one U+FFFD.
QVLIB_API std::size_t DecodeUtf8(char const * bytes, std::size_t count, wchar_t * text,
                                 bool * valid = nullptr) noexcept;

/// The same with strings.
QVLIB_API std::string ToUtf8(std::wstring_view text);
QVLIB_API std::wstring FromUtf8(std::string_view bytes);

} // namespace qvlib::host
