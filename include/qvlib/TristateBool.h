// tristate_bool: a boolean that can also be unknown, in one byte.
//
// Unknown converts to false, so `tristate_bool() == false` is true; but it is not the same tristate as false, so
// `tristate_bool() == tristate_bool(false)` is false.
#pragma once

namespace qvlib
{

/// False (0), true (1) or unknown (0xFF). Thread-compatible.
class tristate_bool
{
public:
    /// Unknown.
    constexpr tristate_bool() noexcept = default;
    constexpr tristate_bool(bool value) noexcept : m_value(value ? kTrue : kFalse) {}
    constexpr tristate_bool(tristate_bool const &) noexcept = default;
    constexpr tristate_bool & operator=(tristate_bool const &) noexcept = default;
    constexpr tristate_bool & operator=(bool value) noexcept
    {
        m_value = value ? kTrue : kFalse;
        return *this;
    }

    static constexpr tristate_bool True() noexcept { return {true}; }
    static constexpr tristate_bool False() noexcept { return {false}; }
    static constexpr tristate_bool Unknown() noexcept { return {}; }

    constexpr bool IsTrue() const noexcept { return m_value == kTrue; }
    constexpr bool IsFalse() const noexcept { return m_value == kFalse; }
    constexpr bool IsUnknown() const noexcept { return m_value == kUnknown; }
    constexpr void SetAsTrue() noexcept { m_value = kTrue; }
    constexpr void SetAsFalse() noexcept { m_value = kFalse; }
    constexpr void SetAsUnknown() noexcept { m_value = kUnknown; }

    /// True only for true.
    constexpr operator bool() const noexcept { return IsTrue(); }
    /// The same one of the three states.
    constexpr bool operator==(tristate_bool other) const noexcept { return m_value == other.m_value; }
    /// The conversion to bool compared with the argument: unknown equals false.
    constexpr bool operator==(bool value) const noexcept { return IsTrue() == value; }
    /// The order is false, true, unknown.
    constexpr bool operator<(tristate_bool other) const noexcept { return m_value < other.m_value; }

private:
    static constexpr unsigned char kFalse = 0;
    static constexpr unsigned char kTrue = 1;
    static constexpr unsigned char kUnknown = 0xFF;

    unsigned char m_value = kUnknown;
};

} // namespace qvlib
