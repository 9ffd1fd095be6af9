#include "qvlib/SuffixAutomaton.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>
#include <wchar.h>

namespace qvlib
{

// The index is the trie of all suffixes of the pattern, each node with a link to the node of its string without the
// first character, and folded: nodes whose strings end at the same places of the pattern are one, so that there are at
// most two for each character where the trie has as many as the square. `length` is the longest string of a folded
// node; how much of it is matched at the moment the walk keeps beside the node.
//
// Characters of the pattern are numbered from 1; number 0 is every other character. A pattern whose nodes times numbers
// are few is compiled into a table in which the links are already followed: a step is then one load, with no branch to
// mispredict. Others are walked by the links.
struct SuffixAutomaton::Tables
{
    struct Node
    {
        std::int32_t length;
        std::int32_t link;
        std::int32_t firstEdge;
    };
    struct Edge
    {
        std::int32_t from;
        std::uint32_t label;
        std::int32_t to;
        std::int32_t next; ///< of the same node
    };
    struct OtherCharacter
    {
        wchar_t character;
        std::uint32_t label; ///< 0 in a free slot
    };
    static constexpr std::int32_t kNone = -1;
    static constexpr std::size_t kMaxSteps = 1U << 16; // so that a row's place fits 16 bits
    static constexpr std::size_t kGram = 3;
    static constexpr std::uint32_t kAscii = 128;

    explicit Tables(wchar_t const * pattern);

    std::uint32_t LabelOf(wchar_t character) const noexcept
    {
        auto const code = static_cast<std::uint32_t>(character);
        return code < kAscii ? asciiLabels[code] : OtherLabelOf(character);
    }
    std::uint32_t OtherLabelOf(wchar_t character) const noexcept
    {
        if (others.empty())
            return 0;
        std::size_t slot = Spread(static_cast<std::uint32_t>(character)) & (others.size() - 1);
        while (others[slot].label != 0 && others[slot].character != character)
            slot = (slot + 1) & (others.size() - 1);
        return others[slot].label;
    }
    std::int32_t EdgeOf(std::int32_t from, std::uint32_t label) const noexcept
    {
        std::size_t slot = SlotOf(from, label);
        while (slots[slot] != kNone)
        {
            Edge const & edge = edges[static_cast<std::size_t>(slots[slot])];
            if (edge.from == from && edge.label == label)
                return slots[slot];
            slot = (slot + 1) & (slots.size() - 1);
        }
        return kNone;
    }
    /// Whether the pattern may hold these kGram characters in a row.
    bool MayHoldGram(wchar_t const * text) const noexcept
    {
        std::uint32_t const bit = GramBit(text);
        return (grams[bit / 64] >> (bit % 64) & 1) != 0;
    }

    int length; ///< of the pattern
    std::uint32_t asciiLabels[kAscii] = {};
    std::vector<OtherCharacter> others; ///< open addressing; a power of two, or empty
    std::uint32_t labels = 1;           ///< how many numbers there are, 0 among them

    /// Rows of `labels` steps, a row a node, the root's first: the low half of a step is where the row of the next node
    /// begins, the high half the most that can be matched there. Empty for a large pattern.
    std::vector<std::uint32_t> steps;

    // Of a large pattern only.
    std::vector<Node> nodes;
    std::vector<Edge> edges;
    std::vector<std::int32_t> slots; ///< edges by node and label; a power of two, open addressing

    std::vector<std::uint64_t> grams; ///< a bit for each run of kGram characters that may be in the pattern
    unsigned gramShift = 0;

private:
    static std::size_t Spread(std::uint64_t value) noexcept
    {
        value *= 0x9E3779B97F4A7C15ULL;
        return static_cast<std::size_t>(value ^ (value >> 32));
    }
    std::size_t SlotOf(std::int32_t from, std::uint32_t label) const noexcept
    {
        return Spread(static_cast<std::uint64_t>(from) << 32 | label) & (slots.size() - 1);
    }
    std::uint32_t GramBit(wchar_t const * text) const noexcept
    {
        return (static_cast<std::uint32_t>(text[0]) * 0x9E3779B1U + static_cast<std::uint32_t>(text[1]) * 0x85EBCA77U +
                static_cast<std::uint32_t>(text[2]) * 0xC2B2AE3DU) >>
               gramShift;
    }

