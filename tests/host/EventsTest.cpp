#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include "support/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

using qvlib_test::OnThreads;

namespace
{

bool IsRefused(BOOL done) { return done == FALSE && GetLastError() == ERROR_INVALID_HANDLE; }

/// Whether no operation knows the handle.
bool IsUnknown(HANDLE handle)
{
    HANDLE copy = nullptr;
    DWORD code = 0;
    return IsRefused(SetEvent(handle)) && IsRefused(ResetEvent(handle)) && IsRefused(PulseEvent(handle)) &&
           IsRefused(CloseHandle(handle)) && IsRefused(GetExitCodeThread(handle, &code)) &&
           IsRefused(DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE, 0)) &&
           WaitForSingleObject(handle, 0) == WAIT_FAILED && GetLastError() == ERROR_INVALID_HANDLE &&
           WaitForMultipleObjects(1, &handle, TRUE, 0) == WAIT_FAILED && GetLastError() == ERROR_INVALID_HANDLE;
}

HANDLE Duplicate(HANDLE source, DWORD options = DUPLICATE_SAME_ACCESS)
{
    HANDLE copy = nullptr;
    EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, options));
    return copy;
}

} // namespace

TEST(Events, ManualOnesStaySignalledAndAutomaticOnesLetOneThrough)
{
    for (BOOL const manual : {FALSE, TRUE})
        for (BOOL const initial : {FALSE, TRUE})
        {
            SetLastError(5);
            HANDLE const event = CreateEventW(nullptr, manual, initial, nullptr);
            ASSERT_NE(event, nullptr);
            EXPECT_EQ(GetLastError(), 0U);
            EXPECT_EQ(WaitForSingleObject(event, 0), initial ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
            EXPECT_EQ(WaitForSingleObject(event, 1), initial && manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
            EXPECT_TRUE(SetEvent(event));
            EXPECT_TRUE(SetEvent(event)); // twice is once
            EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
            EXPECT_EQ(WaitForSingleObject(event, 0), manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
            EXPECT_TRUE(SetEvent(event));
            EXPECT_TRUE(ResetEvent(event));
            EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
            EXPECT_TRUE(SetEvent(event));
            EXPECT_TRUE(PulseEvent(event)); // with nobody waiting it only unsignals
            EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
            EXPECT_TRUE(CloseHandle(event));
            EXPECT_TRUE(IsUnknown(event));
        }
}

TEST(Events, NamesAreSeenByTheWholeProcessUntilTheLastHandleIsClosed)
{
    HANDLE const first = CreateEventW(nullptr, TRUE, TRUE, L"Local\\shared");
    EXPECT_EQ(GetLastError(), 0U);
    HANDLE second = nullptr;
    DWORD status = 0;
    std::thread(
        [&]
        {
            second = CreateEventW(nullptr, FALSE, FALSE, L"shared");
            status = GetLastError();
        })
        .join();
    EXPECT_EQ(status, static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    // It is the first one's kind and state, whatever the second caller asked for.
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0);
    HANDLE const opened = OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Global\\shared");
    ASSERT_NE(opened, nullptr);
    EXPECT_TRUE(CloseHandle(first));
    EXPECT_TRUE(IsUnknown(first));
    EXPECT_TRUE(ResetEvent(opened));
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_TIMEOUT);
    EXPECT_EQ(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Shared"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(CloseHandle(second));
    EXPECT_TRUE(CloseHandle(opened));
    EXPECT_EQ(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"shared"), nullptr);

    // The name is free again, and an empty one is none.
    HANDLE const anew = CreateEventW(nullptr, FALSE, TRUE, L"shared");
    EXPECT_EQ(GetLastError(), 0U);
    EXPECT_TRUE(CloseHandle(anew));
    HANDLE const a = CreateEventW(nullptr, FALSE, FALSE, L"");
    HANDLE const b = CreateEventW(nullptr, FALSE, FALSE, L"");
    EXPECT_EQ(GetLastError(), 0U);
    EXPECT_TRUE(CloseHandle(a) && CloseHandle(b));

    EXPECT_EQ(CreateEventW(nullptr, FALSE, FALSE, L"a\\b"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(CreateEventW(nullptr, FALSE, FALSE, std::wstring(261, L'n').c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
}

TEST(Handles, WhatIsNoHandleIsRefused)
{
    HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    UINT_PTR const number = reinterpret_cast<UINT_PTR>(event);
    for (UINT_PTR const wrong : {UINT_PTR{0}, UINT_PTR{1}, UINT_PTR{2}, UINT_PTR{4} << 32, number + 1, number + 2,
                                 number + (UINT_PTR{1} << 32), number + (UINT_PTR{1} << 63), number | 0xFFFFFFFC,
                                 UINT_PTR{0x04000000}, UINT_PTR{0} - 4})
        EXPECT_TRUE(IsUnknown(reinterpret_cast<HANDLE>(wrong))) << wrong;
    // A thread's handle is one, but no event's.
    EXPECT_TRUE(IsRefused(SetEvent(GetCurrentThread())));
    EXPECT_TRUE(IsRefused(SetEvent(GetCurrentProcess())));
    EXPECT_EQ(WaitForSingleObject(GetCurrentThread(), 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(GetCurrentProcess(), 0), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(GetCurrentThread()) && CloseHandle(GetCurrentProcess()));
    EXPECT_TRUE(CloseHandle(event));
}

TEST(Handles, OnesThatWereClosedAreNeverValidAgain)
{
    constexpr int kThreads = 3;
    constexpr int kEvents = 3000;
    std::vector<std::vector<HANDLE>> closed(kThreads);
    OnThreads(kThreads,
              [&](int thread)
              {
                  std::vector<HANDLE> & mine = closed[static_cast<std::size_t>(thread)];
                  std::vector<HANDLE> open;
                  for (int i = 0; i < kEvents; ++i)
                  {
                      open.push_back(i % 3 == 0 && !open.empty() ? Duplicate(open.back())
                                                                 : CreateEventW(nullptr, FALSE, FALSE, nullptr));
                      if (open.size() > static_cast<std::size_t>(i) % 100)
                          for (int n = i % 7; n >= 0 && !open.empty(); --n, open.pop_back())
                          {
                              ASSERT_TRUE(CloseHandle(open.back()));
                              mine.push_back(open.back());
                              ASSERT_FALSE(SetEvent(open.back()));
                          }
                  }
                  for (HANDLE const handle : open)
                      ASSERT_TRUE(SetEvent(handle) && CloseHandle(handle));
                  mine.insert(mine.end(), open.begin(), open.end());
              });
    std::set<HANDLE> all;
    for (std::vector<HANDLE> const & mine : closed)
        for (HANDLE const handle : mine)
        {
            EXPECT_TRUE(all.insert(handle).second);
            ASSERT_TRUE(IsRefused(SetEvent(handle)) && IsRefused(CloseHandle(handle)));
        }
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEvents));
}

TEST(Handles, DuplicatesShareTheObjectAndOutliveTheFirst)
{
    HANDLE const second = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE const third = Duplicate(second);
    HANDLE const fourth = Duplicate(second, DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE);
    EXPECT_TRUE(IsUnknown(second));
    EXPECT_TRUE(SetEvent(third));
    EXPECT_EQ(WaitForSingleObject(fourth, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(third, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(third) && CloseHandle(fourth));
    EXPECT_TRUE(IsUnknown(third) && IsUnknown(fourth));

    HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE copy = nullptr;
    EXPECT_FALSE(DuplicateHandle(event, event, GetCurrentProcess(), &copy, 0, FALSE, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    EXPECT_TRUE(CloseHandle(event));
}

TEST(Handles, MayBeClosedWhileOthersUseThem)
{
    // Every use either finds the event or is refused; what was made since is never touched by it.
    std::atomic<HANDLE> current{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<bool> stop{false};
    std::vector<std::thread> users;
    for (int i = 0; i < 4; ++i)
        users.emplace_back(
            [&, i]
            {
                while (!stop)
                {
                    HANDLE const handle = current;
                    HANDLE const both[] = {handle, current};
                    HANDLE copy = nullptr;
                    if (i == 0)
                    {
                        SetEvent(handle);
                        PulseEvent(both[1]);
                    }
                    else if (i > 1)
                        EXPECT_TRUE(WaitForMultipleObjects(both[0] != both[1] ? 2 : 1, both, i == 2, 1) !=
                                        WAIT_FAILED ||
                                    GetLastError() == static_cast<DWORD>(ERROR_INVALID_HANDLE));
                    else if (DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE, 0))
                    {
                        EXPECT_TRUE(SetEvent(copy));
                        EXPECT_TRUE(CloseHandle(copy));
                    }
                }
            });
    for (int i = 0; i < 2000; ++i)
    {
        HANDLE const untouched = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        HANDLE const old = current.exchange(CreateEventW(nullptr, FALSE, FALSE, nullptr));
        EXPECT_TRUE(CloseHandle(old));
        HANDLE const anew = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        EXPECT_EQ(WaitForSingleObject(untouched, 0), WAIT_TIMEOUT);
        EXPECT_EQ(WaitForSingleObject(anew, 0), WAIT_TIMEOUT);
        EXPECT_TRUE(CloseHandle(untouched) && CloseHandle(anew));
    }
    stop = true;
    for (std::thread & user : users)
        user.join();
    EXPECT_TRUE(CloseHandle(current));
}
