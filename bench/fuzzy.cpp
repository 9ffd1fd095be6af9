// Fuzzy matching: 10,000 texts of 200 characters against patterns of 6, 20 and 200 characters at a threshold of one
// half, and building the index. Beside it, in the same program: the table of dynamic programming, a plain linked trie
// of all suffixes with suffix links, and, over the same texts in bytes, Hyperscan with one literal for every run that
// is long enough. An item is a text.
#include "qvlib/FuzzyStringPattern.h"

#include <benchmark/benchmark.h>
#ifdef QVLIB_PEER_HYPERSCAN
#include <hs/hs.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr std::size_t kTexts = 10'000;
constexpr std::size_t kLength = 200;

/// Syllables drawn by weight and joined to words: letters, pairs and words repeat as they do in prose.
std::wstring Prose(std::mt19937 & random, std::size_t length)
{
    static wchar_t const * const kSyllables[] = {L"the",  L"an",  L"in",  L"er",  L"ti",  L"on", L"re",  L"con",
                                                 L"ma",   L"li",  L"ter", L"or",  L"der", L"ta", L"com", L"pro",
                                                 L"sta",  L"ne",  L"ver", L"ple", L"ra",  L"mi", L"su",  L"per",
                                                 L"ship", L"ing", L"ed",  L"ly",  L"ca",  L"go", L"by",  L"quo"};
    std::wstring text;
    while (text.size() < length)
    {
        for (unsigned syllables = 1 + random() % 4; syllables > 0; --syllables)
            text += kSyllables[std::min(random() % 32, random() % 32)];
        text += L' ';
    }
    text.resize(length);
    return text;
}

/// A piece of most patterns stands in some of the texts, so that some match.
std::wstring const & Pattern(std::size_t length)
{
    static std::wstring const whole = []
    {
        std::mt19937 random(5);
        return Prose(random, 400);
    }();
    static std::wstring const six = whole.substr(100, 6);
    static std::wstring const twenty = whole.substr(130, 20);
    static std::wstring const long200 = whole.substr(0, 200);
    return length == 6 ? six : length == 20 ? twenty : long200;
}

std::vector<std::wstring> const & Texts()
{
    static std::vector<std::wstring> const texts = []
    {
        std::mt19937 random(6);
        std::vector<std::wstring> made;
        for (std::size_t i = 0; i < kTexts; ++i)
        {
            made.push_back(Prose(random, kLength));
            if (i % 8 == 0) // one text in eight holds a piece of a pattern
            {
                std::wstring const & pattern = Pattern(i % 24 == 0 ? 6 : i % 24 == 8 ? 20 : 200);
                std::size_t const piece = pattern.size() * 6 / 10;
                made.back().replace(random() % (kLength - piece), piece,
                                    pattern.substr(random() % (pattern.size() - piece), piece));
            }
        }
        return made;
    }();
    return texts;
}

std::size_t Arg(benchmark::State const & state) { return static_cast<std::size_t>(state.range(0)); }

template <class Match>
void Run(benchmark::State & state, Match const & match)
{
    std::size_t found = 0;
    for (auto _ : state)
    {
        found = 0;
        for (std::wstring const & text : Texts())
            found += match(text) ? 1 : 0;
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTexts));
}

void QvlibMatch(benchmark::State & state)
{
    qvlib::FuzzyStringPattern const pattern(qvlib::CQVString(Pattern(Arg(state)).c_str()), 0.5);
    Run(state, [&](std::wstring const & text) { return pattern.Match(text.c_str()); });
}
BENCHMARK(QvlibMatch)->Arg(6)->Arg(20)->Arg(200);

void QvlibLongest(benchmark::State & state)
{
    qvlib::SuffixAutomaton const index(Pattern(Arg(state)).c_str());
    int const needed = static_cast<int>(Arg(state) / 2);
    Run(state, [&](std::wstring const & text) { return index.LongestCommonSubstring(text.c_str()) >= needed; });
}
BENCHMARK(QvlibLongest)->Arg(6)->Arg(20)->Arg(200);

/// Two rows, so that the compiler can use vectors.
void DynamicProgramming(benchmark::State & state)
{
    std::wstring const & pattern = Pattern(Arg(state));
    int const needed = static_cast<int>(pattern.size() / 2);
    std::vector<int> before(pattern.size() + 1, 0);
    std::vector<int> now(pattern.size() + 1, 0);
    Run(state,
        [&](std::wstring const & text)
        {
            std::fill(before.begin(), before.end(), 0);
            for (wchar_t const c : text)
            {
                int best = 0;
                int const * const from = before.data();
                int * const to = now.data() + 1;
                wchar_t const * const letters = pattern.data();
                for (std::size_t i = 0; i < pattern.size(); ++i)
                {
                    to[i] = letters[i] == c ? from[i] + 1 : 0;
                    best = std::max(best, to[i]);
                }
                if (best >= needed)
                    return true;
                before.swap(now);
            }
            return false;
        });
}
BENCHMARK(DynamicProgramming)->Arg(6)->Arg(20)->Arg(200);

