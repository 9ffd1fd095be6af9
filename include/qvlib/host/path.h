// From the platform's paths to the system's own.
//
//     \a\b, Z:\a\b     /a/b
//     C:\a             $QVLIB_DRIVE_C/a, by default $XDG_DATA_HOME/qvlib/drives/c/a (~/.local/share/qvlib/...)
//     a\b              a/b, relative to the running folder
//     /a/b\c           taken as it stands: a path with a slash is the system's own
//
// In a path of the platform, names match as written. Where one does not exist as written, but one does that differs
// only in the case of its letters, that one is meant.
//
// A name of the system is any row of bytes. A byte that is no UTF-8, and a backslash, stands in a path of the platform
// as the lone surrogate 0xDC00 + byte, and becomes that byte again on the way back: what a folder lists can be opened.
// Other lone surrogates, and what lies above 0x10FFFF, stand for bytes of their own, never for those of another name.
#pragma once

#include <string>
#include <string_view>

#include "qvlib/export.h"

namespace qvlib::host
{

/// The system's path, in the system's narrow encoding (UTF-8), for a path of the platform. Null gives an empty text.
/// Nothing needs to exist, but for the default folder of a drive, which is made at its first use. Thread-safe as long
/// as nobody changes the environment.
QVLIB_API std::string NativePath(wchar_t const * path);
/// The bytes of one name. Thread-safe.
QVLIB_API std::string NativeName(std::wstring_view name);

/// The platform's path for a path of the system: `/a/b` gives `\a\b`, which names the same file. Thread-safe.
QVLIB_API std::wstring PlatformPath(std::string_view native);
/// The wide text of one name of the system, in place of what `wide` held. Thread-safe.
QVLIB_API void PlatformName(std::string_view name, std::wstring & wide);

/// Whether the platform would let something of that name be made: not an empty path, not longer than 32767, and none of
/// * ? " < > | and no colon but the drive's. A path with a slash may be any, as the system's own are. Thread-safe.
QVLIB_API bool IsAllowedPath(wchar_t const * path);

} // namespace qvlib::host
