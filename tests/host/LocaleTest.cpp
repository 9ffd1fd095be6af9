#include "qvlib/host/locale.h"
#include "qvlib/host/error.h"
#include "qvlib/host/nls.h"
#include "support/tsv.h"

#include <functional>
#include <gtest/gtest.h>
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

// Numbers, and amounts with the three columns more that they have.
TEST(Locale, NumbersAndAmountsAreWrittenAsThePlatformDoes)
{
    for (bool const isAmount : {false, true})
    {
        Table const table(isAmount ? "locale/currency_format.tsv" : "locale/number_format.tsv");
        for (std::size_t row = 0; row < table.Rows(); ++row)
        {
            std::wstring const value = table.Wide(row, "value");
            std::wstring decimal = table.Wide(row, "decimal");
            std::wstring thousand = table.Wide(row, "thousand");
            std::wstring symbol = isAmount ? table.Wide(row, "symbol") : L"";
            NUMBERFMTW number{};
            CURRENCYFMTW amount{};
            bool const own = table.Raw(row, "digits").empty();
            if (!own)
                number = {Field(table, row, "digits"),
                          Field(table, row, "leading_zero"),
                          Field(table, row, "grouping"),
                          decimal.data(),
                          thousand.data(),
                          Field(table, row, "negative_order")};
            if (!own && isAmount)
                amount = {number.NumDigits,
                          number.LeadingZero,
                          number.Grouping,
                          decimal.data(),
                          thousand.data(),
                          number.NegativeOrder,
                          Field(table, row, "positive_order"),
                          symbol.data()};
            SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "value") + " row " + std::to_string(row));
            LCID const locale = Locale(table, row);
            UINT const flags = Field(table, row, "flags");
            ExpectRow(table, row, "text",
                      Answer(
                          [&](wchar_t * buffer, int size)
                          {
                              return isAmount ? GetCurrencyFormatW(locale, flags, value.c_str(),
                                                                   own ? nullptr : &amount, buffer, size)
                                              : GetNumberFormatW(locale, flags, value.c_str(), own ? nullptr : &number,
                                                                 buffer, size);
                          }));
        }
    }
}

