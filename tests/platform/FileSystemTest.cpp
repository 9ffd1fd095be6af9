#include "qvlib/FileSystem.h"

#include "qvlib/FileEnumerator.h"
#include "qvlib/PathUrl.h"
#include "qvlib/host/path.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using qvlib::CQVString;
using qvlib::FileEnumerator;
using qvlib::FileSystem;

class FileSystemTest : public ::testing::Test
{
protected:
    FileSystemTest() : m_root(qvlib::host::PlatformPath(m_folder.Path().string()).c_str()) {}

    CQVString Path(wchar_t const * name) const { return m_root + L"\\" + name; }
    fs::path Native(std::string const & name) const { return m_folder / name; }
    void Touch(std::string const & name) const { std::ofstream(m_folder / name) << "x"; }
    void MakeFolder(std::string const & name) const { fs::create_directories(m_folder / name); }

    /// All that lies in the folder, relative to it, links with an @.
    std::set<std::string> All() const
    {
        std::set<std::string> all;
        for (auto const & entry : fs::recursive_directory_iterator(m_folder.Path()))
            all.insert(entry.path().lexically_relative(m_folder.Path()).string() + (entry.is_symlink() ? "@" : ""));
        return all;
    }

    /// What a walk reports, relative to its root.
    static std::vector<std::wstring> Walk(CQVString const & root, wchar_t const * pattern, bool recursive)
    {
        std::vector<std::wstring> found;
        FileEnumerator files(root, pattern, recursive);
        for (files.Reset(); files.MoveNext();)
            found.emplace_back(files.Current().GetFilePath().Mid(root.GetLength() + 1).GetString());
        return found;
    }
    std::set<std::wstring> WalkSet(wchar_t const * pattern, bool recursive) const
    {
        std::vector<std::wstring> const found = Walk(m_root, pattern, recursive);
        std::set<std::wstring> set(found.begin(), found.end());
        EXPECT_EQ(set.size(), found.size()); // nothing twice
        return set;
    }

    qvlib_test::TempFolder m_folder;
    CQVString m_root;
};

using Names = std::set<std::string>;
using WideNames = std::set<std::wstring>;

/// Folders that can't be read are no hindrance to the superuser.
bool IsSuperuser() { return ::geteuid() == 0; }

} // namespace

TEST_F(FileSystemTest, FilesAndDirectoriesAreToldApart)
{
    MakeFolder("d");
    Touch("f");
    fs::create_symlink("nowhere", Native("broken"));
    fs::create_directory_symlink("d", Native("link"));
    EXPECT_TRUE(FileSystem::FileExists(Path(L"f")));
    EXPECT_FALSE(FileSystem::DirectoryExists(Path(L"f")));
    EXPECT_TRUE(FileSystem::DirectoryExists(Path(L"D"))); // without regard to case
    EXPECT_TRUE(FileSystem::DirectoryExists(Path(L"link")));
    EXPECT_FALSE(FileSystem::FileExists(Path(L"d")));
    EXPECT_TRUE(FileSystem::DirectoryExists(Path(L"link\\")));
    for (wchar_t const * const missing : {L"none", L"broken", L"f\\x", L"f\\", L"none\\x"})
    {
        EXPECT_FALSE(FileSystem::FileExists(Path(missing)));
        EXPECT_FALSE(FileSystem::DirectoryExists(Path(missing)));
    }
    EXPECT_TRUE(FileSystem::DirectoryExists(m_folder.Path().wstring().c_str())); // the system's own form
    EXPECT_FALSE(FileSystem::FileExists(nullptr));
    EXPECT_FALSE(FileSystem::DirectoryExists(L""));
    EXPECT_FALSE(FileSystem::DirectoryExists(Path(std::wstring(40000, L'x').c_str())));
}

