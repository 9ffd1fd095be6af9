#include "qvlib/host/path.h"

#include "qvlib/host/utf8.h"

#include <cstdlib>
#include <string_view>

#include <dirent.h>
#include <sys/stat.h>
#include <unicode/uchar.h>

namespace qvlib::host
{

namespace
{

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

bool SameButForCase(std::wstring_view a, std::wstring_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && u_foldCase(static_cast<UChar32>(a[i]), U_FOLD_CASE_DEFAULT) !=
                                u_foldCase(static_cast<UChar32>(b[i]), U_FOLD_CASE_DEFAULT))
            return false;
    return true;
}

// The entry of `folder` that is `name` but for case: the first in byte order, so that the choice does not hang on the
// order in which the file system lists. Empty when there is none.
std::string FindNoCase(std::string const & folder, std::string const & name)
{
    std::wstring const wanted = FromUtf8(name);
    std::string found;
    DIR * const entries = ::opendir(folder.empty() ? "." : folder.c_str());
    if (entries == nullptr)
        return found;
    try
    {
        while (dirent const * const entry = ::readdir(entries))
            if (SameButForCase(FromUtf8(entry->d_name), wanted) && (found.empty() || found > entry->d_name))
                found = entry->d_name;
    }
    catch (...)
    {
        ::closedir(entries);
        throw;
    }
    ::closedir(entries);
    return found;
}

} // namespace

std::string NativePath(wchar_t const * path)
{
    if (path == nullptr)
        return {};
    std::wstring_view rest(path);
    if (rest.find(L'/') != std::wstring_view::npos)
        return ToUtf8(rest);

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

    bool exists = true; // of what stands in `native` so far
    while (!rest.empty())
    {
        std::size_t const end = rest.find(L'\\');
        std::string const name = ToUtf8(rest.substr(0, end));
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

} // namespace qvlib::host
