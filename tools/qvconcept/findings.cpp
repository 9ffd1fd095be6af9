#include "findings.h"

#include "console.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qvconcept
{

void Findings::SetFile(std::string const & path)
{
    Tell();
    m_path = path;
}

void Findings::Error(XmlPlace place, std::string_view text)
{
    ++m_errors;
    Add(place, "error", text);
}

void Findings::Warning(XmlPlace place, std::string_view text)
{
    ++m_warnings;
    Add(place, "warning", text);
}

void Findings::Add(XmlPlace place, std::string_view kind, std::string_view text)
{
    std::string line = Place(m_path, place.line, place.column);
    line += ": ";
    line += kind;
    line += ": ";
    line += text;
    line += '\n';
    m_found.push_back({place, std::move(line)});
}

void Findings::Tell()
{
    std::stable_sort(m_found.begin(), m_found.end(),
                     [](Finding const & a, Finding const & b)
                     { return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column); });
    for (Finding const & finding : m_found)
        std::fwrite(finding.text.data(), 1, finding.text.size(), stderr);
    m_found.clear();
}

} // namespace qvconcept
