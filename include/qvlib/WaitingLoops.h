// Waits that keep a thread's messages flowing, and the message that breaks them.
//
// A thread that owns windows must go on delivering messages while it waits for a handle, a time or a condition. These
// functions do: whatever the thread's windows do can run inside a wait, another wait too. A quit request that arrives
// does not end a wait and is not lost: it is posted again when the wait ends.
//
//     if (!qvlib::WaitOnHandleWithMessageLoop(event, 5000, true)) ... // timed out, or another thread called
//     qvlib::PostAbortWaitingLoopMessage(waitingThreadId);            // this
//
// The abort is a message of the thread and not of one wait: it ends the innermost wait with a message loop if that is
// abortable, is swallowed by one that is not, and lies in the queue for the next when none runs.
//
// Time-outs are milliseconds. In the waits for handles all ones means without limit; in the waits that ask a callback
// or only for time to pass it is a number like any other, about 49.7 days. All ones of either width is 0xFFFFFFFF, and
// another number above 32 bits throws argument_out_of_range_exception.
//
// All functions are thread-safe: each waits on the thread that calls it.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

/// The answer of a wait's callback. A value that is none of these ends the wait as WaitCommandFail does.
enum EWaitCommand : int
{
    WaitCommandContinue = 0, ///< not yet
    WaitCommandFail = 1,     ///< end the wait with false
    WaitCommandSucceed = 2,  ///< end the wait with true
};

/// Asked again and again by a wait, with the parameter that the wait was given. An exception ends the wait.
using WaitCallback = EWaitCommand (*)(unsigned long parameter);

/// Asks the callback until it ends the wait or the time is over, which gives false; at least once, even with the
/// time-out 0. Delivers no messages. It looks at the clock every half second, or when new input arrives, and can
/// outlast the time-out by that much.
QVLIB_API bool WaitOnCallback(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs);

/// The same, delivering messages; the callback is asked again after each, and every half second. The clock is looked at
/// when no message waits. False also when the wait is aborted, which `abortable` allows.
QVLIB_API bool WaitOnCallbackWithMessageLoop(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs,
                                             bool abortable);

/// The same by the wait of a single-threaded apartment, asking every 20 milliseconds. The last argument has no effect.
/// Throws resource_error when no event can be had.
QVLIB_API bool WaitOnCallbackWithOleLoop(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs,
                                         bool abortable);

/// Delivers messages until one of `count` handles, or with `waitAll` each of them, is signalled. Gives the index of the
/// handle (with `waitAll` any below `count`); WAIT_TIMEOUT (0x102) when time is over or the wait was aborted;
/// WAIT_FAILED for handles that can't be waited for. The time-out is the longest quiet time: every message starts it
/// anew. Messages that are there already are delivered first.
QVLIB_API unsigned long WaitOnMultipleHandlesWithMessageLoop(unsigned long count, void ** handles, int waitAll,
                                                             unsigned long timeoutMs, bool abortable);
/// The same for one handle: whether it was signalled.
QVLIB_API bool WaitOnHandleWithMessageLoop(void * handle, unsigned long timeoutMs, bool abortable);

/// Delivers messages until the time is over or the wait is aborted. Always false.
QVLIB_API bool WaitOnTimeOutWithMessageLoop(unsigned long timeoutMs, bool abortable);

/// The number of the abort message, registered for all modules under one name.
QVLIB_API unsigned long GetAbortWaitingLoopMessageId() noexcept;
/// Posts the abort message to a thread, 0 for the calling one. Of a thread that can't be reached nothing is said.
QVLIB_API void PostAbortWaitingLoopMessage(unsigned long threadId);

/// A hook for naming threads, all ones for the calling one. It has no effect.
QVLIB_API void TLSetThreadName(wchar_t const * name, unsigned long threadId) noexcept;

} // namespace qvlib
