// Characters of a document in the form that they have in text and in attributes.
#pragma once

#include "host/linux/internal/xml_output.h"

#include <string>
#include <string_view>

namespace qvlib::host
{

/// Appends the text, or the value of an attribute that stands between double quotes. What the output's encoding does
/// not have becomes a reference; without an output every character is had. A character that XML cannot hold gives its
/// code, and what stands before it has been appended.
HRESULT AppendXmlEscaped(std::wstring & out, std::wstring_view text, bool attribute, XmlOutput const * output);

} // namespace qvlib::host
