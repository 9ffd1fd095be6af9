// Dispatch maps: the members of a CCmdTarget that late-bound callers reach, by name or number.
//
//     class CPrinter : public CQVEventSink
//     {
//         DECLARE_DISPATCH_MAP()
//     public:
//         void OnChanged(wchar_t const * name, LONG value);
//     };
//     BEGIN_DISPATCH_MAP(CPrinter, CQVEventSink)
//         DISP_FUNCTION_ID(CPrinter, L"Changed", 1, OnChanged, VT_EMPTY, VTS_BSTR VTS_I4)
//     END_DISPATCH_MAP()
//
// A caller's arguments are converted to the kinds of the VTS_ list, which the C++ parameters must fit: what does not
// fit does not compile. Kinds and parameters: VTS_I2 short, VTS_I4 LONG or long, VTS_R4 float, VTS_R8 and VTS_DATE
// double, VTS_CY CY, VTS_BSTR wchar_t const * (never null), VTS_BOOL BOOL, bool or VARIANT_BOOL, VTS_ERROR SCODE,
// VTS_DISPATCH and VTS_UNKNOWN interface pointers (the caller's reference, may be null), VTS_VARIANT VARIANT const &; a
// VTS_P... kind takes a pointer to what the caller handed by reference. Results are returned by value; a returned BSTR,
// VARIANT or reference becomes the caller's.
//
// An exception of the function becomes DISP_E_EXCEPTION with its code and text. Names match without regard to case.
#pragma once

#include "qvlib/framework/cmdtarget.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/variant.h"

#include <cstddef>
#include <type_traits>
#include <utility>

/// One member of a dispatch map.
struct AFX_DISPMAP_ENTRY
{
    LPCWSTR name; ///< null ends the map
    DISPID id;    ///< DISPID_UNKNOWN: numbered by its place in the map
    WORD kinds;   ///< DISPATCH_METHOD, or DISPATCH_PROPERTYGET, or DISPATCH_PROPERTYPUT
    LPCSTR parameters;
    /// Calls the member with arguments of the parameters' kinds, the first one first. `result` is empty.
    void (*call)(CCmdTarget & object, VARIANT * arguments, VARIANT & result);
};

struct AFX_DISPMAP
{
    AFX_DISPMAP const * (*pfnGetBaseMap)(); ///< null: the root
    AFX_DISPMAP_ENTRY const * pEntries;
};

// The kinds of parameters: one byte each, which is the VARENUM code, with 0x40 for those by reference.
#define VTS_NONE ""
#define VTS_I2 "\x02"
#define VTS_I4 "\x03"
#define VTS_R4 "\x04"
#define VTS_R8 "\x05"
#define VTS_CY "\x06"
#define VTS_DATE "\x07"
#define VTS_BSTR "\x08"
#define VTS_DISPATCH "\x09"
#define VTS_ERROR "\x0A"
#define VTS_SCODE VTS_ERROR
#define VTS_BOOL "\x0B"
#define VTS_VARIANT "\x0C"
#define VTS_UNKNOWN "\x0D"
#define VTS_I1 "\x10"
#define VTS_UI1 "\x11"
#define VTS_UI2 "\x12"
#define VTS_UI4 "\x13"
#define VTS_I8 "\x14"
#define VTS_UI8 "\x15"
#define VTS_PI2 "\x42"
#define VTS_PI4 "\x43"
#define VTS_PR4 "\x44"
#define VTS_PR8 "\x45"
#define VTS_PCY "\x46"
#define VTS_PDATE "\x47"
#define VTS_PBSTR "\x48"
#define VTS_PDISPATCH "\x49"
#define VTS_PERROR "\x4A"
#define VTS_PBOOL "\x4B"
#define VTS_PVARIANT "\x4C"
#define VTS_PUNKNOWN "\x4D"

