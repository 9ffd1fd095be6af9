// Reading a folder of the system, name by name; what the framework's CFileFind stands on.
//
// Only one folder's handle is held and one name at a time, so memory does not grow with the folder. Symbolic links are
// told as such and never followed. What is done to an entry is done in the folder that was opened, wherever that stands
// by then: nobody turns it elsewhere by putting a link in the place of a folder.
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

    /// What becomes of a link that stands where the folder to be read should.
    enum class AtLink
    {
        Follow,
        Refuse ///< ERROR_PATH_NOT_FOUND
    };

    /// Starts to read what matches a path of the platform whose last name may hold wildcards. The entries "." and ".."
    /// are among the names. ERROR_SUCCESS, whether anything matches or not, or why the folder can't be read.
    LSTATUS Open(wchar_t const * path, AtLink atLink = AtLink::Follow);
    /// Starts to read all of a folder that is an entry of another, which is open. Fails when by now something else, a
    /// link too, stands in its place. Root is empty then.
    LSTATUS Open(NativeFolder const & parent, Entry const & entry);
    /// The next entry, in the system's order. False at the end.
    bool Next(Entry & entry);
    void Close() noexcept;
    /// The path as it was given up to its last name, with a separator at its end. Of a name alone, ".\".
    std::wstring const & Root() const noexcept;

    /// The attributes (FILE_ATTRIBUTE_) and the size of an entry, of a link itself. A folder's size is 0. False when
    /// the entry isn't there any more. The folder must be open.
    bool Status(Entry const & entry, DWORD & attributes, std::uint64_t & size) const;

    /// Removes an entry: a folder, which must be empty, or anything else; of a link the link itself. The folder must be
    /// open. Fails when the entry isn't there any more, or is a folder now and was none, or the other way round.
    LSTATUS Remove(Entry const & entry) const;

private:
    struct Reader;
    std::unique_ptr<Reader> m_reader;
};

} // namespace qvlib::host
