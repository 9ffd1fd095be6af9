// Array records: creation, copying, bounds and access to the data and to one element.
//
// The element kind lies in a word of its own in front of the descriptor.

#include "qvlib/host/safearray.h"

#include "host/linux/internal/element_size.h"
#include "qvlib/host/variant.h"

#include <algorithm>
#include <new>
#include <utility>

using qvlib::host::ElementSize;

namespace
{

constexpr std::size_t kPrefix = 16; // keeps the descriptor aligned as the allocation is
constexpr ULONGLONG kMaxBytes = 0x7FFFFFFF;

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

/// The bytes that so many elements take; false for more than an array may have, or bounds beyond 32 bits.
bool DataBytes(ULONG elementSize, UINT dimensions, SAFEARRAYBOUND const * bounds, std::size_t & bytes) noexcept
{
    // In whatever order the dimensions come, one without elements leaves none.
    bool const none = std::any_of(bounds, bounds + dimensions, [](auto const & bound) { return bound.cElements == 0; });
    ULONGLONG product = none ? 0 : elementSize;
    for (UINT i = 0; i < dimensions; ++i)
    {
        LONGLONG const last = LONGLONG{bounds[i].lLbound} + bounds[i].cElements - 1;
        if (last > 0x7FFFFFFF)
            return false;
        product *= bounds[i].cElements; // both below 2^32
        if (product > kMaxBytes)
            return false;
    }
    bytes = static_cast<std::size_t>(product);
    return true;
}

/// A zeroed block for that many bytes, also for none.
void * AllocateData(std::size_t bytes) noexcept
{
    void * const data = ::operator new(std::max<std::size_t>(bytes, 1), std::nothrow);
    if (data != nullptr)
        std::memset(data, 0, bytes);
    return data;
}

/// A descriptor with the bounds given, which stand in the order asked for, and zeroed data.
SAFEARRAY * Allocate(VARTYPE vt, UINT dimensions, SAFEARRAYBOUND const * bounds, bool reversed) noexcept
{
    ULONG const elementSize = ElementSize(vt);
    std::size_t bytes = 0;
    if (elementSize == 0 || dimensions == 0 || dimensions > 0xFFFF || bounds == nullptr ||
        !DataBytes(elementSize, dimensions, bounds, bytes))
        return nullptr;
    std::size_t const head = kPrefix + sizeof(SAFEARRAY) + (dimensions - 1) * sizeof(SAFEARRAYBOUND);
    auto * const block = static_cast<unsigned char *>(::operator new(head, std::nothrow));
    void * const data = AllocateData(bytes);
    if (block == nullptr || data == nullptr)
    {
        ::operator delete(block);
        ::operator delete(data);
        return nullptr;
    }
    std::memset(block, 0, head);
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

/// Ends what the elements from `begin` to `end` own; they are zero or empty then.
HRESULT ReleaseElements(SAFEARRAY * array, std::size_t begin, std::size_t end) noexcept
{
    switch (KindOf(array))
    {
    case VT_BSTR:
        for (std::size_t i = begin; i < end; ++i)
            SysFreeString(std::exchange(Elements<BSTR>(array)[i], nullptr));
        return S_OK;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        for (std::size_t i = begin; i < end; ++i)
            if (IUnknown * const object = std::exchange(Elements<IUnknown *>(array)[i], nullptr))
                object->Release();
        return S_OK;
    case VT_VARIANT:
        for (std::size_t i = begin; i < end; ++i)
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

/// Whether an element can be copied bit by bit.
bool IsPlainArray(SAFEARRAY const * array) noexcept
{
    return (array->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT)) == 0;
}

/// A copy of one element that owns something, as a variant.
HRESULT CopyOfElement(SAFEARRAY * array, void const * element, VARIANT & copy) noexcept
{
    VARTYPE const vt = KindOf(array);
    if (vt == VT_VARIANT)
        return VariantCopy(&copy, static_cast<VARIANT const *>(element));
    VARIANT bits{};
    bits.vt = vt;
    std::memcpy(&bits.byref, element, sizeof bits.byref);
    return VariantCopy(&copy, &bits);
}

/// Keeps the array's data in place while foreign code may run.
class DataLock
{
public:
    explicit DataLock(SAFEARRAY * array) noexcept : m_array(array), m_result(SafeArrayLock(array)) {}
    DataLock(DataLock const &) = delete;
    DataLock & operator=(DataLock const &) = delete;
    ~DataLock()
    {
        if (SUCCEEDED(m_result))
            SafeArrayUnlock(m_array);
    }
    HRESULT Result() const noexcept { return m_result; }

private:
    SAFEARRAY * m_array;
    HRESULT m_result;
};

/// Ends what all elements own. An object's end must not get at the array.
HRESULT EndElements(SAFEARRAY * array) noexcept
{
    DataLock const lock(array);
    return ReleaseElements(array, 0, CountOf(array));
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
    if (HRESULT const result = EndElements(array); FAILED(result))
        return result;
    FreeBlocks(array);
    return S_OK;
}

HRESULT SafeArrayDestroyData(SAFEARRAY * array)
{
    if (array == nullptr)
        return E_INVALIDARG;
    if (array->cLocks != 0)
        return DISP_E_ARRAYISLOCKED;
    if (HRESULT const result = EndElements(array); FAILED(result))
        return result;
    std::memset(array->pvData, 0, CountOf(array) * array->cbElements);
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

HRESULT SafeArrayCopyData(SAFEARRAY * source, SAFEARRAY * target)
{
    if (source == nullptr || target == nullptr || KindOf(source) != KindOf(target) || source->cDims != target->cDims)
        return E_INVALIDARG;
    for (USHORT i = 0; i < source->cDims; ++i)
        if ((source->rgsabound + i)->cElements != (target->rgsabound + i)->cElements)
            return E_INVALIDARG;
    if (source == target)
        return S_OK;
    std::size_t const bytes = CountOf(source) * source->cbElements;
    if (IsPlainArray(source))
    {
        std::memcpy(target->pvData, source->pvData, bytes);
        return S_OK;
    }
    // The copies change places with the old elements, as someone may have the target's data.
    SAFEARRAY * copy = nullptr;
    if (HRESULT const result = SafeArrayCopy(source, &copy); FAILED(result))
        return result;
    std::swap_ranges(Elements<unsigned char>(target), Elements<unsigned char>(target) + bytes,
                     Elements<unsigned char>(copy));
    return SafeArrayDestroy(copy);
}

HRESULT SafeArrayRedim(SAFEARRAY * array, SAFEARRAYBOUND * lastBound)
{
    if (array == nullptr || lastBound == nullptr)
        return E_INVALIDARG;
    if (array->cLocks != 0)
        return DISP_E_ARRAYISLOCKED;
    SAFEARRAYBOUND const bound = *lastBound;
    std::size_t rest = 1;
    for (USHORT i = 1; i < array->cDims; ++i)
        rest *= (array->rgsabound + i)->cElements;
    std::size_t bytes = 0;
    if (LONGLONG{bound.lLbound} + bound.cElements - 1 > 0x7FFFFFFF ||
        (rest != 0 && bound.cElements > kMaxBytes / array->cbElements / rest))
        return E_OUTOFMEMORY;
    bytes = rest * bound.cElements * array->cbElements;
    void * const data = AllocateData(bytes);
    if (data == nullptr)
        return E_OUTOFMEMORY;
    std::size_t const oldCount = CountOf(array);
    std::size_t const newCount = rest * bound.cElements;
    HRESULT result = S_OK;
    {
        DataLock const lock(array); // an object's end must not get at the array
        result = newCount < oldCount ? ReleaseElements(array, newCount, oldCount) : S_OK;
    }
    if (FAILED(result))
    {
        ::operator delete(data);
        return result;
    }
    std::memcpy(data, array->pvData, std::min(oldCount, newCount) * array->cbElements);
    ::operator delete(std::exchange(array->pvData, data));
    array->rgsabound[0] = bound;
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

HRESULT SafeArrayLock(SAFEARRAY * array)
{
    if (array == nullptr)
        return E_INVALIDARG;
    if (array->cLocks == 0xFFFF)
        return E_UNEXPECTED;
    ++array->cLocks;
    return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY * array)
{
    if (array == nullptr)
        return E_INVALIDARG;
    if (array->cLocks == 0)
        return E_UNEXPECTED;
    --array->cLocks;
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY * array, void ** data)
{
    if (data == nullptr)
        return E_INVALIDARG;
    HRESULT const result = SafeArrayLock(array);
    if (SUCCEEDED(result))
        *data = array->pvData;
    return result;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY * array) { return SafeArrayUnlock(array); }

HRESULT SafeArrayPtrOfIndex(SAFEARRAY * array, LONG * indices, void ** element)
{
    if (array == nullptr || indices == nullptr || element == nullptr)
        return E_INVALIDARG;
    std::size_t offset = 0;
    std::size_t stride = array->cbElements;
    for (UINT dimension = 1; dimension <= array->cDims; ++dimension)
    {
        SAFEARRAYBOUND const & bound = *BoundOf(array, dimension);
        LONGLONG const position = LONGLONG{indices[dimension - 1]} - bound.lLbound;
        if (position < 0 || position >= LONGLONG{bound.cElements})
            return DISP_E_BADINDEX;
        offset += static_cast<std::size_t>(position) * stride;
        stride *= bound.cElements;
    }
    *element = Elements<unsigned char>(array) + offset;
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY * array, LONG * indices, void * value)
{
    void * element = nullptr;
    if (value == nullptr)
        return E_INVALIDARG;
    if (HRESULT const result = SafeArrayPtrOfIndex(array, indices, &element); FAILED(result))
        return result;
    if (IsPlainArray(array))
    {
        std::memcpy(value, element, array->cbElements);
        return S_OK;
    }
    // A variant of the element's bits is copied by the rules of its kind.
    VARIANT copy{};
    if (HRESULT const result = CopyOfElement(array, element, copy); FAILED(result))
        return result;
    if (KindOf(array) == VT_VARIANT)
        std::memcpy(value, &copy, sizeof copy);
    else
        std::memcpy(value, &copy.byref, sizeof copy.byref);
    return S_OK;
}

HRESULT SafeArrayPutElement(SAFEARRAY * array, LONG * indices, void * value)
{
    void * element = nullptr;
    if (HRESULT const result = SafeArrayPtrOfIndex(array, indices, &element); FAILED(result))
        return result;
    VARTYPE const vt = KindOf(array);
    bool const isPointer = vt == VT_BSTR || vt == VT_UNKNOWN || vt == VT_DISPATCH;
    if (value == nullptr && !isPointer)
        return E_INVALIDARG;
    if (IsPlainArray(array))
    {
        std::memmove(element, value, array->cbElements);
        return S_OK;
    }
    DataLock const lock(array); // the old object's end must not get at the array
    if (FAILED(lock.Result()))
        return lock.Result();
    if (vt == VT_VARIANT)
        return VariantCopy(static_cast<VARIANT *>(element), static_cast<VARIANT const *>(value));
    VARIANT copy{};
    if (HRESULT const result = CopyOfElement(array, &value, copy); FAILED(result))
        return result;
    void * old = nullptr;
    std::memcpy(&old, element, sizeof old);
    std::memcpy(element, &copy.byref, sizeof copy.byref);
    copy.byref = old;
    return VariantClear(&copy);
}
