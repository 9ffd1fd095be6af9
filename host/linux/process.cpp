#include "qvlib/host/process.h"

#include "host/linux/internal/command_line.h"
#include "host/linux/internal/file_status.h"
#include "qvlib/host/error.h"
#include "qvlib/host/path.h"
#include "qvlib/host/thread.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace host = qvlib::host;

namespace
{

BOOL Fail(LSTATUS status)
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

/// What a handle stands for: a thread, by its code, or a process, by its number.
struct Object
{
    bool isThread = false;
    pid_t process = 0;
    std::atomic<DWORD> code{STILL_ACTIVE};
};

class Handles
{
public:
    static Handles & Get()
    {
        static Handles & handles = *new Handles; // threads may end after the program's static objects
        return handles;
    }

    HANDLE Add(std::shared_ptr<Object> object)
    {
        std::lock_guard const lock(m_mutex);
        UINT_PTR const number = m_next;
        m_objects.emplace(number, std::move(object));
        m_next += 4;
        return reinterpret_cast<HANDLE>(number);
    }
    std::shared_ptr<Object> Find(HANDLE handle)
    {
        std::lock_guard const lock(m_mutex);
        auto const found = m_objects.find(reinterpret_cast<UINT_PTR>(handle));
        return found == m_objects.end() ? nullptr : found->second;
    }
    bool Remove(HANDLE handle)
    {
        std::lock_guard const lock(m_mutex);
        return m_objects.erase(reinterpret_cast<UINT_PTR>(handle)) != 0;
    }

    /// Programs that were started are the system's to keep until they are asked for; nobody waits for them, so this is
    /// done in passing. Only for these: other children of the process are not touched.
    void Reap()
    {
        std::lock_guard const lock(m_mutex);
        std::erase_if(m_children,
                      [](std::shared_ptr<Object> const & child)
                      {
                          int status = 0;
                          pid_t const ended = ::waitpid(child->process, &status, WNOHANG);
                          if (ended == 0 || (ended < 0 && errno == EINTR))
                              return false;
                          child->code = ended > 0 && WIFEXITED(status) ? static_cast<DWORD>(WEXITSTATUS(status))
                                        : ended > 0                    ? static_cast<DWORD>(128 + WTERMSIG(status))
                                                                       : 0;
                          return true;
                      });
    }
    void AddChild(std::shared_ptr<Object> child)
    {
        std::lock_guard const lock(m_mutex);
        m_children.push_back(std::move(child));
    }
    bool IsChild(Object const * object)
    {
        std::lock_guard const lock(m_mutex);
        return std::any_of(m_children.begin(), m_children.end(),
                           [object](std::shared_ptr<Object> const & child) { return child.get() == object; });
    }

private:
    std::mutex m_mutex;
    std::unordered_map<UINT_PTR, std::shared_ptr<Object>> m_objects;
    std::vector<std::shared_ptr<Object>> m_children;
    UINT_PTR m_next = 0x10004;
};

/// Whether a process of that number, and not a thread, is there and has not ended.
bool Lives(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string line;
    bool runs = false;
    bool leads = false;
    while (std::getline(status, line))
    {
        if (line.rfind("State:", 0) == 0)
            runs = line.find_first_of("ZX", 6) != line.find_first_not_of(" \t", 6);
        else if (line.rfind("Tgid:", 0) == 0)
            leads = std::strtol(line.c_str() + 5, nullptr, 10) == process;
    }
    return runs && leads;
}

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
    std::vector<std::string> words;
    words.push_back(host::NativeName(first));
    for (std::wstring const & word : host::SplitArguments(line))
        words.push_back(host::NativeName(word));
    std::vector<char *> arguments;
    for (std::string & word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    Handles & handles = Handles::Get();
    handles.Reap();
    auto const child = std::make_shared<Object>();
    SpawnRules const rules;
    if (int const error = rules.Start(child->process, file, alongPath, arguments); error != 0)
        return Fail(error == ENOEXEC ? ERROR_BAD_EXE_FORMAT : host::StatusOf(error));
    handles.AddChild(child);
    information->hProcess = handles.Add(child);
    information->hThread = handles.Add(child);
    information->dwProcessId = static_cast<DWORD>(child->process);
    information->dwThreadId = static_cast<DWORD>(child->process);
    return TRUE;
}

HANDLE OpenProcess(DWORD, BOOL, DWORD processId)
{
    Handles & handles = Handles::Get();
    handles.Reap();
    auto const process = static_cast<pid_t>(processId);
    // 0 and below would ask of groups.
    bool const mayAsk = process > 0 && ::kill(process, 0) == 0;
    if (!mayAsk || !Lives(process))
    {
        Fail(!mayAsk && process > 0 && errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto object = std::make_shared<Object>();
    object->process = process;
    return handles.Add(std::move(object));
}

BOOL GetExitCodeProcess(HANDLE process, DWORD * code)
{
    Handles & handles = Handles::Get();
    handles.Reap();
    std::shared_ptr<Object> const object = handles.Find(process);
    if (code == nullptr || (process != GetCurrentProcess() && (object == nullptr || object->isThread)))
        return Fail(ERROR_INVALID_HANDLE);
    if (object == nullptr || handles.IsChild(object.get()))
        *code = STILL_ACTIVE;
    else if (object->code != STILL_ACTIVE)
        *code = object->code;
    else
        *code = Lives(object->process) ? STILL_ACTIVE : 0;
    return TRUE;
}

HANDLE CreateThread(void *, SIZE_T, DWORD(WINAPI * start)(LPVOID), LPVOID argument, DWORD, DWORD * threadId) noexcept
{
    static std::atomic<DWORD> lastId{0};
    if (start == nullptr)
    {
        Fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto const object = std::make_shared<Object>();
    object->isThread = true;
    try
    {
        std::thread([object, start, argument] { object->code = start(argument); }).detach();
    }
    catch (std::system_error const &)
    {
        Fail(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (threadId != nullptr)
        *threadId = ++lastId;
    return Handles::Get().Add(object);
}

BOOL GetExitCodeThread(HANDLE thread, DWORD * code) noexcept
{
    std::shared_ptr<Object> const object = Handles::Get().Find(thread);
    if (code == nullptr || object == nullptr || !object->isThread)
        return Fail(ERROR_INVALID_HANDLE);
    *code = object->code;
    return TRUE;
}

BOOL CloseHandle(HANDLE handle) noexcept { return Handles::Get().Remove(handle) ? TRUE : Fail(ERROR_INVALID_HANDLE); }
