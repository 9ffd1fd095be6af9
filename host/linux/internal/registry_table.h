// What stands behind a registry handle, and the table of them.
#pragma once

#include "host/linux/internal/hive.h"
#include "host/linux/internal/mutex.h"

#include <atomic>
#include <memory>
#include <vector>

namespace qvlib::host
{

/// A key in one hive. In the layers of a class key the id may be Hive::kAbsent.
struct Layer
{
    Hive * hive = nullptr;
    std::atomic<KeyId> id{Hive::kAbsent};
};

/// What a handle refers to: a key of one hive; or, below HKEY_CLASSES_ROOT, up to two keys of which the user's lies
/// over the machine's.
struct Key
{
    Layer upper;
    Layer lower;              ///< without a hive, except below HKEY_CLASSES_ROOT
    std::wstring classesPath; ///< below HKEY_CLASSES_ROOT: the path from either hive's root
    REGSAM access = 0;
    unsigned int depth = 0;
    bool isPredefined = false;

    bool IsLayered() const { return lower.hive != nullptr; }
};

/// The handles of the process, and the hives. Hives are never destroyed: there are as many as files have been in use,
/// and one that is no longer in use is just an object without a connection. Thread-safe.
class RegistryTable
{
public:
    /// The one table. It is never destroyed, since anything may use the registry to the very end.
    static RegistryTable & Instance();

    /// The key behind a handle, null for what is not one. Predefined handles give a new object each time.
    std::shared_ptr<Key> Get(HKEY handle);
    /// Null when there are too many.
    HKEY Add(std::shared_ptr<Key> key);
    bool Remove(HKEY handle);

    RegistryTable(RegistryTable const &) = delete;
    RegistryTable & operator=(RegistryTable const &) = delete;

private:
    struct Slot
    {
        std::shared_ptr<Key> key;
        std::uintptr_t generation = 0;
    };

    RegistryTable();
    ~RegistryTable() = default;
    std::shared_ptr<Key> Predefined(HKEY handle);
    Hive * CurrentHive(Hive * RegistryTable::*current, std::string const & path, bool shared);
    Slot * Find(HKEY handle, std::size_t & index) QVLIB_REQUIRES(m_lock);
    // The locks are held from the one to the other, beyond what clang's analysis can follow.
    void BeforeFork() QVLIB_NO_THREAD_SAFETY_ANALYSIS;
    void AfterFork() QVLIB_NO_THREAD_SAFETY_ANALYSIS;
    void DisconnectAll();

    Mutex m_lock;
    std::vector<Slot> m_slots QVLIB_GUARDED_BY(m_lock);
    std::vector<std::size_t> m_free QVLIB_GUARDED_BY(m_lock);
    std::vector<std::unique_ptr<Hive>> m_hives QVLIB_GUARDED_BY(m_lock);
    Hive * m_user QVLIB_GUARDED_BY(m_lock) = nullptr;    ///< what the predefined keys led to last
    Hive * m_machine QVLIB_GUARDED_BY(m_lock) = nullptr; ///< likewise
};

/// Whether the handle is one of the predefined keys.
bool IsPredefinedKey(HKEY handle);

} // namespace qvlib::host
