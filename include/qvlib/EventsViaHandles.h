// EventsViaHandles: a table of client windows in memory that the caller provides, and messages to all of them.
//
//     HWND slots[16] = {};                      // null is a free slot
//     qvlib::EventsViaHandles clients(slots, 16);
//     clients.RegisterHandle(window);
//     clients.PosMessageToClients(kChanged, 0, 0);
//
// It allocates nothing and locks nothing: every change of a slot is one atomic exchange, so all calls may run at once
// on any threads, also through several objects over the same slots (copies share them). A walk that overlaps a change
// may miss a handle that is new or reach one that has just gone. Dead windows keep their slots until
// FreeInvalideHandles or UnregisterHandle frees them. The slots must outlive the object.
//
// Objects are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

class QVLIB_API EventsViaHandles
{
public:
    /// Over `slotCount` slots from `firstSlot` on, whose content stands.
    EventsViaHandles(HWND * firstSlot, unsigned long slotCount);

    /// The slots that the constructor was given, still the caller's.
    HWND * FirstHandlePointer() noexcept { return m_firstSlot; }
    unsigned long MaxHandleCount() const noexcept { return m_slotCount; }

    /// Puts the handle into the first free slot. True also when it was there already, false for null. With no slot
    /// free, throws CInvalidArgException; slots of windows that are gone are freed then, for the next call.
    bool RegisterHandle(HWND handle);
    /// Frees the first slot that holds the handle; false when there is none.
    bool UnregisterHandle(HWND handle);
    /// Whether a slot holds the handle. Null asks for a free slot.
    bool HandleIsRegistered(HWND handle) const;
    /// Frees the slots of windows that are gone. True when any slot was free or was freed.
    bool FreeInvalideHandles();

    /// Post to every client; to every client but one; to the first client that is not that one. A client that can't be
    /// reached is passed over in silence.
    void PosMessageToClients(int msg, WPARAM wParam, LPARAM lParam);
    void PosMessageToClientsExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam);
    void PosMessageToAnyExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam);
    /// Send, and wait until the client has dealt with it.
    void SendMessageToClients(unsigned int msg, WPARAM wParam, LPARAM lParam);
    void SendMessageToAnyExcluding(HWND excluded, int msg, WPARAM wParam, LPARAM lParam);

protected:
    /// One atomic exchange: true when the slot held `expected` and now holds `newValue`.
    static bool StoreValue(HWND * slot, HWND newValue, HWND expected);

private:
    HWND * m_firstSlot;
    unsigned long m_slotCount;
};

} // namespace qvlib
