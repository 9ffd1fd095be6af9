// The text form of the registry: what "registry export" writes and "registry import" reads.
//
//     qvconcept registry 1
//
//     [Software\Example]
//     "Title" = text "Report \"A\""
//     "Home" = expand "%HOME%"
//     "Count" = dword 42
//     "Ticks" = qword 1099511627776
//     "Tags" = list "red" "green"
//     "Key" = binary 00 ff 10
//     "" = text "the key's default value"
//     "Odd" = type 5 00 00 00 01
//
// UTF-8. Quoted texts have the escapes of JSON. "type" has the number of any type and the bytes as they are; export
// uses it for whatever the other words do not give back byte for byte. Blank lines, and lines that begin with "#", are
// passed over.
#pragma once

#include "registry_store.h"

#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

inline constexpr std::string_view kRegistryTextHead = "qvconcept registry 1";

/// One line without its end: "Title" = text "Report".
std::string LineOfValue(RegistryValue const & value);
/// What stands behind the "=".
std::string TextOfData(DWORD type, std::vector<BYTE> const & data);

struct RegistryKeyText
{
    std::string path;
    std::vector<RegistryValue> values;
};

/// Throws Problem with file and line.
std::vector<RegistryKeyText> ParseRegistryText(std::string const & file, std::string_view text);

std::vector<BYTE> TextData(std::wstring_view text);
std::vector<BYTE> ListData(std::vector<std::wstring> const & texts);
/// False when the data are not exactly a text with its terminator, or a list.
bool TextFromData(std::vector<BYTE> const & data, std::wstring & text);
bool ListFromData(std::vector<BYTE> const & data, std::vector<std::wstring> & texts);
/// Two digits a byte, blanks between bytes are optional; false for anything else.
bool BytesFromHex(std::string_view text, std::vector<BYTE> & bytes);
/// Decimal digits that fit `bytes` bytes, little-endian into `data`.
bool NumberData(std::string_view digits, std::size_t bytes, std::vector<BYTE> & data);

} // namespace qvconcept
