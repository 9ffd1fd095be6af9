// Narrow text to wide text and back by code page, under the platform's names.
//
// One wchar_t is one code point here, so counts of wide characters are smaller than on a system whose wchar_t has 16
// bits wherever a text leaves the basic plane; everything else is as the platform has it: lengths of -1 for text up to
// and with its NUL, a destination size of 0 to ask for the size, 0 as the result of a failure with the reason in
// GetLastError. The ANSI code page is UTF-8. Other pages than UTF-8 and Latin-1 go through ICU's converters.
//
//     int const size = MultiByteToWideChar(CP_UTF8, 0, text, length, nullptr, 0);
//     std::wstring wide(static_cast<std::size_t>(size), L'\0');
//     MultiByteToWideChar(CP_UTF8, 0, text, length, wide.data(), size);
//
// Thread rule: thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/error.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

constexpr UINT CP_OEMCP = 1;
constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_WINDOWS_1252 = 1252;
constexpr UINT CP_LATIN1 = 28591;

constexpr DWORD MB_PRECOMPOSED = 0x1;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

/// Decodes `byteCount` bytes (-1: up to and with the NUL) into at most `wideCount` characters and gives how many were
/// written, or with a `wideCount` of 0 how many are needed. Bytes that are no text become U+FFFD, one for each longest
/// beginning of a sequence, or with MB_ERR_INVALID_CHARS are the failure ERROR_NO_UNICODE_TRANSLATION. Other failures:
/// ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER (also an unknown code page), ERROR_INVALID_FLAGS.
QVLIB_API int MultiByteToWideChar(UINT codePage, DWORD flags, char const * bytes, int byteCount, wchar_t * wide,
                                  int wideCount);

/// Encodes `wideCount` characters (-1: up to and with the NUL) and gives the count of bytes, as above. What the code
/// page cannot hold becomes `defaultChar` ("?" when null) and sets `*usedDefault`; both must be null for UTF-8, where a
/// lone surrogate becomes U+FFFD or, with WC_ERR_INVALID_CHARS, is the failure ERROR_NO_UNICODE_TRANSLATION.
QVLIB_API int WideCharToMultiByte(UINT codePage, DWORD flags, wchar_t const * wide, int wideCount, char * bytes,
                                  int byteCount, char const * defaultChar, BOOL * usedDefault);

#endif
