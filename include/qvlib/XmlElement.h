// XmlElement: the in-memory form of an XML element, a name with its text, attributes and child elements.
//
// A tree is its root element: there is no document object and there are no parent links. Elements are shared, and a
// subtree handed out stays valid after the root is dropped. What a reader may not expect:
//  - Attributes are kept in a map sorted by name, so the document's order of attributes is not kept.
//  - HasChildren is a stored flag and ContainsChildren looks at the list; an element filled by AddChild alone answers
//    false to the first and true to the second.
//  - Copies are shallow: a copy shares the attribute map and the child list with its source.
//
//     std::shared_ptr<qvlib::XmlElement> root = qvlib::XmlParser::Load(L"<a><b c='1'>x</b></a>");
//     std::shared_ptr<qvlib::XmlElement> b = root->FindFirst(L"b");   // b->Value() is L"x"
//
// Thread rule of everything here: thread-compatible. Maps and lists that copies share count as one object.
#pragma once

#include "qvlib/export.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qvlib
{

class QVLIB_API XmlElement : public std::enable_shared_from_this<XmlElement>
{
public:
    /// Attribute values by name, sorted by name.
    using AttributeMap = std::map<std::wstring, std::wstring>;
    /// Child elements in document order. An entry may be null.
    using ElementList = std::vector<std::shared_ptr<XmlElement>>;

    /// An element with no name, no value, no attributes and no children.
    XmlElement() noexcept = default;
    /// An element of the given parts; `attributes` may be null and is shared, not copied. `hasChildren` is what
    /// HasChildren will return: it says what is meant, not what is there.
    XmlElement(std::wstring const & name, std::wstring const & value, std::shared_ptr<AttributeMap> attributes,
               bool hasChildren)
        : m_hasChildren(hasChildren), m_name(name), m_value(value), m_attributes(std::move(attributes))
    {
    }
    /// The same, taking the strings over.
    XmlElement(std::wstring && name, std::wstring && value, std::shared_ptr<AttributeMap> attributes,
               bool hasChildren) noexcept
        : m_hasChildren(hasChildren), m_name(std::move(name)), m_value(std::move(value)),
          m_attributes(std::move(attributes))
    {
    }

    /// Copies share the attribute map and the child list with their source.
    XmlElement(XmlElement const &) = default;
    XmlElement & operator=(XmlElement const &) = default;
    XmlElement(XmlElement &&) noexcept = default;
    XmlElement & operator=(XmlElement &&) noexcept = default;
    /// Drops the children too, however deep the tree is: the call depth stays bounded.
    ~XmlElement()
    {
        if (m_children)
            DropChildren();
    }

    /// The name as it was read, with its prefix.
    std::wstring const & Name() const noexcept { return m_name; }
    /// The text and CDATA content, in one piece.
    std::wstring const & Value() const noexcept { return m_value; }
    /// Replaces the value.
    void Value(std::wstring const & value) { m_value = value; }
    /// The character that separates the steps of a path: always a full stop.
    wchar_t Separator() const noexcept { return m_separator; }
    /// The shared attribute map; null when the element never had attributes.
    std::shared_ptr<AttributeMap> Attributes() const noexcept { return m_attributes; }
    /// The shared child list; null until the first child is added.
    std::shared_ptr<ElementList> Children() const noexcept { return m_children; }

    /// The stored flag: see the head of this file.
    bool HasChildren() const noexcept { return m_hasChildren; }
    /// Whether the child list exists and is not empty.
    bool ContainsChildren() const noexcept { return m_children && !m_children->empty(); }
    /// Whether the attribute map exists and is not empty.
    bool HasAttributes() const noexcept { return m_attributes && !m_attributes->empty(); }
    /// Whether there is an attribute of that name.
    bool HasAttribute(std::wstring const & name) const;
    /// Points `out` at the stored value of the attribute and returns true; without such an attribute returns false and
    /// leaves `out` alone. The pointer is good while the map is not changed. Allocates nothing.
    bool FindAttribute(wchar_t const * key, std::wstring const *& out) const;

    /// Appends a child, a null pointer like any other. Leaves the HasChildren flag alone.
    void AddChild(std::shared_ptr<XmlElement> child);

    /// Appends to `out`, in document order, every element that `path` leads to from the children of this one: names
    /// joined by the separator, each matched exactly. This element's own name plays no part. A step through an element
    /// without children, or through a null entry, matches nothing. Strong guarantee only for `out`'s old contents.
    void FindElements(std::wstring const & path, std::vector<std::shared_ptr<XmlElement>> & out) const;
    /// The first of what FindElements would append, or null.
    std::shared_ptr<XmlElement> FindFirst(std::wstring const & path) const;

    /// Deep comparison of flag, separator, name, value, attributes and children. A null map or list differs from an
    /// empty one. Takes no deep recursion.
    bool operator==(XmlElement const & other) const;

private:
    friend class XmlElementBuilder;
    friend struct XmlElementAccess;

    void DropChildren() noexcept;

    bool m_hasChildren = false;
    wchar_t m_separator = L'.';
    std::wstring m_name;
    std::wstring m_value;
    std::shared_ptr<AttributeMap> m_attributes;
    std::shared_ptr<ElementList> m_children;
};

} // namespace qvlib
