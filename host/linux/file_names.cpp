// The platform's operations on names of files and folders.
#include "host/linux/internal/file_attributes.h"
#include "host/linux/internal/file_status.h"
#include "qvlib/host/error.h"
#include "qvlib/host/file.h"
#include "qvlib/host/path.h"

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host = qvlib::host;

namespace
{

BOOL Fail(LSTATUS status)
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

bool HasText(LPCWSTR path) { return path != nullptr && *path != L'\0'; }

std::string_view LastName(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return path.substr(path.rfind('/') + 1);
}

// The system's path of the very thing that a path names: with a slash at its end, which only a path of the system's own
// and the root of a drive have, the name of a link would stand for what the link leads to.
std::string OwnName(LPCWSTR path, std::string native)
{
    if (std::wstring_view(path).back() == L'/')
        while (native.size() > 1 && native.back() == '/')
            native.pop_back();
    return native;
}

// Renames and never replaces; where the system can't promise that, after a look.
int RenameOnto(std::string const & from, std::string const & to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return -1;
    struct stat status;
    if (::lstat(to.c_str(), &status) == 0)
    {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from.c_str(), to.c_str());
}

} // namespace

BOOL CreateDirectoryW(LPCWSTR path, void *)
{
    if (!HasText(path))
        return Fail(ERROR_PATH_NOT_FOUND);
    if (!host::IsAllowedPath(path))
        return Fail(ERROR_INVALID_NAME);
    std::string const native = host::NativePath(path);
    if (::mkdir(native.c_str(), 0777) == 0)
        return TRUE;
    return Fail(errno == EEXIST   ? ERROR_ALREADY_EXISTS
                : errno == ENOENT ? ERROR_PATH_NOT_FOUND
                                  : host::StatusOfPath(errno, native));
}

BOOL RemoveDirectoryW(LPCWSTR path)
{
    if (!HasText(path))
        return Fail(ERROR_PATH_NOT_FOUND);
    std::string const native = OwnName(path, host::NativePath(path));
    if (::rmdir(native.c_str()) == 0)
        return TRUE;
    int const error = errno;
    struct stat status;
    if (error == ENOTDIR && ::lstat(native.c_str(), &status) == 0)
    {
        if (!S_ISLNK(status.st_mode) || ::stat(native.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
            return Fail(ERROR_DIRECTORY);
        return ::unlink(native.c_str()) == 0 ? TRUE : Fail(host::StatusOf(errno));
    }
    return Fail(error == ENOTEMPTY || error == EEXIST ? ERROR_DIR_NOT_EMPTY : host::StatusOfPath(error, native));
}

BOOL DeleteFileW(LPCWSTR path)
{
    LSTATUS const status = HasText(path) ? host::NativeFile::Remove(path) : ERROR_PATH_NOT_FOUND;
    return status == ERROR_SUCCESS ? TRUE : Fail(status);
}

BOOL MoveFileW(LPCWSTR from, LPCWSTR to)
{
    if (!HasText(from) || !HasText(to))
        return Fail(ERROR_PATH_NOT_FOUND);
    if (!host::IsAllowedPath(to))
        return Fail(ERROR_INVALID_NAME);
    std::string const source = host::NativePath(from);
    std::string const target = host::NativePath(to);
    struct stat status;
    if (::lstat(source.c_str(), &status) != 0)
        return Fail(host::StatusOfPath(errno, source));
    if (source != target)
    {
        if (RenameOnto(source, target) == 0)
            return TRUE;
        return Fail(errno == EEXIST || errno == ENOTEMPTY ? ERROR_ALREADY_EXISTS
                    : errno == EXDEV                      ? ERROR_NOT_SAME_DEVICE
                                                          : host::StatusOfPath(errno, target));
    }
    // The same file by another spelling: the one written is its new name.
    std::wstring_view text(to);
    while (text.size() > 1 && text.back() == L'\\')
        text.remove_suffix(1);
    bool const own = text.find(L'/') != std::wstring_view::npos;
    std::string const written = host::NativeName(text.substr(text.find_last_of(own ? L"/" : L"\\:") + 1));
    std::string const respelt = source.substr(0, source.size() - LastName(source).size()) + written;
    if (respelt == source || RenameOnto(source, respelt) == 0)
        return TRUE;
    return Fail(host::StatusOfPath(errno, respelt));
}

DWORD GetFileAttributesW(LPCWSTR path)
{
    struct stat status;
    std::string native;
    if (HasText(path))
        native = host::NativePath(path);
    if (native.empty() || ::stat(native.c_str(), &status) != 0)
    {
        Fail(native.empty() ? ERROR_PATH_NOT_FOUND : host::StatusOfPath(errno, native));
        return INVALID_FILE_ATTRIBUTES;
    }
    // A file by the name of a folder; of a path of the system's own, the system has said so.
    std::wstring_view const text(path);
    if (!S_ISDIR(status.st_mode) && text.back() == L'\\' && text.find(L'/') == std::wstring_view::npos)
    {
        Fail(ERROR_PATH_NOT_FOUND);
        return INVALID_FILE_ATTRIBUTES;
    }
    DWORD attributes = host::AttributesOf(status, LastName(native));
    if (::lstat(OwnName(path, std::move(native)).c_str(), &status) == 0 && S_ISLNK(status.st_mode))
        attributes = (attributes & ~FILE_ATTRIBUTE_NORMAL) | FILE_ATTRIBUTE_REPARSE_POINT;
    return attributes;
}
