// What the tests of message windows and queues share: taking messages, and threads that own something.
#pragma once

#include <functional>
#include <thread>

#include "qvlib/Event.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/thread.h"

namespace qvlib_test
{

/// Takes and delivers one message of this thread, if there is one.
inline bool PumpOne()
{
    MSG message{};
    if (!::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        return false;
    if (message.message == WM_QUIT)
    {
        ::PostQuitMessage(static_cast<int>(message.wParam)); // for the loop outside
        return false;
    }
    ::DispatchMessageW(&message);
    return true;
}

/// Delivers what is there; gives how many messages that were.
inline int Pump()
{
    int count = 0;
    while (PumpOne())
        ++count;
    return count;
}

/// Delivers messages until the request to quit.
inline void PumpUntilQuit()
{
    MSG message{};
    while (::GetMessageW(&message, nullptr, 0, 0) > 0)
        ::DispatchMessageW(&message);
}

/// A thread that runs `start`, then takes messages until Quit (or not at all while it is told to be busy), then `end`.
class MessageThread
{
public:
    explicit MessageThread(std::function<void()> start = {}, std::function<void()> end = {})
        : m_thread(
              [this, start, end]
              {
                  m_id = ::GetCurrentThreadId();
                  if (start)
                      start();
                  m_started.SetEvent();
                  PumpUntilQuit();
                  if (end)
                      end();
              })
    {
        m_started.Lock();
    }
    ~MessageThread() { Quit(); }

    DWORD Id() const { return m_id; }
    void Quit()
    {
        if (!m_thread.joinable())
            return;
        ::PostThreadMessageW(m_id, WM_QUIT, 0, 0);
        m_thread.join();
    }

private:
    qvlib::CTLEvent m_started;
    DWORD m_id = 0;
    std::thread m_thread;
};

} // namespace qvlib_test