    void NumberCharacters(wchar_t const * pattern);
    void NoteGrams(wchar_t const * pattern);
    void BuildNodes(wchar_t const * pattern);
    std::int32_t AddNode(std::int32_t nodeLength);
    void AddEdge(std::int32_t from, std::uint32_t label, std::int32_t to);
    std::int32_t Extend(std::int32_t last, std::uint32_t label);
    void Compile();
};

SuffixAutomaton::Tables::Tables(wchar_t const * pattern)
{
    // Twice the length numbers the nodes, and positions are int to callers: a longer pattern is not to be had.
    length = static_cast<int>(std::min<std::size_t>(::wcslen(pattern), std::numeric_limits<int>::max() / 4));
    NumberCharacters(pattern);
    NoteGrams(pattern);
    BuildNodes(pattern);
    if (nodes.size() * labels <= kMaxSteps)
        Compile();
}

void SuffixAutomaton::Tables::NumberCharacters(wchar_t const * pattern)
{
    std::size_t const size = static_cast<std::size_t>(length);
    std::size_t const otherCount = static_cast<std::size_t>(
        std::count_if(pattern, pattern + size, [](wchar_t c) { return static_cast<std::uint32_t>(c) >= kAscii; }));
    if (otherCount != 0)
        others.resize(std::bit_ceil(2 * otherCount));
    for (std::size_t i = 0; i < size; ++i)
    {
        auto const code = static_cast<std::uint32_t>(pattern[i]);
        if (code < kAscii)
        {
            if (asciiLabels[code] == 0)
                asciiLabels[code] = labels++;
            continue;
        }
        std::size_t slot = Spread(code) & (others.size() - 1);
        while (others[slot].label != 0 && others[slot].character != pattern[i])
            slot = (slot + 1) & (others.size() - 1);
        if (others[slot].label == 0)
            others[slot] = {pattern[i], labels++};
    }
}

void SuffixAutomaton::Tables::NoteGrams(wchar_t const * pattern)
{
    std::size_t const size = static_cast<std::size_t>(length);
    std::size_t const bits = std::bit_ceil(std::max<std::size_t>(16 * size, 256));
    gramShift = 32U - static_cast<unsigned>(std::countr_zero(std::min<std::size_t>(bits, std::size_t{1} << 31)));
    grams.assign((std::size_t{1} << (32U - gramShift)) / 64, 0);
    for (std::size_t i = 0; i + kGram <= size; ++i)
    {
        std::uint32_t const bit = GramBit(pattern + i);
        grams[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
}

std::int32_t SuffixAutomaton::Tables::AddNode(std::int32_t nodeLength)
{
    nodes.push_back({nodeLength, kNone, kNone});
    return static_cast<std::int32_t>(nodes.size()) - 1;
}

void SuffixAutomaton::Tables::AddEdge(std::int32_t from, std::uint32_t label, std::int32_t to)
{
    std::size_t slot = SlotOf(from, label);
    while (slots[slot] != kNone)
        slot = (slot + 1) & (slots.size() - 1);
    std::int32_t & first = nodes[static_cast<std::size_t>(from)].firstEdge;
    edges.push_back({from, label, to, first});
    first = slots[slot] = static_cast<std::int32_t>(edges.size()) - 1;
}

/// Adds one character to the indexed pattern, whose node is `last`; gives the node of the longer pattern.
std::int32_t SuffixAutomaton::Tables::Extend(std::int32_t last, std::uint32_t label)
{
    auto const at = [this](std::int32_t node) -> Node & { return nodes[static_cast<std::size_t>(node)]; };
    std::int32_t const added = AddNode(at(last).length + 1);
    std::int32_t from = last;
    std::int32_t found = kNone;
    for (; from != kNone && (found = EdgeOf(from, label)) == kNone; from = at(from).link)
        AddEdge(from, label, added);
    if (from == kNone)
    {
        at(added).link = 0;
        return added;
    }
    std::int32_t const to = edges[static_cast<std::size_t>(found)].to;
    if (at(to).length == at(from).length + 1)
    {
        at(added).link = to;
        return added;
    }
    // The shorter strings of `to` now end at a place where its longer ones do not: they get a node of their own.
    std::int32_t const split = AddNode(at(from).length + 1);
    for (std::int32_t e = at(to).firstEdge; e != kNone; e = edges[static_cast<std::size_t>(e)].next)
    {
        Edge const edge = edges[static_cast<std::size_t>(e)];
        AddEdge(split, edge.label, edge.to);
    }
    at(split).link = at(to).link;
    at(to).link = at(added).link = split;
    for (; from != kNone && (found = EdgeOf(from, label)) != kNone; from = at(from).link)
    {
        Edge & edge = edges[static_cast<std::size_t>(found)];
        if (edge.to != to)
            break;
        edge.to = split;
    }
    return added;
}

void SuffixAutomaton::Tables::BuildNodes(wchar_t const * pattern)
{
    // The bounds of such an automaton, so that nothing grows while it is built.
    std::size_t const size = static_cast<std::size_t>(length);
    nodes.reserve(2 * size + 1);
    edges.reserve(3 * size + 1);
    slots.assign(std::bit_ceil(6 * size + 2), kNone);
    std::int32_t last = AddNode(0);
    for (std::size_t i = 0; i < size; ++i)
        last = Extend(last, LabelOf(pattern[i]));
}

void SuffixAutomaton::Tables::Compile()
{
    // Shorter nodes first, so that the row behind a link stands before the rows that begin as its copy.
    std::vector<std::uint32_t> place(static_cast<std::size_t>(length) + 2, 0);
    for (Node const & node : nodes)
        ++place[static_cast<std::size_t>(node.length) + 1];
    for (std::size_t i = 1; i < place.size(); ++i)
        place[i] += place[i - 1];
    std::vector<std::uint32_t> order(nodes.size());
    std::vector<std::uint32_t> rows(nodes.size());
    for (std::uint32_t i = 0; i < nodes.size(); ++i)
    {
        std::uint32_t const index = place[static_cast<std::size_t>(nodes[i].length)]++;
        order[index] = i;
        rows[i] = index * labels;
    }
    steps.assign(nodes.size() * labels, 0);
    for (std::uint32_t const i : order)
    {
        Node const & node = nodes[i];
        std::uint32_t * const row = &steps[rows[i]];
        if (node.link != kNone)
            std::copy_n(&steps[rows[static_cast<std::size_t>(node.link)]], labels, row);
        for (std::int32_t e = node.firstEdge; e != kNone; e = edges[static_cast<std::size_t>(e)].next)
        {
            Edge const & edge = edges[static_cast<std::size_t>(e)];
            row[edge.label] =
                static_cast<std::uint32_t>(node.length + 1) << 16 | rows[static_cast<std::size_t>(edge.to)];
        }
    }
    nodes = {};
    edges = {};
    slots = {};
}

namespace
{

/// The longest end of what was read that is in the pattern: of compiled tables.
template <class Tables>
class CompiledWalk
{
public:
    explicit CompiledWalk(Tables const & tables) noexcept : m_tables(tables), m_steps(tables.steps.data()) {}
    void Restart() noexcept { m_row = m_matched = 0; }
    std::uint32_t Matched() const noexcept { return m_matched; }
    void Step(wchar_t character) noexcept
    {
        std::uint32_t const step = m_steps[m_row + m_tables.LabelOf(character)];
        m_row = step & 0xFFFF;
        m_matched = std::min(m_matched + 1, step >> 16);
    }

private:
    Tables const & m_tables;
    std::uint32_t const * m_steps;
    std::uint32_t m_row = 0;
    std::uint32_t m_matched = 0;
};

/// The same by the links.
template <class Tables>
class LinkedWalk
{
public:
    explicit LinkedWalk(Tables const & tables) noexcept : m_tables(tables) {}
    void Restart() noexcept
    {
        m_node = 0;
        m_matched = 0;
    }
    std::uint32_t Matched() const noexcept { return m_matched; }
    void Step(wchar_t character) noexcept
    {
        std::uint32_t const label = m_tables.LabelOf(character);
        if (label == 0)
            return Restart();
        for (;;)
        {
            std::int32_t const edge = m_tables.EdgeOf(m_node, label);
            if (edge != Tables::kNone)
            {
                m_node = m_tables.edges[static_cast<std::size_t>(edge)].to;
                ++m_matched;
                return;
            }
            // The root has an edge for every character of the pattern.
            m_node = m_tables.nodes[static_cast<std::size_t>(m_node)].link;
            m_matched = static_cast<std::uint32_t>(m_tables.nodes[static_cast<std::size_t>(m_node)].length);
        }
    }

private:
    Tables const & m_tables;
    std::int32_t m_node = 0;
    std::uint32_t m_matched = 0;
};

template <class Walk>
int LongestRun(Walk walk, wchar_t const * text, std::uint32_t target)
{
    std::uint32_t best = 0;
    for (; *text != L'\0'; ++text)
    {
        walk.Step(*text);
        if (walk.Matched() > best)
        {
            best = walk.Matched();
            if (best >= target)
                break;
        }
    }
    return static_cast<int>(best);
}

/// Whether there is a run of `target` characters. A run holds one of the grams that stand `target - kGram + 1` apart,
/// so the walk is needed only around those that the pattern may hold. It never goes back: a character is walked over
/// once.
template <class Walk, class Tables>
bool HasRun(Walk walk, Tables const & tables, wchar_t const * text, std::size_t target)
{
    constexpr std::size_t kPiece = 256;
    std::size_t known = 0; // so many characters there are at least
    bool ended = false;
    auto const reaches = [&](std::size_t length)
    {
        while (known < length && !ended)
        {
            std::size_t const more = ::wcsnlen(text + known, kPiece);
            known += more;
            ended = more < kPiece;
        }
        return known >= length;
    };
    // What a run has beside its gram lies in front of it or behind it: for one of the sides it is another gram, or
    // more.
    auto const reachesOut = [&](std::size_t gram)
    {
        return target < 3 * Tables::kGram - 1 || tables.MayHoldGram(text + gram - Tables::kGram) ||
               (reaches(gram + 2 * Tables::kGram) && tables.MayHoldGram(text + gram + Tables::kGram));
    };
    std::size_t const stride = target - Tables::kGram + 1;
    std::size_t walked = 0;
    for (std::size_t gram = stride - 1; reaches(gram + Tables::kGram);)
    {
        if (!tables.MayHoldGram(text + gram) || !reachesOut(gram))
        {
            gram += stride;
            continue;
        }
        // A run around this gram begins no earlier than where the one before, which was none, is left behind.
        std::size_t const from = gram + 1 - stride;
        if (from > walked)
        {
            walked = from;
            walk.Restart();
        }
        while (walked - walk.Matched() <= gram)
        {
            if (!reaches(walked + 1))
                return false;
            walk.Step(text[walked++]);
            if (walk.Matched() >= target)
                return true;
        }
        gram = walked - walk.Matched() + stride - 1;
    }
    return false;
}

} // namespace

SuffixAutomaton::SuffixAutomaton(wchar_t const * pattern)
    : m_tables(std::make_unique<Tables const>(pattern == nullptr ? L"" : pattern))
{
}

SuffixAutomaton::~SuffixAutomaton() = default;

bool SuffixAutomaton::HasCommonSubstring(wchar_t const * text, int length) const
{
    if (length <= 0)
        return true;
    if (length > m_tables->length || text == nullptr)
        return false;
    constexpr int kWorthSampling = 5;
    if (length < kWorthSampling)
        return FirstOrBestMatch(text, length) >= length;
    return m_tables->steps.empty()
               ? HasRun(LinkedWalk<Tables>(*m_tables), *m_tables, text, static_cast<std::size_t>(length))
               : HasRun(CompiledWalk<Tables>(*m_tables), *m_tables, text, static_cast<std::size_t>(length));
}

int SuffixAutomaton::LongestCommonSubstring(wchar_t const * text) const
{
    return FirstOrBestMatch(text, std::numeric_limits<int>::max());
}

int SuffixAutomaton::FirstOrBestMatch(wchar_t const * text, int target) const
{
    if (target <= 0 || text == nullptr)
        return 0;
    auto const wanted = static_cast<std::uint32_t>(target);
    return m_tables->steps.empty() ? LongestRun(LinkedWalk<Tables>(*m_tables), text, wanted)
                                   : LongestRun(CompiledWalk<Tables>(*m_tables), text, wanted);
}

} // namespace qvlib
