// Numbers to text and back, and UTF-8 to wide text and back, beside what the C++ library does for the same result: the
// digits of std::to_chars, widened into a std::wstring; std::from_chars on narrowed text.
#include "qvlib/Conversions.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf16.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr std::size_t kCount = 1024;

void Widen(std::wstring & text, char const * first, char const * last)
{
    text.resize(static_cast<std::size_t>(last - first));
    std::copy(first, last, text.data());
}

/// Values as records hold them: amounts, measures and ratios of many sizes.
std::vector<double> const & Doubles()
{
    static std::vector<double> const values = []
    {
        std::mt19937_64 random(1);
        std::vector<double> made;
        for (std::size_t i = 0; i < kCount; ++i)
        {
            double const any = static_cast<double>(random() >> 11) * 0x1p-53;
            switch (i % 4)
            {
            case 0:
                made.push_back(std::round(any * 1e6) / 100); // amounts with two decimals
                break;
            case 1:
                made.push_back(any); // ratios
                break;
            case 2:
                made.push_back(any * std::pow(10.0, static_cast<double>(random() % 15))); // measures
                break;
            default:
                made.push_back(std::round(any * 100000)); // counts
                break;
            }
        }
        return made;
    }();
    return values;
}

std::vector<long long> const & Integers()
{
    static std::vector<long long> const values = []
    {
        std::mt19937_64 random(2);
        std::vector<long long> made;
        for (std::size_t i = 0; i < kCount; ++i)
            made.push_back(static_cast<long long>(random()) >> random() % 64);
        return made;
    }();
    return values;
}

void DoubleToText(benchmark::State & state)
{
    qvlib::CQVString text;
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::AsString(text, Doubles()[i++ % kCount]).GetString());
}
BENCHMARK(DoubleToText);

void DoubleToTextByToChars(benchmark::State & state)
{
    std::wstring text;
    std::size_t i = 0;
    for (auto _ : state)
    {
        char digits[400];
        char const * const end =
            std::to_chars(digits, digits + sizeof digits, Doubles()[i++ % kCount], std::chars_format::fixed, 16).ptr;
        Widen(text, digits, end);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(DoubleToTextByToChars);

void IntegerToText(benchmark::State & state)
{
    qvlib::CQVString text;
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::AsString(text, Integers()[i++ % kCount]).GetString());
}
BENCHMARK(IntegerToText);

void IntegerToTextByToChars(benchmark::State & state)
{
    std::wstring text;
    std::size_t i = 0;
    for (auto _ : state)
    {
        char digits[24];
        char const * const end = std::to_chars(digits, digits + sizeof digits, Integers()[i++ % kCount]).ptr;
        Widen(text, digits, end);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(IntegerToTextByToChars);

/// The same into a string that is new each time.
void IntegerToNewText(benchmark::State & state)
{
    std::size_t i = 0;
    for (auto _ : state)
    {
        qvlib::CQVString text;
        benchmark::DoNotOptimize(qvlib::AsString(text, Integers()[i++ % kCount]).GetString());
    }
}
BENCHMARK(IntegerToNewText);

void IntegerToNewTextByToChars(benchmark::State & state)
{
    std::size_t i = 0;
    for (auto _ : state)
    {
        char digits[24];
        char const * const end = std::to_chars(digits, digits + sizeof digits, Integers()[i++ % kCount]).ptr;
        std::wstring text;
        Widen(text, digits, end);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(IntegerToNewTextByToChars);

std::vector<std::wstring> const & DoubleTexts()
{
    static std::vector<std::wstring> const texts = []
    {
        std::vector<std::wstring> made;
        qvlib::CQVString text;
        for (double const value : Doubles())
            made.emplace_back(qvlib::AsString(text, value).GetString());
        return made;
    }();
    return texts;
}

void TextToDouble(benchmark::State & state)
{
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(_wtof(DoubleTexts()[i++ % kCount].c_str()));
}
BENCHMARK(TextToDouble);

void TextToDoubleByFromChars(benchmark::State & state)
{
    std::size_t i = 0;
    for (auto _ : state)
    {
        std::wstring const & text = DoubleTexts()[i++ % kCount];
        char narrow[400];
        for (std::size_t k = 0; k < text.size(); ++k)
            narrow[k] = static_cast<char>(text[k]);
        double value = 0;
        std::from_chars(narrow, narrow + text.size(), value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(TextToDoubleByFromChars);

/// 4096 characters: ASCII alone, or with one letter in ten from elsewhere.
std::wstring Prose(bool plain)
{
    std::mt19937 random(3);
    std::wstring text;
    for (std::size_t i = 0; i < 4096; ++i)
        text += static_cast<wchar_t>(plain || random() % 10 != 0 ? 'a' + static_cast<int>(random() % 26)
                                                                 : 0xC0 + static_cast<int>(random() % 0x3000));
    return text;
}

void WideToUtf8(benchmark::State & state)
{
    std::wstring const text = Prose(state.range(0) != 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::AsUtf8FromWStr(text.c_str()));
    state.SetBytesProcessed(state.iterations() * 4096);
}
BENCHMARK(WideToUtf8)->ArgName("ascii")->Arg(1)->Arg(0);

void Utf8ToWide(benchmark::State & state)
{
    std::string const bytes = qvlib::AsUtf8FromWStr(Prose(state.range(0) != 0).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::AsCStringFromUtf8(bytes));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(Utf8ToWide)->ArgName("ascii")->Arg(1)->Arg(0);

void WideToUtf16(benchmark::State & state)
{
    std::wstring const text = Prose(state.range(0) != 0);
    std::vector<unsigned char> bytes(2 * qvlib::host::Utf16Length(text.data(), text.size()));
    for (auto _ : state)
    {
        qvlib::host::EncodeUtf16(text.data(), text.size(), bytes.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 4096);
}
BENCHMARK(WideToUtf16)->ArgName("ascii")->Arg(1)->Arg(0);

void Utf16ToWide(benchmark::State & state)
{
    std::u16string const units = qvlib::host::ToUtf16(Prose(state.range(0) != 0));
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::host::FromUtf16(units));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(2 * units.size()));
}
BENCHMARK(Utf16ToWide)->ArgName("ascii")->Arg(1)->Arg(0);

} // namespace

BENCHMARK_MAIN();
