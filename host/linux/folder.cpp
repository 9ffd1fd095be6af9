#include "qvlib/host/folder.h"

#include "host/linux/internal/file_attributes.h"
#include "host/linux/internal/file_status.h"
#include "qvlib/host/file.h"
#include "qvlib/host/path.h"

#include <cerrno>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unicode/uchar.h>
#include <unistd.h>

namespace qvlib::host
{

namespace
{

wchar_t Folded(wchar_t character)
{
    if (character < 0x80)
        return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
    return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(character), U_FOLD_CASE_DEFAULT));
}

// A pattern of file names. The platform reads three wildcards more out of it, by what stands beside a dot; they carry
// the signs that its file systems know them by.
class Pattern
{
    static constexpr wchar_t kAny = L'*';          // any characters
    static constexpr wchar_t kAnyBeforeDot = L'<'; // the same, but for the last dot of the name
    static constexpr wchar_t kOne = L'>';          // one that is no dot; nothing at a dot and at the end
    static constexpr wchar_t kDotOrEnd = L'"';

public:
    explicit Pattern(std::wstring_view pattern) : m_matchesAll(pattern == L"*" || pattern == L"*.*")
    {
        bool const endsInDot = pattern.size() > 1 && pattern.back() == L'.';
        if (endsInDot)
            pattern.remove_suffix(1);
        for (wchar_t const character : pattern)
        {
            wchar_t * const before = m_pattern.empty() ? nullptr : &m_pattern.back();
            bool const wild = character == L'?' || character == L'*';
            if (before != nullptr && character == L'.' && *before == kAny)
                *before = kAnyBeforeDot;
            if (before != nullptr && wild && *before == L'.')
                *before = kDotOrEnd;
            m_pattern += character == L'?' ? kOne : Folded(character);
        }
        if (endsInDot && !m_pattern.empty() && m_pattern.back() == kAny)
            m_pattern.back() = kAnyBeforeDot;
    }

    bool MatchesAll() const { return m_matchesAll; }

    // Steps through the name with the set of all places of the pattern that the name so far leads to, so that no
    // pattern takes more than its length times that of the name.
    bool Matches(std::wstring_view name)
    {
        if (m_matchesAll)
            return true;
        std::size_t const lastDot = name.rfind(L'.');
        m_places.assign(m_pattern.size() + 1, 0);
        m_places[0] = 1;
        for (std::size_t i = 0; i < name.size(); ++i)
        {
            wchar_t const character = Folded(name[i]);
            bool const eatable = character != L'.' || i != lastDot;
            m_next.assign(m_pattern.size() + 1, 0);
            bool alive = false;
            for (std::size_t at = 0; at < m_pattern.size(); ++at)
            {
                if (m_places[at] == 0)
                    continue;
                wchar_t const wanted = m_pattern[at];
                std::size_t to = at + 1;
                bool steps = character == wanted;
                if (wanted == kAny || wanted == kAnyBeforeDot)
                {
                    m_places[at + 1] = 1;
                    steps = wanted == kAny || eatable;
                    to = at;
                }
                else if (wanted == kOne)
                {
                    steps = character != L'.';
                    if (!steps)
                        m_places[at + 1] = 1;
                }
                else if (wanted == kDotOrEnd)
                    steps = character == L'.';
                if (steps)
                {
                    m_next[to] = 1;
                    alive = true;
                }
            }
            if (!alive)
                return false;
            m_places.swap(m_next);
        }
        for (std::size_t at = 0; at < m_pattern.size(); ++at)
        {
            wchar_t const wanted = m_pattern[at];
            if (m_places[at] != 0 &&
                (wanted == kAny || wanted == kAnyBeforeDot || wanted == kOne || wanted == kDotOrEnd))
                m_places[at + 1] = 1;
        }
        return m_places.back() != 0;
    }

private:
    std::wstring m_pattern;
    bool m_matchesAll;
    std::vector<char> m_places;
    std::vector<char> m_next;
};

// Null, with errno, when it isn't a folder that can be read.
DIR * OpenFolder(int parent, char const * name, bool followLink)
{
    int const file = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW));
    if (file < 0)
        return nullptr;
    DIR * const entries = ::fdopendir(file);
    if (entries == nullptr)
        ::close(file);
    return entries;
}

} // namespace

bool MatchesFilePattern(wchar_t const * name, wchar_t const * pattern)
{
    return name != nullptr && pattern != nullptr && Pattern(pattern).Matches(name);
}

struct NativeFolder::Reader
{
    Reader(std::wstring_view rootPath, std::wstring_view lastName) : root(rootPath), pattern(lastName) {}
    Reader(Reader const &) = delete;
    Reader & operator=(Reader const &) = delete;
    ~Reader()
    {
        if (entries != nullptr)
            ::closedir(entries);
    }

