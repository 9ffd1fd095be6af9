#include "qvlib/EventsViaHandles.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/messages.h"

#include <atomic>

namespace qvlib
{

namespace
{

// Acquire, and release below: the host looks windows up without a lock, and whoever finds a handle here must find its
// window there. A new one would be taken for dead otherwise.
HWND Read(HWND * slot) noexcept { return std::atomic_ref<HWND>(*slot).load(std::memory_order_acquire); }

} // namespace

EventsViaHandles::EventsViaHandles(HWND * firstSlot, unsigned long slotCount)
    : m_firstSlot(firstSlot), m_slotCount(internal::NarrowULong(slotCount))
{
}

bool EventsViaHandles::StoreValue(HWND * slot, HWND newValue, HWND expected)
{
    return std::atomic_ref<HWND>(*slot).compare_exchange_strong(expected, newValue, std::memory_order_acq_rel);
}

bool EventsViaHandles::RegisterHandle(HWND handle)
{
    if (handle == nullptr)
        return false;
    if (HandleIsRegistered(handle))
        return true;
    // Twice: a slot that was lost to another thread may have been freed behind the first walk.
    for (int pass = 0; pass < 2; ++pass)
        for (unsigned long i = 0; i < m_slotCount; ++i)
            if (Read(m_firstSlot + i) == nullptr && StoreValue(m_firstSlot + i, handle, nullptr))
                return true;
    // Kept on purpose: what is freed here serves the next registration; callers count on the exception.
    FreeInvalideHandles();
    AfxThrowInvalidArgException();
}

bool EventsViaHandles::UnregisterHandle(HWND handle)
{
    for (unsigned long i = 0; i < m_slotCount; ++i)
        if (Read(m_firstSlot + i) == handle && StoreValue(m_firstSlot + i, nullptr, handle))
            return true;
    return false;
}

bool EventsViaHandles::HandleIsRegistered(HWND handle) const
{
    for (unsigned long i = 0; i < m_slotCount; ++i)
        if (Read(m_firstSlot + i) == handle)
            return true;
    return false;
}

bool EventsViaHandles::FreeInvalideHandles()
{
    // Kept on purpose: null is no window either, so a slot that was free already counts.
    bool anyFree = false;
    for (unsigned long i = 0; i < m_slotCount; ++i)
    {
        HWND const handle = Read(m_firstSlot + i);
        if (IsWindow(handle) == FALSE && StoreValue(m_firstSlot + i, nullptr, handle))
            anyFree = true;
    }
    return anyFree;
}

void EventsViaHandles::PosMessageToClients(int msg, WPARAM wParam, LPARAM lParam)
{
    PosMessageToClientsExcluding(nullptr, msg, wParam, lParam);
}

void EventsViaHandles::PosMessageToClientsExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam)
{
    for (unsigned long i = 0; i < m_slotCount; ++i)
        if (HWND const handle = Read(m_firstSlot + i); handle != nullptr && handle != excluded)
            PostMessageW(handle, static_cast<UINT>(msg), wParam, lParam);
}

void EventsViaHandles::PosMessageToAnyExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam)
{
    for (unsigned long i = 0; i < m_slotCount; ++i)
        if (HWND const handle = Read(m_firstSlot + i); handle != nullptr && handle != excluded)
        {
            PostMessageW(handle, static_cast<UINT>(msg), wParam, lParam);
            return;
        }
}

// A receiver may change the slots and end this object, but not the slots themselves.
void EventsViaHandles::SendMessageToClients(unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    HWND * const slots = m_firstSlot;
    unsigned long const count = m_slotCount;
    for (unsigned long i = 0; i < count; ++i)
        if (HWND const handle = Read(slots + i); handle != nullptr)
            SendMessageW(handle, msg, wParam, lParam);
}

void EventsViaHandles::SendMessageToAnyExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam)
{
    for (unsigned long i = 0; i < m_slotCount; ++i)
        if (HWND const handle = Read(m_firstSlot + i); handle != nullptr && handle != excluded)
        {
            SendMessageW(handle, static_cast<UINT>(msg), wParam, lParam);
            return;
        }
}

} // namespace qvlib
