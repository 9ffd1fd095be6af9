// VarType: the tag of a generic value, with predicates and text names.
//
// The numbers are those of the platform's VARENUM, so a value maps onto a variant without a table. What a reader may
// not expect: `Double` is VT_R8 and `Float` VT_R4, `Int` (22) and `Long` (3) are different tags although both have 32
// bits, `Date` and `Bool` count as numeric, and the text of `Dispatch` is "Unknown".
//
//     qvlib::VarType type;
//     if (type.TryParse(L"ulong64") && type.IsUnsignedIntegral())
//         wchar_t const * name = type.ToString(); // "ULong64"
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/variant.h"

#include <cstdint>

namespace qvlib
{

// Every tag: its name and its number.
#define QVLIB_VAR_TYPES(X)                                                                                             \
    X(Empty, VT_EMPTY)                                                                                                 \
    X(Null, VT_NULL)                                                                                                   \
    X(Short, VT_I2)                                                                                                    \
    X(Long, VT_I4)                                                                                                     \
    X(Float, VT_R4)                                                                                                    \
    X(Double, VT_R8)                                                                                                   \
    X(Date, VT_DATE)                                                                                                   \
    X(ComString, VT_BSTR)                                                                                              \
    X(Dispatch, VT_DISPATCH)                                                                                           \
    X(Error, VT_ERROR)                                                                                                 \
    X(Bool, VT_BOOL)                                                                                                   \
    X(Unknown, VT_UNKNOWN)                                                                                             \
    X(Char, VT_I1)                                                                                                     \
    X(Byte, VT_UI1)                                                                                                    \
    X(UShort, VT_UI2)                                                                                                  \
    X(ULong, VT_UI4)                                                                                                   \
    X(Long64, VT_I8)                                                                                                   \
    X(ULong64, VT_UI8)                                                                                                 \
    X(Int, VT_INT)                                                                                                     \
    X(UInt, VT_UINT)                                                                                                   \
    X(UserDefined, VT_USERDEFINED)                                                                                     \
    X(AnsiString, VT_LPSTR)                                                                                            \
    X(String, VT_LPWSTR)                                                                                               \
    X(Blob, VT_BLOB)                                                                                                   \
    X(Array, VT_ARRAY)

struct QVLIB_API VarType
{
    constexpr VarType() noexcept = default;
    constexpr VarType(VARENUM type) noexcept : m_type(type) {}
    constexpr VarType(unsigned short type) noexcept : m_type(static_cast<VARENUM>(type)) {}

    constexpr operator VARENUM() const noexcept { return m_type; }
    constexpr operator int() const noexcept { return m_type; }

    // For each tag X: the constant X; IsX, true for exactly that tag; SetAsX, which stores it; NameOfX, its name.
#define QVLIB_VAR_TYPE(name, number)                                                                                   \
    static constexpr VARENUM name = number;                                                                            \
    constexpr bool Is##name() const noexcept { return m_type == number; }                                              \
    constexpr void SetAs##name() noexcept { m_type = number; }                                                         \
    static constexpr wchar_t const * NameOf##name() noexcept { return L## #name; }
    QVLIB_VAR_TYPES(QVLIB_VAR_TYPE)
#undef QVLIB_VAR_TYPE

    /// Float, Double, Date.
    constexpr bool IsFloatingPoint() const noexcept { return IsIn(kFloatingPoint); }
    /// The signed and the unsigned whole numbers, Bool among the unsigned.
    constexpr bool IsIntegral() const noexcept { return IsIn(kSigned | kUnsigned); }
    constexpr bool IsNumeric() const noexcept { return IsIn(kSigned | kUnsigned | kFloatingPoint); }
    /// Short, Long, Char, Long64, Int.
    constexpr bool IsSignedIntegral() const noexcept { return IsIn(kSigned); }
    /// Short, Long, Char, Int: the signed types that fit 32 bits.
    constexpr bool IsSignedIntegral32() const noexcept { return IsIn(kSigned & ~Bit(VT_I8)); }
    /// Bool, Byte, UShort, ULong, ULong64, UInt.
    constexpr bool IsUnsignedIntegral() const noexcept { return IsIn(kUnsigned); }
    /// ComString, AnsiString, String.
    constexpr bool IsText() const noexcept { return IsIn(Bit(VT_BSTR) | Bit(VT_LPSTR) | Bit(VT_LPWSTR)); }
    /// Dispatch, Unknown.
    constexpr bool IsInterface() const noexcept { return IsIn(Bit(VT_DISPATCH) | Bit(VT_UNKNOWN)); }

    /// The tag's name as static text. It differs from the NameOf functions for two tags: Blob reads "BLOB", and
    /// Dispatch has no entry, so it reads "Unknown" as every other number does.
    wchar_t const * ToString() const noexcept { return ToString(m_type); }
    static wchar_t const * ToString(VARENUM type) noexcept;
    static wchar_t const * ToString(unsigned short type) noexcept { return ToString(static_cast<VARENUM>(type)); }

    /// Finds the tag whose ToString text this is, ignoring the case of ASCII letters; "Integer" means Int. "Dispatch"
    /// and "Unknown" are not found. False, and `out` unchanged, for any other text and for null.
    static bool TryParse(wchar_t const * text, VARENUM & out) noexcept;
    bool TryParse(wchar_t const * text) noexcept { return TryParse(text, m_type); }
    /// The same, but throws unexpected_error for a text that is no tag's.
    void Parse(wchar_t const * text);

    friend constexpr bool operator==(VarType left, VarType right) noexcept { return left.m_type == right.m_type; }
    friend constexpr bool operator==(VarType left, VARENUM right) noexcept { return left.m_type == right; }
    friend constexpr bool operator==(VarType left, int right) noexcept { return left.m_type == right; }

private:
    static constexpr std::uint32_t Bit(VARENUM type) noexcept { return 1U << type; }
    static constexpr std::uint32_t kFloatingPoint = 1U << VT_R4 | 1U << VT_R8 | 1U << VT_DATE;
    static constexpr std::uint32_t kSigned = 1U << VT_I2 | 1U << VT_I4 | 1U << VT_I1 | 1U << VT_I8 | 1U << VT_INT;
    static constexpr std::uint32_t kUnsigned =
        1U << VT_BOOL | 1U << VT_UI1 | 1U << VT_UI2 | 1U << VT_UI4 | 1U << VT_UI8 | 1U << VT_UINT;
    constexpr bool IsIn(std::uint32_t set) const noexcept
    {
        return static_cast<std::uint32_t>(m_type) < 32 && (set >> m_type & 1U) != 0;
    }

    VARENUM m_type = VT_EMPTY;
};

#undef QVLIB_VAR_TYPES

} // namespace qvlib
