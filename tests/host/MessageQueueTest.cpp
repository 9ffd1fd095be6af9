#include "message_thread.h"

#include "qvlib/host/error.h"
#include "qvlib/host/messages.h"
#include "support/allocation_sweep.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace
{

/// Takes all messages that a look gives, by number.
std::vector<UINT> TakeAll(HWND window = nullptr, UINT first = 0, UINT last = 0)
{
    std::vector<UINT> taken;
    MSG message;
    while (PeekMessageW(&message, window, first, last, PM_REMOVE))
        taken.push_back(message.message);
    return taken;
}

using Numbers = std::vector<UINT>;

HWND const kThreadOnly = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1));

} // namespace

TEST(MessageQueue, KeepsTheOrderAndWhatWasPosted)
{
    HWND const window = test::NewWindow();
    for (UINT i = 0; i < 100; ++i)
        ASSERT_TRUE(PostMessageW(i % 3 == 0 ? nullptr : window, WM_APP + i, i, -static_cast<LPARAM>(i)));
    MSG message;
    for (UINT i = 0; i < 100; ++i)
    {
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
        ASSERT_EQ(message.message, WM_APP + i);
        ASSERT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
        ASSERT_EQ(message.message, WM_APP + i);
        ASSERT_EQ(message.hwnd, i % 3 == 0 ? nullptr : window);
        ASSERT_EQ(message.wParam, i);
        ASSERT_EQ(message.lParam, -static_cast<LPARAM>(i));
        EXPECT_FALSE(TranslateMessage(&message));
    }
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    DestroyWindow(window);
}

TEST(MessageQueue, FiltersByWindowAndNumber)
{
    HWND const one = test::NewWindow();
    HWND const two = test::NewWindow();
    auto const fill = [&]
    {
        for (UINT i = 0; i < 9; ++i)
            PostMessageW(std::array{one, two, HWND{}}[i % 3], WM_APP + i, 0, 0);
    };
    fill();
    EXPECT_EQ(TakeAll(one, WM_APP + 3, WM_APP + 8), (Numbers{WM_APP + 3, WM_APP + 6}));
    EXPECT_EQ(TakeAll(one), (Numbers{WM_APP}));
    EXPECT_EQ(TakeAll(kThreadOnly), (Numbers{WM_APP + 2, WM_APP + 5, WM_APP + 8}));
    EXPECT_EQ(TakeAll(nullptr, WM_APP + 4, WM_APP + 4), (Numbers{WM_APP + 4}));
    EXPECT_EQ(TakeAll(nullptr, WM_APP + 8, WM_APP), (Numbers{}));
    EXPECT_EQ(TakeAll(), (Numbers{WM_APP + 1, WM_APP + 7}));

    fill();
    DestroyWindow(one); // takes its own along
    EXPECT_EQ(TakeAll(), (Numbers{WM_APP + 1, WM_APP + 2, WM_APP + 4, WM_APP + 5, WM_APP + 7, WM_APP + 8}));
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, one, 0, 0, PM_REMOVE));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_EQ(GetMessageW(&message, one, 0, 0), -1);
    DestroyWindow(two);
}

TEST(MessageQueue, TheRequestToQuitComesLast)
{
    MSG message;
    PostQuitMessage(7);
    PostMessageW(nullptr, WM_APP, 0, 0);
    PostQuitMessage(8);
    PostMessageW(nullptr, WM_APP + 1, 0, 0);
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
    EXPECT_EQ(GetMessageW(&message, nullptr, WM_APP + 1, WM_APP + 1), TRUE);
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(GetMessageW(&message, nullptr, WM_USER, WM_USER), FALSE); // no range keeps it back
    EXPECT_EQ(message.message, WM_QUIT);
    EXPECT_EQ(message.wParam, 8U);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)); // told once

    // As a posted message it stands in the line.
    PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 5, 0);
    PostMessageW(nullptr, WM_APP, 0, 0);
    EXPECT_EQ(GetMessageW(&message, nullptr, WM_APP, WM_APP), FALSE);
    EXPECT_EQ(message.wParam, 5U);
    EXPECT_EQ(TakeAll(), (Numbers{WM_APP}));
}

