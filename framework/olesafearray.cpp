#include "qvlib/framework/olesafearray.h"

#include "qvlib/framework/exceptions.h"

#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace
{

void Check(HRESULT result)
{
    if (SUCCEEDED(result))
        return;
    if (result == E_OUTOFMEMORY)
        AfxThrowMemoryException();
    AfxThrowOleException(result);
}

LONG Narrow(long value)
{
    if (value < std::numeric_limits<LONG>::min() || value > std::numeric_limits<LONG>::max())
        AfxThrowInvalidArgException();
    return static_cast<LONG>(value);
}

/// The indices in 32 bits, one for each dimension.
class Indices
{
public:
    Indices(SAFEARRAY * array, long const * indices)
    {
        if (array == nullptr || indices == nullptr)
            AfxThrowOleException(E_INVALIDARG);
        UINT const count = SafeArrayGetDim(array);
        if (count > std::size(m_few))
            m_many.reset(new LONG[count]);
        for (UINT i = 0; i < count; ++i)
            Get()[i] = Narrow(indices[i]);
    }
    LONG * Get() noexcept { return m_many != nullptr ? m_many.get() : m_few; }

private:
    LONG m_few[8];
    std::unique_ptr<LONG[]> m_many;
};

} // namespace

COleSafeArray::COleSafeArray(SAFEARRAY const * array, VARTYPE kind) : tagVARIANT()
{
    VARIANT source{};
    source.vt = static_cast<VARTYPE>(VT_ARRAY | (kind & VT_TYPEMASK));
    source.parray = const_cast<SAFEARRAY *>(array); // only read
    Check(VariantCopy(this, &source));
}

COleSafeArray::COleSafeArray(COleSafeArray const & other) : tagVARIANT() { Check(VariantCopy(this, &other)); }

COleSafeArray::COleSafeArray(VARIANT const & value) : tagVARIANT() { *this = value; }

COleSafeArray::COleSafeArray(VARIANT const * value) : tagVARIANT() { *this = value; }

COleSafeArray & COleSafeArray::operator=(COleSafeArray const & other)
{
    Check(VariantCopy(this, &other));
    return *this;
}

COleSafeArray & COleSafeArray::operator=(COleSafeArray && other) noexcept
{
    std::swap(static_cast<VARIANT &>(*this), static_cast<VARIANT &>(other));
    return *this;
}

COleSafeArray & COleSafeArray::operator=(VARIANT const & value)
{
    if ((value.vt & VT_ARRAY) == 0 || (value.vt & VT_BYREF) != 0)
        AfxThrowOleException(E_INVALIDARG);
    Check(VariantCopy(this, &value));
    return *this;
}

COleSafeArray & COleSafeArray::operator=(VARIANT const * value)
{
    if (value == nullptr)
        AfxThrowOleException(E_POINTER);
    return *this = *value;
}

void COleSafeArray::Clear() { Check(VariantClear(this)); }

void COleSafeArray::Hold(VARTYPE kind, SAFEARRAY * array)
{
    if (HRESULT const result = VariantClear(this); FAILED(result))
    {
        SafeArrayDestroy(array);
        Check(result);
    }
    vt = static_cast<VARTYPE>(VT_ARRAY | kind);
    parray = array;
}

void COleSafeArray::Attach(VARIANT & value)
{
    if ((value.vt & VT_ARRAY) == 0 || (value.vt & VT_BYREF) != 0)
        AfxThrowOleException(E_INVALIDARG);
    if (&value == this)
        return;
    Clear();
    static_cast<VARIANT &>(*this) = std::exchange(value, VARIANT{});
}

VARIANT COleSafeArray::Detach() noexcept { return std::exchange(static_cast<VARIANT &>(*this), VARIANT{}); }

void COleSafeArray::Create(VARTYPE kind, DWORD dimensions, SAFEARRAYBOUND const * bounds)
{
    // Null also for a kind that no element has; the framework makes no difference.
    SAFEARRAY * const array = SafeArrayCreate(kind, dimensions, const_cast<SAFEARRAYBOUND *>(bounds));
    if (array == nullptr)
        AfxThrowMemoryException();
    Hold(kind, array);
}

