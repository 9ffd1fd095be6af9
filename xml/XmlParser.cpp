#include "qvlib/XmlParser.h"

#include "qvlib/XmlElement.h"
#include "qvlib/host/utf16.h"
#include "xml/internal/load_xml_parser.h"
#include "xml/internal/open_reader.h"
#include "xml/internal/tree_builder.h"
#include "xml/internal/xml_message.h"

#include <cstddef>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib
{

namespace
{

constexpr char const * kInitializeFailure = "Error: cannot initialize the XmlParser.";

constexpr unsigned int kToFirstNul = 0xFFFFFFFFU;

constexpr bool IsTrivial(XmlNodeType type) noexcept
{
    switch (type)
    {
    case XmlNodeType_None:
    case XmlNodeType_ProcessingInstruction:
    case XmlNodeType_Comment:
    case XmlNodeType_DocumentType:
    case XmlNodeType_Whitespace:
    case XmlNodeType_XmlDeclaration:
        return true;
    default:
        return false;
    }
}

} // namespace

ParserException::~ParserException() = default;

char const * ParserException::what() const noexcept { return m_text.OrUnknown(); }

XmlParser::XmlParser(IStream * stream) : m_stream(stream) {}
XmlParser::~XmlParser()
{
    // The reader goes before the stream that it reads.
    m_reader = nullptr;
}
XmlParser::XmlParser(XmlParser const &) = default;
XmlParser & XmlParser::operator=(XmlParser const &) = default;

std::shared_ptr<XmlElement> XmlParser::Load(IStream * stream) { return LoadXmlParser::LoadStream(stream); }

std::shared_ptr<XmlElement> XmlParser::Load(char const * data, unsigned int length)
{
    std::size_t size = length;
    if (!data)
        size = 0;
    else if (length == kToFirstNul)
        size = std::strlen(data);
    if (size >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0)
    {
        data += 3;
        size -= 3;
    }
    return LoadXmlParser::LoadBytes(data, size);
}

std::shared_ptr<XmlElement> XmlParser::Load(wchar_t const * data, unsigned int length)
{
    std::size_t size = length;
    if (!data)
        size = 0;
    else if (length == kToFirstNul)
        size = std::wcslen(data);
    return LoadXmlParser::LoadWideText(data, size);
}

std::shared_ptr<XmlElement> XmlParser::Load(wchar_t const * data) { return Load(data, kToFirstNul); }

std::shared_ptr<XmlElement> XmlParser::Load(std::wstring const & text)
{
    return LoadXmlParser::LoadWideText(text.data(), text.size());
}

std::shared_ptr<XmlElement> XmlParser::Load(CQVString const & text)
{
    return LoadXmlParser::LoadWideText(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

void XmlParser::Parse()
{
    Initialize();
    ParseDocument();
}

void XmlParser::Initialize()
{
    if (FAILED(xml::OpenReader(m_stream, m_reader)))
        throw ParserException(kInitializeFailure);
}

void XmlParser::Fail(char const * prefix, HRESULT hr)
{
    UINT line = 0;
    UINT column = 0;
    if (m_reader->GetLineNumber(&line) != S_OK || m_reader->GetLinePosition(&column) != S_OK)
        line = column = 0;
    throw ParserException(xml::FailureText(prefix, hr).c_str(), line, column);
}

XmlNodeType XmlParser::ReadNode()
{
    XmlNodeType type = XmlNodeType_None;
    HRESULT const result = m_reader->Read(&type);
    if (FAILED(result))
        Fail(xml::kReadFailure, result);
    return type;
}

bool XmlParser::AtEnd() { return m_reader->IsEOF() != FALSE; }

XmlNodeType XmlParser::CurrentNodeType()
{
    XmlNodeType type = XmlNodeType_None;
    HRESULT const result = m_reader->GetNodeType(&type);
    if (FAILED(result))
        Fail(xml::kReadFailure, result);
    return type;
}

void XmlParser::SkipTrivialNodes()
{
    XmlNodeType type = CurrentNodeType();
    while (IsTrivial(type))
    {
        type = ReadNode();
        if (AtEnd())
            return;
    }
}

bool XmlParser::IsBeginElement(wchar_t const * name) { return CheckElementHelper(XmlNodeType_Element, name); }

bool XmlParser::IsEndElement(wchar_t const * name) { return CheckElementHelper(XmlNodeType_EndElement, name); }

bool XmlParser::CheckElementHelper(XmlNodeType type, wchar_t const * name)
{
    SkipTrivialNodes();
    if (CurrentNodeType() != type)
        return false;
    if (!name)
        return true;
    LPCWSTR found = nullptr;
    HRESULT const result = m_reader->GetQualifiedName(&found, nullptr);
    if (FAILED(result))
        Fail(xml::kNameFailure, result);
    return std::wcscmp(found, name) == 0;
}

bool XmlParser::SkipElement(wchar_t const * name)
{
    if (name)
    {
        XmlNodeType const type = CurrentNodeType();
        if (type == XmlNodeType_Element || type == XmlNodeType_EndElement)
        {
            LPCWSTR found = nullptr;
            HRESULT const result = m_reader->GetQualifiedName(&found, nullptr);
            if (FAILED(result))
                Fail(xml::kNameFailure, result);
            if (std::wcscmp(found, name) != 0)
                return false;
        }
    }
    ReadNode();
    return true;
}

std::shared_ptr<std::map<std::wstring, std::wstring>> XmlParser::ParseAttributes()
{
    UINT count = 0;
    HRESULT result = m_reader->GetAttributeCount(&count);
    if (FAILED(result))
        Fail(xml::kAttributeFailure, result);
    result = m_reader->MoveToFirstAttribute();
    if (FAILED(result))
        Fail(xml::kAttributeFailure, result);
    if (count == 0)
        return nullptr;
    auto attributes = std::make_shared<std::map<std::wstring, std::wstring>>();
    do
    {
        if (m_reader->IsDefault())
            continue;
        LPCWSTR name = nullptr;
        UINT nameLength = 0;
        result = m_reader->GetLocalName(&name, &nameLength);
        if (FAILED(result))
            Fail(xml::kAttributeFailure, result);
        LPCWSTR value = nullptr;
        UINT valueLength = 0;
        result = m_reader->GetValue(&value, &valueLength);
        if (FAILED(result))
            Fail(xml::kAttributeFailure, result);
        // Prefixes are dropped on purpose, unlike those of elements: callers look attributes up by their plain names.
        attributes->emplace(std::piecewise_construct, std::forward_as_tuple(name, nameLength),
                            std::forward_as_tuple(value, valueLength));
    } while (m_reader->MoveToNextAttribute() == S_OK);
    return attributes;
}

std::shared_ptr<XmlElement> XmlParser::GetNextElement()
{
    std::wstring value;
    bool hasChildren = true;

    SkipTrivialNodes();
    LPCWSTR found = nullptr;
    UINT length = 0;
    HRESULT const named = m_reader->GetQualifiedName(&found, &length);
    if (FAILED(named))
        Fail(xml::kNameFailure, named);
    std::wstring name(found, length);
    std::shared_ptr<std::map<std::wstring, std::wstring>> attributes = ParseAttributes();
    // Kept on purpose: the text of this failure carries the code of the name, which callers match.
    if (FAILED(m_reader->MoveToElement()))
        Fail(xml::kReadFailure, named);

    if (m_reader->IsEmptyElement())
    {
        hasChildren = false;
        ReadNode();
    }
    else
    {
        for (bool done = false; !done;)
        {
            switch (ReadNode())
            {
            case XmlNodeType_None:
                done = AtEnd();
                break;
            case XmlNodeType_Element:
                done = true;
                break;
            case XmlNodeType_Text:
            case XmlNodeType_CDATA:
            {
                LPCWSTR text = nullptr;
                UINT textLength = 0;
                HRESULT const result = m_reader->GetValue(&text, &textLength);
                if (FAILED(result))
                    Fail(xml::kValueFailure, result);
                value.append(text, textLength);
                // Kept on purpose, also when a child follows: text makes a leaf, and the child becomes its sibling.
                hasChildren = false;
                break;
            }
            case XmlNodeType_EndElement:
                hasChildren = false;
                ReadNode();
                done = true;
                break;
            default:
                break;
            }
        }
    }
    return std::make_shared<XmlElement>(std::move(name), std::move(value), std::move(attributes), hasChildren);
}

void XmlParser::CreateTree(std::shared_ptr<XmlElement> parent)
{
    while (!AtEnd())
    {
        std::shared_ptr<XmlElement> const child = GetNextElement();
        parent->AddChild(child);
        if (child->HasChildren())
        {
            CreateTree(child);
            SkipElement(child->Name().c_str());
        }
        if (CheckElementHelper(XmlNodeType_EndElement, nullptr))
            return;
        // Text behind a child has no place in the tree.
        for (XmlNodeType type = CurrentNodeType(); type == XmlNodeType_Text || type == XmlNodeType_CDATA;
             type = CurrentNodeType())
        {
            ReadNode();
            if (CheckElementHelper(XmlNodeType_EndElement, nullptr))
                return;
        }
    }
}

std::string XmlParser::FormatHRESULTMessage(std::string const & text, long hr)
{
    return xml::FailureText(text, static_cast<HRESULT>(hr));
}

LoadXmlParser::~LoadXmlParser() = default;

std::shared_ptr<XmlElement> LoadXmlParser::LoadStream(IStream * stream)
{
    LoadXmlParser parser(stream);
    parser.Parse();
    return std::move(parser.m_root);
}

std::shared_ptr<XmlElement> LoadXmlParser::LoadBytes(char const * data, std::size_t length)
{
    LoadXmlParser parser(nullptr);
    parser.Initialize();
    _com_ptr_t<host::IXmlEventReader> const events(parser.m_reader);
    if (events)
    {
        events->SetBytes(data, length);
        parser.BuildDocument(*events);
        return std::move(parser.m_root);
    }
    _com_ptr_t<IStream> const stream(SHCreateMemStream(reinterpret_cast<BYTE const *>(data), static_cast<UINT>(length)),
                                     false);
    return LoadStream(stream);
}

std::shared_ptr<XmlElement> LoadXmlParser::LoadWideText(wchar_t const * data, std::size_t length)
{
    LoadXmlParser parser(nullptr);
    parser.Initialize();
    _com_ptr_t<host::IXmlEventReader> const events(parser.m_reader);
    // Text that begins like the mark of the other byte order is for the byte form to make out.
    if (events && !(length > 0 && data[0] == 0xFFFE))
    {
        events->SetWideText(data, length);
        parser.BuildDocument(*events);
        return std::move(parser.m_root);
    }
    std::vector<unsigned char> bytes(2 * host::Utf16Length(data, length));
    host::EncodeUtf16(data, length, bytes.data());
    _com_ptr_t<IStream> const stream(SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size())), false);
    return LoadStream(stream);
}

void LoadXmlParser::ParseDocument()
{
    _com_ptr_t<host::IXmlEventReader> const events(m_reader);
    if (events)
        BuildDocument(*events);
    else
        WalkDocument();
}

void LoadXmlParser::BuildDocument(host::IXmlEventReader & events)
{
    TreeBuilder builder;
    HRESULT const result = events.Drive(builder);
    if (FAILED(result))
        Fail(xml::kReadFailure, result);
    m_root = builder.Finish();
}

void LoadXmlParser::WalkDocument()
{
    m_root = GetNextElement();
    if (m_root->HasChildren())
    {
        CreateTree(m_root);
        SkipElement(m_root->Name().c_str());
    }
}

} // namespace qvlib
