// CTLTestThreadSafety: a guard for debugging that stops the process when two threads are in one object at once.
//
//     void List::Add(int value)
//     {
//         qvlib::CTLTestThreadSafety guard(this, qvlib::CTLTestThreadSafety::AccessLevel2);
//         ...
//     }
//
// A guard tells that its thread is in the object now, at a level from 0 to 2. A new guard is compared with the guards
// of other threads that are alive for the object, and of these with one of the lowest level only:
//
//     new guard     may meet the lowest foreign level
//     level 0, 2    0
//     level 1       0 and 1
//
// On a conflict the process stops at the spot by a write to address zero. Guards of one thread never conflict.
#pragma once

#include "qvlib/CriticalSection.h"
#include "qvlib/export.h"
#include "qvlib/host/thread_annotations.h"

#include <compare>
#include <cstdint>
#include <map>

namespace qvlib
{

/// To be built on the stack at the start of an access. Thread-affine: it ends on the thread that built it.
class QVLIB_API CTLTestThreadSafety
{
public:
    enum AccessLevel : std::int32_t
    {
        AccessLevel0 = 0,
        AccessLevel1 = 1,
        AccessLevel2 = 2,
    };
    /// One thread in an object at one level; in the order of levels, then threads.
    struct AccessItem
    {
        AccessLevel level;
        std::uint32_t thread;

        auto operator<=>(AccessItem const &) const = default;
    };

    /// The object is compared by its address and never followed. Throws std::bad_alloc.
    CTLTestThreadSafety(void * object, AccessLevel level);
    CTLTestThreadSafety(CTLTestThreadSafety const &) = delete;
    CTLTestThreadSafety & operator=(CTLTestThreadSafety const &) = delete;
    ~CTLTestThreadSafety();

protected:
    // Made when the library is loaded. An object that was once guarded keeps its entry in the map.
    static CTLCriticalSection s_mapMutex;
    static std::map<void *, std::map<AccessItem, unsigned long>> s_mapObjToAccessItems QVLIB_GUARDED_BY(s_mapMutex);

private:
    void * m_object;
    AccessLevel m_level;
    std::uint32_t m_thread;
};

} // namespace qvlib
