// Looking for messages: what a thread's loop is made of.
#include "host/linux/internal/futex.h"
#include "host/linux/internal/message_queue.h"
#include "host/linux/internal/time_limit.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

namespace qvlib::host
{

namespace
{

/// Field by field: a loop reads it so, and at once, and would wait for the cache if stores were wider or narrower.
void Show(PostedMessage const & posted, MSG & message) noexcept
{
    message.hwnd = posted.window;
    message.message = posted.message;
    message.wParam = posted.wParam;
    message.lParam = posted.lParam;
    message.time = 0;
    message.pt = POINT{};
}

bool Matches(PostedMessage const & message, MessageFilter const & filter) noexcept
{
    bool const ofThread = message.window == nullptr;
    switch (filter.of)
    {
    case MessageFilter::Of::All:
        break;
    case MessageFilter::Of::Window:
        if (message.window != filter.window)
            return false;
        break;
    case MessageFilter::Of::Thread:
        if (!ofThread)
            return false;
        break;
    case MessageFilter::Of::AllWindows:
        if (ofThread)
            return false;
        break;
    }
    return (message.message >= filter.first && message.message <= filter.last) || message.message == WM_QUIT;
}

} // namespace

void MessageQueue::PrepareSleep(UINT kinds) noexcept
{
    m_sleepsFor = kinds;
    m_input.Reset();
}

bool MessageQueue::Find(MSG & message, MessageFilter const & filter, bool remove) noexcept
{
    for (std::size_t index = 0; index != m_posted.Size(); ++index)
    {
        PostedMessage const & posted = m_posted.At(index);
        if (!Matches(posted, filter))
            continue;
        Show(posted, message);
        if (remove)
        {
            m_posted.Erase(index);
            m_ownCount.store(m_posted.Size(), std::memory_order_relaxed);
        }
        return true;
    }
    if (!m_quit || filter.of == MessageFilter::Of::AllWindows)
        return false;
    message = MSG{nullptr, WM_QUIT, static_cast<WPARAM>(m_quitCode), 0, 0, POINT{}};
    if (remove)
        m_quit = false;
    return true;
}

bool MessageQueue::TakeOwn(MSG & message) noexcept
{
    if (m_arrived.load(std::memory_order_acquire) != 0 || m_posted.Size() == 0)
        return false;
    m_seen = m_received.load(std::memory_order_acquire);
    m_fresh = false;
    PostedMessage const & posted = m_posted.At(0);
    Show(posted, message);
    m_posted.Erase(0);
    m_ownCount.store(m_posted.Size(), std::memory_order_relaxed);
    return true;
}

bool MessageQueue::Take(MSG & message, MessageFilter const & filter, bool remove, bool wait)
{
    bool const anyWillDo = filter.of == MessageFilter::Of::All && filter.first == 0 && filter.last == ~0U;
    for (;;)
    {
        if (m_arrived.load(std::memory_order_acquire) != 0)
        {
            if (SendRequest * const sent = NextSent())
            {
                RunOne(*sent);
                continue;
            }
            MutexLock const held(m_mutex);
            if (!m_sent.Empty())
                continue;
            m_arrived.store(0, std::memory_order_relaxed); // an answer that nobody waits for any more
        }
        m_seen = m_received.load(std::memory_order_acquire);
        m_fresh = false;
        if (m_seen != m_taken && !(anyWillDo && m_posted.Size() != 0))
        {
            TakeInbox();
            m_seen = m_taken;
        }
        if (Find(message, filter, remove))
            return true;
        if (!wait || (filter.of == MessageFilter::Of::Window && LookUpWindow(filter.window) == nullptr))
            return false;
        // Whoever posts while the thread still looks need not wake it.
        if (SpinUntil(
                [&] {
                    return m_received.load(std::memory_order_relaxed) != m_seen ||
                           m_arrived.load(std::memory_order_relaxed) != 0;
                }))
            continue;
        {
            MutexLock const held(m_mutex);
            if (m_arrived.load(std::memory_order_relaxed) != 0 || m_received.load(std::memory_order_relaxed) != m_seen)
                continue;
            PrepareSleep(kPostedInput | QS_SENDMESSAGE);
        }
        WaitForHandlesOr(m_input, 0, nullptr, false, INFINITE);
    }
}

void MessageQueue::Quit(int code)
{
    m_quit = true;
    m_quitCode = code;
    m_fresh = true;
}

UINT MessageQueue::Present(bool fresh) const noexcept
{
    UINT const arrived = m_arrived.load(std::memory_order_acquire);
    std::size_t const received = m_received.load(std::memory_order_acquire);
    bool const posted = fresh ? m_fresh || received != m_seen : m_posted.Size() != 0 || m_quit || received != m_taken;
    bool const sent = (arrived & (fresh ? QS_SENDMESSAGE : kSent)) != 0;
    return (posted ? kPostedInput : 0) | (sent ? QS_SENDMESSAGE : 0);
}

void MessageQueue::LookedAt(UINT kinds) noexcept
{
    if ((kinds & kPostedInput) != 0)
    {
        m_seen = m_received.load(std::memory_order_acquire);
        m_fresh = false;
    }
    if ((m_arrived.load(std::memory_order_acquire) & kinds) != 0)
    {
        MutexLock const held(m_mutex);
        m_arrived.store(m_arrived.load(std::memory_order_relaxed) & ~QS_SENDMESSAGE, std::memory_order_relaxed);
    }
}

DWORD MessageQueue::Status(UINT kinds)
{
    DWORD const status = ((Present(false) & kinds) << 16) | (Present(true) & kinds);
    LookedAt(kinds);
    return status;
}

DWORD MessageQueue::Wait(DWORD count, HANDLE const * handles, DWORD timeout, UINT kinds, DWORD flags)
{
    bool const serves = (kinds & QS_SENDMESSAGE) == 0;
    bool const all = (flags & MWMO_WAITALL) != 0;
    bool const fresh = (flags & MWMO_INPUTAVAILABLE) == 0;
    TimeLimit const limit(timeout);
    if (serves)
        RunSent(); // also what an earlier wait has told of, and is not new any more
    for (;;)
    {
        {
            MutexLock const held(m_mutex);
            PrepareSleep(kinds | QS_SENDMESSAGE);
            if ((Present(fresh) & (kinds | QS_SENDMESSAGE)) != 0)
                m_input.Set();
        }
        DWORD const ended = WaitForHandlesOr(m_input, count, handles, all, limit.Left());
        if (ended != count || ended == WAIT_FAILED) // a count of all ones is refused, too
            return ended;
        if (serves)
            RunSent();
        if ((Present(fresh) & kinds) == 0)
            continue; // it was sent messages, or nothing
        LookedAt(kinds);
        return WAIT_OBJECT_0 + count;
    }
}

} // namespace qvlib::host

