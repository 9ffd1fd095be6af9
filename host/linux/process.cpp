#include "qvlib/host/process.h"

#include "host/linux/internal/command_line.h"
#include "host/linux/internal/file_status.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/process_watch.h"
#include "qvlib/host/error.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvlib::host
{

namespace
{

BOOL Fail(LSTATUS status)
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

/// Whether a process of that number, and not a thread, is there and has not ended. For want of files, which says
/// nothing about it, it is there while signals reach it.
bool Lives(pid_t process) noexcept
{
    std::array<char, 32> path;
    std::snprintf(path.data(), path.size(), "/proc/%d/status", process);
    int const file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return ::kill(process, 0) == 0 || errno == EPERM;
    std::array<char, 1024> buffer; // both lines are among the first
    ssize_t const size = ::read(file, buffer.data(), buffer.size() - 1);
    ::close(file);
    if (size <= 0)
        return false; // it ended meanwhile
    buffer[static_cast<std::size_t>(size)] = '\0';
    char const * const state = std::strstr(buffer.data(), "\nState:\t");
    char const * const leader = std::strstr(buffer.data(), "\nTgid:\t");
    return state != nullptr && state[8] != 'Z' && state[8] != 'X' && leader != nullptr &&
           std::strtol(leader + 7, nullptr, 10) == process;
}

/// The process has ended: whoever waits for it goes on, and the code is there to be read.
void End(Waitable & process, DWORD code) noexcept
{
    process.m_code.store(code, std::memory_order_release);
    process.Set();
}

/// The programs that this process started and that have not ended, and the watch for the ends of those that someone
/// waits for.
class Processes
{
public:
    static Processes & Get()
    {
        static Processes & processes = *new Processes; // threads may end after the program's static objects
        return processes;
    }

    /// Programs that were started are the system's to keep until they are asked for; nobody waits for them, so this is
    /// done in passing. Only for these: other children of the process are not touched.
    void Reap() noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        std::erase_if(m_children,
                      [](Waitable * child)
                      {
                          auto const process = static_cast<pid_t>(child->m_number.load(std::memory_order_relaxed));
                          int status = 0;
                          pid_t const ended = ::waitpid(process, &status, WNOHANG);
                          if (ended == 0 || (ended < 0 && errno == EINTR))
                              return false;
                          End(*child, ended > 0 && WIFEXITED(status) ? static_cast<DWORD>(WEXITSTATUS(status))
                                      : ended > 0                    ? static_cast<DWORD>(128 + WTERMSIG(status))
                                                                     : 0);
                          Unpin(*child);
                          return true;
                      });
    }
    /// Room for one more, so that AddChild does not fail.
    void Reserve() QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        m_children.reserve(m_children.size() + ++m_expected);
    }
    /// Keeps the pinned child, or nothing, in the room that was reserved.
    void AddChild(Waitable * child) noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        --m_expected;
        if (child != nullptr)
            m_children.push_back(child);
    }
    /// One more handle of the child of that number, if there is one.
    HANDLE OpenChild(pid_t process) noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        for (Waitable * const child : m_children)
            if (static_cast<pid_t>(child->m_number.load(std::memory_order_relaxed)) == process)
                return NewAlias(*child);
        return nullptr;
    }
    bool IsChild(Waitable const & process) noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        return std::find(m_children.begin(), m_children.end(), &process) != m_children.end();
    }

    LSTATUS Watch(Waitable & process) QVLIB_EXCLUDES(m_lock);

private:
    struct Watched
    {
        Waitable * process; ///< pinned
        int file = -1;      ///< readable when it has ended
    };

    LSTATUS StartWatcher() QVLIB_REQUIRES(m_lock);
    LSTATUS Follow(Watched & watched, int poll) QVLIB_REQUIRES(m_lock);
    static void * RunWatcher(void * processes);
    bool Ended(unsigned watcher, int file) QVLIB_EXCLUDES(m_lock);
    void Lost(unsigned watcher) QVLIB_EXCLUDES(m_lock);
    void ForgetFiles() QVLIB_REQUIRES(m_lock);

    Mutex m_lock;
    std::vector<Waitable *> m_children QVLIB_GUARDED_BY(m_lock); ///< pinned
    std::size_t m_expected QVLIB_GUARDED_BY(m_lock) = 0;
    std::vector<Watched> m_watched QVLIB_GUARDED_BY(m_lock);
    int m_poll QVLIB_GUARDED_BY(m_lock) = -1;        ///< what the watcher waits at
    unsigned m_watcher QVLIB_GUARDED_BY(m_lock) = 0; ///< the number of the last one
};

