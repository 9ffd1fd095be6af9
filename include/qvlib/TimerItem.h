// ITimerEvents, what a timer calls, and CTimerItem, what a timer controller keeps of one timer.
//
//     class Sampler final : public qvlib::ITimerEvents
//     {
//         void OnTimeElapsed(unsigned long eventId) override;
//         using ITimerEvents::OnTimeElapsed;       // the form with the controller stays visible
//     };
//
// A timer is known by its target and its event id: one target may have any number of timers.
#pragma once

#include "qvlib/DateTime.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <cstdint>

namespace qvlib
{

class CTimerController;

/// The target of timers. Called on the thread of the controller's window; a call may set and end timers, its own
/// included, and may delete the controller.
struct QVLIB_API ITimerEvents
{
    /// A timer's moment has come. The default calls the form without the controller.
    virtual void OnTimeElapsed(CTimerController * controller, unsigned long eventId)
    {
        static_cast<void>(controller);
        OnTimeElapsed(eventId);
    }
    /// The default does nothing.
    virtual void OnTimeElapsed(unsigned long eventId) { static_cast<void>(eventId); }

protected:
    ~ITimerEvents() = default;
};

/// One timer: whom it calls, and when. A plain value. Thread-compatible.
class QVLIB_API CTimerItem
{
public:
    /// All zero.
    CTimerItem() noexcept = default;

    ITimerEvents * GetTarget() const noexcept { return m_target; }
    void SetTarget(ITimerEvents * target) noexcept { m_target = target; }
    unsigned long GetEventID() const noexcept { return m_eventId; }
    /// Throws argument_out_of_range_exception for what 32 bits do not hold.
    void SetEventID(unsigned long eventId);
    /// True: the timer ends with its first callback.
    bool GetAdviseOnce() const noexcept { return m_adviseOnce; }
    void SetAdviseOnce(bool adviseOnce) noexcept { m_adviseOnce = adviseOnce; }
    /// The wall-clock time of the first callback; 0.0 for none.
    CDateTime const & GetStartTime() const noexcept { return m_startTime; }
    void SetStartTime(CDateTime const & startTime) noexcept { m_startTime = startTime; }
    /// The period in milliseconds.
    unsigned long GetResolution() const noexcept { return m_resolution; }
    /// Throws argument_out_of_range_exception for what 32 bits do not hold.
    void SetResolution(unsigned long resolution);
    /// The next callback, in milliseconds after the controller's base time.
    __int64 GetNextUpdate() const noexcept { return m_nextUpdate; }
    void SetNextUpdate(__int64 nextUpdate) noexcept { m_nextUpdate = nextUpdate; }

private:
    ITimerEvents * m_target = nullptr;
    std::uint32_t m_eventId = 0;
    bool m_adviseOnce = false;
    CDateTime m_startTime;
    std::uint32_t m_resolution = 0;
    __int64 m_nextUpdate = 0;
};

/// Orders timers by target address, then by event id: the key of a timer.
struct cmpTimerItemByTarget
{
    bool operator()(CTimerItem const & a, CTimerItem const & b) const noexcept
    {
        auto const targetA = reinterpret_cast<std::uintptr_t>(a.GetTarget());
        auto const targetB = reinterpret_cast<std::uintptr_t>(b.GetTarget());
        return targetA != targetB ? targetA < targetB : a.GetEventID() < b.GetEventID();
    }
};

/// Orders timers by their next update, then by their own addresses: no two are equal. It is the order of callbacks.
struct cmpTimerItemByNextUpdate
{
    bool operator()(CTimerItem const * a, CTimerItem const * b) const noexcept
    {
        return a->GetNextUpdate() != b->GetNextUpdate()
                   ? a->GetNextUpdate() < b->GetNextUpdate()
                   : reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
    }
};

} // namespace qvlib
