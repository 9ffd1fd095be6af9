#include "message_thread.h"
#include "support/threads.h"

#include "qvlib/host/error.h"
#include "qvlib/host/messages.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <vector>

using qvlib_test::OnThreads;

namespace
{

constexpr UINT kAdd = WM_APP;
constexpr UINT kHop = WM_APP + 1;

/// A thread that sleeps without a look at its messages until it is let go, and then answers all that there is.
class BusyThread
{
public:
    explicit BusyThread(test::Procedure procedure = {})
        : m_procedure(std::move(procedure)), m_thread(
                                                 [this]
                                                 {
                                                     m_window = test::NewWindow(&m_procedure);
                                                     m_ready.Set();
                                                     m_go.Wait();
                                                     test::RunMessages();
                                                 })
    {
        m_ready.Wait();
    }
    ~BusyThread()
    {
        Go();
        PostThreadMessageW(m_thread.Id(), WM_QUIT, 0, 0);
    }
    void Go() { m_go.Set(); }
    HWND Window() const { return m_window; }
    DWORD Id() const { return m_thread.Id(); }

private:
    test::Event m_ready;
    test::Event m_go{true};
    HWND m_window = nullptr;
    test::Procedure m_procedure;
    test::Thread m_thread;
};

void WaitForInput() { EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 60000, QS_ALLINPUT), WAIT_OBJECT_0); }

} // namespace

TEST(SendMessage, GivesTheReceiversResult)
{
    DWORD ranOn = 0;
    bool fromOther = false;
    test::Procedure const add = [&](HWND, UINT, WPARAM wParam, LPARAM lParam)
    {
        ranOn = GetCurrentThreadId();
        fromOther = InSendMessage() != FALSE;
        return static_cast<LRESULT>(wParam) + lParam;
    };
    test::MessageThread other(add);
    EXPECT_EQ(SendMessageW(other.Window(), kAdd, 0x100000000, -1), 0xFFFFFFFF);
    EXPECT_EQ(ranOn, other.Id());
    EXPECT_TRUE(fromOther);
    DWORD_PTR result = 0;
    EXPECT_EQ(SendMessageTimeoutW(other.Window(), kAdd, 2, 3, SMTO_NORMAL, 60000, &result), 1);
    EXPECT_EQ(result, 5U);

    test::Procedure own = add;
    HWND const window = test::NewWindow(&own);
    EXPECT_EQ(SendMessageW(window, kAdd, 4, 5), 9);
    EXPECT_EQ(ranOn, GetCurrentThreadId());
    EXPECT_FALSE(fromOther);
    EXPECT_FALSE(ReplyMessage(1));
    EXPECT_EQ(SendMessageTimeoutW(window, kAdd, 4, 6, SMTO_NORMAL, 0, &result), 1); // no limit within a thread
    EXPECT_EQ(result, 10U);
    DestroyWindow(window);
    EXPECT_EQ(SendMessageW(window, kAdd, 4, 5), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_EQ(SendMessageTimeoutW(nullptr, kAdd, 1, 2, SMTO_NORMAL, 100, &result), 0);
    EXPECT_EQ(result, 0U);
}

TEST(SendMessage, ComesBeforePostedMessages)
{
    std::vector<UINT> order;
    test::Procedure procedure = [&](HWND, UINT message, WPARAM, LPARAM) -> LRESULT
    {
        order.push_back(message);
        return 0;
    };
    HWND const window = test::NewWindow(&procedure);
    PostQuitMessage(0);
    PostMessageW(window, WM_APP + 1, 0, 0);
    PostMessageW(window, WM_APP + 2, 0, 0);
    {
        MSG message;
        EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)); // the posted ones are not new any more
        test::Thread sender(
            [&]
            {
                EXPECT_TRUE(SendNotifyMessageW(window, WM_APP + 3, 0, 0));
                SendMessageW(window, WM_APP + 4, 0, 0);
            });
        while (order.size() < 2)
        {
            WaitForInput();
            PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
        }
        test::RunMessages();
    }
    EXPECT_EQ(order, (std::vector<UINT>{WM_APP + 3, WM_APP + 4, WM_APP + 1, WM_APP + 2}));
    DestroyWindow(window);
}

