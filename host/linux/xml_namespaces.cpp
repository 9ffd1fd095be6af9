#include "host/linux/internal/xml_names.h"
#include "host/linux/internal/xml_tokens.h"

#include <algorithm>

namespace qvlib::host
{

namespace
{

// The two namespaces that are bound from the start, under the indices kXml and kXmlns.
std::string const & Known(std::int32_t index)
{
    static std::string const known[] = {"http://www.w3.org/XML/1998/namespace", "http://www.w3.org/2000/xmlns/"};
    return known[index];
}

constexpr std::int32_t kKnown = 2;

constexpr std::string_view kXmlns = "xmlns";

} // namespace

void XmlNamespaces::Clear() noexcept
{
    m_changes.clear();
    m_prefixes.clear();
    m_uris.clear();
    m_indices.clear();
    m_default = kUnbound;
}

std::string const & XmlNamespaces::Uri(std::int32_t index) const
{
    return index < kKnown ? Known(index) : *m_uris[static_cast<std::size_t>(index - kKnown)];
}

std::int32_t XmlNamespaces::Intern(std::string_view uri)
{
    auto const found = m_indices.find(uri);
    if (found != m_indices.end())
        return found->second;
    m_uris.push_back(nullptr);
    std::int32_t const index = static_cast<std::int32_t>(m_uris.size()) - 1 + kKnown;
    m_uris.back() = &m_indices.emplace(uri, index).first->first;
    return index;
}

HRESULT XmlNamespaces::Declare(std::string_view prefix, std::string_view uri, unsigned int depth)
{
    if (prefix == "xmlns")
        return NC_E_XMLNSPREFIXRESERVED;
    if (prefix == "xml")
        return uri == Known(kXml) ? S_OK : NC_E_XMLPREFIXRESERVED;
    if (uri == Known(kXml))
        return NC_E_XMLURIRESERVED;
    if (uri == Known(kXmlns))
        return NC_E_XMLNSURIRESERVED;
    if (uri.empty() && !prefix.empty())
        return NC_E_EMPTYURI;

    std::int32_t const index = uri.empty() ? kUnbound : Intern(uri);
    auto found = m_prefixes.find(prefix);
    if (found == m_prefixes.end())
        found = m_prefixes.emplace(prefix, kUnbound).first;
    m_changes.push_back({depth, found, found->second});
    found->second = index;
    if (prefix.empty())
        m_default = index;
    return S_OK;
}

void XmlNamespaces::Leave(unsigned int depth) noexcept
{
    while (!m_changes.empty() && m_changes.back().depth >= depth)
    {
        Change const & change = m_changes.back();
        change.prefix->second = change.before;
        if (change.prefix->first.empty())
            m_default = change.before;
        m_changes.pop_back();
    }
}

std::int32_t XmlNamespaces::Find(std::string_view prefix) const noexcept
{
    if (prefix == "xml")
        return kXml;
    auto const found = m_prefixes.find(prefix);
    return found == m_prefixes.end() ? kUnbound : found->second;
}

// A name may have one colon, between two names.
HRESULT XmlTokenizer::CheckName(std::string_view name, std::size_t & prefixLength) const noexcept
{
    std::size_t const colon = name.find(':');
    if (colon == std::string_view::npos)
    {
        prefixLength = 0;
        return S_OK;
    }
    if (colon == 0 || colon + 1 == name.size() || name.find(':', colon + 1) != std::string_view::npos)
        return NC_E_QNAMECOLON;
    if (!IsXmlNameStart(name.substr(colon + 1)))
        return NC_E_QNAMECHARACTER;
    prefixLength = colon;
    return S_OK;
}

HRESULT XmlTokenizer::BindNamespaces(XmlNode & node, bool colons, bool declarations)
{
    XmlAttribute * const first = m_attributes.data() + node.firstAttribute;
    XmlAttribute * const end = first + node.attributeCount;
    for (XmlAttribute * i = first; i != end; ++i)
    {
        std::string_view const name = Text(i->name, i->nameLength);
        std::size_t prefixLength = 0;
        HRESULT const result = CheckName(name, prefixLength);
        if (FAILED(result))
            return result;
        i->prefixLength = static_cast<std::uint32_t>(prefixLength);
        if (!declarations)
            continue;
        bool const isDefault = name == kXmlns;
        if (!isDefault && name.substr(0, prefixLength) != kXmlns)
            continue;
        i->uri = XmlNamespaces::kXmlns;
        HRESULT const declared = m_namespaces.Declare(isDefault ? std::string_view() : name.substr(prefixLength + 1),
                                                      Text(i->value, i->valueLength), node.depth);
        if (FAILED(declared))
            return declared;
    }
    node.uri = m_namespaces.Default();
    if (!colons)
        return S_OK;

    std::string_view const elementName = Text(node.name, node.nameLength);
    HRESULT const result = CheckName(elementName, node.prefixLength);
    if (FAILED(result))
        return result;
    if (node.prefixLength != 0)
    {
        std::string_view const prefix = elementName.substr(0, node.prefixLength);
        if (prefix == kXmlns)
            return NC_E_XMLNSPREFIXRESERVED;
        node.uri = m_namespaces.Find(prefix);
        if (node.uri == XmlNamespaces::kUnbound)
            return NC_E_UNDECLAREDPREFIX;
    }
    m_qualified.clear();
    for (XmlAttribute * i = first; i != end; ++i)
    {
        if (i->prefixLength == 0 || i->uri == XmlNamespaces::kXmlns)
            continue;
        std::string_view const name = Text(i->name, i->nameLength);
        i->uri = m_namespaces.Find(name.substr(0, i->prefixLength));
        if (i->uri == XmlNamespaces::kUnbound)
            return NC_E_UNDECLAREDPREFIX;
        m_qualified.emplace_back(i->uri, name.substr(i->prefixLength + 1));
    }
    // The same name under two prefixes of one namespace is the same attribute twice.
    if (m_qualified.size() > 1)
    {
        std::sort(m_qualified.begin(), m_qualified.end());
        if (std::adjacent_find(m_qualified.begin(), m_qualified.end()) != m_qualified.end())
            return WC_E_UNIQUEATTRIBUTE;
    }
    return S_OK;
}

} // namespace qvlib::host
