// What the tool prints: UTF-8 on stdout and stderr.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvconcept
{

/// Writes to stdout. Throws Problem when the system refuses.
void Print(std::string_view text);
/// Writes one line to stderr, behind the program's name.
void Complain(std::string_view text);
/// Passes on what is still buffered; throws Problem when the system refuses.
void FinishOutput();

/// "file:line:column", without what is 0.
std::string Place(std::string_view file, unsigned line = 0, unsigned column = 0);

/// "1 item", "2 items".
std::string Count(std::size_t count, std::string_view noun);

} // namespace qvconcept