/// Every suffix is a path; children are a linked list.
class PlainTrie
{
public:
    explicit PlainTrie(std::wstring const & pattern)
    {
        for (std::size_t first = pattern.size(); first-- > 0;)
        {
            Node * node = &m_root;
            for (std::size_t i = first; i < pattern.size(); ++i)
            {
                Node * child = node->Child(pattern[i]);
                if (child == nullptr)
                {
                    child = new Node{pattern[i], nullptr, node->child,
                                     node->link ? node->link->Child(pattern[i]) : &m_root};
                    node->child = child;
                }
                node = child;
            }
        }
    }
    PlainTrie(PlainTrie const &) = delete;
    PlainTrie & operator=(PlainTrie const &) = delete;
    ~PlainTrie() { m_root.Drop(); }

    bool Match(wchar_t const * text, int needed) const
    {
        Node const * node = &m_root;
        int matched = 0;
        for (wchar_t const * start = text; start[matched] != 0;)
        {
            if (Node const * const child = node->Child(start[matched]))
            {
                node = child;
                if (++matched == needed)
                    return true;
                continue;
            }
            ++start;
            if (matched > 0)
            {
                node = node->link;
                --matched;
            }
        }
        return false;
    }

private:
    struct Node
    {
        wchar_t character = 0;
        Node * child = nullptr;
        Node * sibling = nullptr;
        Node * link = nullptr;

        Node * Child(wchar_t c) const
        {
            Node * at = child;
            while (at != nullptr && at->character != c)
                at = at->sibling;
            return at;
        }
        void Drop()
        {
            while (Node * const first = child)
            {
                child = first->sibling;
                first->Drop();
                delete first;
            }
        }
    };
    Node m_root;
};

void LinkedTrie(benchmark::State & state)
{
    PlainTrie const trie(Pattern(Arg(state)));
    int const needed = static_cast<int>(Arg(state) / 2);
    Run(state, [&](std::wstring const & text) { return trie.Match(text.c_str(), needed); });
}
BENCHMARK(LinkedTrie)->Arg(6)->Arg(20)->Arg(200);

void QvlibBuild(benchmark::State & state)
{
    qvlib::CQVString const text(Pattern(Arg(state)).c_str());
    for (auto _ : state)
    {
        qvlib::FuzzyStringPattern pattern(text, 0.5);
        benchmark::DoNotOptimize(pattern);
    }
}
BENCHMARK(QvlibBuild)->Arg(6)->Arg(20)->Arg(200);

void LinkedTrieBuild(benchmark::State & state)
{
    for (auto _ : state)
    {
        PlainTrie const trie(Pattern(Arg(state)));
        benchmark::DoNotOptimize(&trie);
    }
}
BENCHMARK(LinkedTrieBuild)->Arg(6)->Arg(20)->Arg(200);

/// One text of 2,000 to 200,000 characters: the time a character must stay.
void QvlibLongText(benchmark::State & state)
{
    std::mt19937 random(9);
    std::wstring const text = Prose(random, Arg(state));
    qvlib::SuffixAutomaton const index(Pattern(20).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(index.LongestCommonSubstring(text.c_str()));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(QvlibLongText)->RangeMultiplier(10)->Range(2'000, 200'000);

#ifdef QVLIB_PEER_HYPERSCAN
void Hyperscan(benchmark::State & state)
{
    std::wstring const & pattern = Pattern(Arg(state));
    std::size_t const needed = pattern.size() / 2;
    std::vector<std::string> runs;
    for (std::size_t i = 0; i + needed <= pattern.size(); ++i)
        runs.emplace_back(pattern.begin() + static_cast<std::ptrdiff_t>(i),
                          pattern.begin() + static_cast<std::ptrdiff_t>(i + needed));
    std::vector<char const *> expressions;
    for (std::string const & run : runs)
        expressions.push_back(run.c_str());
    std::vector<unsigned> const flags(runs.size(), HS_FLAG_SINGLEMATCH);
    hs_database_t * database = nullptr;
    hs_compile_error_t * error = nullptr;
    hs_scratch_t * scratch = nullptr;
    if (hs_compile_multi(expressions.data(), flags.data(), nullptr, static_cast<unsigned>(runs.size()), HS_MODE_BLOCK,
                         nullptr, &database, &error) != HS_SUCCESS ||
        hs_alloc_scratch(database, &scratch) != HS_SUCCESS)
    {
        state.SkipWithError("hyperscan does not compile the pattern");
        return;
    }
    std::vector<std::string> narrow;
    for (std::wstring const & text : Texts())
        narrow.emplace_back(text.begin(), text.end());
    auto const stop = [](unsigned, unsigned long long, unsigned long long, unsigned, void *) { return 1; };
    std::size_t found = 0;
    for (auto _ : state)
    {
        found = 0;
        for (std::string const & text : narrow)
            found += hs_scan(database, text.data(), static_cast<unsigned>(text.size()), 0, scratch, stop, nullptr) ==
                             HS_SCAN_TERMINATED
                         ? 1
                         : 0;
    }
    state.counters["found"] = static_cast<double>(found);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTexts));
    hs_free_scratch(scratch);
    hs_free_database(database);
}
BENCHMARK(Hyperscan)->Arg(6)->Arg(20)->Arg(200);
#endif

} // namespace

BENCHMARK_MAIN();
