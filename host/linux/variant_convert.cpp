// Conversions between the kinds of a variant.
//
// A source is first brought into one of a few forms (whole number, double, currency, decimal, text); each target then
// reads those forms. Between whole numbers of the same width the bits pass unchanged; every other value that does not
// fit is DISP_E_OVERFLOW. Fractions round to the even neighbour.

#include "host/linux/internal/number_text.h"
#include "host/linux/internal/whole_number.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/dates.h"
#include "qvlib/host/variant.h"

#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace
{

using qvlib::host::FromSigned;
using qvlib::host::GetWhole;
using qvlib::host::NumberText;
using qvlib::host::Whole;
using qvlib::host::WholeWidth;

struct Context
{
    LCID locale;
    USHORT flags;
};

constexpr ULONGLONG kTenThousand = 10000;

HRESULT RoundDouble(double value, Whole & whole) noexcept
{
    double const magnitude = std::fabs(value);
    if (!(magnitude < 18446744073709551616.0))
        return DISP_E_OVERFLOW;
    double rounded = std::floor(magnitude);
    double const rest = magnitude - rounded;
    if (rest > 0.5 || (rest == 0.5 && std::fmod(rounded, 2.0) != 0))
        rounded += 1;
    whole = {value < 0 && rounded != 0, static_cast<ULONGLONG>(rounded)};
    return S_OK;
}

Whole RoundCurrency(LONGLONG amount) noexcept
{
    Whole const exact = FromSigned(amount);
    ULONGLONG rounded = exact.magnitude / kTenThousand;
    ULONGLONG const twice = exact.magnitude % kTenThousand * 2;
    if (twice > kTenThousand || (twice == kTenThousand && (rounded & 1) != 0))
        ++rounded;
    return {exact.negative && rounded != 0, rounded};
}

NumberText TextOfWhole(Whole const & whole, LONGLONG exponent = 0)
{
    NumberText number;
    number.negative = whole.negative;
    number.exponent = exponent;
    if (whole.magnitude != 0)
        number.digits = std::to_string(whole.magnitude);
    return number;
}

std::wstring_view TextOf(VARIANT const & value) noexcept
{
    return value.bstrVal == nullptr ? std::wstring_view()
                                    : std::wstring_view(value.bstrVal, SysStringLen(value.bstrVal));
}

/// A double's significant digits as the platform takes them into exact kinds: 15, or 7 from a VT_R4.
HRESULT DigitsOfDouble(double value, int digits, NumberText & number)
{
    if (!std::isfinite(value))
        return DISP_E_OVERFLOW;
    return qvlib::host::ReadNumber(qvlib::host::DoubleText(value, digits, LOCALE_INVARIANT), LOCALE_INVARIANT, number);
}

/// Any numeric source as digits.
HRESULT GetNumber(VARIANT const & source, Context const & context, NumberText & number)
{
    Whole whole;
    if (GetWhole(source, whole))
    {
        number = TextOfWhole(whole);
        return S_OK;
    }
    switch (source.vt)
    {
    case VT_R4:
        return DigitsOfDouble(static_cast<double>(source.fltVal), 7, number);
    case VT_R8:
    case VT_DATE:
        return DigitsOfDouble(source.dblVal, 15, number);
    case VT_CY:
        number = TextOfWhole(FromSigned(source.cyVal.int64), -4);
        return S_OK;
    case VT_DECIMAL:
        number = qvlib::host::FromDecimal(qvlib::host::GetDecimal(source));
        return S_OK;
    case VT_BSTR:
        return qvlib::host::ReadNumber(TextOf(source), context.locale, number);
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

HRESULT GetDouble(VARIANT const & source, Context const & context, double & value)
{
    Whole whole;
    if (GetWhole(source, whole))
    {
        value = qvlib::host::ToDouble(whole);
        return S_OK;
    }
    switch (source.vt)
    {
    case VT_R4:
        value = static_cast<double>(source.fltVal);
        return S_OK;
    case VT_R8:
    case VT_DATE:
        value = source.dblVal;
        return S_OK;
    case VT_CY:
        value = static_cast<double>(source.cyVal.int64) / 10000.0;
        return S_OK;
    default:
    {
        if (source.vt == VT_BSTR && qvlib::host::ReadPlainDouble(TextOf(source), context.locale, value))
            return S_OK;
        NumberText number;
        if (HRESULT const result = GetNumber(source, context, number); FAILED(result))
            return result;
        return qvlib::host::ToDouble(number, value);
    }
    }
}

HRESULT RoundToWhole(VARIANT const & source, Context const & context, Whole & whole)
{
    switch (source.vt)
    {
    case VT_R4:
        return RoundDouble(static_cast<double>(source.fltVal), whole);
    case VT_R8:
    case VT_DATE:
        return RoundDouble(source.dblVal, whole);
    case VT_CY:
        whole = RoundCurrency(source.cyVal.int64);
        return S_OK;
    default:
    {
        NumberText number;
        if (HRESULT const result = GetNumber(source, context, number); FAILED(result))
            return result;
        whole.negative = number.negative;
        return qvlib::host::ToWhole(number, 0, whole.magnitude);
    }
    }
}

/// Whether the text is a pattern of bits, "&H..." or "&O...".
bool IsBitsText(VARIANT const & source)
{
    std::wstring_view const text = source.vt == VT_BSTR ? TextOf(source) : std::wstring_view();
    std::size_t const at = text.find_first_not_of(L" \t");
    return at != text.npos && text[at] == L'&';
}

HRESULT ConvertToWhole(VARIANT const & source, Context const & context, VARIANT & target)
{
    bool isSigned = false;
    std::size_t const width = WholeWidth(target.vt, isSigned);
    Whole whole;
    bool takesBits = source.vt == VT_BOOL;
    if (GetWhole(source, whole))
    {
        bool sourceSigned = false;
        takesBits = takesBits || WholeWidth(source.vt, sourceSigned) == width;
    }
    else
    {
        if (HRESULT const result = RoundToWhole(source, context, whole); FAILED(result))
            return result;
        takesBits = IsBitsText(source) && (width == 8 || whole.magnitude >> (8 * width) == 0);
    }
    if (!takesBits)
    {
        ULONGLONG const most = ~0ULL >> (64 - 8 * width + (isSigned ? 1 : 0));
        ULONGLONG const limit = !whole.negative ? most : isSigned ? most + 1 : 0;
        if (whole.magnitude > limit)
            return DISP_E_OVERFLOW;
    }
    target.ullVal = whole.negative ? ~whole.magnitude + 1 : whole.magnitude;
    // The low bytes are the value of the narrower members on a little-endian machine; these set them on any.
    if (width == 1)
        target.bVal = static_cast<BYTE>(target.ullVal);
    else if (width == 2)
        target.uiVal = static_cast<USHORT>(target.ullVal);
    else if (width == 4)
        target.ulVal = static_cast<ULONG>(target.ullVal);
    return S_OK;
}

HRESULT ConvertToBool(VARIANT const & source, Context const & context, VARIANT & target)
{
    bool truth = false;
    if (source.vt == VT_BSTR)
    {
        std::wstring const text(TextOf(source));
        if (_wcsicmp(text.c_str(), L"True") == 0 || _wcsicmp(text.c_str(), L"#TRUE#") == 0)
            truth = true;
        else if (_wcsicmp(text.c_str(), L"False") != 0 && _wcsicmp(text.c_str(), L"#FALSE#") != 0)
        {
            double value = 0;
            if (HRESULT const result = GetDouble(source, context, value); FAILED(result))
                return result;
            truth = value != 0;
        }
    }
    else if (source.vt == VT_DECIMAL)
        truth = !qvlib::host::FromDecimal(qvlib::host::GetDecimal(source)).digits.empty();
    else
    {
        double value = 0;
        if (HRESULT const result = GetDouble(source, context, value); FAILED(result))
            return result;
        truth = value != 0;
    }
    target.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT ConvertToDate(VARIANT const & source, Context const & context, VARIANT & target)
{
    if (source.vt == VT_BSTR)
        return VarDateFromStr(source.bstrVal == nullptr ? L"" : source.bstrVal, context.locale, 0, &target.date);
    constexpr double kBelow = -657435; // 31 December 99
    constexpr double kAbove = 2958466; // 1 January 10000
    double value = 0;
    if (HRESULT const result = GetDouble(source, context, value); FAILED(result))
        return result;
    if (!(value > kBelow && value < kAbove))
        return DISP_E_OVERFLOW;
    target.date = value;
    return S_OK;
}

HRESULT ConvertToCurrency(VARIANT const & source, Context const & context, VARIANT & target)
{
    Whole amount;
    if (source.vt == VT_R4 || source.vt == VT_R8 || source.vt == VT_DATE)
    {
        double const value = source.vt == VT_R4 ? static_cast<double>(source.fltVal) : source.dblVal;
        if (HRESULT const result = RoundDouble(value * 10000.0, amount); FAILED(result))
            return result;
    }
    else
    {
        NumberText number;
        if (HRESULT const result = GetNumber(source, context, number); FAILED(result))
            return result;
        if (number.isBits)
        {
            number = TextOfWhole({number.negative, number.bits});
        }
        amount.negative = number.negative;
        if (HRESULT const result = qvlib::host::ToWhole(number, 4, amount.magnitude); FAILED(result))
            return result;
    }
    if (amount.magnitude > (~0ULL >> 1) + (amount.negative ? 1 : 0))
        return DISP_E_OVERFLOW;
    target.cyVal.int64 = static_cast<LONGLONG>(amount.negative ? ~amount.magnitude + 1 : amount.magnitude);
    return S_OK;
}

/// What is not written as a whole number, as text.
HRESULT WriteText(VARIANT const & source, Context const & context, std::wstring & text)
{
    switch (source.vt)
    {
    case VT_EMPTY:
        return S_OK;
    case VT_BOOL: // as a word; as a number it is a whole one
        text = source.boolVal != VARIANT_FALSE ? L"True" : L"False";
        return S_OK;
    case VT_R4:
        text = qvlib::host::DoubleText(static_cast<double>(source.fltVal), 7, context.locale);
        return S_OK;
    case VT_R8:
        text = qvlib::host::DoubleText(source.dblVal, 15, context.locale);
        return S_OK;
    case VT_CY:
        text = qvlib::host::FixedText(TextOfWhole(FromSigned(source.cyVal.int64), -4), context.locale);
        return S_OK;
    case VT_DECIMAL:
        text = qvlib::host::FixedText(qvlib::host::FromDecimal(qvlib::host::GetDecimal(source)), context.locale);
        return S_OK;
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

/// Digits straight into a counted string: the conversion that is wanted most.
HRESULT WriteWhole(Whole const & whole, BSTR & text) noexcept
{
    wchar_t digits[21];
    wchar_t * const end = digits + std::size(digits);
    wchar_t * at = end;
    for (ULONGLONG rest = whole.magnitude; at == end || rest != 0; rest /= 10)
        *--at = static_cast<wchar_t>(L'0' + rest % 10);
    if (whole.negative)
        *--at = L'-';
    text = SysAllocStringLen(at, static_cast<UINT>(end - at));
    return text != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT ConvertToText(VARIANT const & source, Context const & context, VARIANT & target)
{
    if (source.vt == VT_DATE)
        return VarBstrFromDate(source.date, context.locale, 0, &target.bstrVal);
    Whole whole;
    bool const asWord = source.vt == VT_EMPTY || (source.vt == VT_BOOL && (context.flags & VARIANT_ALPHABOOL) != 0);
    if (!asWord && GetWhole(source, whole))
        return WriteWhole(whole, target.bstrVal);
    std::wstring text;
    if (HRESULT const result = WriteText(source, context, text); FAILED(result))
        return result;
    target.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return target.bstrVal != nullptr ? S_OK : E_OUTOFMEMORY;
}

/// An object seen through another interface.
HRESULT ConvertToObject(VARIANT const & source, VARIANT & target)
{
    if (source.vt != VT_UNKNOWN && source.vt != VT_DISPATCH)
        return DISP_E_TYPEMISMATCH;
    IUnknown * const object = source.vt == VT_UNKNOWN ? source.punkVal : source.pdispVal;
    if (object == nullptr)
        return S_OK;
    void * found = nullptr;
    bool const dispatch = target.vt == VT_DISPATCH;
    if (FAILED(object->QueryInterface(dispatch ? IID_IDispatch : IID_IUnknown, &found)))
        return DISP_E_TYPEMISMATCH;
    if (dispatch)
        target.pdispVal = static_cast<IDispatch *>(found);
    else
        target.punkVal = static_cast<IUnknown *>(found);
    return S_OK;
}

HRESULT Convert(VARIANT const & source, Context const & context, VARIANT & target)
{
    switch (target.vt)
    {
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return ConvertToObject(source, target);
    case VT_BSTR:
        return ConvertToText(source, context, target);
    case VT_BOOL:
        return ConvertToBool(source, context, target);
    case VT_DATE:
        return ConvertToDate(source, context, target);
    case VT_CY:
        return ConvertToCurrency(source, context, target);
    case VT_DECIMAL:
    {
        NumberText number;
        DECIMAL decimal;
        if (HRESULT const result = GetNumber(source, context, number); FAILED(result))
            return result;
        if (HRESULT const result = qvlib::host::ToDecimal(number, decimal); FAILED(result))
            return result;
        qvlib::host::SetDecimal(target, decimal);
        return S_OK;
    }
    case VT_R8:
        return GetDouble(source, context, target.dblVal);
    case VT_R4:
    {
        double value = 0;
        if (HRESULT const result = GetDouble(source, context, value); FAILED(result))
            return result;
        if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max()) && std::isfinite(value))
            return DISP_E_OVERFLOW;
        target.fltVal = static_cast<float>(value);
        return S_OK;
    }
    case VT_EMPTY:
    case VT_NULL:
    case VT_ERROR:
        return DISP_E_TYPEMISMATCH;
    default:
        return ConvertToWhole(source, context, target);
    }
}

/// Fetches an object's value property, which stands for it where a plain value is wanted.
HRESULT FetchValue(IDispatch * object, Context const & context, VARIANT & value)
{
    if (object == nullptr)
        return DISP_E_BADVARTYPE;
    DISPPARAMS none{};
    HRESULT const result =
        object->Invoke(DISPID_VALUE, GUID_NULL, context.locale, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
    return FAILED(result) ? DISP_E_TYPEMISMATCH : S_OK;
}

/// Whether the kind can be a target: one of a plain variant.
bool IsTargetKind(VARTYPE vt) noexcept { return vt <= VT_UINT && vt != VT_VARIANT && vt != 15; }

HRESULT ChangeType(VARIANT const & source, Context const & context, VARIANT & made)
{
    if ((source.vt & VT_ARRAY) != 0)
        return DISP_E_TYPEMISMATCH;
    bool const toObject = made.vt == VT_UNKNOWN || made.vt == VT_DISPATCH;
    if (source.vt != VT_DISPATCH || toObject || (context.flags & VARIANT_NOVALUEPROP) != 0)
        return Convert(source, context, made);
    VARIANT value{};
    HRESULT result = FetchValue(source.pdispVal, context, value);
    if (SUCCEEDED(result))
        result = value.vt == made.vt                             ? VariantCopy(&made, &value)
                 : value.vt == VT_DISPATCH || value.vt > VT_UINT ? DISP_E_TYPEMISMATCH
                                                                 : Convert(value, context, made);
    VariantClear(&value);
    return result;
}

} // namespace

HRESULT VariantChangeTypeEx(VARIANTARG * target, VARIANTARG const * source, LCID locale, USHORT flags, VARTYPE vt)
{
    if (target == nullptr || source == nullptr)
        return E_INVALIDARG;
    if (source->vt == vt)
        return VariantCopy(target, source);
    if (!IsTargetKind(vt & static_cast<VARTYPE>(~VT_ARRAY)) || (vt & VT_ARRAY) != 0)
        return IsTargetKind(vt & VT_TYPEMASK) ? DISP_E_TYPEMISMATCH : DISP_E_BADVARTYPE;

    VARIANT held{};
    if ((source->vt & VT_BYREF) != 0)
    {
        if (HRESULT const result = VariantCopyInd(&held, source); FAILED(result))
            return result;
        if (held.vt == vt)
        {
            if (HRESULT const result = VariantClear(target); FAILED(result))
            {
                VariantClear(&held);
                return result;
            }
            *target = held;
            return S_OK;
        }
        source = &held;
    }
    else if (!IsTargetKind(source->vt & static_cast<VARTYPE>(~VT_ARRAY)))
        return DISP_E_BADVARTYPE;

    VARIANT made{};
    made.vt = vt;
    HRESULT result = E_OUTOFMEMORY;
    try
    {
        result = ChangeType(*source, Context{locale, flags}, made);
    }
    catch (std::bad_alloc const &)
    {
        made = VARIANT{}; // nothing in it is owned before the conversion has succeeded
    }
    VariantClear(&held);
    if (FAILED(result))
        return result;
    if (HRESULT const cleared = VariantClear(target); FAILED(cleared))
    {
        VariantClear(&made);
        return cleared;
    }
    *target = made;
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG * target, VARIANTARG const * source, USHORT flags, VARTYPE vt)
{
    return VariantChangeTypeEx(target, source, LOCALE_USER_DEFAULT, flags, vt);
}
