// The operations of CDelimitedString that look at all pairs of tokens by their rule, done in n log n or better.

#include "qvlib/DelimitedString.h"

#include "text/internal/list_writer.h"
#include "text/internal/token_scan.h"
#include "text/internal/token_set.h"

#include <algorithm>

namespace qvlib
{

using text::Measured;
using text::Span;
using text::TokenSet;
using text::TokenWalk;

namespace
{

std::vector<Span> TokensOf(CQVString const & list, wchar_t delimiter)
{
    std::vector<Span> tokens;
    TokenWalk walk(list.GetString(), static_cast<std::size_t>(list.GetLength()), delimiter);
    for (Span token; walk.Next(token);)
        tokens.push_back(token);
    return tokens;
}

CQVString Join(std::vector<Span> const & tokens, wchar_t delimiter)
{
    if (tokens.empty())
        return {};
    std::size_t room = tokens.size();
    for (Span const & token : tokens)
        room += token.Length();
    text::ListWriter result(room, delimiter);
    for (Span const & token : tokens)
        result.Add(token);
    return result.Take();
}

/// Whether a sorted list has `a` strictly ahead of `b`.
struct Ahead
{
    SortingTraits const & traits;

    bool operator()(Span a, Span b) const
    {
        int const order = text::Compare(a, b, traits.caseSensitive);
        return traits.ascending ? order < 0 : order > 0;
    }
};

/// The tokens of `source` that neither the list nor an earlier part of `source` has, in their order.
std::vector<Span> NewTokens(CDelimitedString const & list, CQVString const & source, bool caseSensitive)
{
    TokenSet known(caseSensitive);
    auto const length = static_cast<std::size_t>(list.GetLength());
    TokenWalk present(list.GetString(), length, list.GetDelimiter());
    for (Span token; present.Next(token);)
        known.Insert(token);
    std::vector<Span> added;
    TokenWalk offered(source.GetString(), static_cast<std::size_t>(source.GetLength()), list.GetDelimiter());
    for (Span token; offered.Next(token);)
        if (known.Insert(token))
            added.push_back(token);
    return added;
}

} // namespace

bool CDelimitedString::RemoveDuplicateTokens(FindTraits const & traits)
{
    // Kept on purpose, callers depend on it: each token takes away only the first later duplicate, and the walk then
    // goes on behind it. So of equal tokens the first, third, fifth... stay: "a,a,a" becomes "a,a".
    TokenSet seen(traits.caseSensitive);
    auto const size = static_cast<std::size_t>(GetLength());
    std::vector<Span> kept;
    bool dropped = false;
    text::FieldWalk walk(GetString(), size, m_delimiter);
    for (Span field; walk.Next(field);)
    {
        Span const token = text::Trimmed(field, m_delimiter);
        if (!token.IsEmpty())
        {
            bool isNew = false;
            bool & waiting = seen.Mark(token, isNew); // whether a token that stays still waits for its duplicate
            waiting = !waiting;
            if (!waiting)
            {
                dropped = true;
                continue;
            }
        }
        kept.push_back(field);
    }
    if (!dropped)
        return false;
    CQVString result;
    wchar_t * const start = result.GetBuffer(static_cast<int>(size));
    wchar_t * out = start;
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        if (i != 0)
            *out++ = m_delimiter;
        std::wmemcpy(out, kept[i].begin, kept[i].Length());
        out += kept[i].Length();
    }
    result.ReleaseBuffer(static_cast<int>(out - start));
    CQVString::operator=(std::move(result));
    return true;
}

bool CDelimitedString::Merge(CQVString const & other)
{
    if (IsEmpty())
    {
        *this = other; // the comma again, whatever the delimiter was
        return !IsEmpty();
    }
    CQVString const source(other); // may be this very string
    std::vector<Span> const added = NewTokens(*this, source, true);
    if (added.empty())
        return false;
    AppendChar(m_delimiter);
    try
    {
        Append(Join(added, m_delimiter));
    }
    catch (...)
    {
        Truncate(GetLength() - 1);
        throw;
    }
    return true;
}

bool CDelimitedString::Merge(CQVString const & other, SortingTraits const & traits)
{
    if (IsEmpty())
    {
        *this = other;
        return !IsEmpty();
    }
    CQVString const source(other);
    std::vector<Span> added = NewTokens(*this, source, traits.caseSensitive);
    if (added.empty())
        return false;
    Ahead const ahead{traits};
    std::sort(added.begin(), added.end(), ahead);
    // A new token goes ahead of the first token here that it is ahead of. This list need not be sorted: that first
    // token is always one that all tokens before it are ahead of, and those do stand in order.
    std::vector<Span> const present = TokensOf(*this, m_delimiter);
    std::vector<Span> result;
    result.reserve(present.size() + added.size());
    auto next = added.begin();
    Span const * last = nullptr;
    for (Span const & token : present)
    {
        if (last == nullptr || ahead(*last, token))
        {
            for (; next != added.end() && ahead(*next, token); ++next)
                result.push_back(*next);
            last = &token;
        }
        result.push_back(token);
    }
    result.insert(result.end(), next, added.end());
    CQVString::operator=(Join(result, m_delimiter));
    return true;
}

void CDelimitedString::SortTokens(SortingTraits const & traits)
{
    std::vector<Span> tokens = TokensOf(*this, m_delimiter);
    Ahead const ahead{traits};
    if (traits.allowDuplicates)
    {
        // Each token is inserted ahead of its equals, so equal ones end up in reverse.
        std::reverse(tokens.begin(), tokens.end());
        std::stable_sort(tokens.begin(), tokens.end(), ahead);
    }
    else
    {
        std::stable_sort(tokens.begin(), tokens.end(), ahead);
        auto const equal = [&](Span a, Span b) { return text::Equal(a, b, traits.caseSensitive); };
        tokens.erase(std::unique(tokens.begin(), tokens.end(), equal), tokens.end());
    }
    CQVString::operator=(Join(tokens, m_delimiter));
}

} // namespace qvlib
