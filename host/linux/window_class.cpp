#include "host/linux/internal/window_class.h"

#include "host/linux/internal/mutex.h"
#include "host/linux/internal/registry_name.h"
#include "qvlib/host/error.h"
#include "qvlib/host/thread_annotations.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <vector>

namespace qvlib::host
{

namespace
{

constexpr std::size_t kFirstAtom = 0xC000;
constexpr std::size_t kMostAtoms = 0x4000;
constexpr std::size_t kLongestName = 256;

/// The classes by number; an unregistered one leaves a hole.
class WindowClasses
{
public:
    static WindowClasses & Get()
    {
        static WindowClasses & classes = *new WindowClasses; // windows may outlive the program's static objects
        return classes;
    }

    Mutex m_mutex;

    WindowClass * Find(LPCWSTR name) QVLIB_REQUIRES(m_mutex)
    {
        auto const number = reinterpret_cast<std::uintptr_t>(name);
        if (number < 0x10000)
        {
            std::size_t const index = number - kFirstAtom;
            return number >= kFirstAtom && index < m_classes.size() ? m_classes[index].get() : nullptr;
        }
        for (auto const & type : m_classes) // spelt alike, as nearly always
            if (type && type->name == name)
                return type.get();
        std::string key;
        if (!AppendFolded(key, name))
            return nullptr;
        for (auto const & type : m_classes)
            if (type && type->key == key)
                return type.get();
        return nullptr;
    }
    /// Null when all numbers are taken.
    WindowClass * Add(std::unique_ptr<WindowClass> type) QVLIB_REQUIRES(m_mutex)
    {
        auto place = std::find(m_classes.begin(), m_classes.end(), nullptr);
        if (place == m_classes.end())
        {
            if (m_classes.size() == kMostAtoms)
                return nullptr;
            place = m_classes.emplace(place);
        }
        type->atom = static_cast<ATOM>(kFirstAtom + static_cast<std::size_t>(place - m_classes.begin()));
        *place = std::move(type);
        return place->get();
    }
    void Remove(WindowClass const & type) QVLIB_REQUIRES(m_mutex) { m_classes[type.atom - kFirstAtom].reset(); }

private:
    std::vector<std::unique_ptr<WindowClass>> m_classes QVLIB_GUARDED_BY(m_mutex);
};

BOOL Fail(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

} // namespace

WindowClass * UseWindowClass(LPCWSTR name) noexcept
try
{
    WindowClasses & classes = WindowClasses::Get();
    MutexLock const held(classes.m_mutex);
    WindowClass * const type = classes.Find(name);
    if (type != nullptr)
        type->windows.fetch_add(1, std::memory_order_relaxed); // no one takes it to 0 and away but under this lock
    return type;
}
catch (std::bad_alloc const &)
{
    return nullptr;
}

void LeaveWindowClass(WindowClass & type) noexcept { type.windows.fetch_sub(1, std::memory_order_release); }

} // namespace qvlib::host

using namespace qvlib::host;

ATOM RegisterClassExW(WNDCLASSEXW const * type)
try
{
    if (type == nullptr || type->cbSize != sizeof *type || type->lpfnWndProc == nullptr || type->cbClsExtra != 0 ||
        type->cbWndExtra != 0 || reinterpret_cast<std::uintptr_t>(type->lpszClassName) < 0x10000 ||
        *type->lpszClassName == L'\0' || std::wcslen(type->lpszClassName) > kLongestName)
    {
        Fail(ERROR_INVALID_PARAMETER);
        return 0;
    }
    auto added = std::make_unique<WindowClass>();
    added->name = type->lpszClassName;
    if (!AppendFolded(added->key, added->name))
    {
        Fail(ERROR_INVALID_PARAMETER);
        return 0;
    }
    added->record = *type;
    added->record.lpszClassName = added->name.c_str();

    WindowClasses & classes = WindowClasses::Get();
    MutexLock const held(classes.m_mutex);
    if (classes.Find(type->lpszClassName) != nullptr)
    {
        Fail(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    WindowClass const * const known = classes.Add(std::move(added));
    if (known != nullptr)
        return known->atom;
    Fail(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}
catch (std::bad_alloc const &)
{
    Fail(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

BOOL GetClassInfoExW(HINSTANCE, LPCWSTR name, WNDCLASSEXW * type)
try
{
    if (type == nullptr)
        return Fail(ERROR_INVALID_PARAMETER);
    WindowClasses & classes = WindowClasses::Get();
    MutexLock const held(classes.m_mutex);
    WindowClass const * const found = classes.Find(name);
    if (found == nullptr)
        return Fail(ERROR_CLASS_DOES_NOT_EXIST);
    *type = found->record;
    return TRUE;
}
catch (std::bad_alloc const &)
{
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

BOOL UnregisterClassW(LPCWSTR name, HINSTANCE)
try
{
    WindowClasses & classes = WindowClasses::Get();
    MutexLock const held(classes.m_mutex);
    WindowClass const * const found = classes.Find(name);
    if (found == nullptr)
        return Fail(ERROR_CLASS_DOES_NOT_EXIST);
    if (found->windows.load(std::memory_order_acquire) != 0)
        return Fail(ERROR_CLASS_HAS_WINDOWS);
    classes.Remove(*found);
    return TRUE;
}
catch (std::bad_alloc const &)
{
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}
