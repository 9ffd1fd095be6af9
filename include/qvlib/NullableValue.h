// NullableValue: a value and a flag that says whether it is set.
//
//     if (auto const text = field.GetAttribute(L"Format"); text.HasValue())
//         Use(*text.GetValue());
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/Exceptions.h"

#include <utility>

namespace qvlib
{

template <class T>
class NullableValue
{
public:
    using value_type = T;

    /// Holds nothing.
    constexpr NullableValue() = default;
    constexpr NullableValue(T value) : m_value(std::move(value)), m_hasValue(true) {}

    constexpr bool HasValue() const noexcept { return m_hasValue; }
    constexpr bool IsNull() const noexcept { return !m_hasValue; }
    constexpr explicit operator bool() const noexcept { return m_hasValue; }

    /// unexpected_error when nothing is held.
    T const & GetValue() const
    {
        if (!m_hasValue)
            throw unexpected_error();
        return m_value;
    }
    T const & operator*() const { return GetValue(); }
    constexpr T GetValueOrDefault(T fallback = T()) const { return m_hasValue ? m_value : std::move(fallback); }

    void SetValue(T value)
    {
        m_value = std::move(value);
        m_hasValue = true;
    }
    /// Holds nothing afterwards; a value that was held is given up.
    void Reset()
    {
        m_value = T();
        m_hasValue = false;
    }

    friend constexpr bool operator==(NullableValue const & a, NullableValue const & b)
    {
        return a.m_hasValue == b.m_hasValue && (!a.m_hasValue || a.m_value == b.m_value);
    }

private:
    T m_value{};
    bool m_hasValue = false;
};

} // namespace qvlib
