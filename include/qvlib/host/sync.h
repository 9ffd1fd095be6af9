// Events, waits and critical sections.
//
//     HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr); // manual reset, not signalled
//     ...                                                        // another thread: SetEvent(done)
//     if (WaitForSingleObject(done, 5000) == WAIT_TIMEOUT)
//         ...
//     CloseHandle(done);
//
// What differs from what a reader may expect:
//  - Everything lives in this process; a named event is seen by the whole process and by no other. An event costs no
//    file descriptor, and one that nobody waits for is set, reset and taken without a call into the system.
//  - A wait for all takes nothing until it can take everything, at one moment; until then others may take what is
//    there.
//  - SetEvent and PulseEvent hand the signal to the threads that wait at that moment, in the order in which they came.
//  - Closing a handle that is waited on makes the handle invalid at once; the wait goes on until its time is over or
//    another handle of the same object is used to signal it.
//  - Times are counted on the monotonic clock, and no wait ends early.
//
// Waits take events, threads (signalled at their end) and processes (likewise). Failures answer FALSE, null or
// WAIT_FAILED and leave the status in GetLastError. All functions are thread-safe; a critical section is left by the
// thread that entered it.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/handle.h"
#include "qvlib/host/thread_annotations.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

#include <atomic>

constexpr DWORD INFINITE = 0xFFFFFFFF; ///< a time-out that never ends
constexpr DWORD WAIT_OBJECT_0 = 0;     ///< the first handle was signalled; + n: handle n
constexpr DWORD WAIT_TIMEOUT = 0x102;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
constexpr DWORD EVENT_MODIFY_STATE = 2;
constexpr DWORD EVENT_ALL_ACCESS = 0x1F0003;
constexpr DWORD SYNCHRONIZE = 0x100000;

struct SECURITY_ATTRIBUTES
{
    DWORD nLength; ///< the record's size
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

/// Makes an event. A manual-reset event stays signalled until ResetEvent, and lets every wait through; an auto-reset
/// event lets one wait through, which unsignals it. With a name that an event of this process has already, gives a
/// handle of that one, with its own kind and state, and leaves ERROR_ALREADY_EXISTS in GetLastError, which is 0 after
/// an event was made. Names are matched exactly; the name's leading "Local\" or "Global\" counts for nothing, any other
/// backslash is refused (ERROR_PATH_NOT_FOUND), as are names over 260 characters (ERROR_FILENAME_EXCED_RANGE). Null on
/// failure. `attributes` has no effect: nothing is inherited.
QVLIB_API HANDLE CreateEventW(SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState,
                              LPCWSTR name) noexcept;
/// A handle of the event of that name; null with ERROR_FILE_NOT_FOUND when there is none.
QVLIB_API HANDLE OpenEventW(DWORD access, BOOL inheritHandle, LPCWSTR name) noexcept;
/// Signals the event: hands it to those who wait, or keeps it for those who come.
QVLIB_API BOOL SetEvent(HANDLE event) noexcept;
/// Unsignals the event.
QVLIB_API BOOL ResetEvent(HANDLE event) noexcept;
/// Lets those through who wait at this moment, all for a manual-reset event and one for an auto-reset event, and leaves
/// it unsignalled.
QVLIB_API BOOL PulseEvent(HANDLE event) noexcept;

/// Waits until the handle is signalled: WAIT_OBJECT_0, or WAIT_TIMEOUT after so many milliseconds. 0 looks without
/// waiting, and takes the signal of an auto-reset event if there is one.
QVLIB_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept;
/// Waits for any handle, and gives WAIT_OBJECT_0 + the index of the first that is signalled, or for all of them
/// (WAIT_OBJECT_0). Only what ends the wait is taken. 1 to 64 handles; a wait for all refuses the same object twice
/// (ERROR_INVALID_PARAMETER).
QVLIB_API DWORD WaitForMultipleObjects(DWORD count, HANDLE const * handles, BOOL waitAll, DWORD milliseconds) noexcept;

/// A lock that its owner may enter again, and that tells its owner's id. Entering and leaving it without contention is
/// an atomic step each. May not be copied or moved; 0-filled memory is an initialised one.
struct QVLIB_CAPABILITY("critical section") _RTL_CRITICAL_SECTION
{
    std::atomic<DWORD> LockState;    ///< 0 free, 1 held, 2 held and others wait
    std::atomic<DWORD> OwningThread; ///< the owner's thread id, 0 when unowned
    LONG RecursionCount;             ///< how often the owner is in; the owner's to read
};
using CRITICAL_SECTION = _RTL_CRITICAL_SECTION;

QVLIB_API void InitializeCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept;
/// Waits without limit until the section is free or the caller's own.
QVLIB_API void EnterCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_ACQUIRE(*section);
/// TRUE when it was free, or the caller's own, and is now entered once more.
QVLIB_API BOOL TryEnterCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_TRY_ACQUIRE(1, *section);
/// Leaves it once. Called by a thread that is not the owner it does nothing.
QVLIB_API void LeaveCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_RELEASE(*section);
/// Ends the section's life; nobody may be in it.
QVLIB_API void DeleteCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept;

#endif
