// A file of the system, as little of it as the framework's CFile needs.
//
// Every operation answers with a system status, ERROR_SUCCESS when it is done. Objects are thread-compatible.
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

    static LSTATUS Remove(wchar_t const * path);
    static LSTATUS Rename(wchar_t const * from, wchar_t const * to);

private:
    std::intptr_t m_handle = -1;
};

} // namespace qvlib::host
