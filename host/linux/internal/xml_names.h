// Which characters make an XML name.
#pragma once

#include <cstddef>
#include <string_view>

namespace qvlib::host
{

/// Whether the text begins with a character that may begin a name without a colon.
bool IsXmlNameStart(std::string_view utf8) noexcept;

/// The length of the text, up to its NUL, if it is a name without a colon, else 0.
std::size_t XmlPlainNameLength(wchar_t const * name) noexcept;

} // namespace qvlib::host
