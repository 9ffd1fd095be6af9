// How the user locale's arguments reach the platform.
#pragma once

#include "qvlib/host/nls.h"

#include <limits>

namespace qvlib::internal
{

/// An id or flags that do not fit 32 bits are none that the platform knows.
inline LCID To32Bits(unsigned long id) { return id <= 0xFFFFFFFFUL ? static_cast<LCID>(id) : 0xFFFFFFFFU; }

/// A size that the platform cannot count is refused by it.
inline int ToSize(unsigned long size)
{
    return size <= static_cast<unsigned long>(std::numeric_limits<int>::max()) ? static_cast<int>(size) : -1;
}

constexpr unsigned long kJapanese = 0x411;

/// Makes a yen sign full-width if it stands at the start of a Japanese text, or with a `reach` of 2 behind the sign of
/// an amount. The id is compared as it was given: a default id that stands for Japanese does not count, on purpose.
inline void RepairYen(unsigned long locale, wchar_t * text, unsigned long size, unsigned long reach)
{
    constexpr wchar_t kYen = 0xA5;
    if (locale != kJapanese)
    {
        return;
    }
    for (unsigned long i = 0; i < reach && i < size && text[i] != 0; ++i)
    {
        if (text[i] == kYen)
        {
            text[i] = 0xFFE5;
            return;
        }
    }
}

} // namespace qvlib::internal
