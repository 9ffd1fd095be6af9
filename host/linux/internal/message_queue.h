// The queue of a thread: what was posted to it, what others have sent and wait for, the request to quit, and its sleep.
//
// Queues are made when first needed, by their thread or by one that posts to it, and used again by later threads when
// theirs has ended; their memory is never freed. So a queue found through a window may be locked first and judged then.
// Locks: one queue's lock at a time, and none while a procedure runs.
//
// What others post goes into an inbox under the lock. The thread moves the inbox over to its own messages when these
// are used up; what it posts to itself goes there at once, behind all that has arrived by then. So a thread that works
// on its own messages takes no lock, and one that gets many takes it once for many.
#pragma once

#include "host/linux/internal/message_ring.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/wait.h"
#include "host/linux/internal/window_table.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/thread_annotations.h"

#include <atomic>

namespace qvlib::host
{

// Kinds of input of our own.
constexpr UINT kSent = 0x40000000;  ///< there are sent messages that have not begun
constexpr UINT kReply = 0x80000000; ///< a sent message was answered
constexpr UINT kPostedInput = QS_POSTMESSAGE | QS_ALLPOSTMESSAGE;

/// A sent message on its way to another thread. It lives in a queue's store, never on the sender's stack, so that a
/// sender may leave before the receiver is done with it.
struct SendRequest
{
    enum class State
    {
        Queued,   ///< in the receiver's list; leaves it under the receiver's lock
        Running,  ///< the receiver's
        Answered, ///< the sender's again
        Abandoned ///< the sender has left; the receiver's to free
    };

    HWND window = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    LRESULT result = 0;
    LSTATUS status = 0;              ///< why there was no answer; 0 when there was one
    MessageQueue * sender = nullptr; ///< null when nobody waits
    std::atomic<State> state{State::Queued};
    SendRequest * next = nullptr; ///< in the receiver's list, or the store
    SendRequest * previous = nullptr;
};

/// The oldest first.
class SendList
{
public:
    bool Empty() const noexcept { return m_first == nullptr; }
    SendRequest * First() const noexcept { return m_first; }
    void Append(SendRequest & request) noexcept;
    void Unlink(SendRequest & request) noexcept;

private:
    SendRequest * m_first = nullptr;
    SendRequest * m_last = nullptr;
};

/// Which messages a look is for.
struct MessageFilter
{
    enum class Of
    {
        All,       ///< the thread's and its windows'
        Window,    ///< one window's
        Thread,    ///< the thread's own
        AllWindows ///< any window's, and no request to quit
    };
    Of of = Of::All;
    HWND window = nullptr;
    UINT first = 0;
    UINT last = ~0U;
};

class alignas(64) MessageQueue
{
public:
    MessageQueue() = default;
    MessageQueue(MessageQueue const &) = delete;
    MessageQueue & operator=(MessageQueue const &) = delete;

    /// The calling thread's queue, if it has one.
    static MessageQueue * Current() noexcept { return t_current; }
    /// The calling thread's queue. Null, with the status left, when there is no memory for one.
    static MessageQueue * Own() noexcept { return t_current != nullptr ? t_current : Make(); }

    DWORD ThreadId() const noexcept { return m_threadId.load(std::memory_order_acquire); }

