// Run-time look-up of the platform's functions: the way to use one that not every system has.
//
// Here a module is a table of the functions that this platform offers under that module's name; what it lacks is not
// found, and the caller takes its other road, just as on an older system.
//
//     using DeleteKeyEx = LSTATUS(WINAPI *)(HKEY, LPCWSTR, REGSAM, DWORD);
//     auto remove = reinterpret_cast<DeleteKeyEx>(GetProcAddress(GetModuleHandleW(L"Advapi32.dll"),
//     "RegDeleteKeyExW"));
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

using FARPROC = void (*)();

/// The module of that file name, without regard to case, or null when the platform has none. Owned by the platform.
/// Thread-safe.
QVLIB_API HMODULE GetModuleHandleW(LPCWSTR name);

/// The function of that exact name in the module, or null. Cast it to its own type before calling. Thread-safe.
QVLIB_API FARPROC GetProcAddress(HMODULE module, LPCSTR name);

#endif
