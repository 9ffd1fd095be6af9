#include "qvlib/TimerController.h"

#include "concurrency/internal/timer_items.h"
#include "foundation/internal/narrow32.h"
#include "qvlib/Conversions.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/mmtimer.h"

#include <algorithm>
#include <vector>

namespace qvlib
{

namespace
{

constexpr unsigned int kTimerFired = 0x8001;
constexpr UINT kRequestedResolution = 1000;
constexpr std::int64_t kMax32 = 0xFFFFFFFF;
// A base time this far back is moved, so that the tick counter cannot pass it by unseen when it has gone round.
constexpr std::int64_t kOldestBase = 0x80000000;
constexpr double kMillisecondsPerDay = 86400000.0;
constexpr double kDaysPerMillisecond = 1.1574074074074074e-08;

// Two readings of the tick counter: from the one that is rounded up, delays are counted, by the other, what is due is
// told. So a timer that was set within a millisecond is not called before all of its delay has passed.
std::uint32_t PresentToCountFrom() { return host::TickCountRoundedUp(); }
std::uint32_t Present() { return timeGetTime(); }

std::uint32_t InMilliseconds(unsigned long seconds) { return internal::NarrowULong(seconds) * 1000U; }

CTimerItem MakeItem(ITimerEvents * target, unsigned long eventId, CDateTime const & start, unsigned long resolution,
                    bool adviseOnce)
{
    CTimerItem item;
    item.SetTarget(target);
    item.SetEventID(eventId);
    item.SetStartTime(start);
    item.SetResolution(resolution);
    item.SetAdviseOnce(adviseOnce);
    return item;
}

CDateTime NextOccurrence(CTime const & timeOfDay)
{
    CDateTime const now = CDateTime::Now();
    CDateTime next(static_cast<double>(now.GetDatePortion()) + timeOfDay.GetValue());
    if (!(now < next))
        next.AddDays(1);
    return next;
}

/// Milliseconds from now until a start time, or until the next point of its series when it has passed.
std::int64_t DelayUntil(CDateTime const & start, std::int64_t resolution)
{
    double const exact = TLRoundFloat((start.GetValue() - CDateTime::Now().GetValue()) * kMillisecondsPerDay);
    double const rounded = TLRoundFloat(exact * kDaysPerMillisecond * kMillisecondsPerDay);
    std::int64_t const delay = detail::CutToInt(rounded);
    if (delay >= 0)
        return delay;
    return resolution == 0 ? 0 : delay % resolution + resolution;
}

/// Whether a next update that is later by the resolution still counts as one of 32 bits.
bool FitsAfter(std::int64_t nextUpdate, std::int64_t resolution)
{
    return nextUpdate <= kMax32 && (nextUpdate & kMax32) <= kMax32 - resolution;
}

} // namespace

void CTimerItem::SetEventID(unsigned long eventId) { m_eventId = internal::NarrowULong(eventId); }

void CTimerItem::SetResolution(unsigned long resolution) { m_resolution = internal::NarrowULong(resolution); }

CTimerController::CTimerController() : m_items(std::make_unique<internal::TimerItems>())
{
    TIMECAPS caps{};
    timeGetDevCaps(&caps, sizeof caps);
    m_minPeriod = caps.wPeriodMin;
    m_maxPeriod = caps.wPeriodMax;
    timeBeginPeriod(m_minPeriod);
}

CTimerController::~CTimerController()
{
    if (m_internalTimerRunning)
        StopInternalTimer();
    timeEndPeriod(m_minPeriod);
}

void CTimerController::PreDestroy(CTimerController * controller)
{
    if (controller == nullptr)
        return;
    controller->Destroy();
    if (controller->m_internalTimerRunning)
    {
        controller->m_internalTimerRunning = false;
        controller->StopInternalTimer();
    }
    controller->m_items->Clear();
}

void CTimerController::SetTimer(ITimerEvents * target, unsigned long eventId, unsigned long resolution, bool adviseOnce)
{
    SetTimer(target, eventId, CDateTime(), resolution, adviseOnce);
}

void CTimerController::SetTimer(ITimerEvents * target, unsigned long eventId, CDateTime const & start,
                                unsigned long resolution, bool adviseOnce)
{
    CTimerItem item = MakeItem(target, eventId, start, resolution, adviseOnce);
    SetTimer(item, true);
}

void CTimerController::SetTimer(ITimerEvents * target, unsigned long eventId, CTime const & timeOfDay,
                                unsigned long resolution, bool adviseOnce)
{
    SetTimer(target, eventId, NextOccurrence(timeOfDay), resolution, adviseOnce);
}

void CTimerController::SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, unsigned long resolution,
                                         bool adviseOnce)
{
    SetTimer(target, eventId, InMilliseconds(resolution), adviseOnce);
}

void CTimerController::SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, CDateTime const & start,
                                         unsigned long resolution, bool adviseOnce)
{
    SetTimer(target, eventId, start, InMilliseconds(resolution), adviseOnce);
}

