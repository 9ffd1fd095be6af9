// Names of registry keys and values as the hive keeps them: UTF-8 that lets lone surrogates pass as three bytes each.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlib::host
{

/// Appends the name. False for a character that is no code point.
bool AppendName(std::string & out, std::wstring_view name);
/// Appends the name folded: what names are compared and ordered by (Unicode's simple case folding).
bool AppendFolded(std::string & out, std::wstring_view name);

/// How many characters the bytes give.
std::size_t NameLength(std::string_view bytes);
/// Decodes into room for NameLength characters. Bytes that are no such name give U+FFFD.
void DecodeName(std::string_view bytes, wchar_t * out);

} // namespace qvlib::host
