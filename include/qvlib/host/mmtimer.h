// The multimedia timers: one-shot and periodic callbacks on a thread of their own.
//
//     void CALLBACK Tick(UINT id, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR) { PostMessageW(...); }
//     MMRESULT id = timeSetEvent(20, 0, Tick, user, TIME_PERIODIC | TIME_KILL_SYNCHRONOUS);
//     ...
//     timeKillEvent(id);                            // and no Tick is running any more
//
// The process has one timer thread, started with the first timer, on which callbacks run one after another: a callback
// should hand its work on and return. A timer is never early, by the clock of host/clock.h. While a ManualClock lives,
// the callbacks run on the thread that moves it.
//
// At the end of the process the thread is left where it is: callbacks may run until `main` has returned, none
// afterwards.
#pragma once

#include "qvlib/host/clock.h"
#include "qvlib/host/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

using MMRESULT = UINT;

/// The delays that a timer can have, in milliseconds.
struct TIMECAPS
{
    UINT wPeriodMin;
    UINT wPeriodMax;
};

/// What a timer calls: its id, 0, the user value it was set with, 0, 0. An exception that leaves it ends the process.
using LPTIMECALLBACK = void(CALLBACK *)(UINT timerId, UINT message, DWORD_PTR user, DWORD_PTR dw1, DWORD_PTR dw2);

constexpr MMRESULT TIMERR_NOERROR = 0;
constexpr MMRESULT MMSYSERR_INVALPARAM = 11;
constexpr MMRESULT TIMERR_NOCANDO = 97;

constexpr UINT TIME_ONESHOT = 0x0000;
constexpr UINT TIME_PERIODIC = 0x0001;
constexpr UINT TIME_CALLBACK_FUNCTION = 0x0000;
/// Cancelling waits for a callback of this timer that is running.
constexpr UINT TIME_KILL_SYNCHRONOUS = 0x0100;

/// The limits of timers: 1 and 1,000,000. TIMERR_NOCANDO, and nothing written, for a null or too small record.
/// Thread-safe.
QVLIB_API MMRESULT timeGetDevCaps(TIMECAPS * caps, UINT size);

/// Asks for a precision of so many milliseconds, and gives it up again. Timers have the finest precision anyway, so
/// nothing changes; TIMERR_NOCANDO for a period outside the limits. Thread-safe.
QVLIB_API MMRESULT timeBeginPeriod(UINT period);
QVLIB_API MMRESULT timeEndPeriod(UINT period);

/// Starts a timer: `callback` is called once after `delay` milliseconds, or every `delay` milliseconds. A periodic
/// timer that was kept from running leaves out the periods that it missed. `resolution` is taken and not needed. Gives
/// the timer's id, which is not given again for a long time; 0 for a delay outside the limits, a null callback, flags
/// other than those above, or when memory or threads have run out. Thread-safe.
QVLIB_API MMRESULT timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK callback, DWORD_PTR user, UINT flags);

/// Cancels a timer. When it was set with TIME_KILL_SYNCHRONOUS and its callback is running, waits until that has
/// returned, unless the caller is a timer's callback itself. MMSYSERR_INVALPARAM, without harm, for 0 and for the id of
/// a timer that is no more. Thread-safe.
QVLIB_API MMRESULT timeKillEvent(UINT timerId);

#endif
