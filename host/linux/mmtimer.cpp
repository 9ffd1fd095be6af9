#include "qvlib/host/mmtimer.h"

#include "host/linux/internal/clock.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/timers.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <new>
#include <pthread.h>
#include <set>
#include <system_error>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace
{

using qvlib::host::Condition;
using qvlib::host::Mutex;
using qvlib::host::MutexLock;
using qvlib::host::internal::IsClockManual;
using qvlib::host::internal::MonotonicNanoseconds;
using qvlib::host::internal::SetManualClock;

constexpr UINT kShortest = 1;
constexpr UINT kLongest = 1'000'000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

/// The timers of the process and the thread that calls them. By a manual clock the thread rests, and whoever moves the
/// clock calls.
class Timers
{
public:
    /// Never destroyed: a timer may be cancelled by the destructor of a static.
    static Timers & Instance()
    {
        static Timers * const timers = new Timers;
        return *timers;
    }

    UINT Set(std::int64_t delay, LPTIMECALLBACK callback, DWORD_PTR user, UINT flags);
    bool Kill(UINT id);

    void ChangeClock(void (*change)(std::int64_t), std::int64_t argument);
    void Advance(std::int64_t distance);
    bool AdvanceToNext();
    unsigned int Count();

private:
    struct Timer
    {
        std::int64_t due;
        std::uint64_t number; ///< of its setting: of two timers due at once the earlier set is called first
        std::int64_t period;  ///< 0 for a one-shot timer
        LPTIMECALLBACK callback;
        DWORD_PTR user;
        bool waitWhenKilled;
    };
    using Order = std::tuple<std::int64_t, std::uint64_t, UINT>;

    static Order OrderOf(UINT id, Timer const & timer) { return {timer.due, timer.number, id}; }
    std::int64_t FirstDue() const QVLIB_REQUIRES(m_mutex)
    {
        return m_order.empty() ? kNever : std::get<0>(*m_order.begin());
    }
    bool IsCaller() const QVLIB_REQUIRES(m_mutex)
    {
        return m_runningId != 0 && m_runningThread == std::this_thread::get_id();
    }
    bool IsCallerNow() QVLIB_EXCLUDES(m_mutex)
    {
        MutexLock const held(m_mutex);
        return IsCaller();
    }
    void Insert(UINT id, Timer const & timer) QVLIB_REQUIRES(m_mutex);
    Timer Take(UINT id) QVLIB_REQUIRES(m_mutex);
    void CallFirst() QVLIB_REQUIRES(m_mutex);
    void CallDueUntil(std::int64_t target) QVLIB_REQUIRES(m_mutex);
    void StartThread() QVLIB_REQUIRES(m_mutex);
    void Run() noexcept QVLIB_EXCLUDES(m_mutex);
    void StopAtExit() QVLIB_EXCLUDES(m_mutex);

    Mutex m_advancing; ///< held while the manual clock moves, callbacks included; taken before m_mutex
    Mutex m_mutex;     ///< left during callbacks
    std::unordered_map<UINT, Timer> m_timers QVLIB_GUARDED_BY(m_mutex);
    std::set<Order> m_order QVLIB_GUARDED_BY(m_mutex);
    // A node each, kept for the next timer: most timers are set where another has gone.
    std::unordered_map<UINT, Timer>::node_type m_spareTimer QVLIB_GUARDED_BY(m_mutex);
    std::set<Order>::node_type m_spareOrder QVLIB_GUARDED_BY(m_mutex);
    UINT m_lastId QVLIB_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_settings QVLIB_GUARDED_BY(m_mutex) = 0;

    Condition m_changed; ///< an earlier timer, another clock, the end
    /// What the thread will wake for by itself.
    std::int64_t m_sleepsUntil QVLIB_GUARDED_BY(m_mutex) = kNever;
    Condition m_returned;                                ///< a callback has returned
    std::uint64_t m_calls QVLIB_GUARDED_BY(m_mutex) = 0; ///< callbacks that have returned
    UINT m_runningId QVLIB_GUARDED_BY(m_mutex) = 0;      ///< the timer whose callback is running
    bool m_runningWaitWhenKilled QVLIB_GUARDED_BY(m_mutex) = false;
    std::thread::id m_runningThread QVLIB_GUARDED_BY(m_mutex);

    std::thread m_thread QVLIB_GUARDED_BY(m_mutex);
    pid_t m_process QVLIB_GUARDED_BY(m_mutex) = 0; ///< that the thread runs in
    bool m_stopped QVLIB_GUARDED_BY(m_mutex) = false;
};

void Timers::Insert(UINT id, Timer const & timer)
{
    // With a spare node nothing below throws; without, a failed allocation leaves both as they were.
    if (m_spareOrder.empty())
    {
        m_order.insert(OrderOf(id, timer));
    }
    else
    {
        m_spareOrder.value() = OrderOf(id, timer);
        m_order.insert(std::move(m_spareOrder));
    }
    try
    {
        if (m_spareTimer.empty())
        {
            m_timers.emplace(id, timer);
        }
        else
        {
            m_spareTimer.key() = id;
            m_spareTimer.mapped() = timer;
            m_timers.insert(std::move(m_spareTimer));
        }
    }
    catch (...)
    {
        m_order.erase(OrderOf(id, timer));
        throw;
    }
}

Timers::Timer Timers::Take(UINT id)
{
    m_spareTimer = m_timers.extract(id);
    Timer const timer = m_spareTimer.mapped();
    m_spareOrder = m_order.extract(OrderOf(id, timer));
    return timer;
}

UINT Timers::Set(std::int64_t delay, LPTIMECALLBACK callback, DWORD_PTR user, UINT flags)
{
    UINT id;
    bool wake;
    {
        MutexLock const held(m_mutex);
        if (m_stopped)
            return 0;
        bool const manual = IsClockManual();
        if (!manual)
            StartThread();
        do
            ++m_lastId;
        while (m_lastId == 0 || m_lastId == m_runningId || m_timers.count(m_lastId) != 0);
        id = m_lastId;
        std::int64_t const due = MonotonicNanoseconds() + delay;
        Insert(id, {due, ++m_settings, (flags & TIME_PERIODIC) != 0 ? delay : 0, callback, user,
                    (flags & TIME_KILL_SYNCHRONOUS) != 0});
        wake = due < m_sleepsUntil && !manual;
    }
    if (wake)
        m_changed.NotifyOne();
    return id;
}

bool Timers::Kill(UINT id)
{
    MutexLock const held(m_mutex);
    bool const waits = m_timers.count(id) != 0;
    if (waits)
        Take(id); // the thread may wake for nothing, which is cheaper than telling it
    if (id == 0 || m_runningId != id || !m_runningWaitWhenKilled)
        return waits;
    if (!IsCaller())
        for (std::uint64_t const calls = m_calls; m_calls == calls;)
            m_returned.Wait(m_mutex);
    return true;
}

/// Calls the callback of the first timer. The lock is left meanwhile and held again at the end, also when the callback
/// throws (on a thread that moves the clock); that is more than the analysis can follow.
void Timers::CallFirst() QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    UINT const id = std::get<2>(*m_order.begin());
    Timer timer = Take(id);
    m_runningId = id;
    m_runningWaitWhenKilled = timer.waitWhenKilled;
    m_runningThread = std::this_thread::get_id();
    if (timer.period != 0)
    {
        std::int64_t const late = MonotonicNanoseconds() - timer.due;
        timer.due += timer.period * (1 + std::max<std::int64_t>(late, 0) / timer.period);
        Insert(id, timer); // into the spare nodes
    }
    struct Returned
    {
        Timers & timers;
        ~Returned() QVLIB_NO_THREAD_SAFETY_ANALYSIS
        {
            timers.m_mutex.Lock();
            timers.m_runningId = 0;
            ++timers.m_calls;
            timers.m_returned.NotifyAll();
        }
    };
    m_mutex.Unlock();
    Returned const returned{*this};
    timer.callback(id, 0, timer.user, 0, 0);
}

