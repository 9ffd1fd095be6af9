// FileSystem: what is done with directories and files by name.
//
//     qvlib::CQVString folder = qvlib::FileSystem::BuildUniqueDirectoryName(nullptr, L"work");
//     if (qvlib::FileSystem::EnsureDirectoryExists(folder, true))
//         qvlib::FileSystem::CreateEmptyFile(folder + L"\\started");
//
// Paths are the platform's; host/path.h tells how they name files here. A symbolic link is removed, counted and listed
// as a file of its own: nothing here goes through one but for a path that names it.
//
// Failure is false or an empty text, and a null or empty path always fails. Nothing throws but for want of memory.
// All functions are thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/framework/collections.h"

namespace qvlib
{

struct QVLIB_API FileSystem
{
    /// Whether a file, and whether a directory, stands at the path.
    static bool FileExists(wchar_t const * path);
    static bool DirectoryExists(wchar_t const * path);

    /// Makes an empty file; one that is there is emptied.
    static bool CreateEmptyFile(wchar_t const * path);
    /// Makes a directory, and its missing parents too where `recursive`. One that is there already gives false.
    static bool CreateNewDirectory(wchar_t const * path, bool recursive);
    /// The same, but true for one that is there.
    static bool EnsureDirectoryExists(wchar_t const * path, bool recursive);

    /// Removes a directory, after all that is in it unless `contentIsGone`. Of a link to a directory, the link alone.
    static bool DeleteDirectory(wchar_t const * path, bool contentIsGone);
    /// Removes all that is in a directory. The first failure ends it; what went before stays removed.
    static bool DeleteDirectoryContent(wchar_t const * path);
    /// Deletes the files that match the pattern, all for a null or empty one. Where `recursive`, a directory whose own
    /// name matches loses all its files, whatever they are called, and so do those below it; directories stay. The
    /// first failure ends it.
    static bool DeleteDirectoryFiles(wchar_t const * path, wchar_t const * pattern, bool recursive);
    static bool DeleteDirectoryFiles(wchar_t const * path, bool recursive);
    /// Whether a directory has any file, also in the directories below it where `recursive`.
    static bool DirectoryHasFiles(wchar_t const * path, bool recursive);
    /// Gives a directory another name in the same parent.
    static bool RenameDirectory(wchar_t const * path, wchar_t const * newName);

    /// The path of a known folder of the platform (CSIDL_ in host/file.h).
    static CQVString GetKnownFolderPath(int folder);
    /// Makes a new empty file with a name of its own, in the folder for temporary files when `directory` is null, and
    /// gives its path. Up to three characters of the prefix count.
    static CQVString GetTempFileNameW(wchar_t const * directory, wchar_t const * prefix);
    /// Appends a directory and all directories below it, each ahead of those in it.
    static void GetSubDirPathsRecurse(CStringArray & paths, CQVString const & path);
    /// A path in `parent` at which no directory stands: `name`, or `name` and a number from 0 to 999; when all are
    /// taken, the last of them. Without a parent, the user's local application data; without a name, one made of the
    /// time. Empty for a path that isn't valid (CPathUrl::IsValid). Nothing is made.
    static CQVString BuildUniqueDirectoryName(wchar_t const * parent, wchar_t const * name);
    /// Makes a tree of empty files to try things on: `files` of them in each directory, `branches` directories (at
    /// least one) in each above the depth, named by prefix and number from 1. A null prefix stands for the default.
    static bool PopulateDirectoryTree(CQVString const & root, int depth, int branches, int files,
                                      wchar_t const * directoryPrefix = L"_dir", wchar_t const * filePrefix = L"_file");
};

} // namespace qvlib
