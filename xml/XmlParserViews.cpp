// The walk of XmlParser::Load over views of the nodes: step for step what XmlParser does over the public reader.
#include "xml/internal/load_xml_parser.h"
#include "xml/internal/xml_element_access.h"
#include "xml/internal/xml_message.h"

#include "qvlib/host/utf8.h"

#include <cstdint>
#include <cstring>
#include <iterator>

namespace qvlib
{

namespace
{

bool IsAscii(char const * text, std::size_t length) noexcept
{
    std::uint64_t high = 0;
    for (; length >= 8; length -= 8, text += 8)
    {
        std::uint64_t word;
        std::memcpy(&word, text, 8);
        high |= word;
    }
    for (; length > 0; --length, ++text)
        high |= static_cast<std::uint64_t>(static_cast<unsigned char>(*text));
    return (high & 0x8080808080808080U) == 0;
}

void AppendWide(std::wstring & out, std::string_view utf8)
{
    if (IsAscii(utf8.data(), utf8.size()))
    {
        unsigned char const * const text = reinterpret_cast<unsigned char const *>(utf8.data());
        out.append(text, text + utf8.size());
        return;
    }
    std::size_t const before = out.size();
    out.resize(before + utf8.size());
    out.resize(before + host::DecodeUtf8(utf8.data(), utf8.size(), out.data() + before));
}

std::wstring Wide(std::string_view utf8)
{
    if (IsAscii(utf8.data(), utf8.size()))
    {
        unsigned char const * const text = reinterpret_cast<unsigned char const *>(utf8.data());
        return std::wstring(text, text + utf8.size());
    }
    std::wstring wide;
    AppendWide(wide, utf8);
    return wide;
}

} // namespace

void LoadXmlParser::Step()
{
    HRESULT const result = m_views->Next(m_node);
    if (FAILED(result))
        Fail(xml::kReadFailure, result);
    m_atEnd = result != S_OK;
}

void LoadXmlParser::SkipTrivial()
{
    while (!m_atEnd && m_node.type != XmlNodeType_Element && m_node.type != XmlNodeType_EndElement &&
           m_node.type != XmlNodeType_Text && m_node.type != XmlNodeType_CDATA)
        Step();
}

void LoadXmlParser::BuildDocument()
{
    SkipTrivial();
    bool hasChildren = false;
    m_root = BuildElement(hasChildren);
    if (hasChildren)
    {
        BuildChildren(*m_root);
        SkipEndTag(m_root->Name());
    }
}

std::shared_ptr<XmlElement> LoadXmlParser::BuildElement(bool & hasChildren)
{
    std::shared_ptr<std::map<std::wstring, std::wstring>> attributes;
    if (m_node.attributeCount != 0)
    {
        attributes = std::make_shared<std::map<std::wstring, std::wstring>>();
        for (std::size_t i = 0; i < m_node.attributeCount; ++i)
        {
            host::XmlAttributeRecord const & attribute = m_node.attributes[i];
            attributes->try_emplace(attributes->end(), Wide(m_node.LocalName(attribute)),
                                    Wide(m_node.Value(attribute)));
        }
    }
    auto element = std::make_shared<XmlElement>(Wide(m_node.name), std::wstring(), std::move(attributes), true);
    hasChildren = true;
    if (m_node.empty)
    {
        hasChildren = false;
        Step();
    }
    else
    {
        for (bool done = false; !done;)
        {
            Step();
            switch (m_node.type)
            {
            case XmlNodeType_None:
                done = m_atEnd;
                break;
            case XmlNodeType_Element:
                done = true;
                break;
            case XmlNodeType_Text:
            case XmlNodeType_CDATA:
                AppendWide(XmlElementAccess::Value(*element), m_node.value);
                hasChildren = false;
                break;
            case XmlNodeType_EndElement:
                hasChildren = false;
                Step();
                done = true;
                break;
            default:
                break;
            }
        }
    }
    XmlElementAccess::HasChildren(*element) = hasChildren;
    return element;
}

void LoadXmlParser::BuildChildren(XmlElement & parent)
{
    std::size_t const first = m_children.size();
    while (!m_atEnd)
    {
        bool hasChildren = false;
        m_children.push_back(BuildElement(hasChildren));
        if (hasChildren)
        {
            XmlElement & child = *m_children.back();
            BuildChildren(child);
            SkipEndTag(child.Name());
        }
        SkipTrivial();
        while (!m_atEnd && (m_node.type == XmlNodeType_Text || m_node.type == XmlNodeType_CDATA))
        {
            Step();
            SkipTrivial();
        }
        if (m_node.type == XmlNodeType_EndElement)
            break;
    }
    // The list comes to be in one piece, of just its size.
    auto const begin = m_children.begin() + static_cast<std::ptrdiff_t>(first);
    XmlElementAccess::Children(parent) = std::make_shared<XmlElement::ElementList>(
        std::make_move_iterator(begin), std::make_move_iterator(m_children.end()));
    m_children.erase(begin, m_children.end());
}

void LoadXmlParser::SkipEndTag(std::wstring const & name)
{
    if ((m_node.type == XmlNodeType_Element || m_node.type == XmlNodeType_EndElement) && Wide(m_node.name) != name)
        return;
    Step();
}

} // namespace qvlib
