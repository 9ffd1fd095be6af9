// A variant that ends what it holds, for the host's own containers.
#pragma once

#include "qvlib/host/variant.h"

namespace qvlib::host
{

/// May be moved, not copied: a copy can fail, and says so with VariantCopy.
class OwnedVariant
{
public:
    OwnedVariant() noexcept { VariantInit(&m_value); }
    OwnedVariant(OwnedVariant && other) noexcept : m_value(other.m_value) { VariantInit(&other.m_value); }
    OwnedVariant & operator=(OwnedVariant && other) noexcept
    {
        VARIANT const before = m_value;
        m_value = other.m_value;
        other.m_value = before;
        return *this;
    }
    ~OwnedVariant() { VariantClear(&m_value); }

    VARIANT * Get() noexcept { return &m_value; }
    VARIANT const * Get() const noexcept { return &m_value; }

private:
    VARIANT m_value;
};

} // namespace qvlib::host
