#include "qvlib/SafeArrayVector.h"

#include "com/internal/array_elements.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qvlib
{

using internal::AccessSize;
using internal::ElementCount;
using internal::ElementsAreOf;

namespace
{

/// Where the content of a variant lies; a decimal's is the whole record.
void const * ContentOf(tagVARIANT const & value) noexcept
{
    return value.vt == VT_DECIMAL ? static_cast<void const *>(&value) : &value.llVal;
}

} // namespace

const_safearrayiterator::const_safearrayiterator(safearrayvector const * vector) : const_safearrayiterator(vector, 0) {}

const_safearrayiterator::const_safearrayiterator(safearrayvector const * vector, unsigned long index)
    : m_vector(vector), m_index(index)
{
    GetCurrentArrayValue();
}

const_safearrayiterator const_safearrayiterator::operator++(int)
{
    const_safearrayiterator const before(*this);
    MoveBy(1);
    return before;
}

const_safearrayiterator const_safearrayiterator::operator--(int)
{
    const_safearrayiterator const before(*this);
    MoveBy(-1);
    return before;
}

const_safearrayiterator & const_safearrayiterator::MoveBy(long long count)
{
    long long const size = m_vector != nullptr ? static_cast<long long>(m_vector->size()) : 0;
    m_index = static_cast<unsigned long>(std::clamp(static_cast<long long>(m_index) + count, 0LL, size));
    GetCurrentArrayValue();
    return *this;
}

void const_safearrayiterator::GetCurrentArrayValue()
{
    m_current = tmpvariant_t();
    if (m_vector == nullptr || m_index >= m_vector->size())
        return;
    tagVARIANT const & source = m_vector->m_source;
    if ((source.vt & VT_ARRAY) == 0)
    {
        m_current = tmpvariant_t(source);
        return;
    }
    unsigned char * const element = m_vector->ElementAt(m_index);
    if (element == nullptr)
        _com_issue_error(E_INVALIDARG);
    unsigned short const vt = m_vector->GetArrayType();
    if (vt == VT_VARIANT)
    {
        tagVARIANT bits;
        std::memcpy(&bits, element, sizeof bits);
        m_current = tmpvariant_t(bits);
    }
    else
        _com_util::CheckError(static_cast<HRESULT>(safearrayvector::SetVariantValue(m_current, vt, element, false)));
}

safearrayvector::safearrayvector(tagVARIANT & source, EVariantOwnershipOptions option) { Set(source, option); }

safearrayvector::safearrayvector(tagVARIANT const & source, EVariantOwnershipOptions option) { Set(source, option); }

long safearrayvector::Set(tagVARIANT & source, EVariantOwnershipOptions option) { return Take(source, option); }

long safearrayvector::Set(tagVARIANT const & source, EVariantOwnershipOptions option)
{
    if (option == VariantOwnershipTake)
        return E_INVALIDARG;
    // Emptied by VariantOwnershipTakeConst alone, whose caller says that it may be.
    return Take(const_cast<tagVARIANT &>(source), option);
}

long safearrayvector::Take(tagVARIANT & source, EVariantOwnershipOptions option)
{
    if (source.vt == VT_EMPTY || option < VariantOwnershipRefer || option > VariantOwnershipTakeConst)
        return E_INVALIDARG;
    bool const isArray = (source.vt & VT_ARRAY) != 0;
    if (isArray && (source.vt & VT_BYREF) != 0)
        return E_INVALIDARG;

    tagVARIANT held{};
    if (option != VariantOwnershipCopy)
        held = source;
    else if (HRESULT const result = VariantCopy(&held, &source); FAILED(result))
        return result;

    unsigned long size = 1;
    void * data = nullptr;
    std::size_t bytes = 0;
    if (isArray)
    {
        LONG low = 0;
        LONG high = 0;
        HRESULT result = SafeArrayGetLBound(held.parray, 1, &low);
        if (SUCCEEDED(result))
            result = SafeArrayGetUBound(held.parray, 1, &high);
        if (SUCCEEDED(result) && !ElementsAreOf(held.vt & static_cast<unsigned short>(~VT_ARRAY), held.parray))
            result = E_INVALIDARG;
        if (SUCCEEDED(result))
            result = SafeArrayAccessData(held.parray, &data);
        if (FAILED(result))
        {
            if (option == VariantOwnershipCopy)
                VariantClear(&held);
            return result;
        }
        size = static_cast<ULONG>(high) - static_cast<ULONG>(low) + 1;
        bytes = ElementCount(held.parray) * SafeArrayGetElemsize(held.parray);
    }
    // Emptied before the old content ends, as the source may lie in it.
    if (option == VariantOwnershipTake || option == VariantOwnershipTakeConst)
        VariantInit(&source);
    Reset();
    m_ownership = option;
    m_source = held;
    m_size = size;
    m_data = data;
    m_bytes = bytes;
    return S_OK;
}

void safearrayvector::Reset()
{
    tagVARIANT held = std::exchange(m_source, tagVARIANT{});
    EVariantOwnershipOptions const ownership = std::exchange(m_ownership, VariantOwnershipNone);
    m_size = 0;
    m_data = nullptr;
    m_bytes = 0;
    if ((held.vt & VT_ARRAY) != 0)
        SafeArrayUnaccessData(held.parray);
    if (ownership >= VariantOwnershipCopy)
        VariantClear(&held);
}

tmpvariant_t safearrayvector::at(unsigned long index) const
{
    return *const_safearrayiterator(this, std::min(index, m_size));
}

/// Null for an element that is not there or not wholly in the array's data.
unsigned char * safearrayvector::ElementAt(unsigned long index) const noexcept
{
    unsigned short const vt = GetArrayType();
    bool const isVariant = vt == VT_VARIANT;
    std::size_t const step = isVariant ? SafeArrayGetElemsize(m_source.parray) : GetDataSize(vt);
    std::size_t const width = isVariant ? sizeof(tagVARIANT) : AccessSize(vt);
    if (step == 0 || index >= m_size || m_bytes < width || index > (m_bytes - width) / step)
        return nullptr;
    return static_cast<unsigned char *>(m_data) + index * step;
}

void safearrayvector::TransferElementOwnership(unsigned long index, tagVARIANT & target)
{
    if (index >= m_size || !CanTransferElementOwnership())
        return;
    if ((m_source.vt & VT_ARRAY) == 0)
    {
        target = std::exchange(m_source, tagVARIANT{});
        return;
    }
    unsigned char * const element = ElementAt(index);
    if (element == nullptr)
        return;
    unsigned short const vt = GetArrayType();
    if (vt == VT_VARIANT)
    {
        std::memcpy(&target, element, sizeof target);
        std::memset(element, 0, sizeof target);
    }
    else if (SetVariantValue(target, vt, element, false) == S_OK)
        ResetDataValue(vt, element);
}

unsigned long safearrayvector::GetDataSize(unsigned short vt) noexcept
{
    switch (vt)
    {
    case VT_I1:
        return 1;
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
        return 2;
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return sizeof(void *);
    case VT_VARIANT: // 4 on purpose, as for VT_UI1
    case VT_UI1:
    case VT_I4:
    case VT_R4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
        return 4;
    case VT_R8:
    case VT_DATE:
    case VT_I8:
    case VT_UI8:
        return 8;
    case VT_DECIMAL:
        return sizeof(tagDEC);
    default:
        return 0;
    }
}

bool safearrayvector::MoveDataPointer(unsigned short vt, void *& data, long count) noexcept
{
    unsigned long const size = GetDataSize(vt);
    if (size == 0)
        return false;
    data = static_cast<unsigned char *>(data) + static_cast<std::ptrdiff_t>(size) * count;
    return true;
}

long safearrayvector::GetVariantValue(void * data, tagVARIANT & value, bool copy)
{
    std::size_t const size = AccessSize(value.vt);
    if (size == 0)
        return E_NOTIMPL;
    if (data == nullptr)
        return E_INVALIDARG;
    tagVARIANT content = value;
    if (copy)
    {
        content = tagVARIANT{};
        if (HRESULT const result = VariantCopy(&content, &value); FAILED(result))
            return result;
    }
    else
        VariantInit(&value);
    std::memcpy(data, ContentOf(content), size);
    return S_OK;
}

long safearrayvector::GetVariantValue(void * data, tagVARIANT const & value)
{
    return GetVariantValue(data, const_cast<tagVARIANT &>(value), true); // a copy leaves it alone
}

long safearrayvector::SetVariantValue(tagVARIANT & value, unsigned short vt, void * data, bool copy)
{
    std::size_t const size = AccessSize(vt);
    if (size == 0)
        return E_NOTIMPL;
    if (data == nullptr)
        return E_INVALIDARG;
    tagVARIANT bits{};
    bits.vt = vt;
    std::memcpy(const_cast<void *>(ContentOf(bits)), data, size);
    bits.vt = vt; // of a decimal, the first two bytes are the kind
    if (copy)
        return VariantCopy(&value, &bits);
    value = bits;
    return S_OK;
}

long safearrayvector::ResetDataValue(unsigned short vt, void * data)
{
    std::size_t const size = AccessSize(vt);
    if (size == 0 || vt == VT_DECIMAL)
        return E_NOTIMPL;
    if (data == nullptr)
        return E_INVALIDARG;
    std::memset(data, 0, size);
    return S_OK;
}

} // namespace qvlib