TEST(SendMessage, ThreadsThatSendToEachOtherDoNotLockUp)
{
    // A ring: who gets a message with hops left sends on to the next; all start at once, so all wait and serve at once.
    constexpr std::size_t kThreads = 5;
    constexpr WPARAM kHops = 40;
    std::vector<HWND> windows(kThreads);
    std::vector<DWORD> ids(kThreads);
    auto const next = [&](HWND window)
    {
        for (std::size_t i = 0; i < kThreads; ++i)
            if (windows[i] == window)
                return windows[(i + 1) % kThreads];
        return HWND{};
    };
    test::Procedure procedure = [&](HWND window, UINT, WPARAM hops, LPARAM lParam) -> LRESULT
    { return hops == 0 ? lParam : SendMessageW(next(window), kHop, hops - 1, lParam + 1) + 1; };
    std::atomic<std::size_t> made{0};
    std::atomic<std::size_t> finished{0};
    test::Event start(true);
    OnThreads(kThreads,
              [&](int number)
              {
                  auto const i = static_cast<std::size_t>(number);
                  windows[i] = test::NewWindow(&procedure);
                  ids[i] = GetCurrentThreadId();
                  if (++made == kThreads)
                      start.Set();
                  start.Wait();
                  for (int round = 0; round < 20; ++round)
                      EXPECT_EQ(SendMessageW(windows[(i + 1) % kThreads], kHop, kHops, 0), 2 * LRESULT{kHops});
                  if (++finished == kThreads)
                      for (DWORD const id : ids)
                          PostThreadMessageW(id, WM_QUIT, 0, 0);
                  test::RunMessages(); // the others may not be done
              });
}

