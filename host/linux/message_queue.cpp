#include "host/linux/internal/message_queue.h"

#include "host/linux/internal/thread_record.h"
#include "host/linux/internal/window_class.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include <new>
#include <unordered_map>

namespace qvlib::host
{

constinit thread_local MessageQueue * MessageQueue::t_current = nullptr;

/// The queues by thread, and those that are free.
class QueueDirectory
{
public:
    static QueueDirectory & Get()
    {
        static QueueDirectory & directory = *new QueueDirectory; // threads may end after the program's static objects
        return directory;
    }

    Mutex m_mutex;

    /// Null when the thread has none.
    MessageQueue * Find(DWORD threadId) QVLIB_REQUIRES(m_mutex)
    {
        auto const found = m_queues.find(threadId);
        return found == m_queues.end() ? nullptr : found->second;
    }
    /// A queue for a thread, which says when it ends once it has claimed it.
    MessageQueue & Add(DWORD threadId) QVLIB_REQUIRES(m_mutex)
    {
        if (m_unclaimed != 0)
            FreeUnclaimed();
        if (m_free == nullptr)
            m_free = new MessageQueue;
        MessageQueue & queue = *m_free;
        m_queues.emplace(threadId, &queue);
        m_free = queue.m_next;
        queue.m_claimed = false;
        ++m_unclaimed;
        MutexLock const held(queue.m_mutex);
        queue.m_threadId.store(threadId, std::memory_order_release);
        return queue;
    }
    void Claim(MessageQueue & queue) QVLIB_REQUIRES(m_mutex)
    {
        m_unclaimed -= queue.m_claimed ? 0 : 1;
        queue.m_claimed = true;
    }
    void Remove(MessageQueue & queue) QVLIB_REQUIRES(m_mutex)
    {
        m_queues.erase(queue.ThreadId());
        Clear(queue);
    }

private:
    /// Threads that were posted to and ended without a look at it.
    void FreeUnclaimed() QVLIB_REQUIRES(m_mutex)
    {
        for (auto place = m_queues.begin(); place != m_queues.end();)
        {
            auto const [threadId, queue] = *place;
            if (queue->m_claimed || IsLiveThread(threadId))
            {
                ++place;
                continue;
            }
            place = m_queues.erase(place);
            --m_unclaimed;
            Clear(*queue);
        }
    }
    void Clear(MessageQueue & queue) QVLIB_REQUIRES(m_mutex)
    {
        {
            MutexLock const held(queue.m_mutex);
            queue.m_threadId.store(0, std::memory_order_release);
            queue.m_inbox.Clear();
            queue.m_sleepsFor = 0;
            queue.m_arrived.store(0, std::memory_order_relaxed);
        }
        queue.m_posted.Clear(); // its thread is this one, or never was
        queue.m_ownCount.store(0, std::memory_order_relaxed);
        queue.m_quit = false;
        queue.m_fresh = false;
        queue.m_taken = queue.m_seen = queue.m_received.load(std::memory_order_relaxed);
        queue.m_next = m_free;
        m_free = &queue;
    }

