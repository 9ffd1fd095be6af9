// ETimeResolution and its wrapper TimeResolutionX: the unit to which a time is rounded. The numbers start at 20, so a
// default TimeResolutionX, which holds 0, holds no member.
#pragma once

#include "qvlib/EnumHelper.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// Units of time, from small to large.
enum ETimeResolution : int
{
    NanoSeconds = 20,
    MicroSeconds = 21,
    MilliSeconds = 22,
    Seconds = 23,
    Minutes = 24,
    Hours = 25,
    Days = 26,
    Invalid = -1
};

/// A unit of time with its constants, predicates, setters and names. Thread-compatible.
class TimeResolutionX : public CTLEnumHelper<ETimeResolution>
{
public:
    using CTLEnumHelper::CTLEnumHelper;
    using CTLEnumHelper::operator=;
    TimeResolutionX() noexcept = default;

    QVLIB_ENUM_MEMBER(ETimeResolution, NanoSeconds, L"NanoSeconds")
    QVLIB_ENUM_MEMBER(ETimeResolution, MicroSeconds, L"MicroSeconds")
    QVLIB_ENUM_MEMBER(ETimeResolution, MilliSeconds, L"MilliSeconds")
    QVLIB_ENUM_MEMBER(ETimeResolution, Seconds, L"Seconds")
    QVLIB_ENUM_MEMBER(ETimeResolution, Minutes, L"Minutes")
    QVLIB_ENUM_MEMBER(ETimeResolution, Hours, L"Hours")
    QVLIB_ENUM_MEMBER(ETimeResolution, Days, L"Days")
    QVLIB_ENUM_MEMBER(ETimeResolution, Invalid, L"Invalid")
};

} // namespace qvlib
