// Programs and the system, as the platform tells of them.
//
//     PROCESS_INFORMATION started{};
//     STARTUPINFOW startup{};
//     startup.cb = sizeof startup;
//     wchar_t line[] = L"\\usr\\bin\\touch \"a b\"";
//     if (CreateProcessW(L"\\usr\\bin\\touch", line, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
//     {
//         WaitForSingleObject(started.hProcess, INFINITE); // host/sync.h
//         CloseHandle(started.hThread);
//         CloseHandle(started.hProcess);
//     }
//
// Operations answer with FALSE, 0 or null on failure and leave the status in GetLastError. A handle that isn't one of a
// process is refused. All functions are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/handle.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

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
/// `application` keeps that as one word. Its own name, the first word, it gets in the system's form (/usr/bin/touch)
/// where that is what names the program. It gets the standard streams and the environment, but no other open file, no
/// signal blocked or ignored. The records, flags, environment, folder and start-up arguments have no effect.
QVLIB_API BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, void * processSecurity, void * threadSecurity,
                              BOOL inheritHandles, DWORD flags, void * environment, LPCWSTR folder,
                              STARTUPINFOW * startup, PROCESS_INFORMATION * information);
/// A handle to ask of a process, null when there is none of that number or it belongs to someone else.
QVLIB_API HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);
/// The exit code, STILL_ACTIVE while it runs. Of a process that this one didn't start, 0 once it ended.
QVLIB_API BOOL GetExitCodeProcess(HANDLE process, DWORD * code);

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
