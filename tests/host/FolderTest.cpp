#include "qvlib/host/folder.h"

#include "qvlib/host/file.h"
#include "qvlib/host/path.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using qvlib::host::MatchesFilePattern;

void Touch(fs::path const & path) { std::ofstream(path) << "x"; }

std::set<std::string> Names(std::wstring const & pattern)
{
    std::set<std::string> names;
    qvlib::host::NativeFolder folder;
    qvlib::host::NativeFolder::Entry entry;
    if (folder.Open(pattern.c_str()) != ERROR_SUCCESS)
        return {"(failed)"};
    while (folder.Next(entry))
        names.insert(entry.name + (entry.isFolder ? "/" : entry.isLink ? "@" : ""));
    return names;
}

} // namespace

TEST(Folder, WildcardsMatchAsThePlatformMatchesThem)
{
    struct
    {
        wchar_t const * pattern;
        std::vector<wchar_t const *> yes;
        std::vector<wchar_t const *> no;
    } const rows[] = {
        {L"*", {L"a", L"a.b", L".a", L"a."}, {}},
        {L"*.*", {L"a", L"a.b", L".a"}, {}},
        {L"*.txt", {L"a.txt", L"A.TXT", L".txt", L"a.b.txt"}, {L"txt", L"a.txtx", L"a.txt.b", L"a"}},
        {L"*.", {L"a", L"abc"}, {L"a.b", L".b"}},
        {L"a*.*", {L"a", L"abc", L"a.b", L"Ab.c.d"}, {L"ba", L"b.a"}},
        {L"a.*", {L"a", L"a.b", L"a.b.c"}, {L"ab", L"ab.c"}},
        {L"a?", {L"a", L"ab"}, {L"abc", L"b", L"a.b"}},
        {L"???.txt", {L"a.txt", L"abc.txt"}, {L"abcd.txt", L"a.b"}},
        {L"?.?", {L"a", L"a.b"}, {L"ab", L"a.bc"}},
        {L"a?c", {L"abc", L"aXc"}, {L"ac", L"a.c"}},
        {L"*a*b*", {L"ab", L"xaxbx", L"aab"}, {L"ba", L"a"}},
        {L"\x00C4*", {L"\x00E4", L"\x00C4x"}, {L"a"}},
        {L"name.ext", {L"NAME.Ext"}, {L"name", L"name.ext2"}},
        {L"", {L""}, {L"a"}},
    };
    for (auto const & row : rows)
    {
        for (wchar_t const * name : row.yes)
            EXPECT_TRUE(MatchesFilePattern(name, row.pattern)) << fs::path(name) << fs::path(row.pattern);
        for (wchar_t const * name : row.no)
            EXPECT_FALSE(MatchesFilePattern(name, row.pattern)) << fs::path(name) << fs::path(row.pattern);
    }
    // Nothing that grows faster than both lengths together.
    EXPECT_FALSE(MatchesFilePattern(std::wstring(255, L'a').c_str(), (std::wstring(120, L'*') + L"a*b").c_str()));
    std::wstring many;
    for (int i = 0; i < 100; ++i)
        many += L"*a";
    EXPECT_FALSE(MatchesFilePattern(std::wstring(255, L'a').c_str(), (many + L"b").c_str()));
}

TEST(Folder, ListsWhatMatchesAndFollowsNoLink)
{
    qvlib_test::TempFolder const folder;
    fs::create_directory(folder / "Sub");
    Touch(folder / "a.txt");
    Touch(folder / "B.TXT");
    fs::create_symlink(folder.Path(), folder / "loop");
    fs::create_symlink("nowhere", folder / "broken");
    std::wstring const root = qvlib::host::PlatformPath(folder.Path().string());
    std::set<std::string> const all{"./", "../", "Sub/", "a.txt", "B.TXT", "loop@", "broken@"};
    EXPECT_EQ(Names(root + L"\\*"), all);
    EXPECT_EQ(Names(folder.Path().wstring() + L"/*"), all);
    EXPECT_EQ(Names(folder.Path().wstring() + L"\\*"), all); // as joined by the library
    EXPECT_EQ(Names(root + L"\\*.txt"), (std::set<std::string>{"a.txt", "B.TXT"}));
    EXPECT_EQ(Names(root + L"\\sub"), (std::set<std::string>{"Sub/"}));
    EXPECT_EQ(Names(root + L"\\broken"), (std::set<std::string>{"broken@"}));
    for (std::wstring const & bad : {root + L"\\nothing", root + L"\\nothing\\*", root + L"\\", std::wstring()})
        EXPECT_EQ(Names(bad), (std::set<std::string>{"(failed)"}));
}