TEST(MessageQueue, IsBounded)
{
    HWND const window = test::NewWindow();
    for (DWORD i = 0; i < kPostedMessageLimit; ++i)
        ASSERT_TRUE(PostMessageW(i % 2 ? window : nullptr, WM_APP, i, 0));
    EXPECT_FALSE(PostMessageW(window, WM_APP, 0, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_QUOTA));
    EXPECT_FALSE(PostThreadMessageW(GetCurrentThreadId(), WM_APP, 0, 0));
    MSG message;
    PostQuitMessage(0); // needs no place
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_TRUE(PostMessageW(window, WM_APP, kPostedMessageLimit, 0));
    EXPECT_FALSE(PostMessageW(window, WM_APP, 0, 0));
    DestroyWindow(window); // half of the places are free again
    for (DWORD i = 2; i < kPostedMessageLimit; i += 2)
    {
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
        ASSERT_EQ(message.wParam, i);
    }
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), FALSE);
}

TEST(MessageQueue, EveryThreadCanBePostedTo)
{
    // Before it has looked for messages, and even before it runs.
    std::vector<WPARAM> taken;
    auto body = [](LPVOID argument) -> DWORD
    {
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0)
            static_cast<std::vector<WPARAM> *>(argument)->push_back(message.wParam);
        return static_cast<DWORD>(message.wParam);
    };
    DWORD id = 0;
    HANDLE const thread = CreateThread(nullptr, 0, body, &taken, CREATE_SUSPENDED, &id);
    EXPECT_TRUE(PostThreadMessageW(id, WM_APP, 1, 0));
    EXPECT_TRUE(PostThreadMessageW(id, WM_APP, 2, 0));
    ResumeThread(thread);
    EXPECT_TRUE(PostThreadMessageW(id, WM_APP, 3, 0));
    EXPECT_TRUE(PostThreadMessageW(id, WM_QUIT, 4, 0));
    ASSERT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, 4U);
    EXPECT_EQ(taken, (std::vector<WPARAM>{1, 2, 3}));
    CloseHandle(thread);

    EXPECT_FALSE(PostThreadMessageW(id, WM_APP, 0, 0)); // it has ended
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_THREAD_ID));
    EXPECT_FALSE(PostThreadMessageW(0, WM_APP, 0, 0));
    EXPECT_FALSE(PostThreadMessageW(0x7FFFFFFF, WM_APP, 0, 0));

    // Threads that never look: what was posted goes with them, and is not found by a later one.
    for (int i = 0; i < 200; ++i)
    {
        test::Event end;
        test::Thread silent([&] { end.Wait(); });
        EXPECT_TRUE(PostThreadMessageW(silent.Id(), WM_APP, 9, 0));
        end.Set();
    }
    test::Thread([] { EXPECT_EQ(TakeAll(), (Numbers{})); });
}

TEST(MessageQueue, ManyProducersKeepTheirOrder)
{
    constexpr int kProducers = 3;
    constexpr LPARAM kEach = 20000;
    std::array<LPARAM, kProducers> next{};
    test::Event done;
    test::Procedure procedure = [&](HWND, UINT, WPARAM producer, LPARAM number) -> LRESULT
    {
        EXPECT_EQ(number, next[producer]);
        next[producer] = number + 1;
        if (next[0] == kEach && next[1] == kEach && next[2] == kEach)
            done.Set();
        return 0;
    };
    test::MessageThread receiver(procedure);
    qvlib_test::OnThreads(kProducers,
                          [&receiver](int producer)
                          {
                              for (LPARAM number = 0; number < kEach;)
                                  if (PostMessageW(receiver.Window(), WM_APP, static_cast<WPARAM>(producer), number))
                                      ++number;
                                  else // the receiver is behind: its queue takes no more
                                      Sleep(0);
                          });
    done.Wait();
}

