// A thread with one window that runs a message loop, for tests of what other threads do to it.
#pragma once

#include "qvlib/host/messages.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

namespace test
{

using Procedure = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;

/// Runs the std::function whose address is the window's id.
inline LRESULT CALLBACK RunProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto * const procedure = reinterpret_cast<Procedure *>(GetWindowLongPtrW(window, GWLP_ID));
    return procedure != nullptr && message >= WM_USER ? (*procedure)(window, message, wParam, lParam)
                                                      : DefWindowProcW(window, message, wParam, lParam);
}

inline HWND NewWindow(Procedure * procedure = nullptr)
{
    static ATOM const type = []
    {
        WNDCLASSEXW record{};
        record.cbSize = sizeof record;
        record.lpfnWndProc = &RunProcedure;
        record.lpszClassName = L"Test window";
        return RegisterClassExW(&record);
    }();
    return CreateWindowExW(0, reinterpret_cast<LPCWSTR>(static_cast<UINT_PTR>(type)), nullptr, WS_CHILD, 0, 0, 0, 0,
                           HWND_MESSAGE, reinterpret_cast<HMENU>(procedure), nullptr, nullptr);
}

/// An event for the length of a test.
class Event
{
public:
    explicit Event(bool manualReset = false)
        : m_handle(CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr))
    {
    }
    Event(Event const &) = delete;
    Event & operator=(Event const &) = delete;
    ~Event() { CloseHandle(m_handle); }
    void Set() { SetEvent(m_handle); }
    void Wait() { EXPECT_EQ(WaitForSingleObject(m_handle, 60000), WAIT_OBJECT_0); }
    HANDLE Handle() const { return m_handle; }

private:
    HANDLE m_handle;
};

/// A thread that runs `body` and is waited for at the end.
class Thread
{
public:
    explicit Thread(std::function<void()> body) : m_body(std::move(body))
    {
        m_handle = CreateThread(nullptr, 0, &Run, this, 0, &m_id);
    }
    Thread(Thread const &) = delete;
    Thread & operator=(Thread const &) = delete;
    ~Thread()
    {
        Join();
        CloseHandle(m_handle);
    }
    void Join() { EXPECT_EQ(WaitForSingleObject(m_handle, 60000), WAIT_OBJECT_0); }
    DWORD Id() const { return m_id; }

private:
    static DWORD WINAPI Run(LPVOID self)
    {
        static_cast<Thread *>(self)->m_body();
        return 0;
    }
    std::function<void()> m_body;
    HANDLE m_handle = nullptr;
    DWORD m_id = 0;
};

/// Runs messages until the request to quit, whose code it gives.
inline WPARAM RunMessages()
{
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
    {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return message.wParam;
}

/// A thread with a window and a message loop, which is asked to end at the end.
class MessageThread
{
public:
    explicit MessageThread(Procedure procedure = {})
        : m_procedure(std::move(procedure)), m_thread(
                                                 [this]
                                                 {
                                                     m_window = NewWindow(m_procedure ? &m_procedure : nullptr);
                                                     m_ready.Set();
                                                     RunMessages();
                                                 })
    {
        m_ready.Wait();
    }
    ~MessageThread() { Quit(); }
    void Quit()
    {
        PostThreadMessageW(m_thread.Id(), WM_QUIT, 0, 0);
        m_thread.Join();
    }
    HWND Window() const { return m_window; }
    DWORD Id() const { return m_thread.Id(); }

private:
    Event m_ready;
    HWND m_window = nullptr;
    Procedure m_procedure;
    Thread m_thread;
};

} // namespace test
