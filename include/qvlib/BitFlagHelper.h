// BitFlagHelper<0>: a word of 32 flags with named tests and set operations.
//
// `+` and `|` are the union and `-` removes flags: no operator here adds or subtracts numbers.
//
//     qvlib::BitFlagHelper<0> flags(0b1100);
//     flags -= 0b0100;                             // 0b1000
//     flags.Modify(0b1000, 0b0001);                // 0b0001
//
// The word has 32 bits also where `long` has more. A mask with nothing or only ones above them (the complement of a
// small mask) counts as its low 32 bits; any other wider mask throws argument_out_of_range_exception.
#pragma once

#include "qvlib/export.h"

#include <climits>
#include <concepts>
#include <type_traits>

namespace qvlib
{

template <int N>
class BitFlagHelper;

namespace detail
{

/// What can stand for a mask beside a word of flags: whole numbers and members of plain enumerations.
template <class T>
concept Mask = std::integral<T> ||(std::is_enum_v<T> && std::is_convertible_v<T, unsigned long>);

} // namespace detail

/// A word of flags. Thread-compatible.
template <>
class BitFlagHelper<0>
{
public:
    /// No flag set.
    BitFlagHelper() noexcept = default;
    BitFlagHelper(unsigned long flags) : m_flags(Word(flags)) {}
    BitFlagHelper(BitFlagHelper const &) noexcept = default;
    BitFlagHelper & operator=(BitFlagHelper const &) noexcept = default;
    BitFlagHelper & operator=(unsigned long flags)
    {
        m_flags = Word(flags);
        return *this;
    }

    unsigned long GetFlags() const noexcept { return m_flags; }
    unsigned long const & GetFlagsRef() const noexcept { return m_flags; }
    /// The stored word itself; bits above the 32nd are the caller's to leave alone.
    unsigned long & GetFlagsRef() noexcept { return m_flags; }
    void SetFlags(unsigned long flags) { m_flags = Word(flags); }
    operator unsigned long() const noexcept { return m_flags; }

    /// All bits of the mask are set; so an empty mask is always had.
    bool Has(unsigned long mask) const { return (m_flags & Word(mask)) == Word(mask); }
    bool HasAllOf(unsigned long mask) const { return Has(mask); }
    bool HasAnyOf(unsigned long mask) const { return (m_flags & Word(mask)) != 0; }
    bool HasNoneOf(unsigned long mask) const { return (m_flags & Word(mask)) == 0; }
    /// The word equals the mask exactly.
    bool Is(unsigned long mask) const { return m_flags == Word(mask); }
    bool IsEmpty() const noexcept { return m_flags == 0; }

    void Add(unsigned long mask) { m_flags |= Word(mask); }
    void Remove(unsigned long mask) { m_flags &= ~Word(mask); }
    void Set(unsigned long mask, bool on) { on ? Add(mask) : Remove(mask); }
    /// Clears the first mask, then sets the second.
    void Modify(unsigned long remove, unsigned long add) { m_flags = (m_flags & ~Word(remove)) | Word(add); }
    void Clear() noexcept { m_flags = 0; }

    BitFlagHelper operator+(BitFlagHelper const & other) const { return {m_flags | other.m_flags}; }
    template <detail::Mask T>
    BitFlagHelper operator+(T mask) const
    {
        return {m_flags | Word(Bits(mask))};
    }
    BitFlagHelper operator|(BitFlagHelper const & other) const { return *this + other; }
    template <detail::Mask T>
    BitFlagHelper operator|(T mask) const
    {
        return *this + mask;
    }
    BitFlagHelper operator-(BitFlagHelper const & other) const { return {m_flags & ~other.m_flags}; }
    template <detail::Mask T>
    BitFlagHelper operator-(T mask) const
    {
        return {m_flags & ~Word(Bits(mask))};
    }
    BitFlagHelper operator&(BitFlagHelper const & other) const { return {m_flags & other.m_flags}; }
    template <detail::Mask T>
    BitFlagHelper operator&(T mask) const
    {
        return {m_flags & Word(Bits(mask))};
    }
    BitFlagHelper & operator+=(unsigned long mask) { return *this = *this + mask; }
    BitFlagHelper & operator|=(unsigned long mask) { return *this = *this + mask; }
    BitFlagHelper & operator-=(unsigned long mask) { return *this = *this - mask; }
    BitFlagHelper & operator&=(unsigned long mask) { return *this = *this & mask; }

    bool operator==(BitFlagHelper const & other) const noexcept { return m_flags == other.m_flags; }
    template <detail::Mask T>
    bool operator==(T mask) const
    {
        return Is(Bits(mask));
    }
    /// The words as unsigned numbers.
    bool operator<(BitFlagHelper const & other) const noexcept { return m_flags < other.m_flags; }
    template <detail::Mask T>
    bool operator<(T mask) const
    {
        return m_flags < Word(Bits(mask));
    }

private:
    template <detail::Mask T>
    static constexpr unsigned long Bits(T mask) noexcept
    {
        return static_cast<unsigned long>(mask);
    }
    static unsigned long Word(unsigned long mask)
    {
#if ULONG_MAX > 0xFFFFFFFFUL
        constexpr unsigned long kHigh = ~0xFFFFFFFFUL;
        if ((mask & kHigh) != 0 && (mask & kHigh) != kHigh)
        {
            FailWideMask();
        }
#endif
        return mask & 0xFFFFFFFFUL;
    }
    [[noreturn]] QVLIB_API static void FailWideMask();

    unsigned long m_flags = 0;
};

} // namespace qvlib
