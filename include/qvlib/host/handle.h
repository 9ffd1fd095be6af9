// Handles: numbers that stand for events, threads and processes until they are closed.
//
//     HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
//     HANDLE second = nullptr;
//     DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &second, 0, FALSE, DUPLICATE_SAME_ACCESS);
//     CloseHandle(event);
//     SetEvent(second); // the object lives until its last handle is closed and the last wait for it has ended
//     CloseHandle(second);
//
// A handle that was closed is never valid again, however many are made after it: each operation refuses it with
// ERROR_INVALID_HANDLE. Handles are known to this process only. All functions are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

constexpr DWORD STILL_ACTIVE = 0x103; ///< the exit code of a thread or process that has not ended

constexpr DWORD DUPLICATE_CLOSE_SOURCE = 1; ///< the handle that is copied is closed
constexpr DWORD DUPLICATE_SAME_ACCESS = 2;  ///< handles have no access of their own here: always so

/// Closes a handle. What it stood for lives on while other handles, or waits that have begun, need it. FALSE with
/// ERROR_INVALID_HANDLE when it isn't one. GetCurrentProcess() and GetCurrentThread() are closed without effect.
QVLIB_API BOOL CloseHandle(HANDLE handle) noexcept;

/// Makes one more handle of what `source` stands for, to be closed on its own; GetCurrentThread() gives a true handle
/// of the calling thread. Both processes are GetCurrentProcess(): others are refused with ERROR_NOT_SUPPORTED. `access`
/// and `inherit` have no effect. FALSE with ERROR_INVALID_HANDLE or ERROR_NOT_ENOUGH_MEMORY.
QVLIB_API BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE * target, DWORD access,
                               BOOL inherit, DWORD options) noexcept;

/// Stands for the calling process wherever a handle of one is asked for, and need not be closed.
inline HANDLE GetCurrentProcess() noexcept { return reinterpret_cast<HANDLE>(static_cast<INT_PTR>(-1)); }

#endif
