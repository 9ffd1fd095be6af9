// What writing and reading marshalled records have in common.
#pragma once

#include "qvlib/SafeArrayVector.h"
#include "qvlib/host/com.h"

#include <bit>
#include <new>

namespace qvlib::internal
{

// Values travel as they lie in memory.
static_assert(std::endian::native == std::endian::little);

/// Of records in records.
inline constexpr int kMaxDepth = 256;

inline unsigned short ElementKind(unsigned short vt) noexcept { return vt & static_cast<unsigned short>(~VT_ARRAY); }

/// Whether records of the kind have one size, and lie in an array as they do in a record.
inline bool IsPlain(unsigned short vt) noexcept
{
    return vt != VT_BSTR && vt != VT_DISPATCH && vt != VT_UNKNOWN && vt != VT_VARIANT && vt != VT_DECIMAL &&
           safearrayvector::GetDataSize(vt) != 0;
}

/// The interface that a variant of the kind is marshalled by.
inline REFIID InterfaceOf(unsigned short vt) noexcept { return vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown; }

/// The code of the work, 0 for every success. Nothing is thrown by the operations.
template <class Work>
long Guarded(Work const & work) noexcept
{
    try
    {
        HRESULT const result = work();
        return FAILED(result) ? result : 0;
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

} // namespace qvlib::internal
