#include "concurrency/internal/window_procedures.h"

namespace qvlib::detail
{

wchar_t const * FindOrRegisterWindowClass(wchar_t const * name, UINT style)
{
    WNDCLASSEXW type{};
    type.cbSize = sizeof type;
    // Two threads may find the class missing at once; the one that comes too late finds it on its second look.
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        if (::GetClassInfoExW(nullptr, name, &type))
            return name;
        type = WNDCLASSEXW{};
        type.cbSize = sizeof type;
        type.style = style;
        type.lpfnWndProc = &::DefWindowProcW;
        type.lpszClassName = name;
        if (::RegisterClassExW(&type) != 0)
            return name;
    }
    return nullptr;
}

bool CreateMessageWindow(std::atomic<HWND> & handle, wchar_t const * className, void * object, WNDPROC procedure)
{
    if (className == nullptr)
        return false;
    HWND const window = ::CreateWindowExW(0, className, nullptr, WS_CHILD, 0, 0, 0, 0, HWND_MESSAGE,
                                          static_cast<HMENU>(object), nullptr, nullptr);
    if (window == nullptr)
        return false;
    handle.store(window, std::memory_order_release);
    SetWindowProcedure(window, procedure);
    return true;
}

LRESULT OrphanedWindowProcedure(HWND window, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (msg != kDestroyWindowMessage)
        return ::DefWindowProcW(window, msg, wParam, lParam);
    ::DestroyWindow(window);
    return 0;
}

HWND EndOrDetachWindow(std::atomic<HWND> & handle, WNDPROC orphaned)
{
    HWND window = handle.load(std::memory_order_acquire);
    if (window == nullptr)
        return nullptr;
    if (IsOwnWindow(window))
    {
        // WM_DESTROY clears the handle, and may be where the object ends: nothing of it is touched after this.
        ::DestroyWindow(window);
        return nullptr;
    }
    // The procedure first, then the handle: a message that is dispatched from here on does not reach the object.
    SetWindowProcedure(window, orphaned);
    // The window's own thread may end it, and clear the handle, at the same time; then nothing is left to do.
    return handle.compare_exchange_strong(window, nullptr, std::memory_order_acq_rel) ? window : nullptr;
}

} // namespace qvlib::detail
