#include "com/internal/array_elements.h"

#include "qvlib/SafeArrayVector.h"

namespace qvlib::internal
{

std::size_t AccessSize(unsigned short vt) noexcept { return vt == VT_UI1 ? 1 : safearrayvector::GetDataSize(vt); }

bool ElementsAreOf(unsigned short vt, SAFEARRAY * array) noexcept
{
    auto const owner = [](unsigned short kind)
    { return kind == VT_BSTR || kind == VT_UNKNOWN || kind == VT_DISPATCH || kind == VT_VARIANT; };
    unsigned short held = VT_EMPTY;
    if (SafeArrayGetVartype(array, &held) != S_OK)
        return false;
    return (!owner(vt) && !owner(held)) || held == vt || (vt == VT_UNKNOWN && held == VT_DISPATCH);
}

unsigned long long ElementCount(SAFEARRAY * array) noexcept
{
    unsigned long long count = array != nullptr && array->cDims != 0 ? 1 : 0;
    for (UINT dimension = 0; array != nullptr && dimension < array->cDims; ++dimension)
        count *= array->rgsabound[dimension].cElements;
    return count;
}

LockedArray::~LockedArray()
{
    if (m_array != nullptr)
        SafeArrayUnaccessData(m_array);
}

HRESULT LockedArray::Open(SAFEARRAY * array, unsigned short vt) noexcept
{
    void * data = nullptr;
    if (HRESULT const result = SafeArrayAccessData(array, &data); FAILED(result))
        return result;
    m_array = array;
    m_data = static_cast<unsigned char *>(data);
    m_step = SafeArrayGetElemsize(array);
    m_count = ElementCount(array);
    std::size_t const access = vt == VT_VARIANT ? sizeof(tagVARIANT) : AccessSize(vt);
    return ElementsAreOf(vt, array) && access <= m_step ? S_OK : E_INVALIDARG;
}

} // namespace qvlib::internal
