// What the two kinds of message windows share.
#pragma once

#include <atomic>

#include "qvlib/host/messages.h"
#include "qvlib/host/thread.h"

namespace qvlib::detail
{

/// The request to end a window, sent or posted to it.
constexpr UINT kDestroyWindowMessage = WM_APP;

/// How long Destroy on a foreign thread waits for the window's thread, in milliseconds.
constexpr UINT kDestroyTimeout = 3000;

/// The object behind the window, null when the window is gone.
inline void * ObjectOfWindow(HWND window) { return reinterpret_cast<void *>(::GetWindowLongPtrW(window, GWLP_ID)); }

inline void SetWindowProcedure(HWND window, WNDPROC procedure)
{
    ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
}

/// Makes a message-only window of the class, with the object's address as its id, and puts it into `handle` before
/// the procedure can run. False, and nothing is changed, when there is no class or no window.
bool CreateMessageWindow(std::atomic<HWND> & handle, wchar_t const * className, void * object, WNDPROC procedure);

/// Whether the calling thread owns the window.
inline bool IsOwnWindow(HWND window)
{
    return window != nullptr && ::GetWindowThreadProcessId(window, nullptr) == ::GetCurrentThreadId();
}

/// The class's own name for `name`, which is registered with the style when it is missing; null when that failed.
wchar_t const * FindOrRegisterWindowClass(wchar_t const * name, UINT style);

/// The procedure of a window whose object is gone: ends the window on request and touches nothing else.
LRESULT OrphanedWindowProcedure(HWND window, UINT msg, WPARAM wParam, LPARAM lParam);

/// The first steps of Destroy. Ends a window of this thread, or takes a foreign one from its object. Gives the window
/// that is left for its own thread to end, null when nothing is left to do.
HWND EndOrDetachWindow(std::atomic<HWND> & handle, WNDPROC orphaned);

} // namespace qvlib::detail
