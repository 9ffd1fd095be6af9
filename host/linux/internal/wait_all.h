// The lock above the objects' own: see waitable.h.
#pragma once

#include "host/linux/internal/mutex.h"

#include <cstddef>

namespace qvlib::host
{

/// The handles of the largest wait, and a signal.
constexpr std::size_t kMostWaitables = 65;

extern Mutex g_waitAllLock;

} // namespace qvlib::host
