// A folder has to be read as a whole to find a name in it without regard to case, and every new file is looked for
// first: filling a folder would take the square of its files. So the names of a large folder that is read a second time
// are kept, and the system (inotify(7)) tells of each that is added since, before the call that adds it returns.
//
// Nothing hangs on a name being gone: one that was found is looked for in the folder. File systems that may be changed
// by other machines or from below, where the system sees nothing of it, are read each time.
#include "host/linux/internal/folder_names.h"

#include "host/linux/internal/mutex.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <dirent.h>
#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unicode/uchar.h>
#include <unistd.h>

namespace qvlib::host
{

namespace
{

constexpr std::size_t kLarge = 64; // names from which on a folder is worth being kept
constexpr std::size_t kMostNames = std::size_t{1} << 18;
constexpr std::size_t kMostFolders = 4;
constexpr std::uint32_t kEvents = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;

wchar_t Folded(wchar_t character)
{
    if (character < 0x80)
        return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
    return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(character), U_FOLD_CASE_DEFAULT));
}

bool SameButForCase(std::wstring_view a, std::wstring_view b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](wchar_t left, wchar_t right) { return left == right || Folded(left) == Folded(right); });
}

/// The same for names that are the same but for case.
std::uint64_t HashNoCase(std::wstring_view name)
{
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (wchar_t const character : name)
        hash = (hash ^ static_cast<std::uint32_t>(Folded(character))) * 0x100000001B3U;
    return hash;
}

bool IsThere(std::string const & folder, std::string const & name)
{
    struct stat status;
    return ::lstat((folder + '/' + name).c_str(), &status) == 0;
}

/// The large folders whose names are kept. Thread-safe.
class KeptFolders
{
public:
    static KeptFolders & Get()
    {
        static KeptFolders & folders = *new KeptFolders; // files are opened to the very end
        return folders;
    }

    /// The name that FindNoCase gives; nothing when the folder has to be read.
    std::optional<std::string> Find(std::string const & folder, std::wstring_view wanted) QVLIB_EXCLUDES(m_lock);
    /// After the folder was read.
    void Offer(DIR * entries) QVLIB_EXCLUDES(m_lock);

private:
    struct Identity
    {
        dev_t device = 0;
        ino_t inode = 0;

        bool operator==(Identity const &) const = default;
    };
    struct Kept
    {
        Identity identity;
        int watch;
        std::unordered_multimap<std::uint64_t, std::string> names; ///< by their hash; some may be gone
    };
    struct Seen
    {
        Identity identity;
        bool isRefused = false;
    };

    bool Add(Kept & kept, char const * name) QVLIB_REQUIRES(m_lock);
    void Drop(Kept & kept) QVLIB_REQUIRES(m_lock);
    void DropAll() QVLIB_REQUIRES(m_lock);
    Kept * WithWatch(int watch) QVLIB_REQUIRES(m_lock);
    void TakeEvents() QVLIB_REQUIRES(m_lock);
    void Take(inotify_event const & event) QVLIB_REQUIRES(m_lock);
    int Watch(char const * folder) QVLIB_REQUIRES(m_lock);

    /// The process that keeps folders, 0 for none. One that was forked off has the same notices to read and would take
    /// them away; also, a thread that is not there may hold its lock. It keeps nothing.
    std::atomic<pid_t> m_process{0};
    Mutex m_lock;
    int m_file QVLIB_GUARDED_BY(m_lock) = -1; ///< where the system tells of new names
    std::vector<Kept> m_kept QVLIB_GUARDED_BY(m_lock);
    std::array<Seen, 2 * kMostFolders> m_seen QVLIB_GUARDED_BY(m_lock); ///< were read once
    std::size_t m_nextSeen QVLIB_GUARDED_BY(m_lock) = 0;
    std::wstring m_text QVLIB_GUARDED_BY(m_lock);
};

std::optional<std::string> KeptFolders::Find(std::string const & folder, std::wstring_view wanted)
{
    if (m_process.load(std::memory_order_relaxed) != ::getpid())
        return std::nullopt;
    MutexLock const held(m_lock);
    struct stat status;
    if (m_kept.empty() || ::stat(folder.c_str(), &status) != 0)
        return std::nullopt;
    Identity const identity{status.st_dev, status.st_ino};
    auto const same =
        std::find_if(m_kept.begin(), m_kept.end(), [&](Kept const & kept) { return kept.identity == identity; });
    if (same == m_kept.end())
        return std::nullopt;
    // The watch of the folder is still the one it had: it is the same folder, and the file is ours to read. One that
    // was removed may have left its number to another.
    int const watch = same->watch;
    int const now = Watch(folder.c_str());
    if (now != watch)
    {
        if (now >= 0)
        {
            ::inotify_rm_watch(m_file, now);
            m_kept.erase(same);
        }
        return std::nullopt;
    }
    TakeEvents();
    Kept const * const kept = WithWatch(watch);
    if (kept == nullptr)
        return std::nullopt;
    std::string found;
    auto const [first, last] = kept->names.equal_range(HashNoCase(wanted));
    for (auto each = first; each != last; ++each)
    {
        PlatformName(each->second, m_text);
        if (SameButForCase(m_text, wanted) && (found.empty() || each->second < found) && IsThere(folder, each->second))
            found = each->second;
    }
    return found;
}

