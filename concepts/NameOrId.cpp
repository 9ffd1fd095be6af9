#include "qvlib/NameOrId.h"

#include "concepts/internal/archive_key.h"
#include "qvlib/Exceptions.h"
#include "qvlib/framework/comutil.h"

namespace qvlib
{

void NameOrId::ThrowWrongKind() { throw unexpected_error(); }

std::wstring NameOrId::ToString() const { return m_isName ? m_name : std::to_wstring(m_id); }

_variant_t NameOrId::ToVariant() const
{
    return m_isName ? _variant_t(m_name.c_str()) : _variant_t(static_cast<unsigned int>(m_id));
}

NameOrId::operator _variant_t() const { return ToVariant(); }

NameOrId & NameOrId::FromVariant(tagVARIANT const & value)
{
    switch (value.vt)
    {
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
        SetId(value.ulVal);
        break;
    case VT_BSTR:
    case VT_LPWSTR:
        SetName(value.bstrVal);
        break;
    default:
        throw unexpected_error();
    }
    return *this;
}

void NameOrId::Serialize(CArchive & archive)
{
    if (archive.IsStoring())
    {
        internal::StoreKey(archive, *this);
        return;
    }
    internal::LoadedText name;
    *this = internal::LoadKey(archive, name).ToKey();
}

} // namespace qvlib
