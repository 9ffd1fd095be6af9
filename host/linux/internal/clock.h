// The clock that a program put in place of the system's (host/crt_time.h), for the rest of the host.
#pragma once

namespace qvlib::host::internal
{

/// Whether there is one, and how many minutes its local time is east of GMT.
bool IsClockReplaced(int & minutesEast);

} // namespace qvlib::host::internal
