// CTLFakeMutex: the lock for class templates whose objects belong to one thread. It locks nothing.
//
//     SharedList<CTLCriticalSection> shared; // for several threads
//     SharedList<CTLFakeMutex> own;          // for one, at no cost
#pragma once

#include "qvlib/host/thread_annotations.h"

namespace qvlib
{

/// Thread-safe, as there is nothing in it.
class QVLIB_CAPABILITY("fake mutex") CTLFakeMutex
{
public:
    /// Do nothing and answer true. The time-out has no effect.
    bool Lock(unsigned long /*timeout*/ = 0xFFFFFFFF) const noexcept QVLIB_ACQUIRE() { return true; }
    bool Unlock() const noexcept QVLIB_RELEASE() { return true; }
};

} // namespace qvlib
