// The words of a command line, by the rules that the platform's programs read theirs with.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvlib::host
{

/// The program's name, taken off the front: up to the closing quotation mark when it begins with one, else up to a
/// blank.
std::wstring_view TakeProgram(std::wstring_view & line);
/// The words behind the program's name.
std::vector<std::wstring> SplitArguments(std::wstring_view line);

} // namespace qvlib::host