TEST(MessageQueue, WorksWithoutAllocationOnceWarm)
{
    test::Procedure procedure = [](HWND, UINT, WPARAM wParam, LPARAM) { return static_cast<LRESULT>(wParam); };
    HWND const window = test::NewWindow(&procedure);
    test::MessageThread other(procedure);
    auto const work = [&]
    {
        MSG message;
        for (WPARAM i = 0; i < 100; ++i)
            ASSERT_TRUE(PostMessageW(window, WM_APP, i, 0));
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            ASSERT_EQ(DispatchMessageW(&message), static_cast<LRESULT>(message.wParam));
        ASSERT_EQ(SendMessageW(other.Window(), WM_APP, 5, 0), 5);
        ASSERT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 1, QS_ALLINPUT), WAIT_TIMEOUT);
    };
    work();
    qvlib_test::AllocationCount const allocations;
    for (int i = 0; i < 10; ++i)
        work();
    EXPECT_EQ(allocations.Value(), 0U);
    DestroyWindow(window);
}

TEST(MessageQueue, SurvivesWantOfMemory)
{
    static LRESULT s_ran = 0;
    WNDPROC const count = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT
    { return message == WM_APP ? ++s_ran : DefWindowProcW(window, message, wParam, lParam); };
    test::MessageThread other([](HWND, UINT, WPARAM, LPARAM) -> LRESULT { return 1; });
    std::size_t hit = 0;
    test::Thread(
        [&]
        {
            LRESULT posted = 0;
            hit = qvlib_test::SweepAllocations(
                [&]
                {
                    WNDCLASSEXW type{};
                    type.cbSize = sizeof type;
                    type.lpfnWndProc = count;
                    type.lpszClassName = L"A class whose name is too long to stand in a string itself";
                    RegisterClassExW(&type);
                    HWND const window = CreateWindowExW(0, type.lpszClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE,
                                                        nullptr, nullptr, nullptr);
                    s_ran = posted = 0;
                    for (int i = 0; window != nullptr && i < 100; ++i)
                        posted += PostMessageW(window, WM_APP, 0, 0);
                    MSG message;
                    while (PeekMessageW(&message, window, 0, 0, PM_REMOVE))
                        DispatchMessageW(&message);
                    SendMessageW(other.Window(), WM_APP, 0, 0);
                    SendNotifyMessageW(other.Window(), WM_APP, 0, 0);
                    RegisterWindowMessageW(L"A message whose name is too long to stand in a string itself");
                    if (window != nullptr)
                        DestroyWindow(window);
                    UnregisterClassW(type.lpszClassName, nullptr);
                },
                [&] { EXPECT_EQ(s_ran, posted); }); // what was taken in arrived
        });
    EXPECT_GE(hit, 5U);
    EXPECT_FALSE(UnregisterClassW(L"A class whose name is too long to stand in a string itself", nullptr));
}

TEST(MessageQueue, NamesGiveNumbers)
{
    UINT const number = RegisterWindowMessageW(L"A message \x00DC");
    EXPECT_GE(number, 0xC000U);
    EXPECT_LE(number, 0xFFFFU);
    EXPECT_EQ(RegisterWindowMessageW(L"a MESSAGE \x00FC"), number);
    EXPECT_NE(RegisterWindowMessageW(L"A message"), number);
    EXPECT_EQ(RegisterWindowMessageW(nullptr), 0U);
    EXPECT_EQ(RegisterWindowMessageW(L""), 0U);
    EXPECT_NE(RegisterWindowMessageW(std::wstring(255, L'x').c_str()), 0U);
    EXPECT_EQ(RegisterWindowMessageW(std::wstring(256, L'x').c_str()), 0U);
}

