#include "qvlib/host/debug.h"
#include "qvlib/host/error.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace
{

// What `operation` writes to the standard error stream.
template <class Operation>
std::string Said(Operation const & operation)
{
    ::testing::internal::CaptureStderr();
    operation();
    return ::testing::internal::GetCapturedStderr();
}

} // namespace

TEST(DebuggerChannel, GoesToTheSinkElseWhereTheEnvironmentSays)
{
    std::vector<std::wstring> pieces;
    auto const sink = [&](wchar_t const * text) { pieces.emplace_back(text); };
    EXPECT_FALSE(qvlib::host::SetDebugSink(sink)); // there was none
    OutputDebugStringW(L"one");
    OutputDebugStringW(nullptr);
    OutputDebugStringW(L"");
    EXPECT_TRUE(qvlib::host::SetDebugSink({}));
    EXPECT_EQ(pieces, (std::vector<std::wstring>{L"one", L""}));

    ::setenv("QVLIB_TRACE", "1", 1);
    EXPECT_EQ(Said([] { OutputDebugStringW(L"\x00E9!"); }), "\xC3\xA9!");
    ::setenv("QVLIB_TRACE", "0", 1);
    EXPECT_EQ(Said([] { OutputDebugStringW(L"quiet"); }), "");
    ::unsetenv("QVLIB_TRACE");
    EXPECT_EQ(pieces.size(), 2U);
}

TEST(DebuggerChannel, ASinkMaySpeakAndReplaceItself)
{
    int calls = 0;
    qvlib::host::SetDebugSink(
        [&](wchar_t const * text)
        {
            if (++calls == 1)
                OutputDebugStringW(text); // no lock is held
            qvlib::host::SetDebugSink({});
        });
    OutputDebugStringW(L"x");
    EXPECT_EQ(calls, 2);
}

TEST(DebuggerChannel, MayBeReplacedWhileOthersSpeak)
{
    std::atomic<int> heard{0};
    auto const sink = [&](wchar_t const *) { ++heard; };
    qvlib::host::SetDebugSink(sink);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back(
            []
            {
                for (int i = 0; i < 1000; ++i)
                    OutputDebugStringW(L"x");
            });
    for (int i = 0; i < 100; ++i)
        qvlib::host::SetDebugSink(sink);
    for (std::thread & thread : threads)
        thread.join();
    qvlib::host::SetDebugSink({});
    EXPECT_EQ(heard, 3000);
}

TEST(MessageBox, AsksTheHandlerAndNeverWaits)
{
    std::wstring shown;
    qvlib::host::SetMessageBoxHandler(
        [&](HWND owner, wchar_t const * text, wchar_t const * caption, UINT type)
        {
            EXPECT_EQ(owner, GetDesktopWindow());
            shown = std::wstring(caption) + L"|" + text + L"|" + std::to_wstring(type);
            return 7;
        });
    EXPECT_EQ(MessageBoxW(GetDesktopWindow(), L"text", L"caption", MB_ICONERROR), 7);
    EXPECT_EQ(shown, L"caption|text|16");
    qvlib::host::SetMessageBoxHandler({});
    EXPECT_EQ(Said([] { EXPECT_EQ(MessageBoxW(nullptr, L"text", nullptr, MB_OK), IDOK); }), "Error: text\n");
    EXPECT_NE(GetDesktopWindow(), nullptr);
}

TEST(FormatMessage, FillsTheCallersBufferOrItsOwn)
{
    wchar_t buffer[32] = L"#";
    DWORD const system = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    EXPECT_EQ(FormatMessageW(system, nullptr, 5, 0, buffer, 19, nullptr), 0U);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(FormatMessageW(system, nullptr, 5, 0, buffer, 20, nullptr), 19U);
    EXPECT_STREQ(buffer, L"Access is denied.\r\n");
    EXPECT_EQ(FormatMessageW(system, nullptr, 0x20000000, 0, buffer, 32, nullptr), 0U);
    EXPECT_EQ(FormatMessageW(0, nullptr, 5, 0, buffer, 32, nullptr), 0U);
    EXPECT_EQ(LocalFree(nullptr), nullptr);
}
