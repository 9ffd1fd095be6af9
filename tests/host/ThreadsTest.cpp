#include "qvlib/host/error.h"
#include "qvlib/host/process.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"
#include "support/allocation_sweep.h"
#include "support/asleep.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using qvlib_test::Sleeper;

namespace
{

constexpr DWORD kLong = 60'000;

DWORD WINAPI GiveBack(LPVOID argument) { return static_cast<DWORD>(reinterpret_cast<UINT_PTR>(argument)); }

DWORD CodeOf(HANDLE thread)
{
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

/// A program of its own, not one that the host started, that lives until it is told to end.
class Foreigner
{
public:
    Foreigner() : m_process(::fork())
    {
        if (m_process == 0)
            for (;;)
                ::pause();
    }
    ~Foreigner() { End(); }
    void End()
    {
        if (m_process <= 0)
            return;
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        m_process = 0;
    }
    DWORD Id() const { return static_cast<DWORD>(m_process); }

private:
    pid_t m_process;
};

PROCESS_INFORMATION StartShell(std::wstring command)
{
    PROCESS_INFORMATION started{};
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    command = L"\\bin\\sh -c \"" + command + L"\"";
    EXPECT_TRUE(
        CreateProcessW(L"\\bin\\sh", command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
    return started;
}

// The sections are entered again and left by strangers on purpose here, which clang's analysis would not have.
void Enter(CRITICAL_SECTION & section) QVLIB_NO_THREAD_SAFETY_ANALYSIS { EnterCriticalSection(&section); }
BOOL TryEnter(CRITICAL_SECTION & section) QVLIB_NO_THREAD_SAFETY_ANALYSIS { return TryEnterCriticalSection(&section); }
void Leave(CRITICAL_SECTION & section) QVLIB_NO_THREAD_SAFETY_ANALYSIS { LeaveCriticalSection(&section); }

} // namespace

TEST(Threads, EndWithWhatTheirFunctionReturns)
{
    std::vector<HANDLE> threads;
    std::set<DWORD> ids{GetCurrentThreadId()};
    for (UINT_PTR i = 0; i < 20; ++i)
    {
        DWORD id = 0;
        threads.push_back(CreateThread(nullptr, 0, &GiveBack, reinterpret_cast<LPVOID>(i), 0, &id));
        ASSERT_NE(threads.back(), nullptr);
        EXPECT_EQ(GetThreadId(threads.back()), id);
        EXPECT_NE(id, 0U);
        EXPECT_TRUE(ids.insert(id).second);
    }
    EXPECT_EQ(WaitForMultipleObjects(20, threads.data(), TRUE, kLong), WAIT_OBJECT_0);
    for (DWORD i = 0; i < 20; ++i)
    {
        EXPECT_EQ(CodeOf(threads[i]), i);
        EXPECT_EQ(WaitForSingleObject(threads[i], 0), WAIT_OBJECT_0); // it stays so
        EXPECT_TRUE(CloseHandle(threads[i]));
    }
    EXPECT_EQ(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(CreateThread(nullptr, SIZE_MAX - 5, &GiveBack, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
}

TEST(Threads, WaitForTheirResumptionWhenCreatedSuspended)
{
    DWORD id = 0;
    static std::atomic<DWORD> s_seen;
    s_seen = 0;
    HANDLE const thread = CreateThread(
        nullptr, 0, [](LPVOID) -> DWORD { return s_seen = GetCurrentThreadId(), 7; }, nullptr, CREATE_SUSPENDED, &id);
    EXPECT_EQ(WaitForSingleObject(thread, 5), WAIT_TIMEOUT);
    EXPECT_EQ(s_seen, 0U);
    EXPECT_EQ(CodeOf(thread), STILL_ACTIVE);
    EXPECT_EQ(ResumeThread(thread), 1U);
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(ResumeThread(thread), 0U);
    EXPECT_EQ(s_seen, id);
    EXPECT_EQ(CodeOf(thread), 7U);
    EXPECT_TRUE(CloseHandle(thread));
    EXPECT_EQ(ResumeThread(thread), 0xFFFFFFFFU);
}

TEST(Threads, HaveTheStackThatWasAskedFor)
{
    HANDLE const thread = CreateThread(
        nullptr, 40 << 20,
        [](LPVOID) -> DWORD
        {
            std::array<char volatile, 30 << 20> large;
            for (std::size_t i = 0; i < large.size(); i += 4096)
                large[i] = 1;
            return 1;
        },
        nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(thread));
}

TEST(Threads, AreSignalledAfterTheirStaticObjectsAreGone)
{
    static int s_gone; // a plain one: the wait is what orders the two threads
    s_gone = 0;
    struct Goes
    {
        ~Goes() { s_gone = 1; }
        void Touch() {}
    };
    HANDLE const thread = CreateThread(
        nullptr, 0,
        [](LPVOID) -> DWORD
        {
            static thread_local Goes t_goes;
            t_goes.Touch();
            return 0;
        },
        nullptr, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(s_gone, 1);
    EXPECT_TRUE(CloseHandle(thread));
}

TEST(Threads, ThatOthersStartedHaveHandlesToo)
{
    HANDLE thread = nullptr;
    DWORD id = 0;
    std::thread(
        [&]
        {
            id = GetCurrentThreadId();
            EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                                        DUPLICATE_SAME_ACCESS));
            EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
            EXPECT_EQ(CodeOf(thread), STILL_ACTIVE);
        })
        .join();
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(CodeOf(thread), 0U);
    EXPECT_EQ(GetThreadId(thread), id);
    EXPECT_TRUE(CloseHandle(thread));
    EXPECT_FALSE(CloseHandle(thread));
}

TEST(Processes, AreSignalledWhenTheyEnd)
{
    HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    PROCESS_INFORMATION const started = StartShell(L"exit 7");
    DWORD results[2] = {};
    {
        // Two threads wait, one of them for another handle of the same process beside an event.
        HANDLE const second = OpenProcess(SYNCHRONIZE, FALSE, started.dwProcessId);
        std::array<HANDLE, 2> const either{event, second != nullptr ? second : started.hThread};
        Sleeper a([&] { results[0] = WaitForSingleObject(started.hProcess, kLong); });
        Sleeper b([&] { results[1] = WaitForMultipleObjects(2, either.data(), FALSE, kLong); });
        a.Join();
        b.Join();
        EXPECT_EQ(second == nullptr ? TRUE : CloseHandle(second), TRUE);
    }
    EXPECT_EQ(results[0], WAIT_OBJECT_0);
    EXPECT_EQ(results[1], WAIT_OBJECT_0 + 1);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(started.hProcess, &code));
    EXPECT_EQ(code, 7U);
    EXPECT_EQ(WaitForSingleObject(started.hThread, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(started.hProcess) && CloseHandle(started.hThread) && CloseHandle(event));
    EXPECT_FALSE(GetExitCodeProcess(started.hProcess, &code));

    // Handles that are closed ahead of the end are nobody's business any longer.
    PROCESS_INFORMATION const left = StartShell(L"exit 0");
    EXPECT_EQ(WaitForSingleObject(left.hProcess, 0) == WAIT_FAILED, false);
    Sleeper waiter([&] { EXPECT_EQ(WaitForSingleObject(left.hProcess, kLong), WAIT_OBJECT_0); });
    waiter.AwaitAsleep();
    EXPECT_TRUE(CloseHandle(left.hProcess) && CloseHandle(left.hThread));
}

TEST(Processes, OfOthersAreSignalledToo)
{
    Foreigner foreigner;
    HANDLE const process = OpenProcess(SYNCHRONIZE, FALSE, foreigner.Id());
    ASSERT_NE(process, nullptr);
    EXPECT_EQ(WaitForSingleObject(process, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(process, 1), WAIT_TIMEOUT);
    // For want of files or memory a look at it may fail to see it, but not say that it has ended.
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit const none{0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    DWORD const withoutFiles = WaitForSingleObject(process, 0);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(withoutFiles, WAIT_TIMEOUT);
    qvlib_test::SweepAllocations([&] { EXPECT_EQ(WaitForSingleObject(process, 0), WAIT_TIMEOUT); });
    DWORD result = WAIT_FAILED;
    Sleeper waiter([&] { result = WaitForSingleObject(process, kLong); });
    waiter.AwaitAsleep();
    Foreigner second; // has open what this process has open
    foreigner.End();
    waiter.Join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
    HANDLE const other = OpenProcess(SYNCHRONIZE, FALSE, second.Id());
    EXPECT_EQ(WaitForSingleObject(other, 3), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(other));
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeProcess(process, &code));
    EXPECT_EQ(code, 0U);
    EXPECT_TRUE(CloseHandle(process));
}

TEST(Processes, AreWatchedByProgramsThatCloseAllFilesTheyDoNotKnow)
{
    Foreigner first;
    Foreigner second;
    HANDLE const processes[] = {OpenProcess(SYNCHRONIZE, FALSE, first.Id()),
                                OpenProcess(SYNCHRONIZE, FALSE, second.Id())};
    DWORD results[] = {WAIT_FAILED, WAIT_FAILED};
    Sleeper a([&] { results[0] = WaitForSingleObject(processes[0], kLong); });
    Sleeper b([&] { results[1] = WaitForSingleObject(processes[1], kLong); });
    a.AwaitAsleep();
    b.AwaitAsleep();
    for (bool const everything : {false, true})
    {
        // First what the watcher waits at is gone, then the files of the processes, too, and it sleeps for good.
        for (auto const & file : std::filesystem::directory_iterator("/proc/self/fd"))
        {
            std::error_code gone;
            std::string const what = std::filesystem::read_symlink(file, gone).string();
            if (what == "anon_inode:[eventpoll]" || (everything && what == "anon_inode:[pidfd]"))
                ::syscall(SYS_close, std::stoi(file.path().filename())); // unseen by who watches for races
        }
        if (!everything)
        {
            first.End();
            a.Join();
            EXPECT_EQ(results[0], WAIT_OBJECT_0);
        }
    }
    Foreigner third;
    HANDLE const late = OpenProcess(SYNCHRONIZE, FALSE, third.Id());
    EXPECT_EQ(WaitForSingleObject(late, 1), WAIT_TIMEOUT);
    second.End();
    b.Join();
    EXPECT_EQ(results[1], WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(processes[0]) && CloseHandle(processes[1]) && CloseHandle(late));
}

TEST(CriticalSection, IsItsOwnersAsOftenAsItEntered)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EXPECT_EQ(section.OwningThread, 0U);
    Enter(section);
    EXPECT_TRUE(TryEnter(section));
    EXPECT_EQ(section.OwningThread, GetCurrentThreadId());
    EXPECT_EQ(section.RecursionCount, 2);
    std::thread(
        [&]
        {
            Leave(section); // not this thread's to leave
            EXPECT_FALSE(TryEnter(section));
        })
        .join();
    Leave(section);
    EXPECT_EQ(section.OwningThread, GetCurrentThreadId());
    std::atomic<bool> entered{false};
    Sleeper other(
        [&]
        {
            Enter(section);
            entered = true;
            Leave(section);
        });
    other.AwaitAsleep();
    EXPECT_FALSE(entered);
    Leave(section);
    other.Join();
    EXPECT_TRUE(entered);
    EXPECT_EQ(section.OwningThread, 0U);
    Leave(section); // nobody's
    EXPECT_TRUE(TryEnter(section));
    Leave(section);
    DeleteCriticalSection(&section);
}
