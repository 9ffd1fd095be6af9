#include "qvlib/SystemError.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/debug.h"
#include "qvlib/host/types.h"

namespace qvlib
{

CQVString QVFormatErrorMessage(unsigned long code)
{
    // A result code is a signed number of 32 bits, which arrives here with its sign spread over all of a wider word.
    auto const id = static_cast<DWORD>(code);
    if (code != id && code != static_cast<unsigned long>(static_cast<long>(static_cast<LONG>(id))))
        return CQVString();
    struct Freed
    {
        LPWSTR text = nullptr;
        ~Freed() { LocalFree(text); }
    } system;
    DWORD const length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, id, LOCALE_USER_DEFAULT, reinterpret_cast<LPWSTR>(&system.text), 0, nullptr);
    return CQVString(system.text, static_cast<int>(length));
}

unsigned long GetStatus87() { return _statusfp(); }

} // namespace qvlib
