#include "qvlib/WaitingLoops.h"
#include "qvlib/Event.h"
#include "qvlib/Exceptions.h"
#include "qvlib/StopWatch.h"
#include "qvlib/host/apartment.h"
#include "qvlib/host/clock.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/thread.h"

#include "host/message_thread.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>

using namespace qvlib;
using qvlib::host::ManualClock;

namespace
{

constexpr UINT kMessage = WM_APP + 2;
constexpr unsigned long kForever = 0xFFFFFFFF;

std::function<void(WPARAM)> s_receive; // what the test's window does

/// A window of the test's thread; what is left in the queue goes at the end.
class WaitingLoops : public testing::Test
{
protected:
    WaitingLoops()
    {
        s_calls = 0;
        s_answer = [] { return WaitCommandContinue; };
        s_receive = [](WPARAM) {};
    }
    ~WaitingLoops() override
    {
        DestroyWindow(m_window);
        NextMessage();
    }

    /// The number of the next message of the thread, 0 for none, and its wParam.
    static std::pair<UINT, WPARAM> NextMessage()
    {
        MSG message{};
        return PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE ? std::pair(message.message, message.wParam)
                                                                         : std::pair(0U, WPARAM{0});
    }
    void Post(WPARAM wParam) { PostMessageW(m_window, kMessage, wParam, 0); }

    static EWaitCommand Ask(unsigned long parameter)
    {
        EXPECT_EQ(parameter, 0x89ABCDEFUL);
        ++s_calls;
        return s_answer();
    }

    inline static int s_calls;
    inline static std::function<EWaitCommand()> s_answer;
    test::Procedure m_procedure = [](HWND, UINT, WPARAM wParam, LPARAM) -> LRESULT { return s_receive(wParam), 0; };
    HWND const m_window = test::NewWindow(&m_procedure);
};

using Loop = bool (*)(WaitCallback, unsigned long, unsigned long);
Loop const kLoops[] = {
    [](WaitCallback callback, unsigned long parameter, unsigned long timeout)
    { return WaitOnCallback(callback, parameter, timeout); },
    [](WaitCallback callback, unsigned long parameter, unsigned long timeout)
    { return WaitOnCallbackWithMessageLoop(callback, parameter, timeout, true); },
    [](WaitCallback callback, unsigned long parameter, unsigned long timeout)
    { return WaitOnCallbackWithOleLoop(callback, parameter, timeout, true); },
};

} // namespace

TEST_F(WaitingLoops, TheCallbacksAnswerEndsEachLoop)
{
    for (Loop const loop : kLoops)
    {
        for (int const answer : {1, 2, 3, -1})
        {
            s_calls = 0;
            s_answer = [answer] { return static_cast<EWaitCommand>(answer); };
            for (unsigned long const timeout : {0UL, kForever, ~0UL})
                EXPECT_EQ(loop(&Ask, 0x89ABCDEF, timeout), answer == 2) << answer;
            EXPECT_EQ(s_calls, 3);
        }
        s_calls = 0;
        s_answer = [] { return WaitCommandContinue; };
        EXPECT_FALSE(loop(&Ask, 0x89ABCDEF, 0));
        EXPECT_EQ(s_calls, 1); // also without any time
        s_answer = []() -> EWaitCommand { throw std::runtime_error("leave"); };
        EXPECT_THROW(loop(&Ask, 0x89ABCDEF, 1000), std::runtime_error);
        if constexpr (sizeof(long) > 4)
        {
            EXPECT_THROW(loop(&Ask, 0x89ABCDEF, 0x100000000UL), argument_out_of_range_exception);
        }
    }
}

