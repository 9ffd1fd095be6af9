// CTLNamedClassWnd: a message window whose window class has a name of the caller's choice.
//
// A twin of CTLMsgWnd (MsgWnd.h tells which thread may call what), not derived from it. It differs in these points:
//
//   - the class is looked up, and registered when it is missing, at every Create; it has no style;
//   - every message of the window reaches OnWndMsg as long as the object is attached;
//   - Destroy on a foreign thread detaches the object and returns at once, without waiting for the window's end or
//     for a handler that is running. Who destroys the object there makes sure that no handler of it is running.
//
//     class Listener : public qvlib::CTLNamedClassWnd
//     {
//     public:
//         Listener() : CTLNamedClassWnd(L"ListenerWindow") {}
//     };
#pragma once

#include <atomic>

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

class QVLIB_API CTLNamedClassWnd
{
public:
    /// No window yet. Copies the class name.
    explicit CTLNamedClassWnd(CQVString const & className);
    CTLNamedClassWnd(CTLNamedClassWnd const &) = delete;
    CTLNamedClassWnd & operator=(CTLNamedClassWnd const &) = delete;
    /// Acts as Destroy. May run on any thread.
    virtual ~CTLNamedClassWnd();

    /// Makes the window for the calling thread. True when a window exists afterwards: a second call does nothing.
    bool Create();
    /// Ends the window, at once on its own thread, by a posted request elsewhere; does nothing when there is none.
    void Destroy();

    /// Whether there is a window. Thread-safe.
    bool Created() const noexcept { return GetWndHandle() != nullptr; }
    /// The window, null when there is none. Thread-safe.
    HWND GetWndHandle() const noexcept { return m_window.load(std::memory_order_acquire); }
    /// Whether the calling thread made the window; false when there is none. Thread-safe.
    bool IsInThreadCtx() const;

protected:
    /// Handles a message, as CTLMsgWnd::OnWndMsg does.
    virtual bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result);

    /// The name of the window class, which is registered when it is missing; null when that failed.
    wchar_t const * GetMsgWndClassName();

    /// The procedure of a live window, and of one whose object is gone.
    static LRESULT CALLBACK WindowProc(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam);
    static LRESULT CALLBACK WindowProcDestroy(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam);

private:
    std::atomic<HWND> m_window{nullptr};
    CQVString m_className;
};

} // namespace qvlib
