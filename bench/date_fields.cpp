// Dates: serial to fields, fields to serial, and text by format, beside the C++ calendar types and the C library.
#include "qvlib/DateTime.h"
#include "qvlib/host/dates.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <ctime>
#include <cwchar>
#include <random>
#include <vector>

namespace
{

constexpr std::size_t kMoments = 4096; // random moments of 1900 to 2100

std::vector<std::int64_t> Seconds()
{
    std::mt19937_64 random(42);
    std::uniform_int_distribution<std::int64_t> days(2, 73415);
    std::uniform_int_distribution<std::int64_t> seconds(0, 86399);
    std::vector<std::int64_t> moments(kMoments);
    for (std::int64_t & moment : moments)
    {
        moment = (days(random) - 25569) * 86400 + seconds(random);
    }
    return moments;
}

std::vector<double> Dates()
{
    std::vector<double> dates;
    for (std::int64_t const moment : Seconds())
    {
        dates.push_back(25569.0 + static_cast<double>(moment) / 86400.0);
    }
    return dates;
}

std::vector<SYSTEMTIME> Fields()
{
    std::vector<SYSTEMTIME> fields;
    for (double const date : Dates())
    {
        fields.push_back(qvlib::CDateTime(date).ToSystemTime());
    }
    return fields;
}

void Expand_Qvlib(benchmark::State & state)
{
    std::vector<double> const dates = Dates();
    for (auto _ : state)
    {
        for (double const date : dates)
        {
            SYSTEMTIME time;
            VariantTimeToSystemTime(date, &time);
            benchmark::DoNotOptimize(time);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Expand_Qvlib);

void Expand_Chrono(benchmark::State & state)
{
    using namespace std::chrono;
    std::vector<std::int64_t> const moments = Seconds();
    for (auto _ : state)
    {
        for (std::int64_t const moment : moments)
        {
            sys_seconds const point{seconds(moment)};
            sys_days const day = floor<days>(point);
            year_month_day const date(day);
            hh_mm_ss const time(point - day);
            SYSTEMTIME const fields = {static_cast<WORD>(static_cast<int>(date.year())),
                                       static_cast<WORD>(static_cast<unsigned>(date.month())),
                                       static_cast<WORD>(weekday(day).c_encoding()),
                                       static_cast<WORD>(static_cast<unsigned>(date.day())),
                                       static_cast<WORD>(time.hours().count()),
                                       static_cast<WORD>(time.minutes().count()),
                                       static_cast<WORD>(time.seconds().count()),
                                       0};
            benchmark::DoNotOptimize(fields);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Expand_Chrono);

void Fold_Qvlib(benchmark::State & state)
{
    std::vector<SYSTEMTIME> fields = Fields();
    for (auto _ : state)
    {
        for (SYSTEMTIME & time : fields)
        {
            double date;
            SystemTimeToVariantTime(&time, &date);
            benchmark::DoNotOptimize(date);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Fold_Qvlib);

void Fold_Chrono(benchmark::State & state)
{
    using namespace std::chrono;
    std::vector<SYSTEMTIME> const fields = Fields();
    for (auto _ : state)
    {
        for (SYSTEMTIME const & time : fields)
        {
            year_month_day const date(year(time.wYear), month(time.wMonth), day(time.wDay));
            bool const ok = date.ok();
            sys_seconds const point =
                sys_days(date) + hours(time.wHour) + minutes(time.wMinute) + seconds(time.wSecond);
            double const serial = static_cast<double>(point.time_since_epoch().count()) / 86400.0 + 25569.0;
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(serial);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Fold_Chrono);

constexpr wchar_t kFormat[] = L"%Y-%m-%d %H:%M:%S";

void Format_Qvlib(benchmark::State & state)
{
    std::vector<double> const dates = Dates();
    for (auto _ : state)
    {
        for (double const date : dates)
        {
            benchmark::DoNotOptimize(qvlib::CDateTime(date).Format(kFormat));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Format_Qvlib);

void Format_Glibc(benchmark::State & state)
{
    // The fields are there already: only the writing is timed.
    std::vector<std::tm> fields;
    for (SYSTEMTIME const & time : Fields())
    {
        std::tm record{};
        record.tm_year = time.wYear - 1900;
        record.tm_mon = time.wMonth - 1;
        record.tm_mday = time.wDay;
        record.tm_hour = time.wHour;
        record.tm_min = time.wMinute;
        record.tm_sec = time.wSecond;
        fields.push_back(record);
    }
    wchar_t buffer[256];
    for (auto _ : state)
    {
        for (std::tm const & record : fields)
        {
            std::wcsftime(buffer, 256, kFormat, &record);
            benchmark::DoNotOptimize(buffer);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Format_Glibc);

void LocaleText_Qvlib(benchmark::State & state)
{
    std::vector<double> const dates = Dates();
    for (auto _ : state)
    {
        for (double const date : dates)
        {
            benchmark::DoNotOptimize(qvlib::CDateTime(date).Format(0UL, 0x409UL));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(LocaleText_Qvlib);

void Parse_Qvlib(benchmark::State & state)
{
    std::vector<qvlib::CQVString> texts;
    for (double const date : Dates())
    {
        texts.push_back(qvlib::CDateTime(date).Format(0UL, 0x409UL));
    }
    for (auto _ : state)
    {
        for (qvlib::CQVString const & text : texts)
        {
            qvlib::CDateTime date;
            date.ParseDateTime(text, 0, 0x409);
            benchmark::DoNotOptimize(date);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMoments));
}
BENCHMARK(Parse_Qvlib);

} // namespace

BENCHMARK_MAIN();
