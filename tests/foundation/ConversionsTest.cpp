#include "qvlib/Conversions.h"

#include "foundation/internal/narrow32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace
{

using namespace qvlib;

template <class... Args>
std::wstring Text(Args... args)
{
    CQVString out(L"before");
    EXPECT_EQ(&out, &AsString(out, args...));
    return out.GetString();
}

TEST(Conversions, IntegersAsText)
{
    EXPECT_EQ(L"0", Text(0));
    EXPECT_EQ(L"-2147483648", Text(std::numeric_limits<int>::min()));
    EXPECT_EQ(L"4294967295", Text(~0U));
    EXPECT_EQ(L"-9223372036854775808", Text(std::numeric_limits<long long>::min()));
    EXPECT_EQ(L"18446744073709551615", Text(~0ULL));
    EXPECT_EQ(L"-7", Text(-7L));
    EXPECT_EQ(L"7", Text(7UL));
    EXPECT_EQ(L"4294967295", Text(~0UL)) << "all ones of either width";
    std::mt19937_64 random(5);
    for (int i = 0; i < 2000; ++i)
    {
        unsigned long long const value = random() >> random() % 64;
        ASSERT_EQ(std::to_wstring(value), Text(value));
        ASSERT_EQ(std::to_wstring(-static_cast<long long>(value >> 1)), Text(-static_cast<long long>(value >> 1)));
    }
    EXPECT_EQ(L"deadbeef", Text(reinterpret_cast<void *>(0xDEADBEEF)));
    EXPECT_EQ(L"0", Text(static_cast<void *>(nullptr)));
}

TEST(Conversions, BooleansAsText)
{
    EXPECT_EQ(L"True", Text(true, true));
    EXPECT_EQ(L"False", Text(false, true));
    EXPECT_EQ(L"Yes", Text(true, false));
    EXPECT_EQ(L"No", AsStlString(false, false));
}

TEST(Conversions, DoublesAsText)
{
    EXPECT_EQ(L"0", Text(0.0));
    EXPECT_EQ(L"-0", Text(-0.0));
    EXPECT_EQ(L"-1.5", Text(-1.5));
    EXPECT_EQ(L"0.5", Text(0.5));
    EXPECT_EQ(L"100", Text(100.0));
    EXPECT_EQ(L"1000000", Text(1000000.0));
    EXPECT_EQ(L"123.456", Text(123.456));
    EXPECT_EQ(L"99999999999999992000000", Text(1e23));
    EXPECT_EQ(L"10", Text(9.99, 1UL));
    EXPECT_EQ(L"3", Text(2.5, 0UL));
    EXPECT_EQ(L"0", Text(0.3, 0UL));
    EXPECT_EQ(L"-0.00", Text(-0.001, 2UL));
    EXPECT_EQ(L"1.#INF", Text(std::numeric_limits<double>::infinity()));
    EXPECT_EQ(L"1.50 ", Text(1.5, L"%.2f "));
}

// Kept on purpose: only numbers of 0.1 and more lose the zeros at their end.
TEST(Conversions, DoublesBelowATenthKeepTheirZeros)
{
    EXPECT_EQ(L"0.0500000000000000", Text(0.05));
    EXPECT_EQ(L"0.1", Text(0.1));
    EXPECT_EQ(L"0.05000", Text(0.05, 5UL));
    EXPECT_EQ(L"0.0000000000000000", Text(1e-30));
}

TEST(Conversions, AnyPrecisionFits)
{
    for (double const value : {1.7976931348623157e308, -1.7976931348623157e308, 9.9999999999999995e-8, 4.9e-324, 1.0})
        for (unsigned long const precision : {0UL, 17UL, 39UL, 40UL, 300UL, 348UL, 100000UL, 0xFFFFFFFFUL, ~0UL})
        {
            std::wstring const text = Text(value, precision);
            EXPECT_LE(text.size(), 352U);
            double const back = std::wcstod(text.c_str(), nullptr);
            if (precision >= 39 && (value >= 1 || value <= -1))
            {
                EXPECT_EQ(value, back) << precision;
            }
        }
}

TEST(Conversions, EveryDoubleOfATenthAndMoreSurvivesItsText)
{
    std::mt19937_64 random(9);
    for (int i = 0; i < 5000; ++i)
    {
        double const value =
            std::ldexp(1.0 + static_cast<double>(random() >> 12) * 0x1p-52, static_cast<int>(random() % 1000));
        ASSERT_EQ(value, std::wcstod(Text(value).c_str(), nullptr));
    }
}

TEST(Conversions, FloatsAreCleaned)
{
    EXPECT_EQ(L"0.1", Text(0.1F));
    EXPECT_EQ(L"0", Text(0.0F));
    EXPECT_EQ(L"16777216", Text(16777216.0F));
    EXPECT_EQ(L"1.23", Text(1.2345F, 2UL));
    EXPECT_EQ(L"0.1000000015", Text(0.1F, L"%.10f"));
    EXPECT_EQ(0.1, AsCleanDouble(0.1F));
    EXPECT_EQ(-0.3, AsDouble(-0.3F));
    EXPECT_EQ(0.0, AsCleanDouble(0.0F));
    EXPECT_EQ(1e20, AsCleanDouble(1e20F) / 1.0000000200408773);
}

TEST(Conversions, RoundingGoesAwayFromZero)
{
    EXPECT_EQ(3, TLRoundFloat(2.5));
    EXPECT_EQ(-3, TLRoundFloat(-2.5));
    EXPECT_EQ(0, TLRoundFloat(0.49999));
    EXPECT_EQ(1.23, TLRoundFloat(1.2345, 2));
    EXPECT_EQ(1300, TLRoundFloat(1250.0, -2));
    double const nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(0, TLRoundFloat(nan));
    EXPECT_EQ(0, TLRoundFloat(nan, 2));
    EXPECT_EQ(std::numeric_limits<double>::infinity(), TLRoundFloat(std::numeric_limits<double>::infinity()));
}

TEST(Conversions, TextAsBool)
{
    for (wchar_t const * text : {L"  Yes", L"TRUE", L"2", L"-1", L"\t1x", L" 01"})
        EXPECT_TRUE(AsBool(text)) << text;
    for (wchar_t const * text : {L"", L"   ", L"yes ", L"no", L"0", L"0.9", L"y", L"-", L"\xE4"})
        EXPECT_FALSE(AsBool(text)) << text;
    EXPECT_FALSE(AsBool(nullptr));
}

TEST(Conversions, TextAsNumbers)
{
    EXPECT_EQ(0, AsInteger(L"12", 0));
    EXPECT_EQ(12, AsInteger(L"123", 2));
    EXPECT_EQ(123, AsInteger(L"123", 0xFFFFFFFF));
    EXPECT_EQ(-12, AsInteger(L" -12x", 9));
    EXPECT_EQ(std::numeric_limits<int>::max(), AsInteger(L"99999999999", 11));
    std::wstring const blanks = std::wstring(100, L' ') + L"42";
    EXPECT_EQ(42, AsInteger(blanks.c_str(), 102));
    EXPECT_EQ(4, AsInteger(blanks.c_str(), 101));
    EXPECT_EQ(0xFFFFFFFFUL, AsULong(L"-1", 2));
    EXPECT_EQ(0x7FFFFFFFUL, AsULong(L"4000000000", 10)) << "a signed parser with its limits";
    long number = 5;
    EXPECT_TRUE(AsLong(L"12 apples", number));
    EXPECT_EQ(12, number);
    EXPECT_TRUE(AsLong(L"-99999999999", number));
    EXPECT_EQ(-2147483648L, number);
    EXPECT_FALSE(AsLong(L"apples", number));
    EXPECT_EQ(0, number);
    unsigned long whole = 5;
    EXPECT_TRUE(AsUnsignedLong(L"-1", whole));
    EXPECT_EQ(0xFFFFFFFFUL, whole);
    EXPECT_TRUE(AsUnsignedLong(L"99999999999", whole));
    EXPECT_EQ(0xFFFFFFFFUL, whole);
    EXPECT_FALSE(AsUnsignedLong(L"", whole));
}

TEST(Conversions, Utf8)
{
    EXPECT_STREQ(L"", AsCStringFromUtf8(static_cast<char const *>(nullptr)).GetString());
    EXPECT_STREQ(L"\x20AC", AsCStringFromUtf8("\xE2\x82\xAC").GetString());
    EXPECT_EQ(3, AsCStringFromUtf8(std::string("a\0b", 3)).GetLength());
    EXPECT_EQ("\xE2\x82\xAC\xF0\x9F\x98\x80", AsUtf8FromWStr(L"\x20AC\U0001F600"));
    EXPECT_EQ("", AsUtf8FromWStr(nullptr));
    std::string const lengthy(1000, 'x');
    EXPECT_EQ(lengthy, AsUtf8FromWStr(AsCStringFromUtf8(lengthy)));
}

TEST(Narrow32, TakesWhat32BitsHoldAndAllOnes)
{
    using namespace qvlib::internal;
    EXPECT_EQ(0xFFFFFFFFU, NarrowULong(0xFFFFFFFFUL));
    EXPECT_EQ(0xFFFFFFFFU, NarrowULong(~0UL));
    EXPECT_EQ(-1, NarrowLong(-1L));
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), NarrowLong(-2147483648L));
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_EQ(-1, NarrowLong(static_cast<long>(0xFFFFFFFFUL)));
        EXPECT_THROW(NarrowULong(~0UL - 1), argument_out_of_range_exception);
        EXPECT_THROW(NarrowULong(1UL << (sizeof(long) * 4)), argument_out_of_range_exception);
        EXPECT_THROW(NarrowLong(2147483647L + 1), argument_out_of_range_exception);
        EXPECT_THROW(NarrowLong(-2147483648L - 1), argument_out_of_range_exception);
    }
}

} // namespace
