// Array records: creation, copying, bounds and access to the data.
//
// The element kind lies in a word of its own in front of the descriptor.

#include "qvlib/host/safearray.h"
#include "qvlib/host/variant.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

constexpr std::size_t kPrefix = 16; // keeps the descriptor aligned as the allocation is
constexpr ULONGLONG kMaxBytes = 0x7FFFFFFF;

ULONG ElementSize(VARTYPE vt) noexcept
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

USHORT Features(VARTYPE vt) noexcept
{
    switch (vt)
    {
    case VT_BSTR:
        return FADF_HAVEVARTYPE | FADF_BSTR;
    case VT_UNKNOWN:
        return FADF_HAVEVARTYPE | FADF_UNKNOWN;
    case VT_DISPATCH:
        return FADF_HAVEVARTYPE | FADF_DISPATCH;
    case VT_VARIANT:
        return FADF_HAVEVARTYPE | FADF_VARIANT;
    default:
        return FADF_HAVEVARTYPE;
    }
}

unsigned char * BlockOf(SAFEARRAY * array) noexcept { return reinterpret_cast<unsigned char *>(array) - kPrefix; }

VARTYPE KindOf(SAFEARRAY * array) noexcept
{
    VARTYPE vt;
    std::memcpy(&vt, BlockOf(array), sizeof vt);
    return vt;
}

std::size_t CountOf(SAFEARRAY const * array) noexcept
{
    std::size_t count = 1;
    for (USHORT i = 0; i < array->cDims; ++i)
        count *= (array->rgsabound + i)->cElements;
    return count;
}

void FreeBlocks(SAFEARRAY * array) noexcept
{
    ::operator delete(array->pvData);
    ::operator delete(BlockOf(array));
}

/// A descriptor with the bounds given, which stand in the order asked for, and zeroed data.
SAFEARRAY * Allocate(VARTYPE vt, UINT dimensions, SAFEARRAYBOUND const * bounds, bool reversed) noexcept
{
    ULONG const elementSize = ElementSize(vt);
    if (elementSize == 0 || dimensions == 0 || dimensions > 0xFFFF || bounds == nullptr)
        return nullptr;
    ULONGLONG bytes = elementSize;
    for (UINT i = 0; i < dimensions; ++i)
    {
        LONGLONG const last = LONGLONG{bounds[i].lLbound} + bounds[i].cElements - 1;
        if (last > 0x7FFFFFFF)
            return nullptr;
        bytes *= bounds[i].cElements; // both below 2^32
        if (bytes > kMaxBytes)
            return nullptr;
    }
    std::size_t const head = kPrefix + sizeof(SAFEARRAY) + (dimensions - 1) * sizeof(SAFEARRAYBOUND);
    auto * const block = static_cast<unsigned char *>(::operator new(head, std::nothrow));
    void * const data = ::operator new(static_cast<std::size_t>(std::max<ULONGLONG>(bytes, 1)), std::nothrow);
    if (block == nullptr || data == nullptr)
    {
        ::operator delete(block);
        ::operator delete(data);
        return nullptr;
    }
    std::memset(block, 0, head);
    std::memset(data, 0, static_cast<std::size_t>(bytes));
    std::memcpy(block, &vt, sizeof vt);
    auto * const array = ::new (static_cast<void *>(block + kPrefix)) SAFEARRAY{};
    array->cDims = static_cast<USHORT>(dimensions);
    array->fFeatures = Features(vt);
    array->cbElements = elementSize;
    array->pvData = data;
    for (UINT i = 0; i < dimensions; ++i)
        array->rgsabound[i] = bounds[reversed ? dimensions - 1 - i : i];
    return array;
}

template <class T>
T * Elements(SAFEARRAY * array) noexcept
{
    return static_cast<T *>(array->pvData);
}

HRESULT CopyElements(SAFEARRAY * from, SAFEARRAY * to, std::size_t count) noexcept
{
    switch (KindOf(from))
    {
    case VT_BSTR:
        for (std::size_t i = 0; i < count; ++i)
        {
            BSTR const text = Elements<BSTR>(from)[i];
            BSTR & copy = Elements<BSTR>(to)[i];
            copy = text == nullptr
                       ? nullptr
                       : SysAllocStringByteLen(reinterpret_cast<char const *>(text), SysStringByteLen(text));
            if (copy == nullptr && text != nullptr)
                return E_OUTOFMEMORY;
        }
        return S_OK;
    case VT_UNKNOWN:
    case VT_DISPATCH: // every interface begins with IUnknown's slots, and the elements are bare pointers
        for (std::size_t i = 0; i < count; ++i)
            if (IUnknown * const object = Elements<IUnknown *>(to)[i] = Elements<IUnknown *>(from)[i])
                object->AddRef();
        return S_OK;
    case VT_VARIANT:
        for (std::size_t i = 0; i < count; ++i)
            if (HRESULT const result = VariantCopy(Elements<VARIANT>(to) + i, Elements<VARIANT>(from) + i);
                FAILED(result))
                return result;
        return S_OK;
    default:
        std::memcpy(to->pvData, from->pvData, count * from->cbElements);
        return S_OK;
    }
}