using namespace qvlib::host;

namespace
{

HWND const kThreadOnly = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1));

/// False for a window that is not there.
bool FilterOf(HWND window, UINT first, UINT last, MessageFilter & filter) noexcept
{
    if (window == kThreadOnly)
        filter.of = MessageFilter::Of::Thread;
    else if (window != nullptr)
    {
        filter.of = MessageFilter::Of::Window;
        filter.window = window;
        if (LookUpWindow(window) == nullptr)
        {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return false;
        }
    }
    if (first != 0 || last != 0)
    {
        filter.first = first;
        filter.last = last;
    }
    return true;
}

} // namespace

BOOL PeekMessageW(MSG * message, HWND window, UINT first, UINT last, UINT flags)
{
    MessageFilter filter;
    MessageQueue * const queue = MessageQueue::Own();
    return queue != nullptr && FilterOf(window, first, last, filter) &&
                   queue->Take(*message, filter, (flags & PM_REMOVE) != 0, false)
               ? TRUE
               : FALSE;
}

BOOL GetMessageW(MSG * message, HWND window, UINT first, UINT last)
{
    MessageQueue * const queue = MessageQueue::Own();
    if (queue != nullptr && window == nullptr && first == 0 && last == 0 && queue->TakeOwn(*message))
        return message->message != WM_QUIT ? TRUE : FALSE;
    MessageFilter filter;
    if (queue == nullptr || !FilterOf(window, first, last, filter))
        return -1;
    if (!queue->Take(*message, filter, true, true))
    {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE); // gone meanwhile
        return -1;
    }
    return message->message != WM_QUIT ? TRUE : FALSE;
}

BOOL TranslateMessage(MSG const *) { return FALSE; }

LRESULT DispatchMessageW(MSG const * message)
{
    Window const * const place = LookUpWindow(message->hwnd);
    if (place == nullptr || place->queue.load(std::memory_order_acquire) != MessageQueue::Current())
        return 0;
    return place->procedure.load(std::memory_order_acquire)(message->hwnd, message->message, message->wParam,
                                                            message->lParam);
}

BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    LSTATUS const status = window == nullptr ? MessageQueue::PostToThread(GetCurrentThreadId(), message, wParam, lParam)
                                             : MessageQueue::Post(window, message, wParam, lParam);
    if (status == ERROR_SUCCESS)
        return TRUE;
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam)
{
    LSTATUS const status = MessageQueue::PostToThread(threadId, message, wParam, lParam);
    if (status == ERROR_SUCCESS)
        return TRUE;
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

void PostQuitMessage(int exitCode)
{
    if (MessageQueue * const queue = MessageQueue::Own())
        queue->Quit(exitCode);
}

DWORD GetQueueStatus(UINT kinds)
{
    MessageQueue * const queue = MessageQueue::Own();
    return queue != nullptr ? queue->Status(kinds) : 0;
}

BOOL WaitMessage()
{
    MessageQueue * const queue = MessageQueue::Own();
    return queue != nullptr && queue->Wait(0, nullptr, INFINITE, QS_ALLINPUT & ~QS_SENDMESSAGE, 0) == WAIT_OBJECT_0
               ? TRUE
               : FALSE;
}

DWORD MsgWaitForMultipleObjectsEx(DWORD count, HANDLE const * handles, DWORD timeout, DWORD wakeMask, DWORD flags)
{
    MessageQueue * const queue = MessageQueue::Own();
    return queue != nullptr ? queue->Wait(count, handles, timeout, wakeMask, flags) : WAIT_FAILED;
}

DWORD MsgWaitForMultipleObjects(DWORD count, HANDLE const * handles, BOOL waitAll, DWORD timeout, DWORD wakeMask)
{
    return MsgWaitForMultipleObjectsEx(count, handles, timeout, wakeMask, waitAll ? MWMO_WAITALL : 0);
}
