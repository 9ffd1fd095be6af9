#include "findings.h"

#include "console.h"

#include <cstdio>

namespace qvconcept
{

void Findings::Error(XmlPlace place, std::string_view text)
{
    ++m_errors;
    Tell(place, "error", text);
}

void Findings::Warning(XmlPlace place, std::string_view text)
{
    ++m_warnings;
    Tell(place, "warning", text);
}

void Findings::Tell(XmlPlace place, std::string_view kind, std::string_view text)
{
    std::string line = Place(m_path, place.line, place.column);
    line += ": ";
    line += kind;
    line += ": ";
    line += text;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace qvconcept
