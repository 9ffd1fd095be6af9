// Variants: what they own, and copies of it.

#include "qvlib/host/variant.h"

#include "host/linux/internal/bstr.h"
#include "host/linux/internal/element_size.h"
#include "host/linux/internal/variant_kind.h"

#include <utility>

using qvlib::host::IsKnownKind;
using qvlib::host::IsPlainKind;

namespace
{

/// A copy of a counted string; null for null, and for no memory.
BSTR CopyText(BSTR text) noexcept
{
    return text == nullptr ? nullptr
                           : SysAllocStringByteLen(reinterpret_cast<char const *>(text), SysStringByteLen(text));
}

/// Gives the content of a bitwise copy an owner of its own.
HRESULT Own(VARIANT & value) noexcept
{
    if ((value.vt & VT_BYREF) != 0)
        return S_OK;
    if ((value.vt & VT_ARRAY) != 0)
    {
        SAFEARRAY * copy = nullptr;
        HRESULT const result = SafeArrayCopy(value.parray, &copy);
        value.parray = copy;
        return result;
    }
    switch (value.vt)
    {
    case VT_BSTR:
    {
        BSTR const text = value.bstrVal;
        value.bstrVal = CopyText(text);
        return text != nullptr && value.bstrVal == nullptr ? E_OUTOFMEMORY : S_OK;
    }
    case VT_DISPATCH:
        if (value.pdispVal != nullptr)
            value.pdispVal->AddRef();
        return S_OK;
    case VT_UNKNOWN:
        if (value.punkVal != nullptr)
            value.punkVal->AddRef();
        return S_OK;
    default:
        return S_OK;
    }
}

} // namespace

HRESULT VariantClear(VARIANTARG * value)
{
    if (value == nullptr)
        return E_INVALIDARG;
    if (IsPlainKind(value->vt))
    {
        value->vt = VT_EMPTY;
        return S_OK;
    }
    if (!IsKnownKind(value->vt))
        return DISP_E_BADVARTYPE;
    VARIANT const old = *value;
    if (old.vt == VT_BSTR)
        SysFreeString(old.bstrVal);
    else if ((old.vt & VT_BYREF) == 0)
    {
        value->vt = VT_EMPTY; // first, as an object's end may look at this variant
        if ((old.vt & VT_ARRAY) != 0)
        {
            HRESULT const result = SafeArrayDestroy(old.parray);
            if (FAILED(result))
                *value = old;
            return result;
        }
        if (old.vt == VT_DISPATCH && old.pdispVal != nullptr)
            old.pdispVal->Release();
        else if (old.vt == VT_UNKNOWN && old.punkVal != nullptr)
            old.punkVal->Release();
        return S_OK;
    }
    value->vt = VT_EMPTY;
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG * target, VARIANTARG const * source)
{
    if (target == nullptr || source == nullptr)
        return E_INVALIDARG;
    if (IsPlainKind(target->vt) && (IsPlainKind(source->vt) || source->vt == VT_BSTR))
    {
        VARIANT copy = *source;
        if (copy.vt == VT_BSTR && (copy.bstrVal = CopyText(copy.bstrVal)) == nullptr && source->bstrVal != nullptr)
            return E_OUTOFMEMORY;
        *target = copy;
        return S_OK;
    }
    if (!IsKnownKind(source->vt))
        return DISP_E_BADVARTYPE;
    if (target == source)
        return S_OK;
    if (source->vt == VT_BSTR && target->vt == VT_BSTR && source->bstrVal != nullptr && target->bstrVal != nullptr &&
        source->bstrVal != target->bstrVal && qvlib::host::OverwriteText(target->bstrVal, source->bstrVal))
        return S_OK;
    VARIANT copy = *source;
    if (HRESULT const result = Own(copy); FAILED(result))
        return result;
    if (HRESULT const result = VariantClear(target); FAILED(result))
    {
        VariantClear(&copy);
        return result;
    }
    *target = copy;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANTARG * target, VARIANTARG const * source)
{
    if (target == nullptr || source == nullptr)
        return E_INVALIDARG;
    if (!IsKnownKind(source->vt))
        return DISP_E_BADVARTYPE;
    if ((source->vt & VT_BYREF) == 0)
        return VariantCopy(target, source);
    if (source->byref == nullptr)
        return E_INVALIDARG;

    VARTYPE const vt = source->vt & static_cast<VARTYPE>(~VT_BYREF);
    if (vt == VT_VARIANT)
    {
        // One more step is followed, as the platform does: a variant by reference may hold a reference itself.
        VARIANT const * const inner = source->pvarVal;
        if (inner->vt == (VT_BYREF | VT_VARIANT))
            return E_INVALIDARG;
        return VariantCopyInd(target, inner);
    }
    VARIANT held{};
    if (vt == VT_DECIMAL)
    {
        DECIMAL decimal;
        std::memcpy(&decimal, source->byref, sizeof decimal);
        qvlib::host::SetDecimal(held, decimal);
    }
    else
    {
        std::memcpy(&held.llVal, source->byref, (vt & VT_ARRAY) != 0 ? sizeof(void *) : qvlib::host::ElementSize(vt));
        held.vt = vt;
    }
    return VariantCopy(target, &held);
}
