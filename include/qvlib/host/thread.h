// Threads: their start, their ids, their handles and how they end.
//
//     DWORD WINAPI Work(LPVOID argument);
//
//     HANDLE thread = CreateThread(nullptr, 0, Work, &job, 0, nullptr);
//     WaitForSingleObject(thread, INFINITE);
//     DWORD code = 0;
//     GetExitCodeThread(thread, &code); // what Work returned
//     CloseHandle(thread);
//
// A thread's handle becomes signalled when the thread has ended, its static thread objects included. Ids are never 0,
// and one comes again only when its thread has ended and a thousand million others have had theirs. All functions are
// thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/handle.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

constexpr DWORD CREATE_SUSPENDED = 4; ///< the thread waits for ResumeThread before it runs
constexpr DWORD STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000;

/// Starts a thread that runs `start(argument)` and ends with its result as exit code. `stackSize` is the least size of
/// its stack in bytes, 0 for the system's default. The handle is to be closed, at any time. Null with
/// ERROR_INVALID_PARAMETER without a function and ERROR_NOT_ENOUGH_MEMORY when the system has no thread to give. An
/// exception that leaves `start` ends the program. `security` has no effect.
QVLIB_API HANDLE CreateThread(void * security, SIZE_T stackSize, DWORD(WINAPI * start)(LPVOID), LPVOID argument,
                              DWORD flags, DWORD * threadId) noexcept;
/// Lets a thread that was created suspended run. Gives how often it was suspended before: 1, then 0 without effect;
/// 0xFFFFFFFF when the handle isn't a thread's.
QVLIB_API DWORD ResumeThread(HANDLE thread) noexcept;
/// What the thread's function returned, STILL_ACTIVE before.
QVLIB_API BOOL GetExitCodeThread(HANDLE thread, DWORD * code) noexcept;

/// The calling thread's id, also on threads that CreateThread did not start.
QVLIB_API DWORD GetCurrentThreadId() noexcept;
/// The id of the thread that a handle stands for; 0 when it isn't a thread's.
QVLIB_API DWORD GetThreadId(HANDLE thread) noexcept;
/// Stands for the calling thread, whichever that is, wherever a handle of one is asked for, and need not be closed.
inline HANDLE GetCurrentThread() noexcept { return reinterpret_cast<HANDLE>(static_cast<INT_PTR>(-2)); }

/// Lets another thread run; TRUE.
QVLIB_API BOOL SwitchToThread() noexcept;
/// Rests for at least so many milliseconds: 0 gives up the rest of the time slice, INFINITE is for ever.
QVLIB_API void Sleep(DWORD milliseconds) noexcept;

#endif
