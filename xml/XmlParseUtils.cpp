#include "qvlib/XmlParser.h"

#include "qvlib/Conversions.h"
#include "qvlib/TextFunctions.h"
#include "qvlib/host/crt.h"

namespace qvlib
{

template <>
bool XmlParseUtils::ParseContent<int>(wchar_t const * text, int & out)
{
    out = _wtoi(text);
    return true;
}

template <>
bool XmlParseUtils::ParseContent<unsigned int>(wchar_t const * text, unsigned int & out)
{
    out = static_cast<unsigned int>(_wtol(text));
    return true;
}

template <>
bool XmlParseUtils::ParseContent<std::wstring>(wchar_t const * text, std::wstring & out)
{
    out = TLStringOrEmpty(text);
    return true;
}

template <>
bool XmlParseUtils::ParseContent<bool>(wchar_t const * text, bool & out)
{
    out = AsBool(text);
    return true;
}

wchar_t const * XmlParseUtils::GetLanguageTag() { return L"Lang"; }

} // namespace qvlib
