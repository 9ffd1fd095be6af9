// The one call into the system by which threads sleep and are woken here.
#pragma once

#include "qvlib/host/types.h"

#include <atomic>
#include <cstdint>

namespace qvlib::host
{

/// A moment on the monotonic clock, in nanoseconds.
using Moment = std::int64_t;
constexpr Moment kNever = INT64_MAX;

/// The moment at which a time-out of so many milliseconds, begun now, is over.
Moment Deadline(DWORD milliseconds) noexcept;

/// Sleeps while the word has that value, until someone wakes it or the moment comes; false when the moment came. May
/// return without cause.
bool FutexWait(std::atomic<std::uint32_t> const & word, std::uint32_t value, Moment until = kNever) noexcept;
/// The word is only an address here: it may be gone already.
void FutexWake(void const * word, int count) noexcept;
/// The same for the half of a wide word that holds its low bits.
void FutexWaitLow(std::atomic<std::uint64_t> const & word, std::uint32_t value) noexcept;
void FutexWakeLow(std::atomic<std::uint64_t> const & word) noexcept;

/// Tells the processor that this is a loop that waits.
inline void SpinPause() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

/// How often to look before going to sleep for what another thread does: going to sleep and being woken costs some
/// microseconds on both sides. 0 where this process has one processor, and nobody else can be at it.
int SpinLimit() noexcept;

/// Waits for a few microseconds at most, and tells whether it happened. `happened` is asked for often and must be
/// cheap.
template <class Condition>
bool SpinUntil(Condition const & happened) noexcept
{
    for (int left = SpinLimit(); left > 0; --left)
    {
        if (happened())
            return true;
        SpinPause();
    }
    return false;
}

} // namespace qvlib::host
