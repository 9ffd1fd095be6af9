#include "host/linux/internal/message_queue.h"

#include "host/linux/internal/thread_record.h"
#include "host/linux/internal/window_class.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include <new>
#include <unordered_map>

#include <time.h>

namespace qvlib::host
{

thread_local constinit MessageQueue * MessageQueue::t_current = nullptr;

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
            queue.m_posted.Clear();
            queue.m_quit = false;
            queue.m_fresh = queue.m_sleepsFor = 0;
        }
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
    m_fresh |= kinds;
    if ((m_sleepsFor & kinds) == 0)
        return false;
    m_sleepsFor = 0; // one call wakes it, however much comes until it is up
    return true;
}

UINT MessageQueue::Present() const noexcept
{
    UINT kinds = 0;
    if (m_posted.Size() != 0 || m_quit)
        kinds |= QS_POSTMESSAGE | QS_ALLPOSTMESSAGE;
    if (!m_sent.Empty())
        kinds |= QS_SENDMESSAGE;
    return kinds;
}

bool MessageQueue::Append(PostedMessage const & message, LSTATUS & status) noexcept
{
    if (m_posted.Size() == kPostedMessageLimit)
    {
        status = ERROR_NOT_ENOUGH_QUOTA;
        return false;
    }
    if (!m_posted.Append(message))
    {
        status = ERROR_NOT_ENOUGH_MEMORY;
        return false;
    }
    status = ERROR_SUCCESS;
    return true;
}

namespace
{

/// The clock of posted messages: cheap, and a few milliseconds behind.
DWORD PostingTime() noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<DWORD>(static_cast<std::uint64_t>(now.tv_sec) * 1000U +
                              static_cast<std::uint64_t>(now.tv_nsec) / 1000000U);
}

} // namespace

LSTATUS MessageQueue::Post(HWND window, PostedMessage message) noexcept
{
    Window * const place = LookUpWindow(window);
    if (place == nullptr)
        return ERROR_INVALID_WINDOW_HANDLE;
    MessageQueue & queue = *place->queue.load(std::memory_order_acquire);
    message.time = PostingTime();
    LSTATUS status = ERROR_SUCCESS;
    {
        MutexLock const held(queue.m_mutex);
        if (!place->Is(window))
            return ERROR_INVALID_WINDOW_HANDLE;
        if (!queue.Append(message, status))
            return status;
        ++place->posted;
        if (!queue.Arrived(QS_POSTMESSAGE | QS_ALLPOSTMESSAGE))
            return status;
    }
    queue.m_input.Set();
    return status;
}

LSTATUS MessageQueue::PostToThread(DWORD threadId, PostedMessage const & message) noexcept
try
{
    MessageQueue * queue = nullptr;
    if (MessageQueue * const own = Current(); own != nullptr && own->ThreadId() == threadId)
        queue = own;
    else
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
    LSTATUS status = ERROR_SUCCESS;
    PostedMessage timed = message;
    timed.time = PostingTime();
    {
        MutexLock const held(queue->m_mutex);
        if (queue->ThreadId() != threadId) // it ended in between
            return ERROR_INVALID_THREAD_ID;
        if (!queue->Append(timed, status) || !queue->Arrived(QS_POSTMESSAGE | QS_ALLPOSTMESSAGE))
            return status;
    }
    queue->m_input.Set();
    return status;
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
        if (window.posted != 0)
            m_posted.EraseIf([handle](PostedMessage const & message) { return message.window == handle; });
        window.posted = 0;
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
