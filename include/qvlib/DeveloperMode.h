// Two switches of the whole process, read from the registry once, on first use.
//
// Both are four-byte values under the current user's
// "Software\Quorvane Technologies\Quorvane\Common\DeveloperMode"; a missing key or value is false. Later changes are
// not seen, and a failed first read is not tried again.
//
// Thread-safe, but while one thread reads the registry for the first time, another may get false once.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

/// The value "DeveloperMode". False for a user who may not write to the key.
QVLIB_API bool IsDeveloperMode();
/// The value "IgnoreAssert" of the same key.
QVLIB_API bool TLIgnoreAssert();

} // namespace qvlib
