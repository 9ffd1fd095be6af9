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
#include "qvlib/AutoPtr.h"
#include "qvlib/CriticalSection.h"
#include "qvlib/host/messages.h"

namespace qvlib::detail
{

/// The message that asks the queue's thread to run one command.
constexpr UINT kProcessQueueMessage = WM_APP + 2;

/// Holds a critical section for a scope.
class QVLIB_SCOPED_CAPABILITY CmdQueueLock
{
public:
    explicit CmdQueueLock(CTLCriticalSection const & section) QVLIB_ACQUIRE(section) : m_section(section)
    {
        m_section.Lock();
    }
    CmdQueueLock(CmdQueueLock const &) = delete;
    CmdQueueLock & operator=(CmdQueueLock const &) = delete;
    ~CmdQueueLock() QVLIB_RELEASE() { m_section.Unlock(); }

private:
    CTLCriticalSection const & m_section;
};

class AsyncCmdQueueState
{
public:
    explicit AsyncCmdQueueState(unsigned long priorities);
    AsyncCmdQueueState(AsyncCmdQueueState const &) = delete;
    AsyncCmdQueueState & operator=(AsyncCmdQueueState const &) = delete;

    // Who holds the state. Counted in one word: holders in the lower half, dispatches among them in the upper.
    void AddHolder() noexcept { m_holders.fetch_add(kHolder, std::memory_order_relaxed); }
    void ReleaseHolder() noexcept { Release(kHolder); }
    void BeginDispatch() noexcept { m_holders.fetch_add(kDispatch + kHolder, std::memory_order_relaxed); }
    void EndDispatch() noexcept { Release(kDispatch + kHolder); }
    /// How many dispatches run: on the queue's thread, one for each level of nesting.
    std::uint64_t Dispatches() const noexcept { return m_holders.load(std::memory_order_relaxed) >> kDispatchShift; }

    bool IsQueueGone() const noexcept { return m_queueGone.load(std::memory_order_acquire); }
    void QueueIsGone() noexcept { m_queueGone.store(true, std::memory_order_release); }

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
    /// Runs the next command that may run. The caller has begun a dispatch. True when more wait afterwards and the
    /// queue is still there.
    bool RunOne();
    /// Takes a synchronous post out of the queue. False when it is not there: it was run or cancelled, or is just now.
    bool Withdraw(CTLAsyncCmd const * command) noexcept;
    /// Cancels all commands, or those of one level.
    void CancelAll();
    void CancelLevel(unsigned long priority);
    /// CancelAll for the end of the queue: takes the lists one by one, so that it needs no memory, and swallows what
    /// Canceled throws. Commands that Canceled queues are cancelled in a second round, and merely deleted if they come
    /// after that.
    void CancelAtEnd() noexcept;

    std::uint32_t Size() const noexcept { return m_size.load(std::memory_order_seq_cst); }
    std::size_t Levels() const;
    std::size_t LevelSize(unsigned long priority) const;
    std::size_t CountAll() const;

    // The process message.
    /// Posts the process message unless one is on its way. A post that fails leaves none on its way.
    void PostProcessMessage() noexcept;
    /// The process message has arrived.
    void ProcessMessageArrived() noexcept { m_pending.store(0, std::memory_order_seq_cst); }
    /// A process message came while a command was running, and what waits has to be posted for anew.
    void MissProcessMessage() noexcept { m_missed.store(true, std::memory_order_relaxed); }
    /// At the end of a dispatch that no process message has started: posts for what was missed meanwhile.
    void MakeUpForMissed() noexcept;

    // The queue lock: a request to hold commands back, not a mutex.
    std::uint32_t AddQueueLock() noexcept { return m_queueLocks.fetch_add(1, std::memory_order_seq_cst) + 1; }
    std::uint32_t ReleaseQueueLock() noexcept;
    bool IsQueueLocked() const noexcept { return m_queueLocks.load(std::memory_order_seq_cst) != 0; }

    /// Calls Canceled for each command, then deletes those that are owned. An exception does not keep the others from
    /// being cancelled; the first one is put into `failure` unless there is one already.
    static void CancelCommands(CmdRing && commands, std::exception_ptr & failure) noexcept;

private:
    static constexpr std::uint64_t kHolder = 1;
    static constexpr int kDispatchShift = 32;
    static constexpr std::uint64_t kDispatch = std::uint64_t{1} << kDispatchShift;

    ~AsyncCmdQueueState();
    void Release(std::uint64_t what) noexcept;
    std::size_t CheckedLevel(unsigned long priority) const QVLIB_REQUIRES(m_lock);
    bool TakeAwaited(CTLAsyncCmd *& command) noexcept;
    void SetSize(std::size_t size) noexcept QVLIB_REQUIRES(m_lock);

    CTLCriticalSection m_lock;
    std::vector<CmdRing> m_levels QVLIB_GUARDED_BY(m_lock); // 0 is the urgent level, p + 1 that of priority p
    std::atomic<std::uint32_t> m_size{0};                   // changed under the lock, read without it
    // A process message is on its way: set by who posts it, cleared when it arrives. This flag, the queue locks and the
    // size are read and written in turns without the lock, each side writing its own and then reading the other's: they
    // stay in one order for all threads (seq_cst), so that no command is left without a message.
    std::atomic<std::uint32_t> m_pending{0};
    std::atomic<std::uint32_t> m_queueLocks{0};
    std::atomic<HWND> m_window{nullptr}; // changed under the lock
    std::atomic<std::uint64_t> m_holders{kHolder};
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

/// A dispatch: holds the state, and makes process messages that arrive inside do nothing.
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

/// Remembers that the calling thread owns the window of the queue, so that the window counts as ended when the thread
/// ends and leaves it behind. May throw std::bad_alloc.
void EndWindowWithThread(AsyncCmdQueueState & state, HWND window);

} // namespace qvlib::detail
