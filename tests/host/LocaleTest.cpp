#include "qvlib/host/locale.h"
#include "qvlib/host/error.h"
#include "qvlib/host/nls.h"
#include "support/tsv.h"

#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using qvlib_test::Table;

namespace
{

constexpr LCID kEnglishUS = 0x409;
constexpr LCID kGerman = 0x407;
constexpr LCID kRussian = 0x419;
constexpr LCID kUnknown = 0x9999;

constexpr int kSize = 256;

/// Runs a reading into a buffer and holds its text and its result together.
struct Answer
{
    template <class Call>
    explicit Answer(Call call)
    {
        wchar_t buffer[kSize] = L"untouched";
        SetLastError(0);
        result = call(buffer, kSize);
        error = result == 0 ? GetLastError() : 0;
        text = result != 0 ? buffer : L"";
        if (result == 0)
        {
            EXPECT_STREQ(buffer, L"untouched");
        }
        else
        {
            EXPECT_EQ(call(nullptr, 0), result) << "the size that is asked for";
            wchar_t exact[kSize];
            std::fill_n(exact, kSize, L'#');
            EXPECT_EQ(call(exact, result), result);
            EXPECT_EQ(exact[result], L'#') << "written behind the buffer";
            EXPECT_EQ(call(exact, result - 1), result == 1 ? 1 : 0);
        }
    }
    int result;
    DWORD error;
    std::wstring text;
};

void ExpectRow(Table const & table, std::size_t row, std::string const & column, Answer const & answer)
{
    EXPECT_EQ(answer.text, table.Wide(row, column));
    EXPECT_EQ(answer.result, table.Integer(row, "rc"));
    EXPECT_EQ(answer.error, static_cast<DWORD>(table.Integer(row, "error")));
}

LCID Locale(Table const & table, std::size_t row) { return static_cast<LCID>(table.Integer(row, "locale")); }

UINT Field(Table const & table, std::size_t row, char const * column)
{
    return static_cast<UINT>(table.Integer(row, column));
}

WORD TimeField(Table const & table, std::size_t row, char const * column)
{
    return static_cast<WORD>(table.Integer(row, column));
}

/// The pattern of a row, or null.
std::optional<std::wstring> RowPattern(Table const & table, std::size_t row)
{
    return table.Raw(row, "pattern_null") == "1" ? std::nullopt : std::optional(table.Wide(row, "pattern"));
}

std::wstring Item(LCID locale, LCTYPE item)
{
    return Answer([&](wchar_t * buffer, int size) { return GetLocaleInfoW(locale, item, buffer, size); }).text;
}

std::wstring Number(LCID locale, wchar_t const * value, NUMBERFMTW const * format = nullptr)
{
    return Answer([&](wchar_t * buffer, int size) { return GetNumberFormatW(locale, 0, value, format, buffer, size); })
        .text;
}

std::wstring Amount(LCID locale, wchar_t const * value, CURRENCYFMTW const * format = nullptr)
{
    return Answer([&](wchar_t * buffer, int size)
                  { return GetCurrencyFormatW(locale, 0, value, format, buffer, size); })
        .text;
}

std::wstring Date(LCID locale, SYSTEMTIME const & date, wchar_t const * pattern, DWORD flags = 0)
{
    return Answer([&](wchar_t * buffer, int size)
                  { return GetDateFormatW(locale, flags, &date, pattern, buffer, size); })
        .text;
}

} // namespace

TEST(Locale, ItemsAreThoseOfThePlatform)
{
    Table const table("locale/items.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        LCTYPE const item = static_cast<LCTYPE>(table.Integer(row, "item"));
        SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "item"));
        if ((item & LOCALE_RETURN_NUMBER) != 0)
        {
            DWORD number[2] = {0, 0};
            int const result = GetLocaleInfoW(Locale(table, row), item, reinterpret_cast<wchar_t *>(number), 2);
            EXPECT_EQ(result, table.Integer(row, "rc"));
            if (result != 0)
            {
                EXPECT_EQ(number[0], static_cast<DWORD>(table.Integer(row, "value")));
            }
            continue;
        }
        ExpectRow(
            table, row, "value",
            Answer([&](wchar_t * buffer, int size) { return GetLocaleInfoW(Locale(table, row), item, buffer, size); }));
    }
}

