// Elements of a safe array, each where it lies, for those that walk them by kind.
#pragma once

#include "qvlib/host/variant.h"

#include <cstddef>

namespace qvlib::internal
{

/// The bytes that reading or writing an element of the kind touches; 0 for kinds that are not walked.
std::size_t AccessSize(unsigned short vt) noexcept;

/// Holds an array's data. Elements are handed out within it only.
class LockedArray
{
public:
    LockedArray() = default;
    LockedArray(LockedArray const &) = delete;
    LockedArray & operator=(LockedArray const &) = delete;
    ~LockedArray();

    /// Locks the array for elements of the kind. E_INVALIDARG when its own are of another, as far as reading them would
    /// follow a wild pointer or leave the element; else the code of what failed.
    HRESULT Open(SAFEARRAY * array, unsigned short vt) noexcept;
    /// Where the element lies, stepping by the array's own size; null outside the data.
    void * Element(unsigned long long index) const noexcept
    {
        return index < m_count ? m_data + index * m_step : nullptr;
    }

private:
    SAFEARRAY * m_array = nullptr;
    unsigned char * m_data = nullptr;
    std::size_t m_step = 0;
    unsigned long long m_count = 0;
};

/// Whether the array's elements are what the kind says, as far as reading them wrongly would follow a wild pointer, or
/// zeroing a part of them leave one.
bool ElementsAreOf(unsigned short vt, SAFEARRAY * array) noexcept;
/// Elements in all dimensions.
unsigned long long ElementCount(SAFEARRAY * array) noexcept;

} // namespace qvlib::internal