    std::wstring root;
    Pattern pattern;
    DIR * entries = nullptr;
    std::string only; // the one entry, where the path holds no wildcard
    bool onlyOne = false;
    std::wstring name;
};

NativeFolder::NativeFolder() noexcept = default;
NativeFolder::~NativeFolder() = default;

LSTATUS NativeFolder::Open(wchar_t const * path, AtLink atLink)
{
    Close();
    std::wstring_view const text(path == nullptr ? L"" : path);
    std::size_t split = text.find_last_of(L"\\/") + 1;
    if (split == 0 && text.size() >= 2 && text[1] == L':')
        split = 2;
    std::wstring root(text.substr(0, split));
    std::wstring_view const last = text.substr(split);
    if (last.empty())
        return ERROR_FILE_NOT_FOUND;
    if (root.empty())
        root = L".\\"; // so that no name is taken for a drive
    else if (root.find(L'/') != std::wstring::npos)
        root.back() = L'/'; // joined by the library, a path of the system's own has a backslash there
    else if (root.back() == L':')
        root += L'\\';

    std::string folder = NativePath(root.c_str());
    // The system would follow a link by a name with a slash at its end.
    if (root.back() == L'/')
        while (folder.size() > 1 && folder.back() == '/')
            folder.pop_back();
    auto reader = std::make_unique<Reader>(root, last);
    if (last.find_first_of(L"*?") == std::wstring_view::npos)
    {
        std::string const native = NativePath((root + std::wstring(last)).c_str());
        struct stat status;
        if (::lstat(native.c_str(), &status) != 0)
            return StatusOfPath(errno, native);
        reader->onlyOne = true;
        reader->only = native.substr(native.rfind('/') + 1);
    }
    reader->entries = OpenFolder(AT_FDCWD, folder.empty() ? "." : folder.c_str(), atLink == AtLink::Follow);
    if (reader->entries == nullptr)
        return StatusOfPath(errno, folder);
    m_reader = std::move(reader);
    return ERROR_SUCCESS;
}

LSTATUS NativeFolder::Open(NativeFolder const & parent, Entry const & entry)
{
    if (parent.m_reader == nullptr)
        return ERROR_INVALID_HANDLE;
    auto reader = std::make_unique<Reader>(std::wstring_view(), L"*");
    reader->entries = OpenFolder(::dirfd(parent.m_reader->entries), entry.name.c_str(), false);
    if (reader->entries == nullptr)
        return StatusOf(errno);
    m_reader = std::move(reader);
    return ERROR_SUCCESS;
}

bool NativeFolder::Next(Entry & entry)
{
    if (m_reader == nullptr)
        return false;
    Reader & reader = *m_reader;
    if (reader.onlyOne)
    {
        if (reader.only.empty())
            return false;
        entry.name.swap(reader.only);
        reader.only.clear();
        struct stat status;
        if (::fstatat(::dirfd(reader.entries), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            return false;
        entry.isFolder = S_ISDIR(status.st_mode);
        entry.isLink = S_ISLNK(status.st_mode);
        return true;
    }
    while (dirent const * const found = ::readdir(reader.entries))
    {
        if (!reader.pattern.MatchesAll())
        {
            PlatformName(found->d_name, reader.name);
            if (!reader.pattern.Matches(reader.name))
                continue;
        }
        entry.name.assign(found->d_name);
        entry.isFolder = found->d_type == DT_DIR;
        entry.isLink = found->d_type == DT_LNK;
        if (found->d_type == DT_UNKNOWN)
        {
            struct stat status;
            bool const there = ::fstatat(::dirfd(reader.entries), found->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0;
            entry.isFolder = there && S_ISDIR(status.st_mode);
            entry.isLink = there && S_ISLNK(status.st_mode);
        }
        return true;
    }
    return false;
}

void NativeFolder::Close() noexcept { m_reader.reset(); }

std::wstring const & NativeFolder::Root() const noexcept
{
    static std::wstring const none;
    return m_reader == nullptr ? none : m_reader->root;
}

bool NativeFolder::Status(Entry const & entry, DWORD & attributes, std::uint64_t & size) const
{
    struct stat status;
    if (m_reader == nullptr ||
        ::fstatat(::dirfd(m_reader->entries), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    attributes = AttributesOf(status, entry.name);
    size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    return true;
}

LSTATUS NativeFolder::Remove(Entry const & entry) const
{
    if (m_reader == nullptr)
        return ERROR_INVALID_HANDLE;
    if (::unlinkat(::dirfd(m_reader->entries), entry.name.c_str(), entry.isFolder ? AT_REMOVEDIR : 0) == 0)
        return ERROR_SUCCESS;
    return errno == ENOTEMPTY || errno == EEXIST ? ERROR_DIR_NOT_EMPTY : StatusOf(errno);
}

} // namespace qvlib::host
