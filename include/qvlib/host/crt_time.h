// The clock and the time text of the platform's run-time library, under its names.
//
// `_time64` and `_localtime64_s` read the system's clock and the machine's time zone. A program (a test, as a rule) can
// put another clock in their place:
//
//     qvlib::host::SetClock([] { return std::int64_t{1700000000}; }, 60);   // one hour east of GMT, no daylight time
//     ...
//     qvlib::host::SetClock(nullptr);                                       // the system's own again
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <cstddef>
#include <cstdint>
#include <ctime>

using __time64_t = __int64;

#if !defined(_WIN32)
/// Seconds since 1 January 1970 in GMT; stored to `now` too when that is not null. Thread-safe.
QVLIB_API __time64_t _time64(__time64_t * now);

/// Expands a time to calendar fields in the machine's time zone. 0, or EINVAL for a null pointer or a time outside
/// 1970 to 3000, with every field of the record set to -1. Thread-safe.
QVLIB_API int _localtime64_s(std::tm * fields, __time64_t const * time);
#endif

namespace qvlib::host
{

/// `wcsftime` as the platform's run-time library knew it before 2015, in its "C" locale: the letters
/// aAbBcdHIjmMpSUwWxXyYzZ%, each with an optional "#". Writes at most `size` characters, the terminator included, and
/// gives the count without it; 0 when the text does not fit, a letter is unknown or a field it needs is out of range,
/// and the buffer then holds the empty text. Thread-safe.
QVLIB_API std::size_t wcsftime(wchar_t * buffer, std::size_t size, wchar_t const * format, std::tm const * time);

/// Puts a clock in place of the system's for the whole process: `_time64` gives what it gives, `_localtime64_s` counts
/// local time `minutesEast` from GMT. Null restores the system's clock and zone. Thread-safe.
QVLIB_API void SetClock(std::int64_t (*clock)(), int minutesEast = 0);

} // namespace qvlib::host
