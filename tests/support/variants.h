// Variants as tests build them.
#pragma once

#include "support/com_objects.h"
#include "support/tsv.h"

#include "qvlib/host/variant.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace qvlib_test
{

/// A variant that ends what it holds.
struct Holder : VARIANT
{
    Holder() : VARIANT() {}
    Holder(Holder const &) = delete;
    Holder & operator=(Holder const &) = delete;
    ~Holder() { VariantClear(this); }
};

inline BSTR Text(std::wstring const & text) { return SysAllocStringLen(text.data(), static_cast<UINT>(text.size())); }

inline std::wstring View(BSTR text)
{
    return text == nullptr ? std::wstring() : std::wstring(text, SysStringLen(text));
}

/// The variant that the columns of a row describe; false for one that is not built here. `target` holds what a
/// reference points to.
inline bool BuildVariant(Table const & rows, std::size_t row, std::string const & vtColumn, std::string const & column,
                         VARIANT & value, LONGLONG (&target)[2])
{
    auto const vt = static_cast<VARTYPE>(rows.Integer(row, vtColumn));
    std::string const raw = rows.Raw(row, column);
    value.vt = vt;
    switch (vt & VT_TYPEMASK)
    {
    case VT_EMPTY:
    case VT_NULL:
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return true;
    case VT_R4:
        value.fltVal = static_cast<float>(std::stod(raw));
        return true;
    case VT_BSTR:
        if (raw != "<null>")
            value.bstrVal = Text(rows.Wide(row, column));
        return true;
    case VT_ERROR:
        value.scode = static_cast<SCODE>(std::stoul(raw, nullptr, 16));
        return true;
    case VT_DECIMAL:
    {
        unsigned scale = 0;
        unsigned sign = 0;
        unsigned words[3] = {};
        if (std::sscanf(raw.c_str(), "scale %u sign %u %x %x %x", &scale, &sign, words, words + 1, words + 2) != 5)
            return false;
        DECIMAL decimal{};
        decimal.scale = static_cast<BYTE>(scale);
        decimal.sign = sign != 0 ? DECIMAL_NEG : BYTE{0};
        decimal.Hi32 = words[0];
        decimal.Lo64 = ULONGLONG{words[1]} << 32 | words[2];
        qvlib::host::SetDecimal(value, decimal);
        return true;
    }
    case VT_R8:
    case VT_DATE:
        if ((vt & VT_BYREF) == 0)
        {
            value.dblVal = std::stod(raw);
            return true;
        }
        break;
    default:
        if ((vt & VT_BYREF) == 0)
        {
            value.ullVal = vt == VT_UI8 ? std::stoull(raw) : static_cast<ULONGLONG>(std::stoll(raw));
            return true;
        }
    }
    if (raw.compare(0, 3, "-> ") != 0)
        return false;
    double const number = std::stod(raw.substr(3));
    LONG const whole = static_cast<LONG>(number);
    if ((vt & VT_TYPEMASK) == VT_R8)
        std::memcpy(target, &number, sizeof number);
    else
        std::memcpy(target, &whole, sizeof whole);
    value.byref = target;
    return true;
}

} // namespace qvlib_test