TEST_F(FileSystemTest, DirectoriesAreMade)
{
    EXPECT_FALSE(FileSystem::CreateNewDirectory(Path(L"a\\b\\c"), false));
    EXPECT_TRUE(FileSystem::CreateNewDirectory(Path(L"a\\\\b\\c"), true));
    EXPECT_EQ(All(), (Names{"a", "a/b", "a/b/c"}));
    EXPECT_FALSE(FileSystem::CreateNewDirectory(Path(L"a"), true));
    EXPECT_TRUE(FileSystem::EnsureDirectoryExists(Path(L"a"), false));
    EXPECT_TRUE(FileSystem::EnsureDirectoryExists((m_folder.Path().wstring() + L"/own/x").c_str(), true));
    Touch("f");
    for (wchar_t const * const bad : {L"f", L"f\\x", L"n*\\x", L"y\\a:b"})
        EXPECT_FALSE(FileSystem::EnsureDirectoryExists(Path(bad), true));
    EXPECT_FALSE(FileSystem::CreateNewDirectory(std::wstring(100000, L'x').c_str(), true));
    EXPECT_FALSE(FileSystem::CreateNewDirectory(nullptr, true));
    EXPECT_FALSE(FileSystem::CreateNewDirectory(L"", true));
    EXPECT_TRUE(FileSystem::CreateEmptyFile(Path(L"f")));
    EXPECT_EQ(fs::file_size(Native("f")), 0U);
    for (wchar_t const * const bad : {L"a", L"none\\f", L"f\\x", L"f?", L"new\\"})
        EXPECT_FALSE(FileSystem::CreateEmptyFile(Path(bad)));
    EXPECT_FALSE(FileSystem::CreateEmptyFile(nullptr));
}

TEST_F(FileSystemTest, DeletingADirectoryLeavesWhatLinksLeadTo)
{
    MakeFolder("kept/sub");
    Touch("kept/f");
    MakeFolder("gone/sub/deep");
    Touch("gone/sub/\xFF\\..\\f"); // neither text nor one name to the platform
    fs::create_directory_symlink(Native("kept"), Native("gone/sub/link"));
    fs::create_symlink(Native("kept/f"), Native("gone/file link"));
    fs::create_symlink("nowhere", Native("gone/broken"));
    fs::create_directory_symlink(Native("kept"), Native("link"));
    EXPECT_FALSE(FileSystem::DeleteDirectory(Path(L"gone"), true)); // it isn't
    EXPECT_TRUE(FileSystem::DeleteDirectory(Path(L"gone"), false));
    EXPECT_TRUE(FileSystem::DeleteDirectory(Path(L"link"), false));
    EXPECT_EQ(All(), (Names{"kept", "kept/sub", "kept/f"}));
    EXPECT_FALSE(FileSystem::DeleteDirectory(Path(L"kept\\f"), false));
    EXPECT_FALSE(FileSystem::DeleteDirectory(Path(L"none"), false));
    EXPECT_FALSE(FileSystem::DeleteDirectory(Path(L"ke*"), false));
    EXPECT_FALSE(FileSystem::DeleteDirectoryContent(Path(L"none")));
    for (wchar_t const * const nothing : {static_cast<wchar_t const *>(nullptr), L""})
    {
        EXPECT_FALSE(FileSystem::DeleteDirectory(nothing, false));
        EXPECT_FALSE(FileSystem::DeleteDirectoryContent(nothing));
        EXPECT_FALSE(FileSystem::DeleteDirectoryFiles(nothing, L"no such file", true));
    }
    EXPECT_EQ(All().size(), 3U);
    EXPECT_TRUE(FileSystem::DeleteDirectoryContent(m_folder.Path().wstring().c_str()));
    EXPECT_TRUE(All().empty());
}

