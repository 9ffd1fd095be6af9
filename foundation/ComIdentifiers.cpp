#include "qvlib/ComIdentifiers.h"

#include "qvlib/framework/exceptions.h"
#include "qvlib/host/variant.h"

#include <memory>

namespace qvlib
{
namespace
{

constexpr int kGuidCharacters = 38;

/// Text that the platform handed over.
struct TaskMemory
{
    void operator()(wchar_t * text) const noexcept { CoTaskMemFree(text); }
};
using TaskText = std::unique_ptr<wchar_t, TaskMemory>;

/// Turns a form that returns a code into one that returns the result and throws.
template <class Result, class Argument>
Result OrThrow(HRESULT (*form)(Argument, Result &), Argument argument)
{
    Result result{};
    if (HRESULT const code = form(argument, result); FAILED(code))
        AfxThrowOleException(code);
    return result;
}

} // namespace

HRESULT AsGUID(wchar_t const * text, _GUID & out)
{
    HRESULT const result = AsGUIDFromGuidString(text, out);
    return FAILED(result) ? AsGUIDFromProgID(text, out) : result;
}

_GUID AsGUID(wchar_t const * text) { return OrThrow<_GUID, wchar_t const *>(AsGUID, text); }

HRESULT AsGUIDFromGuidString(wchar_t const * text, _GUID & out)
{
    CLSID id;
    HRESULT const result = CLSIDFromString(text, &id);
    if (SUCCEEDED(result))
        out = id;
    return result;
}

_GUID AsGUIDFromGuidString(wchar_t const * text) { return OrThrow<_GUID, wchar_t const *>(AsGUIDFromGuidString, text); }

HRESULT AsGUIDFromProgID(wchar_t const * progId, _GUID & out)
{
    CLSID id;
    HRESULT const result = CLSIDFromProgID(progId, &id);
    if (SUCCEEDED(result))
        out = id;
    return result;
}

_GUID AsGUIDFromProgID(wchar_t const * progId) { return OrThrow<_GUID, wchar_t const *>(AsGUIDFromProgID, progId); }

HRESULT AsGUIDStringFromProgID(wchar_t const * progId, CQVString & out)
{
    _GUID id;
    if (HRESULT const result = AsGUIDFromProgID(progId, id); FAILED(result))
        return result;
    CQVString text;
    if (AsString(text, id).IsEmpty())
        return E_UNEXPECTED;
    out = text;
    return S_OK;
}

CQVString AsGUIDStringFromProgID(wchar_t const * progId)
{
    return OrThrow<CQVString, wchar_t const *>(AsGUIDStringFromProgID, progId);
}

HRESULT AsProgID(_GUID const & id, CQVString & out)
{
    LPOLESTR found = nullptr;
    HRESULT const result = ProgIDFromCLSID(id, &found);
    TaskText const text(found);
    if (SUCCEEDED(result))
        out = text.get();
    return result;
}

CQVString AsProgID(_GUID const & id) { return OrThrow<CQVString, _GUID const &>(AsProgID, id); }

HRESULT AsProgID(wchar_t const * text, CQVString & out)
{
    if (FAILED(AsProgIDFromGuidString(text, out)))
        out = text;
    return S_OK;
}

CQVString AsProgID(wchar_t const * text) { return OrThrow<CQVString, wchar_t const *>(AsProgID, text); }

HRESULT AsProgIDFromGuidString(wchar_t const * text, CQVString & out)
{
    _GUID id;
    HRESULT const result = AsGUIDFromGuidString(text, id);
    return FAILED(result) ? result : AsProgID(id, out);
}

CQVString AsProgIDFromGuidString(wchar_t const * text)
{
    return OrThrow<CQVString, wchar_t const *>(AsProgIDFromGuidString, text);
}

CQVString & AsString(CQVString & out, _GUID const & id)
{
    StringFromGUID2(id, out.GetBuffer(kGuidCharacters), kGuidCharacters + 1);
    out.ReleaseBuffer(kGuidCharacters);
    return out;
}

CQVString & AsString(CQVString & out, tagVARIANT const & value)
{
    if (value.vt == VT_BSTR && value.bstrVal != nullptr)
        out = CQVString(value.bstrVal, static_cast<int>(SysStringLen(value.bstrVal)));
    else
        out.Empty();
    return out;
}

bool AsULong(tagVARIANT const & value, unsigned long & out)
{
    if (value.vt == VT_UI4)
    {
        out = value.ulVal;
        return true;
    }
    VARIANT converted;
    VariantInit(&converted);
    if (FAILED(VariantChangeType(&converted, &value, 0, VT_UI4)))
        return false;
    out = converted.ulVal;
    return true;
}

} // namespace qvlib
