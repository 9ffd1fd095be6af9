#include "qvlib/host/crt.h"

#include "support/tsv.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace
{

using qvlib_test::Table;

struct Converted
{
    int result = -1;
    int point = 99;
    int sign = 99;
    std::string digits;
};

Converted Fixed(double value, int decimals, std::size_t size = 349)
{
    Converted converted;
    std::string buffer(size, '?');
    converted.result = _fcvt_s(buffer.data(), size, value, decimals, &converted.point, &converted.sign);
    converted.digits = buffer.c_str();
    return converted;
}

std::string General(double value, int digits)
{
    char buffer[349];
    EXPECT_EQ(0, _gcvt_s(buffer, sizeof buffer, value, digits));
    return buffer;
}

int SignOf(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

/// The exact decimal expansion of a double, rounded half away from zero to `count` digits by hand.
std::string ExactDigits(double value, int count, int & point)
{
    char text[900];
    char const * const end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, 780).ptr;
    std::string const exponent(static_cast<char const *>(std::strchr(text, 'e')) + 1, end);
    point = std::atoi(exponent.c_str()) + 1;
    std::string digits(1, text[0]);
    digits.append(text + 2, 780);
    bool const up = digits[static_cast<std::size_t>(count)] >= '5';
    digits.resize(static_cast<std::size_t>(count));
    if (up)
    {
        std::size_t i = digits.size();
        while (i > 0 && digits[i - 1] == '9')
            digits[--i] = '0';
        if (i > 0)
            ++digits[i - 1];
        else
        {
            digits[0] = '1';
            ++point;
        }
    }
    return digits;
}

TEST(CrtDigits, FixedDigitsOfTheTable)
{
    Table const table("host/fcvt.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        Converted const converted =
            Fixed(table.Double(row, "value"), static_cast<int>(table.Integer(row, "precision")));
        EXPECT_EQ(0, converted.result);
        EXPECT_EQ(table.Bytes(row, "digits"), converted.digits)
            << table.Raw(row, "value") << " at " << table.Raw(row, "precision");
        EXPECT_EQ(table.Integer(row, "point"), converted.point)
            << table.Raw(row, "value") << " at " << table.Raw(row, "precision");
        EXPECT_EQ(table.Integer(row, "sign"), converted.sign) << table.Raw(row, "value");
    }
}

TEST(CrtDigits, GeneralTextOfTheTable)
{
    Table const table("host/gcvt.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
        EXPECT_EQ(table.Bytes(row, "text"),
                  General(table.Double(row, "value"), static_cast<int>(table.Integer(row, "digits"))))
            << table.Raw(row, "value") << " at " << table.Raw(row, "digits");
}

TEST(CrtDigits, AgreeWithTheExactExpansionOfAnyDouble)
{
    std::mt19937_64 random(20240229);
    std::uniform_int_distribution<int> anyPower(-320, 308);
    for (int i = 0; i < 20000; ++i)
    {
        // Whole numbers of halves, quarters, ... give the ties; any bits give the rest.
        double value;
        if (i % 2 == 0)
            value = std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 70));
        else
            value = std::ldexp(1.0 + static_cast<double>(random() >> 12) * 0x1p-52, anyPower(random) * 3);
        if (value == 0 || !std::isfinite(value))
            continue;
        int const decimals = static_cast<int>(random() % 24);
        int point = 0;
        ExactDigits(value, 770, point);
        int const wanted = std::min(point + decimals, 17);
        Converted const converted = Fixed(value, decimals, 700);
        ASSERT_EQ(0, converted.result);
        if (wanted < 0)
        {
            EXPECT_EQ("", converted.digits);
            EXPECT_EQ(-decimals, converted.point);
            continue;
        }
        if (wanted == 0)
        {
            bool const up = ExactDigits(value, 770, point)[0] >= '5';
            EXPECT_EQ(up ? "1" : "", converted.digits) << value << " at " << decimals;
            continue;
        }
        std::string expected = ExactDigits(value, wanted, point);
        expected.resize(static_cast<std::size_t>(point + decimals), '0');
        EXPECT_EQ(expected, converted.digits) << value << " at " << decimals;
        EXPECT_EQ(point, converted.point) << value << " at " << decimals;
    }
}

