#include "qvlib/host/crt_path.h"

#include <algorithm>
#include <cerrno>
#include <cwchar>
#include <string_view>

namespace
{

struct Output
{
    wchar_t * text;
    std::size_t capacity;
};

void Empty(Output const & output)
{
    if (output.text != nullptr && output.capacity != 0)
        *output.text = L'\0';
}

bool IsSeparator(wchar_t character) { return character == L'\\' || character == L'/'; }

// Adds to a buffer as long as there is room for a terminator behind it.
struct Writer
{
    wchar_t * at;
    std::size_t room;
    bool fits = true;

    void Put(std::wstring_view text)
    {
        if (!fits || text.size() >= room)
        {
            fits = false;
            return;
        }
        at = std::copy(text.begin(), text.end(), at);
        room -= text.size();
    }
};

} // namespace

int _wsplitpath_s(wchar_t const * path, wchar_t * drive, std::size_t driveCapacity, wchar_t * directory,
                  std::size_t directoryCapacity, wchar_t * name, std::size_t nameCapacity, wchar_t * extension,
                  std::size_t extensionCapacity) noexcept
{
    Output const outputs[] = {
        {drive, driveCapacity}, {directory, directoryCapacity}, {name, nameCapacity}, {extension, extensionCapacity}};
    bool valid = path != nullptr;
    for (Output const & output : outputs)
        valid = valid && (output.text == nullptr) == (output.capacity == 0);

    int result = valid ? 0 : EINVAL;
    if (valid)
    {
        std::wstring_view rest(path);
        std::wstring_view pieces[4];
        auto const take = [&rest](std::size_t count)
        {
            std::wstring_view const piece = rest.substr(0, count);
            rest.remove_prefix(count);
            return piece;
        };
        if (rest.size() >= 2 && rest[1] == L':')
            pieces[0] = take(2);
        pieces[1] = take(rest.find_last_of(L"\\/") + 1); // npos + 1 is 0
        pieces[2] = take(std::min(rest.rfind(L'.'), rest.size()));
        pieces[3] = rest;
        for (std::size_t i = 0; i < 4; ++i)
            if (outputs[i].text != nullptr && pieces[i].size() >= outputs[i].capacity)
                result = ERANGE;
        for (std::size_t i = 0; i < 4 && result == 0; ++i)
            if (outputs[i].text != nullptr)
                *std::copy(pieces[i].begin(), pieces[i].end(), outputs[i].text) = L'\0';
    }
    if (result != 0)
        for (Output const & output : outputs)
            Empty(output);
    return result;
}

int _wmakepath_s(wchar_t * path, std::size_t capacity, wchar_t const * drive, wchar_t const * directory,
                 wchar_t const * name, wchar_t const * extension) noexcept
{
    if (path == nullptr || capacity == 0)
        return EINVAL;
    Writer writer{path, capacity};
    if (drive != nullptr && *drive != L'\0')
    {
        writer.Put({drive, 1});
        writer.Put(L":");
    }
    if (directory != nullptr && *directory != L'\0')
    {
        std::wstring_view const text(directory);
        writer.Put(text);
        if (!IsSeparator(text.back()))
            writer.Put(L"\\");
    }
    if (name != nullptr)
        writer.Put(name);
    if (extension != nullptr && *extension != L'\0')
    {
        if (*extension != L'.')
            writer.Put(L".");
        writer.Put(extension);
    }
    if (!writer.fits)
    {
        *path = L'\0';
        return ERANGE;
    }
    *writer.at = L'\0';
    return 0;
}
