#include "message_thread.h"

#include "qvlib/host/error.h"
#include "qvlib/host/messages.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

std::vector<UINT> * g_seen = nullptr; // what Record got
LRESULT g_ncCreateAnswer = 1;
LRESULT g_createAnswer = 0;

LRESULT CALLBACK Record(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    g_seen->push_back(message);
    if (message == WM_NCCREATE)
        return g_ncCreateAnswer;
    if (message == WM_CREATE)
    {
        auto const & created = *reinterpret_cast<CREATESTRUCTW const *>(lParam);
        EXPECT_EQ(created.lpCreateParams, &g_createAnswer);
        EXPECT_EQ(created.cy, 4);
        EXPECT_STREQ(created.lpszName, L"title");
        return g_createAnswer;
    }
    if (message == WM_DESTROY)
    {
        EXPECT_TRUE(IsWindow(window));
        EXPECT_TRUE(DestroyWindow(window)); // no second round
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND NewRecorder(LPCWSTR name)
{
    return CreateWindowExW(1, name, L"title", WS_CHILD, 1, 2, 3, 4, HWND_MESSAGE, nullptr, nullptr, &g_createAnswer);
}

ATOM Register(LPCWSTR name, WNDPROC procedure)
{
    WNDCLASSEXW type{};
    type.cbSize = sizeof type;
    type.lpfnWndProc = procedure;
    type.lpszClassName = name;
    return RegisterClassExW(&type);
}

} // namespace

TEST(WindowClass, ANameIsTakenOnceWithoutRegardToCase)
{
    std::wstring name = L"Class \x00DC one";
    ATOM const atom = Register(name.c_str(), &DefWindowProcW);
    EXPECT_GE(atom, 0xC000);
    name[0] = L'?'; // the class has its own copy
    EXPECT_EQ(Register(L"CLASS \x00FC ONE", &DefWindowProcW), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CLASS_ALREADY_EXISTS));

    WNDCLASSEXW type{};
    EXPECT_TRUE(GetClassInfoExW(nullptr, L"class \x00FC one", &type));
    EXPECT_STREQ(type.lpszClassName, L"Class \x00DC one");
    EXPECT_EQ(type.lpfnWndProc, &DefWindowProcW);
    EXPECT_FALSE(GetClassInfoExW(nullptr, L"Class two", &type));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CLASS_DOES_NOT_EXIST));

    HWND const window = NewRecorder(L"class \x00DC one");
    EXPECT_FALSE(UnregisterClassW(L"Class \x00DC one", nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CLASS_HAS_WINDOWS));
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_TRUE(UnregisterClassW(reinterpret_cast<LPCWSTR>(static_cast<UINT_PTR>(atom)), nullptr));
    EXPECT_EQ(NewRecorder(L"Class \x00DC one"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CANNOT_FIND_WND_CLASS));
}

TEST(WindowClass, RefusesWhatItCannotKeep)
{
    WNDCLASSEXW type{};
    type.cbSize = sizeof type;
    type.lpszClassName = L"Never";
    EXPECT_EQ(RegisterClassExW(&type), 0); // no procedure
    type.lpfnWndProc = &DefWindowProcW;
    type.cbWndExtra = 8;
    EXPECT_EQ(RegisterClassExW(&type), 0);
    type.cbWndExtra = 0;
    type.lpszClassName = nullptr;
    EXPECT_EQ(RegisterClassExW(&type), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(CreateWindowExW(0, L"Never", nullptr, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED)); // nothing that could be seen
}

TEST(Window, ItsProcedureHearsOfItsBeginningAndEnd)
{
    Register(L"Recorder", &Record);
    std::vector<UINT> seen;
    g_seen = &seen;
    HWND const window = NewRecorder(L"Recorder");
    ASSERT_NE(window, nullptr);
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(seen, (std::vector<UINT>{WM_NCCREATE, WM_CREATE, WM_CLOSE, WM_DESTROY, WM_NCDESTROY}));
    EXPECT_FALSE(IsWindow(window));
    EXPECT_FALSE(DestroyWindow(window));

    seen.clear();
    g_ncCreateAnswer = 0;
    EXPECT_EQ(NewRecorder(L"Recorder"), nullptr);
    EXPECT_EQ(seen, (std::vector<UINT>{WM_NCCREATE}));
    seen.clear();
    g_ncCreateAnswer = 1;
    g_createAnswer = -1;
    EXPECT_EQ(NewRecorder(L"Recorder"), nullptr);
    EXPECT_EQ(seen, (std::vector<UINT>{WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY}));
    g_createAnswer = 0;
    EXPECT_TRUE(UnregisterClassW(L"Recorder", nullptr)); // so none of them is left
}

TEST(Window, KeepsPointersWhole)
{
    HWND const window = test::NewWindow();
    auto const id = static_cast<LONG_PTR>(0x7FEDCBA987654321);
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_ID, id), 0);
    EXPECT_EQ(GetDlgCtrlID(window), id);
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_ID), id);
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_USERDATA, -5), 0);
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), -5);
    EXPECT_EQ(GetWindowLongPtrW(window, GWL_STYLE), static_cast<LONG_PTR>(WS_CHILD));
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_ID, 0), id);
    auto const procedure = SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&DefWindowProcW));
    EXPECT_EQ(procedure, reinterpret_cast<LONG_PTR>(&test::RunProcedure));
    EXPECT_EQ(GetWindowLongPtrW(window, 0), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_INDEX));
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_WNDPROC, 0), 0);
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_USERDATA, 1), 0);
}

