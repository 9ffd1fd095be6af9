#include "qvlib/MsgWnd.h"

#include "concurrency/internal/window_procedures.h"

namespace qvlib
{

using namespace detail;

namespace
{

constexpr wchar_t const * kClassName = L"QVMSGWNDCLASSu";

} // namespace

constinit std::atomic<wchar_t const *> CTLMsgWnd::m_lpszWndClassName{nullptr};

CTLMsgWnd::~CTLMsgWnd() { CTLMsgWnd::Destroy(); }

wchar_t const * CTLMsgWnd::GetMsgWndClassName()
{
    wchar_t const * name = m_lpszWndClassName.load(std::memory_order_acquire);
    if (name == nullptr)
    {
        // Threads that race here find or register the same class and store the same pointer.
        name = FindOrRegisterWindowClass(kClassName, CS_GLOBALCLASS);
        if (name != nullptr)
            m_lpszWndClassName.store(name, std::memory_order_release);
    }
    return name;
}

bool CTLMsgWnd::Create()
{
    if (HWND const window = GetWndHandle(); window != nullptr && ::IsWindow(window))
        return true; // else it has died with its thread, which tells nobody
    return CreateMessageWindow(m_window, GetMsgWndClassName(), this, &CTLMsgWnd::WindowProc);
}

void CTLMsgWnd::Destroy()
{
    HWND const window = EndOrDetachWindow(m_window, &CTLMsgWnd::WindowProcDestroy);
    if (window == nullptr)
        return;
    // The outcome does not count, but a request that was withdrawn unheard is left behind, so that the window dies when
    // its thread next takes messages.
    if (::SendMessageTimeoutW(window, kDestroyWindowMessage, 0, 0, SMTO_NORMAL, kDestroyTimeout, nullptr) == 0 &&
        ::IsWindow(window))
        ::SendNotifyMessageW(window, kDestroyWindowMessage, 0, 0);
}

bool CTLMsgWnd::IsInThreadCtx() const { return IsOwnWindow(GetWndHandle()); }

bool CTLMsgWnd::PostMessageW(unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    return ::PostMessageW(GetWndHandle(), msg, wParam, lParam) != FALSE;
}

bool CTLMsgWnd::PostMessageDebug(unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    return CTLMsgWnd::PostMessageW(msg, wParam, lParam);
}

bool CTLMsgWnd::SendMessageW(unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    return ::SendMessageW(GetWndHandle(), msg, wParam, lParam) != 0;
}

bool CTLMsgWnd::OnWndMsg(unsigned int msg, WPARAM, LPARAM, LRESULT *)
{
    switch (msg)
    {
    case WM_DESTROY:
        // A window that was detached a moment ago has its last procedure already.
        if (HWND const window = m_window.exchange(nullptr, std::memory_order_acq_rel))
            SetWindowProcedure(window, &::DefWindowProcW);
        return false;
    case kDestroyWindowMessage:
        CTLMsgWnd::Destroy();
        return true;
    default:
        return false;
    }
}

LRESULT CALLBACK CTLMsgWnd::WindowProc(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    auto * const object = static_cast<CTLMsgWnd *>(ObjectOfWindow(window));
    if (object != nullptr && object->GetWndHandle() == window)
    {
        // The handler may destroy the object: only the answer is looked at after it.
        LRESULT result = 0;
        if (object->OnWndMsg(msg, wParam, lParam, &result))
            return result;
    }
    return ::DefWindowProcW(window, msg, wParam, lParam);
}

LRESULT CALLBACK CTLMsgWnd::WindowProcDestroy(HWND window, unsigned int msg, WPARAM wParam, LPARAM lParam)
{
    return OrphanedWindowProcedure(window, msg, wParam, lParam);
}

} // namespace qvlib