TEST(Folder, ALinkPutInAFoldersPlaceLeadsNobodyElsewhere)
{
    qvlib_test::TempFolder const folder;
    fs::create_directories(folder / "kept");
    fs::create_directories(folder / "outer/inner");
    Touch(folder / "kept/f");
    Touch(folder / "outer/inner/f");
    std::wstring const root = qvlib::host::PlatformPath(folder.Path().string());
    qvlib::host::NativeFolder outer, inner, none;
    qvlib::host::NativeFolder::Entry entry, file;
    ASSERT_EQ(outer.Open((root + L"\\outer\\*n*").c_str()), ERROR_SUCCESS);
    ASSERT_TRUE(outer.Next(entry) && entry.name == "inner");
    ASSERT_EQ(inner.Open(outer, entry), ERROR_SUCCESS);
    while (inner.Next(file) && file.name != "f")
    {
    }
    fs::rename(folder / "outer/inner", folder / "aside");
    fs::create_directory_symlink("../kept", folder / "outer/inner");
    EXPECT_EQ(inner.Remove(file), ERROR_SUCCESS); // of the folder that was opened
    EXPECT_NE(inner.Remove(file), ERROR_SUCCESS);
    EXPECT_NE(none.Open(outer, entry), ERROR_SUCCESS);
    EXPECT_NE(outer.Remove(entry), ERROR_SUCCESS); // it is no folder now
    EXPECT_TRUE(fs::exists(folder / "kept/f") && fs::is_empty(folder / "aside"));
    using AtLink = qvlib::host::NativeFolder::AtLink;
    for (std::wstring const & link : {root + L"\\outer\\inner\\*", (folder / "outer/inner").wstring() + L"/*"})
    {
        EXPECT_EQ(none.Open(link.c_str(), AtLink::Refuse), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(none.Open(link.c_str()), ERROR_SUCCESS);
    }
}

TEST(Folder, AnyNameOfTheSystemHasAPathThatLeadsToIt)
{
    qvlib_test::TempFolder const folder;
    std::wstring const root = qvlib::host::PlatformPath(folder.Path().string()) + L"\\";
    // Not UTF-8 at the start, inside and at the end; a surrogate's bytes; separators of the platform.
    for (std::string const name : {"\xFF", "a\xC3", "\x80\xC3\xA9\xE2\x82", "\xED\xA0\x80", "a\\b", "..\\x", "\\",
                                   "\xF0\x9F\x98\x80\xFF\\", "C:x"})
    {
        Touch(folder / name);
        std::wstring wide;
        qvlib::host::PlatformName(name, wide);
        EXPECT_EQ(wide.find(L'\\'), std::wstring::npos);
        EXPECT_EQ(qvlib::host::NativeName(wide), name);
        EXPECT_NE(DeleteFileW((root + wide).c_str()), FALSE);
        EXPECT_FALSE(fs::exists(folder / name));
    }
    // What is no character is not another file's name: neither the replacement character's nor one another's.
    std::set<std::string> names{"\xEF\xBF\xBD"};
    wchar_t const numbers[] = {0xD800,
                               0xDBFF,
                               0xDC00,
                               0xDC7F,
                               0xDD00,
                               0xDFFF,
                               0x110000,
                               0x7FFFFFFF,
                               static_cast<wchar_t>(0x80000000),
                               static_cast<wchar_t>(0xFFFFFFFF)};
    for (wchar_t const number : numbers)
        EXPECT_TRUE(names.insert(qvlib::host::NativeName({&number, 1})).second) << static_cast<unsigned>(number);
    EXPECT_EQ(names.count("\xED\xA0\x80"), 1U);
}

TEST(Folder, NamesAreMadeMovedAndRemoved)
{
    qvlib_test::TempFolder const folder;
    std::wstring const root = qvlib::host::PlatformPath(folder.Path().string()) + L"\\";
    auto const path = [&root](wchar_t const * name) { return root + name; };
    EXPECT_NE(CreateDirectoryW(path(L"a").c_str(), nullptr), FALSE);
    EXPECT_EQ(CreateDirectoryW(path(L"A").c_str(), nullptr), FALSE); // the same name to the platform
    for (wchar_t const * const bad : {L"x*", L"x?", L"x:y", L"x<", L"x>", L"x|", L"x\"", L"no\\x"})
        EXPECT_EQ(CreateDirectoryW(path(bad).c_str(), nullptr), FALSE);
    EXPECT_EQ(CreateDirectoryW(path(std::wstring(300, L'x').c_str()).c_str(), nullptr), FALSE);
    EXPECT_EQ(CreateDirectoryW(nullptr, nullptr), FALSE);

    Touch(folder / "f");
    Touch(folder / "g");
    EXPECT_EQ(MoveFileW(path(L"f").c_str(), path(L"g").c_str()), FALSE); // nothing is replaced
    EXPECT_EQ(MoveFileW(path(L"f").c_str(), path(L"a").c_str()), FALSE);
    fs::create_hard_link(folder / "f", folder / "twin");
    EXPECT_EQ(MoveFileW(path(L"f").c_str(), path(L"twin").c_str()), FALSE);
    EXPECT_NE(MoveFileW(path(L"f").c_str(), path(L"F").c_str()), FALSE); // but a name can change its case
    EXPECT_TRUE(fs::exists(folder / "F"));
    EXPECT_NE(MoveFileW(path(L"F").c_str(), path(L"a\\h").c_str()), FALSE);
    EXPECT_EQ(RemoveDirectoryW(path(L"a").c_str()), FALSE); // not empty
    EXPECT_EQ(DeleteFileW(path(L"a").c_str()), FALSE);
    EXPECT_EQ(DeleteFileW(path(L"g\\").c_str()), FALSE);
    EXPECT_EQ(RemoveDirectoryW(path(L"g").c_str()), FALSE);
    EXPECT_NE(DeleteFileW(path(L"a\\h").c_str()), FALSE);

    fs::create_directory_symlink(folder / "a", folder / "link");
    EXPECT_EQ(GetFileAttributesW(path(L"link").c_str()), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_NE(RemoveDirectoryW(path(L"link").c_str()), FALSE);
    EXPECT_TRUE(fs::is_directory(folder / "a"));
    EXPECT_NE(RemoveDirectoryW(path(L"a").c_str()), FALSE);
    EXPECT_EQ(GetFileAttributesW(path(L"a").c_str()), INVALID_FILE_ATTRIBUTES);
}