TEST(Locale, NumbersAreWrittenAsThePlatformDoes)
{
    Table const table("locale/number_format.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        std::wstring const value = table.Wide(row, "value");
        std::wstring decimal = table.Wide(row, "decimal");
        std::wstring thousand = table.Wide(row, "thousand");
        bool const own = table.Raw(row, "digits").empty();
        NUMBERFMTW const format = own ? NUMBERFMTW{}
                                      : NUMBERFMTW{Field(table, row, "digits"),
                                                   Field(table, row, "leading_zero"),
                                                   Field(table, row, "grouping"),
                                                   decimal.data(),
                                                   thousand.data(),
                                                   Field(table, row, "negative_order")};
        SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "value") + " row " + std::to_string(row));
        ExpectRow(table, row, "text",
                  Answer(
                      [&](wchar_t * buffer, int size)
                      {
                          return GetNumberFormatW(Locale(table, row), Field(table, row, "flags"), value.c_str(),
                                                  own ? nullptr : &format, buffer, size);
                      }));
    }
}

TEST(Locale, AmountsAreWrittenAsThePlatformDoes)
{
    Table const table("locale/currency_format.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        std::wstring const value = table.Wide(row, "value");
        std::wstring decimal = table.Wide(row, "decimal");
        std::wstring thousand = table.Wide(row, "thousand");
        std::wstring symbol = table.Wide(row, "symbol");
        bool const own = table.Raw(row, "digits").empty();
        CURRENCYFMTW const format = own ? CURRENCYFMTW{}
                                        : CURRENCYFMTW{Field(table, row, "digits"),
                                                       Field(table, row, "leading_zero"),
                                                       Field(table, row, "grouping"),
                                                       decimal.data(),
                                                       thousand.data(),
                                                       Field(table, row, "negative_order"),
                                                       Field(table, row, "positive_order"),
                                                       symbol.data()};
        SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "value") + " row " + std::to_string(row));
        ExpectRow(table, row, "text",
                  Answer(
                      [&](wchar_t * buffer, int size)
                      {
                          return GetCurrencyFormatW(Locale(table, row), Field(table, row, "flags"), value.c_str(),
                                                    own ? nullptr : &format, buffer, size);
                      }));
    }
}

TEST(Locale, DatesAreWrittenAsThePlatformDoes)
{
    Table const table("locale/date_format.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SYSTEMTIME const date = {TimeField(table, row, "year"),
                                 TimeField(table, row, "month"),
                                 TimeField(table, row, "day_of_week"),
                                 TimeField(table, row, "day"),
                                 10,
                                 20,
                                 30,
                                 400};
        std::optional<std::wstring> const pattern = RowPattern(table, row);
        SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "flags") + " " + table.Raw(row, "pattern"));
        ExpectRow(table, row, "text",
                  Answer(
                      [&](wchar_t * buffer, int size)
                      {
                          return GetDateFormatW(Locale(table, row), Field(table, row, "flags"), &date,
                                                pattern ? pattern->c_str() : nullptr, buffer, size);
                      }));
    }
}

TEST(Locale, TimesAreWrittenAsThePlatformDoes)
{
    Table const table("locale/time_format.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SYSTEMTIME const time = {2023,
                                 1,
                                 1,
                                 2,
                                 TimeField(table, row, "hour"),
                                 TimeField(table, row, "minute"),
                                 TimeField(table, row, "second"),
                                 TimeField(table, row, "ms")};
        std::optional<std::wstring> const pattern = RowPattern(table, row);
        SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "flags") + " " + table.Raw(row, "pattern"));
        ExpectRow(table, row, "text",
                  Answer(
                      [&](wchar_t * buffer, int size)
                      {
                          return GetTimeFormatW(Locale(table, row), Field(table, row, "flags"), &time,
                                                pattern ? pattern->c_str() : nullptr, buffer, size);
                      }));
    }
}

