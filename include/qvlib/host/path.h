// From the platform's paths to the system's own.
//
//     \a\b, Z:\a\b     /a/b
//     C:\a             $QVLIB_DRIVE_C/a, by default $XDG_DATA_HOME/qvlib/drives/c/a (~/.local/share/qvlib/...)
//     a\b              a/b, relative to the running folder
//     /a/b\c           taken as it stands: a path with a slash is the system's own
//
// In a path of the platform, names match as written. Where one does not exist as written, but one does that differs
// only in the case of its letters, that one is meant.
#pragma once

#include <string>

#include "qvlib/export.h"

namespace qvlib::host
{

/// The system's path, in the system's narrow encoding (UTF-8), for a path of the platform. Null gives an empty text.
/// Nothing needs to exist, but for the default folder of a drive, which is made at its first use. Thread-safe as long
/// as nobody changes the environment.
QVLIB_API std::string NativePath(wchar_t const * path);

} // namespace qvlib::host
