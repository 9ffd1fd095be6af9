#include "qvlib/CriticalSection.h"

#include "qvlib/host/thread.h"

namespace qvlib
{

// Relaxed: the answer about others is old at once, and a thread always sees its own entering and leaving.
bool CTLCriticalSection::IsLocked() const { return m_section.OwningThread.load(std::memory_order_relaxed) != 0; }

bool CTLCriticalSection::IsLockedByCurrentThread() const
{
    return m_section.OwningThread.load(std::memory_order_relaxed) == GetCurrentThreadId();
}

} // namespace qvlib
