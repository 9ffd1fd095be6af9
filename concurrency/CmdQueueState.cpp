#include "concurrency/internal/cmd_queue_state.h"

#include <new>

#include "qvlib/Exceptions.h"

namespace qvlib::detail
{

namespace
{

constexpr std::uint64_t kAllOnes32 = 0xFFFFFFFF;

/// Levels for the priorities 0 to n - 1 and the urgent one, counted in 32 bits; 0 priorities are 1.
std::size_t LevelsFor(unsigned long priorities)
{
    if (priorities > kAllOnes32 && priorities != ~0UL)
        throw unexpected_error();
    std::uint32_t const count = static_cast<std::uint32_t>(priorities) + 1;
    return priorities == 0 ? 2 : count;
}

/// The windows of queues that a thread has made. They count as ended when it ends.
class WindowsOfThread
{
public:
    WindowsOfThread() = default;
    WindowsOfThread(WindowsOfThread const &) = delete;
    WindowsOfThread & operator=(WindowsOfThread const &) = delete;
    ~WindowsOfThread()
    {
        s_gone = true;
        for (Entry const & entry : m_entries)
        {
            if (entry.state->Window() == entry.window)
                entry.state->WindowEnds();
            entry.state->ReleaseHolder();
        }
    }

    void Add(AsyncCmdQueueState & state, HWND window)
    {
        ReleaseEnded();
        m_entries.push_back({&state, window});
        state.AddHolder();
    }

    /// Windows may have ended on any thread. What a dispatch of this thread still needs is kept.
    void ReleaseEnded() noexcept
    {
        std::size_t kept = 0;
        for (Entry const & entry : m_entries)
        {
            if (entry.state->Window() == entry.window || entry.state->IsDispatching())
                m_entries[kept++] = entry;
            else
                entry.state->ReleaseHolder();
        }
        m_entries.resize(kept);
    }

