#include "qvlib/Process.h"

#include "qvlib/Environment.h"
#include "qvlib/GlobalHandle.h"
#include "qvlib/Thread.h"
#include "qvlib/host/memory.h"
#include "qvlib/host/path.h"
#include "qvlib/host/process.h"
#include "qvlib/host/thread.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <type_traits>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using qvlib::CQVString;
using qvlib::CTLGlobalHandle;
using qvlib::Process;

void WaitFor(unsigned long process)
{
    for (int i = 0; i < 1000 && Process::IsRunning(process); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(Process::IsRunning(process));
}

/// A program that writes its arguments, one a line, beside itself, its open files and its blocked and ignored signals.
class ProcessTest : public ::testing::Test
{
protected:
    ProcessTest()
    {
        fs::path const program = m_folder / "show it";
        std::ofstream(program)
            << "#!/bin/sh\n"
               "for word in \"$@\"; do printf '%s\\n' \"$word\"; done > \"$(dirname \"$0\")/words\"\n"
               "ls /proc/$$/fd > \"$(dirname \"$0\")/files\"\n"
               "grep -E 'SigBlk|SigIgn' /proc/self/status > \"$(dirname \"$0\")/signals\"\n";
        fs::permissions(program, fs::perms::owner_all);
        m_program = qvlib::host::PlatformPath(program.string());
    }

    std::string File(char const * name) const
    {
        std::ifstream file(m_folder / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string WordsOf(wchar_t const * path, std::wstring const & arguments) const
    {
        unsigned long process = 0;
        fs::remove(m_folder / "words");
        if (!Process::Execute(path, arguments.c_str(), process))
            return "(failed)";
        WaitFor(process);
        return File("words");
    }

    qvlib_test::TempFolder m_folder;
    std::wstring m_program;
};

std::atomic<bool> g_end{false};

DWORD WINAPI UntilTheEnd(LPVOID result)
{
    while (!g_end)
        std::this_thread::yield();
    return static_cast<DWORD>(reinterpret_cast<UINT_PTR>(result));
}

} // namespace

TEST_F(ProcessTest, ArgumentsArriveByThePlatformsQuotingAndSeeNoShell)
{
    wchar_t const * const path = m_program.c_str();
    EXPECT_EQ(WordsOf(path, L""), "");
    EXPECT_EQ(WordsOf(path, L"  a\t\"b c\" d\"e f\"g  \"\" "), "a\nb c\nde fg\n\n");
    EXPECT_EQ(WordsOf(path, L"a\\\\b \"c\\\\\" \\\"d e\\ \"f\"\"g\" \\\\\\\"h"),
              "a\\\\b\nc\\\n\"d\ne\\\nf\"g\n\\\"h\n");
    EXPECT_EQ(WordsOf(path, L"$HOME * `id` ; 'x y' | > out & %PATH% $(id)"),
              "$HOME\n*\n`id`\n;\n'x\ny'\n|\n>\nout\n&\n%PATH%\n$(id)\n");
    EXPECT_EQ(WordsOf(path, L"\x00E9\x1F600 \"open"), "\xC3\xA9\xF0\x9F\x98\x80\nopen\n");
    // Without a path, the first word is the program.
    EXPECT_EQ(WordsOf(L"", L"\"" + m_program + L"\" \"x y\" z"), "x y\nz\n");
    EXPECT_EQ(WordsOf(nullptr, L" \"" + m_program + L"\""), "");
    EXPECT_EQ(WordsOf(L"", L"cp /dev/null " + (m_folder / "words").wstring()), "");
    EXPECT_TRUE(fs::exists(m_folder / "words"));
    // A program is called by its name in the system's form.
    std::wstring const tellName = L"-c \"printf %s $0 > " + (m_folder / "words").wstring() + L"\"";
    EXPECT_EQ(WordsOf(L"\\bin\\SH", tellName), "/bin/sh");
    EXPECT_EQ(WordsOf(L"", L"\\bin\\sh " + tellName), "/bin/sh");
    EXPECT_EQ(WordsOf(L"", L"sh " + tellName), "sh");
}

TEST_F(ProcessTest, NothingIsInheritedButTheStandardStreams)
{
    int const open = ::open("/dev/null", O_RDONLY); // would pass to a child
    sigset_t blocked, before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    auto const ignored = std::signal(SIGUSR1, SIG_IGN);
    EXPECT_EQ(WordsOf(m_program.c_str(), L"x"), "x\n");
    std::signal(SIGUSR1, ignored);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(File("files").find("\n" + std::to_string(open) + "\n"), std::string::npos) << File("files");
    std::string const signals = File("signals");
    std::size_t const second = signals.find("SigIgn:");
    ASSERT_NE(second, std::string::npos) << signals;
    EXPECT_EQ(std::stoull(signals.substr(7), nullptr, 16) & (1U << (SIGTERM - 1)), 0U) << signals;
    EXPECT_EQ(std::stoull(signals.substr(second + 7), nullptr, 16) & (1U << (SIGUSR1 - 1)), 0U) << signals;
    ::close(open);
}

TEST_F(ProcessTest, WhatCannotBeRunFailsAndChangesNothing)
{
    std::ofstream(m_folder / "text") << "no program";
    std::ofstream(m_folder / "noformat") << "no program";
    fs::permissions(m_folder / "noformat", fs::perms::owner_all);
    std::wstring const folder = qvlib::host::PlatformPath(m_folder.Path().string());
    for (std::wstring const & path : {folder + L"\\none", folder + L"\\text", folder + L"\\noformat", folder,
                                      folder + L"\\text\\x", std::wstring(5000, L'x')})
    {
        unsigned long process = 77;
        EXPECT_FALSE(Process::Execute(path.c_str(), L"a", process));
        EXPECT_FALSE(Process::Execute(L"", (L"\"" + path + L"\"").c_str(), process));
        EXPECT_EQ(process, 77U);
    }
    unsigned long process = 77;
    for (wchar_t const * const arguments :
         {static_cast<wchar_t const *>(nullptr), L"", L"  ", L"\"\"", L"no-such-program"})
        EXPECT_FALSE(Process::Execute(nullptr, arguments, process));
    EXPECT_EQ(process, 77U);
}

TEST_F(ProcessTest, RunningIsWhatHasNotEnded)
{
    EXPECT_TRUE(Process::IsRunning(static_cast<unsigned long>(::getpid())));
    for (unsigned long const none : {0UL, 0x7FFFFFFFUL, 0xFFFFFFFFUL, 0xFFFFFFFFFFFFFFFFUL})
        EXPECT_FALSE(Process::IsRunning(none));
    unsigned long process = 0;
    ASSERT_TRUE(Process::Execute(L"", L"sleep 100", process));
    EXPECT_TRUE(Process::IsRunning(process));
    ::kill(static_cast<pid_t>(process), SIGKILL);
    WaitFor(process);
    EXPECT_FALSE(fs::exists("/proc/" + std::to_string(process))); // nor is it left for somebody to collect
}

TEST_F(ProcessTest, PathsOfTheProgramAndItsModules)
{
    CQVString const image = Process::GetImagePath();
    EXPECT_EQ(qvlib::host::NativePath(image.GetString()), fs::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(Process::GetImageFolder() + Process::GetBaseName(), image);
    EXPECT_EQ(Process::GetBaseName(), L"test_platform");
    EXPECT_EQ(Process::GetBaseNameNoExtension(), L"test_platform");
    EXPECT_EQ(Process::GetModulePath(nullptr), image);
    auto const module = reinterpret_cast<HINSTANCE>(reinterpret_cast<void *>(&Process::GetImagePath));
    EXPECT_EQ(Process::GetModuleName(module).Find(L"libqvlib"), 0);
    EXPECT_EQ(Process::GetModuleNameNoExtension(module).Find(L"libqvlib"), 0);
    // Not as the program was called: by a name that is only good in some folder, or none.
    EXPECT_EQ(Process::GetModulePath(reinterpret_cast<HINSTANCE>(&g_end)), image);
    int const local = 0;
    EXPECT_TRUE(Process::GetModulePath(reinterpret_cast<HINSTANCE>(const_cast<int *>(&local))).IsEmpty());
    EXPECT_EQ(Process::GetLongPath(m_program.c_str()), m_program.c_str());
    EXPECT_EQ(Process::GetShortPath(m_program.c_str()), m_program.c_str());
    EXPECT_TRUE(Process::GetLongPath(L"\\no\\where").IsEmpty());
    EXPECT_TRUE(Process::GetShortPath((L"\\tmp" + std::wstring(300, L'\\')).c_str()).IsEmpty());
    EXPECT_TRUE(Process::GetLongPath(nullptr).IsEmpty());
}

TEST(Thread, IsAliveUntilItEnds)
{
    HANDLE const thread = CreateThread(nullptr, 0, &UntilTheEnd, reinterpret_cast<void *>(42), 0, nullptr);
    EXPECT_TRUE(qvlib::Thread::IsAlive(thread));
    EXPECT_EQ(qvlib::Thread::GetExitCode(thread), 0x103U);
    g_end = true;
    while (qvlib::Thread::IsAlive(thread))
        std::this_thread::yield();
    EXPECT_EQ(qvlib::Thread::GetExitCode(thread), 42U);
    EXPECT_NE(CloseHandle(thread), FALSE);
    EXPECT_EQ(CloseHandle(thread), FALSE);
    for (void * const bad : {thread, static_cast<void *>(nullptr), GetCurrentProcess()})
    {
        EXPECT_FALSE(qvlib::Thread::IsAlive(bad));
        EXPECT_EQ(qvlib::Thread::GetExitCode(bad), 0U);
    }
}

TEST(Environment, TellsOfTheMachine)
{
    EXPECT_GE(qvlib::Environment::GetLogicalProcessorCount(), 1U);
    EXPECT_TRUE(qvlib::IsWindows2KOrBetter() && qvlib::IsWindows2KOrBetter());
    EXPECT_TRUE(qvlib::IsWindows7OrBetter() && qvlib::IsWindows7OrBetter());
}

TEST(GlobalHandle, OwnsItsBlock)
{
    static_assert(!std::is_copy_constructible_v<CTLGlobalHandle>);
    CTLGlobalHandle block(8UL, GMEM_MOVEABLE);
    ASSERT_TRUE(block.good());
    std::memcpy(GlobalLock(block), "1234567", 8);
    GlobalUnlock(block);
    CTLGlobalHandle copy(block.GetHandle(), true);
    EXPECT_NE(copy.GetHandle(), block.GetHandle());
    EXPECT_EQ(GlobalSize(copy), 8U);
    EXPECT_STREQ(static_cast<char const *>(copy.GetHandle()), "1234567"); // fixed: the handle is the address
    copy.Copy(copy);
    EXPECT_STREQ(static_cast<char const *>(copy.GetHandle()), "1234567");
    void * const detached = copy.Detach();
    EXPECT_TRUE(!copy);
    CTLGlobalHandle owner(detached, false);
    block.Attach(owner.Detach());
    EXPECT_EQ(block.GetHandle(), detached);
    block.Release();
    EXPECT_FALSE(block.good());
    block.Release();
    EXPECT_FALSE(CTLGlobalHandle(0xFFFFFFFFFFFFFFFFUL, 0U).good());
    CTLGlobalHandle const nothing(0UL, GMEM_MOVEABLE);
    CTLGlobalHandle const copyOfNothing(nothing.GetHandle(), true);
    EXPECT_TRUE(copyOfNothing.good());
    EXPECT_EQ(GlobalSize(copyOfNothing), 0U);
}
