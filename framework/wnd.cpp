#include "qvlib/framework/wnd.h"

IMPLEMENT_DYNAMIC(CWnd, CCmdTarget)

CWnd::~CWnd()
{
    if (m_hWnd != nullptr)
        ::DestroyWindow(m_hWnd);
}

BOOL CWnd::Attach(HWND window) noexcept
{
    if (window == nullptr || m_hWnd != nullptr)
        return FALSE;
    m_hWnd = window;
    return TRUE;
}

HWND CWnd::Detach() noexcept
{
    HWND const window = m_hWnd;
    m_hWnd = nullptr;
    return window;
}

BOOL CWnd::DestroyWindow()
{
    if (m_hWnd == nullptr || ::DestroyWindow(m_hWnd) == FALSE)
        return FALSE;
    m_hWnd = nullptr;
    return TRUE;
}

// A null window stands for the calling thread where a message is posted, and that is not meant here.
BOOL CWnd::PostMessage(UINT message, WPARAM wParam, LPARAM lParam) const
{
    return m_hWnd != nullptr ? ::PostMessageW(m_hWnd, message, wParam, lParam) : FALSE;
}

LRESULT CWnd::SendMessage(UINT message, WPARAM wParam, LPARAM lParam) const
{
    return m_hWnd != nullptr ? ::SendMessageW(m_hWnd, message, wParam, lParam) : 0;
}
