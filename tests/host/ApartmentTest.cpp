#include "message_thread.h"

#include "qvlib/host/apartment.h"
#include "qvlib/host/messages.h"

#include <gtest/gtest.h>

TEST(Apartment, CountsForEachThread)
{
    int something = 0;
    CoUninitialize(); // of nothing
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    EXPECT_EQ(CoInitialize(&something), E_INVALIDARG);
    test::Thread(
        []
        {
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
            EXPECT_EQ(CoInitialize(nullptr), RPC_E_CHANGED_MODE);
        });
    CoUninitialize();
    EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
    CoUninitialize();
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
}

TEST(Apartment, ItsWaitServesWindowsAndLeavesTheRest)
{
    test::Event event;
    HANDLE const handles[] = {event.Handle()};
    DWORD index = 9;
    int ran = 0;
    test::Procedure procedure = [&](HWND, UINT, WPARAM last, LPARAM) -> LRESULT
    {
        ++ran;
        if (last != 0)
            event.Set();
        return 0;
    };
    HWND const window = test::NewWindow(&procedure);
    auto const wait = [&](DWORD time) { return CoWaitForMultipleHandles(0, time, 1, handles, &index); };

    PostMessageW(window, WM_APP, 1, 0);
    EXPECT_EQ(wait(0), RPC_S_CALLPENDING); // no apartment, no messages
    EXPECT_EQ(ran, 0);

    ASSERT_EQ(CoInitialize(nullptr), S_OK);
    PostMessageW(nullptr, WM_APP, 0, 0);
    PostQuitMessage(3);
    EXPECT_EQ(wait(60000), S_OK);
    EXPECT_EQ(index, 0U);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(wait(10), RPC_S_CALLPENDING); // and does not spin over what it leaves
    {
        test::Thread sender([&] { SendMessageW(window, WM_APP, 1, 0); });
        EXPECT_EQ(wait(60000), S_OK);
    }
    event.Set();
    PostMessageW(window, WM_APP, 0, 0);
    EXPECT_EQ(wait(0), S_OK); // the handle is looked at first
    EXPECT_EQ(ran, 2);
    MSG message;
    ASSERT_TRUE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.hwnd, nullptr);
    ASSERT_TRUE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.hwnd, window);
    EXPECT_FALSE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.wParam, 3U);

    EXPECT_EQ(CoWaitForMultipleHandles(0, 0, 0, handles, &index), RPC_E_NO_SYNC);
    EXPECT_EQ(CoWaitForMultipleHandles(0, 0, 1, nullptr, &index), E_INVALIDARG);
    EXPECT_EQ(CoWaitForMultipleHandles(0, 0, 1, handles, nullptr), E_INVALIDARG);
    HANDLE const wrong[] = {nullptr};
    EXPECT_EQ(CoWaitForMultipleHandles(0, 0, 1, wrong, &index), HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE));
    CoUninitialize();
    DestroyWindow(window);
}