    std::unordered_map<DWORD, MessageQueue *> m_queues QVLIB_GUARDED_BY(m_mutex);
    MessageQueue * m_free QVLIB_GUARDED_BY(m_mutex) = nullptr;
    std::size_t m_unclaimed QVLIB_GUARDED_BY(m_mutex) = 0;
};

MessageQueue * MessageQueue::Make() noexcept
try
{
    DWORD const threadId = GetCurrentThreadId();
    QueueDirectory & directory = QueueDirectory::Get();
    MutexLock const held(directory.m_mutex);
    MessageQueue * queue = directory.Find(threadId); // someone may have posted before the thread looked
    if (queue == nullptr)
        queue = &directory.Add(threadId);
    AtThreadExit(&Retire, queue);
    directory.Claim(*queue);
    t_current = queue;
    return queue;
}
catch (std::bad_alloc const &)
{
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

void MessageQueue::Retire(void * argument) noexcept
{
    MessageQueue & queue = *static_cast<MessageQueue *>(argument);
    while (queue.m_windows != nullptr)
        queue.RemoveWindow(*queue.m_windows); // and with the last of them goes all that was sent here
    while (queue.m_store != nullptr)
    {
        SendRequest * const request = queue.m_store;
        queue.m_store = request->next;
        delete request;
    }
    queue.m_stored = 0;
    t_current = nullptr;
    QueueDirectory & directory = QueueDirectory::Get();
    MutexLock const held(directory.m_mutex);
    directory.Remove(queue);
}

bool MessageQueue::Arrived(UINT kinds) noexcept
{
    UINT const before = m_arrived.load(std::memory_order_relaxed);
    if ((before & kinds) != kinds)
        m_arrived.store(before | kinds, std::memory_order_release);
    if ((m_sleepsFor & kinds) == 0)
        return false;
    m_sleepsFor = 0;
    return true;
}

LSTATUS MessageQueue::Append(PostedMessage const & message, bool & wake) noexcept
{
    if (m_inbox.Size() + m_ownCount.load(std::memory_order_relaxed) >= kPostedMessageLimit)
        return ERROR_NOT_ENOUGH_QUOTA;
    if (!m_inbox.Append(message))
        return ERROR_NOT_ENOUGH_MEMORY;
    m_received.store(m_received.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    if ((m_sleepsFor & kPostedInput) != 0)
    {
        m_sleepsFor = 0; // one call wakes it, however much comes until it is up
        wake = true;
    }
    return ERROR_SUCCESS;
}

void MessageQueue::TakeInbox() noexcept
{
    MutexLock const held(m_mutex);
    m_posted.Take(m_inbox);
    m_ownCount.store(m_posted.Size(), std::memory_order_relaxed);
    m_taken = m_received.load(std::memory_order_relaxed) - m_inbox.Size();
}

LSTATUS MessageQueue::PostOwn(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept
{
    if (std::size_t const received = m_received.load(std::memory_order_acquire); received != m_taken)
    {
        TakeInbox(); // what was there first stays ahead
        if (m_taken - received > kPostedMessageLimit)
            return ERROR_NOT_ENOUGH_MEMORY; // some of it is still there
    }
    if (m_posted.Size() >= kPostedMessageLimit)
        return ERROR_NOT_ENOUGH_QUOTA;
    if (!m_posted.Append({window, wParam, lParam, message}))
        return ERROR_NOT_ENOUGH_MEMORY;
    m_ownCount.store(m_posted.Size(), std::memory_order_relaxed);
    m_fresh = true;
    return ERROR_SUCCESS;
}

LSTATUS MessageQueue::Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept
{
    Window * const place = LookUpWindow(window);
    if (place == nullptr)
        return ERROR_INVALID_WINDOW_HANDLE;
    MessageQueue & queue = *place->queue.load(std::memory_order_acquire);
    if (&queue == Current())
        return queue.PostOwn(window, message, wParam, lParam);
    bool wake = false;
    {
        MutexLock const held(queue.m_mutex);
        if (!place->Is(window))
            return ERROR_INVALID_WINDOW_HANDLE;
        if (LSTATUS const status = queue.Append({window, wParam, lParam, message}, wake); !wake)
            return status;
    }
    queue.m_input.Set();
    return ERROR_SUCCESS;
}

LSTATUS MessageQueue::PostToThread(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) noexcept
try
{
    if (MessageQueue * const own = Current(); own != nullptr && own->ThreadId() == threadId)
        return own->PostOwn(nullptr, message, wParam, lParam);
    MessageQueue * queue = nullptr;
    {
        QueueDirectory & directory = QueueDirectory::Get();
        MutexLock const held(directory.m_mutex);
        queue = directory.Find(threadId);
        if (queue == nullptr)
        {
            if (!IsLiveThread(threadId))
                return ERROR_INVALID_THREAD_ID;
            queue = &directory.Add(threadId);
        }
    }
    bool wake = false;
    {
        MutexLock const held(queue->m_mutex);
        if (queue->ThreadId() != threadId) // it ended in between
            return ERROR_INVALID_THREAD_ID;
        if (LSTATUS const status = queue->Append({nullptr, wParam, lParam, message}, wake); !wake)
            return status;
    }
    queue->m_input.Set();
    return ERROR_SUCCESS;
}
catch (std::bad_alloc const &)
{
    return ERROR_NOT_ENOUGH_MEMORY;
}

void MessageQueue::AddWindow(Window & window) noexcept
{
    window.previous = nullptr;
    window.next = m_windows;
    if (m_windows != nullptr)
        m_windows->previous = &window;
    m_windows = &window;
}

void MessageQueue::RemoveWindow(Window & window) noexcept
{
    HWND const handle = reinterpret_cast<HWND>(window.handle.load(std::memory_order_relaxed));
    SendList unanswered;
    {
        MutexLock const held(m_mutex);
        window.handle.store(0, std::memory_order_release);
        auto const isItsOwn = [handle](PostedMessage const & message) { return message.window == handle; };
        m_inbox.EraseIf(isItsOwn);
        m_taken = m_received.load(std::memory_order_relaxed) - m_inbox.Size();
        m_posted.EraseIf(isItsOwn);
        m_ownCount.store(m_posted.Size(), std::memory_order_relaxed);
        for (SendRequest * request = m_sent.First(); request != nullptr;)
        {
            SendRequest & sent = *request;
            request = request->next;
            if (sent.window != handle)
                continue;
            TakeSent(sent);
            unanswered.Append(sent);
        }
    }
    while (SendRequest * const request = unanswered.First())
    {
        unanswered.Unlink(*request);
        Answer(*request, 0, ERROR_INVALID_WINDOW_HANDLE);
    }
    (window.previous != nullptr ? window.previous->next : m_windows) = window.next;
    if (window.next != nullptr)
        window.next->previous = window.previous;
    LeaveWindowClass(*window.type);
    FreeWindowPlace(window);
}

} // namespace qvlib::host
