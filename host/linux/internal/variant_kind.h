// Which kinds a variant may be of.
#pragma once

#include "qvlib/host/variant.h"

namespace qvlib::host
{

/// Whether a variant may be of the kind, its flags included.
constexpr bool IsKnownKind(VARTYPE vt) noexcept
{
    if ((vt & (VT_VECTOR | VT_RESERVED)) != 0)
        return false;
    VARTYPE const base = vt & VT_TYPEMASK;
    if ((vt & (VT_ARRAY | VT_BYREF)) != 0 && base <= VT_NULL)
        return false;
    if (base == VT_VARIANT)
        return (vt & (VT_ARRAY | VT_BYREF)) != 0;
    return base <= VT_UINT && base != 15;
}

/// Whether a variant of the kind owns nothing: its bits are a copy.
constexpr bool IsPlainKind(VARTYPE vt) noexcept
{
    constexpr ULONG kPlain = 1U << VT_EMPTY | 1U << VT_NULL | 1U << VT_I2 | 1U << VT_I4 | 1U << VT_R4 | 1U << VT_R8 |
                             1U << VT_CY | 1U << VT_DATE | 1U << VT_ERROR | 1U << VT_BOOL | 1U << VT_DECIMAL |
                             1U << VT_I1 | 1U << VT_UI1 | 1U << VT_UI2 | 1U << VT_UI4 | 1U << VT_I8 | 1U << VT_UI8 |
                             1U << VT_INT | 1U << VT_UINT;
    return vt <= VT_UINT && (kPlain >> vt & 1U) != 0;
}

} // namespace qvlib::host
