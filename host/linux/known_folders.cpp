// The platform's temporary files and known folders.
#include "host/linux/internal/file_status.h"
#include "qvlib/host/error.h"
#include "qvlib/host/file.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace host = qvlib::host;

namespace
{

std::string Variable(char const * name)
{
    char const * const value = std::getenv(name);
    return value != nullptr && *value == '/' ? value : std::string();
}

std::string InHome(char const * variable, char const * below)
{
    if (std::string const set = variable == nullptr ? std::string() : Variable(variable); !set.empty())
        return set;
    std::string const home = Variable("HOME");
    return home.empty() ? home : home + below;
}

// The folder in the system's form, empty when there is none of that number.
std::string KnownFolder(int folder)
{
    switch (folder)
    {
    case CSIDL_PERSONAL:
        return InHome(nullptr, "/Documents");
    case CSIDL_DESKTOPDIRECTORY:
        return InHome(nullptr, "/Desktop");
    case CSIDL_APPDATA:
        return InHome("XDG_CONFIG_HOME", "/.config");
    case CSIDL_LOCAL_APPDATA:
        return InHome("XDG_DATA_HOME", "/.local/share");
    case CSIDL_INTERNET_CACHE:
        return InHome("XDG_CACHE_HOME", "/.cache");
    case CSIDL_COMMON_APPDATA:
        return "/var/lib";
    case CSIDL_PROFILE:
        return InHome(nullptr, "");
    default:
        return {};
    }
}

bool IsFolder(std::string const & path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::wstring WithoutEnd(std::wstring path)
{
    while (path.size() > 1 && path.back() == L'\\')
        path.pop_back();
    return path;
}

std::wstring Hexadecimal(UINT number)
{
    std::wstring digits;
    for (; number != 0; number /= 16)
        digits.insert(digits.begin(), L"0123456789ABCDEF"[number % 16]);
    return digits;
}

// A start for the numbers of temporary files that two programs, and two calls, don't share.
UINT FirstNumber()
{
    static std::atomic<UINT> calls{0};
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<UINT>(now.tv_nsec / 1000) + static_cast<UINT>(::getpid()) * 31 + calls.fetch_add(7);
}

} // namespace

DWORD GetTempPathW(DWORD capacity, LPWSTR path)
{
    std::string native = Variable("TMPDIR");
    if (native.empty())
        native = "/tmp";
    std::wstring text = WithoutEnd(host::PlatformPath(native));
    if (text.back() != L'\\')
        text += L'\\';
    if (path == nullptr || text.size() >= capacity)
        return static_cast<DWORD>(text.size() + 1);
    *std::copy(text.begin(), text.end(), path) = L'\0';
    return static_cast<DWORD>(text.size());
}

UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR path)
{
    auto const fail = [](LSTATUS status)
    {
        SetLastError(static_cast<DWORD>(status));
        return 0U;
    };
    if (folder == nullptr || *folder == L'\0' || path == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    std::wstring_view const start = std::wstring_view(prefix == nullptr ? L"" : prefix).substr(0, 3);
    if (start.find_first_of(L"\\/:*?\"<>|") != std::wstring_view::npos)
        return fail(ERROR_INVALID_NAME);
    std::wstring name(folder);
    wchar_t const separator = name.find(L'/') == std::wstring::npos ? L'\\' : L'/';
    if (name.back() != separator)
        name += separator;
    name += start;
    if (name.size() + 4 + 4 >= MAX_PATH)
        return fail(ERROR_FILENAME_EXCED_RANGE);
    if (!IsFolder(host::NativePath(folder)))
        return fail(ERROR_DIRECTORY);

    bool const search = (unique & 0xFFFF) == 0;
    UINT number = (search ? FirstNumber() : unique) & 0xFFFF;
    for (UINT tries = 0; tries <= 0xFFFF; ++tries, number = (number + 1) & 0xFFFF)
    {
        if (number == 0)
            continue;
        std::wstring const full = name + Hexadecimal(number) + L".TMP";
        if (search)
        {
            std::string const native = host::NativePath(full.c_str());
            int const file = ::open(native.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (file < 0 && errno == EEXIST)
                continue;
            if (file < 0)
                return fail(host::StatusOfPath(errno, native));
            ::close(file);
        }
        *std::copy(full.begin(), full.end(), path) = L'\0';
        return number;
    }
    return fail(ERROR_FILE_EXISTS);
}

HRESULT SHGetFolderPathW(HWND, int folder, HANDLE, DWORD, LPWSTR path)
{
    if (path == nullptr)
        return E_INVALIDARG;
    *path = L'\0';
    std::string const native = KnownFolder(folder & ~CSIDL_FLAG_CREATE);
    if (native.empty())
        return E_INVALIDARG;
    if (!IsFolder(native))
    {
        if ((folder & CSIDL_FLAG_CREATE) == 0)
            return E_FAIL;
        for (std::size_t end = native.find('/', 1); end != std::string::npos; end = native.find('/', end + 1))
            ::mkdir(native.substr(0, end).c_str(), 0700);
        ::mkdir(native.c_str(), 0700);
        if (!IsFolder(native))
            return E_FAIL;
    }
    std::wstring const text = WithoutEnd(host::PlatformPath(native));
    if (text.size() >= MAX_PATH)
        return E_FAIL;
    *std::copy(text.begin(), text.end(), path) = L'\0';
    return S_OK;
}
