#include "qvlib/host/path.h"

#include "host/linux/internal/folder_names.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <sys/stat.h>

namespace qvlib::host
{

namespace
{

constexpr std::size_t kLongestPath = 32767; // the platform's limit
constexpr wchar_t kEscape = 0xDC00;

wchar_t EscapedByte(char byte) { return static_cast<wchar_t>(kEscape + static_cast<unsigned char>(byte)); }

bool IsEscape(wchar_t character)
{
    return character == EscapedByte('\\') || (character >= kEscape + 0x80 && character <= kEscape + 0xFF);
}

bool IsCharacter(wchar_t character)
{
    auto const code = static_cast<std::uint32_t>(character);
    return code <= 0x10FFFF && (code & 0xFFFFF800U) != 0xD800;
}

// What is no character keeps a name of its own in the form that UTF-8 had for any number: a name that it is part of
// must not be taken for another file's.
void AppendNumber(std::string & native, std::uint32_t number)
{
    unsigned extra = 2;
    while (extra < 6 && number >> (5 * extra + 6) != 0)
        ++extra;
    native += static_cast<char>(0xFF00U >> (extra + 1) | static_cast<unsigned>(std::uint64_t{number} >> (6 * extra)));
    while (extra-- > 0)
        native += static_cast<char>(0x80U | (number >> (6 * extra) & 0x3FU));
}

void AppendNative(std::string & native, std::wstring_view name)
{
    while (!name.empty())
    {
        std::size_t plain = 0;
        while (plain < name.size() && IsCharacter(name[plain]))
            ++plain;
        std::size_t const before = native.size();
        native.resize(before + Utf8Length(name.data(), plain));
        EncodeUtf8(name.data(), plain, native.data() + before);
        name.remove_prefix(plain);
        for (; !name.empty() && !IsCharacter(name.front()); name.remove_prefix(1))
        {
            if (IsEscape(name.front()))
                native += static_cast<char>(name.front() - kEscape);
            else
                AppendNumber(native, static_cast<std::uint32_t>(name.front()));
        }
    }
}

bool Exists(std::string const & path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

void MakeFolders(std::string const & path)
{
    if (Exists(path))
        return;
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        ::mkdir(path.substr(0, end).c_str(), 0777);
    ::mkdir(path.c_str(), 0777); // where this fails, so does the operation that the path is for
}

// The folder that a drive stands for, with no slash at its end.
std::string DriveRoot(wchar_t letter)
{
    char const upper = static_cast<char>(letter & ~0x20);
    std::string root;
    if (char const * const set = std::getenv((std::string("QVLIB_DRIVE_") + upper).c_str()); set != nullptr && *set)
        root = set;
    else if (upper != 'Z')
    {
        if (char const * const data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/')
            root = data;
        else if (char const * const home = std::getenv("HOME"); home != nullptr && *home)
            root = std::string(home) + "/.local/share";
        else
            root = "/tmp";
        root += std::string("/qvlib/drives/") + static_cast<char>(upper | 0x20);
        MakeFolders(root);
    }
    while (!root.empty() && root.back() == '/')
        root.pop_back();
    return root;
}

} // namespace

std::string NativePath(wchar_t const * path)
{
    if (path == nullptr)
        return {};
    std::wstring_view rest(path);
    if (rest.find(L'/') != std::wstring_view::npos)
        return NativeName(rest);

    if (rest.substr(0, 4) == L"\\\\?\\" || rest.substr(0, 4) == L"\\\\.\\")
        rest.remove_prefix(4); // the platform's mark of a literal path
    std::string native;
    if (rest.size() >= 2 && rest[1] == L':' && ((rest[0] | 0x20) >= L'a' && (rest[0] | 0x20) <= L'z'))
    {
        native = DriveRoot(rest[0]) + "/";
        rest.remove_prefix(2);
    }
    else if (!rest.empty() && rest[0] == L'\\')
        native = "/";

    std::string const start = native;
    std::wstring_view written = rest;
    while (!written.empty())
    {
        std::size_t const end = std::min(written.find(L'\\'), written.size());
        if (end != 0)
        {
            if (!native.empty() && native.back() != '/')
                native += '/';
            AppendNative(native, written.substr(0, end));
        }
        written.remove_prefix(std::min(end + 1, written.size()));
    }
    // What is too long for the system is nowhere, whatever the case of its letters.
    if (native.size() >= PATH_MAX || Exists(native))
        return native;
    // Often it is a new name in a folder that is there as written.
    if (std::size_t const slash = native.rfind('/'); slash != std::string::npos && slash + 1 < native.size())
        if (std::string const folder = native.substr(0, slash + 1); Exists(folder))
        {
            std::string const other = FindNoCase(folder, native.substr(slash + 1));
            return other.empty() ? native : folder + other;
        }

    // Not there as written, as a whole: find out from which name on.
    native = start;
    bool exists = true; // of what stands in `native` so far
    while (!rest.empty())
    {
        std::size_t const end = rest.find(L'\\');
        std::string const name = NativeName(rest.substr(0, end));
        bool const last = end == std::wstring_view::npos;
        rest.remove_prefix(last ? rest.size() : end + 1);
        if (name.empty())
            continue;
        if (!native.empty() && native.back() != '/')
            native += '/';
        std::string const folder = native;
        native += name;
        if (!exists || Exists(native))
            continue;
        if (std::string const other = FindNoCase(folder, name); !other.empty())
            native = folder + other;
        else
            exists = false;
    }
    return native;
}

std::string NativeName(std::wstring_view name)
{
    std::string native;
    AppendNative(native, name);
    return native;
}

std::wstring PlatformPath(std::string_view native)
{
    std::wstring path;
    std::wstring name;
    while (true)
    {
        std::size_t const end = native.find('/');
        PlatformName(native.substr(0, end), name);
        path += name;
        if (end == std::string_view::npos)
            return path;
        path += L'\\';
        native.remove_prefix(end + 1);
    }
}

void PlatformName(std::string_view name, std::wstring & wide)
{
    wide.resize(name.size());
    std::size_t i = 0;
    while (i < name.size() && static_cast<unsigned char>(name[i]) < 0x80 && name[i] != '\\')
    {
        wide[i] = static_cast<wchar_t>(name[i]);
        ++i;
    }
    if (i == name.size())
        return;
    bool valid = false;
    std::size_t length = DecodeUtf8(name.data(), name.size(), wide.data(), &valid);
    if (!valid)
    {
        length = 0;
        for (std::size_t at = 0; at < name.size();)
        {
            // One character at a time: the shortest run of bytes that decodes.
            std::size_t run = 1;
            wchar_t decoded[4];
            for (valid = false; run <= 4 && at + run <= name.size(); ++run)
                if (DecodeUtf8(name.data() + at, run, decoded, &valid) == 1 && valid)
                    break;
            wide[length++] = valid ? decoded[0] : EscapedByte(name[at]);
            at += valid ? run : 1;
        }
    }
    wide.resize(length);
    std::replace(wide.begin(), wide.end(), L'\\', EscapedByte('\\'));
}

bool IsAllowedPath(wchar_t const * path)
{
    std::wstring_view rest(path == nullptr ? L"" : path);
    if (rest.empty() || rest.size() > kLongestPath)
        return false;
    if (rest.find(L'/') != std::wstring_view::npos)
        return true;
    if (rest.substr(0, 4) == L"\\\\?\\" || rest.substr(0, 4) == L"\\\\.\\")
        rest.remove_prefix(4);
    if (rest.size() >= 2 && rest[1] == L':')
        rest.remove_prefix(2);
    return rest.find_first_of(L"*?\"<>|:") == std::wstring_view::npos;
}

} // namespace qvlib::host
