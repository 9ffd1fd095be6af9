#include "qvlib/TestThreadSafety.h"

#include "concurrency/internal/lock_guard.h"
#include "qvlib/host/debug.h"
#include "qvlib/host/thread.h"

#include <algorithm>

namespace qvlib
{

CTLCriticalSection CTLTestThreadSafety::s_mapMutex;
std::map<void *, std::map<CTLTestThreadSafety::AccessItem, unsigned long>> CTLTestThreadSafety::s_mapObjToAccessItems;

CTLTestThreadSafety::CTLTestThreadSafety(void * object, AccessLevel level)
    : m_object(object), m_level(level), m_thread(GetCurrentThreadId())
{
    internal::LockGuard const guard(s_mapMutex);
    auto & items = s_mapObjToAccessItems[object];
    // Only the first foreign item decides, on purpose: the items stand in the order of their levels.
    auto const foreign =
        std::find_if(items.begin(), items.end(), [this](auto const & item) { return item.first.thread != m_thread; });
    std::int32_t const limit = level == AccessLevel1 ? 1 : 0;
    if (foreign != items.end() && foreign->first.level > limit)
        host::WriteToAddressZero(); // under the lock, so that the other thread stays where it is as far as may be
    ++items[{level, m_thread}];
}

CTLTestThreadSafety::~CTLTestThreadSafety()
{
    internal::LockGuard const guard(s_mapMutex);
    auto const object = s_mapObjToAccessItems.find(m_object);
    if (object == s_mapObjToAccessItems.end())
        return;
    auto const item = object->second.find({m_level, m_thread});
    if (item != object->second.end() && --item->second == 0)
        object->second.erase(item);
}

} // namespace qvlib
