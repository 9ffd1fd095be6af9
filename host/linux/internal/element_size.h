// The one table of how wide the content of a kind is in memory: an array's element, or what a VT_BYREF points to.
#pragma once

#include "qvlib/host/variant.h"

#include <cstddef>

namespace qvlib::host
{

/// 0 for a kind that cannot be an element.
constexpr ULONG ElementSize(VARTYPE vt) noexcept
{
    switch (vt)
    {
    case VT_I1:
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
        return 8;
    case VT_BSTR:
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return sizeof(void *);
    case VT_VARIANT:
        return sizeof(VARIANT);
    case VT_DECIMAL:
        return sizeof(DECIMAL);
    default:
        return 0;
    }
}

} // namespace qvlib::host