void Timers::Run() noexcept
{
    MutexLock const held(m_mutex);
    while (!m_stopped)
    {
        std::int64_t const due = IsClockManual() ? kNever : FirstDue();
        if (due != kNever && due <= MonotonicNanoseconds())
        {
            m_sleepsUntil = std::numeric_limits<std::int64_t>::min(); // awake: looks again by itself
            CallFirst();
            continue;
        }
        m_sleepsUntil = due;
        if (due == kNever)
            m_changed.Wait(m_mutex);
        else
            m_changed.WaitUntil(m_mutex, std::chrono::steady_clock::time_point(std::chrono::nanoseconds(due)));
    }
}

void Timers::StartThread()
{
    if (m_thread.joinable())
        return;
    // The program's signals are for the program's threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    struct Restore
    {
        sigset_t const & mask;
        ~Restore() { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
    } const restore{before};
    m_thread = std::thread([this] { Run(); });
    pthread_setname_np(m_thread.native_handle(), "timers");
    m_process = ::getpid();
    std::atexit([] { Instance().StopAtExit(); });
}

/// Ends the thread, or leaves it alone when it is in a callback that may never return, or was left behind by a fork.
void Timers::StopAtExit()
{
    std::thread thread;
    bool abandon;
    {
        MutexLock const held(m_mutex);
        m_stopped = true;
        abandon = m_runningId != 0 || m_process != ::getpid();
        thread.swap(m_thread);
    }
    m_changed.NotifyOne();
    if (abandon)
        thread.detach();
    else
        thread.join();
}

void Timers::ChangeClock(void (*change)(std::int64_t), std::int64_t argument)
{
    {
        MutexLock const held(m_mutex);
        std::int64_t const before = MonotonicNanoseconds();
        change(argument);
        std::int64_t const distance = MonotonicNanoseconds() - before;
        std::set<Order> order;
        while (!m_order.empty())
        {
            auto node = m_order.extract(m_order.begin());
            m_timers.at(std::get<2>(node.value())).due += distance;
            std::get<0>(node.value()) += distance;
            order.insert(std::move(node));
        }
        m_order.swap(order);
        if (!IsClockManual() && !m_order.empty() && !m_stopped)
            StartThread();
    }
    m_changed.NotifyOne();
}

/// Moves the manual clock, calling on the way.
void Timers::CallDueUntil(std::int64_t target)
{
    // A callback may have moved the clock past the target.
    while (FirstDue() <= std::max(target, MonotonicNanoseconds()))
    {
        SetManualClock(std::max(FirstDue(), MonotonicNanoseconds()));
        CallFirst();
    }
    SetManualClock(std::max(target, MonotonicNanoseconds()));
}

void Timers::Advance(std::int64_t distance)
{
    distance = std::max<std::int64_t>(distance, 0);
    if (IsCallerNow())
        return SetManualClock(MonotonicNanoseconds() + distance);
    MutexLock const advancing(m_advancing);
    MutexLock const held(m_mutex);
    CallDueUntil(MonotonicNanoseconds() + distance);
}

bool Timers::AdvanceToNext()
{
    if (IsCallerNow())
    {
        MutexLock const held(m_mutex);
        if (m_order.empty())
            return false;
        SetManualClock(std::max(FirstDue(), MonotonicNanoseconds()));
        return true;
    }
    MutexLock const advancing(m_advancing);
    MutexLock const held(m_mutex);
    if (m_order.empty())
        return false;
    CallDueUntil(FirstDue());
    return true;
}

unsigned int Timers::Count()
{
    MutexLock const held(m_mutex);
    return static_cast<unsigned int>(m_timers.size());
}

} // namespace

