#include "qvlib/QVString.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/resources.h"

#include "support/allocation_sweep.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

namespace
{

using qvlib::CQVString;
using qvlib_test::OnThreads;

template <class... Args>
std::wstring Formatted(wchar_t const * format, Args const &... args)
{
    CQVString text;
    text.Format(format, args...);
    return text.GetString();
}

TEST(String, ConstructionFromEveryKindOfText)
{
    wchar_t const * const nothing = nullptr;
    EXPECT_STREQ(L"", CQVString().GetString());
    EXPECT_STREQ(L"", CQVString(nothing).GetString());
    EXPECT_STREQ(L"", CQVString(nullptr).GetString());
    EXPECT_STREQ(L"", CQVString(static_cast<char const *>(nullptr)).GetString());
    EXPECT_STREQ(L"ab", CQVString(L"abc", 2).GetString());
    EXPECT_STREQ(L"", CQVString(nothing, 0).GetString());
    EXPECT_STREQ(L"Z\xFCrich", CQVString("Z\xC3\xBCrich").GetString());
    EXPECT_STREQ(L"xxx", CQVString(L'x', 3).GetString());
    EXPECT_EQ(0, CQVString(L'x', -3).GetLength());
    std::wstring const withNul(L"a\0b", 3);
    EXPECT_EQ(3, CQVString(withNul).GetLength());
    EXPECT_EQ(withNul, CQVString(withNul).View());
    EXPECT_THROW(CQVString(L"abc", -1), CInvalidArgException);
    EXPECT_THROW(CQVString(nothing, 1), CInvalidArgException);
}

TEST(String, CopiesShareUntilOneIsChanged)
{
    CQVString a(L"shared");
    CQVString b(a);
    CQVString c;
    qvlib_test::AllocationCount const before;
    c = a;
    CQVString const moved(std::move(b));
    EXPECT_EQ(0U, before.Value());
    EXPECT_EQ(a.GetString(), c.GetString());
    EXPECT_EQ(a.GetString(), moved.GetString());
    EXPECT_STREQ(L"", b.GetString());
    c.SetAt(0, L'S');
    EXPECT_STREQ(L"Shared", c.GetString());
    EXPECT_STREQ(L"shared", a.GetString());
    c = a;
    c += L"!";
    a.MakeUpper();
    EXPECT_STREQ(L"shared!", c.GetString());
    EXPECT_STREQ(L"SHARED", a.GetString());
    EXPECT_STREQ(L"shared", moved.GetString());
    CQVString & same = a;
    a = same;
    a = std::move(same);
    EXPECT_STREQ(L"SHARED", a.GetString());
}

TEST(String, ArgumentsMayPointIntoTheStringItself)
{
    CQVString s(L"abcdef");
    s = s.GetString() + 2;
    EXPECT_STREQ(L"cdef", s.GetString());
    s += s;
    EXPECT_STREQ(L"cdefcdef", s.GetString());
    for (int i = 0; i < 6; ++i)
        s += s.GetString() + s.GetLength() / 2; // with and without a new buffer
    s = L"0123";
    s.GetBuffer(100);
    s.ReleaseBuffer();
    s.Append(s.GetString() + 1, 2);
    EXPECT_STREQ(L"012312", s.GetString());
    s.Insert(1, s.GetString() + 4);
    EXPECT_STREQ(L"01212312", s.GetString());
    s.Replace(s.GetString() + 6, s.GetString());
    std::wstring const part = L"01212312";
    EXPECT_EQ(L"0" + part + part + L"3" + part, s.GetString());
}

TEST(String, ManyThreadsCopyAndDropOneBuffer)
{
    CQVString const text(L"seen by all");
    OnThreads(4,
              [&text](int)
              {
                  for (int i = 0; i < 5000; ++i)
                  {
                      CQVString copy(text);
                      if (i % 3 == 0)
                          copy.AppendChar(L'!');
                      CQVString const other(copy);
                      EXPECT_EQ(i % 3 == 0 ? 12 : 11, other.GetLength());
                  }
              });
    EXPECT_STREQ(L"seen by all", text.GetString());
}

TEST(String, AgreesWithStdStringUnderRandomChanges)
{
    std::mt19937 random(11);
    auto const pick = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    CQVString text;
    std::wstring model;
    std::vector<CQVString> copies(4);
    for (int step = 0; step < 20000; ++step)
    {
        std::wstring const part(static_cast<std::size_t>(pick(5)), static_cast<wchar_t>(L'a' + pick(3)));
        int const length = static_cast<int>(model.size());
        int const at = pick(length + 3);
        std::size_t const place = static_cast<std::size_t>(std::min(at, length));
        switch (pick(9))
        {
        case 0:
            text += part;
            model += part;
            break;
        case 1:
            text.Insert(at, part.c_str());
            model.insert(place, part);
            break;
        case 2:
        {
            int const count = pick(6);
            text.Delete(at, count);
            model.erase(place, static_cast<std::size_t>(count));
            break;
        }
        case 3:
            ASSERT_EQ(static_cast<int>(model.find(part, place)),
                      at > length ? static_cast<int>(model.find(part, place)) : text.Find(part.c_str(), at));
            break;
        case 4:
            copies[static_cast<std::size_t>(pick(4))] = text;
            break;
        case 5:
            ASSERT_EQ(model.substr(place, 3), text.Mid(at, 3).View());
            break;
        case 6:
            text.Remove(L'b');
            std::erase(model, L'b');
            break;
        case 7:
            text.ReleaseBuffer(pick(text.GetLength() + 1) + 0 * *text.GetBuffer(pick(100)));
            model.resize(static_cast<std::size_t>(text.GetLength()));
            break;
        default:
            if (length > 200)
            {
                text.Truncate(100);
                model.resize(100);
            }
            break;
        }
        ASSERT_EQ(model, text.View());
        ASSERT_EQ(L'\0', text.GetString()[text.GetLength()]);
        ASSERT_GE(text.GetAllocLength(), text.GetLength());
    }
}

TEST(String, AFailedAllocationLeavesTheStringAsItWas)
{
    CQVString const original(L"0123456789 0123456789");
    CQVString text(original);
    CQVString result;
    qvlib_test::SweepAllocations(
        [&]
        {
            CQVString work(text);
            work += L"more";
            work.Insert(3, work);
            work.Replace(L"3456", L"a longer text than before");
            work.Format(L"%s %s", work, work);
            result = work + L"." + work.Mid(2, 50);
            text = original;
        },
        [&] { EXPECT_EQ(original, text); });
    EXPECT_FALSE(result.IsEmpty());
    qvlib_test::SweepAllocations([&] { text.SetAt(0, L'x'); }, [&] { EXPECT_EQ(original, text); });
    EXPECT_STREQ(L"0123456789 0123456789", original.GetString());
}

TEST(String, BuffersToWriteTo)
{
    CQVString text;
    wchar_t * buffer = text.GetBuffer(0);
    ASSERT_NE(nullptr, buffer);
    EXPECT_STREQ(L"", CQVString().GetString()) << "the buffer is not the one that empty strings share";
    buffer[0] = L'\0';
    text.ReleaseBuffer();
    EXPECT_TRUE(text.IsEmpty());
    text = L"keep";
    CQVString const copy(text);
    buffer = text.GetBuffer(50);
    EXPECT_STREQ(L"keep", buffer);
    buffer[4] = L's';
    buffer[5] = L'\0';
    buffer[6] = L'x';
    text.ReleaseBuffer();
    EXPECT_STREQ(L"keeps", text.GetString());
    EXPECT_STREQ(L"keep", copy.GetString());
    EXPECT_THROW(text.ReleaseBuffer(text.GetAllocLength() + 1), CInvalidArgException);
    EXPECT_THROW(text.GetBuffer(-1), CInvalidArgException);
    EXPECT_THROW(CQVString().ReleaseBuffer(1), CInvalidArgException);
    CQVString().ReleaseBuffer();
    text.GetBufferSetLength(2);
    EXPECT_STREQ(L"ke", text.GetString());
    text.Preallocate(1000);
    EXPECT_GE(text.GetAllocLength(), 1000);
    text.FreeExtra();
    EXPECT_LT(text.GetAllocLength(), 32);
    EXPECT_STREQ(L"ke", text.GetString());
}

TEST(String, PositionsOutsideTheText)
{
    CQVString text(L"abc");
    EXPECT_EQ(L'\0', text[3]);
    EXPECT_THROW(text[4], CInvalidArgException);
    EXPECT_THROW(text[-1], CInvalidArgException);
    EXPECT_THROW(text.SetAt(3, L'x'), CInvalidArgException);
    EXPECT_THROW(text.Truncate(-1), CInvalidArgException);
    EXPECT_EQ(-1, text.Find(L'a', 4));
    EXPECT_EQ(-1, text.Find(L"a", -1));
    EXPECT_EQ(3, text.Find(L"", 3));
    EXPECT_STREQ(L"", text.Mid(5).GetString());
    EXPECT_STREQ(L"ab", text.Mid(-4, 2).GetString());
    EXPECT_STREQ(L"", text.Left(-1).GetString());
    EXPECT_STREQ(L"abc", text.Right(9).GetString());
    EXPECT_EQ(3, text.Delete(3));
    EXPECT_EQ(4, text.Insert(99, L'd'));
    EXPECT_EQ(5, text.Insert(-1, L"_"));
    EXPECT_STREQ(L"_abcd", text.GetString());
}

TEST(String, SearchAndReplace)
{
    CQVString text(L"one two one");
    EXPECT_EQ(0, text.Find(L"one"));
    EXPECT_EQ(8, text.Find(L"one", 1));
    EXPECT_EQ(8, text.ReverseFind(L'o'));
    EXPECT_EQ(3, text.FindOneOf(L" t"));
    EXPECT_EQ(-1, text.FindOneOf(L""));
    EXPECT_EQ(2, text.Replace(L"one", L"three"));
    EXPECT_STREQ(L"three two three", text.GetString());
    EXPECT_EQ(2, text.Replace(L"three", nullptr));
    EXPECT_STREQ(L" two ", text.GetString());
    EXPECT_EQ(0, text.Replace(L"", L"x"));
    EXPECT_EQ(1, text.Replace(L'w', L'W'));
    EXPECT_STREQ(L"tWo", text.Trim().GetString());
    EXPECT_EQ(3, CQVString(L"aaa").Replace(L"a", L"aa"));
    CQVString all(L"xx");
    EXPECT_EQ(1, all.Replace(L"xx", L""));
    EXPECT_TRUE(all.IsEmpty());
    EXPECT_STREQ(L"12", CQVString(L"12ab").SpanIncluding(L"0123456789").GetString());
    EXPECT_STREQ(L"12", CQVString(L"12ab").SpanExcluding(L"ab").GetString());
}

TEST(String, TrimmingAndCase)
{
    EXPECT_STREQ(L"a b", CQVString(L"\t\x3000 a b\x00A0\n").Trim().GetString());
    EXPECT_STREQ(L"a  ", CQVString(L"  a  ").TrimLeft().GetString());
    EXPECT_STREQ(L"  a", CQVString(L"  a  ").TrimRight().GetString());
    EXPECT_STREQ(L"a", CQVString(L"--a--").Trim(L'-').GetString());
    EXPECT_STREQ(L"a", CQVString(L"-+a+-").Trim(L"+-").GetString());
    EXPECT_STREQ(L"", CQVString(L"   ").Trim().GetString());
    EXPECT_STREQ(L"\xC4"
                 L"abc",
                 CQVString(L"\xC4"
                           L"ABC")
                     .MakeLower()
                     .GetString());
    EXPECT_STREQ(L"\xE4"
                 L"ABC",
                 CQVString(L"\xE4"
                           L"abc")
                     .MakeUpper()
                     .GetString());
    EXPECT_STREQ(L"cba", CQVString(L"abc").MakeReverse().GetString());
}

TEST(String, ComparisonAndHash)
{
    CQVString const a(L"Alpha");
    EXPECT_EQ(0, a.Compare(L"Alpha"));
    EXPECT_LT(a.Compare(L"alpha"), 0);
    EXPECT_EQ(0, a.CompareNoCase(L"aLPHA"));
    EXPECT_LT(a.CompareNoCase(L"b"), 0);
    EXPECT_GT(a.CompareNoCase(nullptr), 0);
    EXPECT_NE(0, CQVString(L"\xE4").CompareNoCase(L"\xC4"));
    EXPECT_TRUE(a == L"Alpha" && L"Alpha" == a && a == std::wstring(L"Alpha") && a != L"Beta" && a < L"Beta");
    EXPECT_TRUE(CQVString(std::wstring(L"a\0b", 3)) != CQVString(std::wstring(L"a\0c", 3)));
    std::unordered_set<CQVString> const set{a, CQVString(L"Alpha"), CQVString(L"Beta")};
    EXPECT_EQ(2U, set.size());
    std::map<CQVString, int> order{{L"b", 2}, {L"a", 1}};
    EXPECT_EQ(1, order.begin()->second);
}

TEST(String, TokensBetweenRunsOfDelimiters)
{
    CQVString const text(L",,a,;b c;,");
    std::vector<std::wstring> tokens;
    int at = 0;
    for (CQVString token = text.Tokenize(L",;", at); at != -1; token = text.Tokenize(L",;", at))
        tokens.emplace_back(token.GetString());
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b c"}), tokens);
    at = 0;
    EXPECT_STREQ(L",,a,;b c;,", text.Tokenize(L"", at).GetString());
    EXPECT_TRUE(text.Tokenize(L"", at).IsEmpty());
    EXPECT_EQ(-1, at);
    EXPECT_THROW(text.Tokenize(L",", at), CInvalidArgException);
}

TEST(String, FormatsByThePlatformsRules)
{
    CQVString const wide(L"w\xFC");
    EXPECT_EQ(L"w\xFC|w\xFC|n\xFC|n\xFC",
              Formatted(L"%s|%ls|%S|%hs", wide, wide.GetString(), "n\xC3\xBC", "n\xC3\xBC"));
    EXPECT_EQ(L"(null)(null)",
              Formatted(L"%s%S", static_cast<wchar_t const *>(nullptr), static_cast<char const *>(nullptr)));
    EXPECT_EQ(L"[  ab][ab  ][abc]", Formatted(L"[%4.2s][%-4.*s][%.*s]", L"abc", 2, L"abc", -1, L"abc"));
    EXPECT_EQ(L"A\x416|B|C", Formatted(L"%c%c|%C|%hc", L'A', L'\x416', 'B', 'C'));
    EXPECT_EQ(L"-5 +5  5 00005 5    |", Formatted(L"%d %+d % d %05d %-5d|", -5, 5, 5, 5, 5));
    EXPECT_EQ(L"007    007 -0042", Formatted(L"%.3d %6.3d %05d", 7, 7, -42));
    EXPECT_EQ(L"ff FF 0xff 0XFF 17 017 0", Formatted(L"%x %X %#x %#X %o %#o %#x", 255, 255, 255, 255, 15, 15, 0));
    EXPECT_EQ(L"4294967295", Formatted(L"%u", -1));
    // A long is a 32-bit quantity of the interface, whatever the machine's has.
    EXPECT_EQ(L"-1 4294967295 ffffffff", Formatted(L"%ld %lu %lx", -1L, ~0UL, ~0UL));
    EXPECT_EQ(L"-9223372036854775808 18446744073709551615 18446744073709551615",
              Formatted(L"%I64d %I64u %llu", std::numeric_limits<long long>::min(), ~0ULL, ~0ULL));
    EXPECT_EQ(L"7 18446744073709551615 -2 200", Formatted(L"%I32d %zu %hd %hhu", 7, ~std::size_t{0}, 65534, 456));
    EXPECT_EQ(L"     1|1     |000001", Formatted(L"%*d|%*d|%0*d", 6, 1, -6, 1, 6, 1));
    EXPECT_EQ(sizeof(void *) == 8 ? L"00000000000000AB" : L"000000AB",
              Formatted(L"%p", reinterpret_cast<void *>(0xAB)));
    EXPECT_EQ(L"100% y", Formatted(L"%d%% %y%", 100));
    EXPECT_EQ(L"", Formatted(L""));
    std::wstring const lengthy(3000, L'x');
    EXPECT_EQ(lengthy + L"1" + lengthy, Formatted(L"%s%d%s", lengthy.c_str(), 1, lengthy.c_str()));
}

TEST(String, FormatsFloatingPoint)
{
    EXPECT_EQ(L"3.141593 3.14 3 3. -0.50",
              Formatted(L"%f %.2f %.0f %#.0f %.2f", 3.14159265, 3.14159265, 3.14159265, 3.0, -0.5));
    EXPECT_EQ(L"0.000000 -0.0 0.05 0.00", Formatted(L"%f %.1f %.2f %.2f", 0.0, -0.0, 0.05, 0.001));
    EXPECT_EQ(L"1.250000e+003 1E-005 0.000000e+000", Formatted(L"%e %.0E %e", 1250.0, 0.00001, 0.0));
    EXPECT_EQ(L"100000 1e+006 0.0001 1e-005 0.5 0", Formatted(L"%g %g %g %g %g %g", 1e5, 1e6, 1e-4, 1e-5, 0.5, 0.0));
    EXPECT_EQ(L"0.500000 1.2e+002 123.457", Formatted(L"%#g %.2g %G", 0.5, 123.0, 123.4567));
    EXPECT_EQ(L"  1.5|1.5  |+01.5", Formatted(L"%5.1f|%-5.1f|%+05.1f", 1.5, 1.5, 1.5));
    EXPECT_EQ(L"3 0.13 2", Formatted(L"%.0f %.2f %.0f", 2.5, 0.125, 1.5)) << "halves go away from zero";
    // 17 digits count, zeros follow.
    EXPECT_EQ(L"0.10000000000000001000", Formatted(L"%.20f", 0.1));
    EXPECT_EQ(L"1.#INF00 -1.#INF 1.#QNAN",
              Formatted(L"%f %g %.0f", std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(L"0x1.8000000000000p+0 -0X1.800P+0", Formatted(L"%a %.3A", 1.5, -1.5));
    EXPECT_EQ(L"10000000000000001" + std::wstring(284, L'0') + L".0", Formatted(L"%.1f", 1e300));
}

TEST(String, FormatTakesItselfAndAppends)
{
    CQVString text(L"in");
    text.Format(L"<%s%s>", text, text.GetString());
    EXPECT_STREQ(L"<inin>", text.GetString());
    text.AppendFormat(L"%d%s", 7, text);
    EXPECT_STREQ(L"<inin>7<inin>", text.GetString());
    text.Format(L"");
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_THROW(text.Format(static_cast<wchar_t const *>(nullptr)), CInvalidArgException);
}

TEST(String, TextResources)
{
    CQVString text(L"before");
    EXPECT_FALSE(text.LoadString(40001));
    EXPECT_STREQ(L"before", text.GetString());
    qvlib::host::SetTextResource(40001, L"%d of %s");
    EXPECT_TRUE(text.LoadString(40001));
    EXPECT_STREQ(L"%d of %s", text.GetString());
    text.Format(40001U, 3, L"ten");
    EXPECT_STREQ(L"3 of ten", text.GetString());
    EXPECT_TRUE(qvlib::host::RemoveTextResource(40001));
    EXPECT_FALSE(qvlib::host::RemoveTextResource(40001));
}

} // namespace
