// Base64 (RFC 4648, the standard alphabet) over wide text.
#pragma once

#include <cstddef>

namespace qvlib::internal
{

enum Base64Flags : unsigned
{
    kBase64NoPadding = 1,    ///< no "=" behind a last group that is not whole
    kBase64NoLineBreaks = 2, ///< one line, instead of lines of 76 characters with "\r\n" between them
};

/// How many characters the encoder asks for; the text may come out a little shorter. Throws COleException (E_FAIL) when
/// four times the length exceeds 2147483647.
std::size_t Base64EncodedSize(std::size_t length, unsigned flags);

/// Encodes `length` bytes. `*size` is the room at `text` in characters and becomes what was written; there is no
/// terminator and never a line end behind the last line. False when a pointer is null or the room is less than
/// Base64EncodedSize.
bool Base64Encode(unsigned char const * bytes, std::size_t length, wchar_t * text, std::size_t * size, unsigned flags);

/// Decodes up to `length` characters or a zero character, skipping all that is not of the alphabet. `*size` is the room
/// at `bytes` and becomes the number of bytes decoded, or needed where the result is false: for null `bytes` and for
/// room that is too small.
bool Base64Decode(wchar_t const * text, std::size_t length, unsigned char * bytes, std::size_t * size);

} // namespace qvlib::internal
