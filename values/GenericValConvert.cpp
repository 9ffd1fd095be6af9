// The generic value's conversions: to numbers, text and variants, and from text and variants.

#include "qvlib/Conversions.h"
#include "qvlib/DateTime.h"
#include "qvlib/GenericVal.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <cwchar>

namespace qvlib
{
namespace
{

constexpr unsigned long kDateFlags = 0;
constexpr unsigned long kDateLocale = LOCALE_USER_DEFAULT;

/// The first byte of the text in UTF-8.
char FirstUtf8Byte(wchar_t const * text) noexcept
{
    char bytes[8];
    host::EncodeUtf8(text, text[1] == L'\0' ? 1 : 2, bytes);
    return bytes[0];
}

} // namespace

double CGenericVal::GetAsDouble() const noexcept
{
    switch (m_type)
    {
    case VT_I2:
        return Load<std::int16_t>();
    case VT_I4:
    case VT_INT:
        return Load<std::int32_t>();
    case VT_I1:
        return Load<signed char>();
    case VT_BOOL:
    case VT_UI1:
        return Load<unsigned char>();
    case VT_UI2:
        return Load<std::uint16_t>();
    case VT_UI4:
    case VT_UINT:
        return Load<std::uint32_t>();
    case VT_R4:
        return static_cast<double>(Load<float>());
    case VT_R8:
    case VT_DATE:
        return Load<double>();
    case VT_I8:
        return static_cast<double>(Load<std::int64_t>());
    case VT_UI8:
        return static_cast<double>(Load<std::uint64_t>());
    default:
        return 0;
    }
}

long CGenericVal::GetSignedIntegral32() const noexcept
{
    switch (m_type)
    {
    case VT_I2:
        return Load<std::int16_t>();
    case VT_I4:
    case VT_INT:
        return Load<std::int32_t>();
    case VT_I1:
        return Load<signed char>();
    default:
        return 0;
    }
}

CQVString CGenericVal::GetAsString() const
{
    CQVString text;
    GetAsString(text);
    return text;
}

CQVString & CGenericVal::GetAsString(CQVString & out) const
{
    switch (m_type)
    {
    case VT_I2:
        return AsString(out, int{GetShort()});
    case VT_UI1:
        return AsString(out, int{GetByte()});
    case VT_UI2:
        return AsString(out, int{GetUShort()});
    case VT_INT:
        return AsString(out, GetInt());
    case VT_I4:
        return AsString(out, GetLong());
    case VT_UI4:
        return AsString(out, GetULong());
    case VT_UINT:
        return AsString(out, Load<unsigned int>());
    case VT_I8:
        return AsString(out, GetLong64());
    case VT_UI8:
        return AsString(out, GetULong64());
    case VT_R4:
        return AsString(out, GetFloat());
    case VT_R8:
        return AsString(out, GetDouble());
    case VT_DATE:
        return out = CDateTime(GetDate()).Format(kDateFlags, kDateLocale);
    case VT_BOOL:
        return AsString(out, GetBool(), true);
    case VT_I1:
    {
        char const byte[2] = {GetChar(), '\0'};
        return out = AsCStringFromUtf8(byte);
    }
    case VT_LPWSTR:
        return out = Held<CQVString>();
    case VT_BLOB:
        return out = Held<CBlob>().ToString();
    default:
        out.Empty();
        return out;
    }
}

_variant_t CGenericVal::GetAsVariant() const
{
    switch (m_type)
    {
    case VT_I2:
        return _variant_t(GetShort());
    case VT_I4:
        return _variant_t(GetLong());
    case VT_R4:
        return _variant_t(GetFloat());
    case VT_R8:
    case VT_DATE: // a plain double on purpose: a date does not keep its kind through a variant
        return _variant_t(GetDouble());
    case VT_BOOL:
        return _variant_t(GetBool());
    case VT_I1:
        return _variant_t(GetChar());
    case VT_UI1:
        return _variant_t(GetByte());
    case VT_UI2:
        return _variant_t(GetUShort());
    case VT_UI4:
        return _variant_t(GetULong());
    case VT_I8:
        return _variant_t(GetLong64());
    case VT_UI8:
        return _variant_t(GetULong64());
    case VT_INT:
        return _variant_t(GetInt());
    case VT_UINT:
        return _variant_t(Load<unsigned int>());
    case VT_BSTR:
    case VT_LPWSTR:
    {
        CQVString const & text = GetString();
        VARIANT value{};
        value.bstrVal = SysAllocStringLen(text.GetString(), static_cast<UINT>(text.GetLength()));
        if (value.bstrVal == nullptr)
            throw std::bad_alloc();
        value.vt = VT_BSTR;
        return _variant_t(value, false);
    }
    default:
        return _variant_t(0);
    }
}

_variant_t CGenericVal::ToVariant() const { return GetAsVariant(); }

CGenericVal::operator _variant_t() const { return GetAsVariant(); }

CGenericVal::CGenericVal(_variant_t const & value) : CGenericVal() { SetAsVariant(value); }

bool CGenericVal::SetAsVariant(_variant_t const & value)
{
    switch (value.vt)
    {
    case VT_I2:
        SetShort(value.iVal);
        return true;
    case VT_I4:
        SetLong(value.lVal);
        return true;
    case VT_R4:
        SetFloat(value.fltVal);
        return true;
    case VT_R8:
        SetDouble(value.dblVal);
        return true;
    case VT_DATE:
        SetDate(value.date);
        return true;
    case VT_BOOL:
        SetBool(value.boolVal != VARIANT_FALSE);
        return true;
    case VT_I1:
        SetChar(value.cVal);
        return true;
    case VT_UI1:
        SetByte(value.bVal);
        return true;
    case VT_UI2:
        SetUShort(value.uiVal);
        return true;
    case VT_UI4:
        SetULong(value.ulVal);
        return true;
    case VT_I8:
        SetLong64(value.llVal);
        return true;
    case VT_UI8:
        SetULong64(value.ullVal);
        return true;
    case VT_INT:
        SetInt(value.intVal);
        return true;
    case VT_UINT:
        SetUInt(value.intVal);
        return true;
    case VT_BSTR:
    case VT_LPWSTR: // a bare text pointer in the same place
        SetString(CQVString(static_cast<wchar_t const *>(value.bstrVal)));
        return true;
    default:
        return false;
    }
}

bool CGenericVal::Parse(wchar_t const * text, VARENUM type)
{
    if (text == nullptr || *text == L'\0')
    {
        switch (type)
        {
        case VT_EMPTY:
            Empty();
            return true;
        case VT_LPSTR:
        case VT_LPWSTR:
            SetString(CQVString());
            return true;
        default:
            return false;
        }
    }
    switch (type)
    {
    case VT_EMPTY:
        Empty();
        return true;
    case VT_I2:
        SetShort(static_cast<short>(_wtoi(text)));
        return true;
    case VT_I4:
        SetLong(_wtoi(text));
        return true;
    case VT_INT:
        SetInt(_wtoi(text));
        return true;
    // A signed parser on purpose, so that "4000000000" gives 2147483647 and "-1" gives 4294967295: callers depend on
    // it.
    case VT_UI1:
        SetByte(static_cast<unsigned char>(_wtol(text)));
        return true;
    case VT_UI2:
        SetUShort(static_cast<unsigned short>(_wtol(text)));
        return true;
    case VT_UI4:
        SetULong(static_cast<std::uint32_t>(_wtol(text)));
        return true;
    case VT_UINT:
        SetUInt(static_cast<int>(_wtol(text)));
        return true;
    case VT_I8:
        SetLong64(_wtoi64(text));
        return true;
    case VT_UI8:
        SetULong64(_wcstoui64(text, nullptr, 10));
        return true;
    case VT_R4:
        SetFloat(static_cast<float>(_wtof(text)));
        return true;
    case VT_R8:
        SetDouble(_wtof(text));
        return true;
    case VT_DATE:
    {
        CDateTime date;
        if (!date.ParseDateTime(text, kDateFlags, kDateLocale))
            return false;
        SetDate(date.GetValue());
        return true;
    }
    case VT_BOOL:
        SetBool(AsBool(text));
        return true;
    case VT_I1:
        SetChar(FirstUtf8Byte(text));
        return true;
    case VT_LPSTR:
    case VT_LPWSTR:
        SetString(CQVString(text));
        return true;
    default:
        return false;
    }
}

bool CGenericVal::SmartConvert(wchar_t const * text)
{
    if (text == nullptr || *text == L'\0')
        return false;
    wchar_t * end = nullptr;
    long const whole = host::wcstol(text, &end, 10);
    if (*end == L'\0')
    {
        SetInt(static_cast<int>(whole));
        return true;
    }
    double const number = host::wcstod(text, &end);
    if (*end == L'\0')
    {
        SetDouble(number);
        return true;
    }
    if (CDateTime date; date.ParseDateTime(text, kDateFlags, kDateLocale))
        SetDate(date.GetValue());
    else if (_wcsicmp(text, L"true") == 0)
        SetBool(true);
    else if (_wcsicmp(text, L"false") == 0)
        SetBool(false);
    else
        SetString(CQVString(text));
    return true;
}

} // namespace qvlib
