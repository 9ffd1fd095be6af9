#include "console.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qvconcept
{
namespace
{

[[noreturn]] void RefusedOutput() { throw Problem(std::string("cannot write the output: ") + std::strerror(errno)); }

} // namespace

void Print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        RefusedOutput();
}

void Complain(std::string_view text)
{
    std::string line = "qvconcept: ";
    line += text;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void FinishOutput()
{
    if (std::fflush(stdout) != 0)
        RefusedOutput();
}

std::string Place(std::string_view file, unsigned line, unsigned column)
{
    std::string place(file);
    if (line != 0)
    {
        place += ':' + std::to_string(line);
        if (column != 0)
            place += ':' + std::to_string(column);
    }
    return place;
}

std::string Count(std::size_t count, std::string_view noun)
{
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

} // namespace qvconcept
