#include "qvlib/framework/comutil.h"

#include "qvlib/host/utf8.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <limits>
#include <new>
#include <string_view>

namespace
{

/// A counted copy of narrow text; null for null.
BSTR AllocateNarrow(char const * text)
{
    if (text == nullptr)
        return nullptr;
    std::size_t const bytes = std::strlen(text);
    std::size_t const length = qvlib::host::Utf8DecodedLength(text, bytes);
    if (length > std::numeric_limits<UINT>::max())
        _com_issue_error(E_OUTOFMEMORY);
    BSTR const copy = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    if (copy == nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    qvlib::host::DecodeUtf8(text, bytes, copy);
    return copy;
}

/// A copy of the bytes of a counted string; null for null.
BSTR CopyText(BSTR text)
{
    if (text == nullptr)
        return nullptr;
    BSTR const copy = SysAllocStringByteLen(reinterpret_cast<char const *>(text), SysStringByteLen(text));
    if (copy == nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    return copy;
}

BSTR CopyText(wchar_t const * text)
{
    BSTR const copy = SysAllocString(text);
    if (copy == nullptr && text != nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    return copy;
}

// `long` and `unsigned long` mean 32 bits; all bits set is the same in either width.
LONG NarrowLong(long value)
{
    if ((value < std::numeric_limits<LONG>::min() || value > std::numeric_limits<LONG>::max()) &&
        value != static_cast<long>(0xFFFFFFFFUL))
        _com_issue_error(DISP_E_OVERFLOW);
    return static_cast<LONG>(value);
}

ULONG NarrowULong(unsigned long value)
{
    if (value > 0xFFFFFFFFUL && value != ~0UL)
        _com_issue_error(DISP_E_OVERFLOW);
    return static_cast<ULONG>(value);
}

} // namespace

_com_error::_com_error(HRESULT code) : m_code(code)
{
    std::snprintf(m_text, sizeof m_text, "Error 0x%08x", static_cast<unsigned>(code));
}

void _com_issue_error(HRESULT code) { throw _com_error(code); }

void _com_raise_error(HRESULT code) { throw _com_error(code); }

struct _bstr_t::Data
{
    explicit Data(BSTR owned) noexcept : text(owned) {}
    Data(Data const &) = delete;
    Data & operator=(Data const &) = delete;
    ~Data()
    {
        SysFreeString(text);
        delete narrow.load(std::memory_order_relaxed);
    }

    std::atomic<ULONG> owners{1};
    BSTR text; // never null
    std::atomic<std::string *> narrow{nullptr};
};

_bstr_t::Data * _bstr_t::Own(BSTR text)
{
    if (text == nullptr)
        return nullptr;
    Data * const data = new (std::nothrow) Data(text);
    if (data == nullptr)
    {
        SysFreeString(text);
        _com_issue_error(E_OUTOFMEMORY);
    }
    return data;
}

void _bstr_t::Drop() noexcept
{
    // The last owner must see what the others did.
    if (m_data != nullptr && m_data->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete m_data;
    m_data = nullptr;
}

_bstr_t::_bstr_t(_bstr_t const & other) noexcept : m_data(other.m_data)
{
    // Relaxed: whoever copies already holds an owner.
    if (m_data != nullptr)
        m_data->owners.fetch_add(1, std::memory_order_relaxed);
}

_bstr_t::_bstr_t(wchar_t const * text) : m_data(Own(CopyText(text))) {}

_bstr_t::_bstr_t(char const * text) : m_data(Own(AllocateNarrow(text))) {}

_bstr_t::_bstr_t(_variant_t const & value)
{
    if (value.vt == VT_BSTR)
    {
        m_data = Own(CopyText(value.bstrVal));
        return;
    }
    _variant_t text;
    text.ChangeType(VT_BSTR, &value);
    m_data = Own(text.Detach().bstrVal);
}

_bstr_t::_bstr_t(BSTR text, bool copy) : m_data(Own(copy ? CopyText(text) : text)) {}

_bstr_t & _bstr_t::operator+=(_bstr_t const & text) { return *this = *this + text; }

_bstr_t _bstr_t::operator+(_bstr_t const & text) const
{
    if (m_data == nullptr)
        return text;
    if (text.m_data == nullptr)
        return *this;
    unsigned const left = length();
    unsigned const right = text.length();
    BSTR const joined =
        right > std::numeric_limits<UINT>::max() - left ? nullptr : SysAllocStringLen(nullptr, left + right);
    if (joined == nullptr)
        _com_issue_error(E_OUTOFMEMORY);
    std::wmemcpy(joined, Text(), left);
    std::wmemcpy(joined + left, text.Text(), right);
    return _bstr_t(joined, false);
}

_bstr_t::operator char const *() const
{
    if (m_data == nullptr)
        return nullptr;
    std::string * narrow = m_data->narrow.load(std::memory_order_acquire);
    if (narrow == nullptr)
    {
        auto * const made = new std::string(qvlib::host::ToUtf8({Text(), length()}));
        // Another thread may hold the same text and be first; its form then stands.
        if (m_data->narrow.compare_exchange_strong(narrow, made, std::memory_order_acq_rel, std::memory_order_acquire))
            narrow = made;
        else
            delete made;
    }
    return narrow->c_str();
}

BSTR _bstr_t::Text() const noexcept { return m_data != nullptr ? m_data->text : nullptr; }

unsigned int _bstr_t::length() const noexcept { return SysStringLen(Text()); }

int _bstr_t::Compare(_bstr_t const & other) const noexcept
{
    auto const view = [](_bstr_t const & text)
    { return std::wstring_view(text.m_data ? text.Text() : L"", text.length()); };
    return view(*this).compare(view(other));
}

BSTR _bstr_t::copy(bool copy) const { return copy ? CopyText(Text()) : Text(); }

void _bstr_t::Assign(BSTR text) { *this = _bstr_t(text, true); }

void _bstr_t::Attach(BSTR text) { *this = _bstr_t(text, false); }

BSTR _bstr_t::Detach()
{
    if (m_data == nullptr)
        return nullptr;
    BSTR const text =
        m_data->owners.load(std::memory_order_acquire) == 1 ? std::exchange(m_data->text, nullptr) : CopyText(Text());
    Drop();
    return text;
}

_variant_t::_variant_t(VARIANT const & value) : tagVARIANT() { _com_util::CheckError(VariantCopy(this, &value)); }

_variant_t::_variant_t(VARIANT const * value) : tagVARIANT()
{
    if (value == nullptr)
        _com_issue_error(E_POINTER);
    _com_util::CheckError(VariantCopy(this, value));
}

_variant_t::_variant_t(_variant_t const & value) : tagVARIANT() { _com_util::CheckError(VariantCopy(this, &value)); }

_variant_t::_variant_t(VARIANT & value, bool copy) : tagVARIANT()
{
    if (copy)
        _com_util::CheckError(VariantCopy(this, &value));
    else
        static_cast<VARIANT &>(*this) = std::exchange(value, VARIANT{});
}

_variant_t::_variant_t(short value, VARTYPE type) : tagVARIANT()
{
    if (type != VT_I2 && type != VT_BOOL)
        _com_issue_error(E_INVALIDARG);
    vt = type;
    if (type == VT_BOOL)
        boolVal = value != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    else
        iVal = value;
}

_variant_t::_variant_t(long value, VARTYPE type) : tagVARIANT()
{
    if (type != VT_I4 && type != VT_ERROR && type != VT_BOOL)
        _com_issue_error(E_INVALIDARG);
    // A result code written as a `long` may carry its top bit as a sign or as it is.
    bool const isCode = type == VT_ERROR && value > 0 && value <= 0xFFFFFFFFL;
    LONG const narrow = isCode ? static_cast<LONG>(static_cast<ULONG>(value)) : NarrowLong(value);
    vt = type;
    if (type == VT_BOOL)
        boolVal = narrow != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    else
        lVal = narrow;
}

_variant_t::_variant_t(float value, VARTYPE type) : tagVARIANT()
{
    if (type != VT_R4)
        _com_issue_error(E_INVALIDARG);
    vt = type;
    fltVal = value;
}

_variant_t::_variant_t(double value, VARTYPE type) : tagVARIANT()
{
    if (type != VT_R8 && type != VT_DATE)
        _com_issue_error(E_INVALIDARG);
    vt = type;
    dblVal = value;
}

_variant_t::_variant_t(CY const & value) noexcept : tagVARIANT()
{
    vt = VT_CY;
    cyVal = value;
}

_variant_t::_variant_t(_bstr_t const & value) : tagVARIANT()
{
    bstrVal = value.copy();
    vt = VT_BSTR;
}

_variant_t::_variant_t(wchar_t const * value) : tagVARIANT()
{
    bstrVal = CopyText(value);
    vt = VT_BSTR;
}

_variant_t::_variant_t(char const * value) : tagVARIANT()
{
    bstrVal = AllocateNarrow(value);
    vt = VT_BSTR;
}

_variant_t::_variant_t(IDispatch * object, bool addRef) noexcept : tagVARIANT()
{
    vt = VT_DISPATCH;
    pdispVal = object;
    if (addRef && object != nullptr)
        object->AddRef();
}

_variant_t::_variant_t(IUnknown * object, bool addRef) noexcept : tagVARIANT()
{
    vt = VT_UNKNOWN;
    punkVal = object;
    if (addRef && object != nullptr)
        object->AddRef();
}

_variant_t::_variant_t(bool value) noexcept : tagVARIANT()
{
    vt = VT_BOOL;
    boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

_variant_t::_variant_t(DECIMAL const & value) noexcept : tagVARIANT() { qvlib::host::SetDecimal(*this, value); }

_variant_t::_variant_t(unsigned char value, VARTYPE type) : tagVARIANT()
{
    if (type != VT_UI1 && type != VT_I1)
        _com_issue_error(E_INVALIDARG);
    vt = type;
    bVal = value;
}

_variant_t::_variant_t(char value) noexcept : tagVARIANT()
{
    vt = VT_I1;
    cVal = value;
}

_variant_t::_variant_t(unsigned short value) noexcept : tagVARIANT()
{
    vt = VT_UI2;
    uiVal = value;
}

_variant_t::_variant_t(unsigned long value) : tagVARIANT()
{
    ulVal = NarrowULong(value);
    vt = VT_UI4;
}

_variant_t::_variant_t(int value) noexcept : tagVARIANT()
{
    vt = VT_INT;
    intVal = value;
}

_variant_t::_variant_t(unsigned int value) noexcept : tagVARIANT()
{
    vt = VT_UINT;
    uintVal = value;
}

_variant_t::_variant_t(__int64 value) noexcept : tagVARIANT()
{
    vt = VT_I8;
    llVal = value;
}

_variant_t::_variant_t(unsigned __int64 value) noexcept : tagVARIANT()
{
    vt = VT_UI8;
    ullVal = value;
}

namespace
{

/// The variant as one of the kind; read at once.
_variant_t Converted(_variant_t const & value, VARTYPE type)
{
    _variant_t converted;
    converted.ChangeType(type, &value);
    return converted;
}

} // namespace

_variant_t::operator short() const { return vt == VT_I2 ? iVal : Converted(*this, VT_I2).iVal; }
_variant_t::operator long() const { return vt == VT_I4 ? lVal : Converted(*this, VT_I4).lVal; }
_variant_t::operator float() const { return vt == VT_R4 ? fltVal : Converted(*this, VT_R4).fltVal; }
_variant_t::operator double() const { return vt == VT_R8 ? dblVal : Converted(*this, VT_R8).dblVal; }
_variant_t::operator CY() const { return vt == VT_CY ? cyVal : Converted(*this, VT_CY).cyVal; }
_variant_t::operator _bstr_t() const { return _bstr_t(*this); }
_variant_t::operator bool() const { return (vt == VT_BOOL ? boolVal : Converted(*this, VT_BOOL).boolVal) != 0; }
_variant_t::operator DECIMAL() const
{
    return qvlib::host::GetDecimal(vt == VT_DECIMAL ? *this : Converted(*this, VT_DECIMAL));
}
_variant_t::operator unsigned char() const { return vt == VT_UI1 ? bVal : Converted(*this, VT_UI1).bVal; }
_variant_t::operator char() const { return vt == VT_I1 ? cVal : Converted(*this, VT_I1).cVal; }
_variant_t::operator unsigned short() const { return vt == VT_UI2 ? uiVal : Converted(*this, VT_UI2).uiVal; }
_variant_t::operator unsigned long() const { return vt == VT_UI4 ? ulVal : Converted(*this, VT_UI4).ulVal; }
_variant_t::operator int() const { return vt == VT_INT ? intVal : Converted(*this, VT_INT).intVal; }
_variant_t::operator unsigned int() const { return vt == VT_UINT ? uintVal : Converted(*this, VT_UINT).uintVal; }
_variant_t::operator __int64() const { return vt == VT_I8 ? llVal : Converted(*this, VT_I8).llVal; }
_variant_t::operator unsigned __int64() const { return vt == VT_UI8 ? ullVal : Converted(*this, VT_UI8).ullVal; }
_variant_t::operator IDispatch *() const { return Converted(*this, VT_DISPATCH).Detach().pdispVal; }
_variant_t::operator IUnknown *() const { return Converted(*this, VT_UNKNOWN).Detach().punkVal; }

bool _variant_t::operator==(VARIANT const & other) const noexcept
{
    if (this == &other)
        return true;
    if (vt != other.vt)
        return false;
    if ((vt & (VT_ARRAY | VT_BYREF)) != 0)
        return byref == other.byref;
    switch (vt)
    {
    case VT_EMPTY:
    case VT_NULL:
        return true;
    case VT_I1:
    case VT_UI1:
        return bVal == other.bVal;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return iVal == other.iVal;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_ERROR:
        return lVal == other.lVal;
    case VT_I8:
    case VT_UI8:
    case VT_CY:
        return llVal == other.llVal;
    case VT_R4:
        return fltVal == other.fltVal;
    case VT_R8:
    case VT_DATE:
        return dblVal == other.dblVal;
    case VT_BSTR:
        return SysStringByteLen(bstrVal) == SysStringByteLen(other.bstrVal) &&
               (bstrVal == nullptr || other.bstrVal == nullptr ||
                std::memcmp(bstrVal, other.bstrVal, SysStringByteLen(bstrVal)) == 0);
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return byref == other.byref;
    case VT_DECIMAL:
    {
        DECIMAL const left = qvlib::host::GetDecimal(*this);
        DECIMAL const right = qvlib::host::GetDecimal(other);
        return std::memcmp(&left, &right, sizeof left) == 0;
    }
    default:
        return false;
    }
}

void _variant_t::Clear() { _com_util::CheckError(VariantClear(this)); }

void _variant_t::Attach(VARIANT & value)
{
    Clear();
    static_cast<VARIANT &>(*this) = std::exchange(value, VARIANT{});
}

void _variant_t::ChangeType(VARTYPE type, _variant_t const * source)
{
    VARIANT const * const from = source != nullptr ? source : this;
    if (this != from || vt != type)
        _com_util::CheckError(VariantChangeType(this, from, 0, type));
}

void _variant_t::SetString(char const * text) { *this = _variant_t(text); }
