#include "qvlib/host/modules.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/registry.h"

#include <cstring>

namespace
{

struct Function
{
    char const * name;
    FARPROC address;
};

template <class Signature>
FARPROC Address(Signature * function)
{
    return reinterpret_cast<FARPROC>(function);
}

/// What callers look for at run time. Transacted registry functions are not among them: this platform has none.
Function const kAdvapi[] = {{"RegDeleteKeyExW", Address(&RegDeleteKeyExW)}};

} // namespace

HMODULE GetModuleHandleW(LPCWSTR name)
{
    if (name == nullptr || (_wcsicmp(name, L"Advapi32.dll") != 0 && _wcsicmp(name, L"Advapi32") != 0))
        return nullptr;
    return reinterpret_cast<HMODULE>(const_cast<Function *>(kAdvapi));
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name)
{
    if (module == nullptr || name == nullptr || module != GetModuleHandleW(L"Advapi32.dll"))
        return nullptr;
    for (Function const & function : kAdvapi)
        if (std::strcmp(function.name, name) == 0)
            return function.address;
    return nullptr;
}
