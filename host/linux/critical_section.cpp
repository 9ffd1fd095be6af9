#include "host/linux/internal/futex.h"
#include "host/linux/internal/thread_record.h"
#include "qvlib/host/sync.h"

#include <cstdint>

namespace host = qvlib::host;

namespace
{

constexpr DWORD kFree = 0;
constexpr DWORD kHeld = 1;
constexpr DWORD kWaitedFor = 2;
// Each look takes the word out of the owner's cache, so they become rarer.
constexpr int kFirstPauses = 16;
constexpr int kLastPauses = 64;

void Wait(std::atomic<DWORD> & state) noexcept
{
    for (int pauses = kFirstPauses; pauses <= kLastPauses && host::SpinLimit() != 0; pauses *= 2)
    {
        for (int left = pauses; left > 0; --left)
            host::SpinPause();
        DWORD expected = kFree;
        if (state.load(std::memory_order_relaxed) == kFree &&
            state.compare_exchange_weak(expected, kHeld, std::memory_order_acquire, std::memory_order_relaxed))
            return;
    }
    // Who slept can't know whether others still do, and leaves the mark for them.
    while (state.exchange(kWaitedFor, std::memory_order_acquire) != kFree)
        host::FutexWait(state, kWaitedFor);
}

void Own(_RTL_CRITICAL_SECTION & section, DWORD id) noexcept
{
    section.OwningThread.store(id, std::memory_order_relaxed);
    section.RecursionCount = 1;
}

} // namespace

void InitializeCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept
{
    section->LockState.store(kFree, std::memory_order_relaxed);
    section->OwningThread.store(0, std::memory_order_relaxed);
    section->RecursionCount = 0;
}

void EnterCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    // Only the owner finds its own id there, so that what other threads write meanwhile does not matter.
    DWORD const id = host::CurrentThreadId();
    if (section->OwningThread.load(std::memory_order_relaxed) == id)
    {
        ++section->RecursionCount;
        return;
    }
    DWORD expected = kFree;
    if (!section->LockState.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                                    std::memory_order_relaxed))
        Wait(section->LockState);
    Own(*section, id);
}

BOOL TryEnterCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    DWORD const id = host::CurrentThreadId();
    if (section->OwningThread.load(std::memory_order_relaxed) == id)
    {
        ++section->RecursionCount;
        return TRUE;
    }
    DWORD expected = kFree;
    if (!section->LockState.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                                    std::memory_order_relaxed))
        return FALSE;
    Own(*section, id);
    return TRUE;
}

void LeaveCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    if (section->OwningThread.load(std::memory_order_relaxed) != host::CurrentThreadId() ||
        --section->RecursionCount != 0)
        return;
    section->OwningThread.store(0, std::memory_order_relaxed);
    if (section->LockState.exchange(kFree, std::memory_order_release) == kWaitedFor)
        host::FutexWake(&section->LockState, 1);
}

void DeleteCriticalSection(_RTL_CRITICAL_SECTION * section) noexcept { InitializeCriticalSection(section); }
