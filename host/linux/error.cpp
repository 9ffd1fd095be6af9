#include "qvlib/host/error.h"

namespace
{

thread_local constinit DWORD t_lastError = 0;

} // namespace

DWORD GetLastError() noexcept { return t_lastError; }

void SetLastError(DWORD code) noexcept { t_lastError = code; }
