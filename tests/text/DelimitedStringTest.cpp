#include "qvlib/DelimitedString.h"

#include "ListModel.h"

#include "qvlib/framework/collections.h"
#include "qvlib/host/crt.h"

#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <random>

namespace
{

using list_model::Model;
using qvlib::CDelimitedString;
using qvlib::CQVString;
using qvlib::FindTraits;
using qvlib::SortingTraits;

constexpr unsigned long kNone = 0xFFFFFFFFUL;
constexpr FindTraits kExact{true, true, true};
constexpr FindTraits kAnyCase{false, false, false};

std::wstring Text(CQVString const & text) { return std::wstring(text.View()); }
CDelimitedString List(wchar_t const * text, wchar_t delimiter = L',') { return {CQVString(text), delimiter}; }

TEST(DelimitedString, AssigningTextMakesACommaListWhateverTheDelimiterWas)
{
    CDelimitedString list(L';');
    list.AddToken(L"a");
    list.AddToken(L"b");
    EXPECT_EQ(Text(list), L"a;b");
    CDelimitedString const copy(list);
    EXPECT_EQ(copy.GetDelimiter(), L';');
    list = CQVString(L"x,y");
    EXPECT_EQ(list.GetDelimiter(), L',');
    EXPECT_EQ(list.GetTokenCount(), 2U);
    list = copy;
    EXPECT_EQ(list.GetDelimiter(), L';');
    list.SetDelimiter(L'#');
    EXPECT_EQ(Text(list.GetTokenAt(0)), L"a;b") << "old delimiters are plain characters now";
}

TEST(DelimitedString, EmptyTokensAreNeverAdded)
{
    CDelimitedString list = List(L"a");
    list.AddToken(L"");
    list.AddToken(L"xyz", 0);
    list.AddToken(nullptr, kNone);
    list += CQVString();
    EXPECT_FALSE(list.AddToken(L"", SortingTraits{true, true, true}));
    EXPECT_EQ(Text(list), L"a");
    list.AddToken(L'b');
    list += CQVString(L"c");
    list.AddToken(L"defg", 2);
    list.AddToken(L"h", ~0UL);
    EXPECT_EQ(Text(list), L"a,b,c,de,h");
    list.AddStrings({CQVString(L"i"), CQVString(), CQVString(L"j")});
    CStringArray more;
    more.Add(L"k");
    list.AddStrings(more);
    EXPECT_EQ(Text(list), L"a,b,c,de,h,i,j,k");
}

TEST(DelimitedString, ArgumentsMayLieInTheListItself)
{
    CDelimitedString list = List(L"first,second");
    list.AddToken(list.GetString() + 6, 6);
    list.AddToken(list);
    EXPECT_EQ(Text(list), L"first,second,second,first,second,second");
    list = CQVString(L"ab,cd,ef");
    EXPECT_TRUE(list.InsertTokenAt(0, list.GetString() + 6, 2));
    EXPECT_EQ(Text(list), L"ef,ab,cd,ef");
    EXPECT_TRUE(list.ReplaceTokenAt(0, list.GetString() + 3, 2));
    EXPECT_EQ(Text(list), L"ab,ab,cd,ef");
    EXPECT_FALSE(list.Merge(list));
    EXPECT_TRUE(list.RemoveToken(list.GetString() + 6, 2));
    EXPECT_EQ(Text(list), L"ab,ab,ef");
}

TEST(DelimitedString, TheIterationFormsAgree)
{
    CDelimitedString const list = List(L" a ,, b ,\t,c,");
    std::vector<std::wstring> const withEmpty{L"a", L"", L"b", L"", L"c"};
    std::vector<std::wstring> const tokens{L"a", L"b", L"c"};
    for (bool const skipEmpty : {true, false})
    {
        std::vector<std::wstring> byMember;
        std::vector<std::wstring> byPointer;
        std::vector<std::wstring> byString;
        std::vector<std::wstring> byCursor;
        wchar_t const * token = nullptr;
        unsigned long length = 0;
        for (POSITION at = list.GetFirstTokenPosition(); list.GetNextToken(at, token, length, skipEmpty);)
            byMember.emplace_back(token, length);
        for (POSITION at = list.GetFirstTokenPosition(); (token = list.GetNextToken(at, length, skipEmpty)) != nullptr;)
            byPointer.emplace_back(token, length);
        for (POSITION at = list.GetFirstTokenPosition(); at != nullptr;)
            byString.push_back(Text(list.GetNextToken(at, skipEmpty)));
        for (wchar_t const * at = list; CDelimitedString::GetNextToken(at, token, length, L',', skipEmpty);)
            byCursor.emplace_back(token, length);
        auto const & wanted = skipEmpty ? tokens : withEmpty;
        EXPECT_EQ(byMember, wanted);
        EXPECT_EQ(byPointer, wanted);
        EXPECT_EQ(byString, wanted);
        EXPECT_EQ(byCursor, wanted);
        EXPECT_EQ(list.GetTokenCount(skipEmpty), wanted.size());
        std::vector<CQVString> strings(1);
        list.GetStrings(strings, skipEmpty);
        EXPECT_EQ(strings.size(), 1 + wanted.size()) << "appended";
    }
    CQVString out(L"kept");
    POSITION at = nullptr;
    EXPECT_EQ(Text(list.GetNextToken(at, out)), L"kept");
    EXPECT_EQ(CDelimitedString().GetFirstTokenPosition(), nullptr);
    at = reinterpret_cast<POSITION>(UINT_PTR{1000});
    EXPECT_EQ(Text(list.GetNextToken(at)), L"") << "a position past the end finds nothing";
    EXPECT_EQ(at, nullptr);
    wchar_t const * nowhere = nullptr;
    unsigned long length = 7;
    EXPECT_FALSE(CDelimitedString::GetNextToken(nowhere, nowhere, length, L',', true));
    EXPECT_EQ(length, 7U);
}

TEST(DelimitedString, ADelimiterThatIsABlankStillDelimits)
{
    CDelimitedString list = List(L"a  b\t c", L' ');
    EXPECT_EQ(list.GetTokenCount(), 3U);
    EXPECT_EQ(list.GetTokenCount(false), 4U);
    EXPECT_FALSE(list.IsWhiteSpace(L' '));
    EXPECT_TRUE(list.IsWhiteSpace(L'\t'));
    EXPECT_EQ(Text(list.Trim()), L"a  b c");
}

TEST(DelimitedString, WhiteSpaceIsWhatTheRunTimeLibraryTakesForIt)
{
    for (int c = 1; c < 0x3100; ++c)
        ASSERT_EQ(CDelimitedString::IsWhiteSpace(static_cast<wchar_t>(c), L','), qvlib::host::iswspace(c)) << c;
}

TEST(DelimitedString, InsertingRebuildsTheList)
{
    CDelimitedString list = List(L" a ,, b ");
    EXPECT_FALSE(list.InsertTokenAt(3, L"x"));
    EXPECT_EQ(Text(list), L" a ,, b ") << "nothing changed";
    EXPECT_TRUE(list.InsertTokenAt(2, L"x"));
    EXPECT_EQ(Text(list), L"a,b,x");
    EXPECT_TRUE(list.ReplaceTokenAt(1, L"y"));
    EXPECT_EQ(Text(list), L"a,y,x");
    EXPECT_FALSE(list.ReplaceTokenAt(3, L"z"));
    EXPECT_TRUE(list.RemoveTokenAt(0));
    EXPECT_FALSE(list.RemoveTokenAt(2));
    EXPECT_EQ(Text(list), L"y,x");
}

TEST(DelimitedString, SearchWantsWholeTokens)
{
    CDelimitedString const list = List(L"a b,c , De");
    EXPECT_FALSE(list.HasToken(L"b"));
    EXPECT_TRUE(list.HasToken(L" c"));
    EXPECT_EQ(list.FindToken(L" c"), kNone) << "FindToken does not trim what it looks for";
    EXPECT_EQ(list.FindToken(L"c"), 1U);
    EXPECT_EQ(list.FindToken(L"de"), kNone);
    EXPECT_EQ(list.FindTokenNoCase(L"de"), 2U);
    EXPECT_EQ(list.FindToken(kAnyCase, L"de"), 2U);
    EXPECT_TRUE(list.HasToken(kAnyCase, L"dE"));
    EXPECT_EQ(list.FindTokenPosition(L"De"), 8U);
    EXPECT_EQ(CDelimitedString::FindTokenPosition(list, kNone, L"c , De", kNone, L',', true), 4U)
        << "what holds the delimiter is found as a part of the text";
    EXPECT_EQ(CDelimitedString::FindTokenPosition(L"xa,a,a", kNone, L"a,a", kNone, L',', true), kNone)
        << "the search goes on behind a hit that does not count";
    EXPECT_EQ(list.FindTokenPosition(L"  "), kNone);
}

TEST(DelimitedString, RemovingTakesOneDelimiter)
{
    auto const removed = [](wchar_t const * text, unsigned long position, unsigned long length)
    {
        CDelimitedString list = List(text);
        std::wstring const result = list.RemoveTokenAtPosition(position, length) ? L"+" : L"-";
        return result + Text(list);
    };
    EXPECT_EQ(removed(L"a,b,c", 2, kNone), L"+a,c");
    EXPECT_EQ(removed(L"a, b ,c", 3, 1), L"+a,c");
    EXPECT_EQ(removed(L"a,b", 2, 1), L"+a");
    EXPECT_EQ(removed(L"a", 0, 1), L"+");
    EXPECT_EQ(removed(L"a,b,", 2, 1), L"+a,");
    EXPECT_EQ(removed(L"abc,d", 1, 1), L"-abc,d") << "inside a token";
    EXPECT_EQ(removed(L"abc,d", 0, 2), L"-abc,d") << "only a part of the token";
    EXPECT_EQ(removed(L"a,b", 2, 99), L"+a") << "clipped to the end";
    EXPECT_EQ(removed(L"a,b", 3, 1), L"-a,b");
    CDelimitedString list = List(L"A,b");
    EXPECT_FALSE(list.RemoveToken(L"a"));
    EXPECT_TRUE(list.RemoveToken(kAnyCase, L"a"));
    EXPECT_EQ(Text(list), L"b");
}

TEST(DelimitedString, RemoveDuplicateTokensTakesOneLaterTwinATokenOnly)
{
    auto const removed = [](wchar_t const * text)
    {
        CDelimitedString list = List(text);
        list.RemoveDuplicateTokens(kExact);
        return Text(list);
    };
    EXPECT_EQ(removed(L"a,a,a"), L"a,a") << "one later duplicate a token";
    EXPECT_EQ(removed(L"a,a,a,a,a"), L"a,a,a");
    EXPECT_EQ(removed(L"a, b ,a,, b,"), L"a, b ,,");
}

TEST(DelimitedString, IncludesFoldsTheSidesThatAreNotKept)
{
    CDelimitedString const list = List(L"Red,Green");
    EXPECT_TRUE(list.Includes(CQVString(L"Green")));
    EXPECT_FALSE(list.Includes(CQVString(L"green")));
    EXPECT_TRUE(list.Includes(CQVString(L"green"), {false, false, false}));
    EXPECT_TRUE(list.Includes(CQVString(L"green"), {false, false, true}));
    EXPECT_FALSE(list.Includes(CQVString(L"Green"), {false, false, true}));
    EXPECT_FALSE(list.Includes(CQVString(L"Green"), {false, true, false}));
    EXPECT_TRUE(list.Includes(list, {false, true, false})) << "the same object";
    EXPECT_FALSE(list.Includes(CQVString(L"Red,Green,"))) << "the shorter text includes nothing longer";
    EXPECT_FALSE(CDelimitedString::Includes(L"a", kNone, L"a,", kNone, L','));
}

TEST(DelimitedString, ShapeTests)
{
    for (wchar_t const * text : {L"", L"a,", L",a", L"a,,b"})
        EXPECT_TRUE(List(text).IsValid()) << text;
    for (wchar_t const * text : {L"a, ,", L"   ", L",", L"a,,"})
        EXPECT_FALSE(List(text).IsValid()) << text;
    EXPECT_EQ(Text(List(L"  a , ,b ,").Trim()), L"a,,b,");
    EXPECT_EQ(Text(List(L" \t ").Trim()), L"");
    CDelimitedString list = List(L",a");
    EXPECT_FALSE(list.Trimmed());
    EXPECT_EQ(Text(list.Trim()), L",a") << "a delimiter at an end stays";
}

TEST(DelimitedString, MergeIntoAnEmptyListTakesTheTextAsItIs)
{
    CDelimitedString list(L';');
    EXPECT_TRUE(list.Merge(CQVString(L"b,a,b")));
    EXPECT_EQ(Text(list), L"b,a,b");
    EXPECT_EQ(list.GetDelimiter(), L',');
    EXPECT_FALSE(CDelimitedString().Merge(CQVString()));
}

/// Compares every operation with the literal rules on lists made of few letters, blanks and delimiters.
void CompareWithModel(std::wstring const & text, std::wstring const & other, std::mt19937 & random)
{
    SCOPED_TRACE(testing::Message() << "list \"" << text << "\" other \"" << other << "\"");
    Model const model{text, L','};
    CDelimitedString const list = List(text.c_str());
    CQVString const argument(other.c_str());
    std::size_t const index = random() % 5;
    bool const ascending = random() % 2 != 0;
    bool const sensitive = random() % 2 != 0;
    bool const duplicates = random() % 2 != 0;
    SortingTraits const sorting{ascending, sensitive, duplicates};
    FindTraits const finding{sensitive, true, false};
    auto const same = [&](auto && change, auto && modelChange)
    {
        CDelimitedString changed = list;
        Model changedModel = model;
        ASSERT_EQ(change(changed), modelChange(changedModel));
        ASSERT_EQ(Text(changed), changedModel.text);
        ASSERT_EQ(changed.GetDelimiter(), changedModel.delimiter);
    };

    for (bool const skipEmpty : {true, false})
    {
        std::vector<CQVString> strings;
        list.GetStrings(strings, skipEmpty);
        std::vector<std::wstring> tokens;
        for (CQVString const & token : strings)
            tokens.push_back(Text(token));
        ASSERT_EQ(tokens, model.Tokens(skipEmpty));
    }
    ASSERT_EQ(list.GetTokenCount(), model.Tokens().size());
    ASSERT_EQ(sensitive ? list.FindToken(argument) : list.FindTokenNoCase(argument), model.Find(other, sensitive));
    ASSERT_EQ(list.FindTokenPosition(argument, sensitive), model.FindPosition(text, other, sensitive));
    ASSERT_EQ(list.HasDuplicateTokens(finding), model.HasDuplicates(sensitive));
    ASSERT_EQ(list.Includes(argument), model.Includes(other));
    ASSERT_EQ(list.IsValid(), model.IsValid());
    ASSERT_EQ(list.Trimmed(), model.IsTrimmed());
    same([&](auto & l) { return l.InsertTokenAt(index, argument); }, [&](auto & m) { return m.Insert(index, other); });
    same([&](auto & l) { return l.AddToken(argument, sorting); },
         [&](auto & m) { return m.AddSorted(other, ascending, sensitive, duplicates); });
    same([&](auto & l) { return l.Merge(argument); }, [&](auto & m) { return m.Merge(other); });
    same([&](auto & l) { return l.Merge(argument, sorting); },
         [&](auto & m) { return m.MergeSorted(other, ascending, sensitive, duplicates); });
    same([&](auto & l) { return l.RemoveToken(finding, argument); },
         [&](auto & m) { return m.Remove(other, sensitive); });
    same([&](auto & l) { return l.RemoveDuplicateTokens(finding); },
         [&](auto & m) { return m.RemoveDuplicates(sensitive); });
    for (unsigned long const length : {kNone, static_cast<unsigned long>(random() % 4)})
        same([&](auto & l) { return l.RemoveTokenAtPosition(index, length); },
             [&](auto & m) { return m.RemoveAtPosition(index, length); });
    same([&](auto & l) { return l.SortTokens(sorting), true; },
         [&](auto & m) { return m.Sort(ascending, sensitive, duplicates), true; });
    same([&](auto & l) { return l.Trim(), true; }, [&](auto & m) { return m.Trim(), true; });
}

TEST(DelimitedString, EveryOperationFollowsTheLiteralRules)
{
    auto const seed = static_cast<unsigned int>(std::chrono::steady_clock::now().time_since_epoch().count());
    std::mt19937 random(seed);
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::wstring const alphabet = L"aAbB,,, \t";
    auto const text = [&](std::size_t longest)
    {
        std::wstring result;
        for (std::size_t i = random() % (longest + 1); i != 0; --i)
            result += alphabet[random() % alphabet.size()];
        return result;
    };
    for (int round = 0; round < 4000 && !testing::Test::HasFatalFailure(); ++round)
        CompareWithModel(text(round % 40 == 0 ? 400 : 14), text(round % 40 == 0 ? 400 : 6), random);
}

TEST(DelimitedString, LongListsAreNotComparedPairByPair)
{
    // A hundred thousand tokens: seconds by the literal rules' count of comparisons, an instant otherwise.
    CDelimitedString list;
    CDelimitedString backwards;
    for (int i = 0; i < 100000; ++i)
    {
        CQVString token;
        token.Format(L"token%06d", i);
        list.AddToken(token);
        token.Format(L"token%06d", 150000 - i);
        backwards.AddToken(token);
    }
    auto const start = std::chrono::steady_clock::now();
    EXPECT_FALSE(list.HasDuplicateTokens(kExact));
    EXPECT_FALSE(list.RemoveDuplicateTokens(kExact));
    EXPECT_FALSE(list.Includes(backwards));
    EXPECT_TRUE(list.Includes(CQVString(list)));
    CDelimitedString merged = list;
    EXPECT_TRUE(merged.Merge(backwards, {true, true, false}));
    EXPECT_EQ(merged.GetTokenCount(), 150001U);
    CDelimitedString sorted = backwards;
    sorted.Merge(list);
    sorted.SortTokens({true, true, true});
    EXPECT_EQ(Text(sorted), Text(merged));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(DelimitedString, MemoryThatRunsOutLeavesTheListAsItWas)
{
    CQVString const original(L"pear, apple ,fig,apple,fig,quince,plum,cherry,medlar");
    CQVString const other(L"grape,currant,sloe,rowan,pear");
    SortingTraits const sorting{true, true, true};
    std::vector<std::function<void(CDelimitedString &)>> const operations{
        [&](CDelimitedString & list) { list.AddToken(other); },
        [&](CDelimitedString & list) { list.Merge(other); },
        [&](CDelimitedString & list) { list.Merge(other, sorting); },
        [&](CDelimitedString & list) { list.SortTokens(sorting); },
        [&](CDelimitedString & list) { list.RemoveDuplicateTokens(kExact); },
        [&](CDelimitedString & list) { list.ReplaceTokenAt(2, other); },
    };
    for (auto const & operation : operations)
    {
        CDelimitedString list;
        bool done = false;
        qvlib_test::SweepAllocations(
            [&]
            {
                done = false;
                list = CDelimitedString(original);
                operation(list);
                done = true;
            },
            [&] { EXPECT_TRUE(done || Text(list) == Text(original)) << Text(list); });
    }
}

} // namespace
