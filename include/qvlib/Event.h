// CTLEvent: owner of an event of the host.
//
// It has the shape of the lock classes, but guards nothing: Lock waits until the event is signalled, and Unlock does
// not signal it. For the same reason it carries no marks for the thread safety analysis.
//
//     qvlib::CTLEvent done;                       // unnamed, auto-reset, not signalled
//     std::thread worker([&] { Work(); done.SetEvent(); });
//     bool const inTime = done.Lock(500);         // at most half a second
//
// Objects are thread-safe but for their destruction.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/sync.h"

namespace qvlib
{

class QVLIB_API CTLEvent
{
public:
    /// An unnamed, auto-reset event that is not signalled. Throws resource_error when there is none to be had.
    CTLEvent() : CTLEvent(false, false, nullptr, nullptr) {}
    /// With a name (null for none), an event of that name that is already there is opened, and its state and kind
    /// stand. `attributes` may be null. Throws resource_error.
    CTLEvent(bool initialState, bool manualReset, wchar_t const * name = nullptr,
             SECURITY_ATTRIBUTES * attributes = nullptr);
    CTLEvent(CTLEvent const &) = delete;
    CTLEvent & operator=(CTLEvent const &) = delete;
    /// Closes the handle.
    ~CTLEvent();

    /// Waits up to `timeout` milliseconds, all ones for without limit. True only when the event was signalled; that
    /// takes the signal of an auto-reset event. Throws argument_out_of_range_exception for a time-out above 32 bits.
    bool Lock(unsigned long timeout = INFINITE);
    /// Does nothing and answers true.
    bool Unlock() noexcept { return true; }

    /// Signal; take the signal back; release those who wait now and leave the event unsignalled. True on success.
    bool SetEvent() { return SetEvent(m_handle); }
    bool ResetEvent() { return ResetEvent(m_handle); }
    bool PulseEvent() { return PulseEvent(m_handle); }
    /// The same on a bare handle; false for one that names no event.
    static bool SetEvent(void * event);
    static bool ResetEvent(void * event);
    static bool PulseEvent(void * event);

    /// The handle, which stays this object's own.
    operator void *() const noexcept { return m_handle; }

private:
    void * m_handle;
};

} // namespace qvlib
