// Which characters make an XML name.
#pragma once

#include <string_view>

namespace qvlib::host
{

/// Whether the text begins with a character that may begin a name without a colon.
bool IsXmlNameStart(std::string_view utf8) noexcept;

/// Whether the text is a name without a colon.
bool IsXmlPlainName(std::wstring_view name) noexcept;

} // namespace qvlib::host
