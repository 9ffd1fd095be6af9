#include "host/linux/internal/futex.h"

#include "qvlib/host/sync.h"

#include <bit>
#include <cerrno>
#include <climits>
#include <ctime>

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qvlib::host
{

namespace
{

constexpr Moment kSecond = 1'000'000'000;
constexpr Moment kMillisecond = 1'000'000;

bool Sleep(void const * word, std::uint32_t value, Moment until) noexcept
{
    timespec time{};
    if (until != kNever)
    {
        time.tv_sec = static_cast<std::time_t>(until / kSecond);
        time.tv_nsec = static_cast<long>(until % kSecond);
    }
    int const error = errno;
    // The bitset form counts the time from the monotonic clock's beginning, so that a wait which is interrupted goes on
    // without being measured anew.
    long const result = ::syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value,
                                  until == kNever ? nullptr : &time, nullptr, FUTEX_BITSET_MATCH_ANY);
    bool const timedOut = result != 0 && errno == ETIMEDOUT;
    errno = error;
    return !timedOut;
}

void const * LowHalf(std::atomic<std::uint64_t> const & word) noexcept
{
    return reinterpret_cast<char const *>(&word) + (std::endian::native == std::endian::little ? 0 : 4);
}

} // namespace

Moment Deadline(DWORD milliseconds) noexcept
{
    if (milliseconds == INFINITE)
        return kNever;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec + milliseconds * kMillisecond;
}

bool FutexWait(std::atomic<std::uint32_t> const & word, std::uint32_t value, Moment until) noexcept
{
    return Sleep(&word, value, until);
}

void FutexWake(void const * word, int count) noexcept
{
    int const error = errno;
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, count, nullptr, nullptr, 0);
    errno = error;
}

void FutexWaitLow(std::atomic<std::uint64_t> const & word, std::uint32_t value) noexcept
{
    Sleep(LowHalf(word), value, kNever);
}

void FutexWakeLow(std::atomic<std::uint64_t> const & word) noexcept { FutexWake(LowHalf(word), INT_MAX); }

int SpinLimit() noexcept
{
    // Relaxed: whoever comes too early asks the system once more, and learns the same.
    static constinit std::atomic<int> limit{-1};
    int known = limit.load(std::memory_order_relaxed);
    if (known < 0) [[unlikely]]
    {
        constexpr int kLooks = 100;
        cpu_set_t processors;
        known = ::sched_getaffinity(0, sizeof processors, &processors) == 0 && CPU_COUNT(&processors) == 1 ? 0 : kLooks;
        limit.store(known, std::memory_order_relaxed);
    }
    return known;
}

} // namespace qvlib::host