namespace qvlib::framework
{

inline constexpr std::size_t kMaxDispatchParameters = 16;
inline constexpr unsigned char kByReference = 0x40; ///< in a byte of a VTS_ list

/// Whether a C++ parameter or result of type T carries the kind `vt`.
template <class T>
constexpr bool Carries(unsigned vt) noexcept
{
    using U = std::remove_cv_t<std::remove_reference_t<T>>;
    if constexpr (std::is_same_v<U, VARIANT>)
        return vt == VT_VARIANT;
    else if constexpr (std::is_same_v<U, LPCWSTR> || std::is_same_v<U, BSTR>)
        return vt == VT_BSTR;
    else if constexpr (std::is_same_v<U, IDispatch *>)
        return vt == VT_DISPATCH;
    else if constexpr (std::is_same_v<U, IUnknown *>)
        return vt == VT_UNKNOWN;
    else if constexpr (std::is_same_v<U, CY>)
        return vt == VT_CY;
    else if constexpr (std::is_same_v<U, float>)
        return vt == VT_R4;
    else if constexpr (std::is_same_v<U, double>)
        return vt == VT_R8 || vt == VT_DATE;
    else if constexpr (std::is_same_v<U, bool>)
        return vt == VT_BOOL;
    else if constexpr (std::is_integral_v<U>)
    {
        constexpr bool isSigned = std::is_signed_v<U>;
        constexpr std::size_t size = sizeof(U);
        switch (vt)
        {
        case VT_BOOL:
            return isSigned && (size == sizeof(VARIANT_BOOL) || size == sizeof(BOOL));
        case VT_I1:
        case VT_UI1:
            return size == 1 && isSigned == (vt == VT_I1);
        case VT_I2:
        case VT_UI2:
            return size == 2 && isSigned == (vt == VT_I2);
        case VT_I4:
        case VT_ERROR:
            return (size == 4 || std::is_same_v<U, long>)&&isSigned;
        case VT_UI4:
            return (size == 4 || std::is_same_v<U, unsigned long>)&&!isSigned;
        case VT_I8:
        case VT_UI8:
            return size == 8 && isSigned == (vt == VT_I8);
        default:
            return false;
        }
    }
    else
        return false;
}

/// Whether a C++ parameter fits one byte of a VTS_ list.
template <class T>
constexpr bool Fits(unsigned char kind) noexcept
{
    using U = std::remove_cv_t<std::remove_reference_t<T>>;
    if ((kind & kByReference) == 0)
        return Carries<T>(kind);
    if constexpr (std::is_pointer_v<U>)
    {
        using Target = std::remove_pointer_t<U>;
        unsigned const vt = kind & ~unsigned{kByReference};
        // Written in place, so the width is the platform's own; a truth value has 16 bits there.
        if (vt == VT_BOOL)
            return std::is_same_v<Target, VARIANT_BOOL>;
        return Carries<Target>(vt) && !std::is_same_v<Target, long> && !std::is_same_v<Target, LPCWSTR>;
    }
    else
        return false;
}

template <class... Parameters>
constexpr bool FitAll(char const * kinds) noexcept
{
    bool const fit = ((*kinds != '\0' && Fits<Parameters>(static_cast<unsigned char>(*kinds++))) && ...);
    return fit && *kinds == '\0' && sizeof...(Parameters) <= kMaxDispatchParameters;
}

/// The whole number of a variant that holds one.
template <class T>
T WholeNumber(VARIANT const & value) noexcept
{
    switch (value.vt)
    {
    case VT_BOOL:
        return sizeof(T) == sizeof(VARIANT_BOOL) ? static_cast<T>(value.boolVal) : static_cast<T>(value.boolVal != 0);
    case VT_I1:
    case VT_UI1:
        return static_cast<T>(value.bVal);
    case VT_I2:
    case VT_UI2:
        return static_cast<T>(value.iVal);
    case VT_UI4:
        return static_cast<T>(value.ulVal);
    case VT_I8:
    case VT_UI8:
        return static_cast<T>(value.llVal);
    default:
        return static_cast<T>(value.lVal);
    }
}

/// What a function gets as an argument of the type T.
template <class T>
decltype(auto) ArgumentOf(VARIANT & value) noexcept
{
    using U = std::remove_cv_t<std::remove_reference_t<T>>;
    if constexpr (std::is_same_v<U, VARIANT>)
        return (value);
    else if constexpr (std::is_same_v<U, LPCWSTR>)
        return LPCWSTR{value.bstrVal != nullptr ? value.bstrVal : L""};
    else if constexpr (std::is_same_v<U, BSTR>)
        return BSTR{value.bstrVal};
    else if constexpr (std::is_pointer_v<U>)
        return static_cast<U>(value.byref); // interfaces by value, and all else by reference
    else if constexpr (std::is_same_v<U, CY>)
        return CY{value.cyVal};
    else if constexpr (std::is_same_v<U, float>)
        return float{value.fltVal};
    else if constexpr (std::is_same_v<U, double>)
        return double{value.dblVal};
    else
        return WholeNumber<U>(value);
}

/// Stores what a function returned as the kind `vt`. A `long` outside 32 bits throws DISP_E_OVERFLOW.
template <class T>
void StoreResult(VARIANT & result, VARTYPE vt, T value)
{
    if constexpr (std::is_same_v<T, VARIANT>)
        result = value;
    else
    {
        result.vt = vt;
        if constexpr (std::is_pointer_v<T>)
            result.byref = const_cast<void *>(static_cast<void const *>(value));
        else if constexpr (std::is_same_v<T, CY>)
            result.cyVal = value;
        else if constexpr (std::is_same_v<T, float>)
            result.fltVal = value;
        else if constexpr (std::is_same_v<T, double>)
            result.dblVal = value;
        else if (vt == VT_BOOL)
            result.boolVal = value != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        else if constexpr (sizeof(T) == 1)
            result.bVal = static_cast<BYTE>(value);
        else if constexpr (sizeof(T) == 2)
            result.iVal = static_cast<SHORT>(value);
        else if (vt == VT_I8 || vt == VT_UI8)
            result.llVal = static_cast<LONGLONG>(value);
        else
        {
            if (value != static_cast<T>(static_cast<std::conditional_t<std::is_signed_v<T>, LONG, ULONG>>(value)))
                AfxThrowOleException(DISP_E_OVERFLOW);
            result.lVal = static_cast<LONG>(value);
        }
    }
}

template <class Function>
struct DispatchMember;

template <class Class, class Result, class... Parameters>
struct DispatchMember<Result (Class::*)(Parameters...)>
{
    static constexpr bool Fits(char const * kinds, VARTYPE result) noexcept
    {
        if constexpr (std::is_void_v<Result>)
            return result == VT_EMPTY && FitAll<Parameters...>(kinds);
        else
            return Carries<Result>(result) && !std::is_same_v<Result, LPCWSTR> && FitAll<Parameters...>(kinds);
    }
    template <class Object, class Member>
    static void Call(Object & object, Member member, VARIANT * arguments, VARIANT & result, VARTYPE vt)
    {
        CallWith(object, member, arguments, result, vt, std::make_index_sequence<sizeof...(Parameters)>());
    }

private:
    template <class Object, class Member, std::size_t... At>
    static void CallWith(Object & object, Member member, [[maybe_unused]] VARIANT * arguments,
                         [[maybe_unused]] VARIANT & result, [[maybe_unused]] VARTYPE vt, std::index_sequence<At...>)
    {
        if constexpr (std::is_void_v<Result>)
            (object.*member)(ArgumentOf<Parameters>(arguments[At])...);
        else
            StoreResult<std::remove_cv_t<std::remove_reference_t<Result>>>(
                result, vt, (object.*member)(ArgumentOf<Parameters>(arguments[At])...));
    }
};
template <class Class, class Result, class... Parameters>
struct DispatchMember<Result (Class::*)(Parameters...) const> : DispatchMember<Result (Class::*)(Parameters...)>
{
};

} // namespace qvlib::framework

