#include "qvlib/SimpleTokenizer.h"
#include "qvlib/StringMatcher.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::CQVString;
using qvlib::CSimpleTokenizer;
using qvlib::StringMatcher;

std::wstring Current(CSimpleTokenizer const & tokens) { return std::wstring(tokens.GetCurToken().View()); }

TEST(SimpleTokenizer, StepsOverTheWholeDelimiter)
{
    CSimpleTokenizer tokens(CQVString(L"  one => two=>three "));
    EXPECT_TRUE(tokens.eof()) << "before the first move";
    EXPECT_FALSE(tokens.MoveNextToken(L"=>")) << "before the first move";
    EXPECT_TRUE(tokens.MoveFirstToken(L"=>"));
    EXPECT_EQ(Current(tokens), L"one ") << "white space behind a token is part of it";
    EXPECT_EQ(tokens.GetCurPositionIndex(), 8U);
    EXPECT_TRUE(tokens.MoveNextToken(L"=>"));
    EXPECT_EQ(Current(tokens), L"two");
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    EXPECT_TRUE(tokens.GetNextToken(L'!', token, length));
    EXPECT_EQ(std::wstring(token, length), L"three ");
    EXPECT_TRUE(tokens.eof());
    EXPECT_FALSE(tokens.MoveNextToken(L"=>"));
    EXPECT_EQ(Current(tokens), L"three ") << "at the end the token stays";
    EXPECT_EQ(tokens.GetCurPosition(), tokens.GetFirstPosition() + 20);
}

TEST(SimpleTokenizer, OnlyEofTellsAnEmptyFieldFromTheEnd)
{
    CSimpleTokenizer tokens(CQVString(L"a,,b"));
    CQVString token(L"kept");
    EXPECT_TRUE(tokens.GetFirstToken(L',', token));
    EXPECT_FALSE(tokens.GetNextToken(L',', token));
    EXPECT_EQ(token, L"a");
    EXPECT_FALSE(tokens.eof());
    EXPECT_FALSE(tokens.GetCurToken(token));
    EXPECT_TRUE(tokens.GetNextToken(L',', token));
    EXPECT_EQ(token, L"b");
    EXPECT_TRUE(tokens.eof());
    tokens.SetString(CQVString());
    EXPECT_FALSE(tokens.MoveFirstToken(L','));
}

TEST(SimpleTokenizer, CaseOfTheDelimiter)
{
    CSimpleTokenizer tokens(CQVString(L"1 AND 2"));
    EXPECT_TRUE(tokens.MoveFirstToken(L"and"));
    EXPECT_EQ(Current(tokens), L"1 AND 2");
    EXPECT_TRUE(tokens.GetCaseSensitive());
    tokens.SetCaseSensitive(false);
    EXPECT_TRUE(tokens.MoveFirstToken(L"and"));
    EXPECT_EQ(Current(tokens), L"1 ");
}

TEST(SimpleTokenizer, ACopyWalksOnWhenTheOriginalIsGone)
{
    CSimpleTokenizer copy;
    {
        CSimpleTokenizer tokens(CQVString(L"first;second;third"));
        tokens.MoveFirstToken(L';');
        copy = std::move(tokens);
        EXPECT_EQ(Current(tokens), L"first");
    }
    EXPECT_EQ(Current(copy), L"first");
    EXPECT_TRUE(copy.MoveNextToken(L';'));
    EXPECT_EQ(Current(copy), L"second");
}

TEST(StringMatcher, ThePrefixIsTheArgument)
{
    EXPECT_TRUE(StringMatcher(L"abc").StartsWith(L"ab"));
    EXPECT_FALSE(StringMatcher(L"ab").StartsWith(L"abc"));
    EXPECT_TRUE(StringMatcher(L"abc").StartsWith(L""));
    EXPECT_FALSE(StringMatcher(L"abc").StartsWith(static_cast<wchar_t const *>(nullptr)));
    EXPECT_TRUE(StringMatcher(L"abc").StartsWith(CQVString(L"abc")));
    EXPECT_FALSE(StringMatcher(L"abc").StartsWith(CQVString(L"abcd")));
    EXPECT_FALSE(StringMatcher(L"abc").StartsWith(CQVString(L"B")));
}

} // namespace