MMRESULT timeGetDevCaps(TIMECAPS * caps, UINT size)
{
    if (caps == nullptr || size < sizeof *caps)
        return TIMERR_NOCANDO;
    *caps = {kShortest, kLongest};
    return TIMERR_NOERROR;
}

MMRESULT timeBeginPeriod(UINT period)
{
    return period >= kShortest && period <= kLongest ? TIMERR_NOERROR : TIMERR_NOCANDO;
}

MMRESULT timeEndPeriod(UINT period) { return timeBeginPeriod(period); }

MMRESULT timeSetEvent(UINT delay, UINT, LPTIMECALLBACK callback, DWORD_PTR user, UINT flags)
{
    if (delay < kShortest || delay > kLongest || callback == nullptr ||
        (flags & ~(TIME_PERIODIC | TIME_KILL_SYNCHRONOUS)) != 0)
        return 0;
    try
    {
        return Timers::Instance().Set(delay * kNanosecondsPerMillisecond, callback, user, flags);
    }
    catch (std::system_error const &) // no thread
    {
        return 0;
    }
    catch (std::bad_alloc const &)
    {
        return 0;
    }
}

MMRESULT timeKillEvent(UINT timerId) { return Timers::Instance().Kill(timerId) ? TIMERR_NOERROR : MMSYSERR_INVALPARAM; }

namespace qvlib::host::internal
{

void ChangeTimerClock(void (*change)(std::int64_t), std::int64_t argument)
{
    Timers::Instance().ChangeClock(change, argument);
}

void AdvanceTimers(std::int64_t nanoseconds) { Timers::Instance().Advance(nanoseconds); }

bool AdvanceToNextTimer() { return Timers::Instance().AdvanceToNext(); }

unsigned int PendingTimers() { return Timers::Instance().Count(); }

} // namespace qvlib::host::internal
