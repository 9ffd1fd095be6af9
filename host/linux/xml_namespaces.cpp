#include "host/linux/internal/xml_tokens.h"

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

} // namespace qvlib::host
