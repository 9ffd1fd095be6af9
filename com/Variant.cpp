#include "qvlib/Variant.h"

#include "foundation/internal/narrow32.h"

#include <cmath>
#include <cstring>
#include <ostream>
#include <string_view>
#include <utility>

namespace qvlib
{
namespace
{

using internal::NarrowLong;
using internal::NarrowULong;

/// A result code written as a `long` may carry its top bit as a sign or as it is.
SCODE NarrowCode(long code)
{
    if (code > 0 && code <= 0xFFFFFFFFL)
        return static_cast<SCODE>(static_cast<std::uint32_t>(code));
    return NarrowLong(code);
}

/// The low 32 bits of a double's whole part; 0 for what 64 bits do not hold.
std::uint32_t LowBits(double value) noexcept
{
    constexpr double kLimit = 9223372036854775808.0;
    if (!(value > -kLimit && value < kLimit))
        return 0;
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
}

VARIANT_BOOL TruthOf(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }

/// A copy of the bytes of a counted string.
BSTR CopyBytes(BSTR text)
{
    BSTR const copy = SysAllocStringByteLen(reinterpret_cast<char const *>(text), SysStringByteLen(text));
    if (copy == nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    return copy;
}

std::wstring_view ViewOf(BSTR text) noexcept
{
    return text == nullptr ? std::wstring_view() : std::wstring_view(text, SysStringLen(text));
}

} // namespace

double variant_reader::GetAsDouble() const noexcept
{
    switch (vt)
    {
    case VT_I2:
    case VT_BOOL:
        return iVal;
    case VT_I4:
    case VT_INT:
        return lVal;
    case VT_I1:
        return static_cast<signed char>(cVal);
    case VT_UI1:
        return bVal;
    case VT_UI2:
        return uiVal;
    case VT_UI4:
    case VT_UINT:
        return ulVal;
    case VT_R4:
        return static_cast<double>(fltVal);
    case VT_R8:
    case VT_DATE:
        return dblVal;
    case VT_I8:
        return static_cast<double>(llVal);
    case VT_UI8:
        return static_cast<double>(ullVal);
    default:
        return 0.0;
    }
}

long variant_reader::GetAsIntegral() const noexcept { return static_cast<std::int32_t>(LowBits(GetAsDouble())); }

unsigned long variant_reader::GetAsUnsignedIntegral() const noexcept { return LowBits(GetAsDouble()); }

CQVString variant_reader::GetAsString() const
{
    if (vt != VT_BSTR || bstrVal == nullptr)
        return CQVString();
    return CQVString(bstrVal, static_cast<int>(SysStringLen(bstrVal)));
}

CQVString variant_reader::ToString() const
{
    if (IsString())
        return GetAsString();
    qrvariant_t text;
    _com_util::CheckError(VariantChangeType(&text, this, 0, VT_BSTR));
    return text.GetAsString();
}

wchar_t * variant_reader::GetBSTR(bool strict) const
{
    if (vt == VT_BSTR)
        return bstrVal;
    if (strict)
        _com_issue_error(DISP_E_TYPEMISMATCH);
    return nullptr;
}

IDispatch * variant_reader::GetIDispatch(bool strict) const
{
    if (vt == VT_DISPATCH)
        return pdispVal;
    if (strict)
        _com_issue_error(DISP_E_TYPEMISMATCH);
    return nullptr;
}

IUnknown * variant_reader::GetIUnknown(bool strict) const
{
    if (vt == VT_UNKNOWN)
        return punkVal;
    if (vt == VT_DISPATCH)
        return pdispVal;
    if (strict)
        _com_issue_error(DISP_E_TYPEMISMATCH);
    return nullptr;
}

bool variant_reader::operator<(variant_reader const & other) const
{
    // VarCmp changes neither.
    auto & left = const_cast<variant_reader &>(*this);
    auto & right = const_cast<variant_reader &>(other);
    return VarCmp(&left, &right, 0, 0) == VARCMP_LT;
}

std::ostream & variant_reader::WriteValueToStream(std::ostream & stream) const
{
    switch (vt)
    {
    case VT_I2:
    case VT_BOOL:
        return stream << iVal;
    case VT_I4:
        return stream << static_cast<long>(lVal);
    case VT_R4:
        return stream << fltVal;
    case VT_R8:
    case VT_DATE:
        return stream << dblVal;
    case VT_BSTR:
        return stream << static_cast<void const *>(bstrVal);
    case VT_I1:
        return stream << cVal;
    case VT_UI1:
        return stream << bVal;
    case VT_UI2:
        return stream << uiVal;
    case VT_UI4:
        return stream << static_cast<unsigned long>(ulVal);
    case VT_I8:
        return stream << llVal;
    case VT_UI8:
        return stream << ullVal;
    case VT_INT:
        return stream << intVal;
    case VT_UINT:
        return stream << uintVal;
    default:
        return stream;
    }
}

std::wostream & variant_reader::WriteValueToStream(std::wostream & stream) const
{
    switch (vt)
    {
    case VT_I2:
        return stream << iVal;
    case VT_BOOL:
        return stream << (boolVal != VARIANT_FALSE);
    case VT_I4:
        return stream << static_cast<long>(lVal);
    case VT_R4:
        return stream << fltVal;
    case VT_R8:
    case VT_DATE:
        return stream << dblVal;
    case VT_BSTR:
        return stream << ViewOf(bstrVal);
    case VT_I1:
        return stream << cVal;
    case VT_UI1:
        return stream << static_cast<int>(bVal);
    case VT_UI2:
        return stream << uiVal;
    case VT_UI4:
        return stream << static_cast<unsigned long>(ulVal);
    case VT_I8:
        return stream << llVal;
    case VT_UI8:
        return stream << ullVal;
    case VT_INT:
        return stream << intVal;
    case VT_UINT:
        return stream << uintVal;
    default:
        return stream;
    }
}

qrvariant_t::qrvariant_t(_variant_t const & value) { Copy(value); }

qrvariant_t::qrvariant_t(tagVARIANT const * value)
{
    if (value == nullptr)
        _com_issue_error(E_POINTER);
    _com_util::CheckError(VariantCopy(this, value));
}

qrvariant_t::qrvariant_t(tagVARIANT & value, bool copy)
{
    if (copy)
        _com_util::CheckError(VariantCopy(this, &value));
    else
        static_cast<tagVARIANT &>(*this) = std::exchange(value, tagVARIANT{});
}

qrvariant_t::qrvariant_t(wchar_t const * text)
{
    bstrVal = SysAllocString(text);
    if (bstrVal == nullptr && text != nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    vt = VT_BSTR;
}

qrvariant_t::qrvariant_t(char const * text)
{
    bstrVal = _bstr_t(text).Detach();
    vt = VT_BSTR;
}

qrvariant_t::qrvariant_t(_bstr_t const & text)
{
    if (SysStringByteLen(text.GetBSTR()) != 0)
        bstrVal = CopyBytes(text.GetBSTR());
    vt = VT_BSTR;
}

qrvariant_t::qrvariant_t(char value) noexcept
{
    cVal = value;
    vt = VT_I1;
}

qrvariant_t::qrvariant_t(unsigned char value) noexcept
{
    bVal = value;
    vt = VT_UI1;
}

qrvariant_t::qrvariant_t(short value, unsigned short type)
{
    if (type != VT_I2 && type != VT_BOOL)
        _com_issue_error(E_INVALIDARG);
    iVal = type == VT_BOOL ? TruthOf(value != 0) : value;
    vt = type;
}

qrvariant_t::qrvariant_t(unsigned short value) noexcept
{
    uiVal = value;
    vt = VT_UI2;
}

qrvariant_t::qrvariant_t(int value) noexcept
{
    intVal = value;
    vt = VT_INT;
}

qrvariant_t::qrvariant_t(unsigned int value) noexcept
{
    uintVal = value;
    vt = VT_UINT;
}

qrvariant_t::qrvariant_t(long value, unsigned short type)
{
    switch (type)
    {
    case VT_I4:
        lVal = NarrowLong(value);
        break;
    case VT_ERROR:
        scode = NarrowCode(value);
        break;
    case VT_BOOL:
        boolVal = TruthOf(value != 0);
        break;
    default:
        _com_issue_error(E_INVALIDARG);
    }
    vt = type;
}

qrvariant_t::qrvariant_t(unsigned long value)
{
    ulVal = NarrowULong(value);
    vt = VT_UI4;
}

qrvariant_t::qrvariant_t(__int64 value) noexcept
{
    llVal = value;
    vt = VT_I8;
}

qrvariant_t::qrvariant_t(unsigned __int64 value) noexcept
{
    ullVal = value;
    vt = VT_UI8;
}

qrvariant_t::qrvariant_t(float value) noexcept
{
    fltVal = value;
    vt = VT_R4;
}

qrvariant_t::qrvariant_t(double value, unsigned short type)
{
    if (type != VT_R8 && type != VT_DATE)
        _com_issue_error(E_INVALIDARG);
    dblVal = value;
    vt = type;
}

qrvariant_t::qrvariant_t(CDateTime value) noexcept
{
    date = value.GetValue();
    vt = VT_DATE;
}

qrvariant_t::qrvariant_t(bool value) noexcept
{
    boolVal = TruthOf(value);
    vt = VT_BOOL;
}

qrvariant_t::qrvariant_t(tagCY const & value) noexcept
{
    cyVal = value;
    vt = VT_CY;
}

qrvariant_t::qrvariant_t(tagDEC const & value) noexcept { host::SetDecimal(*this, value); }

qrvariant_t::qrvariant_t(IDispatch * object, bool addRef) noexcept
{
    pdispVal = object;
    vt = VT_DISPATCH;
    if (addRef && object != nullptr)
        object->AddRef();
}

qrvariant_t::qrvariant_t(IUnknown * object, bool addRef) noexcept
{
    punkVal = object;
    vt = VT_UNKNOWN;
    if (addRef && object != nullptr)
        object->AddRef();
}

/// Makes the new content first: it may come from the old.
template <class... Source>
qrvariant_t & qrvariant_t::Assign(Source const &... source)
{
    qrvariant_t made(source...);
    _com_util::CheckError(VariantClear(this));
    static_cast<tagVARIANT &>(*this) = std::exchange(static_cast<tagVARIANT &>(made), tagVARIANT{});
    return *this;
}

qrvariant_t & qrvariant_t::operator=(_variant_t const & value)
{
    return *this = static_cast<tagVARIANT const &>(value);
}
qrvariant_t & qrvariant_t::operator=(tagVARIANT const * value)
{
    if (value == nullptr)
        _com_issue_error(E_POINTER);
    return *this = *value;
}
qrvariant_t & qrvariant_t::operator=(wchar_t const * text) { return Assign(text); }
qrvariant_t & qrvariant_t::operator=(char const * text) { return Assign(text); }
qrvariant_t & qrvariant_t::operator=(_bstr_t const & text) { return Assign(text); }
qrvariant_t & qrvariant_t::operator=(char value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(unsigned char value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(short value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(unsigned short value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(int value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(unsigned int value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(long value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(unsigned long value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(__int64 value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(unsigned __int64 value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(float value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(double value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(CDateTime value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(bool value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(tagCY const & value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(tagDEC const & value) { return Assign(value); }
qrvariant_t & qrvariant_t::operator=(IDispatch * object) { return Assign(object, true); }
qrvariant_t & qrvariant_t::operator=(IUnknown * object) { return Assign(object, true); }

void qrvariant_t::SetError(long code)
{
    SCODE const narrow = NarrowCode(code);
    VariantInit(this);
    scode = narrow;
    vt = VT_ERROR;
}

void qrvariant_t::TransferOwnership(tagVARIANT & source)
{
    if (&source == this)
        return;
    // Out of the source first: it may lie in what is given back.
    qrvariant_t taken(source, false);
    if (HRESULT const result = VariantClear(this); FAILED(result))
    {
        std::swap(static_cast<tagVARIANT &>(taken), source);
        _com_issue_error(result);
    }
    std::swap(static_cast<tagVARIANT &>(*this), static_cast<tagVARIANT &>(taken));
}

void qrvariant_t::TransferOwnershipTo(tagVARIANT & target)
{
    if (&target == this)
        return;
    // Out of here first: this variant may lie in what is given back.
    tagVARIANT const content = std::exchange(static_cast<tagVARIANT &>(*this), tagVARIANT{});
    if (HRESULT const result = VariantClear(&target); FAILED(result))
    {
        static_cast<tagVARIANT &>(*this) = content;
        _com_issue_error(result);
    }
    target = content;
}

} // namespace qvlib
