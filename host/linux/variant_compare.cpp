// Comparison across the kinds of a variant.
//
// Both sides are brought into the stronger of two forms: decimal over double over currency over whole numbers.

#include "host/linux/internal/number_text.h"
#include "host/linux/internal/variant_kind.h"
#include "host/linux/internal/whole_number.h"
#include "qvlib/host/locale.h"
#include "qvlib/host/utf16.h"
#include "qvlib/host/variant.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

namespace
{

using qvlib::host::NumberText;
using qvlib::host::Whole;

template <class T>
HRESULT Order(T const & left, T const & right) noexcept
{
    return left < right ? VARCMP_LT : left == right ? VARCMP_EQ : VARCMP_GT;
}

HRESULT OrderOfSign(int sign) noexcept { return sign < 0 ? VARCMP_LT : sign == 0 ? VARCMP_EQ : VARCMP_GT; }

HRESULT Opposite(HRESULT order) noexcept
{
    return order == VARCMP_LT ? VARCMP_GT : order == VARCMP_GT ? VARCMP_LT : order;
}

std::wstring_view TextOf(VARIANT const & value) noexcept
{
    return value.vt != VT_BSTR || value.bstrVal == nullptr
               ? std::wstring_view()
               : std::wstring_view(value.bstrVal, SysStringLen(value.bstrVal));
}

struct CloseCollator
{
    void operator()(UCollator * collator) const noexcept { ucol_close(collator); }
};

HRESULT CompareInLocale(std::wstring_view left, std::wstring_view right, LCID locale, ULONG flags)
{
    std::string const name = qvlib::host::LocaleName(locale);
    if (name.empty())
        return E_INVALIDARG;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UCollator, CloseCollator> const collator(ucol_open(name.c_str(), &status));
    if (U_FAILURE(status))
        return status == U_MEMORY_ALLOCATION_ERROR ? E_OUTOFMEMORY : E_INVALIDARG;
    if ((flags & NORM_IGNORECASE) != 0)
        ucol_setStrength(collator.get(), UCOL_SECONDARY);
    std::u16string const first = qvlib::host::ToUtf16(left);
    std::u16string const second = qvlib::host::ToUtf16(right);
    return OrderOfSign(ucol_strcoll(collator.get(), first.data(), static_cast<int32_t>(first.size()), second.data(),
                                    static_cast<int32_t>(second.size())));
}

HRESULT CompareTexts(VARIANT const & left, VARIANT const & right, LCID locale, ULONG flags)
{
    if (locale == 0)
        return OrderOfSign(TextOf(left).compare(TextOf(right)));
    return CompareInLocale(TextOf(left), TextOf(right), locale, flags);
}

HRESULT CompareWhole(Whole const & left, Whole const & right) noexcept
{
    if (left.negative != right.negative)
        return left.negative ? VARCMP_LT : VARCMP_GT;
    return left.negative ? Order(right.magnitude, left.magnitude) : Order(left.magnitude, right.magnitude);
}

HRESULT CompareDoubles(double left, double right) noexcept
{
    return left < right ? VARCMP_LT : left == right ? VARCMP_EQ : VARCMP_GT;
}

/// Whole units and the ten-thousandths beyond them, the latter with the sign of the amount.
HRESULT CompareCurrency(LONGLONG amount, Whole const & whole) noexcept
{
    constexpr LONGLONG kUnit = 10000;
    HRESULT const units = CompareWhole(qvlib::host::FromSigned(amount / kUnit), whole);
    return units != VARCMP_EQ ? units : Order(amount % kUnit, LONGLONG{0});
}

/// Magnitudes, digit by digit from the same place.
int CompareDigits(NumberText const & left, NumberText const & right) noexcept
{
    LONGLONG const leftPlaces = static_cast<LONGLONG>(left.digits.size()) + left.exponent;
    LONGLONG const rightPlaces = static_cast<LONGLONG>(right.digits.size()) + right.exponent;
    if (left.digits.empty() || right.digits.empty())
        return (left.digits.empty() ? 0 : 1) - (right.digits.empty() ? 0 : 1);
    if (leftPlaces != rightPlaces)
        return leftPlaces < rightPlaces ? -1 : 1;
    std::size_t const count = std::max(left.digits.size(), right.digits.size());
    for (std::size_t i = 0; i < count; ++i)
    {
        char const first = i < left.digits.size() ? left.digits[i] : '0';
        char const second = i < right.digits.size() ? right.digits[i] : '0';
        if (first != second)
            return first < second ? -1 : 1;
    }
    return 0;
}

HRESULT CompareNumbers(NumberText const & left, NumberText const & right) noexcept
{
    int const sign = CompareDigits(left, right);
    if (left.digits.empty() && right.digits.empty())
        return VARCMP_EQ;
    bool const leftNegative = left.negative && !left.digits.empty();
    bool const rightNegative = right.negative && !right.digits.empty();
    if (leftNegative != rightNegative)
        return leftNegative ? VARCMP_LT : VARCMP_GT;
    return OrderOfSign(leftNegative ? -sign : sign);
}

bool IsReal(VARTYPE vt) noexcept { return vt == VT_R4 || vt == VT_R8 || vt == VT_DATE; }

double RealOf(VARIANT const & value) noexcept
{
    return value.vt == VT_R4 ? static_cast<double>(value.fltVal) : value.dblVal;
}

double AsDouble(VARIANT const & value) noexcept
{
    Whole whole;
    return qvlib::host::GetWhole(value, whole) ? qvlib::host::ToDouble(whole)
           : value.vt == VT_CY                 ? static_cast<double>(value.cyVal.int64) / 10000.0
                                               : RealOf(value);
}

HRESULT CompareWithDecimal(VARIANT & decimal, VARIANT & other)
{
    NumberText const number = qvlib::host::FromDecimal(qvlib::host::GetDecimal(decimal));
    VARIANT converted{};
    HRESULT const result = VariantChangeTypeEx(&converted, &other, LOCALE_INVARIANT, 0, VT_DECIMAL);
    if (SUCCEEDED(result))
        return CompareNumbers(number, qvlib::host::FromDecimal(qvlib::host::GetDecimal(converted)));
    if (result != DISP_E_OVERFLOW)
        return result;
    double value = 0; // what no decimal holds lies far outside, or is no number
    qvlib::host::ToDouble(number, value);
    return CompareDoubles(value, AsDouble(other));
}

bool IsNumber(VARTYPE vt) noexcept { return qvlib::host::IsPlainKind(vt) && vt != VT_NULL && vt != VT_ERROR; }

HRESULT Compare(VARIANT & left, VARIANT & right, LCID locale, ULONG flags)
{
    if (left.vt == VT_NULL || right.vt == VT_NULL)
        return VARCMP_NULL;
    if (left.vt == VT_BSTR || right.vt == VT_BSTR)
    {
        bool const textual =
            (left.vt == VT_BSTR || left.vt == VT_EMPTY) && (right.vt == VT_BSTR || right.vt == VT_EMPTY);
        return textual ? CompareTexts(left, right, locale, flags) : left.vt == VT_BSTR ? VARCMP_GT : VARCMP_LT;
    }
    if (left.vt == VT_DECIMAL)
        return CompareWithDecimal(left, right);
    if (right.vt == VT_DECIMAL)
        return Opposite(CompareWithDecimal(right, left));
    if (IsReal(left.vt) || IsReal(right.vt))
        return CompareDoubles(AsDouble(left), AsDouble(right));
    if (left.vt == VT_CY && right.vt == VT_CY)
        return Order(left.cyVal.int64, right.cyVal.int64);
    Whole leftWhole{};
    Whole rightWhole{};
    bool const leftIsWhole = qvlib::host::GetWhole(left, leftWhole);
    bool const rightIsWhole = qvlib::host::GetWhole(right, rightWhole);
    if (leftIsWhole && rightIsWhole)
        return CompareWhole(leftWhole, rightWhole);
    return leftIsWhole ? Opposite(CompareCurrency(right.cyVal.int64, leftWhole))
                       : CompareCurrency(left.cyVal.int64, rightWhole);
}

/// Whether both can be compared at all.
HRESULT Check(VARIANT const & left, VARIANT const & right) noexcept
{
    if (!qvlib::host::IsKnownKind(left.vt) || !qvlib::host::IsKnownKind(right.vt))
        return DISP_E_BADVARTYPE;
    auto const comparable = [](VARTYPE vt) { return IsNumber(vt) || vt == VT_BSTR || vt == VT_NULL; };
    return comparable(left.vt) && comparable(right.vt) ? S_OK : DISP_E_TYPEMISMATCH;
}

} // namespace