TEST(CrtDigits, HalvesGoAwayFromZero)
{
    EXPECT_EQ("3", Fixed(2.5, 0).digits);
    EXPECT_EQ("1", Fixed(0.5, 0).digits);
    EXPECT_EQ("13", Fixed(0.125, 2).digits);
    EXPECT_EQ("9", Fixed(8.5, 0).digits);
    EXPECT_EQ("10", Fixed(9.5, 0).digits);
    EXPECT_EQ("3e+001", General(25.0, 1));
    EXPECT_EQ("365.93679809570313", General(365.936798095703125, 17));
    EXPECT_EQ("1e+017", General(1e17, 17));
}

TEST(CrtDigits, NegativeDecimalsRoundInFrontOfThePoint)
{
    Converted const hundreds = Fixed(1250.0, -2);
    EXPECT_EQ("13", hundreds.digits);
    EXPECT_EQ(4, hundreds.point);
    EXPECT_EQ("1", Fixed(50.0, -2).digits);
    EXPECT_EQ("", Fixed(49.0, -2).digits);
    EXPECT_EQ("", Fixed(1e300, std::numeric_limits<int>::min()).digits);
}

TEST(CrtDigits, SpecialValues)
{
    double const infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ("1#INF00", Fixed(infinity, 6).digits);
    EXPECT_EQ(1, Fixed(-infinity, 6).sign);
    EXPECT_EQ("1#QNAN00", Fixed(std::numeric_limits<double>::quiet_NaN(), 7).digits);
    EXPECT_EQ("-1.#INF", General(-infinity, 17));
    EXPECT_EQ("1.#QNAN", General(std::numeric_limits<double>::quiet_NaN(), 311));
}

TEST(CrtDigits, TooSmallABufferIsLeftEmpty)
{
    for (std::size_t size = 1; size < 5; ++size)
    {
        Converted const converted = Fixed(123.4, 1, size);
        EXPECT_EQ(size < 5 ? 34 : 0, converted.result);
        EXPECT_EQ("", converted.digits);
    }
    EXPECT_EQ("1234", Fixed(123.4, 1, 5).digits);
    char buffer[4];
    int point, sign;
    EXPECT_EQ(22, _fcvt_s(nullptr, 4, 1, 1, &point, &sign));
    EXPECT_EQ(22, _fcvt_s(buffer, 0, 1, 1, &point, &sign));
    EXPECT_EQ(22, _fcvt_s(buffer, 4, 1, 1, nullptr, &sign));
    EXPECT_EQ(34, _fcvt_s(buffer, 4, 1e300, std::numeric_limits<int>::max(), &point, &sign));
    EXPECT_EQ(34, _gcvt_s(buffer, 4, 0.125, 17));
    EXPECT_STREQ("", buffer);
}

TEST(CrtDigits, StatusOfTheThread)
{
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(0U, _statusfp());
    std::feraiseexcept(FE_DIVBYZERO | FE_INVALID);
    EXPECT_EQ(0x18U, _statusfp());
    EXPECT_EQ(0x18U, _statusfp()) << "reading clears nothing";
    std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(CrtNumbers, TextsOfTheTable)
{
    Table const table("host/text_to_number.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        std::wstring const text = table.Wide(row, "text");
        SCOPED_TRACE(table.Raw(row, "text"));
        EXPECT_EQ(table.Integer(row, "wtoi"), _wtoi(text.c_str()));
        EXPECT_EQ(table.Integer(row, "wtol"), _wtol(text.c_str()));
        EXPECT_EQ(table.Integer(row, "wtoi64"), _wtoi64(text.c_str()));
        wchar_t * end = nullptr;
        EXPECT_EQ(std::stoull(table.Raw(row, "wcstoui64")), _wcstoui64(text.c_str(), &end, 10));
        EXPECT_EQ(table.Integer(row, "wcstol"), qvlib::host::wcstol(text.c_str(), &end, 10));
        EXPECT_EQ(table.Integer(row, "wcstol_used"), end - text.c_str());
        EXPECT_EQ(std::stoull(table.Raw(row, "wcstoul")), qvlib::host::wcstoul(text.c_str(), &end, 10));
        EXPECT_EQ(table.Integer(row, "wcstoul_used"), end - text.c_str());
        double const expected = table.Double(row, "wtof");
        double const value = qvlib::host::wcstod(text.c_str(), &end);
        EXPECT_EQ(table.Integer(row, "wcstod_used"), end - text.c_str());
        EXPECT_EQ(expected, value);
        EXPECT_EQ(std::signbit(expected), std::signbit(value));
        EXPECT_EQ(expected, _wtof(text.c_str()));
    }
}

TEST(CrtNumbers, EveryDoubleSurvivesItsSeventeenDigits)
{
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i)
    {
        std::uint64_t const bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value))
            continue;
        std::string const narrow = General(value, 17);
        EXPECT_EQ(value, _wtof(std::wstring(narrow.begin(), narrow.end()).c_str())) << narrow;
    }
}

