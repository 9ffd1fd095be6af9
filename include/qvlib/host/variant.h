// The platform's tagged record, its counted strings, and the conversions between its kinds.
//
// A VARIANT is 16 bytes wherever a pointer fits in 8: two for the kind, six reserved, eight for the content. It has no
// constructor and owns nothing by itself: VariantInit starts it, VariantClear ends what it holds. Two things differ
// from what the platform's users know: a VT_DECIMAL, which lies across the whole record, is read and written by
// `qvlib::host::GetDecimal` and `SetDecimal` (a member for it would need a compiler extension), and the byte length of
// a counted string counts bytes in memory, so four a character where wchar_t has 32 bits.
//
//     VARIANT value;
//     VariantInit(&value);
//     value.vt = VT_BSTR;
//     value.bstrVal = SysAllocString(L"12");
//     if (SUCCEEDED(VariantChangeType(&value, &value, 0, VT_I4)))
//         Use(value.lVal);
//     VariantClear(&value);
#pragma once

#if defined(_WIN32)
#include <oleauto.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/com.h"
#include "qvlib/host/safearray.h"
#include "qvlib/host/types.h"

/// The kinds of a variant and of other tagged data of the platform.
enum VARENUM : int
{
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_SAFEARRAY = 27,
    VT_CARRAY = 28,
    VT_USERDEFINED = 29,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_RECORD = 36,
    VT_INT_PTR = 37,
    VT_UINT_PTR = 38,
    VT_FILETIME = 64,
    VT_BLOB = 65,
    VT_STREAM = 66,
    VT_STORAGE = 67,
    VT_STREAMED_OBJECT = 68,
    VT_STORED_OBJECT = 69,
    VT_BLOB_OBJECT = 70,
    VT_CF = 71,
    VT_CLSID = 72,
    VT_VERSIONED_STREAM = 73,
    VT_BSTR_BLOB = 0x0FFF,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_ILLEGAL = 0xFFFF,
    VT_ILLEGALMASKED = 0x0FFF,
    VT_TYPEMASK = 0x0FFF
};

using VARTYPE = unsigned short;
using VARIANT_BOOL = short;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

/// A currency amount in ten-thousandths.
struct tagCY
{
    LONGLONG int64;
};
using CY = tagCY;

/// A decimal number: 96 bits of magnitude, divided by ten to the power of `scale` (0 to 28).
struct tagDEC
{
    USHORT wReserved;
    BYTE scale;
    BYTE sign; ///< 0 or DECIMAL_NEG
    ULONG Hi32;
    ULONGLONG Lo64;
};
using DECIMAL = tagDEC;
constexpr BYTE DECIMAL_NEG = 0x80;

struct tagVARIANT
{
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union
    {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown * punkVal;
        IDispatch * pdispVal;
        SAFEARRAY * parray;
        BYTE * pbVal;
        SHORT * piVal;
        LONG * plVal;
        LONGLONG * pllVal;
        float * pfltVal;
        double * pdblVal;
        VARIANT_BOOL * pboolVal;
        SCODE * pscode;
        CY * pcyVal;
        DATE * pdate;
        BSTR * pbstrVal;
        IUnknown ** ppunkVal;
        IDispatch ** ppdispVal;
        SAFEARRAY ** pparray;
        tagVARIANT * pvarVal;
        PVOID byref;
        char cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        DECIMAL * pdecVal;
        char * pcVal;
        USHORT * puiVal;
        ULONG * pulVal;
        ULONGLONG * pullVal;
        INT * pintVal;
        UINT * puintVal;
    };
};
using VARIANT = tagVARIANT;
using VARIANTARG = tagVARIANT;
static_assert(sizeof(VARIANT) == 16 && sizeof(DECIMAL) == 16);

constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003U);
constexpr HRESULT DISP_E_PARAMNOTFOUND = static_cast<HRESULT>(0x80020004U);
constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005U);
constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006U);
constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008U);
constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000AU);

constexpr USHORT VARIANT_NOVALUEPROP = 0x01; ///< an object is not asked for its value property
constexpr USHORT VARIANT_ALPHABOOL = 0x02;   ///< VT_BOOL as text is "True" or "False", not "-1" or "0"