void CTimerController::SetTimerInSeconds(ITimerEvents * target, unsigned long eventId, CTime const & timeOfDay,
                                         unsigned long resolution, bool adviseOnce)
{
    SetTimer(target, eventId, timeOfDay, InMilliseconds(resolution), adviseOnce);
}

void CTimerController::SetTimer(CTimerItem & item, bool reprogram)
{
    SetFirstUpdateTime(item);
    m_items->Set(item);
    if (reprogram)
        DoInternalTimerLogic(false);
}

void CTimerController::SetFirstUpdateTime(CTimerItem & item)
{
    std::uint32_t const now = PresentToCountFrom();
    std::int64_t delay = static_cast<std::int64_t>(item.GetResolution());
    if (!item.GetStartTime().IsNull())
        delay = DelayUntil(item.GetStartTime(), delay);
    if (m_items->IsEmpty())
        m_baseTime = now;
    else if (now < m_baseTime || now - m_baseTime > kMax32 - delay)
        Rebase(now);
    item.SetNextUpdate(delay + (now - m_baseTime));
}

void CTimerController::SetNextUpdateTime(CTimerItem & item)
{
    std::int64_t const resolution = static_cast<std::int64_t>(item.GetResolution());
    if (!FitsAfter(item.GetNextUpdate(), resolution))
    {
        auto const index = m_items->Find(item.GetTarget(), static_cast<std::uint32_t>(item.GetEventID()));
        bool const moves = index != internal::TimerItems::kNone; // with the base, as all timers that are set
        std::int64_t const before = moves ? m_items->NextUpdate(index) : 0;
        RebaseTimerController();
        item.SetNextUpdate(item.GetNextUpdate() + (moves ? m_items->NextUpdate(index) - before : 0));
    }
    item.SetNextUpdate(item.GetNextUpdate() + resolution);
}

void CTimerController::RebaseTimerController() { Rebase(PresentToCountFrom()); }

void CTimerController::Rebase(std::uint32_t now)
{
    std::uint32_t distance = now - m_baseTime;
    // One less when the counter went round, so the timers that outlive it are a millisecond late. Kept on purpose:
    // callers depend on the arithmetic.
    if (now < m_baseTime)
        --distance;
    m_baseTime = now;
    if (m_internalTimerRunning)
        m_nextUpdate -= distance;
    m_items->MoveBase(distance);
}

void CTimerController::KillTimer(CTimerItem const & item, bool reprogram)
{
    if (m_items->Remove(item.GetTarget(), static_cast<std::uint32_t>(item.GetEventID())) &&
        (reprogram || m_items->IsEmpty()))
        DoInternalTimerLogic(false);
}

void CTimerController::KillTimer(ITimerEvents * target, unsigned long eventId)
{
    std::uint32_t const id = internal::NarrowULong(eventId);
    // With the platform's timer set for the first one, the end of another changes nothing there.
    if (m_internalTimerId != 0 && m_items->PutOffRemoval(target, id, m_nextUpdate))
        return;
    if (m_items->Remove(target, id))
        DoInternalTimerLogic(false);
}

bool CTimerController::KillTimers(ITimerEvents * target)
{
    bool const removed = m_items->RemoveTarget(target);
    DoInternalTimerLogic(false);
    return removed;
}

void CTimerController::KillAllTimers()
{
    if (m_items->IsEmpty())
        return;
    m_items->Clear();
    DoInternalTimerLogic(false);
}

bool CTimerController::GetRemainingMilliseconds(ITimerEvents * target, unsigned long eventId,
                                                unsigned long & remaining) const
{
    auto const index = m_items->Find(target, internal::NarrowULong(eventId));
    if (index == internal::TimerItems::kNone)
        return false;
    std::int64_t const elapsed = PresentToCountFrom() - m_baseTime;
    std::int64_t const left = m_items->NextUpdate(index) - elapsed;
    remaining = static_cast<unsigned long>(std::clamp<std::int64_t>(left, 0, kMax32));
    return left >= 0;
}

void CTimerController::TimeChanged()
{
    std::vector<CTimerItem> timed;
    m_items->ForEachWithStart([&](internal::TimerItems::Index index) { timed.push_back(m_items->ItemAt(index)); });
    if (timed.empty())
        return;
    for (CTimerItem & item : timed)
        SetTimer(item, false);
    DoInternalTimerLogic(false);
}

unsigned long CTimerController::GetSize() const noexcept { return static_cast<unsigned long>(m_items->Size()); }

void CTimerController::DoInternalTimerLogic(bool force)
{
    if (m_items->IsEmpty())
    {
        m_internalTimerRunning = false;
        m_nextUpdate = 0;
        StopInternalTimer();
        return;
    }
    std::int64_t const first = m_items->FirstUpdate();
    if (!m_internalTimerRunning)
    {
        m_nextUpdate = first;
        m_internalTimerRunning = true;
        StartInternalTimer();
        return;
    }
    // Without a platform timer, one was spent on a round that an exception has ended, or could not be had.
    if (m_nextUpdate == first && !force && m_internalTimerId != 0)
        return;
    m_nextUpdate = first;
    StopInternalTimer();
    StartInternalTimer();
}

