#include "qvlib/NamedClassWnd.h"

#include "concurrency/internal/window_procedures.h"

namespace qvlib
{

using namespace detail;

CTLNamedClassWnd::CTLNamedClassWnd(CQVString const & className) : m_className(className) {}

CTLNamedClassWnd::~CTLNamedClassWnd() { CTLNamedClassWnd::Destroy(); }

wchar_t const * CTLNamedClassWnd::GetMsgWndClassName() { return FindOrRegisterWindowClass(m_className.GetString(), 0); }

bool CTLNamedClassWnd::Create()
{
    if (HWND const window = GetWndHandle(); window != nullptr && ::IsWindow(window))
        return true; // else it has died with its thread, which tells nobody
    return CreateMessageWindow(m_window, GetMsgWndClassName(), this, &CTLNamedClassWnd::WindowProc);
}

void CTLNamedClassWnd::Destroy()
{
    HWND const window = EndOrDetachWindow(m_window, &CTLNamedClassWnd::WindowProcDestroy);
    // A queue that is full takes no posts, but a window must not be left behind for that.
    if (window != nullptr && !::PostMessageW(window, kDestroyWindowMessage, 0, 0))
        ::SendNotifyMessageW(window, kDestroyWindowMessage, 0, 0);
}

bool CTLNamedClassWnd::IsInThreadCtx() const { return IsOwnWindow(GetWndHandle()); }

bool CTLNamedClassWnd::OnWndMsg(unsigned int msg, WPARAM, LPARAM, LRESULT *)
{
    switch (msg)
    {
    case WM_DESTROY:
        // A window that was detached a moment ago has its last procedure already.
        if (HWND const window = m_window.exchange(nullptr, std::memory_order_acq_rel))
            SetWindowProcedure(window, &::DefWindowProcW);
        return false;
    case kDestroyWindowMessage:
        CTLNamedClassWnd::Destroy();
        return true;
    default:
        return false;
    }
}

LRESULT CALLBACK CTLNamedClassWnd::WindowProc(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    // The object is asked even when its handle is cleared already: unlike CTLMsgWnd, and callers count on it.
    if (auto * const object = static_cast<CTLNamedClassWnd *>(ObjectOfWindow(window)))
    {
        // The handler may destroy the object: only the answer is looked at after it.
        LRESULT result = 0;
        if (object->OnWndMsg(msg, wParam, lParam, &result))
            return result;
    }
    return ::DefWindowProcW(window, msg, wParam, lParam);
}

LRESULT CALLBACK CTLNamedClassWnd::WindowProcDestroy(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    return OrphanedWindowProcedure(window, msg, wParam, lParam);
}

} // namespace qvlib
