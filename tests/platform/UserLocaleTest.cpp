#include "qvlib/UserLocale.h"

#include "qvlib/XmlParser.h"
#include "support/allocation_sweep.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>
#include <vector>

using qvlib::CQVString;

namespace
{

constexpr unsigned long kEnglishUS = 0x409;
constexpr unsigned long kGerman = 0x407;
constexpr unsigned long kJapanese = 0x411;
constexpr unsigned long kUnknown = 0x9999;

std::wstring Text(CQVString const & text) { return text.GetString(); }

template <class Read>
std::wstring Get(Read read)
{
    CQVString text = L"as it was";
    int const result = read(text);
    EXPECT_TRUE(result == 1 || (result == 0 && text == L"as it was"));
    return Text(text);
}

std::wstring Number(double value, unsigned long locale = kEnglishUS)
{
    return Get([&](CQVString & text) { return CUserLocale::GetNumberFormatW(locale, 0, value, nullptr, text); });
}

} // namespace

TEST(UserLocale, TakesTheIdsThatThePlatformKnows)
{
    EXPECT_EQ(CUserLocale().GetLocaleID(), 0x400U);
    EXPECT_EQ(CUserLocale(kUnknown).GetLocaleID(), 0x400U);
    EXPECT_EQ(CUserLocale(~0UL).GetLocaleID(), 0x400U);
    EXPECT_EQ(CUserLocale(0x700000407UL).GetLocaleID(), 0x400U) << "cut to 32 bits";
    CUserLocale locale(0x7);
    EXPECT_EQ(locale.GetLocaleID(), 0x7U) << "the id stays as it was given";
    EXPECT_EQ(locale.GetConvertedLocaleID(), kGerman);
    EXPECT_EQ(locale.SetLocale(kUnknown), 0);
    EXPECT_EQ(locale.GetLocaleID(), 0x7U);
    EXPECT_EQ(locale.SetLocale(kJapanese), 1);
    EXPECT_EQ(locale.GetLocaleID(), kJapanese);
    EXPECT_EQ(CUserLocale::IsValidLocale(kGerman), 1);
    EXPECT_EQ(CUserLocale::IsValidLocale(kUnknown), 0);
    EXPECT_EQ(CUserLocale::GetConvertedLocaleID(kUnknown), kUnknown);
}

TEST(UserLocale, NamesThings)
{
    CUserLocale const german(kGerman);
    struct
    {
        int (*text)(unsigned long, CQVString &);
        int (*buffer)(unsigned long, wchar_t *, unsigned long);
        wchar_t const * expected;
    } const names[] = {
        {&CUserLocale::GetCurrencyEnglishName, &CUserLocale::GetCurrencyEnglishName, L"Euro"},
        {&CUserLocale::GetCurrencyNativeName, &CUserLocale::GetCurrencyNativeName, L"Euro"},
        {&CUserLocale::GetCurrencySymbol, &CUserLocale::GetCurrencySymbol, L"\u20AC"},
        {&CUserLocale::GetISOCurrencySymbol, &CUserLocale::GetISOCurrencySymbol, L"EUR"},
        {&CUserLocale::GetRegionEnglishName, &CUserLocale::GetRegionEnglishName, L"Germany"},
        {&CUserLocale::GetRegionNativeName, &CUserLocale::GetRegionNativeName, L"Deutschland"},
        {&CUserLocale::GetTwoLetterISORegionName, &CUserLocale::GetTwoLetterISORegionName, L"DE"},
        {&CUserLocale::GetThreeLetterISORegionName, &CUserLocale::GetThreeLetterISORegionName, L"DEU"},
        {&CUserLocale::GetLanguageName, &CUserLocale::GetLanguageName, L"de"},
        {&CUserLocale::GetLocaleName, &CUserLocale::GetLocaleName, L"de-DE"},
    };
    for (auto const & name : names)
    {
        EXPECT_EQ(Get([&](CQVString & text) { return name.text(kGerman, text); }), name.expected);
        std::size_t const length = std::wstring(name.expected).size();
        std::vector<wchar_t> buffer(length + 1, L'#'); // exactly as long as the text needs
        EXPECT_EQ(name.buffer(kGerman, buffer.data(), length), 0);
        EXPECT_EQ(buffer[0], L'#') << "untouched by a failure";
        EXPECT_EQ(name.buffer(kGerman, buffer.data(), length + 1), 1);
        EXPECT_STREQ(buffer.data(), name.expected);
        EXPECT_EQ(name.buffer(kGerman, nullptr, 0), 1) << "asks for the size";
        EXPECT_EQ(name.buffer(kGerman, nullptr, 5), 0);
        EXPECT_EQ(name.buffer(kGerman, buffer.data(), ~0UL), 0);
    }
    CQVString text = L"as it was";
    EXPECT_EQ(CUserLocale::GetCurrencySymbol(kUnknown, text), 0);
    // No region has a display name, on purpose.
    wchar_t buffer[4] = L"#";
    EXPECT_EQ(german.GetRegionDisplayName(text) + CUserLocale::GetRegionDisplayName(kGerman, text), 0);
    EXPECT_EQ(german.GetRegionDisplayName(buffer, 4) + CUserLocale::GetRegionDisplayName(kGerman, buffer, 4), 0);
    EXPECT_EQ(Text(text), L"as it was");
    EXPECT_EQ(buffer[0], L'#');
}

