// CTLAssociatedMutex: a lock for an object that has none of its own, found by the object's address.
//
// All CTLAssociatedMutex objects that were built for one address share one critical section, on whatever threads they
// are. It lives from the first of them to the last. The address is compared, never followed. CTLLockAssocMutex holds
// the lock as well:
//
//     void Append(Record * record)
//     {
//         qvlib::CTLLockAssocMutex lock(record, true); // others who lock the same record wait
//         record->Add(1);
//     }
//
// The order of locks: building or dropping an association takes the map's lock for a moment, also under the lock of an
// object; under the map's lock nothing else is locked.
//
// The thread safety analysis can't follow a lock that is found at run time. Data is marked with the section instead:
// QVLIB_GUARDED_BY(mutex.GetMutex()).
#pragma once

#include "qvlib/CriticalSection.h"
#include "qvlib/export.h"
#include "qvlib/host/thread_annotations.h"

#include <map>

namespace qvlib
{

/// Objects are thread-compatible; any number of them on any threads may share a key.
class QVLIB_API CTLAssociatedMutex
{
public:
    struct MutexInfo;

    /// The lock of `key`, made if nobody has it yet. Any key will do, null too. Throws std::bad_alloc.
    explicit CTLAssociatedMutex(void * key);
    CTLAssociatedMutex(CTLAssociatedMutex const &) = delete;
    CTLAssociatedMutex & operator=(CTLAssociatedMutex const &) = delete;
    /// The last one for its key deletes the lock, which nobody may hold then.
    ~CTLAssociatedMutex();

    /// The shared lock: the same for all that have the key.
    CTLCriticalSection & GetMutex() noexcept;

protected:
    // Made when the library is loaded, so they are there for the static objects of every module that uses it.
    static CTLCriticalSection s_mapMutex;
    static std::map<void *, MutexInfo *> s_mapObjToMutex QVLIB_GUARDED_BY(s_mapMutex);

private:
    void * m_key;
    MutexInfo * m_info;
};

/// An association and whether it is locked, for one thread. Thread-compatible.
class QVLIB_API CTLLockAssocMutex : public CTLAssociatedMutex
{
public:
    /// Takes the lock at once where `lockNow` says so.
    CTLLockAssocMutex(void * key, bool lockNow);
    /// Leaves the lock, once, if the object believes that it holds it.
    ~CTLLockAssocMutex();

    /// Enter the lock, whatever the time-out says, and answer true.
    bool Lock(unsigned long timeout);
    bool Lock() QVLIB_NO_THREAD_SAFETY_ANALYSIS;
    /// Leaves the lock, whether or not this object took it, and answers true. Only for a thread that holds it.
    bool Unlock() QVLIB_NO_THREAD_SAFETY_ANALYSIS;
    /// Whether this object believes that it holds the lock: Lock sets this, Unlock clears it, nothing is counted.
    bool IsLocked() const noexcept { return m_locked; }

private:
    CTLCriticalSection * m_lock;
    bool m_locked = false;
};

} // namespace qvlib
