// Whole numbers of every variant kind as sign and magnitude.
#pragma once

#include "qvlib/host/variant.h"

#include <cstddef>

namespace qvlib::host
{

/// A whole number: sign and magnitude of any 64-bit value. Zero is never negative.
struct Whole
{
    bool negative;
    ULONGLONG magnitude;
};

constexpr Whole FromSigned(LONGLONG value) noexcept
{
    return {value < 0, value < 0 ? ~static_cast<ULONGLONG>(value) + 1 : static_cast<ULONGLONG>(value)};
}

constexpr double ToDouble(Whole const & whole) noexcept
{
    double const magnitude = static_cast<double>(whole.magnitude);
    return whole.negative ? -magnitude : magnitude;
}

/// The width in bytes of a whole-number kind, 0 for any other; `isSigned` tells which sort.
constexpr std::size_t WholeWidth(VARTYPE vt, bool & isSigned) noexcept
{
    isSigned = false;
    switch (vt)
    {
    case VT_I1:
        isSigned = true;
        return 1;
    case VT_UI1:
        return 1;
    case VT_I2:
        isSigned = true;
        return 2;
    case VT_UI2:
        return 2;
    case VT_I4:
    case VT_INT:
        isSigned = true;
        return 4;
    case VT_UI4:
    case VT_UINT:
        return 4;
    case VT_I8:
        isSigned = true;
        return 8;
    case VT_UI8:
        return 8;
    default:
        return 0;
    }
}

/// The value of a whole-number, truth or empty variant; false for any other kind.
inline bool GetWhole(VARIANT const & value, Whole & whole) noexcept
{
    switch (value.vt)
    {
    case VT_EMPTY:
        whole = {false, 0};
        return true;
    case VT_I1:
        whole = FromSigned(static_cast<signed char>(value.cVal));
        return true;
    case VT_UI1:
        whole = {false, value.bVal};
        return true;
    case VT_I2:
    case VT_BOOL:
        whole = FromSigned(value.iVal);
        return true;
    case VT_UI2:
        whole = {false, value.uiVal};
        return true;
    case VT_I4:
    case VT_INT:
        whole = FromSigned(value.lVal);
        return true;
    case VT_UI4:
    case VT_UINT:
        whole = {false, value.ulVal};
        return true;
    case VT_I8:
        whole = FromSigned(value.llVal);
        return true;
    case VT_UI8:
        whole = {false, value.ullVal};
        return true;
    default:
        return false;
    }
}

} // namespace qvlib::host