TEST(UserLocale, ShortCurrencyNameIsTheLastWord)
{
    EXPECT_EQ(Get([](CQVString & text) { return CUserLocale::GetCurrencyEnglishShortName(kEnglishUS, text); }),
              L"Dollar");
    EXPECT_EQ(Get([](CQVString & text) { return CUserLocale(kGerman).GetCurrencyEnglishShortName(text); }), L"Euro");
    EXPECT_EQ(Get([](CQVString & text) { return CUserLocale::GetCurrencyNativeShortName(kJapanese, text); }),
              L"\u65E5\u672C\u5186");
    CQVString text = L"as it was";
    EXPECT_EQ(CUserLocale::GetCurrencyEnglishShortName(kUnknown, text), 1) << "also when nothing was read";
    EXPECT_EQ(Text(text), L"as it was");
}

TEST(UserLocale, YenIsFullWidthInJapaneseOnly)
{
    auto const amount = [](unsigned long locale, wchar_t const * value)
    { return Get([&](CQVString & text) { return CUserLocale::GetCurrencyFormatW(locale, 0, value, nullptr, text); }); };
    EXPECT_EQ(Get([](CQVString & text) { return CUserLocale::GetCurrencySymbol(kJapanese, text); }), L"\uFFE5");
    EXPECT_EQ(amount(kJapanese, L"1234"), L"\uFFE51,234");
    EXPECT_EQ(amount(kJapanese, L"-1234"), L"-\uFFE51,234");
    // The id is compared as it was given.
    EXPECT_EQ(amount(0x11, L"1234"), L"\u00A51,234");
    EXPECT_EQ(amount(0x804, L"1234"), L"\u00A51,234.00");
    wchar_t decimal[8], thousand[8], symbol[8];
    _currencyfmtW record = {0, 0, 0, decimal, thousand, 0, 0, symbol};
    EXPECT_EQ(CUserLocale(kJapanese).GetCurrencyInfo(&record), 1);
    EXPECT_STREQ(symbol, L"\uFFE5");
    wchar_t tiny[2] = L"#";
    EXPECT_EQ(CUserLocale::GetCurrencyFormatW(kJapanese, 0, L"1", nullptr, tiny, 2), 0);
    EXPECT_EQ(CUserLocale::GetCurrencyFormatW(kJapanese, 0, L"1", nullptr, nullptr, 0), 1);
    EXPECT_EQ(tiny[0], L'#');
}

TEST(UserLocale, DoublesGoThroughPlainText)
{
    EXPECT_EQ(Number(1234567.891), L"1,234,567.89");
    EXPECT_EQ(Number(-1234.5, kGerman), L"-1.234,50");
    EXPECT_EQ(Number(0.05), L"0.05");
    EXPECT_EQ(Number(-0.004), L"-0.00");
    EXPECT_EQ(Number(1e20), L"100,000,000,000,000,000,000.00");
    // 15 decimals are looked at below 0.1.
    wchar_t point[] = L".";
    _numberfmtW record = {9, 1, 0, point, point, 1};
    EXPECT_EQ(Get([&](CQVString & text)
                  { return CUserLocale::GetNumberFormatW(kEnglishUS, 0, 0.0123456789, &record, text); }),
              L"0.012345679");
    // What has no plain text, or one of more than 180 characters, is not formatted.
    for (double const value : {0.0, -0.0, std::numeric_limits<double>::infinity(), std::nan(""), 1e180, -1e179,
                               std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(), 1e-200})
    {
        SCOPED_TRACE(value);
        EXPECT_EQ(Number(value), L"as it was");
        CQVString text;
        EXPECT_EQ(CUserLocale::GetIntegerFormat(kEnglishUS, 0, value, nullptr, text), 0);
        EXPECT_EQ(CUserLocale::GetPercentFormat(kEnglishUS, 0, value, nullptr, text), 0);
        EXPECT_EQ(CUserLocale::GetCurrencyFormatW(kEnglishUS, 0, value, nullptr, text), 0);
    }
    EXPECT_EQ(Number(1e-100), L"0.00");
    EXPECT_EQ(Number(1.5e178).size(), 179U + 59U + 3U);
    // Every power of ten, and what lies beside it.
    for (int exponent = -20; exponent < 100; ++exponent)
    {
        for (double const factor : {1.0, 9.999999999999999, 1.0000000000000002})
        {
            double const value = factor * std::pow(10.0, exponent);
            std::wstring text = Number(value);
            std::erase(text, L',');
            EXPECT_NEAR(std::wcstod(text.c_str(), nullptr), value, 0.0050001 + value * 1e-15) << value;
        }
    }
}