TEST(CrtNumbers, LongTextsRoundByTheirLastDigit)
{
    // Half way between 1 and the next double, then a digit that only shows after thousands of zeros.
    std::wstring text = L"1.00000000000000011102230246251565404236316680908203125";
    EXPECT_EQ(1.0, _wtof(text.c_str()));
    text.append(5000, L'0').append(L"1");
    EXPECT_EQ(std::nextafter(1.0, 2.0), _wtof(text.c_str()));
    std::wstring const zeros(400, L'0');
    EXPECT_EQ(1.0, _wtof((L"1" + zeros + L"e-400").c_str()));
    EXPECT_EQ(1.0, _wtof((L"0." + zeros + L"1e401").c_str()));
    EXPECT_EQ(0.0, _wtof(L"1e-99999999999999999999999"));
    EXPECT_EQ(std::numeric_limits<double>::infinity(), _wtof(L"1e99999999999999999999999"));
    EXPECT_EQ(std::numeric_limits<double>::infinity(), _wtof(L"1.7976931348623159e308"));
    EXPECT_EQ(5e-324, _wtof(L"4.9e-324"));
    EXPECT_EQ(0.0, _wtof(L"2e-324"));
}

TEST(CrtNumbers, BasesAndTheirPrefixes)
{
    wchar_t * end = nullptr;
    EXPECT_EQ(255UL, qvlib::host::wcstoul(L"0xFFg", &end, 0));
    EXPECT_STREQ(L"g", end);
    EXPECT_EQ(8, qvlib::host::wcstol(L"010", &end, 0));
    EXPECT_EQ(35, qvlib::host::wcstol(L"z", &end, 36));
    EXPECT_EQ(16, qvlib::host::wcstol(L"0x10", &end, 16));
    EXPECT_EQ(0, qvlib::host::wcstol(L"0x", &end, 16));
    EXPECT_STREQ(L"x", end);
    wchar_t const * const text = L"12";
    EXPECT_EQ(0, qvlib::host::wcstol(text, &end, 1));
    EXPECT_EQ(text, end);
    EXPECT_EQ(0, _wtoi(nullptr));
    EXPECT_EQ(0, _wtof(nullptr));
}

TEST(CrtText, CharactersOfTheTable)
{
    Table const table("host/case.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        int const code = static_cast<int>(table.Integer(row, "code"));
        SCOPED_TRACE(table.Raw(row, "code"));
        EXPECT_EQ(table.Integer(row, "towlower"), qvlib::host::towlower(static_cast<wchar_t>(code)));
        EXPECT_EQ(table.Integer(row, "towupper"), qvlib::host::towupper(static_cast<wchar_t>(code)));
        EXPECT_EQ(table.Integer(row, "iswspace") != 0, qvlib::host::iswspace(code));
        EXPECT_EQ(table.Integer(row, "iswdigit") != 0, qvlib::host::iswdigit(code));
        EXPECT_EQ(table.Integer(row, "iswalpha") + table.Integer(row, "iswdigit") != 0, qvlib::host::iswalnum(code));
        if (code < 0x100)
        {
            EXPECT_EQ(table.Integer(row, "isspace") != 0, qvlib::host::isspace(code));
            EXPECT_EQ(table.Integer(row, "isalpha") != 0, qvlib::host::isalpha(code));
        }
    }
}

TEST(CrtText, ComparisonsOfTheTable)
{
    Table const table("host/wcsicmp.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        std::wstring const a = table.Wide(row, "a");
        std::wstring const b = table.Wide(row, "b");
        EXPECT_EQ(table.Integer(row, "wcsicmp_sign"), SignOf(_wcsicmp(a.c_str(), b.c_str())));
        EXPECT_EQ(table.Integer(row, "wcsnicmp_sign"),
                  SignOf(_wcsnicmp(a.c_str(), b.c_str(), static_cast<std::size_t>(table.Integer(row, "n")))));
    }
}

} // namespace
