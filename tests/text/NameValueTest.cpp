#include "qvlib/NameValue.h"
#include "qvlib/NameValueGrammar.h"
#include "support/allocation_sweep.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>
#include <vector>

namespace
{

using qvlib::CGenericVal;
using qvlib::CQVString;
using qvlib::CTLNameValue;
using qvlib::CTLNameValueGrammar;
using qvlib::CTLNameValueVector;
using qvlib_test::OnThreads;

CTLNameValueVector ListOf(std::vector<std::pair<wchar_t const *, wchar_t const *>> const & entries)
{
    CTLNameValueVector list;
    for (auto const & [name, value] : entries)
        list.emplace_back(name, CGenericVal(value));
    return list;
}

CTLNameValueGrammar With(wchar_t const * separator, bool caseSensitive)
{
    CTLNameValueGrammar grammar;
    grammar.SetSeparator(separator, caseSensitive);
    return grammar;
}

/// What is read, written with a separator that shows; "refused" when it is not read.
std::wstring Reads(CTLNameValueGrammar const & grammar, std::wstring const & text)
{
    CTLNameValueVector list;
    if (!grammar.Read(text.c_str(), list))
        return L"refused";
    return std::wstring(With(L"|", true).Write(list).View());
}

TEST(NameValue, ComparesNamesThenValues)
{
    CTLNameValue const a(L"a", CGenericVal(1));
    EXPECT_TRUE(a == CTLNameValue(L"a", CGenericVal(1)));
    EXPECT_TRUE(a != CTLNameValue(L"A", CGenericVal(1)));
    EXPECT_TRUE(a != CTLNameValue(L"a", CGenericVal(1L))) << "values are strict about types";
    EXPECT_TRUE(CTLNameValue(L"B", CGenericVal(9)) < a);
    EXPECT_TRUE(a < CTLNameValue(L"a", CGenericVal(2)));
    EXPECT_FALSE(a < a);
}

TEST(NameValue, SetTakesPartsOfItself)
{
    CTLNameValue entry(L"name", CGenericVal(L"value"));
    entry.Set(entry.GetValue().GetString(), CGenericVal(entry.GetName()));
    EXPECT_EQ(entry.GetName(), L"value");
    EXPECT_EQ(entry.GetValue().GetString(), L"name");
    entry.Set(entry.GetValue().GetString(), entry.GetValue());
    EXPECT_EQ(entry.GetName(), L"name");
    EXPECT_EQ(entry.GetValue().GetString(), L"name");
    entry.SetName(entry.GetName());
    entry.SetValue(entry.GetValue());
    entry.GetValue().SetInt(3);
    EXPECT_TRUE(entry == CTLNameValue(L"name", CGenericVal(3)));
}

TEST(NameValueVector, FindsTheFirstOfAName)
{
    CTLNameValueVector list = ListOf({{L"a", L"1"}, {L"b", L"2"}, {L"b", L"3"}});
    CTLNameValueVector const & constant = list;
    EXPECT_EQ(list.Find(L"b") - list.begin(), 1);
    EXPECT_EQ(constant.Find(CQVString(L"b")) - constant.begin(), 1);
    EXPECT_EQ(list.Get(L"b"), &list[1]);
    EXPECT_EQ(constant.Get(CQVString(L"b")), &constant[1]);
    EXPECT_EQ(list.Get(L"B"), nullptr);
    EXPECT_EQ(constant.Find(L"c"), constant.end());
    EXPECT_EQ(list.Get(static_cast<wchar_t const *>(nullptr)), nullptr);
    EXPECT_EQ(list.Get(CQVString(L"b\0x", 3)), nullptr) << "a name is all of it";
}

// The test is the reverse of the plain one; callers depend on it.
TEST(NameValueVector, NoCaseFindsTheFirstOtherName)
{
    CTLNameValueVector list = ListOf({{L"A", L"1"}, {L"B", L"2"}});
    CTLNameValueVector const & constant = list;
    EXPECT_EQ(list.GetNoCase(L"b"), &list[0]);
    EXPECT_EQ(list.GetNoCase(CQVString(L"a")), &list[1]);
    EXPECT_EQ(constant.GetNoCase(L"a"), &constant[1]);
    EXPECT_EQ(constant.FindNoCase(CQVString(L"x")), constant.begin());
    EXPECT_EQ(list.FindNoCase(L"A"), list.begin() + 1);
    list.pop_back();
    EXPECT_EQ(list.GetNoCase(L"a"), nullptr);
    EXPECT_EQ(list.FindNoCase(L"a"), list.end());
    EXPECT_EQ(list.GetNoCase(L"b"), &list[0]);
    EXPECT_EQ(CTLNameValueVector().GetNoCase(L"a"), nullptr);
}

TEST(NameValueGrammar, ReadsItemsInOrder)
{
    CTLNameValueGrammar const grammar;
    CTLNameValueVector list;
    ASSERT_TRUE(grammar.Read(L"a=\"1\",B2=\"x y\",a=\"\"", list));
    EXPECT_EQ(list, ListOf({{L"a", L"1"}, {L"B2", L"x y"}, {L"a", L""}}));
}

TEST(NameValueGrammar, BlanksAndBadForms)
{
    CTLNameValueGrammar const comma;
    struct
    {
        wchar_t const * text;
        wchar_t const * read;
    } const cases[] = {
        {L"  a = \" 1 2 \" , b=\"\" ", L"a=\"1 2\"|b=\"\""},
        {L"\t\n\u3000a\u00A0=\u2003\"\u20031\u2003\t2\u00A0\"\r\n", L"a=\"1\u2003\t2\""},
        {L"a=\"   \"", L"a=\"\""},
        {L"a=\"x,b='y'=\"", L"a=\"x,b='y'=\""},
        {L"\u00E9\u4E2D\u0663=\"\u00E9\"", L"\u00E9\u4E2D\u0663=\"\u00E9\""},
        {L"", L"refused"},
        {L"  ", L"refused"},
        {L"a", L"refused"},
        {L"a=", L"refused"},
        {L"a=\"", L"refused"},
        {L"a=1", L"refused"},
        {L"=\"1\"", L"refused"},
        {L"a b=\"1\"", L"refused"},
        {L"a_b=\"1\"", L"refused"},
        {L"a=\"1\",", L"refused"},
        {L",a=\"1\"", L"refused"},
        {L"a=\"1\",,b=\"2\"", L"refused"},
        {L"a=\"1\" b=\"2\"", L"refused"},
        {L"a=\"1\"\"", L"refused"},
        {L"a=\"1\" x", L"refused"},
        {L"\x2013=\"1\"", L"refused"},
    };
    for (auto const & [text, read] : cases)
        EXPECT_EQ(Reads(comma, text), read) << testing::PrintToString(std::wstring(text));
    // Lone surrogates are no letters, but pass in values.
    EXPECT_EQ(Reads(comma, std::wstring{0xD800, L'=', L'"', L'"'}), L"refused");
    std::wstring const value{L'a', L'=', L'"', 0xDC00, 0xD800, L'"'};
    EXPECT_EQ(Reads(comma, value), value);
    EXPECT_EQ(Reads(comma, std::wstring(L"a=\"1\"\0,b", 8)), L"a=\"1\"") << "a text ends at its NUL";
    CTLNameValueVector list;
    EXPECT_FALSE(comma.Read(nullptr, list));
}

TEST(NameValueGrammar, Separators)
{
    EXPECT_EQ(Reads(With(L" ", true), L"a=\"1\" b=\"2\""), L"refused") << "the blank is passed over before it is seen";
    EXPECT_EQ(Reads(With(L" ", true), L"a=\"1\""), L"a=\"1\"");
    EXPECT_EQ(Reads(With(L"", true), L"a=\"1\" b=\"2\"c=\"3\""), L"a=\"1\"|b=\"2\"|c=\"3\"");
    EXPECT_EQ(Reads(With(L"", false), L"a=\"1\" b=\"2\""), L"a=\"1\"|b=\"2\"");
    EXPECT_EQ(Reads(With(L"AND", false), L"a=\"1\" And B=\"X\""), L"a=\"1\"|B=\"X\"");
    EXPECT_EQ(Reads(With(L"AND", false), L"a=\"1\"anDb=\"2\""), L"a=\"1\"|b=\"2\"");
    EXPECT_EQ(Reads(With(L"AND", true), L"a=\"1\" and b=\"2\""), L"refused");
    EXPECT_EQ(Reads(With(L"AND", true), L"a=\"1\" AND b=\"2\""), L"a=\"1\"|b=\"2\"");
    EXPECT_EQ(Reads(With(L"AND", false), L"a=\"1\" a n d b=\"2\""), L"refused") << "no blanks inside";
    EXPECT_EQ(Reads(With(L"; and", true), L"a=\"1\" ; and b=\"2\""), L"a=\"1\"|b=\"2\"");
    EXPECT_EQ(With(L"AND", false).Write(ListOf({{L"a", L"1"}, {L"b", L"2"}})), L"a=\"1\"andb=\"2\"");
}

TEST(NameValueGrammar, LettersFoldTheSameInEveryLocale)
{
    std::string const before = std::setlocale(LC_ALL, nullptr);
    for (char const * locale : {"C", "C.UTF-8", ""})
    {
        std::setlocale(LC_ALL, locale);
        EXPECT_EQ(Reads(With(L"\u00C9X", false), L"a=\"1\"\u00C9xb=\"2\""), L"a=\"1\"|b=\"2\"") << locale;
        EXPECT_EQ(Reads(With(L"\u00C9X", false), L"a=\"1\"\u00E9xb=\"2\""), L"refused") << locale;
        EXPECT_EQ(Reads(CTLNameValueGrammar(), L"a\u00A0=\"1\""), L"a=\"1\"") << locale;
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(NameValueGrammar, AFailedReadLeavesTheListAlone)
{
    CTLNameValueGrammar const grammar;
    CTLNameValueVector const before = ListOf({{L"kept", L"1"}});
    CTLNameValueVector list = before;
    std::wstring const whole = L"a=\"1\", b=\"2\",c=\"3\"";
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        bool const complete = length == 5 || length == 12;
        EXPECT_EQ(grammar.Read(whole.substr(0, length).c_str(), list), complete) << length;
        EXPECT_EQ(list.size(), complete ? (length == 5 ? 1U : 2U) : 1U) << length;
        EXPECT_TRUE(complete || list == before) << length;
        list = before;
    }
    qvlib_test::SweepAllocations(
        [&]
        {
            CTLNameValueVector target = before;
            grammar.Read(whole.c_str(), target);
        },
        [&] { EXPECT_EQ(list, before); });
    EXPECT_TRUE(grammar.Read(whole.c_str(), list));
    EXPECT_EQ(list.size(), 3U) << "what was there is replaced";
}

TEST(NameValueGrammar, WritesEveryKindOfValueAsText)
{
    CTLNameValueVector list;
    EXPECT_EQ(CTLNameValueGrammar().Write(list), L"");
    list.emplace_back(L"Int", CGenericVal(-5));
    list.emplace_back(L"Double", CGenericVal(1.5));
    list.emplace_back(L"None", CGenericVal());
    list.emplace_back(L"", CGenericVal(L"say \"hi\""));
    CQVString const text = CTLNameValueGrammar().Write(list);
    EXPECT_EQ(text, L"Int=\"-5\",Double=\"1.5\",None=\"\",=\"say \"hi\"\"");
    EXPECT_EQ(text.GetAllocLength() >= text.GetLength(), true);
    CTLNameValueVector read;
    EXPECT_FALSE(CTLNameValueGrammar().Read(text, read)) << "a quote in a value is not escaped";
}

TEST(NameValueGrammar, NamesAndValuesOfAMillionCharacters)
{
    std::wstring const text = std::wstring(1'000'000, L'n') + L"=\"" + std::wstring(1'000'000, L'v') + L"\"";
    CTLNameValueVector list;
    ASSERT_TRUE(CTLNameValueGrammar().Read(text.c_str(), list));
    EXPECT_EQ(list[0].GetName().GetLength(), 1'000'000);
    EXPECT_EQ(CTLNameValueGrammar().Write(list).View(), text);
    std::wstring many;
    for (int i = 0; i < 100'000; ++i)
        many += L"a=\"\",";
    EXPECT_FALSE(CTLNameValueGrammar().Read(many.c_str(), list)) << "the last separator stands alone";
    many.pop_back();
    EXPECT_TRUE(CTLNameValueGrammar().Read(many.c_str(), list));
    EXPECT_EQ(list.size(), 100'000U);
}

TEST(NameValueGrammar, OneGrammarServesSeveralThreads)
{
    CTLNameValueGrammar const grammar = With(L"and", false);
    OnThreads(4,
              [&grammar](int)
              {
                  for (int round = 0; round < 200; ++round)
                  {
                      CTLNameValueVector list;
                      EXPECT_TRUE(grammar.Read(L"a=\"1\" AND b=\"2\"", list));
                      EXPECT_EQ(grammar.Write(list), L"a=\"1\"andb=\"2\"");
                  }
              });
}

} // namespace
