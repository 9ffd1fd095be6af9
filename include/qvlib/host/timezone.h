// Time zones as the platform records them: one offset and one pair of yearly changes.
//
//     TIME_ZONE_INFORMATION zone;
//     GetTimeZoneInformation(&zone);                        // zone.Bias is 300 in New York
//     SYSTEMTIME local;
//     SystemTimeToTzSpecificLocalTime(&zone, &gmt, &local);
//
// A record knows no history: its changes hold for every year. All functions here are thread-safe. Public reference: the
// platform's documentation of TIME_ZONE_INFORMATION (timezoneapi.h).
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"

/// A zone. Its biases are minutes, GMT less local time, so positive west of Greenwich; that of a half of the year is
/// added to Bias. A date with year 0 is the wDay-th wDayOfWeek of its month, 5 for the last, in the local time that
/// ends there; with a year it is that day of the month, of every year. Month 0 in either: no daylight time.
struct TIME_ZONE_INFORMATION
{
    LONG Bias;
    WCHAR StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    WCHAR DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};

constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0; ///< the zone has no daylight time
constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFFU;

/// The machine's zone with the rules of this year (of the clock that host::SetClock put in place, if any), and which
/// half of the year it is. TIME_ZONE_ID_INVALID when the zone is not known.
QVLIB_API DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION * zone);

/// A time in GMT as the zone's local time; a null zone is the machine's. FALSE, and `local` as it was, for a record
/// that is no time from 1601 to 30827.
QVLIB_API BOOL SystemTimeToTzSpecificLocalTime(TIME_ZONE_INFORMATION const * zone, SYSTEMTIME const * gmt,
                                               SYSTEMTIME * local);

/// A local time of the zone in GMT. The hour that the change in spring skips and the one that the change in autumn
/// repeats are both read as daylight time.
QVLIB_API BOOL TzSpecificLocalTimeToSystemTime(TIME_ZONE_INFORMATION const * zone, SYSTEMTIME const * local,
                                               SYSTEMTIME * gmt);

#endif