TEST(UserLocale, IntegersAndPercentages)
{
    wchar_t point[] = L".";
    wchar_t comma[] = L"'";
    _numberfmtW record = {7, 1, 3, point, comma, 0};
    CUserLocale const locale(kEnglishUS);
    auto const get = [](auto call) { return Get(call); };
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetIntegerFormat(0, 1234.5, nullptr, text); }), L"1,235");
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetIntegerFormat(0, L"-1234.4", &record, text); }), L"(1'234)");
    EXPECT_EQ(record.NumDigits, 7U) << "the caller's record";
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetPercentFormat(0, 12.5, nullptr, text); }), L"12.50%");
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetPercentFormat(0, CQVString(L" 7.25 men"), nullptr, text); }),
              L"7.25%");
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetPercentFormat(0, L"text", nullptr, text); }), L"as it was");
    EXPECT_EQ(get([&](CQVString & text)
                  { return locale.GetPercentFormat(0, static_cast<wchar_t const *>(nullptr), nullptr, text); }),
              L"as it was");
    record.lpDecimalSep = nullptr;
    EXPECT_EQ(get([&](CQVString & text) { return locale.GetIntegerFormat(0, L"1", &record, text); }), L"as it was");
    for (unsigned long size = 0; size < 10; ++size)
    {
        wchar_t buffer[10] = L"#########";
        int const result = locale.GetPercentFormat(0, 12.5, nullptr, buffer, size);
        EXPECT_EQ(result, size == 0 || size >= 7 ? 1 : 0) << size;
        EXPECT_STREQ(buffer, size >= 7 ? L"12.50%" : L"#########");
    }
}

TEST(UserLocale, RecordsAreTheLocalesOwn)
{
    wchar_t decimal[8] = L"", thousand[8] = L"", symbol[8] = L"";
    _numberfmtW number = {77, 77, 77, decimal, thousand, 77};
    EXPECT_EQ(CUserLocale::GetNumberInfo(0x439, &number), 1);
    EXPECT_EQ((std::array{number.NumDigits, number.LeadingZero, number.Grouping, number.NegativeOrder}),
              (std::array{2U, 1U, 32U, 1U}));
    EXPECT_STREQ(decimal, L".");
    EXPECT_STREQ(thousand, L",");
    _currencyfmtW amount = {77, 77, 77, nullptr, nullptr, 77, 77, symbol};
    EXPECT_EQ(CUserLocale(kGerman).GetCurrencyInfo(&amount), 1);
    EXPECT_EQ((std::array{amount.NumDigits, amount.Grouping, amount.NegativeOrder, amount.PositiveOrder}),
              (std::array{2U, 3U, 8U, 3U}));
    EXPECT_STREQ(symbol, L"\u20AC");
    EXPECT_EQ(amount.lpDecimalSep, nullptr);
    // What cannot be read stays, and is success all the same.
    number.NumDigits = 77;
    EXPECT_EQ(CUserLocale::GetNumberInfo(kUnknown, &number), 1);
    EXPECT_EQ(number.NumDigits, 77U);
    EXPECT_EQ(number.Grouping, 32U);
    EXPECT_STREQ(decimal, L".");
    EXPECT_EQ(CUserLocale::GetNumberInfo(kGerman, nullptr), 0);
    EXPECT_EQ(CUserLocale::GetCurrencyInfo(kGerman, nullptr), 0);
}