void KeptFolders::Offer(DIR * entries)
{
    pid_t const process = ::getpid();
    if (pid_t none = 0; !m_process.compare_exchange_strong(none, process, std::memory_order_relaxed) && none != process)
        return;
    MutexLock const held(m_lock);
    struct stat status;
    if (::fstat(::dirfd(entries), &status) != 0)
        return;
    Identity const identity{status.st_dev, status.st_ino};
    auto const seen =
        std::find_if(m_seen.begin(), m_seen.end(), [&](Seen const & each) { return each.identity == identity; });
    if (seen == m_seen.end()) // once is no habit
    {
        m_seen[m_nextSeen++ % m_seen.size()] = {identity};
        return;
    }
    if (seen->isRefused)
        return;
    seen->isRefused = true;
    struct statfs system;
    if (::fstatfs(::dirfd(entries), &system) != 0)
        return;
    auto const type = static_cast<std::uint32_t>(system.f_type);
    constexpr std::uint32_t kLocal[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                                        F2FS_SUPER_MAGIC, TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
    if (std::find(std::begin(kLocal), std::end(kLocal), type) == std::end(kLocal))
        return;
    if (m_file < 0)
        m_file = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    int const watch = Watch(("/proc/self/fd/" + std::to_string(::dirfd(entries))).c_str());
    if (watch < 0)
        return;
    if (Kept * const before = WithWatch(watch))
        m_kept.erase(m_kept.begin() + (before - m_kept.data()));
    // What is added from here on is told of.
    Kept kept{identity, watch, {}};
    ::rewinddir(entries);
    while (dirent const * const entry = ::readdir(entries))
        if (!Add(kept, entry->d_name))
        {
            ::inotify_rm_watch(m_file, watch);
            return;
        }
    if (m_kept.size() == kMostFolders)
        Drop(m_kept.front());
    m_kept.push_back(std::move(kept));
    seen->isRefused = false;
}

/// False when there are too many.
bool KeptFolders::Add(Kept & kept, char const * name)
{
    PlatformName(name, m_text);
    std::uint64_t const hash = HashNoCase(m_text);
    auto const [first, last] = kept.names.equal_range(hash);
    if (std::any_of(first, last, [name](auto const & each) { return each.second == name; }))
        return true;
    if (kept.names.size() == kMostNames)
        return false;
    kept.names.emplace(hash, name);
    return true;
}

void KeptFolders::Drop(Kept & kept)
{
    ::inotify_rm_watch(m_file, kept.watch);
    m_kept.erase(m_kept.begin() + (&kept - m_kept.data()));
}

void KeptFolders::DropAll()
{
    while (!m_kept.empty())
        Drop(m_kept.front());
}

KeptFolders::Kept * KeptFolders::WithWatch(int watch)
{
    auto const found =
        std::find_if(m_kept.begin(), m_kept.end(), [watch](Kept const & kept) { return kept.watch == watch; });
    return found == m_kept.end() ? nullptr : &*found;
}

/// The number of the folder's watch, which stays the same; -1 when it can't be watched.
int KeptFolders::Watch(char const * folder)
{
    int const watch = m_file < 0 ? -1 : ::inotify_add_watch(m_file, folder, kEvents);
    if (watch < 0 && (errno == EBADF || errno == EINVAL)) // the program has closed it: the number is its own
    {
        m_file = -1;
        m_kept.clear();
    }
    return watch;
}

void KeptFolders::TakeEvents()
{
    alignas(inotify_event) std::array<char, 8192> buffer;
    for (;;)
    {
        ssize_t const size = ::read(m_file, buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return;
        try
        {
            for (char const * at = buffer.data(); at < buffer.data() + size;)
            {
                auto const & event = *reinterpret_cast<inotify_event const *>(at);
                at += sizeof event + event.len;
                Take(event);
            }
        }
        catch (...)
        {
            DropAll();
            throw;
        }
        if (static_cast<std::size_t>(size) + sizeof(inotify_event) + NAME_MAX < buffer.size())
            return; // one more would have had room
    }
}

void KeptFolders::Take(inotify_event const & event)
{
    if ((event.mask & IN_Q_OVERFLOW) != 0) // some were lost
        DropAll();
    Kept * const kept = WithWatch(event.wd);
    if (kept == nullptr)
        return;
    if ((event.mask & IN_IGNORED) != 0)
        m_kept.erase(m_kept.begin() + (kept - m_kept.data()));
    else if (event.len != 0 && !Add(*kept, event.name))
        Drop(*kept);
}

} // namespace

std::string FindNoCase(std::string const & folder, std::string const & name)
{
    std::string const path = folder.empty() ? "." : folder;
    std::wstring wanted;
    PlatformName(name, wanted);
    if (std::optional<std::string> known = KeptFolders::Get().Find(path, wanted))
        return *std::move(known);
    std::string found;
    std::unique_ptr<DIR, decltype([](DIR * opened) { ::closedir(opened); })> const entries(::opendir(path.c_str()));
    if (entries == nullptr)
        return found;
    std::wstring listed;
    std::size_t count = 0;
    while (dirent const * const entry = ::readdir(entries.get()))
    {
        ++count;
        PlatformName(entry->d_name, listed);
        if (SameButForCase(listed, wanted) && (found.empty() || found > entry->d_name))
            found = entry->d_name;
    }
    if (count >= kLarge)
        KeptFolders::Get().Offer(entries.get());
    return found;
}

} // namespace qvlib::host
