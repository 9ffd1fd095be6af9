// Where the program, its modules and the system are told of: host/process.h.
#include "qvlib/host/error.h"
#include "qvlib/host/file.h"
#include "qvlib/host/path.h"
#include "qvlib/host/process.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

namespace host = qvlib::host;

namespace
{

DWORD CutOff(std::string const & native, LPWSTR path, DWORD capacity)
{
    if (native.empty() || path == nullptr || capacity == 0)
    {
        SetLastError(static_cast<DWORD>(native.empty() ? ERROR_FILE_NOT_FOUND : ERROR_INVALID_PARAMETER));
        return 0;
    }
    std::wstring text = host::PlatformPath(native);
    text.resize(std::min<std::size_t>(text.size(), capacity - 1));
    *std::copy(text.begin(), text.end(), path) = L'\0';
    return static_cast<DWORD>(text.size());
}

std::string Image()
{
    char path[4096];
    ssize_t const length = ::readlink("/proc/self/exe", path, sizeof path);
    return length <= 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
}

/// The file that is mapped where the address lies.
std::string MappedFile(void const * address)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
    {
        char * end = nullptr;
        auto const wanted = reinterpret_cast<std::uintptr_t>(address);
        std::uintptr_t const from = std::strtoull(line.c_str(), &end, 16);
        std::size_t const path = line.find('/');
        if (wanted >= from && wanted < std::strtoull(end + 1, nullptr, 16) && path != std::string::npos)
            return line.substr(path);
    }
    return {};
}

std::string ModuleOf(void const * address)
{
    Dl_info information{};
    link_map * map = nullptr;
    if (::dladdr1(address, &information, reinterpret_cast<void **>(&map), RTLD_DL_LINKMAP) == 0)
        return {};
    if (*map->l_name == '\0')
        return Image();
    // A name that is not from the root on was so from the folder that was the running one when the module was loaded.
    return *map->l_name == '/' ? map->l_name : MappedFile(map->l_ld);
}

} // namespace

DWORD GetProcessImageFileNameW(HANDLE process, LPWSTR path, DWORD capacity)
{
    return CutOff(process == GetCurrentProcess() ? Image() : std::string(), path, capacity);
}

DWORD GetModuleFileNameExW(HANDLE process, HMODULE module, LPWSTR path, DWORD capacity)
{
    std::string native;
    if (process == GetCurrentProcess())
        native = module == nullptr ? Image() : ModuleOf(module);
    return CutOff(native, path, capacity);
}

DWORD GetLongPathNameW(LPCWSTR path, LPWSTR longPath, DWORD capacity)
{
    if (path == nullptr || GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
        return 0;
    std::wstring const text(path);
    if (longPath == nullptr || text.size() >= capacity)
        return static_cast<DWORD>(text.size() + 1);
    *std::copy(text.begin(), text.end(), longPath) = L'\0';
    return static_cast<DWORD>(text.size());
}

DWORD GetShortPathNameW(LPCWSTR path, LPWSTR shortPath, DWORD capacity)
{
    return GetLongPathNameW(path, shortPath, capacity);
}

void GetSystemInfo(SYSTEM_INFO * information)
{
    information->dwPageSize = static_cast<DWORD>(std::max(::sysconf(_SC_PAGESIZE), 1L));
    information->dwNumberOfProcessors = static_cast<DWORD>(std::max(::sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

BOOL GetVersionExW(OSVERSIONINFOW * information)
{
    static_assert(sizeof(OSVERSIONINFOW) == 276);
    if (information == nullptr || information->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW))
    {
        SetLastError(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
        return FALSE;
    }
    *information = {sizeof(OSVERSIONINFOW), 10, 0, 0, 2, {}};
    return TRUE;
}
