#include "qvlib/DeveloperMode.h"

#include "qvlib/host/registry.h"

#include <atomic>

namespace qvlib
{

namespace
{

struct Switch
{
    std::atomic<bool> hasBeenRead{false};
    std::atomic<bool> value{false};
};

bool Read(Switch & flag, wchar_t const * name)
{
    // The mark is set before the registry is asked, so that a second thread gets false instead of waiting. Relaxed:
    // each flag is a fact of its own, and the answer false is allowed until the value is seen.
    if (flag.hasBeenRead.exchange(true, std::memory_order_relaxed))
        return flag.value.load(std::memory_order_relaxed);
    HKEY key = nullptr;
    // Write access is asked for on purpose: who may not write to the key is no developer.
    LSTATUS const status =
        RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Quorvane Technologies\\Quorvane\\Common\\DeveloperMode", 0,
                      KEY_READ | KEY_WRITE, &key);
    if (status == ERROR_SUCCESS)
    {
        DWORD word = 0;
        DWORD size = sizeof word;
        // Neither the status nor the type is looked at: what could not be read leaves the word 0.
        static_cast<void>(RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE *>(&word), &size));
        flag.value.store(word != 0, std::memory_order_relaxed);
        RegCloseKey(key);
    }
    return flag.value.load(std::memory_order_relaxed);
}

} // namespace

bool IsDeveloperMode()
{
    static Switch developerMode;
    return Read(developerMode, L"DeveloperMode");
}

bool TLIgnoreAssert()
{
    static Switch ignoreAssert;
    return Read(ignoreAssert, L"IgnoreAssert");
}

} // namespace qvlib
