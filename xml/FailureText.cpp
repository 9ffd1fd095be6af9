#include "xml/internal/xml_message.h"

#include <cstdint>

namespace qvlib::xml
{

std::string FailureText(std::string const & text, HRESULT hr)
{
    // Written out by hand: a stream would ask the locale.
    std::uint32_t const code = static_cast<std::uint32_t>(hr);
    std::string result = text;
    if (code == 0)
        return result += '0';
    result += "0x";
    bool begun = false;
    for (int shift = 28; shift >= 0; shift -= 4)
    {
        std::uint32_t const digit = (code >> shift) & 0xF;
        begun = begun || digit != 0;
        if (begun)
            result += "0123456789abcdef"[digit];
    }
    return result;
}

} // namespace qvlib::xml
