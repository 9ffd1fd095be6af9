// The two ways in which the readers take an attribute, and what they share in walking an element.
#pragma once

#include "qvlib/XmlElement.h"
#include "qvlib/XmlElementBuilder.h"

#include <string>

namespace qvlib::internal
{

/// The attribute, or the empty text.
inline std::wstring AttributeOrEmpty(XmlElement const & element, wchar_t const * name)
{
    std::wstring const * value = nullptr;
    return element.FindAttribute(name, value) ? *value : std::wstring();
}

/// The same, and an absent attribute is put into the element as an empty one. Kept on purpose: callers depend on seeing
/// it there.
inline std::wstring AttributeBySubscript(XmlElement const & element, wchar_t const * name)
{
    std::wstring const * value = nullptr;
    if (element.FindAttribute(name, value))
        return *value;
    if (auto const attributes = element.Attributes())
        attributes->emplace(name, std::wstring());
    else if (auto const owned = std::const_pointer_cast<XmlElement>(element.weak_from_this().lock()))
        XmlElementBuilder().Reset(owned).SetAttribute(name, std::wstring());
    return std::wstring();
}

/// Calls `visit(child)` for each child that is there.
template <class Visit>
void ForEachChild(XmlElement const & element, Visit const & visit)
{
    if (auto const children = element.Children())
        for (auto const & child : *children)
            if (child != nullptr)
                visit(*child);
}

} // namespace qvlib::internal
