// What the host keeps of each thread, and what is to be done when it ends.
#pragma once

#include "host/linux/internal/handles.h"
#include "qvlib/host/types.h"

namespace qvlib::host
{

/// Has `routine(argument)` called on the calling thread when it ends: once its function returned, ahead of its thread
/// handle becoming signalled and of its static thread objects going; on threads that CreateThread did not start, among
/// those. Last registered, first called; a routine may register others. Not called when the process ends by exit
/// while the thread runs, but for the main thread, whose own are called then. Throws std::bad_alloc.
void AtThreadExit(void (*routine)(void *), void * argument);

/// Whether a thread of this process has that id and has not ended: one that CreateThread started, from then on, or one
/// that has asked for its id.
bool IsLiveThread(DWORD id) noexcept;

struct ThreadRecord;

/// The part of it that is found in one step.
struct ThreadLocals
{
    DWORD id = 0; ///< 0 before it was asked for
    ThreadRecord * record = nullptr;
    SlotCache * slots = nullptr; ///< the record's
};
// Found at a fixed place of the thread's own memory, without a call.
extern __attribute__((tls_model("initial-exec"))) constinit thread_local ThreadLocals t_thread;

DWORD AssignThreadId() noexcept;
inline DWORD CurrentThreadId() noexcept { return t_thread.id != 0 ? t_thread.id : AssignThreadId(); }

/// Makes the calling thread's record; null when memory is short.
ThreadRecord * CurrentRecord() noexcept;
inline SlotCache * CurrentSlotCache() noexcept
{
    if (t_thread.slots == nullptr)
        CurrentRecord();
    return t_thread.slots;
}

/// What handles of the calling thread stand for; null when memory is short.
Waitable * CurrentThreadObject() noexcept;

} // namespace qvlib::host