TEST_F(FileSystemTest, ALinkIsMeantWithASlashAtItsEndToo)
{
    MakeFolder("kept");
    Touch("kept/f");
    fs::create_directory_symlink("kept", Native("link"));
    std::wstring const link = Native("link").wstring() + L"//";
    EXPECT_EQ(GetFileAttributesW(link.c_str()), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_TRUE(FileSystem::DeleteDirectory(link.c_str(), false));
    EXPECT_EQ(All(), (Names{"kept", "kept/f"}));
}

TEST_F(FileSystemTest, APatternPicksTheDirectoriesThatLoseAllTheirFiles)
{
    for (char const * const name : {"t.txt", "x", "sub.txt", "other"})
        MakeFolder(name);
    for (char const * const name : {"a.txt", "b", "sub.txt/a.txt", "sub.txt/b", "other/a.txt"})
        name == std::string("sub.txt") ? MakeFolder(name) : Touch(name);
    MakeFolder("sub.txt/deep");
    Touch("sub.txt/deep/b");
    EXPECT_TRUE(FileSystem::DeleteDirectoryFiles(m_root, L"*.TXT", false));
    EXPECT_TRUE(fs::exists(Native("sub.txt/b")));
    EXPECT_FALSE(fs::exists(Native("a.txt")));
    // Kept on purpose: in a directory that is visited, every file goes; one whose name doesn't match isn't visited.
    EXPECT_TRUE(FileSystem::DeleteDirectoryFiles(m_root, L"*.txt", true));
    EXPECT_EQ(All(), (Names{"b", "other", "other/a.txt", "sub.txt", "sub.txt/deep", "t.txt", "x"}));
    EXPECT_TRUE(FileSystem::DeleteDirectoryFiles(m_root, L"*.none", true)); // nothing to do
    EXPECT_FALSE(FileSystem::DeleteDirectoryFiles(Path(L"none"), true));
    EXPECT_TRUE(FileSystem::DirectoryHasFiles(Path(L"other"), false));
    EXPECT_TRUE(FileSystem::DeleteDirectoryFiles(m_root, L"", true));
    EXPECT_EQ(All(), (Names{"other", "sub.txt", "sub.txt/deep", "t.txt", "x"}));
}

TEST_F(FileSystemTest, FilesAreFoundAndDirectoriesListed)
{
    MakeFolder("a/b/c");
    MakeFolder("z");
    EXPECT_FALSE(FileSystem::DirectoryHasFiles(m_root, true));
    Touch("a/b/c/f");
    fs::create_directory_symlink("..", Native("a/up"));
    EXPECT_TRUE(FileSystem::DirectoryHasFiles(m_root, true));
    EXPECT_FALSE(FileSystem::DirectoryHasFiles(m_root, false));
    EXPECT_FALSE(FileSystem::DirectoryHasFiles(Path(L"none"), true));
    CStringArray paths;
    FileSystem::GetSubDirPathsRecurse(paths, Path(L"a\\\\"));
    ASSERT_EQ(paths.GetCount(), 3);
    EXPECT_EQ(paths[0], Path(L"a"));
    EXPECT_EQ(paths[1], Path(L"a\\b"));
    EXPECT_EQ(paths[2], Path(L"a\\b\\c"));
    FileSystem::GetSubDirPathsRecurse(paths, L"");
    EXPECT_EQ(paths.GetCount(), 4);
}

TEST_F(FileSystemTest, RenamingStaysInTheParent)
{
    MakeFolder("a");
    MakeFolder("b");
    Touch("f");
    for (wchar_t const * const bad : {L"b", L"b\\x", L"..\\x", L"..", L"f", L"x/y", L"x*", L"", L"\\x"})
        EXPECT_FALSE(FileSystem::RenameDirectory(Path(L"a"), bad)) << fs::path(bad);
    EXPECT_FALSE(FileSystem::RenameDirectory(Path(L"f"), L"g"));
    EXPECT_FALSE(FileSystem::RenameDirectory(Path(L"a"), nullptr));
    EXPECT_EQ(All(), (Names{"a", "b", "f"}));
    EXPECT_TRUE(FileSystem::RenameDirectory(Path(L"a"), L"A"));
    EXPECT_TRUE(FileSystem::RenameDirectory((m_folder.Path().wstring() + L"/b").c_str(), L"c"));
    EXPECT_EQ(All(), (Names{"A", "c", "f"}));
}

TEST_F(FileSystemTest, NamesOfItsOwnMaking)
{
    CQVString const first = FileSystem::GetTempFileNameW(m_root, L"prefix");
    CQVString const second = FileSystem::GetTempFileNameW(m_root, L"prefix");
    EXPECT_TRUE(FileSystem::FileExists(first) && FileSystem::FileExists(second) && first != second);
    EXPECT_EQ(qvlib::CPathUrl(first).GetName().Left(3), L"pre");
    EXPECT_EQ(qvlib::CPathUrl(first).GetExtension(), L".TMP");
    for (wchar_t const * const bad : {L"..\\", L"a/b", L"*"})
        EXPECT_TRUE(FileSystem::GetTempFileNameW(m_root, bad).IsEmpty());
    EXPECT_TRUE(FileSystem::GetTempFileNameW(Path(L"none"), L"x").IsEmpty());
    EXPECT_TRUE(FileSystem::GetTempFileNameW(L"", L"x").IsEmpty());
    EXPECT_TRUE(FileSystem::GetTempFileNameW(std::wstring(246, L'x').c_str(), L"x").IsEmpty());
    CQVString const temporary = FileSystem::GetTempFileNameW(nullptr, nullptr);
    EXPECT_TRUE(FileSystem::FileExists(temporary));
    EXPECT_NE(DeleteFileW(temporary), FALSE);

    EXPECT_EQ(FileSystem::BuildUniqueDirectoryName(m_root, L"x"), Path(L"x"));
    Touch("x"); // a file doesn't count
    EXPECT_EQ(FileSystem::BuildUniqueDirectoryName(m_root, L"x"), Path(L"x"));
    fs::remove(Native("x"));
    MakeFolder("X");
    EXPECT_EQ(FileSystem::BuildUniqueDirectoryName(m_root, L"x"), Path(L"x0"));
    MakeFolder("x0");
    EXPECT_EQ(FileSystem::BuildUniqueDirectoryName(m_root, L"x"), Path(L"x1"));
    for (int i = 1; i < 1000; ++i)
        MakeFolder("x" + std::to_string(i));
    EXPECT_EQ(FileSystem::BuildUniqueDirectoryName(m_root, L"x"), Path(L"x999")); // taken, but the last
    EXPECT_TRUE(FileSystem::BuildUniqueDirectoryName(m_root, L"a*").IsEmpty());
    CQVString const timed = FileSystem::BuildUniqueDirectoryName(m_root, nullptr);
    EXPECT_EQ(timed.GetLength(), m_root.GetLength() + 1 + 4 + 16);
    EXPECT_TRUE(FileSystem::GetKnownFolderPath(0x7F).IsEmpty());
}

TEST_F(FileSystemTest, ATreeIsMade)
{
    EXPECT_TRUE(FileSystem::PopulateDirectoryTree(Path(L"t"), 1, 2, 1));
    EXPECT_EQ(All(), (Names{"t", "t/_dir1", "t/_dir2", "t/_file1", "t/_dir1/_file1", "t/_dir2/_file1"}));
    EXPECT_TRUE(FileSystem::PopulateDirectoryTree(Path(L"u"), 2, 0, -1, L"d", nullptr));
    EXPECT_TRUE(fs::exists(Native("u/d1/d1")));
    EXPECT_FALSE(FileSystem::PopulateDirectoryTree(Path(L"t\\_file1"), 0, 0, 1));
    EXPECT_FALSE(FileSystem::PopulateDirectoryTree(Path(L"v"), 0, 0, 1, L"d", L"?"));
}

TEST_F(FileSystemTest, AWalkReportsEachEntryOnceAndADirectoryAheadOfItsContent)
{
    EXPECT_TRUE(FileSystem::PopulateDirectoryTree(m_root, 3, 3, 2));
    Touch("\xFF\\odd");
    fs::create_directory_symlink("..", Native("_dir1/up"));
    fs::create_symlink("nowhere", Native("_dir2/broken"));
    std::vector<std::wstring> const found = Walk(m_root, L"*", true);
    EXPECT_EQ(found.size(), All().size());
    EXPECT_EQ(WalkSet(L"*", true).size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i)
    {
        std::size_t const separator = found[i].rfind(L'\\');
        auto const place = found.begin() + static_cast<std::ptrdiff_t>(i);
        bool const ahead =
            separator == std::wstring::npos || std::find(found.begin(), place, found[i].substr(0, separator)) != place;
        EXPECT_TRUE(ahead) << fs::path(found[i]);
        EXPECT_NE(qvlib::CPathUrl(m_root).Exists(found[i].c_str()), found[i] == L"_dir2\\broken");
    }
    // A directory is only entered when its own name matches.
    EXPECT_EQ(WalkSet(L"*1", true),
              (WideNames{L"_dir1", L"_file1", L"_dir1\\_dir1", L"_dir1\\_file1", L"_dir1\\_dir1\\_dir1",
                         L"_dir1\\_dir1\\_file1", L"_dir1\\_dir1\\_dir1\\_file1"}));
    EXPECT_EQ(WalkSet(L"_f*", true), (WideNames{L"_file1", L"_file2"}));
    EXPECT_EQ(WalkSet(L"*", false).size(), 6U);
    EXPECT_EQ(Walk(m_folder.Path().wstring().c_str(), L"*", true).size(), found.size());
}

TEST_F(FileSystemTest, AWalkWithNothingToReadEndsAtOnce)
{
    MakeFolder("empty/e1");
    MakeFolder("empty/e2");
    Touch("f");
    FileEnumerator none(m_root, L"*", true);
    EXPECT_FALSE(none.MoveNext()); // not started
    EXPECT_TRUE(Walk(Path(L"none"), L"*", true).empty());
    EXPECT_TRUE(Walk(Path(L"f"), L"*", true).empty());
    EXPECT_TRUE(Walk(Path(L"empty\\e1"), L"*", true).empty());
    EXPECT_EQ(Walk(Path(L"empty"), L"*", true).size(), 2U);
    EXPECT_TRUE(Walk(m_root, L"", true).empty());
    EXPECT_TRUE(Walk(CQVString(std::wstring(300, L'x')), L"*", true).empty());
    EXPECT_TRUE(Walk(CQVString(), L"", true).empty());
    if (!IsSuperuser())
    {
        Touch("empty/e1/hidden");
        fs::permissions(Native("empty/e1"), fs::perms::none);
        EXPECT_EQ(Walk(Path(L"empty"), L"*", true).size(), 2U);
        EXPECT_FALSE(FileSystem::DeleteDirectory(Path(L"empty"), false));
        fs::permissions(Native("empty/e1"), fs::perms::owner_all);
        EXPECT_TRUE(fs::exists(Native("empty/e1/hidden")));
    }
    none.Reset();
    EXPECT_TRUE(none.MoveNext());
    none.Reset(); // in the middle: from the start again
    int entries = 0;
    while (none.MoveNext())
        ++entries;
    EXPECT_EQ(static_cast<std::size_t>(entries), All().size());
    EXPECT_FALSE(none.MoveNext());
}

TEST_F(FileSystemTest, FilesThatVanishUnderAWalkAreNoHarm)
{
    EXPECT_TRUE(FileSystem::PopulateDirectoryTree(m_root, 2, 3, 2));
    FileEnumerator files(m_root, L"*", true);
    files.Reset();
    int steps = 0;
    while (files.MoveNext())
    {
        bool const inTheMiddle = ++steps == 2;
        EXPECT_TRUE(!inTheMiddle || FileSystem::DeleteDirectoryContent(m_root));
        EXPECT_EQ(files.Current().GetLength(), 0U);
        EXPECT_FALSE(files.Current().GetFilePath().IsEmpty());
    }
    EXPECT_GE(steps, 2);
    EXPECT_TRUE(All().empty());
}
