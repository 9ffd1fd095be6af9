// Files of the system: an open one, as little of it as the framework's CFile needs; and the platform's operations on
// names of files and folders, known folders and temporary files.
//
// Paths are the platform's (host/path.h). Operations of NativeFile answer with a system status, ERROR_SUCCESS when it
// is done. The platform's own answer with FALSE or 0 on failure and leave the status in GetLastError. NativeFile
// objects are thread-compatible, the functions thread-safe.
#pragma once

#include <cstdint>

#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib::host
{

class QVLIB_API NativeFile
{
public:
    /// How a file is opened.
    struct Mode
    {
        bool read = true;
        bool write = false;
        bool create = false;    ///< make the file when it is missing
        bool truncate = false;  ///< empty a file that is there
        bool append = false;    ///< every write goes to the end, wherever that is by then
        bool exclusive = false; ///< fail with ERROR_SHARING_VIOLATION while anyone else has it open through this class
    };

    NativeFile() noexcept = default;
    NativeFile(NativeFile const &) = delete;
    NativeFile & operator=(NativeFile const &) = delete;
    ~NativeFile();

    bool IsOpen() const noexcept { return m_handle >= 0; }
    /// Opens the file that the platform's path names (host/path.h). The object must be closed.
    LSTATUS Open(wchar_t const * path, Mode const & mode);
    LSTATUS Close() noexcept;
    /// Reads until `count` bytes are there or the file ends; `done` is how many came.
    LSTATUS Read(void * buffer, std::size_t count, std::size_t & done) noexcept;
    /// Writes all of `count` bytes.
    LSTATUS Write(void const * buffer, std::size_t count) noexcept;
    /// Moves the position by `offset` from the start (0), the position (1) or the end (2).
    LSTATUS Seek(long long offset, unsigned from, unsigned long long & position) noexcept;
    LSTATUS Length(unsigned long long & length) const noexcept;
    LSTATUS SetLength(unsigned long long length) noexcept;
    LSTATUS Flush() noexcept;

    /// The bytes of the file at the path, which need not be readable; 0 of what isn't a plain file.
    static LSTATUS Size(wchar_t const * path, unsigned long long & size);
    static LSTATUS Remove(wchar_t const * path);
    static LSTATUS Rename(wchar_t const * from, wchar_t const * to);

private:
    std::intptr_t m_handle = -1;
};

} // namespace qvlib::host

#if !defined(_WIN32)

constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400; ///< a symbolic link
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

constexpr int CSIDL_PERSONAL = 0x05; ///< documents
constexpr int CSIDL_DESKTOPDIRECTORY = 0x10;
constexpr int CSIDL_APPDATA = 0x1A;        ///< $XDG_CONFIG_HOME
constexpr int CSIDL_LOCAL_APPDATA = 0x1C;  ///< $XDG_DATA_HOME
constexpr int CSIDL_INTERNET_CACHE = 0x20; ///< $XDG_CACHE_HOME
constexpr int CSIDL_COMMON_APPDATA = 0x23; ///< /var/lib
constexpr int CSIDL_PROFILE = 0x28;        ///< the user's home
constexpr int CSIDL_FLAG_CREATE = 0x8000;  ///< make the folder when it is missing

/// The most characters that a path in one of the platform's fixed buffers has, the terminator among them.
constexpr DWORD MAX_PATH = 260;

/// Makes one folder, whose parent must be there; what a name may not hold fails with ERROR_INVALID_NAME. The second
/// argument, a security record there, has no effect.
QVLIB_API BOOL CreateDirectoryW(LPCWSTR path, void * security);
/// Removes an empty folder; of a symbolic link to a folder, the link.
QVLIB_API BOOL RemoveDirectoryW(LPCWSTR path);
/// Removes a file; of a symbolic link, the link. A folder fails with ERROR_ACCESS_DENIED.
QVLIB_API BOOL DeleteFileW(LPCWSTR path);
/// Renames or moves a file or folder within its file system. Never replaces anything; a new name that differs in case
/// alone is taken.
QVLIB_API BOOL MoveFileW(LPCWSTR from, LPCWSTR to);
/// What stands at the path, or INVALID_FILE_ATTRIBUTES. A symbolic link has the attributes of what it leads to and its
/// own mark besides; one that leads nowhere counts as nothing.
QVLIB_API DWORD GetFileAttributesW(LPCWSTR path);

/// The folder for temporary files, $TMPDIR or \tmp, ending in a separator: its length, or the capacity that it takes
/// when `capacity` is too small.
QVLIB_API DWORD GetTempPathW(DWORD capacity, LPWSTR path);
/// Writes `folder\<prefix><number>.TMP` into a buffer of MAX_PATH characters: up to three characters of the prefix, the
/// number in hexadecimal. The number is the low word of `unique`; where that is 0, one is found for which no file is
/// there yet, and the file is made, for its owner alone. Gives the number, or 0.
QVLIB_API UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR path);
/// Writes the path of a known folder (CSIDL_) into a buffer of MAX_PATH characters. 0 (S_OK), or a failure: E_FAIL for
/// a folder that isn't there, E_INVALIDARG for one that this system doesn't know.
QVLIB_API HRESULT SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);

#endif