void COleSafeArray::Create(VARTYPE kind, DWORD dimensions, DWORD const * elements)
{
    if (elements == nullptr || dimensions == 0 || dimensions > 0xFFFF)
        AfxThrowOleException(E_INVALIDARG);
    std::unique_ptr<SAFEARRAYBOUND[]> const bounds(new (std::nothrow) SAFEARRAYBOUND[dimensions]);
    if (bounds == nullptr)
        AfxThrowMemoryException();
    for (DWORD i = 0; i < dimensions; ++i)
        bounds[i] = {elements[i], 0};
    Create(kind, dimensions, bounds.get());
}

void COleSafeArray::CreateOneDim(VARTYPE kind, DWORD elements, void const * source, long lowerBound)
{
    if (source != nullptr && (kind == VT_BSTR || kind == VT_UNKNOWN || kind == VT_DISPATCH || kind == VT_VARIANT))
        AfxThrowOleException(E_INVALIDARG);
    SAFEARRAYBOUND const bound{elements, Narrow(lowerBound)};
    COleSafeArray made; // the source may lie in what is held
    made.Create(kind, 1, &bound);
    if (source != nullptr && elements != 0)
        std::memcpy(made.parray->pvData, source, std::size_t{elements} * made.GetElemSize());
    Attach(made);
}

DWORD COleSafeArray::GetOneDimSize() const
{
    if (GetDim() != 1)
        AfxThrowOleException(E_INVALIDARG);
    return parray->rgsabound[0].cElements;
}

void COleSafeArray::ResizeOneDim(DWORD elements)
{
    if (GetDim() != 1)
        AfxThrowOleException(E_INVALIDARG);
    SAFEARRAYBOUND bound{elements, parray->rgsabound[0].lLbound};
    Redim(&bound);
}

void COleSafeArray::Redim(SAFEARRAYBOUND * lastBound) { Check(SafeArrayRedim(Array(), lastBound)); }

DWORD COleSafeArray::GetDim() const noexcept { return SafeArrayGetDim(Array()); }

DWORD COleSafeArray::GetElemSize() const noexcept { return SafeArrayGetElemsize(Array()); }

void COleSafeArray::GetLBound(DWORD dimension, long * bound) const
{
    LONG found = 0;
    Check(bound != nullptr ? SafeArrayGetLBound(Array(), dimension, &found) : E_INVALIDARG);
    *bound = found;
}

void COleSafeArray::GetUBound(DWORD dimension, long * bound) const
{
    LONG found = 0;
    Check(bound != nullptr ? SafeArrayGetUBound(Array(), dimension, &found) : E_INVALIDARG);
    *bound = found;
}

void COleSafeArray::AccessData(void ** data) { Check(SafeArrayAccessData(Array(), data)); }

void COleSafeArray::UnaccessData() { Check(SafeArrayUnaccessData(Array())); }

void COleSafeArray::Lock() { Check(SafeArrayLock(Array())); }

void COleSafeArray::Unlock() { Check(SafeArrayUnlock(Array())); }

void COleSafeArray::GetElement(long const * indices, void * value) const
{
    Check(SafeArrayGetElement(Array(), Indices(Array(), indices).Get(), value));
}

void COleSafeArray::PutElement(long const * indices, void * value)
{
    Check(SafeArrayPutElement(Array(), Indices(Array(), indices).Get(), value));
}

void COleSafeArray::PtrOfIndex(long const * indices, void ** element)
{
    Check(SafeArrayPtrOfIndex(Array(), Indices(Array(), indices).Get(), element));
}

void COleSafeArray::Copy(SAFEARRAY ** copy) const { Check(SafeArrayCopy(Array(), copy)); }

void COleSafeArray::DestroyData() { Check(SafeArrayDestroyData(Array())); }