TEST(MessageWait, OnlyNewInputEndsIt)
{
    HWND const window = test::NewWindow();
    MSG message;
    auto const look = [](DWORD flags = 0) { return MsgWaitForMultipleObjectsEx(0, nullptr, 0, QS_ALLINPUT, flags); };
    EXPECT_EQ(look(), WAIT_TIMEOUT);
    PostMessageW(window, WM_APP, 0, 0);
    PostMessageW(window, WM_APP + 1, 0, 0);
    EXPECT_EQ(look(), WAIT_OBJECT_0);
    EXPECT_EQ(look(), WAIT_TIMEOUT); // it has been told of
    EXPECT_EQ(look(MWMO_INPUTAVAILABLE), WAIT_OBJECT_0);
    PostMessageW(window, WM_APP + 2, 0, 0);
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(look(), WAIT_TIMEOUT); // a look at one is a look at all
    test::Thread([window] { PostMessageW(window, WM_APP, 0, 0); });
    EXPECT_EQ(message.message, WM_APP);
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.message, WM_APP + 1);
    EXPECT_EQ(look(), WAIT_TIMEOUT); // whoever posted it
    PostQuitMessage(0);
    EXPECT_EQ(GetQueueStatus(QS_POSTMESSAGE), (QS_POSTMESSAGE << 16) | QS_POSTMESSAGE);
    EXPECT_EQ(GetQueueStatus(QS_POSTMESSAGE), QS_POSTMESSAGE << 16);
    EXPECT_EQ(look(), WAIT_TIMEOUT);
    PostMessageW(window, WM_APP, 0, 0);
    EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, 0x0001), WAIT_TIMEOUT); // keys are awaited
    EXPECT_EQ(look(), WAIT_OBJECT_0);
    EXPECT_EQ(TakeAll(), (Numbers{WM_APP + 2, WM_APP, WM_APP, WM_QUIT})); // and the request to quit
    EXPECT_EQ(look(MWMO_INPUTAVAILABLE), WAIT_TIMEOUT);
    DestroyWindow(window);
}

TEST(MessageWait, HandlesComeBeforeInput)
{
    test::Event one;
    test::Event two;
    HANDLE const handles[] = {one.Handle(), two.Handle()};
    auto const wait = [&](BOOL all) { return MsgWaitForMultipleObjects(2, handles, all, 0, QS_ALLINPUT); };
    PostMessageW(nullptr, WM_APP, 0, 0);
    two.Set();
    EXPECT_EQ(wait(FALSE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(wait(FALSE), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(wait(FALSE), WAIT_TIMEOUT);

    // All of the handles, or input: whichever is first.
    one.Set();
    EXPECT_EQ(wait(TRUE), WAIT_TIMEOUT);
    PostMessageW(nullptr, WM_APP, 0, 0);
    EXPECT_EQ(wait(TRUE), WAIT_OBJECT_0 + 2);
    two.Set();
    PostMessageW(nullptr, WM_APP, 0, 0);
    EXPECT_EQ(wait(TRUE), WAIT_OBJECT_0);
    EXPECT_EQ(wait(FALSE), WAIT_OBJECT_0 + 2); // both were taken
    TakeAll();

    HANDLE const wrong[] = {one.Handle(), nullptr};
    EXPECT_EQ(MsgWaitForMultipleObjects(2, wrong, FALSE, 0, QS_ALLINPUT), WAIT_FAILED);
    std::vector<HANDLE> const many(64, one.Handle());
    EXPECT_EQ(MsgWaitForMultipleObjects(64, many.data(), FALSE, 0, QS_ALLINPUT), WAIT_FAILED);
}

TEST(MessageWait, SleepersAreWoken)
{
    // By turns a post and an event, each of which wakes the sleeper that the turn before sent to sleep.
    constexpr int kTurns = 2000;
    test::Event event;
    test::Event other;
    test::Event turn;
    for (BOOL const all : {FALSE, TRUE})
    {
        std::atomic<int> posts{0};
        std::atomic<int> events{0};
        test::Thread sleeper(
            [&]
            {
                HANDLE const handles[] = {event.Handle(), other.Handle()};
                for (int i = 0; i < kTurns; ++i)
                {
                    DWORD const ended = MsgWaitForMultipleObjects(2, handles, all, INFINITE, QS_ALLINPUT);
                    if (ended == WAIT_OBJECT_0 + 2)
                        posts += static_cast<int>(TakeAll().size());
                    else
                        events += ended == WAIT_OBJECT_0 ? 1 : 0;
                    turn.Set();
                }
            });
        for (int i = 0; i < kTurns; ++i)
        {
            if (i % 2 == 0)
                PostThreadMessageW(sleeper.Id(), WM_APP, 0, 0);
            else
            {
                if (all)
                    other.Set();
                event.Set();
            }
            turn.Wait();
        }
        sleeper.Join();
        EXPECT_EQ(posts, kTurns / 2);
        EXPECT_EQ(events, kTurns / 2);
    }
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}
