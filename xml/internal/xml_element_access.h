// Lets the builder of trees set the parts of an element in place.
#pragma once

#include "qvlib/XmlElement.h"

namespace qvlib
{

struct XmlElementAccess
{
    static std::wstring & Name(XmlElement & element) noexcept { return element.m_name; }
    static std::wstring & Value(XmlElement & element) noexcept { return element.m_value; }
    static bool & HasChildren(XmlElement & element) noexcept { return element.m_hasChildren; }
    static std::shared_ptr<XmlElement::AttributeMap> & Attributes(XmlElement & element) noexcept
    {
        return element.m_attributes;
    }
    static std::shared_ptr<XmlElement::ElementList> & Children(XmlElement & element) noexcept
    {
        return element.m_children;
    }
    static std::shared_ptr<XmlElement::ElementList> const & Children(XmlElement const & element) noexcept
    {
        return element.m_children;
    }
    static std::shared_ptr<XmlElement::AttributeMap> const & Attributes(XmlElement const & element) noexcept
    {
        return element.m_attributes;
    }
};

} // namespace qvlib
