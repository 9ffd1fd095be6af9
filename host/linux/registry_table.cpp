#include "host/linux/internal/registry_table.h"

#include "qvlib/host/registry.h"

#include <pthread.h>

#include <algorithm>

#include <cstdlib>
#include <utility>

namespace qvlib::host
{

namespace
{

// A handle is a slot's number and the slot's generation, shifted so that it can be taken neither for null nor for a
// predefined key. A slot gets another generation whenever it is freed, so that a stale handle is not mistaken for the
// slot's next one.
constexpr unsigned int kIndexBits = sizeof(void *) >= 8 ? 24 : 16;
constexpr unsigned int kShift = 2;
constexpr std::uintptr_t kGenerations = (std::uintptr_t{1} << (8 * sizeof(void *) - 1 - kIndexBits - kShift)) - 1;

HKEY MakeHandle(std::size_t index, std::uintptr_t generation)
{
    std::uintptr_t const value = (generation << kIndexBits | (index + 1)) << kShift;
    return reinterpret_cast<HKEY>(value);
}

std::string Variable(char const * name)
{
    char const * const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string UserHivePath()
{
    if (std::string const folder = Variable("QVLIB_REGISTRY"); !folder.empty())
        return folder + "/user.hive";
    std::string folder = Variable("XDG_CONFIG_HOME");
    if (folder.empty() || folder.front() != '/') // relative ones are to be ignored
        folder = Variable("HOME") + "/.config";
    return folder + "/qvlib/user.hive";
}

std::string MachineHivePath()
{
    if (std::string const folder = Variable("QVLIB_REGISTRY"); !folder.empty())
        return folder + "/machine.hive";
    return "/etc/qvlib/machine.hive";
}

} // namespace

bool IsPredefinedKey(HKEY handle)
{
    return handle == HKEY_CURRENT_USER || handle == HKEY_LOCAL_MACHINE || handle == HKEY_CLASSES_ROOT;
}

RegistryTable & RegistryTable::Instance()
{
    static RegistryTable * const table = new RegistryTable;
    // At the end of the process the logs are folded into the hives, so that nothing but the hives is left behind. What
    // uses the registry later still opens them again.
    struct AtExit
    {
        ~AtExit() { Instance().DisconnectAll(); }
    };
    static AtExit const atExit;
    return *table;
}

RegistryTable::RegistryTable()
{
    ::pthread_atfork([] { Instance().BeforeFork(); }, [] { Instance().AfterFork(); }, [] { Instance().AfterFork(); });
}

RegistryTable::Slot * RegistryTable::Find(HKEY handle, std::size_t & index)
{
    auto const value = reinterpret_cast<std::uintptr_t>(handle);
    index = (value >> kShift & ((std::uintptr_t{1} << kIndexBits) - 1)) - 1;
    if (index >= m_slots.size())
        return nullptr;
    Slot & slot = m_slots[index];
    return slot.key != nullptr && MakeHandle(index, slot.generation) == handle ? &slot : nullptr;
}

std::shared_ptr<Key> RegistryTable::Get(HKEY handle)
{
    if (IsPredefinedKey(handle))
        return Predefined(handle);
    MutexLock const guard(m_lock);
    std::size_t index;
    Slot const * const slot = Find(handle, index);
    return slot != nullptr ? slot->key : nullptr;
}

HKEY RegistryTable::Add(std::shared_ptr<Key> key)
{
    MutexLock const guard(m_lock);
    std::size_t index = m_slots.size();
    if (!m_free.empty())
    {
        index = m_free.back();
        m_free.pop_back();
    }
    else
    {
        if (index + 1 >= std::size_t{1} << kIndexBits)
            return nullptr;
        m_free.reserve(index + 1); // so that freeing needs no memory
        m_slots.emplace_back();
    }
    m_slots[index].key = std::move(key);
    return MakeHandle(index, m_slots[index].generation);
}

bool RegistryTable::Remove(HKEY handle)
{
    MutexLock const guard(m_lock);
    std::size_t index;
    Slot * const slot = Find(handle, index);
    if (slot == nullptr)
        return false;
    slot->key = nullptr;
    slot->generation = (slot->generation + 1) & kGenerations;
    m_free.push_back(index);
    return true;
}

Hive * RegistryTable::CurrentHive(Hive * RegistryTable::*current, std::string const & path, bool shared)
{
    Hive * hive;
    {
        MutexLock const guard(m_lock);
        hive = this->*current;
    }
    // Asked outside the lock, since the hive may be busy waiting for another process.
    if (hive != nullptr && hive->Path() == path && hive->IsCurrent())
        return hive;

    Hive * retired = nullptr;
    {
        MutexLock const guard(m_lock);
        auto const usable = [&](std::unique_ptr<Hive> const & known)
        { return known.get() != hive && known->Path() == path && !known->IsRetired(); };
        auto const found = std::find_if(m_hives.begin(), m_hives.end(), usable);
        if (found != m_hives.end())
            hive = found->get();
        else
            hive = m_hives.emplace_back(std::make_unique<Hive>(path, shared)).get();
        if (this->*current != hive)
            retired = std::exchange(this->*current, hive);
    }
    if (retired != nullptr)
        retired->Disconnect(); // handles that still lead there make it connect again
    return hive;
}

std::shared_ptr<Key> RegistryTable::Predefined(HKEY handle)
{
    auto key = std::make_shared<Key>();
    key->access = KEY_ALL_ACCESS;
    key->isPredefined = true;
    if (handle == HKEY_LOCAL_MACHINE)
        key->upper.hive = CurrentHive(&RegistryTable::m_machine, MachineHivePath(), true);
    else
        key->upper.hive = CurrentHive(&RegistryTable::m_user, UserHivePath(), false);
    if (handle != HKEY_CLASSES_ROOT)
    {
        key->upper.id = Hive::kRoot;
        return key;
    }
    key->lower.hive = CurrentHive(&RegistryTable::m_machine, MachineHivePath(), true);
    key->classesPath = L"Software\\Classes";
    key->depth = 2;
    // A hive that cannot be read has no classes; whoever writes to it will be told why.
    for (Layer * const layer : {&key->upper, &key->lower})
    {
        KeyId id;
        if (layer->hive->Find(Hive::kRoot, "software\\classes", id) == ERROR_SUCCESS)
            layer->id = id;
    }
    return key;
}

void RegistryTable::BeforeFork()
{
    m_lock.Lock();
    for (std::unique_ptr<Hive> const & hive : m_hives)
        hive->LockForFork();
}

void RegistryTable::AfterFork()
{
    for (std::unique_ptr<Hive> const & hive : m_hives)
        hive->UnlockAfterFork();
    m_lock.Unlock();
}

void RegistryTable::DisconnectAll()
{
    MutexLock const guard(m_lock);
    for (std::unique_ptr<Hive> const & hive : m_hives)
        hive->Disconnect();
}

} // namespace qvlib::host
