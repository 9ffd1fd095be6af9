// Message numbers by name.
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/registry_name.h"
#include "qvlib/host/error.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/thread_annotations.h"

#include <cwchar>
#include <new>
#include <string>
#include <unordered_map>

namespace
{

constexpr UINT kFirst = 0xC000;
constexpr std::size_t kMost = 0x4000;
constexpr std::size_t kLongestName = 255;

struct Names
{
    qvlib::host::Mutex mutex;
    std::unordered_map<std::string, UINT> numbers QVLIB_GUARDED_BY(mutex);

    static Names & Get()
    {
        static Names & names = *new Names; // asked while other static objects are made and end
        return names;
    }
};

UINT Fail(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return 0;
}

} // namespace

UINT RegisterWindowMessageW(LPCWSTR name)
try
{
    if (name == nullptr || *name == L'\0' || std::wcslen(name) > kLongestName)
        return Fail(ERROR_INVALID_PARAMETER);
    std::string key;
    if (!qvlib::host::AppendFolded(key, name))
        return Fail(ERROR_INVALID_PARAMETER);
    Names & names = Names::Get();
    qvlib::host::MutexLock const held(names.mutex);
    auto const known = names.numbers.find(key);
    if (known != names.numbers.end())
        return known->second;
    if (names.numbers.size() == kMost)
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    UINT const number = kFirst + static_cast<UINT>(names.numbers.size());
    names.numbers.emplace(std::move(key), number);
    return number;
}
catch (std::bad_alloc const &)
{
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}
