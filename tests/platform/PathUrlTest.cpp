#include "qvlib/PathUrl.h"

#include "qvlib/host/path.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using qvlib::CPathUrl;
using qvlib::CQVString;

namespace
{

CPathUrl Url(std::wstring const & text) { return CPathUrl(CQVString(text)); }

std::vector<std::wstring> Nodes(wchar_t const * text)
{
    std::vector<std::wstring> nodes;
    CPathUrl const url = Url(text);
    for (POSITION at = url.GetFirstNodePosition(); at != nullptr && nodes.size() < 100;)
        nodes.emplace_back(url.GetNextNodePosition(at).GetString());
    return nodes;
}

} // namespace

TEST(PathUrl, PiecesOfAPath)
{
    CPathUrl const url = Url(L"C:\\a\\b.txt");
    EXPECT_EQ(url.GetDrive(), L"C:");
    EXPECT_EQ(url.GetDirectory(), L"\\a\\");
    EXPECT_EQ(url.GetName(), L"b");
    EXPECT_EQ(url.GetExtension(), L".txt");
    EXPECT_EQ(url.GetFileName(), L"b.txt");
    EXPECT_EQ(url.GetFilePath(), L"C:\\a\\");
    EXPECT_EQ(url.GetParentUrl().GetUrl(), L"C:\\a");
    EXPECT_TRUE(url.HasDrive());
    EXPECT_FALSE(Url(L"\\a").HasDrive());
    EXPECT_TRUE(Url(L"a").GetParentUrl().IsEmpty());

    CQVString name(L"old");
    qvlib::TLSplitPath(L"a\\b.c", nullptr, nullptr, &name, nullptr);
    EXPECT_EQ(name, L"b");
    qvlib::TLSplitPath(std::wstring(300, L'n').c_str(), nullptr, nullptr, &name, nullptr);
    EXPECT_TRUE(name.IsEmpty());
    EXPECT_TRUE(Url(std::wstring(300, L'n')).GetFileName().IsEmpty());
}

TEST(PathUrl, WideStringsKeepTheirCapacity)
{
    std::wstring drive, extension;
    qvlib::TLSplitPath(std::wstring(L"C:\\a.b"), &drive, nullptr, nullptr, &extension);
    EXPECT_EQ(drive, std::wstring(L"C:\0", 3));
    EXPECT_EQ(extension.size(), 256U);
    EXPECT_STREQ(extension.c_str(), L".b");
    EXPECT_EQ(qvlib::TLGetDrive(std::wstring(L"a")), std::wstring(3, L'\0'));
    EXPECT_EQ(qvlib::TLGetDirectory(std::wstring(400, L'\\')), std::wstring(256, L'\0'));
    // What is padded can be joined again.
    std::wstring const path =
        qvlib::TLMakePath(drive, std::wstring(), qvlib::TLGetFileName(std::wstring(L"x.y")), extension);
    EXPECT_EQ(path.size(), 260U);
    EXPECT_STREQ(path.c_str(), L"C:x.b");
}

TEST(PathUrl, ComparesWithoutCaseAndAssignsThroughConst)
{
    CPathUrl const url = Url(L"a");
    EXPECT_TRUE(url == Url(L"A"));
    EXPECT_TRUE(url == L"A");
    EXPECT_TRUE(url != CQVString(L"b"));
    EXPECT_TRUE(url < L"B");
    EXPECT_FALSE(url < L"A");
    CPathUrl const copy = url = L"x\\y"; // kept on purpose: assignment is const and gives a copy
    EXPECT_EQ(url.GetUrl(), L"x\\y");
    EXPECT_EQ(copy.GetUrl(), L"x\\y");
    static_assert(std::is_same_v<decltype(url = copy), CPathUrl>);
}

TEST(PathUrl, GrowsByNodesAndExtensions)
{
    CPathUrl url = Url(L"C:\\a");
    EXPECT_TRUE(url.AddChild(L"b"));
    EXPECT_EQ(url.GetUrl(), L"C:\\a\\b");
    EXPECT_TRUE(url.AddExtension(L"txt"));
    EXPECT_EQ(url.GetUrl(), L"C:\\a\\b.txt");
    EXPECT_FALSE(url.AddChild(L"x?"));
    EXPECT_FALSE(url.AddChild(std::wstring(260, L'x').c_str())); // too long: nothing is left
    EXPECT_TRUE(url.IsEmpty());
}

TEST(PathUrl, NodesOfEveryForm)
{
    using List = std::vector<std::wstring>;
    EXPECT_EQ(Nodes(L"C:\\a\\b"), (List{L"C:", L"a", L"b"}));
    EXPECT_EQ(Nodes(L""), List{});
    EXPECT_EQ(Nodes(L"a"), List{L"a"});
    EXPECT_EQ(Nodes(L"a\\"), List{L"a"});
    EXPECT_EQ(Nodes(L"\\"), List{L""});
    EXPECT_EQ(Nodes(L"\\a\\\\b\\"), (List{L"", L"a", L"", L"b"}));
    CPathUrl const url = Url(L"ab\\c");
    for (UINT_PTR const outside : {UINT_PTR{0}, UINT_PTR{4}, UINT_PTR{0x7FFFFFFF}, UINT_PTR{0x80000000}})
    {
        POSITION at = reinterpret_cast<POSITION>(outside);
        EXPECT_EQ(url.GetNextNodePosition(at), L"ab");
        EXPECT_EQ(url.GetNextNodePosition(at), L"c");
        EXPECT_EQ(at, nullptr);
    }
}

TEST(PathUrl, ValidTexts)
{
    for (wchar_t const * const valid :
         {L"C:\\a\\b", L"C:", L"a", L"a\\b", L"a\\", L"\\\\a", L"\\", L"C:\\a b.c", L"*:\\a"})
        EXPECT_TRUE(Url(valid).IsValid()) << std::filesystem::path(valid);
    for (wchar_t const * const bad : {L"", L"a/b", L"C:\\a*b", L"a?", L"a\\b:c", L"a\"", L"<", L">", L"a|b", L"CC:\\a"})
        EXPECT_FALSE(Url(bad).IsValid()) << std::filesystem::path(bad);
}

TEST(PathUrl, ExistsForFilesAndDirectories)
{
    qvlib_test::TempFolder const folder;
    std::filesystem::create_directory(folder / "Sub");
    std::filesystem::create_symlink("nowhere", folder / "broken");
    CPathUrl const url = Url(qvlib::host::PlatformPath(folder.Path().string()));
    EXPECT_TRUE(url.Exists());
    EXPECT_TRUE(url.Exists(L"sub"));
    EXPECT_FALSE(url.Exists(L"broken"));
    EXPECT_FALSE(url.Exists(L"none"));
    EXPECT_FALSE(CPathUrl().Exists());
}