TEST(Locale, IdsAreThoseOfThePlatform)
{
    Table const table("locale/ids.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        LCID const id = Locale(table, row);
        SCOPED_TRACE(table.Raw(row, "locale"));
        Answer const name([&](wchar_t * buffer, int size) { return LCIDToLocaleName(id, buffer, size, 0); });
        EXPECT_EQ(name.result, table.Integer(row, "name_rc"));
        EXPECT_EQ(name.text, table.Wide(row, "name"));
        EXPECT_EQ(name.error, static_cast<DWORD>(table.Integer(row, "name_error")));
        EXPECT_EQ(ConvertDefaultLocale(id), static_cast<LCID>(table.Integer(row, "converted")));
        EXPECT_EQ(IsValidLocale(id, LCID_INSTALLED), table.Integer(row, "valid_installed"));
        EXPECT_EQ(IsValidLocale(id, LCID_SUPPORTED), table.Integer(row, "valid_supported"));
        EXPECT_EQ(IsValidLocale(ConvertDefaultLocale(id), LCID_SUPPORTED),
                  table.Integer(row, "converted_valid_supported"));
    }
}

namespace
{
std::vector<std::wstring> g_walk;
} // namespace

TEST(Locale, WalkMeetsEveryLocaleOnceAndStopsWhenTold)
{
    g_walk.clear();
    auto const collect = [](LPWSTR text) -> BOOL
    {
        g_walk.emplace_back(text);
        return TRUE;
    };
    ASSERT_TRUE(EnumSystemLocalesW(collect, LCID_SUPPORTED));
    std::set<std::wstring> const walked(g_walk.begin(), g_walk.end());
    EXPECT_EQ(walked.size(), g_walk.size());
    EXPECT_GT(walked.size(), 250U);
    Table const table("locale/enum.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SCOPED_TRACE(table.Raw(row, "locale"));
        EXPECT_EQ(walked.count(table.Wide(row, "text")), 1U);
        EXPECT_EQ(Item(Locale(table, row), LOCALE_SISO3166CTRYNAME2), table.Wide(row, "region"));
    }
    // Every locale answers for all that a formatting needs, and its name leads back to it.
    SYSTEMTIME const date = {2024, 2, 0, 29, 9, 5, 7, 0};
    for (std::wstring const & text : walked)
    {
        SCOPED_TRACE(std::string(text.begin(), text.end()));
        LCID const id = static_cast<LCID>(std::stoul(text, nullptr, 16));
        EXPECT_EQ(LocaleNameToLCID(Item(id, LOCALE_SNAME).c_str(), 0), id);
        for (LCTYPE const item : {LOCALE_SDECIMAL, LOCALE_STHOUSAND, LOCALE_SCURRENCY, LOCALE_SENGCURRNAME,
                                  LOCALE_SNATIVECURRNAME, LOCALE_SENGCOUNTRY, LOCALE_SNATIVECTRYNAME, LOCALE_SDATE,
                                  LOCALE_STIME, LOCALE_SLONGDATE, LOCALE_SYEARMONTH, LOCALE_SMONTHDAY,
                                  LOCALE_SSHORTTIME, LOCALE_SISO639LANGNAME, LOCALE_SISO639LANGNAME2, LOCALE_S1159})
        {
            EXPECT_NE(Item(id, item), L"") << std::hex << item;
        }
        EXPECT_NE(Number(id, L"1234567.891"), L"");
        EXPECT_NE(Amount(id, L"-1234567.891"), L"");
        EXPECT_NE(Date(id, date, nullptr, DATE_LONGDATE).find(L"2024"), std::wstring::npos);
        EXPECT_NE(Date(id, date, nullptr).find(L"29"), std::wstring::npos);
    }
    g_walk.clear();
    auto const stop = [](LPWSTR text) -> BOOL
    {
        g_walk.emplace_back(text);
        return FALSE;
    };
    EXPECT_TRUE(EnumSystemLocalesW(stop, LCID_INSTALLED));
    EXPECT_EQ(g_walk.size(), 1U);
    EXPECT_FALSE(EnumSystemLocalesW(nullptr, LCID_SUPPORTED));
    EXPECT_FALSE(EnumSystemLocalesW(stop, 0x80));
}
