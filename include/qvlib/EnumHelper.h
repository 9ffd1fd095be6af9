// CTLEnumHelper<E>: the common base of the wrappers of enumerations.
//
// A wrapper holds one value of a plain enumeration and adds, in the derived class, a constant, a predicate, a setter
// and a name for each member. A reader may expect a checked type; it is not: any number of the enumeration's width can
// be stored and compared, and a default wrapper holds the number 0, whether or not the enumeration has a member 0.
//
//     qvlib::DayOfWeekX day;                       // 0, which is Sunday
//     day.SetAsMonday();
//     if (day == qvlib::DayOfWeekX::Monday) ...
//     int n = day;                                 // 1
#pragma once

#include <cstring>
#include <type_traits>

namespace qvlib
{

/// One value of the enumeration E, compared and converted as E and as int. Thread-compatible.
template <class E>
class CTLEnumHelper
{
    static_assert(std::is_enum_v<E> && sizeof(E) == sizeof(int), "a wrapped enumeration is as wide as int");

public:
    /// Holds 0.
    CTLEnumHelper() noexcept { SetValue(static_cast<E>(0)); }
    CTLEnumHelper(E value) noexcept { SetValue(value); }
    CTLEnumHelper(CTLEnumHelper const &) noexcept = default;
    CTLEnumHelper & operator=(CTLEnumHelper const &) noexcept = default;
    CTLEnumHelper & operator=(E value) noexcept
    {
        SetValue(value);
        return *this;
    }

    bool operator==(CTLEnumHelper const & other) const noexcept { return Int() == other.Int(); }
    bool operator==(E value) const noexcept { return GetValue() == value; }
    bool operator==(int value) const noexcept { return Int() == value; }
    bool operator!=(CTLEnumHelper const & other) const noexcept { return !(*this == other); }
    bool operator!=(E value) const noexcept { return !(*this == value); }
    bool operator!=(int value) const noexcept { return !(*this == value); }
    bool operator<(CTLEnumHelper const & other) const noexcept { return Int() < other.Int(); }
    bool operator<(E value) const noexcept { return Int() < static_cast<int>(value); }
    bool operator<(int value) const noexcept { return Int() < value; }
    bool operator>(CTLEnumHelper const & other) const noexcept { return Int() > other.Int(); }
    bool operator>(E value) const noexcept { return Int() > static_cast<int>(value); }
    bool operator>(int value) const noexcept { return Int() > value; }

    operator E() const noexcept { return GetValue(); }
    operator int() const noexcept { return Int(); }

    E GetValue() const noexcept
    {
        E value;
        std::memcpy(&value, &m_value, sizeof value);
        return value;
    }
    /// Stores the value, member or not.
    void SetValue(E value) noexcept { std::memcpy(&m_value, &value, sizeof value); }
    /// The stored value itself, as E. Valid as long as the wrapper.
    E const & GetValueRef() const noexcept { return m_value; }
    E & GetValueRef() noexcept { return m_value; }
    /// The stored value itself, as its number. Valid as long as the wrapper.
    int const & GetIntRef() const noexcept { return m_number; }
    int & GetIntRef() noexcept { return m_number; }
    bool Is(int value) const noexcept { return Int() == value; }
    /// Stores 0.
    void Clear() noexcept { SetValue(static_cast<E>(0)); }

private:
    int Int() const noexcept
    {
        int value;
        std::memcpy(&value, &m_value, sizeof value);
        return value;
    }

    // Read and written by memcpy alone, so that what comes in through either reference is seen through the other.
    union
    {
        E m_value;
        int m_number;
    };
};

} // namespace qvlib

/// Inside a wrapper of the enumeration `E`: the constant `Member`, `IsMember`, `SetAsMember` and the static
/// `NameOfMember`, which gives `name`.
#define QVLIB_ENUM_MEMBER(E, Member, name)                                                                             \
    static constexpr E Member = E::Member;                                                                             \
    bool Is##Member() const noexcept { return GetValue() == E::Member; }                                               \
    void SetAs##Member() noexcept { SetValue(E::Member); }                                                             \
    static CQVString NameOf##Member() { return CQVString(name); }