HRESULT VarCmp(VARIANT * left, VARIANT * right, LCID locale, ULONG flags)
{
    if (left == nullptr || right == nullptr)
        return E_INVALIDARG;
    if (left->vt == right->vt) // the usual pairs
    {
        switch (left->vt)
        {
        case VT_I4:
        case VT_INT:
        case VT_ERROR:
            return Order(left->lVal, right->lVal);
        case VT_R8:
        case VT_DATE:
            return CompareDoubles(left->dblVal, right->dblVal);
        case VT_BSTR:
            if (locale == 0)
                return OrderOfSign(TextOf(*left).compare(TextOf(*right)));
            break;
        default:
            break;
        }
    }
    VARIANT held[2]{};
    HRESULT result = S_OK;
    try
    {
        if ((left->vt & VT_BYREF) != 0 && SUCCEEDED(result = VariantCopyInd(&held[0], left)))
            left = &held[0];
        if (SUCCEEDED(result) && (right->vt & VT_BYREF) != 0 && SUCCEEDED(result = VariantCopyInd(&held[1], right)))
            right = &held[1];
        if (SUCCEEDED(result))
            result = Check(*left, *right);
        if (SUCCEEDED(result))
            result = Compare(*left, *right, locale, flags);
    }
    catch (std::bad_alloc const &)
    {
        result = E_OUTOFMEMORY;
    }
    VariantClear(&held[0]);
    VariantClear(&held[1]);
    return result;
}
