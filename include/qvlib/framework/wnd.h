// CWnd: the framework's object for a window, here a handle and the operations on it.
//
// A window is an address for messages (host/messages.h). Messages are not routed through the object: they go to the
// procedure of the window's class.
//
//     CWnd window;
//     window.Attach(handle);
//     window.PostMessage(WM_APP, 1, 0);
//     window.Detach(); // else the window ends with the object
//
// Thread rule: thread-compatible; what ends a window is for the window's thread.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/cmdtarget.h"
#include "qvlib/host/messages.h"

class QVLIB_API CWnd : public CCmdTarget
{
    DECLARE_DYNAMIC(CWnd)

public:
    CWnd() noexcept = default;
    /// Ends the window, if there is one; that takes the window's thread.
    ~CWnd() override;

    /// The handle; null for a null object too.
    HWND GetSafeHwnd() const noexcept { return m_hWnd; }
    operator HWND() const noexcept { return m_hWnd; }
    /// Takes a window over. FALSE for null, or when the object has one.
    BOOL Attach(HWND window) noexcept;
    /// Lets the window go and gives it.
    HWND Detach() noexcept;
    /// Ends the window. FALSE when there is none or it is another thread's, and the object keeps it then.
    virtual BOOL DestroyWindow();

    /// As the functions of the same names. Without a window FALSE and 0.
    BOOL PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const;
    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const;

    HWND m_hWnd = nullptr;
};
