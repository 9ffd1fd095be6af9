#include "qvlib/TextFunctions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

using namespace qvlib;

TEST(TextFunctions, CopiesNeverOverrun)
{
    CQVString const text(L"abcdef");
    for (unsigned long capacity = 0; capacity <= 8; ++capacity)
    {
        std::vector<wchar_t> wide(capacity + 1, L'#');
        TLCopyStringToBuffer(wide.data(), capacity, text);
        EXPECT_EQ(L'#', wide[capacity]);
        std::vector<char> narrow(capacity + 1, '#');
        TLCopyStringToBufferA(narrow.data(), capacity, text);
        EXPECT_EQ('#', narrow[capacity]);
        if (capacity != 0)
        {
            std::wstring const expected = std::wstring(L"abcdef").substr(0, capacity - 1);
            EXPECT_EQ(expected, wide.data());
            EXPECT_EQ(std::string(expected.begin(), expected.end()), narrow.data());
        }
    }
}

// Kept on purpose: the length test counts wide characters, so this text passes it and is then refused.
TEST(TextFunctions, TextWhoseBytesDoNotFitLeavesAnEmptyText)
{
    char buffer[5] = "####";
    TLCopyStringToBufferA(buffer, 4, L"\x20AC\x20AC");
    EXPECT_STREQ("", buffer);
    EXPECT_EQ('\0', buffer[4]);
    TLCopyStringToBufferA(buffer, 4, L"\x20AC");
    EXPECT_STREQ("\xE2\x82\xAC", buffer);
}

TEST(TextFunctions, FindString)
{
    wchar_t const text[] = L"one\0Two two";
    EXPECT_EQ(text + 8, TLFindString(text, 11, L"two", 3));
    EXPECT_EQ(text + 4, TLFindStringNoCase(text, 11, L"tWO", 3));
    EXPECT_EQ(text + 3, TLFindString(text, 11, L"\0T", 2));
    EXPECT_EQ(nullptr, TLFindString(text, 10, L"two", 3));
    EXPECT_EQ(nullptr, TLFindString(text, 11, L"", 0));
    EXPECT_EQ(nullptr, TLFindString(text, 0, L"o", 1));
    EXPECT_EQ(nullptr, TLFindStringNoCase(text, 2, L"one", 3));
    EXPECT_EQ(nullptr, TLFindStringNoCase(L"\xC4", 1, L"\xE4", 1)) << "letters fold by ASCII";
}

TEST(TextFunctions, WhiteSpace)
{
    wchar_t const * text = L" \t\x3000\x00A0x ";
    TLSkipWhiteSpaces(text);
    EXPECT_STREQ(L"x ", text);
    text = L"  ";
    TLSkipWhiteSpaces(text);
    EXPECT_STREQ(L"", text);
    text = nullptr;
    TLSkipWhiteSpaces(text);
    EXPECT_EQ(nullptr, text);
    // These know ASCII's blanks alone.
    std::wstring both = L" \n a b\x3000 ";
    EXPECT_EQ(&both, &trim(both));
    EXPECT_EQ(L"a b\x3000", both);
    std::wstring left = L"  a ";
    EXPECT_EQ(L"a ", ltrim(left));
    EXPECT_EQ(L"a", rtrim(left));
    std::wstring blank = L" \t ";
    EXPECT_EQ(L"", trim(blank));
}

TEST(TextFunctions, DefaultsAndReserve)
{
    EXPECT_EQ(&TLStringDefault(), &TLStringDefault());
    EXPECT_TRUE(TLStringDefault().IsEmpty());
    EXPECT_TRUE(TLStdWStringDefault().empty());
    EXPECT_STREQ("", TLStringOrEmpty(static_cast<char const *>(nullptr)));
    EXPECT_STREQ(L"", TLStringOrEmpty(static_cast<wchar_t const *>(nullptr)));
    wchar_t const * const text = L"x";
    EXPECT_EQ(text, TLStringOrEmpty(text));
    CQVString reserved(L"keep");
    TLReserveStringBuffer(reserved, 500);
    EXPECT_STREQ(L"keep", reserved.GetString());
    EXPECT_GE(reserved.GetAllocLength(), 500);
}

} // namespace
