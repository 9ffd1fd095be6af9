// CTLCriticalSection: the library's recursive lock, one critical section of the host held by value.
//
// Every lock class of the library has the two calls `bool Lock(unsigned long)` and `bool Unlock()`, so that a class
// template can take the lock as a type. The time-out of this one has no effect: Lock waits without limit and always
// answers true. A thread that holds the section can lock it again and leaves it as often as it locked it.
//
//     class Counter
//     {
//         qvlib::CTLCriticalSection m_lock;
//         int m_count QVLIB_GUARDED_BY(m_lock) = 0; // clang -Wthread-safety finds an access without the lock
//     };
//
// Objects are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread_annotations.h"

namespace qvlib
{

class QVLIB_API QVLIB_CAPABILITY("critical section") CTLCriticalSection
{
public:
    CTLCriticalSection() { InitializeCriticalSection(&m_section); }
    CTLCriticalSection(CTLCriticalSection const &) = delete;
    CTLCriticalSection & operator=(CTLCriticalSection const &) = delete;
    /// Nobody may hold the section.
    ~CTLCriticalSection() { DeleteCriticalSection(&m_section); }

    /// Enters the section, whatever the time-out says, and answers true.
    bool Lock(unsigned long /*timeout*/ = INFINITE) const QVLIB_ACQUIRE() QVLIB_NO_THREAD_SAFETY_ANALYSIS
    {
        EnterCriticalSection(&m_section); // held on behalf of this object, which is what the analysis follows
        return true;
    }
    /// Leaves the section once and answers true. Only for the thread that holds it.
    bool Unlock() const QVLIB_RELEASE() QVLIB_NO_THREAD_SAFETY_ANALYSIS
    {
        LeaveCriticalSection(&m_section);
        return true;
    }
    /// Whether any thread holds the section now. Another thread's answer can be old at once.
    bool IsLocked() const;
    /// Whether the calling thread holds the section.
    bool IsLockedByCurrentThread() const;
    /// The host's record, for its own operations on it. Lives as long as the object.
    operator _RTL_CRITICAL_SECTION *() const noexcept { return &m_section; }

private:
    mutable _RTL_CRITICAL_SECTION m_section;
};

} // namespace qvlib