TEST_F(WaitingLoops, TheClockEndsEachLoop)
{
    ManualClock clock;
    for (Loop const loop : kLoops)
    {
        s_calls = 0;
        s_answer = [&]
        {
            clock.Advance(999);
            // New input, so that the loop needn't sleep. But while messages flow, a loop that takes them never looks at
            // the clock.
            if (loop == kLoops[0] || s_calls < 6)
                PostThreadMessageW(GetCurrentThreadId(), kMessage, 0, 0);
            return WaitCommandContinue;
        };
        EXPECT_FALSE(loop(&Ask, 0x89ABCDEF, 2000));
        EXPECT_EQ(s_calls, loop == kLoops[1] ? 6 : 3);
        while (NextMessage().first != 0)
            ;
    }
    // A number like any other, and not without end.
    s_answer = [&]
    {
        clock.Advance(0xFFFFFFFF);
        return WaitCommandContinue;
    };
    EXPECT_FALSE(WaitOnCallback(&Ask, 0x89ABCDEF, ~0UL));
}

TEST_F(WaitingLoops, MessagesAreDeliveredOrLeftAsTold)
{
    int received = 0;
    s_receive = [&](WPARAM) { ++received; };
    Post(0);
    s_answer = [] { return s_calls == 2 ? WaitCommandSucceed : WaitCommandContinue; };
    EXPECT_TRUE(WaitOnCallback(&Ask, 0x89ABCDEF, 60'000)); // woken by what was there, which it leaves
    EXPECT_EQ(received, 0);
    s_calls = 0;
    EXPECT_TRUE(WaitOnCallbackWithMessageLoop(&Ask, 0x89ABCDEF, 60'000, false)); // asked again after each message
    EXPECT_EQ(received, 1);

    ASSERT_EQ(CoInitialize(nullptr), S_OK);
    Post(0);
    s_answer = [&] { return received == 2 ? WaitCommandSucceed : WaitCommandContinue; };
    EXPECT_TRUE(WaitOnCallbackWithOleLoop(&Ask, 0x89ABCDEF, 60'000, false));
    CoUninitialize();

    s_receive = [&](WPARAM wParam)
    {
        EXPECT_FALSE(wParam != 0 && WaitOnTimeOutWithMessageLoop(1, true)); // a wait in a wait
        ++received;
    };
    Post(1);
    Post(0);
    CTLQuickStopWatch const watch;
    EXPECT_FALSE(WaitOnTimeOutWithMessageLoop(30, true));
    EXPECT_GE(watch.GetReading(TimeUnitMilliseconds), 30.0);
    EXPECT_EQ(received, 4);
}

TEST_F(WaitingLoops, AHandleEndsTheWaitBetweenMessages)
{
    CTLEvent event, second;
    event.SetEvent();
    EXPECT_TRUE(WaitOnHandleWithMessageLoop(event, 0, true));
    EXPECT_FALSE(WaitOnHandleWithMessageLoop(event, 0, true)); // the signal was taken
    EXPECT_FALSE(WaitOnHandleWithMessageLoop(nullptr, kForever, true));

    // What is there is delivered first, and looked at the handles after each message.
    int received = 0;
    s_receive = [&](WPARAM) { ++received == 2 ? event.SetEvent() : false; };
    for (int i = 0; i < 4; ++i)
        Post(0);
    EXPECT_TRUE(WaitOnHandleWithMessageLoop(event, kForever, false));
    EXPECT_EQ(received, 2);

    void * handles[] = {event, second};
    s_receive = [&](WPARAM) { second.SetEvent(); };
    EXPECT_EQ(WaitOnMultipleHandlesWithMessageLoop(2, handles, 0, ~0UL, true), 1UL);
    std::thread other(
        [&]
        {
            second.SetEvent();
            event.SetEvent();
        });
    EXPECT_LT(WaitOnMultipleHandlesWithMessageLoop(2, handles, 1, kForever, true), 2UL);
    other.join();
    EXPECT_EQ(WaitOnMultipleHandlesWithMessageLoop(2, handles, 1, 1, true), 0x102UL);
    void * twice[] = {event, event};
    EXPECT_EQ(WaitOnMultipleHandlesWithMessageLoop(2, twice, 1, kForever, true), 0xFFFFFFFFUL);
    EXPECT_EQ(WaitOnMultipleHandlesWithMessageLoop(~0UL, twice, 1, kForever, true), 0xFFFFFFFFUL); // and doesn't hang
}

TEST_F(WaitingLoops, ARequestToQuitIsKeptForTheLoopOutside)
{
    CTLEvent event;
    s_receive = [&](WPARAM) { event.SetEvent(); };
    PostQuitMessage(7);
    Post(0);
    EXPECT_TRUE(WaitOnHandleWithMessageLoop(event, kForever, true));
    EXPECT_EQ(NextMessage(), std::pair(WM_QUIT, WPARAM{7}));

    int calls = 0;
    s_answer = [&]
    {
        if (++calls == 6)
            return WaitCommandSucceed;
        calls < 3 ? PostQuitMessage(calls + 40) : Post(0); // the last code counts
        return WaitCommandContinue;
    };
    EXPECT_TRUE(WaitOnCallbackWithMessageLoop(&Ask, 0x89ABCDEF, 60'000, true));
    EXPECT_EQ(NextMessage(), std::pair(WM_QUIT, WPARAM{42}));

    // Also when the wait ends by an exception.
    PostQuitMessage(9);
    s_answer = []() -> EWaitCommand
    { return s_calls++ < 100 ? WaitCommandContinue : throw std::runtime_error("leave"); };
    s_calls = 99;
    EXPECT_THROW(WaitOnCallbackWithMessageLoop(&Ask, 0x89ABCDEF, 60'000, true), std::runtime_error);
    EXPECT_EQ(NextMessage(), std::pair(WM_QUIT, WPARAM{9}));
}

TEST_F(WaitingLoops, TheAbortMessageEndsTheInnermostWaitThatAllowsIt)
{
    UINT const id = static_cast<UINT>(GetAbortWaitingLoopMessageId());
    EXPECT_EQ(id, RegisterWindowMessageW(L"7ceeb3d3-d59e-11d3-8394-00c04f7bdf10"));
    CTLEvent event;
    event.SetEvent();
    PostAbortWaitingLoopMessage(0); // lies there before the wait
    EXPECT_FALSE(WaitOnHandleWithMessageLoop(event, kForever, true));
    EXPECT_TRUE(event.Lock(0)); // ended before the handle was looked at
    PostAbortWaitingLoopMessage(GetCurrentThreadId());
    EXPECT_FALSE(WaitOnTimeOutWithMessageLoop(kForever, true));
    PostAbortWaitingLoopMessage(0);
    EXPECT_FALSE(WaitOnCallbackWithMessageLoop(&Ask, 0x89ABCDEF, kForever, true));
    EXPECT_EQ(s_calls, 1);

    // Swallowed by a wait that isn't abortable; not seen by one without a message loop.
    PostAbortWaitingLoopMessage(0);
    s_receive = [&](WPARAM) { event.SetEvent(); };
    Post(0);
    EXPECT_TRUE(WaitOnHandleWithMessageLoop(event, kForever, false));
    EXPECT_EQ(NextMessage().first, 0U);
    PostAbortWaitingLoopMessage(0);
    EXPECT_FALSE(WaitOnCallback(&Ask, 0x89ABCDEF, 0));
    EXPECT_EQ(NextMessage().first, id);

    // From another thread, into the inner of two waits.
    s_receive = [&](WPARAM)
    {
        std::thread([id = GetCurrentThreadId()] { PostAbortWaitingLoopMessage(id); }).join();
        EXPECT_FALSE(WaitOnTimeOutWithMessageLoop(kForever, true));
        event.SetEvent();
    };
    Post(0);
    EXPECT_TRUE(WaitOnHandleWithMessageLoop(event, kForever, true));
    PostAbortWaitingLoopMessage(0xFFFFFFFE); // no such thread
    TLSetThreadName(nullptr, ~0UL);
}
