#include "host/linux/internal/registry_name.h"

#include <unicode/uchar.h>

namespace qvlib::host
{

namespace
{

void AppendCodePoint(std::string & out, unsigned int c)
{
    if (c < 0x80)
    {
        out += static_cast<char>(c);
        return;
    }
    if (c < 0x800)
        out += static_cast<char>(0xC0U | (c >> 6));
    else
    {
        if (c < 0x10000)
            out += static_cast<char>(0xE0U | (c >> 12));
        else
        {
            out += static_cast<char>(0xF0U | (c >> 18));
            out += static_cast<char>(0x80U | ((c >> 12) & 0x3FU));
        }
        out += static_cast<char>(0x80U | ((c >> 6) & 0x3FU));
    }
    out += static_cast<char>(0x80U | (c & 0x3FU));
}

/// Takes one character off the bytes.
wchar_t NextCharacter(char const *& at, char const * end)
{
    constexpr wchar_t kBad = 0xFFFD;
    auto const lead = static_cast<unsigned char>(*at++);
    if (lead < 0x80)
        return static_cast<wchar_t>(lead);
    int const following = lead >= 0xF0 && lead < 0xF8 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead >= 0xF8)
        return kBad;
    unsigned int c = lead & (0x3FU >> following);
    for (int i = 0; i < following; ++i)
    {
        if (at == end || (static_cast<unsigned char>(*at) & 0xC0) != 0x80)
            return kBad;
        c = (c << 6) | (static_cast<unsigned char>(*at++) & 0x3FU);
    }
    return c <= 0x10FFFF && c != 0 ? static_cast<wchar_t>(c) : kBad;
}

} // namespace

bool AppendName(std::string & out, std::wstring_view name)
{
    for (wchar_t const wide : name)
    {
        auto const c = static_cast<unsigned int>(wide);
        if (c > 0x10FFFF)
            return false;
        AppendCodePoint(out, c);
    }
    return true;
}

bool AppendFolded(std::string & out, std::wstring_view name)
{
    for (wchar_t const wide : name)
    {
        auto const c = static_cast<unsigned int>(wide);
        if (c > 0x10FFFF)
            return false;
        if (c < 0x80)
            out += static_cast<char>(c - 'A' < 26U ? c + 32 : c);
        else
            AppendCodePoint(out, static_cast<unsigned int>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT)));
    }
    return true;
}

std::size_t NameLength(std::string_view bytes)
{
    std::size_t length = 0;
    char const * const end = bytes.data() + bytes.size();
    for (char const * at = bytes.data(); at != end; ++length)
        NextCharacter(at, end);
    return length;
}

void DecodeName(std::string_view bytes, wchar_t * out)
{
    char const * const end = bytes.data() + bytes.size();
    for (char const * at = bytes.data(); at != end;)
        *out++ = NextCharacter(at, end);
}

} // namespace qvlib::host