TEST(SendMessage, WhatTimedOutIsWithdrawn)
{
    std::atomic<int> ran{0};
    BusyThread busy([&](HWND, UINT, WPARAM, LPARAM) { return ++ran; });
    DWORD_PTR result = 1;
    EXPECT_EQ(SendMessageTimeoutW(busy.Window(), kAdd, 0, 0, SMTO_NORMAL, 5, &result), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(SendMessageTimeoutW(busy.Window(), kAdd, 0, 0, SMTO_BLOCK, 0, nullptr), 0);
    busy.Go();
    EXPECT_EQ(SendMessageW(busy.Window(), kAdd, 0, 0), 1); // the first to arrive
}

TEST(SendMessage, WhatHasBegunEndsWithoutItsSender)
{
    test::Event begun(true);
    test::Event end(true);
    test::MessageThread other(
        [&](HWND, UINT message, WPARAM, LPARAM) -> LRESULT
        {
            if (message != kAdd)
                return 3;
            begun.Set();
            end.Wait();
            return 2;
        });
    test::Thread(
        [&]
        {
            DWORD_PTR result = 0;
            while (WaitForSingleObject(begun.Handle(), 0) == WAIT_TIMEOUT)
                EXPECT_EQ(SendMessageTimeoutW(other.Window(), kAdd, 0, 0, SMTO_NORMAL, 10, &result), 0);
            EXPECT_EQ(result, 0U);
        });
    end.Set(); // its sender, thread and all, is gone
    EXPECT_EQ(SendMessageW(other.Window(), kHop, 0, 0), 3);
}

TEST(SendMessage, SendersOutliveTheReceiver)
{
    // The window goes while senders wait for it, by destruction or with its thread, or in the procedure itself.
    for (bool const byThread : {false, true})
    {
        std::vector<std::unique_ptr<test::Thread>> senders;
        std::atomic<int> let{0};
        {
            test::Event ready;
            HWND window = nullptr;
            test::Event go;
            test::Thread receiver(
                [&]
                {
                    window = test::NewWindow();
                    ready.Set();
                    go.Wait();
                    WaitForInput(); // something has been sent, and is not looked at
                    if (!byThread)
                        DestroyWindow(window);
                });
            ready.Wait();
            for (int i = 0; i < 4; ++i)
                senders.push_back(std::make_unique<test::Thread>(
                    [&let, window]
                    {
                        EXPECT_EQ(SendMessageW(window, kAdd, 0, 0), 0);
                        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
                        ++let;
                    }));
            go.Set();
        }
        senders.clear();
        EXPECT_EQ(let, 4);
    }
    test::MessageThread other([](HWND window, UINT, WPARAM, LPARAM) -> LRESULT
                              { return DestroyWindow(window) ? 6 : 0; });
    EXPECT_EQ(SendMessageW(other.Window(), kAdd, 0, 0), 6);
    EXPECT_FALSE(IsWindow(other.Window()));
}

TEST(SendMessage, AnAnswerCanComeEarly)
{
    test::Event go;
    BOOL first = FALSE;
    BOOL second = TRUE;
    test::MessageThread other(
        [&](HWND, UINT, WPARAM, LPARAM) -> LRESULT
        {
            first = ReplyMessage(11);
            second = ReplyMessage(12);
            go.Wait(); // only the sender, once released, sets it
            return 13;
        });
    EXPECT_EQ(SendMessageW(other.Window(), kAdd, 0, 0), 11);
    go.Set();
    other.Quit();
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
}

TEST(SendMessage, AnExceptionReleasesTheSender)
{
    test::Event caught;
    test::Event ready;
    HWND window = nullptr;
    test::Procedure procedure = [](HWND, UINT, WPARAM, LPARAM) -> LRESULT { throw std::runtime_error("sent"); };
    test::Thread receiver(
        [&]
        {
            window = test::NewWindow(&procedure);
            ready.Set();
            MSG message;
            EXPECT_THROW(GetMessageW(&message, nullptr, 0, 0), std::runtime_error);
            EXPECT_FALSE(InSendMessage());
        });
    ready.Wait();
    EXPECT_EQ(SendMessageW(window, kAdd, 0, 0), 0);

    // One that passes through a waiting sender withdraws what that has sent.
    std::atomic<int> ran{0};
    BusyThread busy([&](HWND, UINT, WPARAM, LPARAM) { return ++ran; });
    HWND const own = test::NewWindow(&procedure);
    test::Thread sender([&] { EXPECT_EQ(SendMessageW(own, kAdd, 0, 0), 0); });
    EXPECT_THROW(SendMessageW(busy.Window(), kAdd, 0, 0), std::runtime_error);
    sender.Join();
    busy.Go();
    EXPECT_EQ(SendMessageW(busy.Window(), kAdd, 0, 0), 1);
    DestroyWindow(own);
}

TEST(SendMessage, ABlockedSenderRunsNothing)
{
    int ran = 0;
    test::Procedure procedure = [&](HWND, UINT, WPARAM, LPARAM) -> LRESULT { return ++ran; };
    HWND const own = test::NewWindow(&procedure);
    BusyThread busy;
    EXPECT_TRUE(SendNotifyMessageW(busy.Window(), WM_NULL, 0, 0));
    test::Thread([&] { EXPECT_TRUE(SendNotifyMessageW(own, kAdd, 0, 0)); });
    EXPECT_EQ(SendMessageTimeoutW(busy.Window(), kAdd, 0, 0, SMTO_BLOCK, 10, nullptr), 0);
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(SendMessageTimeoutW(busy.Window(), kAdd, 0, 0, SMTO_NORMAL, 10, nullptr), 0);
    EXPECT_EQ(ran, 1);
    DestroyWindow(own);
}

TEST(SendMessage, RunsInAWaitThatDoesNotTellOfIt)
{
    test::Procedure procedure = [](HWND window, UINT, WPARAM, LPARAM) -> LRESULT
    { return PostMessageW(window, kHop, 0, 0); };
    HWND const own = test::NewWindow(&procedure);
    test::Thread sender([&] { EXPECT_TRUE(SendMessageW(own, kAdd, 0, 0)); });
    WaitForInput(); // tells of the message, which is not new any more
    EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 60000, QS_POSTMESSAGE), WAIT_OBJECT_0);
    DestroyWindow(own);
}

TEST(SendMessage, TimeoutsRaceAnswersHarmlessly)
{
    test::MessageThread other([](HWND, UINT, WPARAM wParam, LPARAM) { return static_cast<LRESULT>(wParam); });
    OnThreads(3,
              [&other](int)
              {
                  for (WPARAM number = 1; number < 1500; ++number)
                  {
                      DWORD_PTR result = 0;
                      UINT const limit = number % 3 == 0 ? 60000 : static_cast<UINT>(number % 3 - 1);
                      if (SendMessageTimeoutW(other.Window(), kAdd, number, 0, SMTO_NORMAL, limit, &result))
                          ASSERT_EQ(result, number);
                      else
                          ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));
                  }
              });
}
