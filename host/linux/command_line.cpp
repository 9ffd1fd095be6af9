#include "host/linux/internal/command_line.h"

#include <algorithm>

namespace qvlib::host
{

namespace
{

bool IsBlank(wchar_t character) { return character == L' ' || character == L'\t'; }

} // namespace

std::wstring_view TakeProgram(std::wstring_view & line)
{
    bool const quoted = !line.empty() && line.front() == L'"';
    if (quoted)
        line.remove_prefix(1);
    std::size_t const end = std::min(line.find_first_of(quoted ? L"\"" : L" \t"), line.size());
    std::wstring_view const program = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return program;
}

std::vector<std::wstring> SplitArguments(std::wstring_view line)
{
    std::vector<std::wstring> words;
    std::size_t at = 0;
    while (true)
    {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
        if (at == line.size())
            return words;
        std::wstring word;
        bool quoted = false;
        for (; at < line.size() && (quoted || !IsBlank(line[at])); ++at)
        {
            std::size_t const quote = std::min(line.find_first_not_of(L'\\', at), line.size());
            std::size_t const slashes = quote - at;
            if (quote == line.size() || line[quote] != L'"')
            {
                // Backslashes mean themselves unless a quotation mark follows.
                word.append(slashes, L'\\');
                at = quote;
                if (at == line.size() || (!quoted && IsBlank(line[at])))
                    break;
                word += line[at];
                continue;
            }
            word.append(slashes / 2, L'\\');
            at = quote;
            if (slashes % 2 != 0)
                word += L'"';
            else if (quoted && at + 1 < line.size() && line[at + 1] == L'"')
            {
                word += L'"'; // a doubled one within a quoted part is one of the text
                ++at;
            }
            else
                quoted = !quoted;
        }
        words.push_back(std::move(word));
    }
}

} // namespace qvlib::host