TEST(Locale, DatesAndTimesAreWrittenAsThePlatformDoes)
{
    for (bool const isDate : {false, true})
    {
        Table const table(isDate ? "locale/date_format.tsv" : "locale/time_format.tsv");
        auto const write = isDate ? &GetDateFormatW : &GetTimeFormatW;
        for (std::size_t row = 0; row < table.Rows(); ++row)
        {
            auto const field = [&](char const * column) { return static_cast<WORD>(table.Integer(row, column)); };
            SYSTEMTIME const date =
                isDate ? SYSTEMTIME{field("year"), field("month"), field("day_of_week"), field("day"), 10, 20, 30, 400}
                       : SYSTEMTIME{2023, 1, 1, 2, field("hour"), field("minute"), field("second"), field("ms")};
            std::wstring const pattern = table.Wide(row, "pattern");
            wchar_t const * const text = table.Raw(row, "pattern_null") == "1" ? nullptr : pattern.c_str();
            SCOPED_TRACE(table.Raw(row, "locale") + " " + table.Raw(row, "flags") + " " + table.Raw(row, "pattern"));
            ExpectRow(
                table, row, "text",
                Answer([&](wchar_t * buffer, int size)
                       { return write(Locale(table, row), Field(table, row, "flags"), &date, text, buffer, size); }));
        }
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
    wchar_t text[kSize];
    SYSTEMTIME const date = {2023, 1, 1, 2, 13, 5, 9, 0};
    wchar_t separator[] = L".";
    NUMBERFMTW const number = {2, 1, 3, separator, separator, 1};
    CURRENCYFMTW const amount = {2, 1, 3, separator, separator, 1, 0, separator};
    // What each function says to a locale, to flags and to a buffer; every table below goes through all of them.
    using Call = std::function<int(LCID, DWORD, LPWSTR, int)>;
    Call const item = [](LCID id, DWORD flags, LPWSTR to, int size) { return GetLocaleInfoW(id, flags, to, size); };
    Call const calls[] = {
        [&](LCID id, DWORD flags, LPWSTR to, int size)
        { return GetNumberFormatW(id, flags, L"1234.5", flags != 0 ? &number : nullptr, to, size); },
        [&](LCID id, DWORD flags, LPWSTR to, int size)
        { return GetCurrencyFormatW(id, flags, L"1234.5", flags != 0 ? &amount : nullptr, to, size); },
        [&](LCID id, DWORD flags, LPWSTR to, int size) { return GetDateFormatW(id, flags, &date, nullptr, to, size); },
        [&](LCID id, DWORD flags, LPWSTR to, int size)
        { return GetTimeFormatW(id, flags != 0 ? 0x10 : 0, &date, nullptr, to, size); },
        [](LCID id, DWORD, LPWSTR to, int size) { return LCIDToLocaleName(id, to, size, 0); },
        [&](LCID id, DWORD, LPWSTR to, int size) { return item(id, LOCALE_SLANGUAGE, to, size); }};
    auto const fails = [](int result, LSTATUS reason)
    { return result == 0 && GetLastError() == static_cast<DWORD>(reason); };
    for (std::size_t i = 0; i < std::size(calls); ++i)
    {
        SCOPED_TRACE(i);
        for (LCID const unknown :
             {kUnknown, LCID{0xFFFF}, LCID{0xFFFFFFFF}, LCID{0x4FF}, LCID{0x20411}, LCID{0x100409}})
            EXPECT_TRUE(fails(calls[i](unknown, 0, text, kSize), ERROR_INVALID_PARAMETER)) << unknown;
        for (auto const & [buffer, size] : {std::pair<wchar_t *, int>{nullptr, 5}, {text, -1}, {nullptr, -1}})
            EXPECT_TRUE(fails(calls[i](kEnglishUS, 0, buffer, size), ERROR_INVALID_PARAMETER)) << size;
        EXPECT_TRUE(fails(calls[i](kEnglishUS, 0, text, 2), ERROR_INSUFFICIENT_BUFFER));
        EXPECT_TRUE(i == 2 || i > 3 ||
                    fails(calls[i](kEnglishUS, LOCALE_NOUSEROVERRIDE, text, kSize), ERROR_INVALID_FLAGS));
    }
    EXPECT_FALSE(SetThreadLocale(kUnknown) || IsValidLocale(kUnknown, LCID_SUPPORTED));
    for (LCTYPE const wrong : {0x0U, 0xFFFFU, 0x7FFFU, LOCALE_SDECIMAL | LOCALE_RETURN_NUMBER})
        EXPECT_TRUE(fails(item(kEnglishUS, wrong, text, kSize), ERROR_INVALID_FLAGS)) << wrong;
    EXPECT_EQ(item(kEnglishUS, LOCALE_IDIGITS | LOCALE_RETURN_NUMBER, nullptr, 0), 2);
    for (DWORD const wrong : {0x3U, 0x30U, 0x40000U})
        EXPECT_TRUE(fails(calls[2](kEnglishUS, wrong, text, kSize), ERROR_INVALID_FLAGS)) << wrong;
}

TEST(Locale, ValuesAndRecordsOutsideTheDocumentedAreRefused)
{
    for (wchar_t const * value : {L"", L"-", L".", L"-.", L"+1", L" 1", L"1e5", L"1,5", L"0x1", L"\x0661"})
    {
        EXPECT_EQ(Number(kEnglishUS, value) + Amount(kEnglishUS, value), L"") << value;
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
    for (NUMBERFMTW const & bad : {NUMBERFMTW{2, 1, 3, nullptr, comma, 1},
                                   {2, 1, 3, long4, comma, 1},
                                   {2, 1, 3, point, nullptr, 1},
                                   {2, 1, 3, point, long4, 1},
                                   {2, 1, 3, point, comma, 5}})
        EXPECT_EQ(Number(kEnglishUS, L"1", &bad), L"");
    CURRENCYFMTW noSymbol = good;
    noSymbol.lpCurrencySymbol = nullptr;
    EXPECT_EQ(Amount(kEnglishUS, L"1", &noSymbol), L"");
}

TEST(Locale, NumbersKeepTheirGroupsAndCarries)
{
    EXPECT_EQ(Number(kEnglishUS, L"-999999.999"), L"-1,000,000.00"); // a carry makes a group
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
