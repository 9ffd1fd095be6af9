// XmlElementBuilder: builds one XmlElement by hand, call by call.
//
// The builder holds a shared element, none at first. The setters do not test that one is held: call Create or Reset
// before them. There is no setter for the value; use XmlElement::Value.
//
//     qvlib::XmlElementBuilder builder;
//     builder.Create().SetName(L"item").SetAttribute(L"id", L"7");
//     std::shared_ptr<qvlib::XmlElement> item = builder.Release();
//
// Thread rule: thread-compatible; copies of a builder share the element.
#pragma once

#include "qvlib/XmlElement.h"
#include "qvlib/export.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qvlib
{

class QVLIB_API XmlElementBuilder
{
public:
    /// Replaces the held element by a new, empty one.
    XmlElementBuilder & Create();
    /// Whether an element is held.
    bool Created() const noexcept { return m_element != nullptr; }
    /// Holds the given element instead, which may be null.
    XmlElementBuilder & Reset(std::shared_ptr<XmlElement> element) noexcept;
    /// Hands over the held element and leaves the builder empty.
    std::shared_ptr<XmlElement> Release() noexcept { return std::move(m_element); }

    /// Replaces the name.
    XmlElementBuilder & SetName(std::wstring name);
    /// Sets the attribute, over an earlier value. The map is shared with copies of the element.
    XmlElementBuilder & SetAttribute(std::wstring name, std::wstring value);
    /// Appends a child and sets the HasChildren flag; does nothing for a null pointer.
    XmlElementBuilder & AddChild(std::shared_ptr<XmlElement> const & child);
    /// Appends the children in order and sets the HasChildren flag; does nothing for an empty vector.
    XmlElementBuilder & AddChildren(std::vector<std::shared_ptr<XmlElement>> const & children);
    /// The same, taking the children out of the argument.
    XmlElementBuilder & AddChildren(std::vector<std::shared_ptr<XmlElement>> && children);

private:
    XmlElement::ElementList & List();

    std::shared_ptr<XmlElement> m_element;
};

} // namespace qvlib
