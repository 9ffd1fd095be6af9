#include "qvlib/StringResourcesTable.h"

#include "qvlib/Exceptions.h"
#include "qvlib/XmlElement.h"

namespace qvlib
{

bool StringResourcesTable::FromXml(XmlElement const & element)
{
    std::shared_ptr<XmlElement::ElementList> const children = element.Children();
    if (!children || children->empty())
        return false;
    for (std::shared_ptr<XmlElement> const & child : *children)
    {
        std::wstring const * key = nullptr;
        if (!child || !child->FindAttribute(L"Key", key))
            throw unexpected_error();
        m_strings.emplace(*key, child->Value());
    }
    return !m_strings.empty();
}

std::pair<bool, std::wstring> StringResourcesTable::Find(std::wstring const & key) const
{
    auto const found = m_strings.find(key);
    if (found == m_strings.end())
        return {false, std::wstring()};
    return {true, found->second};
}

} // namespace qvlib
