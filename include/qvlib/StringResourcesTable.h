// StringResourcesTable: display strings by key, loaded from one XML element.
//
//     <Strings>
//       <String Key="greeting">Good morning</String>
//     </Strings>
//
// Every child element with the attribute "Key" is an entry; its name, its other attributes and its own children play no
// part. The first text of a key stays, also over several loads.
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/export.h"

#include <map>
#include <string>
#include <utility>

namespace qvlib
{

class XmlElement;

class QVLIB_API StringResourcesTable
{
public:
    /// Adds the children of `element`. False when there are none, with the table untouched; otherwise whether the table
    /// now holds any entry. Throws unexpected_error for a child without "Key"; the entries before it stay.
    bool FromXml(XmlElement const & element);
    /// True and the text of the key, or false and an empty string. Keys match exactly.
    std::pair<bool, std::wstring> Find(std::wstring const & key) const;

private:
    std::map<std::wstring, std::wstring> m_strings;
};

} // namespace qvlib
