// A hint to the processor's caches.
#pragma once

namespace qvlib::internal
{

/// Has the cache fetch the line at an address, which need not be one of anything, while the processor goes on.
inline void Prefetch(void const * address) noexcept
{
#if defined(__GNUC__)
    __builtin_prefetch(address, 1);
    // In the compiler's eyes a prefetch does nothing, and calls of a function that does nothing else are left out. This
    // is an empty instruction that counts as doing something.
    asm volatile("");
#else
    static_cast<void>(address);
#endif
}

} // namespace qvlib::internal
