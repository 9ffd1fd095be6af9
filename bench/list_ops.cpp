// Lists kept in comma strings of 10, 1,000 and 100,000 tokens of 6 to 11 letters: walked, searched, added to, added to
// in sorted order, and merged. The floor is a loop written by hand over the same text, which knows nothing of white
// space; the peers split the text, absl::StrSplit a narrow copy of it.

#include "qvlib/DelimitedString.h"

#include <benchmark/benchmark.h>
#include <boost/algorithm/string.hpp>

#ifdef QVLIB_PEER_ABSL
#include <absl/strings/str_split.h>
#endif

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace
{

using qvlib::CDelimitedString;
using qvlib::CQVString;
using qvlib::SortingTraits;

std::vector<std::wstring> Tokens(std::size_t count, unsigned int seed)
{
    std::mt19937 random(seed);
    std::vector<std::wstring> tokens(count);
    for (std::wstring & token : tokens)
        for (std::size_t i = 6 + random() % 6; i != 0; --i)
            token += static_cast<wchar_t>(L'a' + random() % 26);
    return tokens;
}

std::wstring Joined(std::vector<std::wstring> const & tokens)
{
    std::wstring text;
    for (std::wstring const & token : tokens)
    {
        if (!text.empty())
            text += L',';
        text += token;
    }
    return text;
}

std::size_t Count(benchmark::State const & state) { return static_cast<std::size_t>(state.range(0)); }

void Sizes(benchmark::internal::Benchmark * bench) { bench->Arg(10)->Arg(1000)->Arg(100000); }

// Walking: the summed length of all tokens.

void Walk_Qvlib(benchmark::State & state)
{
    CDelimitedString const list{CQVString(Joined(Tokens(Count(state), 1)))};
    for (auto _ : state)
    {
        std::size_t sum = 0;
        wchar_t const * token = nullptr;
        unsigned long length = 0;
        for (POSITION at = list.GetFirstTokenPosition(); list.GetNextToken(at, token, length);)
            sum += length;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Walk_Qvlib)->Apply(Sizes);

void Walk_Hand(benchmark::State & state)
{
    std::wstring const text = Joined(Tokens(Count(state), 1));
    for (auto _ : state)
    {
        std::size_t sum = 0;
        for (wchar_t const * at = text.c_str(); *at != L'\0';)
        {
            wchar_t const * const start = at;
            while (*at != L'\0' && *at != L',')
                ++at;
            sum += static_cast<std::size_t>(at - start);
            if (*at == L',')
                ++at;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Walk_Hand)->Apply(Sizes);

#ifdef QVLIB_PEER_ABSL
void Walk_Absl(benchmark::State & state)
{
    std::wstring const wide = Joined(Tokens(Count(state), 1));
    std::string const text(wide.begin(), wide.end());
    for (auto _ : state)
    {
        std::size_t sum = 0;
        for (absl::string_view const token : absl::StrSplit(text, ','))
            sum += token.size();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Walk_Absl)->Apply(Sizes);
#endif

void Walk_Boost(benchmark::State & state)
{
    std::wstring const text = Joined(Tokens(Count(state), 1));
    for (auto _ : state)
    {
        std::size_t sum = 0;
        std::vector<boost::iterator_range<std::wstring::const_iterator>> tokens;
        boost::algorithm::split(tokens, text, [](wchar_t c) { return c == L','; });
        for (auto const & token : tokens)
            sum += token.size();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Walk_Boost)->Apply(Sizes);

// Finding the last token.

void Find_Qvlib(benchmark::State & state)
{
    std::vector<std::wstring> const tokens = Tokens(Count(state), 1);
    CDelimitedString const list{CQVString(Joined(tokens))};
    CQVString const wanted(tokens.back());
    for (auto _ : state)
        benchmark::DoNotOptimize(list.FindToken(wanted));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Find_Qvlib)->Apply(Sizes);

void Find_QvlibPosition(benchmark::State & state)
{
    std::vector<std::wstring> const tokens = Tokens(Count(state), 1);
    CDelimitedString const list{CQVString(Joined(tokens))};
    CQVString const wanted(tokens.back());
    for (auto _ : state)
        benchmark::DoNotOptimize(list.HasToken(wanted));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Find_QvlibPosition)->Apply(Sizes);

void Find_Hand(benchmark::State & state)
{
    std::vector<std::wstring> const tokens = Tokens(Count(state), 1);
    std::wstring const text = Joined(tokens);
    std::wstring const wanted = tokens.back();
    for (auto _ : state)
    {
        std::size_t index = 0;
        for (wchar_t const * at = text.c_str(); *at != L'\0'; ++index)
        {
            wchar_t const * const start = at;
            while (*at != L'\0' && *at != L',')
                ++at;
            if (static_cast<std::size_t>(at - start) == wanted.size() && std::equal(start, at, wanted.begin()))
                break;
            if (*at == L',')
                ++at;
        }
        benchmark::DoNotOptimize(index);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Find_Hand)->Apply(Sizes);

// Adding all tokens to an empty list.

void Add_Qvlib(benchmark::State & state)
{
    std::vector<CQVString> tokens;
    for (std::wstring const & token : Tokens(Count(state), 1))
        tokens.emplace_back(token);
    for (auto _ : state)
    {
        CDelimitedString list;
        for (CQVString const & token : tokens)
            list.AddToken(token);
        benchmark::DoNotOptimize(list.GetString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Add_Qvlib)->Apply(Sizes);

void Add_PlainAppend(benchmark::State & state)
{
    std::vector<std::wstring> const tokens = Tokens(Count(state), 1);
    for (auto _ : state)
    {
        std::wstring text;
        for (std::wstring const & token : tokens)
        {
            if (!text.empty())
                text += L',';
            text += token;
        }
        benchmark::DoNotOptimize(text.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Add_PlainAppend)->Apply(Sizes);

// Adding one token in its place to a sorted list.

void AddSorted_Qvlib(benchmark::State & state)
{
    std::vector<std::wstring> tokens = Tokens(Count(state), 1);
    std::sort(tokens.begin(), tokens.end());
    CDelimitedString const sorted{CQVString(Joined(tokens))};
    CQVString const added(L"mmmmmm");
    for (auto _ : state)
    {
        CDelimitedString list(sorted);
        list.AddToken(added, SortingTraits{true, true, true});
        benchmark::DoNotOptimize(list.GetString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(AddSorted_Qvlib)->Apply(Sizes);

void AddSorted_Hand(benchmark::State & state)
{
    std::vector<std::wstring> tokens = Tokens(Count(state), 1);
    std::sort(tokens.begin(), tokens.end());
    std::wstring const sorted = Joined(tokens);
    std::wstring const added = L"mmmmmm";
    for (auto _ : state)
    {
        wchar_t const * at = sorted.c_str();
        while (*at != L'\0')
        {
            wchar_t const * const start = at;
            while (*at != L'\0' && *at != L',')
                ++at;
            if (added.compare(0, added.size(), start, static_cast<std::size_t>(at - start)) <= 0)
            {
                at = start;
                break;
            }
            if (*at == L',')
                ++at;
        }
        auto const place = static_cast<std::size_t>(at - sorted.c_str());
        std::wstring text;
        text.reserve(sorted.size() + added.size() + 1);
        text.append(sorted, 0, place).append(added).append(L",").append(sorted, place);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(AddSorted_Hand)->Apply(Sizes);

// Merging a list of as many tokens, half of them known.

std::vector<std::wstring> Others(std::size_t count)
{
    std::vector<std::wstring> tokens = Tokens(count, 1);
    std::vector<std::wstring> const fresh = Tokens(count, 2);
    for (std::size_t i = 0; i < count; i += 2)
        tokens[i] = fresh[i];
    return tokens;
}

void Merge_Qvlib(benchmark::State & state)
{
    CDelimitedString const list{CQVString(Joined(Tokens(Count(state), 1)))};
    CQVString const other(Joined(Others(Count(state))));
    for (auto _ : state)
    {
        CDelimitedString merged(list);
        merged.Merge(other);
        benchmark::DoNotOptimize(merged.GetString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Merge_Qvlib)->Apply(Sizes);

void MergeSorted_Qvlib(benchmark::State & state)
{
    std::vector<std::wstring> tokens = Tokens(Count(state), 1);
    std::sort(tokens.begin(), tokens.end());
    CDelimitedString const list{CQVString(Joined(tokens))};
    CQVString const other(Joined(Others(Count(state))));
    for (auto _ : state)
    {
        CDelimitedString merged(list);
        merged.Merge(other, SortingTraits{true, true, false});
        benchmark::DoNotOptimize(merged.GetString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(MergeSorted_Qvlib)->Apply(Sizes);

void Sort_Qvlib(benchmark::State & state)
{
    CDelimitedString const list{CQVString(Joined(Tokens(Count(state), 1)))};
    for (auto _ : state)
    {
        CDelimitedString sorted(list);
        sorted.SortTokens(SortingTraits{true, true, false});
        benchmark::DoNotOptimize(sorted.GetString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Sort_Qvlib)->Apply(Sizes);

void Merge_BoostAndSet(benchmark::State & state)
{
    std::wstring const text = Joined(Tokens(Count(state), 1));
    std::wstring const other = Joined(Others(Count(state)));
    auto const isComma = [](wchar_t c) { return c == L','; };
    for (auto _ : state)
    {
        std::wstring merged = text;
        std::vector<std::wstring> tokens;
        boost::algorithm::split(tokens, text, isComma);
        std::set<std::wstring> known(tokens.begin(), tokens.end());
        boost::algorithm::split(tokens, other, isComma);
        for (std::wstring const & token : tokens)
            if (known.insert(token).second)
                merged.append(L",").append(token);
        benchmark::DoNotOptimize(merged.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Merge_BoostAndSet)->Apply(Sizes);

} // namespace

BENCHMARK_MAIN();
