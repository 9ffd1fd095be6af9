#include "host/linux/internal/event_names.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/mutex.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"

#include <cstddef>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <string_view>

namespace qvlib::host
{

namespace
{

/// Names and their events, whose m_other is the name.
using Names = std::map<std::wstring, Waitable *, std::less<>>;

constinit Mutex g_namesLock;

Names & AllNames() noexcept QVLIB_REQUIRES(g_namesLock)
{
    // Never destroyed: events may be closed after the program's static objects are gone.
    alignas(Names) static std::byte place[sizeof(Names)];
    static Names & names = *new (place) Names;
    return names;
}

/// The name without the part that says for whom it is; ERROR_SUCCESS when it can be one.
LSTATUS ReadName(std::wstring_view & name) noexcept
{
    constexpr std::size_t kMostCharacters = 260;
    for (std::wstring_view const scope : {L"Local\\", L"Global\\"})
        if (name.substr(0, scope.size()) == scope)
        {
            name.remove_prefix(scope.size());
            break;
        }
    return name.size() > kMostCharacters                 ? ERROR_FILENAME_EXCED_RANGE
           : name.find(L'\\') != std::wstring_view::npos ? ERROR_PATH_NOT_FOUND
                                                         : ERROR_SUCCESS;
}

HANDLE Failed(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return nullptr;
}

/// The handle, if there was memory for it, and how it came about.
HANDLE Told(HANDLE handle, LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(handle == nullptr ? ERROR_NOT_ENOUGH_MEMORY : status));
    return handle;
}

HANDLE NewEvent(Waitable::Word flags, void * name) noexcept
{
    Slot * const slot = TakeSlot();
    if (slot == nullptr)
        return nullptr;
    slot->m_handles = 1;
    slot->m_other = name;
    return Publish(*slot, Waitable::kEvent | flags);
}

HANDLE NamedEvent(Waitable::Word flags, std::wstring_view name)
{
    if (LSTATUS const status = ReadName(name); status != ERROR_SUCCESS)
        return Failed(status);
    MutexLock const held(g_namesLock);
    auto const [place, made] = AllNames().try_emplace(std::wstring(name), nullptr);
    // Events that have a name have a handle, too: they are forgotten under the lock that is held here.
    HANDLE const handle =
        made ? NewEvent(flags | Waitable::kNamed, const_cast<std::wstring *>(&place->first)) : NewAlias(*place->second);
    if (made && handle != nullptr)
        place->second = FindSlot(handle);
    else if (made)
        AllNames().erase(place);
    return Told(handle, made ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
}

} // namespace

// The lock is taken on a condition, which clang's analysis does not follow.
EventNamesLock::EventNamesLock(bool wanted) noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS : m_held(wanted)
{
    if (m_held)
        g_namesLock.Lock();
}

EventNamesLock::~EventNamesLock() QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    if (m_held)
        g_namesLock.Unlock();
}

void EventNamesLock::Forget(Waitable & event) const noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    if (event.m_other == nullptr)
        return;
    AllNames().erase(AllNames().find(*static_cast<std::wstring const *>(event.m_other)));
    event.m_other = nullptr;
}

} // namespace qvlib::host

namespace host = qvlib::host;
using host::Waitable;

namespace
{

BOOL Answer(bool done) noexcept
{
    if (!done)
        SetLastError(ERROR_INVALID_HANDLE);
    return done ? TRUE : FALSE;
}

} // namespace

HANDLE CreateEventW(SECURITY_ATTRIBUTES *, BOOL manualReset, BOOL initialState, LPCWSTR name) noexcept
{
    Waitable::Word const flags = (manualReset != FALSE ? Waitable::kManual : Waitable::Word{0}) |
                                 (initialState != FALSE ? Waitable::kSignalled : Waitable::Word{0});
    if (name == nullptr || *name == L'\0')
        return host::Told(host::NewEvent(flags, nullptr), ERROR_SUCCESS);
    try
    {
        return host::NamedEvent(flags, name);
    }
    catch (std::bad_alloc const &)
    {
        return host::Failed(ERROR_NOT_ENOUGH_MEMORY);
    }
}

HANDLE OpenEventW(DWORD, BOOL, LPCWSTR name) noexcept
{
    if (name == nullptr)
        return host::Failed(ERROR_INVALID_PARAMETER);
    std::wstring_view wanted = name;
    if (LSTATUS const status = host::ReadName(wanted); status != ERROR_SUCCESS)
        return host::Failed(status);
    host::MutexLock const held(host::g_namesLock);
    auto const found = host::AllNames().find(wanted);
    if (found == host::AllNames().end())
        return host::Failed(ERROR_FILE_NOT_FOUND);
    HANDLE const handle = host::NewAlias(*found->second);
    return handle != nullptr ? handle : host::Failed(ERROR_NOT_ENOUGH_MEMORY);
}

BOOL SetEvent(HANDLE event) noexcept
{
    host::Target target;
    return Answer(target.Find(event, Waitable::kEvent) && target.object->Set(target.identity));
}

BOOL ResetEvent(HANDLE event) noexcept
{
    host::Target target;
    return Answer(target.Find(event, Waitable::kEvent) && target.object->Reset(target.identity));
}

BOOL PulseEvent(HANDLE event) noexcept
{
    host::Target target;
    return Answer(target.Find(event, Waitable::kEvent) && target.object->Pulse(target.identity));
}
