// Numbers, amounts and dates written in German, 1,024 different ones in turn. The floor is ICU asked directly with a
// formatter that is kept; beside it ICU with a formatter made for each text, the standard library's facets, kept and
// built for each text, and fmt with a locale. The machine may have no locale but "C" installed: the standard facets
// here are then the program's own (std::numpunct, std::moneypunct with German signs), and dates are those of "C".

#include "qvlib/UserLocale.h"

#include <benchmark/benchmark.h>
#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/unum.h>

#ifdef QVLIB_PEER_FMT
#include <fmt/chrono.h>
#include <fmt/format.h>
#endif

#include <ctime>
#include <iomanip>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using qvlib::CQVString;

constexpr unsigned long kGerman = 0x407;
constexpr std::size_t kCount = 1024;

struct Values
{
    std::vector<double> doubles;
    std::vector<std::wstring> texts;
    std::vector<std::string> narrow;
    std::vector<_SYSTEMTIME> times;
    std::vector<UDate> dates;
    std::vector<std::tm> fields;

    Values()
    {
        std::mt19937 random(3);
        for (std::size_t i = 0; i < kCount; ++i)
        {
            long const cents = static_cast<long>(random() % 1000000000) + 1;
            std::string text = std::to_string(cents / 100) + "." + std::to_string(100 + cents % 100).substr(1);
            doubles.push_back(static_cast<double>(cents) / 100);
            texts.emplace_back(text.begin(), text.end());
            narrow.push_back(std::move(text));
            dates.push_back(static_cast<double>(random() % 2000000000) * 1000.0);
            std::time_t const seconds = static_cast<std::time_t>(dates.back() / 1000);
            std::tm field;
            gmtime_r(&seconds, &field);
            fields.push_back(field);
            times.push_back({static_cast<WORD>(field.tm_year + 1900), static_cast<WORD>(field.tm_mon + 1),
                             static_cast<WORD>(field.tm_wday), static_cast<WORD>(field.tm_mday),
                             static_cast<WORD>(field.tm_hour), static_cast<WORD>(field.tm_min),
                             static_cast<WORD>(field.tm_sec), 0});
        }
    }
};

Values const & Data()
{
    static Values const values;
    return values;
}

/// Runs `write(index)` over the values.
template <class Write>
void Run(benchmark::State & state, Write write)
{
    Data();
    std::size_t i = 0;
    for (auto _ : state)
    {
        write(i);
        i = (i + 1) % kCount;
    }
    state.SetItemsProcessed(state.iterations());
}

