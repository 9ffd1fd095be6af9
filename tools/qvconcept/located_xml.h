// The elements of an XML file with their places, for messages that say where.
//
// The library's own tree keeps no places and, where text stands beside child elements, not everything either. This one
// is read by the same reader and keeps all, so that what the tree passes over can be told.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvconcept
{

struct XmlPlace
{
    unsigned line = 0; ///< from 1; 0 when unknown
    unsigned column = 0;
};

struct LocatedElement
{
    std::wstring name;
    /// By local name, the first of each.
    std::vector<std::pair<std::wstring, std::wstring>> attributes;
    /// What stands before the first child element; of an element without children, all of it.
    std::wstring text;
    std::vector<LocatedElement> children;
    XmlPlace place;
    XmlPlace textPlace;   ///< where `text` begins
    XmlPlace strayText{}; ///< text behind a child element, which nobody reads; line 0 when there is none

    /// Null when there is no such attribute.
    std::wstring const * Attribute(std::wstring_view wanted) const;
    /// The attribute's text, or the empty text.
    std::wstring const & AttributeOrEmpty(std::wstring_view wanted) const;
    /// The place of the character at `offset` of `text`.
    XmlPlace PlaceInText(std::size_t offset) const;
};

/// Where `text`, which begins at `start`, ends.
XmlPlace PlaceBehind(XmlPlace start, std::wstring_view text);
/// How many characters of white space the text begins with.
std::size_t CountBlanks(std::wstring_view text);

/// XML that cannot be read.
struct XmlFault
{
    std::string text;
    XmlPlace place;
};

/// Reads a document. Throws XmlFault.
LocatedElement ReadLocated(std::string const & bytes);

} // namespace qvconcept
