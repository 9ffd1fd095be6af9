#include "qvlib/Process.h"

#include "qvlib/PathUrl.h"
#include "qvlib/host/file.h"
#include "qvlib/host/process.h"

#include <string>

namespace qvlib
{

namespace
{

/// Asks one of the platform's functions for a path in a buffer of its size. Empty when it fails or has no room.
template <class Ask>
CQVString AskForPath(Ask ask)
{
    wchar_t path[MAX_PATH] = {};
    DWORD const length = ask(path, MAX_PATH);
    return length != 0 && length < MAX_PATH ? CQVString(path) : CQVString();
}

} // namespace

bool Process::Execute(wchar_t const * path, wchar_t const * arguments, unsigned long & processId)
{
    bool const hasPath = path != nullptr && *path != L'\0';
    std::wstring line(hasPath ? path : L"");
    if (hasPath)
        line += L' ';
    if (arguments != nullptr)
        line += arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(hasPath ? path : nullptr, line.data(), nullptr, nullptr, FALSE, NORMAL_PRIORITY_CLASS, nullptr,
                       nullptr, &startup, &started) == FALSE)
        return false;
    processId = started.dwProcessId;
    CloseHandle(started.hThread);
    CloseHandle(started.hProcess);
    return true;
}

bool Process::IsRunning(unsigned long processId)
{
    if (processId > 0xFFFFFFFF)
        return false;
    HANDLE const process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(processId));
    if (process == nullptr)
        return false;
    DWORD code = 0;
    bool const runs = GetExitCodeProcess(process, &code) != FALSE && code == STILL_ACTIVE;
    CloseHandle(process);
    return runs;
}

CQVString Process::GetImagePath()
{
    return AskForPath([](wchar_t * path, DWORD capacity)
                      { return GetProcessImageFileNameW(GetCurrentProcess(), path, capacity); });
}

CQVString Process::GetImageFolder() { return CPathUrl(GetImagePath()).GetFilePath(); }
CQVString Process::GetBaseName() { return CPathUrl(GetImagePath()).GetFileName(); }
CQVString Process::GetBaseNameNoExtension() { return CPathUrl(GetImagePath()).GetName(); }

CQVString Process::GetModulePath(HINSTANCE module)
{
    return AskForPath([module](wchar_t * path, DWORD capacity)
                      { return GetModuleFileNameExW(GetCurrentProcess(), module, path, capacity); });
}

CQVString Process::GetModuleName(HINSTANCE module) { return CPathUrl(GetModulePath(module)).GetFileName(); }
CQVString Process::GetModuleNameNoExtension(HINSTANCE module) { return CPathUrl(GetModulePath(module)).GetName(); }

CQVString Process::GetLongPath(wchar_t const * path)
{
    return AskForPath([path](wchar_t * buffer, DWORD capacity) { return GetLongPathNameW(path, buffer, capacity); });
}

CQVString Process::GetShortPath(wchar_t const * path)
{
    return AskForPath([path](wchar_t * buffer, DWORD capacity) { return GetShortPathNameW(path, buffer, capacity); });
}

} // namespace qvlib
