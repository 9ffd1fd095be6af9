#include "qvlib/FileSystem.h"

#include "platform/internal/join_path.h"
#include "qvlib/DateTime.h"
#include "qvlib/HexDump.h"
#include "qvlib/PathUrl.h"
#include "qvlib/framework/file.h"
#include "qvlib/framework/filefind.h"
#include "qvlib/host/file.h"
#include "qvlib/host/folder.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <list>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib
{

namespace
{

constexpr int kLastUniqueNumber = 999;
constexpr std::size_t kTempPathCapacity = 246; // leaves room for a file name in a path of 260

bool HasText(wchar_t const * text) { return text != nullptr && *text != L'\0'; }

// One step of a finder: makes an entry current. `more` tells whether there is one at all, then whether one follows.
bool Step(CFileFind & finder, bool & more)
{
    if (!more)
        return false;
    more = finder.FindNextFile() != FALSE;
    return true;
}

bool IsRealDirectory(CFileFind const & finder) { return finder.IsDirectory() != FALSE && finder.IsDots() == FALSE; }

// Deletes what an open folder lists but for the dot entries and, unless `andFolders`, the folders in it, which it
// enters where `recursive`. It goes from folder to folder by their handles, as by paths a link that somebody puts in
// the place of one would lead it elsewhere; and in a loop, as folders may be nested to any depth.
bool DeleteEntries(host::NativeFolder & first, bool recursive, bool andFolders)
{
    struct Level
    {
        host::NativeFolder::Entry entry;
        host::NativeFolder folder;
    };
    std::list<Level> entered;
    host::NativeFolder * folder = &first;
    host::NativeFolder::Entry entry;
    for (;;)
    {
        if (folder->Next(entry))
        {
            if (entry.name == "." || entry.name == "..")
                continue;
            if (!entry.isFolder)
            {
                if (folder->Remove(entry) != ERROR_SUCCESS)
                    return false;
            }
            else if (recursive)
            {
                Level & level = entered.emplace_back();
                level.entry = entry;
                if (level.folder.Open(*folder, entry) != ERROR_SUCCESS)
                    return false;
                folder = &level.folder;
            }
            continue;
        }
        if (entered.empty())
            return true;
        entry = std::move(entered.back().entry);
        entered.pop_back();
        folder = entered.empty() ? &first : &entered.back().folder;
        if (andFolders && folder->Remove(entry) != ERROR_SUCCESS)
            return false;
    }
}

} // namespace

bool FileSystem::FileExists(wchar_t const * path)
{
    CFileStatus status;
    return CFile::GetStatus(path, status) != FALSE && (status.m_attribute & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool FileSystem::DirectoryExists(wchar_t const * path)
{
    CFileStatus status;
    return CFile::GetStatus(path, status) != FALSE && (status.m_attribute & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool FileSystem::CreateEmptyFile(wchar_t const * path)
{
    CFile file;
    return host::IsAllowedPath(path) && file.Open(path, CFile::modeCreate | CFile::modeWrite) != FALSE;
}

bool FileSystem::CreateNewDirectory(wchar_t const * path, bool recursive)
{
    if (!host::IsAllowedPath(path))
        return false;
    if (recursive)
    {
        // From the innermost parent outwards until one is there, then back: a loop, as a path may have any number of
        // names, and only their lengths, as it may be long.
        std::vector<int> missing;
        for (CQVString parent = ParentPath(path); !parent.IsEmpty() && !DirectoryExists(parent);
             parent = ParentPath(parent))
            missing.push_back(parent.GetLength());
        CQVString const whole(path);
        for (; !missing.empty(); missing.pop_back())
        {
            CQVString const parent = whole.Left(missing.back());
            // A doubled separator names one directory twice.
            if (CreateDirectoryW(parent, nullptr) == FALSE && !DirectoryExists(parent))
                return false;
        }
    }
    return CreateDirectoryW(path, nullptr) != FALSE;
}

bool FileSystem::EnsureDirectoryExists(wchar_t const * path, bool recursive)
{
    return DirectoryExists(path) || CreateNewDirectory(path, recursive);
}

bool FileSystem::DeleteDirectory(wchar_t const * path, bool contentIsGone)
{
    DWORD const attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    // What a link leads to belongs to others, also when the link has only now come in the directory's place.
    bool const isLink = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (!contentIsGone && !isLink)
    {
        host::NativeFolder folder;
        if (folder.Open(JoinPath(path, L"*").GetString(), host::NativeFolder::AtLink::Refuse) != ERROR_SUCCESS ||
            !DeleteEntries(folder, true, true))
            return false;
    }
    return RemoveDirectoryW(path) != FALSE;
}

bool FileSystem::DeleteDirectoryContent(wchar_t const * path)
{
    if (!HasText(path)) // "\*" would be the whole system
        return false;
    host::NativeFolder folder;
    return folder.Open(JoinPath(path, L"*").GetString()) == ERROR_SUCCESS && DeleteEntries(folder, true, true);
}

bool FileSystem::DeleteDirectoryFiles(wchar_t const * path, wchar_t const * pattern, bool recursive)
{
    if (!HasText(path))
        return false;
    host::NativeFolder folder;
    LSTATUS const status = folder.Open(JoinPath(path, HasText(pattern) ? pattern : L"*").GetString());
    if (status != ERROR_SUCCESS)
        return status == ERROR_FILE_NOT_FOUND && DirectoryExists(path);
    // Kept on purpose, as callers count on it: the pattern picks the directories to visit, and is not applied in them.
    return DeleteEntries(folder, recursive, false);
}

bool FileSystem::DeleteDirectoryFiles(wchar_t const * path, bool recursive)
{
    return DeleteDirectoryFiles(path, nullptr, recursive);
}

bool FileSystem::DirectoryHasFiles(wchar_t const * path, bool recursive)
{
    if (!HasText(path))
        return false;
    CFileFind finder;
    for (bool more = finder.FindFile(JoinPath(path, L"*").GetString()) != FALSE; Step(finder, more);)
    {
        if (finder.IsDirectory() == FALSE)
            return true;
        if (recursive && IsRealDirectory(finder) && DirectoryHasFiles(finder.GetFilePath(), true))
            return true;
    }
    return false;
}

bool FileSystem::RenameDirectory(wchar_t const * path, wchar_t const * newName)
{
    if (!HasText(newName) || !DirectoryExists(path))
        return false;
    CQVString const parent = ParentPath(path);
    CQVString const target = parent.IsEmpty() && *path != L'\\' ? CQVString(newName) : JoinPath(parent, newName);
    if (ParentPath(target).CompareNoCase(parent) != 0)
        return false;
    return MoveFileW(path, target) != FALSE;
}

CQVString FileSystem::GetKnownFolderPath(int folder)
{
    wchar_t path[MAX_PATH] = {};
    return SHGetFolderPathW(nullptr, folder, nullptr, 0, path) == S_OK ? CQVString(path) : CQVString();
}

CQVString FileSystem::GetTempFileNameW(wchar_t const * directory, wchar_t const * prefix)
{
    wchar_t folder[kTempPathCapacity] = {};
    if (directory == nullptr)
    {
        DWORD const length = GetTempPathW(static_cast<DWORD>(kTempPathCapacity), folder);
        if (length == 0 || length >= kTempPathCapacity)
            return {};
    }
    else
    {
        std::wstring_view const given(directory);
        if (given.size() >= kTempPathCapacity)
            return {};
        std::copy(given.begin(), given.end(), folder);
    }
    wchar_t path[MAX_PATH] = {};
    return ::GetTempFileNameW(folder, prefix, 0, path) != 0 ? CQVString(path) : CQVString();
}

void FileSystem::GetSubDirPathsRecurse(CStringArray & paths, CQVString const & path)
{
    CQVString directory(path.GetString()); // a path ends at its NUL
    bool const isEmpty = directory.IsEmpty();
    directory.TrimRight(L'\\');
    paths.Add(directory);
    if (isEmpty)
        return;
    CFileFind finder;
    for (bool more = finder.FindFile(JoinPath(directory, L"*").GetString()) != FALSE; Step(finder, more);)
        if (IsRealDirectory(finder))
            GetSubDirPathsRecurse(paths, finder.GetFilePath());
}

CQVString FileSystem::BuildUniqueDirectoryName(wchar_t const * parent, wchar_t const * name)
{
    CQVString const folder =
        HasText(parent) ? CQVString(parent) : GetKnownFolderPath(CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE);
    CQVString base(name);
    if (base.IsEmpty())
    {
        double const now = CDateTime::Now();
        base = L"temp";
        base += TLBytesToString(reinterpret_cast<unsigned char const *>(&now), sizeof now, 0, 0);
    }
    CPathUrl const path(TLMakePath(nullptr, folder.GetString(), base.GetString(), nullptr));
    if (!path.IsValid())
        return {};
    CQVString unique = path.GetUrl();
    CQVString candidate;
    for (int number = 0; number <= kLastUniqueNumber && DirectoryExists(unique); ++number)
    {
        candidate.Format(L"%s%d", base.GetString(), number);
        unique = TLMakePath(nullptr, folder.GetString(), candidate.GetString(), nullptr);
    }
    return unique;
}

bool FileSystem::PopulateDirectoryTree(CQVString const & root, int depth, int branches, int files,
                                       wchar_t const * directoryPrefix, wchar_t const * filePrefix)
{
    wchar_t const * const directoryName = directoryPrefix != nullptr ? directoryPrefix : L"_dir";
    wchar_t const * const fileName = filePrefix != nullptr ? filePrefix : L"_file";
    CQVString const directory(root.GetString()); // a path ends at its NUL
    if (!EnsureDirectoryExists(directory, true))
        return false;
    CQVString name;
    if (depth > 0)
    {
        int const count = std::max(branches, 1);
        for (int i = 1; i <= count; ++i)
        {
            name.Format(L"%s%d", directoryName, i);
            if (!PopulateDirectoryTree(JoinPath(directory, name), depth - 1, branches, files, directoryName, fileName))
                return false;
            if (i == count) // the largest number has none behind it
                break;
        }
    }
    for (int i = 0; i < files;)
    {
        name.Format(L"%s%d", fileName, ++i);
        if (!CreateEmptyFile(JoinPath(directory, name)))
            return false;
    }
    return true;
}

} // namespace qvlib
