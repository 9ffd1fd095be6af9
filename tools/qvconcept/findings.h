// What "check" has found, told as it is found.
#pragma once

#include "located_xml.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qvconcept
{

class Findings
{
public:
    /// The file that the next findings are about.
    void SetFile(std::string const & path) { m_path = path; }

    /// Something is lost, ignored or refused.
    void Error(XmlPlace place, std::string_view text);
    /// Something is accepted but looks like a mistake.
    void Warning(XmlPlace place, std::string_view text);

    std::size_t Errors() const { return m_errors; }
    std::size_t Warnings() const { return m_warnings; }

private:
    void Tell(XmlPlace place, std::string_view kind, std::string_view text);

    std::string m_path;
    std::size_t m_errors = 0;
    std::size_t m_warnings = 0;
};

} // namespace qvconcept