TEST(UserLocale, DatesAndTimes)
{
    _SYSTEMTIME time = {2024, 2, 0, 29, 21, 5, 7, 0};
    CUserLocale const locale(kGerman);
    CQVString const pattern(L"d. MMMM yyyy");
    EXPECT_EQ(Get([&](CQVString & text) { return locale.GetDateFormatW(0, pattern, &time, text); }),
              L"29. Februar 2024");
    EXPECT_EQ(Get([&](CQVString & text) { return locale.GetDateFormatW(0, L"", &time, text); }), L"29.02.2024");
    EXPECT_EQ(Get([&](CQVString & text) { return locale.GetTimeFormatW(0, CQVString(), &time, text); }), L"21:05:07");
    EXPECT_EQ(Get([&](CQVString & text)
                  { return CUserLocale::GetTimeFormatW(kEnglishUS, TIME_NOSECONDS, L"", &time, text); }),
              L"9:05 PM");
    wchar_t buffer[8];
    EXPECT_EQ(CUserLocale::GetTimeFormatW(kEnglishUS, 0, L"HH:mm", &time, buffer, 8), 1);
    EXPECT_STREQ(buffer, L"21:05");
    EXPECT_EQ(locale.GetDateFormatW(0, pattern, &time, buffer, 8), 0);
    std::wstring const quoted = L"'" + std::wstring(300, L'x') + L"'";
    EXPECT_EQ(Get([&](CQVString & text) { return locale.GetDateFormatW(0, quoted.c_str(), &time, text); }),
              L"as it was"); // more than 255 characters
    time.wMonth = 13;
    EXPECT_EQ(Get([&](CQVString & text) { return locale.GetDateFormatW(0, L"", &time, text); }), L"as it was");
}

TEST(UserLocale, RegionsLeadToTheirMainLocales)
{
    try
    {
        qvlib_test::FailingAllocation const failing(1000); // a walk that is broken off leaves no half a map
        CUserLocale::RegionMap();
    }
    catch (std::bad_alloc const &)
    {
    }
    std::map<CQVString, unsigned long> const & regions = CUserLocale::RegionMap();
    EXPECT_GT(regions.size(), 130U);
    for (auto const & [region, locale] : {std::pair<wchar_t const *, unsigned long>{L"USA", 0x409},
                                          {L"DEU", 0x407},
                                          {L"GBR", 0x809},
                                          {L"CHN", 0x804},
                                          {L"ESP", 0xC0A},
                                          {L"CHE", 0x807}})
    {
        auto const found = regions.find(CQVString(region));
        ASSERT_NE(found, regions.end());
        EXPECT_EQ(found->second, locale);
    }
    EXPECT_EQ(&CUserLocale::RegionMap(), &regions);
}

TEST(UserLocale, FreeReadersTakeAnyLength)
{
    EXPECT_EQ(Text(qvlib::GetLocaleInfoW(kEnglishUS, LOCALE_SDECIMAL)), L".");
    EXPECT_EQ(Text(qvlib::GetLocaleInfoW(kEnglishUS, 0xFFFF)), L"");
    EXPECT_EQ(Text(qvlib::GetLocaleInfoW(kUnknown, LOCALE_SDECIMAL)), L"");
    EXPECT_EQ(qvlib::GetLocaleInfoW(kEnglishUS, LOCALE_IDIGITS | LOCALE_RETURN_NUMBER).GetLength(), 1);
    EXPECT_TRUE(qvlib::GetLocaleInfoW(kEnglishUS, LOCALE_ICURRENCY | LOCALE_RETURN_NUMBER).IsEmpty()) << "the number 0";
    CQVString text = L"as it was";
    EXPECT_FALSE(qvlib::GetLocaleInfoW(kUnknown, LOCALE_SDECIMAL, text));
    EXPECT_FALSE(qvlib::GetCurrencyName(kUnknown, text));
    EXPECT_EQ(Text(text), L"as it was");
    EXPECT_TRUE(qvlib::GetCurrencyName(kEnglishUS, text));
    EXPECT_EQ(Text(text), L"US Dollar");
    EXPECT_EQ(Text(qvlib::GetCurrencyName(kGerman)), L"Euro");
}

TEST(UserLocale, LanguageOfTheThread)
{
    LCID const usual = GetThreadLocale();
    ASSERT_TRUE(SetThreadLocale(kJapanese));
    EXPECT_EQ(qvlib::XmlParseUtils::GetLanguageNameFromThreadLocale(), L"ja");
    ASSERT_TRUE(SetThreadLocale(usual));
    EXPECT_EQ(qvlib::XmlParseUtils::GetLanguageNameFromThreadLocale(), L"en");
}
