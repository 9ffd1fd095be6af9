#include "qvlib/VariantCompare.h"

#include "qvlib/framework/comutil.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>

namespace qvlib
{
namespace
{

VARTYPE Mapped(VARTYPE vt) noexcept
{
    return vt == VT_INT ? static_cast<VARTYPE>(VT_I4) : vt == VT_UINT ? static_cast<VARTYPE>(VT_UI4) : vt;
}

bool StandsBefore(BSTR a, BSTR b) noexcept
{
    UINT const left = SysStringByteLen(a);
    UINT const right = SysStringByteLen(b);
    if (left != right)
        return left < right;
    return left != 0 && std::memcmp(a, b, left) < 0;
}

} // namespace

int TLCompareBSTR(wchar_t * a, wchar_t * b)
{
    std::size_t const left = SysStringLen(a);
    std::size_t const right = SysStringLen(b);
    if (std::size_t const common = std::min(left, right); common != 0)
        if (int const order = std::wmemcmp(a, b, common); order != 0)
            return order < 0 ? -1 : 1;
    return left < right ? -1 : left > right ? 1 : 0;
}

bool TLCompareVariantLess(tagVARIANT const * a, tagVARIANT const * b)
{
    if (a == b)
        return false;
    if (a == nullptr || b == nullptr)
        _com_issue_error(E_POINTER);
    if (a->vt != b->vt)
    {
        VARTYPE const left = Mapped(a->vt);
        VARTYPE const right = Mapped(b->vt);
        if (left != right)
            return left < right;
    }
    switch (a->vt)
    {
    case VT_EMPTY:
    case VT_NULL:
        return false;
    case VT_I2:
    case VT_BOOL:
        return a->iVal < b->iVal;
    case VT_I4:
    case VT_ERROR:
    case VT_INT:
        return a->lVal < b->lVal;
    case VT_R4:
        return a->fltVal < b->fltVal;
    case VT_R8:
    case VT_DATE:
        return a->dblVal < b->dblVal;
    case VT_CY: // by its bytes on purpose, as texts and decimals are: an order for sorted containers, which stays as it
                // is
        return std::memcmp(&a->cyVal, &b->cyVal, sizeof a->cyVal) < 0;
    case VT_BSTR:
        return StandsBefore(a->bstrVal, b->bstrVal);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return reinterpret_cast<std::uintptr_t>(a->byref) < reinterpret_cast<std::uintptr_t>(b->byref);
    case VT_UI4:
    case VT_UINT:
        return a->ulVal < b->ulVal;
    case VT_DECIMAL:
        return std::memcmp(a, b, sizeof *a) < 0;
    case VT_I1:
        return static_cast<signed char>(a->cVal) < static_cast<signed char>(b->cVal);
    case VT_UI1:
        return a->bVal < b->bVal;
    case VT_UI2:
        return a->uiVal < b->uiVal;
    case VT_I8:
        return a->llVal < b->llVal;
    case VT_UI8:
        return a->ullVal < b->ullVal;
    default:
        _com_issue_error(E_INVALIDARG);
    }
}

} // namespace qvlib
