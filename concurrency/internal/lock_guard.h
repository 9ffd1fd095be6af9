// Holds one of the library's locks for the length of a block.
#pragma once

#include "qvlib/host/thread_annotations.h"

namespace qvlib::internal
{

template <class Lock>
class QVLIB_SCOPED_CAPABILITY LockGuard
{
public:
    explicit LockGuard(Lock & lock) QVLIB_ACQUIRE(lock) : m_lock(lock) { m_lock.Lock(0xFFFFFFFF); }
    LockGuard(LockGuard const &) = delete;
    LockGuard & operator=(LockGuard const &) = delete;
    ~LockGuard() QVLIB_RELEASE() { m_lock.Unlock(); }

private:
    Lock & m_lock;
};

} // namespace qvlib::internal
