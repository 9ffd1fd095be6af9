// What the host keeps of each thread, and what is to be done when it ends.
#pragma once

#include "qvlib/host/types.h"

namespace qvlib::host
{

/// Has `routine(argument)` called on the calling thread when it ends: once its function returned, ahead of its thread
/// handle becoming signalled and of its static thread objects going; on threads that CreateThread did not start, among
/// those. Last registered, first called; a routine may register others. Not called when the process ends by exit
/// while the thread runs, but for the main thread, whose own are called then. Throws std::bad_alloc.
void AtThreadExit(void (*routine)(void *), void * argument);

} // namespace qvlib::host