void CTimerController::StartInternalTimer()
{
    MoveOldBase();
    std::int64_t const now = PresentByBase();
    std::int64_t delay = std::max<std::int64_t>(GetNextUpdateTime() - now, 0);
    if (delay > m_maxPeriod)
        delay = m_maxPeriod;
    if (delay < m_minPeriod)
        delay = m_minPeriod;
    m_internalTimerId = timeSetEvent(static_cast<UINT>(delay), kRequestedResolution, &CTimerController::TimerProc,
                                     reinterpret_cast<DWORD_PTR>(GetWndHandle()), TIME_ONESHOT | TIME_KILL_SYNCHRONOUS);
}

void CTimerController::StopInternalTimer()
{
    timeKillEvent(m_internalTimerId);
    m_internalTimerId = 0;
}

/// The present tick count, to be compared with moments that are counted from the base time. That may be the end of the
/// millisecond that has begun, which is also when the counter goes round: then it has -1, not the highest count.
std::int64_t CTimerController::PresentByBase() const
{
    std::uint32_t const now = Present();
    return m_baseTime - now == 1U ? m_baseTime - std::int64_t{1} : now;
}

/// Moves the base time when the counter has gone round since, for then offsets from it tell nothing, or may soon.
void CTimerController::MoveOldBase()
{
    std::int64_t const now = PresentByBase();
    if (now < m_baseTime - std::int64_t{1} || now - m_baseTime >= kOldestBase)
        RebaseTimerController();
}

__int64 CTimerController::GetNextItemUpdateTime() const { return m_baseTime + m_items->FirstUpdate(); }

__int64 CTimerController::GetTimeToNextUpdate() const
{
    return std::max<__int64>(GetNextUpdateTime() - PresentByBase(), 0);
}

void CALLBACK CTimerController::TimerProc(unsigned int timerId, unsigned int, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
{
    // Without a window the message would go to the timer thread, which takes none.
    HWND const window = reinterpret_cast<HWND>(user);
    // A queue that is full takes no posts, but the timers must not stand still for that.
    if (window != nullptr && !::PostMessageW(window, kTimerFired, timerId, 0))
        ::SendNotifyMessageW(window, kTimerFired, timerId, 0);
}

bool CTimerController::OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result)
{
    if (msg != kTimerFired)
        return CTLMsgWnd::OnWndMsg(msg, wParam, lParam, result);
    *result = 0;
    // The message of an earlier timer may still have been on its way when that was cancelled.
    if (wParam == m_internalTimerId)
        OnInternalTimer();
    return true;
}

void CTimerController::OnInternalTimer()
{
    if (m_items->IsEmpty())
    {
        DoInternalTimerLogic(false);
        return;
    }
    MoveOldBase();
    std::int64_t now = PresentByBase();
    if (GetNextUpdateTime() > now)
    {
        DoInternalTimerLogic(true);
        return;
    }
    if (m_useCount.OtherHolders() != 0)
    {
        // A callback further up took this message; the round that it belongs to goes on and sets the timer again.
        StopInternalTimer();
        return;
    }
    CTLUseCount const alive(m_useCount);
    unsigned int const firedTimerId = m_internalTimerId;
    std::uint32_t base = m_baseTime;
    bool due;
    do
    {
        try
        {
            CallFirstItem();
        }
        catch (...)
        {
            if (alive.OtherHolders() != 0 && m_internalTimerId == firedTimerId)
                m_internalTimerId = 0; // the next change of the timers sets it again
            throw;
        }
        if (alive.OtherHolders() == 0)
            return; // the callback has ended this controller
        if (m_items->IsEmpty())
            break;
        due = GetNextItemUpdateTime() <= now;
        if (!due || m_baseTime != base)
        {
            // Only now, or when the last reading no longer compares, does the clock have to be read.
            MoveOldBase();
            now = PresentByBase();
            base = m_baseTime;
            due = GetNextItemUpdateTime() <= now;
        }
    } while (due);
    // A platform timer that has fired must not be taken for one that is set, even if its moment is the next one again.
    DoInternalTimerLogic(m_internalTimerId == firedTimerId);
}

/// Brings the first item up to date and calls its target.
void CTimerController::CallFirstItem()
{
    auto const index = m_items->First();
    internal::TimerItems::Timer const timer = m_items->At(index);
    if (timer.adviseOnce)
    {
        m_items->Remove(timer.target, timer.eventId);
        if (m_items->IsEmpty())
            DoInternalTimerLogic(false);
    }
    else
    {
        if (!FitsAfter(m_items->NextUpdate(index), timer.resolution))
            RebaseTimerController();
        m_items->Move(index, m_items->NextUpdate(index) + timer.resolution);
    }
    if (timer.target != nullptr)
        timer.target->OnTimeElapsed(this, timer.eventId);
}

} // namespace qvlib
