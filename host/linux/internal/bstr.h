// What the host's own code may do with a counted string beyond the public functions.
#pragma once

#include "qvlib/host/variant.h"

namespace qvlib::host
{

/// Puts the bytes of `source` into the block of `target` where they need a block of just that size. False, and nothing
/// done, when they do not. Both are live strings, not null and not the same.
bool OverwriteText(BSTR target, BSTR source) noexcept;

} // namespace qvlib::host