HRESULT ReleaseElements(SAFEARRAY * array, std::size_t count) noexcept
{
    switch (KindOf(array))
    {
    case VT_BSTR:
        for (std::size_t i = 0; i < count; ++i)
            SysFreeString(std::exchange(Elements<BSTR>(array)[i], nullptr));
        return S_OK;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        for (std::size_t i = 0; i < count; ++i)
            if (IUnknown * const object = std::exchange(Elements<IUnknown *>(array)[i], nullptr))
                object->Release();
        return S_OK;
    case VT_VARIANT:
        for (std::size_t i = 0; i < count; ++i)
            if (HRESULT const result = VariantClear(Elements<VARIANT>(array) + i); FAILED(result))
                return result;
        return S_OK;
    default:
        return S_OK;
    }
}

/// The place of a dimension, counted from 1, in the descriptor; null when it is not there.
SAFEARRAYBOUND const * BoundOf(SAFEARRAY * array, UINT dimension) noexcept
{
    return dimension == 0 || dimension > array->cDims ? nullptr : array->rgsabound + (array->cDims - dimension);
}

} // namespace

SAFEARRAY * SafeArrayCreate(unsigned short vt, UINT dimensions, SAFEARRAYBOUND * bounds)
{
    return Allocate(vt, dimensions, bounds, true);
}

SAFEARRAY * SafeArrayCreateVector(unsigned short vt, LONG lowerBound, ULONG elements)
{
    SAFEARRAYBOUND const bound{elements, lowerBound};
    return Allocate(vt, 1, &bound, false);
}

HRESULT SafeArrayDestroy(SAFEARRAY * array)
{
    if (array == nullptr)
        return S_OK;
    if (array->cLocks != 0)
        return DISP_E_ARRAYISLOCKED;
    if (HRESULT const result = ReleaseElements(array, CountOf(array)); FAILED(result))
        return result;
    FreeBlocks(array);
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY * source, SAFEARRAY ** copy)
{
    if (copy == nullptr)
        return E_INVALIDARG;
    *copy = nullptr;
    if (source == nullptr)
        return S_OK;
    SAFEARRAY * const made = Allocate(KindOf(source), source->cDims, source->rgsabound, false);
    if (made == nullptr)
        return E_OUTOFMEMORY;
    if (HRESULT const result = CopyElements(source, made, CountOf(source)); FAILED(result))
    {
        SafeArrayDestroy(made); // elements not reached are still zero
        return result;
    }
    *copy = made;
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY * array) { return array == nullptr ? 0 : array->cDims; }

UINT SafeArrayGetElemsize(SAFEARRAY * array) { return array == nullptr ? 0 : array->cbElements; }

HRESULT SafeArrayGetVartype(SAFEARRAY * array, unsigned short * vt)
{
    if (array == nullptr || vt == nullptr)
        return E_INVALIDARG;
    *vt = KindOf(array);
    return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY * array, UINT dimension, LONG * bound)
{
    if (array == nullptr || bound == nullptr)
        return E_INVALIDARG;
    SAFEARRAYBOUND const * const found = BoundOf(array, dimension);
    if (found == nullptr)
        return DISP_E_BADINDEX;
    *bound = found->lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY * array, UINT dimension, LONG * bound)
{
    if (array == nullptr || bound == nullptr)
        return E_INVALIDARG;
    SAFEARRAYBOUND const * const found = BoundOf(array, dimension);
    if (found == nullptr)
        return DISP_E_BADINDEX;
    *bound = static_cast<LONG>(static_cast<ULONG>(found->lLbound) + found->cElements - 1);
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY * array, void ** data)
{
    if (array == nullptr || data == nullptr)
        return E_INVALIDARG;
    if (array->cLocks == 0xFFFF)
        return E_UNEXPECTED;
    ++array->cLocks;
    *data = array->pvData;
    return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY * array)
{
    if (array == nullptr)
        return E_INVALIDARG;
    if (array->cLocks == 0)
        return E_UNEXPECTED;
    --array->cLocks;
    return S_OK;
}
