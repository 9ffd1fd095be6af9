// Sent messages: how a sender waits for another thread's answer, and how that thread runs what was sent.
#include "host/linux/internal/message_queue.h"
#include "host/linux/internal/time_limit.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"

#include <new>
#include <utility>

namespace qvlib::host
{

namespace
{

constexpr std::size_t kMostStored = 64;

} // namespace

void SendList::Append(SendRequest & request) noexcept
{
    request.next = nullptr;
    request.previous = m_last;
    (m_last != nullptr ? m_last->next : m_first) = &request;
    m_last = &request;
}

void SendList::Unlink(SendRequest & request) noexcept
{
    (request.previous != nullptr ? request.previous->next : m_first) = request.next;
    (request.next != nullptr ? request.next->previous : m_last) = request.previous;
}

SendRequest * MessageQueue::NewRequest(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept
{
    SendRequest * request = m_store;
    if (request != nullptr)
    {
        m_store = request->next;
        --m_stored;
    }
    else if ((request = new (std::nothrow) SendRequest) == nullptr)
        return nullptr;
    request->window = window;
    request->message = message;
    request->wParam = wParam;
    request->lParam = lParam;
    request->result = 0;
    request->status = ERROR_SUCCESS;
    request->sender = nullptr;
    request->state.store(SendRequest::State::Queued, std::memory_order_relaxed); // the receiver's lock publishes it
    return request;
}

void MessageQueue::FreeRequest(SendRequest & request) noexcept
{
    if (m_stored == kMostStored)
    {
        delete &request;
        return;
    }
    request.next = m_store;
    m_store = &request;
    ++m_stored;
}

LSTATUS MessageQueue::Enqueue(SendRequest & request, MessageQueue *& receiver) noexcept
{
    Window * const place = LookUpWindow(request.window);
    if (place == nullptr)
        return ERROR_INVALID_WINDOW_HANDLE;
    MessageQueue & queue = *place->queue.load(std::memory_order_acquire);
    {
        MutexLock const held(queue.m_mutex);
        if (!place->Is(request.window))
            return ERROR_INVALID_WINDOW_HANDLE;
        if (request.sender == nullptr)
        {
            if (queue.m_sentUnawaited == kPostedMessageLimit)
                return ERROR_NOT_ENOUGH_QUOTA;
            ++queue.m_sentUnawaited;
        }
        queue.m_sent.Append(request);
        receiver = &queue;
        if (!queue.Arrived(kSent | QS_SENDMESSAGE))
            return ERROR_SUCCESS;
    }
    queue.m_input.Set();
    return ERROR_SUCCESS;
}

void MessageQueue::TakeSent(SendRequest & request) noexcept
{
    m_sent.Unlink(request);
    if (request.sender == nullptr)
        --m_sentUnawaited;
    request.state.store(SendRequest::State::Running, std::memory_order_relaxed); // only this thread and, under the
                                                                                 // lock, the sender change it
    if (m_sent.Empty())
        m_arrived.store(m_arrived.load(std::memory_order_relaxed) & ~(kSent | QS_SENDMESSAGE),
                        std::memory_order_relaxed);
}

SendRequest * MessageQueue::NextSent() noexcept
{
    MutexLock const held(m_mutex);
    SendRequest * const request = m_sent.First();
    if (request != nullptr)
        TakeSent(*request);
    return request;
}

/// From here on the request is the sender's, or nobody's.
void MessageQueue::Answer(SendRequest & request, LRESULT result, LSTATUS status) noexcept
{
    MessageQueue * const sender = request.sender;
    request.result = result;
    request.status = status;
    auto expected = SendRequest::State::Running;
    if (sender == nullptr ||
        !request.state.compare_exchange_strong(expected, SendRequest::State::Answered, std::memory_order_acq_rel))
    {
        FreeRequest(request);
        return;
    }
    {
        MutexLock const held(sender->m_mutex); // the sender may be gone by now, its queue is not
        if (!sender->Arrived(kReply))
            return;
    }
    sender->m_input.Set();
}

class MessageQueue::Running
{
public:
    Running(MessageQueue & queue, SendRequest & request) noexcept
        : m_queue(queue), m_outer(queue.m_running), m_request(&request)
    {
        queue.m_running = this;
    }
    Running(Running const &) = delete;
    Running & operator=(Running const &) = delete;
    ~Running()
    {
        Answer(0, ERROR_GEN_FAILURE); // the procedure threw
        m_queue.m_running = m_outer;
    }

    bool Answer(LRESULT result, LSTATUS status) noexcept
    {
        SendRequest * const request = std::exchange(m_request, nullptr);
        if (request == nullptr)
            return false;
        m_queue.Answer(*request, result, status);
        return true;
    }

private:
    MessageQueue & m_queue;
    Running * const m_outer;
    SendRequest * m_request;
};

void MessageQueue::RunOne(SendRequest & request)
{
    HWND const window = request.window;
    UINT const message = request.message;
    WPARAM const wParam = request.wParam;
    LPARAM const lParam = request.lParam;
    Running running(*this, request);
    Window const * const place = LookUpWindow(window);
    if (place == nullptr) // its procedure ran in a nested look and destroyed it
        running.Answer(0, ERROR_INVALID_WINDOW_HANDLE);
    else
        running.Answer(place->procedure.load(std::memory_order_acquire)(window, message, wParam, lParam),
                       ERROR_SUCCESS);
}

void MessageQueue::RunSent()
{
    while ((m_arrived.load(std::memory_order_acquire) & kSent) != 0)
        if (SendRequest * const request = NextSent())
            RunOne(*request);
}

BOOL MessageQueue::Reply(LRESULT result) noexcept
{
    return m_running != nullptr && m_running->Answer(result, ERROR_SUCCESS) ? TRUE : FALSE;
}

class MessageQueue::Pending
{
public:
    Pending(MessageQueue & sender, SendRequest & request) noexcept : m_sender(sender), m_request(&request) {}
    Pending(Pending const &) = delete;
    Pending & operator=(Pending const &) = delete;
    ~Pending()
    {
        if (m_request != nullptr)
            Leave();
    }

    MessageQueue * receiver = nullptr; ///< once it is sent

    bool Answered() const noexcept
    {
        return m_request->state.load(std::memory_order_acquire) == SendRequest::State::Answered;
    }
    LSTATUS Take(LRESULT & result) noexcept
    {
        result = m_request->result;
        LSTATUS const status = m_request->status;
        m_sender.FreeRequest(*std::exchange(m_request, nullptr));
        return status;
    }
    /// Withdraws the message, or leaves it to the receiver if it runs. False when it was answered at the last moment.
    bool GiveUp() noexcept
    {
        {
            MutexLock const held(receiver->m_mutex);
            if (m_request->state.load(std::memory_order_relaxed) == SendRequest::State::Queued)
            {
                receiver->TakeSent(*m_request);
                m_sender.FreeRequest(*std::exchange(m_request, nullptr));
                return true;
            }
        }
        auto expected = SendRequest::State::Running;
        if (!m_request->state.compare_exchange_strong(expected, SendRequest::State::Abandoned,
                                                      std::memory_order_acq_rel))
            return false;
        m_request = nullptr;
        return true;
    }

private:
    void Leave() noexcept
    {
        if (receiver == nullptr || !GiveUp())
            m_sender.FreeRequest(*m_request);
    }

    MessageQueue & m_sender;
    SendRequest * m_request;
};

LSTATUS MessageQueue::Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, DWORD timeout,
                           LRESULT & result)
{
    SendRequest * const request = NewRequest(window, message, wParam, lParam);
    if (request == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    request->sender = this;
    Pending pending(*this, *request); // a procedure that runs meanwhile may throw
    if (LSTATUS const status = Enqueue(*request, pending.receiver); status != ERROR_SUCCESS)
        return status;

    bool const serves = (flags & SMTO_BLOCK) == 0;
    TimeLimit const limit(timeout);
    for (;;)
    {
        SendRequest * incoming = nullptr;
        {
            MutexLock const held(m_mutex);
            if (pending.Answered())
                break;
            incoming = serves ? m_sent.First() : nullptr;
            if (incoming != nullptr)
                TakeSent(*incoming);
            else
                PrepareSleep(kReply | (serves ? QS_SENDMESSAGE : 0));
        }
        if (incoming != nullptr)
            RunOne(*incoming);
        DWORD const left = limit.Left();
        if (left == 0)
        {
            if (pending.GiveUp())
                return ERROR_TIMEOUT;
            break;
        }
        if (incoming == nullptr)
            WaitForHandlesOr(m_input, 0, nullptr, false, left);
    }
    return pending.Take(result);
}

LSTATUS MessageQueue::SendAndForget(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept
{
    SendRequest * const request = NewRequest(window, message, wParam, lParam);
    if (request == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    MessageQueue * receiver = nullptr;
    LSTATUS const status = Enqueue(*request, receiver);
    if (status != ERROR_SUCCESS)
        FreeRequest(*request);
    return status;
}

} // namespace qvlib::host

using namespace qvlib::host;

namespace
{

/// The queue that a sender waits with when the window is another thread's. Null when the window is the caller's own, or
/// with a status when it cannot be sent to.
MessageQueue * SenderFor(HWND window, Window *& place, LSTATUS & status) noexcept
{
    place = LookUpWindow(window);
    status = ERROR_SUCCESS;
    if (place == nullptr)
    {
        status = ERROR_INVALID_WINDOW_HANDLE;
        return nullptr;
    }
    MessageQueue * const current = MessageQueue::Current();
    if (current != nullptr && place->queue.load(std::memory_order_acquire) == current)
        return nullptr;
    MessageQueue * const own = current != nullptr ? current : MessageQueue::Own();
    if (own == nullptr)
        status = ERROR_NOT_ENOUGH_MEMORY;
    return own;
}

LRESULT Call(Window const & place, HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return place.procedure.load(std::memory_order_acquire)(window, message, wParam, lParam);
}

void Leave(LSTATUS status) noexcept
{
    if (status != ERROR_SUCCESS)
        SetLastError(static_cast<DWORD>(status));
}

} // namespace

LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    Window * place = nullptr;
    LSTATUS status = ERROR_SUCCESS;
    MessageQueue * const sender = SenderFor(window, place, status);
    LRESULT result = 0;
    if (sender != nullptr)
        status = sender->Send(window, message, wParam, lParam, SMTO_NORMAL, INFINITE, result);
    else if (status == ERROR_SUCCESS)
        return Call(*place, window, message, wParam, lParam);
    Leave(status);
    return result;
}

LRESULT SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeout,
                            DWORD_PTR * result)
{
    Window * place = nullptr;
    LSTATUS status = ERROR_SUCCESS;
    MessageQueue * const sender = SenderFor(window, place, status);
    LRESULT answer = 0;
    if (sender != nullptr)
        status = sender->Send(window, message, wParam, lParam, flags, timeout, answer);
    else if (status == ERROR_SUCCESS)
        answer = Call(*place, window, message, wParam, lParam);
    if (result != nullptr)
        *result = static_cast<DWORD_PTR>(answer);
    Leave(status);
    return status == ERROR_SUCCESS ? 1 : 0;
}

BOOL SendNotifyMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    Window * place = nullptr;
    LSTATUS status = ERROR_SUCCESS;
    MessageQueue * const sender = SenderFor(window, place, status);
    if (sender != nullptr)
        status = sender->SendAndForget(window, message, wParam, lParam);
    else if (status == ERROR_SUCCESS)
        Call(*place, window, message, wParam, lParam);
    Leave(status);
    return status == ERROR_SUCCESS ? TRUE : FALSE;
}

BOOL ReplyMessage(LRESULT result)
{
    MessageQueue * const queue = MessageQueue::Current();
    return queue != nullptr ? queue->Reply(result) : FALSE;
}

BOOL InSendMessage()
{
    MessageQueue const * const queue = MessageQueue::Current();
    return queue != nullptr && queue->RunsSent() ? TRUE : FALSE;
}