/// In a class: it has a dispatch map. BEGIN_DISPATCH_MAP in one source file goes with it.
#define DECLARE_DISPATCH_MAP()                                                                                         \
public:                                                                                                                \
    AFX_DISPMAP const * GetDispatchMap() const override { return GetThisDispatchMap(); }                               \
    static AFX_DISPMAP const * GetThisDispatchMap() noexcept;

#define BEGIN_DISPATCH_MAP(theClass, theBase)                                                                          \
    AFX_DISPMAP const * theClass::GetThisDispatchMap() noexcept                                                        \
    {                                                                                                                  \
        constexpr auto baseMap = &theBase::GetThisDispatchMap;                                                         \
        static constexpr AFX_DISPMAP_ENTRY entries[] = {

#define QVLIB_DISP_ENTRY(theClass, externalName, id, kinds, member, vtResult, vtsParams)                               \
    {externalName, id, kinds, vtsParams,                                                                               \
     [](CCmdTarget & object, VARIANT * arguments, VARIANT & result)                                                    \
     {                                                                                                                 \
         using Member = qvlib::framework::DispatchMember<decltype(&theClass::member)>;                                 \
         static_assert(Member::Fits(vtsParams, vtResult), "the parameters or the result do not fit their kinds");      \
         Member::Call(static_cast<theClass &>(object), &theClass::member, arguments, result, vtResult);                \
     }},

/// A function by name; its number follows from its place in the map.
#define DISP_FUNCTION(theClass, externalName, member, vtResult, vtsParams)                                             \
    QVLIB_DISP_ENTRY(theClass, externalName, DISPID_UNKNOWN, DISPATCH_METHOD, member, vtResult, vtsParams)

/// A function by name and number.
#define DISP_FUNCTION_ID(theClass, externalName, dispid, member, vtResult, vtsParams)                                  \
    QVLIB_DISP_ENTRY(theClass, externalName, dispid, DISPATCH_METHOD, member, vtResult, vtsParams)

/// A property by name and number, read by one function and written by another. `vtsType` is its kind as VTS_..., which
/// `vtType` names as VT_...
#define DISP_PROPERTY_EX_ID(theClass, externalName, dispid, memberGet, memberSet, vtType, vtsType)                     \
    QVLIB_DISP_ENTRY(theClass, externalName, dispid, DISPATCH_PROPERTYGET, memberGet, vtType, VTS_NONE)                \
    QVLIB_DISP_ENTRY(theClass, externalName, dispid, DISPATCH_PROPERTYPUT, memberSet, VT_EMPTY, vtsType)

#define END_DISPATCH_MAP()                                                                                             \
    {                                                                                                                  \
        nullptr, 0, 0, nullptr, nullptr                                                                                \
    }                                                                                                                  \
    }                                                                                                                  \
    ;                                                                                                                  \
    static constexpr AFX_DISPMAP map{baseMap, entries};                                                                \
    return &map;                                                                                                       \
    }