struct GermanNumbers : std::numpunct<wchar_t>
{
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

struct GermanMoney : std::moneypunct<wchar_t>
{
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
    std::wstring do_curr_symbol() const override { return L"\u20AC"; }
    int do_frac_digits() const override { return 2; }
    pattern do_pos_format() const override { return {{value, space, symbol, none}}; }
    pattern do_neg_format() const override { return {{sign, value, space, symbol}}; }
};

std::locale German() { return std::locale(std::locale(std::locale::classic(), new GermanNumbers), new GermanMoney); }

// Numbers.

void number_qvlib(benchmark::State & state)
{
    wchar_t text[64];
    Run(state,
        [&](std::size_t i)
        {
            CUserLocale::GetNumberFormatW(kGerman, 0, Data().doubles[i], nullptr, text, 64);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(number_qvlib)->ThreadRange(1, 2);

void number_qvlib_string(benchmark::State & state)
{
    CUserLocale const locale(kGerman);
    CQVString text;
    Run(state, [&](std::size_t i) { locale.GetNumberFormatW(0, Data().doubles[i], nullptr, text); });
}
BENCHMARK(number_qvlib_string);

void number_of_text_qvlib(benchmark::State & state)
{
    wchar_t text[64];
    Run(state,
        [&](std::size_t i)
        {
            CUserLocale::GetNumberFormatW(kGerman, 0, Data().texts[i].c_str(), nullptr, text, 64);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(number_of_text_qvlib);

UNumberFormat * Opened(UNumberFormatStyle style)
{
    UErrorCode status = U_ZERO_ERROR;
    UNumberFormat * const format = unum_open(style, nullptr, 0, "de_DE", nullptr, &status);
    unum_setAttribute(format, UNUM_MIN_FRACTION_DIGITS, 2);
    unum_setAttribute(format, UNUM_MAX_FRACTION_DIGITS, 2);
    return format;
}

void WithIcu(benchmark::State & state, UNumberFormatStyle style)
{
    UNumberFormat * const format = Opened(style);
    UChar text[64];
    Run(state,
        [&](std::size_t i)
        {
            UErrorCode status = U_ZERO_ERROR;
            unum_formatDouble(format, Data().doubles[i], text, 64, nullptr, &status);
            benchmark::DoNotOptimize(text);
        });
    unum_close(format);
}

void number_icu_kept(benchmark::State & state) { WithIcu(state, UNUM_DECIMAL); }
BENCHMARK(number_icu_kept)->ThreadRange(1, 2);

void number_of_text_icu_kept(benchmark::State & state)
{
    UNumberFormat * const format = Opened(UNUM_DECIMAL);
    UChar text[64];
    Run(state,
        [&](std::size_t i)
        {
            UErrorCode status = U_ZERO_ERROR;
            std::string const & value = Data().narrow[i];
            unum_formatDecimal(format, value.c_str(), static_cast<int32_t>(value.size()), text, 64, nullptr, &status);
            benchmark::DoNotOptimize(text);
        });
    unum_close(format);
}
BENCHMARK(number_of_text_icu_kept);

void number_icu_made(benchmark::State & state)
{
    UChar text[64];
    Run(state,
        [&](std::size_t i)
        {
            UNumberFormat * const format = Opened(UNUM_DECIMAL);
            UErrorCode status = U_ZERO_ERROR;
            unum_formatDouble(format, Data().doubles[i], text, 64, nullptr, &status);
            unum_close(format);
        });
}
BENCHMARK(number_icu_made);

void number_facet_kept(benchmark::State & state)
{
    std::wostringstream stream;
    stream.imbue(German());
    stream << std::fixed << std::setprecision(2);
    Run(state,
        [&](std::size_t i)
        {
            stream.str({});
            stream << Data().doubles[i];
            benchmark::DoNotOptimize(stream.str());
        });
}
BENCHMARK(number_facet_kept);

void number_facet_made(benchmark::State & state)
{
    Run(state,
        [&](std::size_t i)
        {
            std::wostringstream stream;
            stream.imbue(German());
            stream << std::fixed << std::setprecision(2) << Data().doubles[i];
            benchmark::DoNotOptimize(stream.str());
        });
}
BENCHMARK(number_facet_made);

#ifdef QVLIB_PEER_FMT
struct NarrowGermanNumbers : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

void number_fmt(benchmark::State & state)
{
    std::locale const locale(std::locale::classic(), new NarrowGermanNumbers);
    char text[64];
    Run(state,
        [&](std::size_t i)
        {
            fmt::format_to(text, locale, "{:.2Lf}", Data().doubles[i]);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(number_fmt);
#endif

// Amounts.

void money_qvlib(benchmark::State & state)
{
    wchar_t text[64];
    Run(state,
        [&](std::size_t i)
        {
            CUserLocale::GetCurrencyFormatW(kGerman, 0, Data().doubles[i], nullptr, text, 64);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(money_qvlib);

void money_icu_kept(benchmark::State & state) { WithIcu(state, UNUM_CURRENCY); }
BENCHMARK(money_icu_kept);

void money_facet_kept(benchmark::State & state)
{
    std::wostringstream stream;
    stream.imbue(German());
    stream << std::showbase;
    Run(state,
        [&](std::size_t i)
        {
            stream.str({});
            stream << std::put_money(static_cast<long double>(Data().doubles[i]) * 100);
            benchmark::DoNotOptimize(stream.str());
        });
}
BENCHMARK(money_facet_kept);

void money_facet_made(benchmark::State & state)
{
    Run(state,
        [&](std::size_t i)
        {
            std::wostringstream stream;
            stream.imbue(German());
            stream << std::showbase << std::put_money(static_cast<long double>(Data().doubles[i]) * 100);
            benchmark::DoNotOptimize(stream.str());
        });
}
BENCHMARK(money_facet_made);

// Dates.

void DatesOf(benchmark::State & state, wchar_t const * pattern, unsigned long flags)
{
    wchar_t text[64];
    Run(state,
        [&](std::size_t i)
        {
            _SYSTEMTIME time = Data().times[i];
            CUserLocale::GetDateFormatW(kGerman, flags, pattern, &time, text, 64);
            benchmark::DoNotOptimize(text);
        });
}

void date_qvlib(benchmark::State & state) { DatesOf(state, L"", 0); }
BENCHMARK(date_qvlib);

void long_date_qvlib(benchmark::State & state) { DatesOf(state, L"", DATE_LONGDATE); }
BENCHMARK(long_date_qvlib);

void DatesOfIcu(benchmark::State & state, UDateFormatStyle style)
{
    UErrorCode status = U_ZERO_ERROR;
    UDateFormat * const format = udat_open(UDAT_NONE, style, "de_DE", u"UTC", 3, nullptr, 0, &status);
    UChar text[64];
    Run(state,
        [&](std::size_t i)
        {
            status = U_ZERO_ERROR;
            udat_format(format, Data().dates[i], text, 64, nullptr, &status);
            benchmark::DoNotOptimize(text);
        });
    udat_close(format);
}

void date_icu_kept(benchmark::State & state) { DatesOfIcu(state, UDAT_SHORT); }
BENCHMARK(date_icu_kept);

void long_date_icu_kept(benchmark::State & state) { DatesOfIcu(state, UDAT_FULL); }
BENCHMARK(long_date_icu_kept);

void date_facet_kept(benchmark::State & state)
{
    std::wostringstream stream;
    stream.imbue(std::locale::classic());
    Run(state,
        [&](std::size_t i)
        {
            stream.str({});
            stream << std::put_time(&Data().fields[i], L"%d.%m.%Y");
            benchmark::DoNotOptimize(stream.str());
        });
}
BENCHMARK(date_facet_kept);

#ifdef QVLIB_PEER_FMT
void date_fmt(benchmark::State & state)
{
    std::locale const locale = std::locale::classic();
    char text[64];
    Run(state,
        [&](std::size_t i)
        {
            fmt::format_to(text, locale, "{:%d.%m.%Y}", Data().fields[i]);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(date_fmt);
#endif

void time_qvlib(benchmark::State & state)
{
    wchar_t text[64];
    Run(state,
        [&](std::size_t i)
        {
            _SYSTEMTIME time = Data().times[i];
            CUserLocale::GetTimeFormatW(kGerman, 0, L"", &time, text, 64);
            benchmark::DoNotOptimize(text);
        });
}
BENCHMARK(time_qvlib);

} // namespace

BENCHMARK_MAIN();