    /// Whether this thread's object has gone already: queues that are static objects may end after it.
    static constinit thread_local bool s_gone;

private:
    struct Entry
    {
        AsyncCmdQueueState * state;
        HWND window;
    };
    std::vector<Entry> m_entries;
};

constinit thread_local bool WindowsOfThread::s_gone = false;
thread_local WindowsOfThread t_windows;

} // namespace

AsyncCmdQueueState::AsyncCmdQueueState(unsigned long priorities) : m_levels(LevelsFor(priorities)) {}

void AsyncCmdQueueState::QueueIsGone() noexcept
{
    CmdQueueLock const lock(m_lock);
    m_queueGone.store(true, std::memory_order_release);
}

void AsyncCmdQueueState::EndRunByHand() noexcept
{
    if (m_runsByHand.fetch_sub(1, std::memory_order_relaxed) == 1 && !IsDispatching() && !IsQueueGone() &&
        m_missed.exchange(false, std::memory_order_acquire) && Size() != 0)
        PostProcessMessage();
    ReleaseHolder();
}

void AsyncCmdQueueState::WindowBegins(HWND window)
{
    CmdQueueLock const lock(m_lock);
    m_window.store(window, std::memory_order_release);
    // Messages that were on their way to an earlier window never arrive.
    m_pending.store(0, std::memory_order_relaxed);
    m_nextPending.store(false, std::memory_order_relaxed);
}

void AsyncCmdQueueState::WindowEnds() noexcept
{
    {
        CmdQueueLock const lock(m_lock);
        m_window.store(nullptr, std::memory_order_release);
    }
    CTLAsyncCmd * command = nullptr;
    while (TakeAwaited(command))
    {
        try
        {
            command->Canceled();
        }
        catch (...)
        {
        }
    }
}

std::size_t AsyncCmdQueueState::CheckedLevel(unsigned long priority) const
{
    // Index = priority + 1 in 32 bits, so that an all-ones priority of either width is the urgent level.
    std::uint32_t const level = static_cast<std::uint32_t>(priority) + 1;
    if ((priority > kAllOnes32 && priority != ~0UL) || m_levels.size() <= level)
        throw unexpected_error();
    return level;
}

void AsyncCmdQueueState::SetSize(std::size_t size) noexcept
{
    m_size.store(static_cast<std::uint32_t>(size), std::memory_order_release);
}

HWND AsyncCmdQueueState::Push(old_auto_ptr<CTLAsyncCmd> const & command, unsigned long priority, bool awaited)
{
    CTLAsyncCmd * const pointer = command.get();
    bool const owned = command.owner() && pointer != nullptr;
    CmdEntry const entry(pointer, owned ? CmdEntry::kOwned : awaited ? CmdEntry::kAwaited : CmdEntry::kPlain);

    HWND window = nullptr;
    std::uint32_t size = 0;
    bool posts = false;
    {
        CmdQueueLock const lock(m_lock);
        m_levels[CheckedLevel(priority)].push_back(entry);
        command.release();
        size = m_size.load(std::memory_order_relaxed) + 1;
        SetSize(size);
        window = m_window.load(std::memory_order_relaxed);
        posts = window != nullptr && ClaimProcessMessage();
        if (posts)
            AddHolder();
    }
    // Without the lock, or the queue's thread, once awake, would wait for it first. A dispatch that is under way may
    // have run the command by now, and the queue may be gone: the state is held, and a window that is gone takes no
    // message.
    if (posts)
    {
        SendProcessMessage(window, size);
        ReleaseHolder();
    }
    return window;
}

bool AsyncCmdQueueState::PushMarker(CTLAsyncCmd & marker, HWND & window)
{
    CmdQueueLock const lock(m_lock);
    if (IsQueueGone() || m_levels.empty())
        return false;
    m_levels.back().push_back(CmdEntry(&marker, CmdEntry::kAwaited));
    SetSize(m_size.load(std::memory_order_relaxed) + 1);
    PostProcessMessage();
    window = m_window.load(std::memory_order_relaxed);
    return true;
}

bool AsyncCmdQueueState::RunOne(bool arrived)
{
    CmdEntry entry;
    {
        CmdQueueLock const lock(m_lock);
        if (arrived)
            ProcessMessageArrived();
        std::uint32_t const size = m_size.load(std::memory_order_relaxed);
        if (size == 0)
            return false;
        CmdRing * level = m_levels.data();
        if (level->empty())
        {
            if (IsQueueLocked())
                return false;
            do
                ++level;
            while (level->empty());
        }
        entry = level->pop_front();
        SetSize(size - 1);
    }
    {
        old_auto_ptr<CTLAsyncCmd> const command(entry.Command(), entry.IsOwned());
        if (command.get() != nullptr)
            command->Execute();
    }
    return !IsQueueGone() && Size() != 0;
}

bool AsyncCmdQueueState::Withdraw(CTLAsyncCmd const * command) noexcept
{
    CmdQueueLock const lock(m_lock);
    for (CmdRing & level : m_levels)
        for (std::size_t i = 0; i < level.size(); ++i)
            if (level.at(i).Command() == command && level.at(i).IsAwaited())
            {
                level.erase(i);
                SetSize(m_size.load(std::memory_order_relaxed) - 1);
                return true;
            }
    return false;
}

bool AsyncCmdQueueState::TakeAwaited(CTLAsyncCmd *& command) noexcept
{
    CmdQueueLock const lock(m_lock);
    for (CmdRing & level : m_levels)
        for (std::size_t i = 0; i < level.size(); ++i)
            if (level.at(i).IsAwaited())
            {
                command = level.at(i).Command();
                level.erase(i);
                SetSize(m_size.load(std::memory_order_relaxed) - 1);
                return true;
            }
    return false;
}

void AsyncCmdQueueState::CancelCommands(CmdRing && commands, std::exception_ptr & failure) noexcept
{
    for (std::size_t i = 0; i < commands.size(); ++i)
    {
        try
        {
            if (CTLAsyncCmd * const command = commands.at(i).Command())
                command->Canceled();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    }
    while (!commands.empty())
    {
        CmdEntry const entry = commands.pop_front();
        if (entry.IsOwned())
            delete entry.Command();
    }
}

void AsyncCmdQueueState::CancelAll()
{
    std::vector<CmdRing> taken;
    {
        CmdQueueLock const lock(m_lock);
        if (m_size.load(std::memory_order_relaxed) == 0)
            return;
        taken = std::vector<CmdRing>(m_levels.size());
        m_levels.swap(taken);
        SetSize(0);
    }
    std::exception_ptr failure;
    for (CmdRing & level : taken)
        CancelCommands(std::move(level), failure);
    if (failure)
        std::rethrow_exception(failure);
}

void AsyncCmdQueueState::CancelLevel(unsigned long priority)
{
    CmdRing taken;
    {
        CmdQueueLock const lock(m_lock);
        std::size_t const level = CheckedLevel(priority);
        SetSize(m_size.load(std::memory_order_relaxed) - m_levels[level].size());
        std::swap(taken, m_levels[level]);
    }
    std::exception_ptr failure;
    CancelCommands(std::move(taken), failure);
    if (failure)
        std::rethrow_exception(failure);
}

void AsyncCmdQueueState::CancelEach() noexcept
{
    std::exception_ptr failure;
    for (std::size_t level = 0;; ++level)
    {
        CmdRing taken;
        {
            CmdQueueLock const lock(m_lock);
            if (level >= m_levels.size())
                return;
            SetSize(m_size.load(std::memory_order_relaxed) - m_levels[level].size());
            std::swap(taken, m_levels[level]);
        }
        CancelCommands(std::move(taken), failure);
    }
}

void AsyncCmdQueueState::DropRest() noexcept
{
    std::vector<CmdRing> left;
    {
        CmdQueueLock const lock(m_lock);
        SetSize(0);
        m_levels.swap(left);
    }
    for (CmdRing & level : left)
        while (!level.empty())
            if (CmdEntry const entry = level.pop_front(); entry.IsOwned())
                delete entry.Command();
}

std::size_t AsyncCmdQueueState::Levels() const
{
    CmdQueueLock const lock(m_lock);
    return m_levels.size();
}

std::size_t AsyncCmdQueueState::LevelSize(unsigned long priority) const
{
    CmdQueueLock const lock(m_lock);
    return m_levels[CheckedLevel(priority)].size();
}

std::size_t AsyncCmdQueueState::CountAll() const
{
    CmdQueueLock const lock(m_lock);
    std::size_t count = 0;
    for (CmdRing const & level : m_levels)
        count += level.size();
    return count;
}

bool AsyncCmdQueueState::ClaimProcessMessage() noexcept
{
    // Looking before changing: most posts find a message on its way, and leave the flag in the caches of its readers.
    std::uint32_t none = 0;
    return !m_nextPending.load(std::memory_order_relaxed) && m_pending.load(std::memory_order_relaxed) == 0 &&
           m_pending.compare_exchange_strong(none, 1, std::memory_order_acq_rel);
}

void AsyncCmdQueueState::ProcessMessageArrived() noexcept
{
    if (m_nextPending.load(std::memory_order_relaxed))
        m_nextPending.store(false, std::memory_order_relaxed);
    else
        m_pending.store(0, std::memory_order_relaxed);
}

void AsyncCmdQueueState::SendProcessMessage(HWND window, std::uint32_t size) noexcept
{
    while (!::PostMessageW(window, kProcessQueueMessage, 0, 0))
    {
        CmdQueueLock const lock(m_lock);
        m_pending.store(0, std::memory_order_relaxed);
        // Whoever has queued a command since the flag was set has relied on this post. So there is one try more, for
        // him; the next ones find the flag clear.
        std::uint32_t const now = m_size.load(std::memory_order_relaxed);
        HWND const current = m_window.load(std::memory_order_relaxed);
        if (current == nullptr || (now <= size && current == window) || !ClaimProcessMessage())
            return;
        size = now;
        window = current;
    }
}

void AsyncCmdQueueState::PostProcessMessage() noexcept
{
    HWND const window = m_window.load(std::memory_order_acquire);
    std::uint32_t const size = Size();
    if (window != nullptr && ClaimProcessMessage())
        SendProcessMessage(window, size);
}

void AsyncCmdQueueState::PostNextProcessMessage() noexcept
{
    HWND const window = m_window.load(std::memory_order_relaxed);
    if (window == nullptr || m_pending.load(std::memory_order_relaxed) != 0)
        return;
    std::uint32_t const size = Size();
    m_nextPending.store(true, std::memory_order_relaxed);
    if (::PostMessageW(window, kProcessQueueMessage, 0, 0))
        return;
    {
        CmdQueueLock const lock(m_lock);
        m_nextPending.store(false, std::memory_order_relaxed);
        if (m_size.load(std::memory_order_relaxed) <= size)
            return;
    }
    PostProcessMessage(); // for whoever has queued a command meanwhile and relied on this post
}

void AsyncCmdQueueState::MissProcessMessage() noexcept
{
    CmdQueueLock const lock(m_lock);
    ProcessMessageArrived();
    m_missed.store(true, std::memory_order_release); // the message has arrived before
}

std::uint32_t AsyncCmdQueueState::ReleaseQueueLock() noexcept
{
    std::uint32_t count = m_queueLocks.load(std::memory_order_relaxed);
    do
    {
        if (count == 0)
            return 0;
    } while (!m_queueLocks.compare_exchange_weak(count, count - 1, std::memory_order_relaxed));
    if (count == 1 && Size() != 0)
    {
        // Under the lock: a message that arrives sees the lock count that it leaves, or the flag is clear here.
        CmdQueueLock const lock(m_lock);
        PostProcessMessage();
    }
    return count - 1;
}

void EndWindowWithThread(AsyncCmdQueueState & state, HWND window)
{
    if (WindowsOfThread::s_gone)
        throw std::bad_alloc(); // the thread is past its end
    t_windows.Add(state, window);
}

void ReleaseEndedWindows() noexcept
{
    if (!WindowsOfThread::s_gone)
        t_windows.ReleaseEnded();
}

} // namespace qvlib::detail
