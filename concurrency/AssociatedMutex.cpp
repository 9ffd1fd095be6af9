#include "qvlib/AssociatedMutex.h"

#include "concurrency/internal/lock_guard.h"

#include <cstdint>
#include <memory>

namespace qvlib
{

/// The lock of one key and how many associations share it.
struct CTLAssociatedMutex::MutexInfo
{
    CTLCriticalSection section; // first: a pointer to the record is a pointer to its lock
    std::int32_t count = 1;
};

CTLCriticalSection CTLAssociatedMutex::s_mapMutex;
std::map<void *, CTLAssociatedMutex::MutexInfo *> CTLAssociatedMutex::s_mapObjToMutex;

CTLAssociatedMutex::CTLAssociatedMutex(void * key) : m_key(key)
{
    internal::LockGuard const guard(s_mapMutex);
    auto const place = s_mapObjToMutex.lower_bound(key);
    if (place != s_mapObjToMutex.end() && place->first == key)
    {
        m_info = place->second;
        ++m_info->count;
        return;
    }
    auto info = std::make_unique<MutexInfo>();
    s_mapObjToMutex.emplace_hint(place, key, info.get());
    m_info = info.release();
}

CTLAssociatedMutex::~CTLAssociatedMutex()
{
    internal::LockGuard const guard(s_mapMutex);
    auto const found = s_mapObjToMutex.find(m_key);
    if (found == s_mapObjToMutex.end() || --found->second->count != 0)
        return;
    delete found->second;
    s_mapObjToMutex.erase(found);
}

CTLCriticalSection & CTLAssociatedMutex::GetMutex() noexcept { return m_info->section; }

CTLLockAssocMutex::CTLLockAssocMutex(void * key, bool lockNow) : CTLAssociatedMutex(key), m_lock(&GetMutex())
{
    if (lockNow)
        Lock();
}

CTLLockAssocMutex::~CTLLockAssocMutex()
{
    if (m_locked)
        Unlock();
}

bool CTLLockAssocMutex::Lock(unsigned long /*timeout*/) { return Lock(); }

bool CTLLockAssocMutex::Lock()
{
    m_lock->Lock();
    m_locked = true;
    return true;
}

bool CTLLockAssocMutex::Unlock()
{
    m_lock->Unlock();
    m_locked = false;
    return true;
}

} // namespace qvlib
