#include "qvlib/FuzzyStringPattern.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace
{

using qvlib::CQVString;
using qvlib::FuzzyStringPattern;
using qvlib::SuffixAutomaton;
using qvlib::TLCompareNoCaseNoPlural;

/// The longest common substring by the plain table.
int Model(std::wstring const & pattern, std::wstring const & text)
{
    std::vector<int> runs(pattern.size() + 1, 0);
    int best = 0;
    for (wchar_t const c : text)
        for (std::size_t i = pattern.size(); i > 0; --i)
            best = std::max(best, runs[i] = pattern[i - 1] == c ? runs[i - 1] + 1 : 0);
    return best;
}

void ExpectAsModel(SuffixAutomaton const & index, std::wstring const & pattern, std::wstring const & text)
{
    int const longest = Model(pattern, text);
    ASSERT_EQ(index.LongestCommonSubstring(text.c_str()), longest);
    for (int length = -1; length <= static_cast<int>(pattern.size()) + 1; ++length)
        ASSERT_EQ(index.HasCommonSubstring(text.c_str(), length), longest >= length) << length;
}

std::wstring RandomText(std::mt19937 & random, std::size_t length, std::wstring const & alphabet)
{
    std::wstring text;
    while (text.size() < length)
        text += alphabet[random() % alphabet.size()];
    return text;
}

TEST(SuffixAutomaton, AgreesWithThePlainTableOnRandomTexts)
{
    std::mt19937 random(42);
    // The last alphabet has surrogates, characters beyond 16 bits and ones that no text should hold.
    for (std::wstring const & alphabet :
         {std::wstring(L"a"), std::wstring(L"ab"), std::wstring(L"abcdefgh "),
          std::wstring{L'a', 0xE9, 0x4E2D, 0xD800, 0xDC00, 0x1F600, 0x7FFFFFFF, static_cast<wchar_t>(0xFFFFFFFF)}})
        for (int round = 0; round < 150; ++round)
        {
            std::wstring const pattern = RandomText(random, random() % 40, alphabet);
            std::wstring text = RandomText(random, random() % 120, alphabet);
            for (int cut = 0; cut < 3 && !pattern.empty(); ++cut) // pieces of the pattern among the noise
                text.insert(random() % (text.size() + 1), pattern.substr(random() % pattern.size(), random() % 30));
            ASSERT_NO_FATAL_FAILURE(ExpectAsModel(SuffixAutomaton(pattern.c_str()), pattern, text)) << round;
        }
}

TEST(SuffixAutomaton, FindsARunAtEveryPlaceAndLength)
{
    std::wstring const pattern = L"0123456789abcdefghij";
    SuffixAutomaton const index(pattern.c_str());
    for (std::size_t length = 1; length <= pattern.size(); ++length)
        for (std::size_t at = 0; at < 60; ++at)
        {
            std::wstring text(at, L'-');
            text += pattern.substr(pattern.size() - length) + L"---";
            ASSERT_TRUE(index.HasCommonSubstring(text.c_str(), static_cast<int>(length))) << length << " at " << at;
            ASSERT_FALSE(index.HasCommonSubstring(text.c_str(), static_cast<int>(length) + 1))
                << length << " at " << at;
        }
}

TEST(SuffixAutomaton, LargePatternsWithManyCharactersAreWalkedByTheirLinks)
{
    std::mt19937 random(7);
    std::wstring alphabet;
    for (wchar_t c = 0x4E00; c < 0x4E00 + 200; ++c)
        alphabet += c;
    std::wstring pattern = RandomText(random, 600, alphabet + L"xyz");
    pattern += pattern.substr(100, 80) + L"!" + pattern.substr(300, 50);
    SuffixAutomaton const index(pattern.c_str());
    for (int round = 0; round < 5; ++round)
    {
        std::wstring text = RandomText(random, 50, alphabet + L"-") + pattern.substr(random() % 600, random() % 150);
        text += pattern.substr(random() % 600, 40);
        ASSERT_NO_FATAL_FAILURE(ExpectAsModel(index, pattern, text));
    }
}

TEST(SuffixAutomaton, EmptyAndNullTexts)
{
    for (wchar_t const * nothing : {static_cast<wchar_t const *>(L""), static_cast<wchar_t const *>(nullptr)})
    {
        EXPECT_EQ(SuffixAutomaton(L"abc").LongestCommonSubstring(nothing), 0);
        EXPECT_TRUE(SuffixAutomaton(L"abc").HasCommonSubstring(nothing, 0));
        EXPECT_FALSE(SuffixAutomaton(L"abc").HasCommonSubstring(nothing, 1));
        EXPECT_EQ(SuffixAutomaton(nothing).LongestCommonSubstring(L"abc"), 0);
    }
    EXPECT_TRUE(SuffixAutomaton(L"abc").HasCommonSubstring(L"x", std::numeric_limits<int>::min()));
    EXPECT_FALSE(SuffixAutomaton(L"abc").HasCommonSubstring(L"abc", std::numeric_limits<int>::max()));
}

TEST(SuffixAutomaton, BuildsInAFewAllocationsAndSearchesInNone)
{
    std::mt19937 random(3);
    for (std::size_t const length : {20U, 200U, 2000U})
    {
        std::wstring const pattern = RandomText(random, length, L"abcdefghijklmnopqrstuvwxyz");
        qvlib_test::AllocationCount const building;
        SuffixAutomaton const index(pattern.c_str());
        EXPECT_LT(building.Value(), 16U) << length;
        qvlib_test::AllocationCount const searching;
        index.HasCommonSubstring(pattern.c_str() + 1, static_cast<int>(length));
        index.LongestCommonSubstring(pattern.c_str() + 1);
        EXPECT_EQ(searching.Value(), 0U);
    }
    qvlib_test::SweepAllocations([] { SuffixAutomaton(L"mississippi").LongestCommonSubstring(L"miss"); });
}

TEST(SuffixAutomaton, TakesLongPatternsAndTexts)
{
    // One letter makes the deepest chain of links; as many letters as characters make the widest root.
    constexpr std::size_t kMany = 300'000;
    std::wstring const deep(kMany, L'a');
    std::wstring wide;
    for (std::size_t i = 0; i < kMany; ++i)
        wide += static_cast<wchar_t>(0x100 + i);
    std::wstring broken = deep;
    for (std::size_t i = 1000; i < kMany; i += 1001)
        broken[i] = L'b';
    EXPECT_EQ(SuffixAutomaton(deep.c_str()).LongestCommonSubstring(broken.c_str()), 1000);
    EXPECT_FALSE(SuffixAutomaton(deep.c_str()).HasCommonSubstring(broken.c_str(), 1001));
    EXPECT_TRUE(SuffixAutomaton(wide.c_str()).HasCommonSubstring(wide.c_str(), static_cast<int>(kMany)));
    EXPECT_EQ(SuffixAutomaton(wide.c_str()).LongestCommonSubstring(wide.c_str() + 10), static_cast<int>(kMany) - 10);
}

TEST(FuzzyStringPattern, MatchesTheThresholdsPartOfThePattern)
{
    FuzzyStringPattern const symbol(L"SYMBOL", 0.5);
    EXPECT_TRUE(symbol.Match(L"MBO"));
    EXPECT_TRUE(symbol.Match(L"xxBOLxx"));
    EXPECT_FALSE(symbol.Match(L"SYxMBxOL"));
    EXPECT_FALSE(symbol.Match(L"symbol")) << "case matters";
    EXPECT_TRUE(FuzzyStringPattern(L"abcde", 0.5).Match(L"-bc-")) << "2.5 is cut to 2";
    EXPECT_TRUE(FuzzyStringPattern(L"abc", 1.0).Match(L"xabcx"));
    EXPECT_FALSE(FuzzyStringPattern(L"abc", 1.0).Match(L"abxbc"));
}

TEST(FuzzyStringPattern, ThresholdsBesideTheRange)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (double const never : {1.5, 1e300, kInfinity})
    {
        EXPECT_FALSE(FuzzyStringPattern(L"abc", never).Match(L"abcabc")) << never;
        EXPECT_TRUE(FuzzyStringPattern(L"", never).Match(L"x")) << never;
    }
    for (double const always : {0.0, -1.0, -1e300, -kInfinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(FuzzyStringPattern(L"abc", always).Match(L"")) << always;
}

TEST(FuzzyStringPattern, APatternThatWasNeverSetMatchesNothing)
{
    FuzzyStringPattern const none;
    EXPECT_FALSE(none.Match(L""));
    EXPECT_FALSE(none.Match(L"abc"));
    FuzzyStringPattern const copy(none);
    EXPECT_TRUE(copy.Match(L"abc")) << "a copy has an index of its own";

    FuzzyStringPattern set;
    set.SetPattern(L"");
    EXPECT_FALSE(set.Match(L"abc")) << "an equal pattern changes nothing";
    set.SetPattern(L"xyz");
    EXPECT_TRUE(set.Match(L"abc")) << "the threshold is 0";
}

TEST(FuzzyStringPattern, CopiesMovesAndNewPatterns)
{
    FuzzyStringPattern first(L"kitten", 0.5);
    FuzzyStringPattern const copy(first);
    FuzzyStringPattern moved(std::move(first));
    EXPECT_TRUE(copy.Match(L"itt"));
    EXPECT_TRUE(moved.Match(L"itt"));
    EXPECT_FALSE(first.Match(L"itt")); // NOLINT: what is left behind is told
    EXPECT_EQ(first.GetPattern(), L"");
    first.SetPattern(L"dog");
    EXPECT_FALSE(first.Match(L"do")) << "the threshold left behind is 1, not 0";
    EXPECT_TRUE(first.Match(L"hotdog"));

    moved.SetPattern(L"mouse");
    EXPECT_EQ(moved.GetPattern(), L"mouse");
    EXPECT_TRUE(moved.Match(L"us"));
    EXPECT_FALSE(moved.Match(L"itt"));
    moved = copy;
    EXPECT_TRUE(moved.Match(L"itt"));
    moved = static_cast<FuzzyStringPattern &>(moved);
    EXPECT_TRUE(moved.Match(L"itt"));
}

TEST(FuzzyStringPattern, CountsThePatternBehindItsNulButSearchesUpToIt)
{
    FuzzyStringPattern const half(CQVString(L"abc\0def", 7), 0.5);
    EXPECT_TRUE(half.Match(L"abc"));
    EXPECT_FALSE(half.Match(L"def"));
    EXPECT_FALSE(FuzzyStringPattern(CQVString(L"abc\0def", 7), 1.0).Match(L"abcdef"));
}

TEST(FuzzyStringPattern, AFailedSetPatternChangesNothing)
{
    FuzzyStringPattern pattern(L"kitten", 0.5);
    CQVString const other(L"mouse");
    qvlib_test::SweepAllocations(
        [&]
        {
            FuzzyStringPattern copy(pattern);
            copy.SetPattern(other);
        });
    {
        qvlib_test::FailingAllocation const failing(1);
        EXPECT_THROW(pattern.SetPattern(other), std::bad_alloc);
    }
    EXPECT_EQ(pattern.GetPattern(), L"kitten");
    EXPECT_TRUE(pattern.Match(L"itt"));
}

TEST(CompareNoCaseNoPlural, IgnoresCaseAndOnePluralLetter)
{
    for (auto const & [a, b, equal] :
         std::vector<std::tuple<std::wstring, std::wstring, bool>>{{L"Order", L"ORDERS", true},
                                                                   {L"order", L"Order", true},
                                                                   {L"Order", L"Orders2", false},
                                                                   {L"Order", L"Ordered", false},
                                                                   {L"Order", L"OrderZ", false},
                                                                   {L"Order", L"Ardent", false},
                                                                   {L"Order", L"Ardents", false},
                                                                   {L"Box", L"Boxes", false},
                                                                   {L"s", L"", false},
                                                                   {L"", L"", false},
                                                                   {L"s", L"ss", true},
                                                                   {L"\u00C9t", L"\u00E9t", false}})
    {
        EXPECT_EQ(TLCompareNoCaseNoPlural(a, b), equal) << testing::PrintToString(a) << testing::PrintToString(b);
        EXPECT_EQ(TLCompareNoCaseNoPlural(b, a), equal) << testing::PrintToString(a) << testing::PrintToString(b);
    }
}

} // namespace
