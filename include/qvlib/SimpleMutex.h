// CTLSimpleMutex: a lock of one word for very short sections. A thread that finds it taken gives up its time slice and
// tries again until the lock is free: it never sleeps, and there is no owner, so a thread that locks twice hangs.
//
//     qvlib::CTLSimpleMutex mutex;
//     mutex.Lock();
//     ++shared;
//     mutex.Unlock();
//
// Objects are thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread_annotations.h"

#include <atomic>
#include <cstdint>

namespace qvlib
{

class QVLIB_API QVLIB_CAPABILITY("mutex") CTLSimpleMutex
{
public:
    CTLSimpleMutex() noexcept = default;
    CTLSimpleMutex(CTLSimpleMutex const &) = delete;
    CTLSimpleMutex & operator=(CTLSimpleMutex const &) = delete;
    /// Whether the mutex is locked is not looked at.
    ~CTLSimpleMutex() = default;

    /// Takes the lock, whatever the time-out says, and answers true.
    bool Lock(unsigned long /*timeout*/ = INFINITE) noexcept QVLIB_ACQUIRE()
    {
        // Acquire: what the last holder wrote is seen.
        while (m_flag.exchange(kLocked, std::memory_order_acquire) == kLocked)
            GiveWay();
        return true;
    }
    /// Frees the lock, whoever took it. False when it was not locked.
    bool Unlock() noexcept QVLIB_RELEASE()
    {
        // Release: what was written under the lock is seen by the next holder.
        return m_flag.exchange(kUnlocked, std::memory_order_release) == kLocked;
    }

    /// The two values of the word.
    static long GetLockedFlag() noexcept { return kLocked; }
    static long GetUnlockedFlag() noexcept { return kUnlocked; }

private:
    static constexpr std::int32_t kLocked = 1;
    static constexpr std::int32_t kUnlocked = 0;

    static void GiveWay() noexcept;

    std::atomic<std::int32_t> m_flag{kUnlocked};
};

} // namespace qvlib
