// The longest run that a pattern and a text share, and whether there is one of any length, agree with the plain table
// of dynamic programming; the two halves of an input are pattern and text.
#include "qvlib/FuzzyStringPattern.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace
{

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

int LongestByTable(wchar_t const * pattern, std::size_t patternLength, wchar_t const * text)
{
    std::vector<int> runs(patternLength + 1, 0);
    int best = 0;
    for (; *text != 0; ++text)
        for (std::size_t i = patternLength; i > 0; --i)
            best = std::max(best, runs[i] = pattern[i - 1] == *text ? runs[i - 1] + 1 : 0);
    return best;
}

/// Bytes from 0xC0 on are spread over the planes, surrogates and what is no character among them.
std::unique_ptr<wchar_t[]> Text(std::uint8_t const * data, std::size_t size)
{
    std::unique_ptr<wchar_t[]> text(new wchar_t[size + 1]); // an exact block, so that a read behind its end is seen
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<wchar_t>(data[i] < 0xC0 ? data[i] : data[i] * 0x10D123U);
    text[size] = 0;
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    if (size < 2 || size > 4096)
        return 0;
    std::size_t const cut = std::min<std::size_t>(data[0] * 4U, size - 1);
    auto const pattern = Text(data + 1, cut);
    auto const text = Text(data + 1 + cut, size - 1 - cut);
    std::size_t const length = std::char_traits<wchar_t>::length(pattern.get());

    int const longest = LongestByTable(pattern.get(), length, text.get());
    qvlib::SuffixAutomaton const index(pattern.get());
    Require(index.LongestCommonSubstring(text.get()) == longest);
    for (int wanted = longest - 20; wanted <= longest + 20; ++wanted)
        Require(index.HasCommonSubstring(text.get(), wanted) == (longest >= wanted));
    for (int wanted = 1; wanted <= longest; wanted *= 2)
        Require(index.HasCommonSubstring(text.get(), wanted));

    double const threshold = data[0] / 200.0;
    qvlib::FuzzyStringPattern const fuzzy(pattern.get(), threshold);
    Require(fuzzy.Match(text.get()) == (longest >= static_cast<int>(threshold * static_cast<double>(length))));
    return 0;
}
