#include "host/linux/internal/message_queue.h"
#include "host/linux/internal/window_class.h"
#include "host/linux/internal/window_table.h"
#include "qvlib/host/error.h"

#include <unistd.h>

using namespace qvlib::host;

namespace
{

BOOL Fail(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

LRESULT Call(Window const & place, HWND window, UINT message, LPARAM lParam)
{
    return place.procedure.load(std::memory_order_acquire)(window, message, 0, lParam);
}

/// Takes a window out of the world when it leaves, also when a procedure throws.
class Removal
{
public:
    Removal(MessageQueue & queue, Window & place, HWND window) noexcept
        : m_queue(queue), m_place(place), m_window(window)
    {
    }
    Removal(Removal const &) = delete;
    Removal & operator=(Removal const &) = delete;
    ~Removal()
    {
        if (m_window != nullptr && m_place.Is(m_window))
            m_queue.RemoveWindow(m_place);
    }
    void Cancel() noexcept { m_window = nullptr; }

private:
    MessageQueue & m_queue;
    Window & m_place;
    HWND m_window;
};

/// The field that an index names; null for one that is no such number or is not to be changed.
std::atomic<LONG_PTR> * FieldOf(Window & place, int index) noexcept
{
    switch (index)
    {
    case GWLP_ID:
        return &place.id;
    case GWLP_USERDATA:
        return &place.userData;
    case GWLP_HINSTANCE:
        return &place.instance;
    case GWL_STYLE:
        return &place.style;
    case GWL_EXSTYLE:
        return &place.exStyle;
    default:
        return nullptr;
    }
}

} // namespace

HWND CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
                     HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter)
{
    if (parent != HWND_MESSAGE)
    {
        Fail(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    MessageQueue * const queue = MessageQueue::Own();
    if (queue == nullptr)
        return nullptr;
    WindowClass * const type = className != nullptr ? UseWindowClass(className) : nullptr;
    if (type == nullptr)
    {
        Fail(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    std::uintptr_t number = 0;
    LSTATUS status = ERROR_SUCCESS;
    Window * const place = TakeWindowPlace(number, status);
    if (place == nullptr)
    {
        LeaveWindowClass(*type);
        Fail(status);
        return nullptr;
    }
    HWND const window = reinterpret_cast<HWND>(number);
    place->type = type;
    place->ending = false;
    place->queue.store(queue, std::memory_order_release);
    place->procedure.store(type->record.lpfnWndProc, std::memory_order_release);
    place->id.store(reinterpret_cast<LONG_PTR>(menu), std::memory_order_release);
    place->userData.store(0, std::memory_order_release);
    place->instance.store(reinterpret_cast<LONG_PTR>(instance), std::memory_order_release);
    place->style.store(static_cast<LONG_PTR>(style), std::memory_order_release);
    place->exStyle.store(static_cast<LONG_PTR>(exStyle), std::memory_order_release);
    place->handle.store(number, std::memory_order_release);
    queue->AddWindow(*place);
    if (type->record.lpfnWndProc == &DefWindowProcW) // has nothing to say to its own making
        return window;

    Removal removal(*queue, *place, window);
    CREATESTRUCTW created{parameter,
                          instance,
                          menu,
                          parent,
                          height,
                          width,
                          y,
                          x,
                          static_cast<LONG>(style),
                          title,
                          type->record.lpszClassName,
                          exStyle};
    auto const told = reinterpret_cast<LPARAM>(&created);
    if (Call(*place, window, WM_NCCREATE, told) == 0)
        return nullptr;
    LRESULT const answer = place->Is(window) ? Call(*place, window, WM_CREATE, told) : -1;
    removal.Cancel();
    if (!place->Is(window)) // it destroyed itself
        return nullptr;
    if (answer != -1)
        return window;
    DestroyWindow(window);
    return nullptr;
}

BOOL DestroyWindow(HWND window)
{
    Window * const place = LookUpWindow(window);
    if (place == nullptr)
        return Fail(ERROR_INVALID_WINDOW_HANDLE);
    MessageQueue * const queue = MessageQueue::Current();
    if (queue == nullptr || place->queue.load(std::memory_order_acquire) != queue)
        return Fail(ERROR_ACCESS_DENIED);
    if (place->ending) // called again by what it calls
        return TRUE;
    place->ending = true;
    Removal const removal(*queue, *place, window);
    Call(*place, window, WM_DESTROY, 0);
    Call(*place, window, WM_NCDESTROY, 0);
    return TRUE;
}

BOOL IsWindow(HWND window) { return LookUpWindow(window) != nullptr ? TRUE : FALSE; }

DWORD GetWindowThreadProcessId(HWND window, DWORD * process)
{
    Window const * const place = LookUpWindow(window);
    MessageQueue * queue = nullptr;
    DWORD const threadId = place != nullptr && place->Read(place->queue, window, queue) ? queue->ThreadId() : 0;
    if (threadId == 0 || !place->Is(window))
    {
        Fail(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    if (process != nullptr)
        *process = static_cast<DWORD>(::getpid());
    return threadId;
}

LONG_PTR GetWindowLongPtrW(HWND window, int index)
{
    Window * const place = LookUpWindow(window);
    LONG_PTR value = 0;
    WNDPROC procedure = nullptr;
    bool good = place != nullptr;
    if (good && index == GWLP_WNDPROC)
    {
        good = place->Read(place->procedure, window, procedure);
        value = reinterpret_cast<LONG_PTR>(procedure);
    }
    else if (good && index == GWLP_HWNDPARENT)
        value = reinterpret_cast<LONG_PTR>(HWND_MESSAGE);
    else if (good)
    {
        std::atomic<LONG_PTR> const * const field = FieldOf(*place, index);
        if (field == nullptr)
        {
            Fail(ERROR_INVALID_INDEX);
            return 0;
        }
        good = place->Read(*field, window, value);
    }
    if (!good)
    {
        Fail(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    if (value == 0)
        SetLastError(ERROR_SUCCESS);
    return value;
}

LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value)
{
    Window * const place = LookUpWindow(window);
    if (place == nullptr)
        return Fail(ERROR_INVALID_WINDOW_HANDLE);
    std::atomic<LONG_PTR> * const field = FieldOf(*place, index);
    if (field == nullptr && (index != GWLP_WNDPROC || value == 0))
        return Fail(ERROR_INVALID_INDEX);

    MessageQueue & queue = *place->queue.load(std::memory_order_acquire);
    MutexLock const held(queue.Lock());
    if (!place->Is(window))
        return Fail(ERROR_INVALID_WINDOW_HANDLE);
    LONG_PTR const before = field != nullptr ? field->exchange(value, std::memory_order_acq_rel)
                                             : reinterpret_cast<LONG_PTR>(place->procedure.exchange(
                                                   reinterpret_cast<WNDPROC>(value), std::memory_order_acq_rel));
    if (before == 0)
        SetLastError(ERROR_SUCCESS);
    return before;
}

LONG_PTR GetDlgCtrlID(HWND window) { return GetWindowLongPtrW(window, GWLP_ID); }

LRESULT CALLBACK DefWindowProcW(HWND window, UINT message, WPARAM, LPARAM)
{
    switch (message)
    {
    case WM_NCCREATE:
        return TRUE;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    default:
        return 0;
    }
}

LRESULT CallWindowProcW(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return procedure(window, message, wParam, lParam);
}
