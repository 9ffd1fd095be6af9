// CTimerController: any number of timers over one timer of the platform, called back on one thread.
//
// The controller is a message window (MsgWnd.h). The platform's timer thread does nothing but post it a message, and
// every callback runs on the thread that made the window, when that thread takes messages:
//
//     qvlib::CTimerController timers;
//     timers.Create();                               // on the thread that shall be called
//     timers.SetTimer(&sampler, 1, 250, false);      // every quarter of a second
//     timers.SetTimer(&sampler, 2, qvlib::CTime(3, 0, 0), 24 * 3600 * 1000, false);   // each night at three
//     ...                                            // the thread takes and dispatches messages
//     timers.KillTimers(&sampler);                   // before the sampler goes
//
// What is promised:
// - No callback is early. Callbacks come in the order of their moments, at the same moment in the order of the items'
//   addresses, which stay where they are as long as a timer lives.
// - Nothing is left out: a timer whose thread was busy for five periods is called five times in a row. A timer with the
//   period 0 is due for ever, so the thread does nothing else until a callback ends it.
// - A timer is brought up to date before its callback: one that is called once is gone already, a periodic one is set
//   for its next moment. So a callback can set, replace and end timers. It can also delete the controller.
// - An exception that leaves a callback passes to whoever dispatched the message. The platform's timer is not set again
//   by that message; the next change of the timers sets it.
// - A callback that takes messages itself does not start a second round of callbacks inside the first.
//
// Setting, ending and looking up a timer takes the same steps whether there are ten or a million, calling one grows with
// the logarithm. Among many timers, changes are noted first and made by the group, up to 32 at a time or when something
// looks, so that one call in so many takes as long as they together; nothing of that shows otherwise.
//
// Times are milliseconds of the tick counter, which goes round every 49.7 days; timers outlive that, and may be a
// millisecond later for it.
//
// Thread-affine: everything but construction belongs to the thread of the window. Tests drive it with a ManualClock
// (host/clock.h).
#pragma once

#include "qvlib/MsgWnd.h"
#include "qvlib/Time.h"
#include "qvlib/TimerItem.h"
#include "qvlib/UseCount.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <cstdint>
#include <memory>

namespace qvlib
{

namespace internal
{
class TimerItems;
}

class QVLIB_API CTimerController : public CTLMsgWnd
{
public:
    /// No timers, and no window yet.
    CTimerController();
    CTimerController(CTimerController const &) = delete;
    CTimerController & operator=(CTimerController const &) = delete;
    /// Ends all timers. Allowed inside a callback.
    ~CTimerController() override;

    // Sets a timer, or replaces the one with the same target and event id. `target` is called until the timer ends, so
    // it has to live as long; a null target is never called. `resolution` is the period in milliseconds. A number that
    // 32 bits do not hold throws argument_out_of_range_exception; without memory, std::bad_alloc, and nothing has
    // changed.

    /// The first callback comes after `resolution` milliseconds.
    void SetTimer(ITimerEvents * target, unsigned long eventId, unsigned long resolution, bool adviseOnce);
    /// The first callback comes at `start` of the wall clock, at most 24 days ahead. When that has passed, at the next
    /// moment of the series start, start + resolution, start + 2 * resolution...; at once when `resolution` is 0. A
    /// start farther ahead than a signed 32-bit count of milliseconds counts as one that has passed.
    void SetTimer(ITimerEvents * target, unsigned long eventId, CDateTime const & start, unsigned long resolution,
                  bool adviseOnce);
    /// The first callback comes when it is next `timeOfDay` by the wall clock.
    void SetTimer(ITimerEvents * target, unsigned long eventId, CTime const & timeOfDay, unsigned long resolution,
                  bool adviseOnce);

    // The same with the period in seconds. Its milliseconds are taken modulo 2^32: from 4294968 seconds on (49.7 days)
    // the period is a short one. Kept on purpose: callers depend on it.

    void SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, unsigned long resolution, bool adviseOnce);
    void SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, CDateTime const & start,
                           unsigned long resolution, bool adviseOnce);
    void SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, CTime const & timeOfDay,
                           unsigned long resolution, bool adviseOnce);

    /// Ends a timer, if there is one.
    void KillTimer(ITimerEvents * target, unsigned long eventId);
    /// Ends all timers of a target; whether there were any.
    bool KillTimers(ITimerEvents * target);
    void KillAllTimers();

    /// How long until the next callback. False, with `remaining` 0, when it is overdue; false, with `remaining`
    /// untouched, when there is no such timer. What 32 bits do not hold reads as 0xFFFFFFFF.
    bool GetRemainingMilliseconds(ITimerEvents * target, unsigned long eventId, unsigned long & remaining) const;
    /// To be called when the wall clock was set: timers with a start time are measured anew from it, the others keep
    /// their course.
    void TimeChanged();

    unsigned long GetSize() const noexcept;
    bool IsEmpty() const noexcept { return GetSize() == 0; }

    /// Ends the window and all timers, ahead of the destructor.
    static void PreDestroy(CTimerController * controller);

protected:
    /// Sets the timer that `item` describes, and its next update in `item` with it. `reprogram` sets the platform's
    /// timer anew if the earliest moment has changed.
    void SetTimer(CTimerItem & item, bool reprogram);
    void KillTimer(CTimerItem const & item, bool reprogram);
    /// Works out the next update of a timer that is set now; of one that has just come due.
    void SetFirstUpdateTime(CTimerItem & item);
    void SetNextUpdateTime(CTimerItem & item);
    /// Moves the base time to the present, and all offsets with it.
    void RebaseTimerController();

    /// Sets the platform's timer for the earliest item: when that changed, or always if `force` is true.
    void DoInternalTimerLogic(bool force);
    void StartInternalTimer();
    void StopInternalTimer();

    /// The tick count, not cut to 32 bits, for which the platform's timer was set; at which the first item is due.
    __int64 GetNextUpdateTime() const noexcept { return m_baseTime + m_nextUpdate; }
    __int64 GetNextItemUpdateTime() const;
    /// Milliseconds until GetNextUpdateTime, 0 when it has passed.
    __int64 GetTimeToNextUpdate() const;

    bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result) override;

    /// Called on the platform's timer thread: posts 0x8001 to the window that `user` is, and touches nothing else.
    static void CALLBACK TimerProc(unsigned int timerId, unsigned int msg, DWORD_PTR user, DWORD_PTR dw1,
                                   DWORD_PTR dw2);

private:
    QVLIB_LOCAL void Rebase(std::uint32_t now);
    QVLIB_LOCAL void MoveOldBase();
    QVLIB_LOCAL std::int64_t PresentByBase() const;
    QVLIB_LOCAL void OnInternalTimer();
    QVLIB_LOCAL void CallFirstItem();

    std::unique_ptr<internal::TimerItems> m_items; ///< in both orders
    unsigned int m_internalTimerId = 0;
    unsigned int m_minPeriod = 0;
    unsigned int m_maxPeriod = 0;
    bool m_internalTimerRunning = false;
    std::uint32_t m_baseTime = 0;
    __int64 m_nextUpdate = 0;
    CTLUseCount m_useCount;
};

} // namespace qvlib