TEST(Window, BelongsToItsThreadAndDiesWithIt)
{
    test::MessageThread owner;
    DWORD process = 0;
    EXPECT_EQ(GetWindowThreadProcessId(owner.Window(), &process), owner.Id());
    EXPECT_NE(process, 0U);
    EXPECT_FALSE(DestroyWindow(owner.Window()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    MSG message{owner.Window(), WM_CLOSE, 0, 0, 0, POINT{}};
    EXPECT_EQ(DispatchMessageW(&message), 0); // another thread's window is not run here
    EXPECT_TRUE(IsWindow(owner.Window()));
    owner.Quit();
    EXPECT_FALSE(IsWindow(owner.Window()));
    EXPECT_EQ(GetWindowThreadProcessId(owner.Window(), nullptr), 0U);
    EXPECT_FALSE(PostMessageW(owner.Window(), WM_USER, 0, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_FALSE(IsWindow(nullptr));
    EXPECT_FALSE(IsWindow(HWND_MESSAGE));
}

TEST(Window, AHandleNeverComesBack)
{
    std::set<HWND> gone;
    int received = 0;
    test::Procedure procedure = [&](HWND, UINT, WPARAM, LPARAM) { return ++received; };
    for (int round = 0; round < 2000; ++round)
    {
        HWND const window = test::NewWindow(&procedure);
        ASSERT_TRUE(IsWindow(window));
        ASSERT_TRUE(gone.insert(window).second);
        ASSERT_TRUE(PostMessageW(window, WM_USER, 0, 0)); // goes with its window
        DestroyWindow(window);
    }
    HWND const heir = test::NewWindow(&procedure); // stands where they stood
    for (HWND const window : gone)
    {
        ASSERT_FALSE(IsWindow(window));
        ASSERT_FALSE(PostMessageW(window, WM_USER, 0, 0));
        ASSERT_EQ(SendMessageW(window, WM_USER, 0, 0), 0);
        ASSERT_EQ(GetWindowLongPtrW(window, GWLP_ID), 0);
    }
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(received, 0);
    DestroyWindow(heir);
}

TEST(Window, ManyStandAtOnceAndTheirNumberEnds)
{
    std::vector<HWND> windows;
    while (HWND const window = test::NewWindow())
        windows.push_back(window);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_USER_HANDLES));
    EXPECT_GT(windows.size(), 60000U);
    for (HWND const window : windows)
        ASSERT_TRUE(DestroyWindow(window));
    EXPECT_TRUE(DestroyWindow(test::NewWindow()));
}

TEST(Window, GoesAlsoWhenItsProcedureThrows)
{
    Register(L"Thrower",
             [](HWND, UINT message, WPARAM, LPARAM) -> LRESULT
             {
                 if (message == WM_DESTROY)
                     throw std::runtime_error("destroyed");
                 return 1;
             });
    HWND const window = CreateWindowExW(0, L"thrower", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_THROW(DestroyWindow(window), std::runtime_error);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_TRUE(UnregisterClassW(L"Thrower", nullptr));
}
