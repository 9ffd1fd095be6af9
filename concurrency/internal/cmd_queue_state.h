// AsyncCmdQueueState: everything of a command queue that a dispatch or a waiting post may still need when the queue
// object itself is gone.
//
// The queue holds its state once. A dispatch and a synchronous post hold it, too, for as long as they run, and ask
// IsQueueGone() before they go on with anything that belongs to the object. So a command may destroy its queue, also
// from a dispatch inside a dispatch, and another thread may destroy it while a post waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <vector>

#include "concurrency/internal/cmd_ring.h"
#include "concurrency/internal/lock_guard.h"
#include "qvlib/AutoPtr.h"
#include "qvlib/CriticalSection.h"
#include "qvlib/host/messages.h"

namespace qvlib::detail
{

/// The message that asks the queue's thread to run one command.
constexpr UINT kProcessQueueMessage = WM_APP + 2;

using CmdQueueLock = internal::LockGuard<CTLCriticalSection const>;

class AsyncCmdQueueState
{
public:
    explicit AsyncCmdQueueState(unsigned long priorities);
    AsyncCmdQueueState(AsyncCmdQueueState const &) = delete;
    AsyncCmdQueueState & operator=(AsyncCmdQueueState const &) = delete;

    // Who holds the state: the queue, the thread of its window, runs by hand, posts that wait.
    void AddHolder() noexcept { m_holders.fetch_add(1, std::memory_order_relaxed); }
    void ReleaseHolder() noexcept
    {
        // Whoever lets go last sees all that the others did.
        if (m_holders.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

    // What runs. A dispatch of the process message is the window's thread's own affair: it changes the count alone, and
    // holds the state for it (EndWindowWithThread), so that a command costs no atomic steps for this.
    void BeginDispatch() noexcept
    {
        m_dispatches.store(m_dispatches.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void EndDispatch() noexcept
    {
        m_dispatches.store(m_dispatches.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    }
    bool IsDispatching() const noexcept { return m_dispatches.load(std::memory_order_relaxed) != 0; }
    void BeginRunByHand() noexcept
    {
        AddHolder();
        m_runsByHand.fetch_add(1, std::memory_order_relaxed);
    }
    /// The last run posts for the process messages that came meanwhile.
    void EndRunByHand() noexcept;
    bool IsRunning() const noexcept { return IsDispatching() || m_runsByHand.load(std::memory_order_relaxed) != 0; }

    bool IsQueueGone() const noexcept { return m_queueGone.load(std::memory_order_acquire); }
    /// Under the lock, so that a marker was queued before, and is cancelled with the rest, or is refused.
    void QueueIsGone() noexcept;

    // The window.
    /// The window was made.
    void WindowBegins(HWND window);
    /// There is no window any more: posts fail, and the synchronous posts that wait for their turn are cancelled.
    /// What Canceled throws is swallowed, for this is the end of a window, not the call of a user.
    void WindowEnds() noexcept;
    HWND Window() const noexcept { return m_window.load(std::memory_order_acquire); }

    // The commands.
    /// Queues the command behind those of its priority, takes over its ownership and posts the process message. Gives
    /// the window that will run it, null when there is none. Throws unexpected_error for a priority that is not there.
    HWND Push(old_auto_ptr<CTLAsyncCmd> const & command, unsigned long priority, bool awaited = false);
    /// Queues the marker of a wait for emptiness behind everything else. False, and nothing is queued, when the queue
    /// is gone: nobody would take the marker out again.
    bool PushMarker(CTLAsyncCmd & marker, HWND & window);
    /// Runs the next command that may run; for a process message that has `arrived`, or by hand. The caller has begun a
    /// dispatch or a run. True when more wait afterwards and the queue is still there.
    bool RunOne(bool arrived);
    /// Takes a synchronous post out of the queue. False when it is not there: it was run or cancelled, or is just now.
    bool Withdraw(CTLAsyncCmd const * command) noexcept;
    /// Cancels all commands, or those of one level.
    void CancelAll();
    void CancelLevel(unsigned long priority);
    /// CancelAll for the end of the queue: takes the lists one by one, so that it needs no memory, and swallows what
    /// Canceled throws.
    void CancelEach() noexcept;
    /// Deletes what is left, and the lists with it: commands that others have queued when they were cancelled at the
    /// very end.
    void DropRest() noexcept;

    std::uint32_t Size() const noexcept { return m_size.load(std::memory_order_acquire); }
    std::size_t Levels() const;
    std::size_t LevelSize(unsigned long priority) const;
    std::size_t CountAll() const;

    // The process message.
    /// Posts the process message unless one is on its way. A post that fails leaves none on its way.
    void PostProcessMessage() noexcept;
    /// The same for a dispatch that ends, on the window's thread.
    void PostNextProcessMessage() noexcept;
    /// A process message has come while a command was running: what waits is posted for when that has ended.
    void MissProcessMessage() noexcept;

    // The queue lock: a request to hold commands back, not a mutex.
    std::uint32_t AddQueueLock() noexcept { return m_queueLocks.fetch_add(1, std::memory_order_relaxed) + 1; }
    std::uint32_t ReleaseQueueLock() noexcept;
    bool IsQueueLocked() const noexcept { return m_queueLocks.load(std::memory_order_relaxed) != 0; }

    /// Calls Canceled for each command, then deletes those that are owned. An exception does not keep the others from
    /// being cancelled; the first one is put into `failure` unless there is one already.
    static void CancelCommands(CmdRing && commands, std::exception_ptr & failure) noexcept;

private:
    ~AsyncCmdQueueState() = default;
    std::size_t CheckedLevel(unsigned long priority) const QVLIB_REQUIRES(m_lock);
    bool TakeAwaited(CTLAsyncCmd *& command) noexcept;
    /// Whether the caller is the one to post: none was on its way.
    bool ClaimProcessMessage() noexcept;
    /// One that was on its way has arrived, or never will.
    void ProcessMessageArrived() noexcept QVLIB_REQUIRES(m_lock);
    /// Posts for whoever has set the flag, when so many commands were waiting.
    void SendProcessMessage(HWND window, std::uint32_t size) noexcept;
    void SetSize(std::size_t size) noexcept QVLIB_REQUIRES(m_lock);

    CTLCriticalSection m_lock;
    std::vector<CmdRing> m_levels QVLIB_GUARDED_BY(m_lock); // 0 is the urgent level, p + 1 that of priority p
    std::atomic<std::uint32_t> m_size{0};                   // changed under the lock, read without it
    // A process message is on its way: of somebody who has queued a command, or of a dispatch for the next one. Each is
    // set by who posts it and cleared under the lock when one arrives, so that whoever finds one set under the lock
    // knows of a message that will find what he has queued. The dispatcher looks and sets its own without the lock and
    // without a compare and exchange, which would be a good part of what a command costs. So it and a poster may post
    // at the same moment. The message that arrives first is then taken for the dispatcher's, which posts no next one
    // while the other is on its way.
    std::atomic<std::uint32_t> m_pending{0};
    std::atomic<bool> m_nextPending{false};
    std::atomic<std::uint32_t> m_queueLocks{0};
    std::atomic<HWND> m_window{nullptr}; // changed under the lock
    std::atomic<std::uint32_t> m_holders{1};
    std::atomic<std::uint32_t> m_dispatches{0};
    std::atomic<std::uint32_t> m_runsByHand{0};
    std::atomic<bool> m_queueGone{false};
    std::atomic<bool> m_missed{false};
};

/// Holds a queue's state for a scope.
class CmdQueueStateHolder
{
public:
    explicit CmdQueueStateHolder(AsyncCmdQueueState & state) noexcept : m_state(state) { m_state.AddHolder(); }
    CmdQueueStateHolder(CmdQueueStateHolder const &) = delete;
    CmdQueueStateHolder & operator=(CmdQueueStateHolder const &) = delete;
    ~CmdQueueStateHolder() { m_state.ReleaseHolder(); }

private:
    AsyncCmdQueueState & m_state;
};

/// A dispatch of the process message. Others that arrive inside do nothing.
class CmdDispatch
{
public:
    explicit CmdDispatch(AsyncCmdQueueState & state) noexcept : m_state(state) { m_state.BeginDispatch(); }
    CmdDispatch(CmdDispatch const &) = delete;
    CmdDispatch & operator=(CmdDispatch const &) = delete;
    ~CmdDispatch() { m_state.EndDispatch(); }

private:
    AsyncCmdQueueState & m_state;
};

/// A run by hand: the same, on any thread.
class CmdRunByHand
{
public:
    explicit CmdRunByHand(AsyncCmdQueueState & state) noexcept : m_state(state) { m_state.BeginRunByHand(); }
    CmdRunByHand(CmdRunByHand const &) = delete;
    CmdRunByHand & operator=(CmdRunByHand const &) = delete;
    ~CmdRunByHand() { m_state.EndRunByHand(); }

private:
    AsyncCmdQueueState & m_state;
};

/// Remembers that the calling thread owns the window of the queue. The window counts as ended when the thread ends and
/// leaves it behind; until the window has ended, and no dispatch runs, the thread holds the state. May throw
/// std::bad_alloc.
void EndWindowWithThread(AsyncCmdQueueState & state, HWND window);
/// Lets go what the calling thread need not hold any more.
void ReleaseEndedWindows() noexcept;

} // namespace qvlib::detail
