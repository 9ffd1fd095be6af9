#include "qvlib/host/file.h"

#include "host/linux/internal/file_status.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvlib::host
{

LSTATUS StatusOf(int error) noexcept
{
    switch (error)
    {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
    case ELOOP:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
    case ENOTEMPTY:
        return ERROR_ACCESS_DENIED;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EAGAIN:
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return ERROR_DISK_FULL;
    case ESPIPE:
        return ERROR_SEEK;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EIO:
        return ERROR_IO_DEVICE;
    default:
        return ERROR_GEN_FAILURE;
    }
}

// A missing file and a missing folder before it are different failures of the platform.
LSTATUS StatusOfPath(int error, std::string const & path)
{
    if (error == ENOENT)
    {
        std::size_t const slash = path.rfind('/');
        struct stat status;
        if (path.empty() ||
            (slash != std::string::npos && slash != 0 && ::stat(path.substr(0, slash).c_str(), &status) != 0))
            return ERROR_PATH_NOT_FOUND;
    }
    return StatusOf(error);
}

namespace
{

LSTATUS LastStatus() noexcept { return StatusOf(errno); }

// With a separator at its end a path means a folder. One of the system's own the system judges itself.
bool MeansFolder(wchar_t const * path)
{
    std::wstring_view const text(path == nullptr ? L"" : path);
    return !text.empty() && text.back() == L'\\' && text.find(L'/') == std::wstring_view::npos;
}

constexpr std::size_t kLargestTransfer = std::size_t{1} << 30; // the system takes no more at a time than 2 GB

} // namespace

NativeFile::~NativeFile() { Close(); }

LSTATUS NativeFile::Open(wchar_t const * path, Mode const & mode)
{
    if (IsOpen())
        return ERROR_ACCESS_DENIED;
    if (MeansFolder(path))
        return ERROR_PATH_NOT_FOUND;
    std::string const native = NativePath(path);
    int const flags = O_CLOEXEC | (mode.write ? (mode.read ? O_RDWR : O_WRONLY) : O_RDONLY) |
                      (mode.create ? O_CREAT : 0) | (mode.append ? O_APPEND : 0);
    int descriptor = -1;
    do
        descriptor = ::open(native.c_str(), flags, 0666);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return StatusOfPath(errno, native);

    LSTATUS failure = ERROR_SUCCESS;
    struct stat status;
    if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode))
        failure = ERROR_ACCESS_DENIED;
    // Sharing is kept by advisory locks. A file system that knows none does not keep it.
    else if (::flock(descriptor, (mode.exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        failure = ERROR_SHARING_VIOLATION;
    // Only now, when nobody else is in the file, may it be emptied.
    else if (mode.truncate && S_ISREG(status.st_mode) && ::ftruncate(descriptor, 0) != 0)
        failure = LastStatus();
    if (failure != ERROR_SUCCESS)
    {
        ::close(descriptor);
        return failure;
    }
    m_handle = descriptor;
    return ERROR_SUCCESS;
}

LSTATUS NativeFile::Close() noexcept
{
    if (!IsOpen())
        return ERROR_INVALID_HANDLE;
    int const result = ::close(static_cast<int>(m_handle));
    m_handle = -1;
    return result == 0 || errno == EINTR ? ERROR_SUCCESS : LastStatus();
}

LSTATUS NativeFile::Read(void * buffer, std::size_t count, std::size_t & done) noexcept
{
    done = 0;
    while (done < count)
    {
        ssize_t const got = ::read(static_cast<int>(m_handle), static_cast<char *>(buffer) + done,
                                   std::min(count - done, kLargestTransfer));
        if (got == 0)
            break;
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            return LastStatus();
    }
    return ERROR_SUCCESS;
}

LSTATUS NativeFile::Write(void const * buffer, std::size_t count) noexcept
{
    for (std::size_t done = 0; done < count;)
    {
        ssize_t const put = ::write(static_cast<int>(m_handle), static_cast<char const *>(buffer) + done,
                                    std::min(count - done, kLargestTransfer));
        if (put >= 0)
            done += static_cast<std::size_t>(put);
        else if (errno != EINTR)
            return LastStatus();
    }
    return IsOpen() ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS NativeFile::Seek(long long offset, unsigned from, unsigned long long & position) noexcept
{
    static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2);
    if (from > 2)
        return ERROR_INVALID_PARAMETER;
    off_t const moved = ::lseek(static_cast<int>(m_handle), offset, static_cast<int>(from));
    if (moved < 0)
        return errno == EINVAL ? ERROR_NEGATIVE_SEEK : LastStatus();
    position = static_cast<unsigned long long>(moved);
    return ERROR_SUCCESS;
}

LSTATUS NativeFile::Length(unsigned long long & length) const noexcept
{
    struct stat status;
    if (::fstat(static_cast<int>(m_handle), &status) != 0)
        return LastStatus();
    length = static_cast<unsigned long long>(status.st_size);
    return ERROR_SUCCESS;
}

LSTATUS NativeFile::SetLength(unsigned long long length) noexcept
{
    if (static_cast<long long>(length) < 0)
        return ERROR_INVALID_PARAMETER;
    int result = -1;
    do
        result = ::ftruncate(static_cast<int>(m_handle), static_cast<off_t>(length));
    while (result != 0 && errno == EINTR);
    if (result == 0)
        return ERROR_SUCCESS;
    return errno == EINVAL ? ERROR_ACCESS_DENIED : LastStatus(); // EINVAL: not open for writing
}

LSTATUS NativeFile::Flush() noexcept
{
    if (::fsync(static_cast<int>(m_handle)) == 0 || errno == EINVAL || errno == EROFS) // EINVAL: no storage behind it
        return ERROR_SUCCESS;
    return LastStatus();
}

LSTATUS NativeFile::Size(wchar_t const * path, unsigned long long & size)
{
    std::string const native = NativePath(path);
    struct stat status;
    if (::stat(native.c_str(), &status) != 0)
        return StatusOfPath(errno, native);
    size = S_ISREG(status.st_mode) ? static_cast<unsigned long long>(status.st_size) : 0;
    return ERROR_SUCCESS;
}

LSTATUS NativeFile::Remove(wchar_t const * path)
{
    if (MeansFolder(path))
        return ERROR_PATH_NOT_FOUND;
    std::string const native = NativePath(path);
    return ::unlink(native.c_str()) == 0 ? ERROR_SUCCESS : StatusOfPath(errno, native);
}

LSTATUS NativeFile::Rename(wchar_t const * from, wchar_t const * to)
{
    std::string const source = NativePath(from);
    std::string target = NativePath(to);
    struct stat sourceStatus;
    struct stat targetStatus;
    if (::lstat(source.c_str(), &sourceStatus) != 0)
        return StatusOfPath(errno, source);
    // The platform never replaces a file here. A name that only differs in case names the file itself.
    if (::lstat(target.c_str(), &targetStatus) == 0 &&
        (sourceStatus.st_dev != targetStatus.st_dev || sourceStatus.st_ino != targetStatus.st_ino))
        return ERROR_FILE_EXISTS;
    return ::rename(source.c_str(), target.c_str()) == 0 ? ERROR_SUCCESS : StatusOfPath(errno, target);
}

} // namespace qvlib::host
