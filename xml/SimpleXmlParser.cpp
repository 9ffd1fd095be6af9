#include "qvlib/SimpleXmlParser.h"

#include "qvlib/Conversions.h"
#include "qvlib/Exceptions.h"
#include "xml/internal/open_reader.h"

#include <cstdint>

namespace qvlib
{

namespace
{

constexpr char const * kInitializeFailure = "Error: cannot initialize the XmlParser.";

CQVString const kReadFailure(L"Error: cannot read the xml file, error code %08.8lx");
// "mxl" is kept on purpose: callers match the text.
CQVString const kNameFailure(L"Error: cannot read an mxl node name, error code %08.8lx");
CQVString const kAttributeFailure(L"Error: cannot process an attribute, error code %08.8lx");

} // namespace

CQVString const CSimpleXmlParser::NullString;

CSimpleXmlParser::CSimpleXmlParser(IStream * stream) : m_stream(stream) {}
CSimpleXmlParser::~CSimpleXmlParser()
{
    // The reader goes before the stream that it reads.
    m_reader = nullptr;
}
CSimpleXmlParser::CSimpleXmlParser(CSimpleXmlParser const &) = default;
CSimpleXmlParser & CSimpleXmlParser::operator=(CSimpleXmlParser const &) = default;

void CSimpleXmlParser::Parse()
{
    Initialize();
    ParseDocument();
}

void CSimpleXmlParser::Initialize()
{
    if (FAILED(xml::OpenReader(m_stream, m_reader)))
        throw unexpected_error(kInitializeFailure);
}

bool CSimpleXmlParser::SkipNode(XmlNodeType type)
{
    return type == XmlNodeType_Comment || type == XmlNodeType_Whitespace || type == XmlNodeType_XmlDeclaration;
}

bool CSimpleXmlParser::SkipAttribute([[maybe_unused]] CQVString const & name) { return false; }

std::shared_ptr<CSimpleXmlParser::XmlNode> CSimpleXmlParser::GetNextNode()
{
    auto node = std::make_shared<XmlNode>();
    do
    {
        HRESULT const result = m_reader->Read(&node->type);
        if (FAILED(result))
            Fail(kReadFailure, result);
        if (node->type == XmlNodeType_None)
            return node;
    } while (SkipNode(node->type));

    LPCWSTR name = nullptr;
    UINT length = 0;
    HRESULT const result = m_reader->GetQualifiedName(&name, &length);
    if (FAILED(result))
        Fail(kNameFailure, result);
    if (length != 0)
        node->name.SetString(name, static_cast<int>(length));
    if (node->type != XmlNodeType_EndElement)
    {
        // Asked first: the walk over the attributes takes the reader off the element, and the next Read moves on
        // from there.
        node->hasContent = m_reader->IsEmptyElement() == FALSE;
        node->attributes = ParseAttributes();
    }
    return node;
}

std::shared_ptr<CSimpleXmlParser::XmlNode> CSimpleXmlParser::GetNextElement()
{
    for (;;)
    {
        std::shared_ptr<XmlNode> node = GetNextNode();
        if (node->type == XmlNodeType_Element || node->type == XmlNodeType_EndElement || node->type == XmlNodeType_None)
            return node;
    }
}

std::shared_ptr<CSimpleXmlParser::AttributeTable> CSimpleXmlParser::ParseAttributes()
{
    auto table = std::make_shared<AttributeTable>();
    UINT count = 0;
    HRESULT const counted = m_reader->GetAttributeCount(&count);
    if (FAILED(counted))
        Fail(kAttributeFailure, counted);
    HRESULT const moved = m_reader->MoveToFirstAttribute();
    if (FAILED(moved))
        Fail(kAttributeFailure, moved);
    if (count == 0)
        return table;
    table->InitHashTable(count, true);
    do
    {
        if (m_reader->IsDefault())
            continue;
        LPCWSTR text = nullptr;
        UINT length = 0;
        // Kept on purpose: these two failures carry the code of the move to the first attribute, a success.
        if (FAILED(m_reader->GetLocalName(&text, &length)))
            Fail(kAttributeFailure, moved);
        CQVString const name = length == 0 ? NullString : CQVString(text, static_cast<int>(length));
        if (SkipAttribute(name))
            continue;
        if (FAILED(m_reader->GetValue(&text, &length)))
            Fail(kAttributeFailure, moved);
        auto attribute = std::make_shared<XmlAttribute>();
        attribute->name = name;
        if (length != 0)
            attribute->value.SetString(text, static_cast<int>(length));
        table->SetAt(name.GetString(), attribute);
    } while (m_reader->MoveToNextAttribute() == S_OK);
    return table;
}

std::string CSimpleXmlParser::FormatHRESULTMessage(CQVString const & format, long hr) const
{
    CQVString text;
    text.Format(format.GetString(), static_cast<unsigned long>(static_cast<std::uint32_t>(hr)));
    return AsUtf8FromWStr(text.GetString());
}

void CSimpleXmlParser::Fail(CQVString const & format, HRESULT hr) const
{
    throw unexpected_error(FormatHRESULTMessage(format, hr).c_str());
}

} // namespace qvlib
