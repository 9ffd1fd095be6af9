// The apartments of the component model: how a thread says that it takes part, and the wait that keeps its calls going.
//
//     if (FAILED(CoInitialize(nullptr)))
//         return;
//     DWORD index = 0;
//     HRESULT const waited = CoWaitForMultipleHandles(0, 1000, 1, &event, &index);
//     bool const timedOut = waited == RPC_S_CALLPENDING;
//     CoUninitialize();
//
// Objects live in the process and are called directly, so an apartment decides one thing here: whether a wait
// of its thread runs messages. Thread rule: thread-safe; every thread counts for itself.
#pragma once

#if defined(_WIN32)
#include <objbase.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"

constexpr DWORD COINIT_MULTITHREADED = 0x0;
constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
constexpr DWORD COINIT_DISABLE_OLE1DDE = 0x4;   ///< accepted, without effect
constexpr DWORD COINIT_SPEED_OVER_MEMORY = 0x8; ///< accepted, without effect

constexpr DWORD COWAIT_WAITALL = 0x1;
constexpr DWORD COWAIT_ALERTABLE = 0x2; ///< accepted, without effect

constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106U);
constexpr HRESULT RPC_S_CALLPENDING = static_cast<HRESULT>(0x80010115U);
constexpr HRESULT RPC_E_NO_SYNC = static_cast<HRESULT>(0x80010120U);

/// Takes the calling thread into a single-threaded apartment. S_OK the first time, S_FALSE when it is in one already,
/// RPC_E_CHANGED_MODE (and nothing to undo) when it is in the other kind. `reserved` must be null.
QVLIB_API HRESULT CoInitialize(LPVOID reserved);
/// The same with the kind of apartment (COINIT_...).
QVLIB_API HRESULT CoInitializeEx(LPVOID reserved, DWORD kind);
/// Undoes one S_OK or S_FALSE; the last one leaves the apartment. Does nothing on a thread that is in none. What a
/// thread forgets to undo ends with it.
QVLIB_API void CoUninitialize();

/// Waits for one of the handles, or for all with COWAIT_WAITALL, up to `timeout` milliseconds. `index` gets the number
/// of the handle that ended the wait. In a single-threaded apartment messages run meanwhile: those that other threads
/// send, and those posted to the thread's windows. Messages to the thread itself and the request to quit are left where
/// they are. S_OK, RPC_S_CALLPENDING on time-out, RPC_E_NO_SYNC without handles, E_INVALIDARG for null arguments, or
/// the wait's own failure.
QVLIB_API HRESULT CoWaitForMultipleHandles(DWORD flags, DWORD timeout, ULONG count, HANDLE const * handles,
                                           DWORD * index);

#endif
