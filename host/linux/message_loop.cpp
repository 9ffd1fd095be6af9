// Looking for messages: what a thread's loop is made of.
#include "host/linux/internal/message_queue.h"
#include "host/linux/internal/time_limit.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

namespace qvlib::host
{

namespace
{

constexpr UINT kPostedInput = QS_POSTMESSAGE | QS_ALLPOSTMESSAGE;

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
        message = MSG{posted.window, posted.message, posted.wParam, posted.lParam, posted.time, POINT{}};
        if (remove)
        {
            if (posted.window != nullptr)
                --LookUpWindow(posted.window)->posted; // a window takes its messages along when it goes
            m_posted.Erase(index);
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

bool MessageQueue::Take(MSG & message, MessageFilter const & filter, bool remove, bool wait)
{
    for (;;)
    {
        SendRequest * sent = nullptr;
        {
            MutexLock const held(m_mutex);
            m_sleepsFor = 0;
            sent = m_sent.First();
            if (sent != nullptr)
                TakeSent(*sent);
            else
            {
                m_fresh = 0;
                if (Find(message, filter, remove))
                    return true;
                if (!wait || (filter.of == MessageFilter::Of::Window && LookUpWindow(filter.window) == nullptr))
                    return false;
                PrepareSleep(kPostedInput | QS_SENDMESSAGE);
            }
        }
        if (sent != nullptr)
            RunOne(*sent);
        else
            WaitForHandlesOr(m_input, 0, nullptr, false, INFINITE);
    }
}

void MessageQueue::Quit(int code)
{
    MutexLock const held(m_mutex);
    m_quit = true;
    m_quitCode = code;
    Arrived(kPostedInput);
}

DWORD MessageQueue::Status(UINT kinds)
{
    MutexLock const held(m_mutex);
    DWORD const status = ((Present() & kinds) << 16) | (m_fresh & kinds & 0xFFFFU);
    m_fresh &= ~kinds;
    return status;
}

DWORD MessageQueue::Wait(DWORD count, HANDLE const * handles, DWORD timeout, UINT kinds, DWORD flags)
{
    bool const serves = (kinds & QS_SENDMESSAGE) == 0;
    bool const all = (flags & MWMO_WAITALL) != 0;
    TimeLimit const limit(timeout);
    for (;;)
    {
        {
            MutexLock const held(m_mutex);
            UINT const there = (flags & MWMO_INPUTAVAILABLE) != 0 ? m_fresh | Present() : m_fresh;
            PrepareSleep(kinds | QS_SENDMESSAGE);
            if ((there & m_sleepsFor) != 0)
                m_input.Set();
        }
        DWORD const ended = WaitForHandlesOr(m_input, count, handles, all, limit.Left());
        {
            MutexLock const held(m_mutex);
            m_sleepsFor = 0;
        }
        if (ended != count)
            return ended;
        if (serves)
            RunSent();
        MutexLock const held(m_mutex);
        UINT const there = (flags & MWMO_INPUTAVAILABLE) != 0 ? m_fresh | Present() : m_fresh;
        if ((there & kinds) == 0)
            continue; // it was sent messages, or nothing
        m_fresh &= ~kinds;
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
    MessageFilter filter;
    MessageQueue * const queue = MessageQueue::Own();
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
    PostedMessage const posted{window, wParam, lParam, message, 0};
    LSTATUS const status = window == nullptr ? MessageQueue::PostToThread(GetCurrentThreadId(), posted)
                                             : MessageQueue::Post(window, posted);
    if (status == ERROR_SUCCESS)
        return TRUE;
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam)
{
    LSTATUS const status = MessageQueue::PostToThread(threadId, PostedMessage{nullptr, wParam, lParam, message, 0});
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
