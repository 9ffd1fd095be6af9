#include "qvlib/SystemError.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/debug.h"
#include "qvlib/host/types.h"

namespace qvlib
{

CQVString QVFormatErrorMessage(unsigned long code)
{
    struct Freed
    {
        LPWSTR text = nullptr;
        ~Freed() { LocalFree(text); }
    } system;
    DWORD const length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
        internal::NarrowULong(code), LOCALE_USER_DEFAULT, reinterpret_cast<LPWSTR>(&system.text), 0, nullptr);
    return CQVString(system.text, static_cast<int>(length));
}

unsigned long GetStatus87() { return _statusfp(); }

} // namespace qvlib