LSTATUS Processes::StartWatcher()
{
    int const poll = ::epoll_create1(EPOLL_CLOEXEC);
    if (poll < 0)
        return StatusOf(errno);
    for (Watched & watched : m_watched) // of a watcher that lost its poll
        if (LSTATUS const status = Follow(watched, poll); status != ERROR_SUCCESS)
        {
            ::close(poll);
            return status;
        }
    sigset_t every;
    sigset_t before;
    ::sigfillset(&every); // signals are the program's own threads' to handle
    ::pthread_sigmask(SIG_SETMASK, &every, &before);
    pthread_t watcher{};
    int const error = ::pthread_create(&watcher, nullptr, &RunWatcher, this);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0)
    {
        ::close(poll);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    ::pthread_detach(watcher);
    m_poll = poll;
    ++m_watcher;
    std::erase_if(m_watched,
                  [](Watched const & watched)
                  {
                      if (!watched.process->IsSignalled())
                          return false;
                      if (watched.file >= 0)
                          ::close(watched.file);
                      Unpin(*watched.process);
                      return true;
                  });
    return ERROR_SUCCESS;
}

/// Has the poll tell of the end of the process. One that is someone else's and gone already is signalled.
/// ERROR_INVALID_HANDLE when the poll is none.
LSTATUS Processes::Follow(Watched & watched, int poll)
{
    Waitable & process = *watched.process;
    if (process.IsSignalled())
        return ERROR_SUCCESS;
    if (watched.file < 0)
        watched.file = static_cast<int>(::syscall(SYS_pidfd_open, process.m_number.load(std::memory_order_relaxed), 0));
    if (watched.file < 0)
    {
        if (errno != ESRCH && errno != EINVAL) // gone, or its number is a thread's by now
            return errno == ENOSYS ? ERROR_NOT_SUPPORTED : StatusOf(errno);
        End(process, 0);
        return ERROR_SUCCESS;
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = watched.file;
    if (::epoll_ctl(poll, EPOLL_CTL_ADD, watched.file, &event) == 0)
        return ERROR_SUCCESS;
    return errno == EINVAL ? ERROR_INVALID_HANDLE : StatusOf(errno);
}

LSTATUS Processes::Watch(Waitable & process)
{
    MutexLock const held(m_lock);
    auto const isSame = [&process](Watched const & watched) { return watched.process == &process; };
    if (process.IsSignalled() || std::any_of(m_watched.begin(), m_watched.end(), isSame))
        return ERROR_SUCCESS;
    m_watched.reserve(m_watched.size() + 1);
    Watched watched{&process};
    LSTATUS status = m_poll < 0 ? StartWatcher() : ERROR_SUCCESS;
    if (status == ERROR_SUCCESS)
        status = Follow(watched, m_poll);
    if (status == ERROR_INVALID_HANDLE)
    {
        ForgetFiles();
        status = StartWatcher();
        if (status == ERROR_SUCCESS)
            status = Follow(watched, m_poll);
    }
    if (status == ERROR_SUCCESS && watched.file >= 0)
    {
        Pin(process);
        m_watched.push_back(watched);
    }
    else if (watched.file >= 0)
        ::close(watched.file);
    return status;
}

void * Processes::RunWatcher(void * processes)
{
    auto & self = *static_cast<Processes *>(processes);
    int poll;
    unsigned watcher;
    {
        MutexLock const held(self.m_lock);
        poll = self.m_poll;
        watcher = self.m_watcher;
    }
    for (;;)
    {
        epoll_event event{};
        int const count = ::epoll_wait(poll, &event, 1, -1);
        if (count == 1 ? !self.Ended(watcher, event.data.fd) : errno != EINTR)
            break;
    }
    self.Lost(watcher);
    return nullptr;
}

/// The program has closed files that it did not open, as some do to become a service: what has their numbers is its
/// own.
void Processes::ForgetFiles()
{
    m_poll = -1;
    for (Watched & watched : m_watched)
        watched.file = -1;
}

/// Goes on with a new poll, unless someone else has, and tries until there is room for it.
void Processes::Lost(unsigned watcher)
{
    for (;;)
    {
        {
            MutexLock const held(m_lock);
            if (m_watcher == watcher)
                ForgetFiles();
            if (m_watcher != watcher || m_watched.empty() || StartWatcher() == ERROR_SUCCESS)
                return;
        }
        timespec const pause{0, 100'000'000};
        ::nanosleep(&pause, nullptr);
    }
}

/// False when the file is none that is watched: the poll is not ours any more.
bool Processes::Ended(unsigned watcher, int file)
{
    Reap();
    MutexLock const held(m_lock);
    auto const found = std::find_if(m_watched.begin(), m_watched.end(),
                                    [file](Watched const & watched) { return watched.file == file; });
    if (m_watcher != watcher || found == m_watched.end())
        return false;
    Waitable & process = *found->process;
    // One that Reap has not told of is no child, or was taken by someone else.
    if (!process.IsSignalled() && std::find(m_children.begin(), m_children.end(), &process) == m_children.end())
        End(process, 0);
    if (!process.IsSignalled())
        return true; // interrupted: the file is still readable
    m_watched.erase(found);
    // A program that was forked off meanwhile may have the file open, too: closing it here would leave it watched.
    ::epoll_ctl(m_poll, EPOLL_CTL_DEL, file, nullptr);
    ::close(file);
    Unpin(process);
    return true;
}

/// Makes the slot a process's object with one handle, to be published.
void Describe(Slot & slot, pid_t process) noexcept
{
    slot.m_code.store(STILL_ACTIVE, std::memory_order_relaxed);
    slot.m_number.store(static_cast<std::uint32_t>(process), std::memory_order_relaxed);
    slot.m_handles = 1;
}

constexpr Waitable::Word kProcessFlags = Waitable::kProcess | Waitable::kManual | Waitable::kShared;

/// How programs are started: only the standard streams go along, and signals do what they do by default.
class SpawnRules
{
public:
    SpawnRules()
    {
        m_good = ::posix_spawn_file_actions_init(&m_actions) == 0;
        m_good = ::posix_spawnattr_init(&m_attributes) == 0 && m_good;
        sigset_t signals;
        ::sigemptyset(&signals);
        m_good = m_good && ::posix_spawnattr_setsigmask(&m_attributes, &signals) == 0;
        ::sigfillset(&signals);
        ::sigdelset(&signals, SIGKILL);
        ::sigdelset(&signals, SIGSTOP);
        m_good = m_good && ::posix_spawnattr_setsigdefault(&m_attributes, &signals) == 0 &&
                 ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0 &&
                 ::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1) == 0;
    }
    SpawnRules(SpawnRules const &) = delete;
    SpawnRules & operator=(SpawnRules const &) = delete;
    ~SpawnRules()
    {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    int Start(pid_t & process, std::string const & program, bool alongPath, std::vector<char *> const & arguments) const
    {
        if (!m_good)
            return ENOMEM;
        return (alongPath ? ::posix_spawnp : ::posix_spawn)(&process, program.c_str(), &m_actions, &m_attributes,
                                                            arguments.data(), environ);
    }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
    bool m_good = false;
};

} // namespace

