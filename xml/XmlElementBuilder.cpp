#include "qvlib/XmlElementBuilder.h"

#include <iterator>
#include <utility>

namespace qvlib
{

XmlElement::ElementList & XmlElementBuilder::List()
{
    if (!m_element->m_children)
        m_element->m_children = std::make_shared<XmlElement::ElementList>();
    return *m_element->m_children;
}

XmlElementBuilder & XmlElementBuilder::Create()
{
    m_element = std::make_shared<XmlElement>();
    return *this;
}

XmlElementBuilder & XmlElementBuilder::Reset(std::shared_ptr<XmlElement> element) noexcept
{
    m_element = std::move(element);
    return *this;
}

XmlElementBuilder & XmlElementBuilder::SetName(std::wstring name)
{
    m_element->m_name = std::move(name);
    return *this;
}

XmlElementBuilder & XmlElementBuilder::SetAttribute(std::wstring name, std::wstring value)
{
    if (!m_element->m_attributes)
        m_element->m_attributes = std::make_shared<XmlElement::AttributeMap>();
    m_element->m_attributes->insert_or_assign(std::move(name), std::move(value));
    return *this;
}

XmlElementBuilder & XmlElementBuilder::AddChild(std::shared_ptr<XmlElement> const & child)
{
    if (child)
    {
        List().push_back(child);
        m_element->m_hasChildren = true;
    }
    return *this;
}

XmlElementBuilder & XmlElementBuilder::AddChildren(std::vector<std::shared_ptr<XmlElement>> const & children)
{
    if (!children.empty())
    {
        XmlElement::ElementList & list = List();
        // The argument may be the element's own list: a copy first, then the append.
        std::vector<std::shared_ptr<XmlElement>> added(children);
        list.insert(list.end(), std::make_move_iterator(added.begin()), std::make_move_iterator(added.end()));
        m_element->m_hasChildren = true;
    }
    return *this;
}

XmlElementBuilder & XmlElementBuilder::AddChildren(std::vector<std::shared_ptr<XmlElement>> && children)
{
    if (!children.empty())
    {
        XmlElement::ElementList & list = List();
        if (&list == &children)
            return AddChildren(std::as_const(children));
        if (list.empty())
            list = std::move(children);
        else
            list.insert(list.end(), std::make_move_iterator(children.begin()), std::make_move_iterator(children.end()));
        m_element->m_hasChildren = true;
    }
    return *this;
}

} // namespace qvlib
