// Locale identities of the platform.
//
// An LCID is the platform's number of a locale; the rest of the system knows locales by BCP 47 names ("en-US"). The
// user's default locale is the one that the environment variable QVLIB_LOCALE names (a BCP 47 name), else that of
// LC_ALL, LC_TIME or LANG, and en-US when these are unset, "C" or "POSIX".
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <string>

namespace qvlib::host
{

/// The BCP 47 name of the user's default locale, read from the environment on first use. Thread-safe.
QVLIB_API std::string const & UserLocaleName();

/// The BCP 47 name of a locale id: that of the user for the default ids (0x400, 0x800, 0) and for their variants with a
/// sort order, the invariant locale's ("und") for 0x7F. Empty when the id names no locale. Thread-safe.
QVLIB_API std::string LocaleName(LCID locale);

} // namespace qvlib::host
