// Reading a folder of the system, name by name; what the framework's CFileFind stands on.
//
// Only one folder's handle is held and one name at a time, so memory does not grow with the folder. Symbolic links are
// told as such and never followed.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <cstdint>
#include <memory>
#include <string>

namespace qvlib::host
{

/// Whether the platform's wildcards match a name, without regard to case: * any characters, ? one, or none at the end
/// of the name or before a dot, "*.*" every name, a dot before a wildcard also the end of the name, "*." names without
/// an extension. Thread-safe.
QVLIB_API bool MatchesFilePattern(wchar_t const * name, wchar_t const * pattern);

class QVLIB_API NativeFolder
{
public:
    struct Entry
    {
        std::string name; ///< the system's bytes (PlatformName makes text of them)
        bool isFolder = false;
        bool isLink = false;
    };

    NativeFolder() noexcept;
    NativeFolder(NativeFolder const &) = delete;
    NativeFolder & operator=(NativeFolder const &) = delete;
    ~NativeFolder();

    /// Starts to read what matches a path of the platform whose last name may hold wildcards. The entries "." and ".."
    /// are among the names. ERROR_SUCCESS, whether anything matches or not, or why the folder can't be read.
    LSTATUS Open(wchar_t const * path);
    /// The next entry, in the system's order. False at the end.
    bool Next(Entry & entry);
    void Close() noexcept;
    /// The path as it was given up to its last name, with a separator at its end. Of a name alone, ".\".
    std::wstring const & Root() const noexcept;

    /// The attributes (FILE_ATTRIBUTE_) and the size of an entry, of a link itself. A folder's size is 0. False when
    /// the entry isn't there any more. The folder must be open.
    bool Status(Entry const & entry, DWORD & attributes, std::uint64_t & size) const;

private:
    struct Reader;
    std::unique_ptr<Reader> m_reader;
};

} // namespace qvlib::host
