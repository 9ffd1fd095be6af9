#include "located_xml.h"

#include "qvlib/host/com.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/xml.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace qvconcept
{
namespace
{

template <class Interface>
struct ReleaseInterface
{
    void operator()(Interface * object) const { object->Release(); }
};
using ReaderPtr = std::unique_ptr<IXmlReader, ReleaseInterface<IXmlReader>>;
using StreamPtr = std::unique_ptr<IStream, ReleaseInterface<IStream>>;

XmlPlace PlaceOf(IXmlReader & reader)
{
    UINT line = 0;
    UINT column = 0;
    reader.GetLineNumber(&line);
    reader.GetLinePosition(&column);
    return {line, column};
}

std::string FaultText(HRESULT code)
{
    switch (code)
    {
    case MX_E_INPUTEND:
        return "the file ends inside an element";
    case MX_E_ENCODING:
    case MX_E_ENCODINGSWITCH:
    case MX_E_ENCODINGSIGNATURE:
        return "the text is not in the encoding that it should be in";
    case WC_E_ELEMENTMATCH:
        return "an end tag that does not match its start tag";
    case WC_E_ROOTELEMENT:
        return "a document has exactly one root element";
    case WC_E_UNIQUEATTRIBUTE:
        return "an attribute is given twice";
    case WC_E_UNDECLAREDENTITY:
        return "an unknown entity";
    case WC_E_DTDPROHIBITED:
        return "document type declarations are not accepted";
    case WC_E_XMLCHARACTER:
        return "a character that XML does not allow";
    case NC_E_UNDECLAREDPREFIX:
        return "a prefix without a namespace";
    case SC_E_MAXELEMENTDEPTH:
        return "too many elements inside each other";
    default:
        break;
    }
    char text[48];
    std::snprintf(text, sizeof text, "no well-formed XML (0x%08x)", static_cast<unsigned>(code));
    return text;
}

void Check(HRESULT code, IXmlReader & reader)
{
    if (FAILED(code))
        throw XmlFault{FaultText(code), PlaceOf(reader)};
}

template <class Getter>
std::wstring TextOf(IXmlReader & reader, Getter getter)
{
    LPCWSTR text = nullptr;
    UINT length = 0;
    Check((reader.*getter)(&text, &length), reader);
    return std::wstring(text, length);
}

LocatedElement ReadStartTag(IXmlReader & reader)
{
    LocatedElement element;
    element.place = PlaceOf(reader);
    element.name = TextOf(reader, &IXmlReader::GetQualifiedName);
    for (HRESULT more = reader.MoveToFirstAttribute(); more == S_OK; more = reader.MoveToNextAttribute())
    {
        std::wstring name = TextOf(reader, &IXmlReader::GetLocalName);
        if (!element.Attribute(name))
            element.attributes.emplace_back(std::move(name), TextOf(reader, &IXmlReader::GetValue));
    }
    Check(reader.MoveToElement(), reader);
    return element;
}

void TakeText(LocatedElement & element, IXmlReader & reader)
{
    if (element.children.empty())
    {
        if (element.text.empty())
            element.textPlace = PlaceOf(reader);
        element.text += TextOf(reader, &IXmlReader::GetValue);
    }
    else if (element.strayText.line == 0)
    {
        std::wstring const text = TextOf(reader, &IXmlReader::GetValue);
        element.strayText = PlaceBehind(PlaceOf(reader), std::wstring_view(text).substr(0, CountBlanks(text)));
    }
}

} // namespace

std::wstring const * LocatedElement::Attribute(std::wstring_view wanted) const
{
    auto const found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](auto const & attribute) { return attribute.first == wanted; });
    return found == attributes.end() ? nullptr : &found->second;
}

std::wstring const & LocatedElement::AttributeOrEmpty(std::wstring_view wanted) const
{
    static std::wstring const empty;
    std::wstring const * const value = Attribute(wanted);
    return value ? *value : empty;
}

XmlPlace LocatedElement::PlaceInText(std::size_t offset) const
{
    return textPlace.line == 0 ? place : PlaceBehind(textPlace, std::wstring_view(text).substr(0, offset));
}

XmlPlace PlaceBehind(XmlPlace start, std::wstring_view text)
{
    for (wchar_t const c : text)
    {
        ++start.column;
        if (c == L'\n')
        {
            ++start.line;
            start.column = 1;
        }
    }
    return start;
}

std::size_t CountBlanks(std::wstring_view text)
{
    std::size_t count = 0;
    while (count < text.size() && qvlib::host::iswspace(text[count]))
        ++count;
    return count;
}

LocatedElement ReadLocated(std::string const & bytes)
{
    StreamPtr const stream(
        SHCreateMemStream(reinterpret_cast<BYTE const *>(bytes.data()), static_cast<UINT>(bytes.size())));
    IXmlReader * created = nullptr;
    if (!stream || FAILED(CreateXmlReader(IID_IXmlReader, reinterpret_cast<void **>(&created), nullptr)))
        throw XmlFault{"the XML reader cannot be made", {}};
    ReaderPtr const reader(created);
    Check(reader->SetInput(stream.get()), *reader);

    LocatedElement document; // the root element is its child
    std::vector<LocatedElement *> open{&document};
    for (;;)
    {
        XmlNodeType type = XmlNodeType_None;
        HRESULT const read = reader->Read(&type);
        Check(read, *reader);
        if (read != S_OK)
            break;
        switch (type)
        {
        case XmlNodeType_Element:
        {
            bool const isEmpty = reader->IsEmptyElement() != FALSE;
            open.back()->children.push_back(ReadStartTag(*reader));
            if (!isEmpty)
                open.push_back(&open.back()->children.back());
            break;
        }
        case XmlNodeType_EndElement:
            if (open.size() > 1)
                open.pop_back();
            break;
        case XmlNodeType_Text:
        case XmlNodeType_CDATA:
            TakeText(*open.back(), *reader);
            break;
        default:
            break;
        }
    }
    if (document.children.empty())
        throw XmlFault{FaultText(WC_E_ROOTELEMENT), PlaceOf(*reader)};
    return std::move(document.children.front());
}

} // namespace qvconcept
