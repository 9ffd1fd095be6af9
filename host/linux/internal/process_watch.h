// How the end of a process becomes the signal of its object.
#pragma once

#include "host/linux/internal/waitable.h"
#include "qvlib/host/types.h"

namespace qvlib::host
{

/// Signals the object if its process has ended.
void LookAtProcess(Waitable & process) noexcept;
/// Has the object, which is pinned, signalled when its process ends; a status when the system can't tell of it.
LSTATUS WatchProcess(Waitable & process) noexcept;
/// What handles of this process stand for; never signalled.
Waitable & CurrentProcessObject() noexcept;

} // namespace qvlib::host
