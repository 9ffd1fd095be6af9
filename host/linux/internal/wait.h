// The wait engine behind WaitForSingleObject and its kin: everything that a thread can wait for is a Waitable, and
// there is one way to wait for one, any or all of them.
//
// A part of the host that has something of its own to wait for, beside handles, keeps a Signal: an event without a
// handle, a member by value, no allocation and no file descriptor. A thread's message queue is the example:
//
//     struct Queue
//     {
//         Mutex lock;
//         std::uint32_t fresh QVLIB_GUARDED_BY(lock) = 0; // QS_ bits of what arrived since the last look
//         std::uint32_t mask QVLIB_GUARDED_BY(lock) = 0;  // what its thread waits for just now, 0 when it doesn't
//         Signal input;                                   // manual reset: set while (fresh & mask) != 0
//     };
//
//     // Post, from any thread:
//     MutexLock const held(queue.lock);
//     queue.fresh |= QS_POSTMESSAGE;
//     if ((queue.fresh & queue.mask) != 0)
//         queue.input.Set();
//
//     // MsgWaitForMultipleObjects, on the queue's own thread:
//     {
//         MutexLock const held(queue.lock);
//         queue.mask = mask;
//         (queue.fresh & mask) != 0 ? queue.input.Set() : queue.input.Reset();
//     }
//     DWORD const result = WaitForHandlesOr(queue.input, count, handles, all, milliseconds);
//     // Under the lock again: mask = 0, and the bits are taken if the result is `count`.
//
// Set() without a waiter is one atomic step; with one, the waiter is handed its result and woken by one futex call. Set
// and Reset are leaves: they take no lock of the caller's and may be called under any. A wait for all ends with all of
// the handles at one moment, or with the signal; nothing is taken from an auto-reset event before. A wait that waits
// for a reply as well as for input (SendMessageW) does so with one more bit in the same queue and Signal.
//
// What is to happen when a thread ends, on that thread (its windows die with it): AtThreadExit in thread_record.h.
#pragma once

#include "host/linux/internal/waitable.h"
#include "qvlib/host/types.h"

namespace qvlib::host
{

/// An event without a handle. Thread-safe; must outlive the waits for it. A manual-reset signal stays set until Reset,
/// an auto-reset one lets one wait through.
class Signal
{
public:
    explicit Signal(bool manualReset = true) noexcept : m_waitable(manualReset) {}
    Signal(Signal const &) = delete;
    Signal & operator=(Signal const &) = delete;

    void Set() noexcept { m_waitable.Set(); }
    void Reset() noexcept { m_waitable.Reset(); }
    bool IsSet() const noexcept { return m_waitable.IsSignalled(); }

private:
    friend DWORD WaitForHandlesOr(Signal &, DWORD, HANDLE const *, bool, DWORD) noexcept;
    Waitable m_waitable;
};

/// Waits for handles or a signal, for at most `milliseconds` (INFINITE: no limit; 0: looks, and takes what is there).
/// Any: the index of the first handle that was there, `count` for the signal, which comes after the handles when
/// several are. All: 0 when all handles were there together, else `count` for the signal. WAIT_TIMEOUT otherwise,
/// WAIT_FAILED with the status in GetLastError for a handle that isn't one, for more than 63 of them, and for the same
/// object twice in a wait for all. `count` may be 0.
DWORD WaitForHandlesOr(Signal & signal, DWORD count, HANDLE const * handles, bool all, DWORD milliseconds) noexcept;

} // namespace qvlib::host
