// CTLMsgWnd: a mailbox that belongs to a thread.
//
// A message window is a hidden window made by one thread. Any thread can post numbered messages to it; they are
// delivered to OnWndMsg on the thread that made it, whenever that thread takes and dispatches messages.
//
//     class Mailbox : public qvlib::CTLMsgWnd
//     {
//     protected:
//         bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result) override
//         {
//             if (msg != kGreeting)
//                 return CTLMsgWnd::OnWndMsg(msg, wParam, lParam, result); // the base ends the window
//             *result = Greet(wParam);
//             return true;
//         }
//     };
//
// Which thread may call what:
//
//   Create                                 the thread that is to receive the messages
//   OnWndMsg                               is called on that thread only
//   PostMessageW, SendMessageW, questions  any thread
//   Destroy, the destructor                any thread, once; see below
//
// Destroy on the window's own thread ends the window at once. On a foreign thread it detaches the object first, so that
// no message that is dispatched from then on reaches it, and then waits until the window's thread has ended the window,
// for at most three seconds. That also waits for a handler that is running, with two exceptions: a handler that runs
// longer than the three seconds, and a handler that takes messages itself (the window is then ended inside it). Such a
// handler must not use the object any more when it goes on; the dispatcher itself never does. A window left behind dies
// when its thread next takes messages, or with its thread.
//
// A derived class destroys its window in its own destructor: once the base's destructor runs, OnWndMsg is the base's.
#pragma once

#include <atomic>

#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

class QVLIB_API CTLMsgWnd
{
public:
    /// No window yet.
    CTLMsgWnd() noexcept = default;
    CTLMsgWnd(CTLMsgWnd const &) = delete;
    CTLMsgWnd & operator=(CTLMsgWnd const &) = delete;
    /// Acts as Destroy. May run on any thread.
    virtual ~CTLMsgWnd();

    /// Makes the window for the calling thread. True when a window exists afterwards: a second call does nothing.
    bool Create();
    /// Ends the window; does nothing when there is none. See above for the wait on a foreign thread.
    void Destroy();

    /// Whether there is a window. Thread-safe.
    bool Created() const noexcept { return GetWndHandle() != nullptr; }
    /// The window, null when there is none. Thread-safe.
    HWND GetWndHandle() const noexcept { return m_window.load(std::memory_order_acquire); }
    /// Whether the calling thread made the window; false when there is none. Thread-safe.
    bool IsInThreadCtx() const;

    /// Posts a message. True when the platform took it. Without a window the message goes to the calling thread itself,
    /// as the platform has it for a null handle. Thread-safe.
    bool PostMessageW(unsigned int msg, WPARAM wParam, LPARAM lParam);
    /// The same as PostMessageW.
    bool PostMessageDebug(unsigned int msg, WPARAM wParam, LPARAM lParam);
    /// Delivers a message and waits for the answer. True when the answer is not zero; false without a window.
    /// Thread-safe.
    bool SendMessageW(unsigned int msg, WPARAM wParam, LPARAM lParam);

    /// The name of the window class that all message windows share, registered at first use; null when that failed.
    static wchar_t const * GetMsgWndClassName();

protected:
    /// Handles a message: true when it was handled, with the answer in `*result`; false leaves it to the default
    /// procedure. The base handles the end of the window and the request for it (0x8000); derived classes pass on what
    /// they do not handle.
    virtual bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result);

    /// The procedure of a live message window, and of one whose object is gone.
    static LRESULT CALLBACK WindowProc(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam);
    static LRESULT CALLBACK WindowProcDestroy(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam);

private:
    std::atomic<HWND> m_window{nullptr};
    static std::atomic<wchar_t const *> m_lpszWndClassName;
};

} // namespace qvlib
