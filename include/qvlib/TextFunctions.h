// Small functions that copy, search and trim text.
//
//     wchar_t buffer[16];
//     qvlib::TLCopyStringToBuffer(buffer, 16, name); // cut to 15 characters if need be, always ended
//
// Thread rule: thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <string>

namespace qvlib
{

/// Copies the text with its NUL, cut down to `capacity` characters with the NUL. Nothing is written when `capacity` is
/// 0.
QVLIB_API void TLCopyStringToBuffer(wchar_t * buffer, unsigned long capacity, CQVString const & text);
/// The same in UTF-8. The length test counts wide characters: a text that passes it and whose bytes do not fit is
/// refused by the checked copy, which leaves the empty text in the buffer and throws nothing. Give the buffer four
/// bytes a character.
QVLIB_API void TLCopyStringToBufferA(char * buffer, unsigned long capacity, CQVString const & text);

/// The first occurrence of the pattern, or null; an empty text or pattern gives null. Lengths count characters, NULs
/// play no part.
QVLIB_API wchar_t const * TLFindString(wchar_t const * text, unsigned long textLength, wchar_t const * pattern,
                                       unsigned long patternLength);
/// The same with ASCII letters folded.
QVLIB_API wchar_t const * TLFindStringNoCase(wchar_t const * text, unsigned long textLength, wchar_t const * pattern,
                                             unsigned long patternLength);

/// Makes room for `capacity` characters and keeps the text.
QVLIB_API void TLReserveStringBuffer(CQVString & text, unsigned long capacity);
/// Moves the pointer past blanks; null stays null.
QVLIB_API void TLSkipWhiteSpaces(wchar_t const *& text);

/// Empty strings that live as long as the process.
QVLIB_API CQVString const & TLStringDefault();
QVLIB_API std::wstring const & TLStdWStringDefault();
/// The argument, or a static empty text when it is null.
QVLIB_API char const * TLStringOrEmpty(char const * text);
QVLIB_API wchar_t const * TLStringOrEmpty(wchar_t const * text);

/// Remove blanks (ASCII's and no others) from the beginning, the end or both; return their argument.
QVLIB_API std::wstring & ltrim(std::wstring & text);
QVLIB_API std::wstring & rtrim(std::wstring & text);
QVLIB_API std::wstring & trim(std::wstring & text);

} // namespace qvlib
