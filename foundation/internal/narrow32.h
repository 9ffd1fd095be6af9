// The interface says `long` and `unsigned long` and means 32 bits. These take such an argument into a 32-bit field: a
// value that does not fit throws instead of being cut, and an all-ones argument of either width is the interface's
// 0xFFFFFFFF (or -1).
#pragma once

#include "qvlib/Exceptions.h"

#include <cstdint>
#include <limits>

namespace qvlib::internal
{

[[noreturn]] inline void ThrowNotIn32Bits()
{
    static char const * const kParameter = "value";
    throw argument_out_of_range_exception(kParameter, nullptr);
}

inline std::uint32_t NarrowULong(unsigned long value)
{
    if (value > 0xFFFFFFFFUL && value != ~0UL)
        ThrowNotIn32Bits();
    return static_cast<std::uint32_t>(value);
}

/// Also takes 0xFFFFFFFF as -1, as an all-ones argument of 32 bits reads in a signed field.
inline std::int32_t NarrowLong(long value)
{
    if ((value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) &&
        value != static_cast<long>(0xFFFFFFFFUL))
        ThrowNotIn32Bits();
    return static_cast<std::int32_t>(value);
}

} // namespace qvlib::internal