namespace qvlib::host
{

/// The decimal of a VT_DECIMAL variant.
inline DECIMAL GetDecimal(VARIANT const & value) noexcept
{
    DECIMAL decimal;
    std::memcpy(&decimal, &value, sizeof decimal);
    decimal.wReserved = 0;
    return decimal;
}

/// Makes `value`, which must own nothing, a VT_DECIMAL.
inline void SetDecimal(VARIANT & value, DECIMAL const & decimal) noexcept
{
    std::memcpy(&value, &decimal, sizeof decimal);
    value.vt = VT_DECIMAL;
}

} // namespace qvlib::host

// Counted strings. The length stands before the characters, so they may hold NULs; a terminator follows always. A null
// BSTR is an empty one. Thread-safe. A null result means no memory, or a null text.

/// A copy of a terminated text; null for null.
QVLIB_API BSTR SysAllocString(OLECHAR const * text);
/// A copy of `length` characters; with a null `text`, room for so many, not yet set.
QVLIB_API BSTR SysAllocStringLen(OLECHAR const * text, UINT length);
/// A copy of `length` bytes, which need not be whole characters.
QVLIB_API BSTR SysAllocStringByteLen(char const * bytes, UINT length);
QVLIB_API void SysFreeString(BSTR text);
/// Characters, without the terminator.
QVLIB_API UINT SysStringLen(BSTR text);
/// Bytes in memory, without the terminator.
QVLIB_API UINT SysStringByteLen(BSTR text);

/// Makes a record that holds nothing, whatever was in it.
inline void VariantInit(VARIANTARG * value) noexcept { *value = VARIANT{}; }
/// Gives back what the variant holds and empties it. What a VT_BYREF variant points to is not touched. A kind that no
/// variant has is DISP_E_BADVARTYPE, and a locked array DISP_E_ARRAYISLOCKED; the variant then stays.
/// Thread-compatible.
QVLIB_API HRESULT VariantClear(VARIANTARG * value);
/// Clears `target` and makes it a copy that owns its own string, array or reference. Strong: a failure leaves `target`.
QVLIB_API HRESULT VariantCopy(VARIANTARG * target, VARIANTARG const * source);
/// The same, following a VT_BYREF source to what it points to.
QVLIB_API HRESULT VariantCopyInd(VARIANTARG * target, VARIANTARG const * source);
/// Stores `source` converted to the kind `vt` in `target`, which may be the same variant. Text is read and written in
/// the user's default locale. DISP_E_TYPEMISMATCH when there is no conversion, DISP_E_OVERFLOW when the value does not
/// fit, DISP_E_BADVARTYPE for a kind that no variant has; `target` then stays as it was.
QVLIB_API HRESULT VariantChangeType(VARIANTARG * target, VARIANTARG const * source, USHORT flags, VARTYPE vt);
/// The same in a given locale.
QVLIB_API HRESULT VariantChangeTypeEx(VARIANTARG * target, VARIANTARG const * source, LCID locale, USHORT flags,
                                      VARTYPE vt);

// What VarCmp answers.
constexpr HRESULT VARCMP_LT = 0;   ///< left is below right
constexpr HRESULT VARCMP_EQ = 1;   ///< they are equal
constexpr HRESULT VARCMP_GT = 2;   ///< left is above right
constexpr HRESULT VARCMP_NULL = 3; ///< one of them is VT_NULL, so there is no answer

constexpr ULONG NORM_IGNORECASE = 0x00000001; ///< letters that differ in case only are equal

/// Compares two values across kinds: numbers, dates and truth values by value, VT_EMPTY as 0 or as the empty text, and
/// every text above every number. Text is compared character by character with `locale` 0, and in the order of the
/// locale with any other; `flags` (NORM_IGNORECASE) count only there. A not-a-number is above nothing and below
/// nothing, so VARCMP_GT. References are followed. Nothing is changed. DISP_E_TYPEMISMATCH for arrays, objects, and
/// for VT_ERROR beside another kind; DISP_E_BADVARTYPE for a kind that no variant has. Thread-compatible.
QVLIB_API HRESULT VarCmp(VARIANT * left, VARIANT * right, LCID locale, ULONG flags);

#endif
