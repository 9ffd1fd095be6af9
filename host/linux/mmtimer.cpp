#include "qvlib/host/mmtimer.h"

#include "host/linux/internal/clock.h"
#include "host/linux/internal/timers.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <mutex>
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
    using Lock = std::unique_lock<std::mutex>;

    static Order OrderOf(UINT id, Timer const & timer) { return {timer.due, timer.number, id}; }
    std::int64_t FirstDue() const { return m_order.empty() ? kNever : std::get<0>(*m_order.begin()); }
    bool IsCaller() const { return m_runningId != 0 && m_runningThread == std::this_thread::get_id(); }
    void Insert(UINT id, Timer const & timer);
    Timer Take(UINT id);
    void CallFirst(Lock & lock);
    void CallDueUntil(Lock & lock, std::int64_t target);
    void StartThread();
    void Run() noexcept;
    void StopAtExit();

    std::mutex m_advancing; ///< held through a move of the manual clock, callbacks included; taken before m_mutex
    std::mutex m_mutex;     ///< guards what follows; left during callbacks
    std::unordered_map<UINT, Timer> m_timers;
    std::set<Order> m_order;
    // A node each, kept for the next timer: most timers are set where another has gone.
    std::unordered_map<UINT, Timer>::node_type m_spareTimer;
    std::set<Order>::node_type m_spareOrder;
    UINT m_lastId = 0;
    std::uint64_t m_settings = 0;

    std::condition_variable m_changed;   ///< an earlier timer, another clock, the end
    std::int64_t m_sleepsUntil = kNever; ///< what the thread will wake for by itself
    std::condition_variable m_returned;  ///< a callback has returned
    std::uint64_t m_calls = 0;           ///< callbacks that have returned
    UINT m_runningId = 0;                ///< the timer whose callback is running
    bool m_runningWaitWhenKilled = false;
    std::thread::id m_runningThread;

    std::thread m_thread;
    pid_t m_process = 0; ///< that the thread runs in
    bool m_stopped = false;
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
    Lock lock(m_mutex);
    if (m_stopped)
        return 0;
    if (!IsClockManual())
        StartThread();
    do
        ++m_lastId;
    while (m_lastId == 0 || m_lastId == m_runningId || m_timers.count(m_lastId) != 0);
    std::int64_t const due = MonotonicNanoseconds() + delay;
    Insert(m_lastId, {due, ++m_settings, (flags & TIME_PERIODIC) != 0 ? delay : 0, callback, user,
                      (flags & TIME_KILL_SYNCHRONOUS) != 0});
    UINT const id = m_lastId;
    bool const wake = due < m_sleepsUntil && !IsClockManual();
    lock.unlock();
    if (wake)
        m_changed.notify_one();
    return id;
}

bool Timers::Kill(UINT id)
{
    Lock lock(m_mutex);
    bool const waits = m_timers.count(id) != 0;
    if (waits)
        Take(id); // the thread may wake for nothing, which is cheaper than telling it
    if (id == 0 || m_runningId != id || !m_runningWaitWhenKilled)
        return waits;
    if (!IsCaller())
        m_returned.wait(lock, [this, call = m_calls] { return m_calls != call; });
    return true;
}

/// Calls the callback of the first timer, with the lock left.
void Timers::CallFirst(Lock & lock)
{
    UINT const id = std::get<2>(*m_order.begin());
    Timer timer = Take(id);
    LPTIMECALLBACK const callback = timer.callback;
    DWORD_PTR const user = timer.user;
    m_runningId = id;
    m_runningWaitWhenKilled = timer.waitWhenKilled;
    m_runningThread = std::this_thread::get_id();
    if (timer.period != 0)
    {
        std::int64_t const late = MonotonicNanoseconds() - timer.due;
        timer.due += timer.period * (1 + std::max<std::int64_t>(late, 0) / timer.period);
        Insert(id, timer); // into the spare nodes
    }
    struct Returned // also when the callback throws, on a thread that moves the clock
    {
        Timers & timers;
        Lock & lock;
        ~Returned()
        {
            lock.lock();
            timers.m_runningId = 0;
            ++timers.m_calls;
            timers.m_returned.notify_all();
        }
    };
    lock.unlock();
    Returned const returned{*this, lock};
    callback(id, 0, user, 0, 0);
}

void Timers::Run() noexcept
{
    Lock lock(m_mutex);
    while (!m_stopped)
    {
        std::int64_t const due = IsClockManual() ? kNever : FirstDue();
        if (due != kNever && due <= MonotonicNanoseconds())
        {
            m_sleepsUntil = std::numeric_limits<std::int64_t>::min(); // awake: looks again by itself
            CallFirst(lock);
            continue;
        }
        m_sleepsUntil = due;
        if (due == kNever)
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, std::chrono::steady_clock::time_point(std::chrono::nanoseconds(due)));
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
    Lock lock(m_mutex);
    m_stopped = true;
    bool const abandon = m_runningId != 0 || m_process != ::getpid();
    lock.unlock();
    m_changed.notify_one();
    if (abandon)
        m_thread.detach();
    else
        m_thread.join();
}

void Timers::ChangeClock(void (*change)(std::int64_t), std::int64_t argument)
{
    Lock lock(m_mutex);
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
    lock.unlock();
    m_changed.notify_one();
}

/// Moves the manual clock, calling on the way.
void Timers::CallDueUntil(Lock & lock, std::int64_t target)
{
    // A callback may have moved the clock past the target.
    while (FirstDue() <= std::max(target, MonotonicNanoseconds()))
    {
        SetManualClock(std::max(FirstDue(), MonotonicNanoseconds()));
        CallFirst(lock);
    }
    SetManualClock(std::max(target, MonotonicNanoseconds()));
}

void Timers::Advance(std::int64_t distance)
{
    Lock lock(m_mutex);
    std::int64_t const target = MonotonicNanoseconds() + std::max<std::int64_t>(distance, 0);
    if (IsCaller())
        return SetManualClock(target);
    lock.unlock();
    std::lock_guard const advancing(m_advancing);
    lock.lock();
    CallDueUntil(lock, MonotonicNanoseconds() + std::max<std::int64_t>(distance, 0));
}

bool Timers::AdvanceToNext()
{
    Lock lock(m_mutex);
    bool const nested = IsCaller();
    Lock advancing(m_advancing, std::defer_lock);
    if (!nested)
    {
        lock.unlock();
        advancing.lock();
        lock.lock();
    }
    if (m_order.empty())
        return false;
    if (nested)
        SetManualClock(std::max(FirstDue(), MonotonicNanoseconds()));
    else
        CallDueUntil(lock, FirstDue());
    return true;
}

unsigned int Timers::Count()
{
    Lock const lock(m_mutex);
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
