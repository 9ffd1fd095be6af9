// Programs, threads and the system, as the platform tells of them.
//
//     PROCESS_INFORMATION started{};
//     STARTUPINFOW startup{};
//     startup.cb = sizeof startup;
//     wchar_t line[] = L"\\usr\\bin\\touch \"a b\"";
//     if (CreateProcessW(L"\\usr\\bin\\touch", line, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
//     {
//         CloseHandle(started.hThread);
//         CloseHandle(started.hProcess);
//     }
//
// Operations answer with FALSE, 0 or null on failure and leave the status in GetLastError. A handle that isn't one of
// these is refused, and a closed one stays so: numbers are not used again. All functions are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

constexpr DWORD STILL_ACTIVE = 0x103; ///< the exit code of what has not ended
constexpr DWORD NORMAL_PRIORITY_CLASS = 0x20;
constexpr DWORD PROCESS_QUERY_INFORMATION = 0x400;

struct STARTUPINFOW
{
    DWORD cb; ///< the record's size
};

struct PROCESS_INFORMATION
{
    HANDLE hProcess;
    HANDLE hThread; ///< a second handle of the process: its first thread has none of its own here
    DWORD dwProcessId;
    DWORD dwThreadId;
};

/// Starts a program that runs on its own. `application` names its file; where that is null, the first word of the
/// command line does, in quotation marks or not, and a name without a separator is sought along $PATH. The program gets
/// the words of the command line by the platform's rules (blanks part them, quotation marks hold them together,
/// backslashes count only ahead of a quotation mark); no shell has a part in it. A command line that begins with
/// `application` keeps that as one word. It gets the standard streams and the environment, but no other open file, no
/// signal blocked or ignored. The records, flags, environment, folder and start-up arguments have no effect.
QVLIB_API BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, void * processSecurity, void * threadSecurity,
                              BOOL inheritHandles, DWORD flags, void * environment, LPCWSTR folder,
                              STARTUPINFOW * startup, PROCESS_INFORMATION * information);
/// A handle to ask of a process, null when there is none of that number or it belongs to someone else.
QVLIB_API HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);
/// The exit code, STILL_ACTIVE while it runs. Of a process that this one didn't start, 0 once it ended.
QVLIB_API BOOL GetExitCodeProcess(HANDLE process, DWORD * code);

/// Starts a thread. The handle is to be closed, at any time.
QVLIB_API HANDLE CreateThread(void * security, SIZE_T stackSize, DWORD(WINAPI * start)(LPVOID), LPVOID argument,
                              DWORD flags, DWORD * threadId);
/// What the thread's function returned, STILL_ACTIVE before.
QVLIB_API BOOL GetExitCodeThread(HANDLE thread, DWORD * code);
QVLIB_API BOOL CloseHandle(HANDLE handle);
/// Stands for the calling process wherever a handle of one is asked for, and need not be closed.
inline HANDLE GetCurrentProcess() { return reinterpret_cast<HANDLE>(static_cast<INT_PTR>(-1)); }

/// The path of the process's program, and of a module in it, which any address within tells; null is the program. Only
/// for GetCurrentProcess(). Gives the length; a path that is longer than the buffer is cut off.
QVLIB_API DWORD GetProcessImageFileNameW(HANDLE process, LPWSTR path, DWORD capacity);
QVLIB_API DWORD GetModuleFileNameExW(HANDLE process, HMODULE module, LPWSTR path, DWORD capacity);

/// The path itself, if something stands there: this system's names have one form. Gives its length, or the capacity
/// that it takes when there is less.
QVLIB_API DWORD GetLongPathNameW(LPCWSTR path, LPWSTR longPath, DWORD capacity);
QVLIB_API DWORD GetShortPathNameW(LPCWSTR path, LPWSTR shortPath, DWORD capacity);

struct SYSTEM_INFO
{
    DWORD dwPageSize;
    DWORD dwNumberOfProcessors;
};
QVLIB_API void GetSystemInfo(SYSTEM_INFO * information);

/// The platform's record, of the same size everywhere (276).
struct OSVERSIONINFOW
{
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char16_t szCSDVersion[128];
};
/// The version of the platform that this system stands in for, 10.0. FALSE when the size is another.
QVLIB_API BOOL GetVersionExW(OSVERSIONINFOW * information);

#endif
