// The host's own locks: the standard library's, with the marks by which clang proves that what they guard is touched
// under them only. In the order of a class: a lock, what it guards, and its use.
//
//     Mutex m_lock;
//     int m_count QVLIB_GUARDED_BY(m_lock) = 0;
//
//     MutexLock const held(m_lock);
//     ++m_count;
#pragma once

#include "qvlib/host/thread_annotations.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

namespace qvlib::host
{

class QVLIB_CAPABILITY("mutex") Mutex
{
public:
    Mutex() = default;
    Mutex(Mutex const &) = delete;
    Mutex & operator=(Mutex const &) = delete;

    void Lock() QVLIB_ACQUIRE() { m_mutex.lock(); }
    bool TryLock() QVLIB_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }
    void Unlock() QVLIB_RELEASE() { m_mutex.unlock(); }

private:
    friend class Condition;
    std::mutex m_mutex;
};

class QVLIB_SCOPED_CAPABILITY MutexLock
{
public:
    explicit MutexLock(Mutex & mutex) QVLIB_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~MutexLock() QVLIB_RELEASE() { m_mutex.Unlock(); }
    MutexLock(MutexLock const &) = delete;
    MutexLock & operator=(MutexLock const &) = delete;

private:
    Mutex & m_mutex;
};

/// Many readers or one writer.
class QVLIB_CAPABILITY("shared mutex") SharedMutex
{
public:
    SharedMutex() = default;
    SharedMutex(SharedMutex const &) = delete;
    SharedMutex & operator=(SharedMutex const &) = delete;

    void Lock() QVLIB_ACQUIRE() { m_mutex.lock(); }
    void Unlock() QVLIB_RELEASE() { m_mutex.unlock(); }
    void LockShared() QVLIB_ACQUIRE_SHARED() { m_mutex.lock_shared(); }
    void UnlockShared() QVLIB_RELEASE_SHARED() { m_mutex.unlock_shared(); }

private:
    std::shared_mutex m_mutex;
};

class QVLIB_SCOPED_CAPABILITY WriterLock
{
public:
    explicit WriterLock(SharedMutex & mutex) QVLIB_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~WriterLock() QVLIB_RELEASE() { m_mutex.Unlock(); }
    WriterLock(WriterLock const &) = delete;
    WriterLock & operator=(WriterLock const &) = delete;

private:
    SharedMutex & m_mutex;
};

class QVLIB_SCOPED_CAPABILITY ReaderLock
{
public:
    explicit ReaderLock(SharedMutex & mutex) QVLIB_ACQUIRE_SHARED(mutex) : m_mutex(mutex) { m_mutex.LockShared(); }
    ~ReaderLock() QVLIB_RELEASE() { m_mutex.UnlockShared(); }
    ReaderLock(ReaderLock const &) = delete;
    ReaderLock & operator=(ReaderLock const &) = delete;

private:
    SharedMutex & m_mutex;
};

/// A condition variable for a Mutex. Waits may end without cause: look again.
class Condition
{
public:
    void Wait(Mutex & mutex) QVLIB_REQUIRES(mutex)
    {
        std::unique_lock lock(mutex.m_mutex, std::adopt_lock);
        m_condition.wait(lock);
        lock.release();
    }
    /// False when the time came.
    template <class Clock, class Duration>
    bool WaitUntil(Mutex & mutex, std::chrono::time_point<Clock, Duration> const & time) QVLIB_REQUIRES(mutex)
    {
        std::unique_lock lock(mutex.m_mutex, std::adopt_lock);
        bool const woken = m_condition.wait_until(lock, time) == std::cv_status::no_timeout;
        lock.release();
        return woken;
    }
    void NotifyOne() noexcept { m_condition.notify_one(); }
    void NotifyAll() noexcept { m_condition.notify_all(); }

private:
    std::condition_variable m_condition;
};

} // namespace qvlib::host
