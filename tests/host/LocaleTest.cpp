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

TEST(Locale, FailuresLeaveTheirReasons)
{
    auto const reason = [](int result)
    {
        EXPECT_EQ(result, 0);
        return GetLastError();
    };
    wchar_t text[kSize];
    SYSTEMTIME const date = {2023, 1, 1, 2, 13, 5, 9, 0};
    wchar_t separator[] = L".";
    NUMBERFMTW const number = {2, 1, 3, separator, separator, 1};
    CURRENCYFMTW const amount = {2, 1, 3, separator, separator, 1, 0, separator};
    DWORD const parameter = ERROR_INVALID_PARAMETER;
    DWORD const flags = ERROR_INVALID_FLAGS;
    for (LCID const unknown : {kUnknown, LCID{0xFFFF}, LCID{0xFFFFFFFF}, LCID{0x4FF}, LCID{0x20411}, LCID{0x100409}})
    {
        EXPECT_EQ(reason(GetLocaleInfoW(unknown, LOCALE_SDECIMAL, text, kSize)), parameter);
        EXPECT_EQ(reason(GetNumberFormatW(unknown, 0, L"1", nullptr, text, kSize)), parameter);
        EXPECT_EQ(reason(GetCurrencyFormatW(unknown, 0, L"1", nullptr, text, kSize)), parameter);
        EXPECT_EQ(reason(GetDateFormatW(unknown, 0, &date, nullptr, text, kSize)), parameter);
        EXPECT_EQ(reason(GetTimeFormatW(unknown, 0, &date, nullptr, text, kSize)), parameter);
        EXPECT_EQ(reason(LCIDToLocaleName(unknown, text, kSize, 0)), parameter);
        EXPECT_FALSE(SetThreadLocale(unknown));
        EXPECT_FALSE(IsValidLocale(unknown, LCID_SUPPORTED));
    }
    for (auto const & [buffer, size] : {std::pair<wchar_t *, int>{nullptr, 5}, {text, -1}, {nullptr, -1}})
    {
        EXPECT_EQ(reason(GetLocaleInfoW(kEnglishUS, LOCALE_SDECIMAL, buffer, size)), parameter);
        EXPECT_EQ(reason(GetNumberFormatW(kEnglishUS, 0, L"1", nullptr, buffer, size)), parameter);
        EXPECT_EQ(reason(GetCurrencyFormatW(kEnglishUS, 0, L"1", nullptr, buffer, size)), parameter);
        EXPECT_EQ(reason(GetDateFormatW(kEnglishUS, 0, &date, nullptr, buffer, size)), parameter);
        EXPECT_EQ(reason(GetTimeFormatW(kEnglishUS, 0, &date, nullptr, buffer, size)), parameter);
        EXPECT_EQ(reason(LCIDToLocaleName(kEnglishUS, buffer, size, 0)), parameter);
    }
    for (LCTYPE const item : {0x0U, 0xFFFFU, 0x7FFFU, LOCALE_SDECIMAL | LOCALE_RETURN_NUMBER})
    {
        EXPECT_EQ(reason(GetLocaleInfoW(kEnglishUS, item, text, kSize)), flags);
    }
    EXPECT_EQ(GetLocaleInfoW(kEnglishUS, LOCALE_IDIGITS | LOCALE_RETURN_NUMBER, nullptr, 0), 2);
    EXPECT_EQ(reason(GetNumberFormatW(kEnglishUS, LOCALE_NOUSEROVERRIDE, L"1", &number, text, kSize)), flags);
    EXPECT_EQ(reason(GetCurrencyFormatW(kEnglishUS, LOCALE_NOUSEROVERRIDE, L"1", &amount, text, kSize)), flags);
    for (DWORD const dateFlags : {0x3U, 0x30U, 0x40000U})
    {
        EXPECT_EQ(reason(GetDateFormatW(kEnglishUS, dateFlags, &date, nullptr, text, kSize)), flags);
    }
    EXPECT_EQ(reason(GetDateFormatW(kEnglishUS, DATE_LONGDATE, &date, L"d", text, kSize)), flags);
    EXPECT_EQ(reason(GetTimeFormatW(kEnglishUS, 0x10, &date, nullptr, text, kSize)), flags);
    EXPECT_EQ(reason(GetNumberFormatW(kEnglishUS, 0, nullptr, nullptr, text, kSize)), parameter);
    EXPECT_EQ(reason(GetNumberFormatW(kEnglishUS, 0, L"1234.5", nullptr, text, 8)), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST(Locale, ValuesAndRecordsOutsideTheDocumentedAreRefused)
{
    for (wchar_t const * value : {L"", L"-", L".", L"-.", L"+1", L" 1", L"1e5", L"1,5", L"0x1", L"\x0661"})
    {
        EXPECT_EQ(Number(kEnglishUS, value), L"") << value;
        EXPECT_EQ(Amount(kEnglishUS, value), L"") << value;
    }
    wchar_t point[] = L".";
    wchar_t comma[] = L",";
    wchar_t long4[] = L"abcd";
    CURRENCYFMTW const good = {2, 1, 3, point, comma, 1, 0, comma};
    for (auto const & [field, value] :
         std::vector<std::pair<UINT CURRENCYFMTW::*, UINT>>{{&CURRENCYFMTW::NumDigits, 10},
                                                            {&CURRENCYFMTW::LeadingZero, 2},
                                                            {&CURRENCYFMTW::Grouping, 10},
                                                            {&CURRENCYFMTW::Grouping, 33},
                                                            {&CURRENCYFMTW::Grouping, 0xFFFFFFFF},
                                                            {&CURRENCYFMTW::NegativeOrder, 16},
                                                            {&CURRENCYFMTW::PositiveOrder, 4}})
    {
        CURRENCYFMTW bad = good;
        bad.*field = value;
        EXPECT_EQ(Amount(kEnglishUS, L"1", &bad), L"");
    }
    for (LPWSTR const text : {static_cast<LPWSTR>(nullptr), static_cast<LPWSTR>(long4)})
    {
        NUMBERFMTW const badPoint = {2, 1, 3, text, comma, 1};
        NUMBERFMTW const badComma = {2, 1, 3, point, text, 1};
        EXPECT_EQ(Number(kEnglishUS, L"1", &badPoint), L"");
        EXPECT_EQ(Number(kEnglishUS, L"1", &badComma), L"");
    }
    NUMBERFMTW const badOrder = {2, 1, 3, point, comma, 5};
    EXPECT_EQ(Number(kEnglishUS, L"1", &badOrder), L"");
    CURRENCYFMTW noSymbol = good;
    noSymbol.lpCurrencySymbol = nullptr;
    EXPECT_EQ(Amount(kEnglishUS, L"1", &noSymbol), L"");
}

TEST(Locale, NumbersKeepTheirGroupsAndCarries)
{
    EXPECT_EQ(Number(kEnglishUS, L"1234567.891"), L"1,234,567.89");
    EXPECT_EQ(Number(kEnglishUS, L"999.995"), L"1,000.00"); // a carry makes a group
    EXPECT_EQ(Number(kEnglishUS, L"-999999.999"), L"-1,000,000.00");
    EXPECT_EQ(Number(0x439, L"1234567.891"), L"12,34,567.89");
    EXPECT_EQ(Amount(0x40C, L"-1234.5"), L"-1\u00A0234,50 \u20AC");
    EXPECT_EQ(Amount(0x411, L"-1234.5"), L"-\u00A51,235");
    EXPECT_EQ(Amount(0x804, L"-1234.5"), L"\u00A5-1,234.50");
    EXPECT_EQ(Amount(0x809, L"-1234.5"), L"-\u00A31,234.50");
    wchar_t point[] = L".";
    wchar_t comma[] = L",";
    NUMBERFMTW const once = {0, 0, 30, point, comma, 1};
    EXPECT_EQ(Number(kEnglishUS, L"1234567", &once), L"1234,567"); // the last group does not repeat
    EXPECT_EQ(Number(kEnglishUS, L"0.2", &once), L"0");
    NUMBERFMTW const twice = {1, 0, 320, point, comma, 0};
    EXPECT_EQ(Number(kEnglishUS, L"-123456789.95", &twice), L"(1234,56,790.0)");
    std::wstring const digits(5000, L'9');
    EXPECT_EQ(GetNumberFormatW(kEnglishUS, 0, digits.c_str(), nullptr, nullptr, 0), 5000 + 1666 + 3 + 1);

    // Against a grouping done the plain way.
    std::mt19937_64 random(7);
    for (int i = 0; i < 2000; ++i)
    {
        unsigned long long const value = random() >> (random() % 64);
        std::wstring expected = std::to_wstring(value);
        for (std::size_t at = expected.size(); at > 3; at -= 3)
        {
            expected.insert(at - 3, L",");
        }
        EXPECT_EQ(Number(kEnglishUS, std::to_wstring(value).c_str()), expected + L".00");
    }
}

TEST(Locale, MonthsBesideADayAreInTheirOwnForm)
{
    SYSTEMTIME const date = {2024, 2, 0, 29, 0, 0, 0, 0};
    EXPECT_EQ(Date(kRussian, date, L"MMMM yyyy"), L"\u0444\u0435\u0432\u0440\u0430\u043B\u044C 2024");
    EXPECT_EQ(Date(kRussian, date, L"d MMMM"), L"29 \u0444\u0435\u0432\u0440\u0430\u043B\u044F");
    // Only a day of the month counts, and only outside quotes.
    EXPECT_EQ(Date(kRussian, date, L"'d' dddd MMMM").back(), L'\u044C');
    EXPECT_EQ(Item(kRussian, LOCALE_SMONTHNAME1 + 1).back(), L'\u044C');
    EXPECT_EQ(Item(kRussian, (LOCALE_SMONTHNAME1 + 1) | LOCALE_RETURN_GENITIVE_NAMES).back(), L'\u044F');
    EXPECT_EQ(Item(kGerman, LOCALE_SDAYNAME1), L"Montag");
    EXPECT_EQ(Item(kGerman, LOCALE_SABBREVDAYNAME1 + 6), L"So.");
    EXPECT_EQ(Date(kEnglishUS, date, L"gg g"), L"AD AD"); // two letters are one era
}

TEST(Locale, LanguagesWithoutDataAreWrittenAsTheirRegionIs)
{
    SYSTEMTIME const date = {2024, 5, 0, 29, 0, 0, 0, 0};
    EXPECT_EQ(Date(0x0483, date, nullptr, DATE_LONGDATE), L"mercredi 29 mai 2024"); // Corsican
    EXPECT_EQ(Amount(0x0483, L"1234.5"), L"1\u00A0234,50 \u20AC");
    EXPECT_EQ(Date(0x047C, date, L"dddd"), L"Wednesday"); // Mohawk
    EXPECT_EQ(Item(0x0483, LOCALE_SISO639LANGNAME), L"co");
}

TEST(Locale, DatesEndWithTheCalendar)
{
    auto const written = [](WORD year, WORD month, WORD day) {
        return Date(kEnglishUS, SYSTEMTIME{year, month, 9, day, 99, 99, 99, 9999}, L"ddd d.M.yyyy");
    };
    EXPECT_EQ(written(1601, 1, 1), L"Mon 1.1.1601");
    EXPECT_EQ(written(30827, 12, 31), L"Fri 31.12.30827");
    for (auto const & [year, month, day] : {std::tuple<WORD, WORD, WORD>{1600, 12, 31},
                                            {30828, 1, 1},
                                            {2023, 2, 29},
                                            {2023, 0, 1},
                                            {2023, 13, 1},
                                            {2023, 4, 31},
                                            {2023, 1, 0},
                                            {65535, 1, 1}})
    {
        EXPECT_EQ(written(year, month, day), L"");
    }
    std::wstring const literal(300, L'x');
    std::wstring long300(400, L'#');
    SYSTEMTIME const date = {2024, 2, 0, 29, 0, 0, 0, 0};
    EXPECT_EQ(GetDateFormatW(kEnglishUS, 0, &date, (literal + L" d").c_str(), long300.data(), 304), 304);
    EXPECT_EQ(long300.substr(0, 304), literal + L" 29" + L'\0');
    EXPECT_GT(GetDateFormatW(kEnglishUS, 0, nullptr, nullptr, nullptr, 0), 8); // the running date
    EXPECT_GT(GetTimeFormatW(kEnglishUS, 0, nullptr, nullptr, nullptr, 0), 10);
}

TEST(Locale, PatternsOfAnyKindStayInTheirBuffers)
{
    std::mt19937 random(11);
    constexpr LCID kSome[] = {0x409, 0x419, 0x411, 0x401};
    constexpr wchar_t kLetters[] = L"dMygHhmst'' ./x\u05D0";
    SYSTEMTIME const date = {2024, 12, 0, 31, 23, 59, 58, 0};
    for (int i = 0; i < 3000; ++i)
    {
        std::wstring pattern;
        for (auto n = random() % 40; n > 0; --n)
        {
            pattern.append(1 + random() % 4, kLetters[random() % (std::size(kLetters) - 1)]);
        }
        LCID const locale = kSome[random() % 4];
        DWORD const flags = static_cast<DWORD>(random() % 16);
        Date(locale, date, pattern.c_str()); // Answer looks at the buffer
        Answer([&](wchar_t * buffer, int size)
               { return GetTimeFormatW(locale, flags, &date, pattern.c_str(), buffer, size); });
    }
}

TEST(Locale, ThreadsHaveTheirOwnAndShareTheData)
{
    LCID const usual = GetThreadLocale();
    EXPECT_EQ(usual, ConvertDefaultLocale(LOCALE_USER_DEFAULT));
    std::vector<std::thread> threads;
    for (LCID const locale : {0x406U, 0x40BU, 0x415U, 0x41DU})
    {
        threads.emplace_back(
            [locale]
            {
                EXPECT_TRUE(SetThreadLocale(locale));
                for (LCID other = 0x401; other < 0x430; ++other)
                {
                    Number(other, L"-1234.5");
                    Item(other, LOCALE_SLONGDATE);
                }
                EXPECT_EQ(GetThreadLocale(), locale);
            });
    }
    for (std::thread & thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(GetThreadLocale(), usual);
    EXPECT_TRUE(SetThreadLocale(0x7));
    EXPECT_EQ(GetThreadLocale(), kGerman); // a neutral id stands for its region
    EXPECT_TRUE(SetThreadLocale(LOCALE_USER_DEFAULT));
    EXPECT_EQ(GetThreadLocale(), usual);
    EXPECT_EQ(LocaleNameToLCID(L"de", LOCALE_ALLOW_NEUTRAL_NAMES), 0x7U);
    EXPECT_EQ(LocaleNameToLCID(L"DE-de", 0), kGerman);
    EXPECT_EQ(LocaleNameToLCID(L"xx-XX", 0), 0U);
    wchar_t name[LOCALE_NAME_MAX_LENGTH];
    EXPECT_EQ(LCIDToLocaleName(0x7C04, name, LOCALE_NAME_MAX_LENGTH, LOCALE_ALLOW_NEUTRAL_NAMES), 8);
    EXPECT_STREQ(name, L"zh-Hant");
}
