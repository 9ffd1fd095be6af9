// What "check" has found, told file by file in the order of the places.
#pragma once

#include "located_xml.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

class Findings
{
public:
    Findings() = default;
    Findings(Findings const &) = delete;
    Findings & operator=(Findings const &) = delete;
    ~Findings() { Tell(); }

    /// The file that the next findings are about. What was found before is told.
    void SetFile(std::string const & path);

    /// Something is lost, ignored or refused.
    void Error(XmlPlace place, std::string_view text);
    /// Something is accepted but looks like a mistake.
    void Warning(XmlPlace place, std::string_view text);

    std::size_t Errors() const { return m_errors; }
    std::size_t Warnings() const { return m_warnings; }

private:
    struct Finding
    {
        XmlPlace place;
        std::string text;
    };
    void Add(XmlPlace place, std::string_view kind, std::string_view text);
    void Tell();

    std::string m_path;
    std::vector<Finding> m_found;
    std::size_t m_errors = 0;
    std::size_t m_warnings = 0;
};

} // namespace qvconcept
