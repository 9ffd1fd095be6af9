// The calling thread's last status code, which the platform's operations leave behind when they fail.
// Thread rule: thread-safe; each thread has its own code, 0 at first.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

/// The code that the last failing operation of this thread left (ERROR_... in types.h). Success does not clear it.
QVLIB_API DWORD GetLastError() noexcept;
/// Leaves a code for this thread.
QVLIB_API void SetLastError(DWORD code) noexcept;

#endif