void LookAtProcess(Waitable & process) noexcept
{
    Processes & processes = Processes::Get();
    processes.Reap();
    if (!process.IsSignalled() && &process != &CurrentProcessObject() && !processes.IsChild(process) &&
        !Lives(static_cast<pid_t>(process.m_number.load(std::memory_order_relaxed))))
        End(process, 0);
}

LSTATUS WatchProcess(Waitable & process) noexcept
{
    try
    {
        return &process == &CurrentProcessObject() ? ERROR_SUCCESS : Processes::Get().Watch(process);
    }
    catch (std::bad_alloc const &)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

Waitable & CurrentProcessObject() noexcept
{
    struct Own : Waitable
    {
        Own() noexcept : Waitable(true, kProcess) { m_code = STILL_ACTIVE; }
    };
    static Own own;
    return own;
}

} // namespace qvlib::host

namespace host = qvlib::host;
using host::Fail;
using host::Processes;
using host::SpawnRules;

BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, void *, void *, BOOL, DWORD, void *, LPCWSTR,
                    STARTUPINFOW *, PROCESS_INFORMATION * information)
{
    std::wstring_view line(commandLine == nullptr ? L"" : commandLine);
    std::wstring_view program(application == nullptr ? L"" : application);
    bool alongPath = false;
    std::wstring_view first = program;
    if (!program.empty() && line.substr(0, program.size()) == program &&
        (line.size() == program.size() || line[program.size()] == L' '))
        line.remove_prefix(program.size());
    else
    {
        line.remove_prefix(std::min(line.find_first_not_of(L" \t"), line.size()));
        first = host::TakeProgram(line);
        if (application == nullptr)
        {
            program = first;
            alongPath = program.find_first_of(L"\\/:") == std::wstring_view::npos;
        }
    }
    if (program.empty() || information == nullptr)
        return Fail(program.empty() ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_PARAMETER);

    std::string const file = alongPath ? host::NativeName(program) : host::NativePath(std::wstring(program).c_str());
    // Programs take their own name apart at the system's separators.
    std::vector<std::string> words;
    words.push_back(first == program ? file : host::NativeName(first));
    for (std::wstring const & word : host::SplitArguments(line))
        words.push_back(host::NativeName(word));
    std::vector<char *> arguments;
    for (std::string & word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    Processes & processes = Processes::Get();
    processes.Reap();
    processes.Reserve();
    host::Slot * const child = host::TakeSlot();
    SpawnRules const rules;
    pid_t number = 0;
    int const error = child == nullptr ? ENOMEM : rules.Start(number, file, alongPath, arguments);
    if (error != 0)
    {
        processes.AddChild(nullptr);
        if (child != nullptr)
            host::FreeSlot(*child);
        return Fail(error == ENOEXEC ? ERROR_BAD_EXE_FORMAT : host::StatusOf(error));
    }
    host::Describe(*child, number);
    child->m_pins = 1;
    information->hProcess = host::Publish(*child, host::kProcessFlags);
    information->hThread = host::NewAlias(*child);
    processes.AddChild(child);
    information->dwProcessId = static_cast<DWORD>(number);
    information->dwThreadId = static_cast<DWORD>(number);
    return TRUE;
}

HANDLE OpenProcess(DWORD, BOOL, DWORD processId)
{
    Processes & processes = Processes::Get();
    processes.Reap();
    auto const process = static_cast<pid_t>(processId);
    if (HANDLE const child = process > 0 ? processes.OpenChild(process) : nullptr; child != nullptr)
        return child;
    // 0 and below would ask of groups.
    bool const mayAsk = process > 0 && ::kill(process, 0) == 0;
    if (!mayAsk || !host::Lives(process))
    {
        Fail(!mayAsk && process > 0 && errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    host::Slot * const slot = host::TakeSlot();
    if (slot == nullptr)
    {
        Fail(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    host::Describe(*slot, process);
    return host::Publish(*slot, host::kProcessFlags);
}

BOOL GetExitCodeProcess(HANDLE process, DWORD * code)
{
    host::Target target;
    if (code == nullptr || !target.Find(process, host::Waitable::kProcess))
        return Fail(ERROR_INVALID_HANDLE);
    host::LookAtProcess(*target.object);
    *code = target.object->m_code.load(std::memory_order_acquire);
    return TRUE;
}