    // From any thread. They give a status.
    static LSTATUS Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    static LSTATUS PostToThread(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    /// Sends to a window of another thread and waits for the answer.
    LSTATUS Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, DWORD timeout, LRESULT & result);
    LSTATUS SendAndForget(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;

    // On the queue's own thread.
    /// Takes (or shows, if not `remove`) the next message, and runs what was sent first. With `wait` until there is
    /// one.
    bool Take(MSG & message, MessageFilter const & filter, bool remove, bool wait);
    /// Takes the oldest of the messages that the thread has moved over, whatever it is; false when there is none, or
    /// something was sent that comes first. The short way of a loop that takes every message.
    bool TakeOwn(MSG & message) noexcept;
    /// Runs what others have sent by now.
    void RunSent();
    /// Waits for handles or new input, see MsgWaitForMultipleObjectsEx.
    DWORD Wait(DWORD count, HANDLE const * handles, DWORD timeout, UINT kinds, DWORD flags);
    DWORD Status(UINT kinds);
    void Quit(int code);
    BOOL Reply(LRESULT result) noexcept;
    bool RunsSent() const noexcept { return m_running != nullptr; }

    void AddWindow(Window & window) noexcept;
    /// Takes a window out: no look-up finds it from here on, and who waits for its answer is let go.
    void RemoveWindow(Window & window) noexcept;
    QVLIB_RETURN_CAPABILITY(m_mutex) Mutex & Lock() noexcept { return m_mutex; }

private:
    friend class QueueDirectory;
    class Pending; ///< a sender's side of a sent message
    class Running; ///< the receiver's

    static MessageQueue * Make() noexcept;
    static void Retire(void * queue) noexcept;

    /// Notes that input has come. True when the thread sleeps for it: then m_input is to be set, without the lock.
    bool Arrived(UINT kinds) noexcept QVLIB_REQUIRES(m_mutex);
    /// Leaves a message in the inbox; `wake` tells whether m_input is to be set then.
    LSTATUS Append(PostedMessage const & message, bool & wake) noexcept QVLIB_REQUIRES(m_mutex);

    // On the queue's own thread.
    LSTATUS PostOwn(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    void TakeInbox() noexcept QVLIB_EXCLUDES(m_mutex);
    /// The kinds of input that are new, or that are in the queue.
    UINT Present(bool fresh) const noexcept;
    /// They are not new any more.
    void LookedAt(UINT kinds) noexcept;
    /// From here on m_input is set when input of these kinds comes. It may be set for no cause, too: look again.
    void PrepareSleep(UINT kinds) noexcept QVLIB_REQUIRES(m_mutex);
    bool Find(MSG & message, MessageFilter const & filter, bool remove) noexcept;
    void TakeSent(SendRequest & request) noexcept QVLIB_REQUIRES(m_mutex);
    /// The oldest sent message, which is now to be run; null when there is none.
    SendRequest * NextSent() noexcept QVLIB_EXCLUDES(m_mutex);
    void RunOne(SendRequest & request);

    /// Puts a message into the list of the window's queue, which it gives.
    static LSTATUS Enqueue(SendRequest & request, MessageQueue *& receiver) noexcept;
    SendRequest * NewRequest(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    void FreeRequest(SendRequest & request) noexcept;
    void Answer(SendRequest & request, LRESULT result, LSTATUS status) noexcept;

    // Found at a fixed place of the thread's own memory, without a call.
    static __attribute__((tls_model("initial-exec"))) constinit thread_local MessageQueue * t_current;

    Mutex m_mutex;
    Signal m_input; ///< set once something has come that the thread sleeps for
    MessageRing m_inbox QVLIB_GUARDED_BY(m_mutex);
    SendList m_sent QVLIB_GUARDED_BY(m_mutex);
    std::size_t m_sentUnawaited QVLIB_GUARDED_BY(m_mutex) = 0;
    UINT m_sleepsFor QVLIB_GUARDED_BY(m_mutex) = 0; ///< what m_input is to be set for; 0 once it was
    // Changed under the lock:
    std::atomic<UINT> m_arrived{0};         ///< what others have sent: QS_SENDMESSAGE while it is new, kSent, kReply
    std::atomic<std::size_t> m_received{0}; ///< how many messages have ever come into the inbox
    std::atomic<DWORD> m_threadId{0};       ///< 0 while no thread has it
    // By the thread:
    std::atomic<std::size_t> m_ownCount{0}; ///< the size of m_posted, for those who post

    // Of the queue's own thread.
    MessageRing m_posted;
    std::size_t m_taken = 0; ///< of those in m_received, the ones that have left the inbox
    std::size_t m_seen = 0;  ///< and those that had come by the last look
    bool m_fresh = false;    ///< the thread has posted to itself since the last look
    bool m_quit = false;
    int m_quitCode = 0;
    Window * m_windows = nullptr;
    Running * m_running = nullptr; ///< the innermost sent message that is being run
    SendRequest * m_store = nullptr;
    std::size_t m_stored = 0;

    // Of the directory.
    MessageQueue * m_next = nullptr;
    bool m_claimed = false; ///< its thread knows of it
};

} // namespace qvlib::host
