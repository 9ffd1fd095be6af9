#include "qvlib/DelimitedString.h"

#include "qvlib/TextFunctions.h"
#include "text/internal/token_scan.h"
#include "text/internal/token_set.h"

namespace qvlib
{

using text::FieldWalk;
using text::Measured;
using text::Span;
using text::TokenSet;
using text::TokenWalk;

namespace
{

/// Up to this many comparisons of tokens a plain loop is faster than building a set.
constexpr std::size_t kPlainComparisons = 128;

unsigned long FindIndex(CDelimitedString const & list, wchar_t const * token, unsigned long length, bool caseSensitive)
{
    Span const wanted{token, token + Measured(token, length)};
    TokenWalk walk(list.GetString(), static_cast<std::size_t>(list.GetLength()), list.GetDelimiter());
    unsigned long index = 0;
    for (Span found; walk.Next(found); ++index)
        if (text::Equal(found, wanted, caseSensitive))
            return index;
    return CDelimitedString::kNone;
}

/// FindTokenPosition() for a token that holds the delimiter: it can only be found as a part of the text.
unsigned long FindPart(Span all, Span token, wchar_t delimiter, bool caseSensitive)
{
    auto const find = caseSensitive ? &TLFindString : &TLFindStringNoCase;
    for (wchar_t const * from = all.begin;;)
    {
        wchar_t const * const hit = find(from, static_cast<unsigned long>(all.end - from), token.begin,
                                         static_cast<unsigned long>(token.Length()));
        if (hit == nullptr)
            return CDelimitedString::kNone;
        wchar_t const * left = hit;
        while (left != all.begin && text::IsBlank(left[-1], delimiter))
            --left;
        from = hit + token.Length();
        wchar_t const * right = from;
        while (right != all.end && text::IsBlank(*right, delimiter))
            ++right;
        if ((left == all.begin || left[-1] == delimiter) && (right == all.end || *right == delimiter))
            return static_cast<unsigned long>(hit - all.begin);
    }
}

} // namespace

unsigned long CDelimitedString::FindToken(CQVString const & token) const
{
    return FindIndex(*this, token.GetString(), static_cast<unsigned long>(token.GetLength()), true);
}

unsigned long CDelimitedString::FindToken(wchar_t const * token, unsigned long length) const
{
    return FindIndex(*this, token, length, true);
}

unsigned long CDelimitedString::FindToken(FindTraits const & traits, CQVString const & token) const
{
    return FindIndex(*this, token.GetString(), static_cast<unsigned long>(token.GetLength()), traits.caseSensitive);
}

unsigned long CDelimitedString::FindToken(FindTraits const & traits, wchar_t const * token, unsigned long length) const
{
    return FindIndex(*this, token, length, traits.caseSensitive);
}

unsigned long CDelimitedString::FindTokenNoCase(CQVString const & token) const
{
    return FindIndex(*this, token.GetString(), static_cast<unsigned long>(token.GetLength()), false);
}

unsigned long CDelimitedString::FindTokenNoCase(wchar_t const * token, unsigned long length) const
{
    return FindIndex(*this, token, length, false);
}

unsigned long CDelimitedString::FindTokenPosition(wchar_t const * text, unsigned long textLength, wchar_t const * token,
                                                  unsigned long tokenLength, wchar_t delimiter, bool caseSensitive)
{
    Span const all{text, text + Measured(text, textLength)};
    Span const wanted = text::Trimmed({token, token + Measured(token, tokenLength)}, delimiter);
    if (wanted.IsEmpty() || all.IsEmpty())
        return kNone;
    if (text::Contains(wanted, delimiter))
        return FindPart(all, wanted, delimiter, caseSensitive);
    // A token without the delimiter is found where a field, trimmed, equals it.
    FieldWalk walk(all.begin, all.Length(), delimiter);
    for (Span field; walk.Next(field);)
    {
        if (field.Length() < wanted.Length())
            continue;
        field = text::Trimmed(field, delimiter);
        if (text::Equal(field, wanted, caseSensitive))
            return static_cast<unsigned long>(field.begin - all.begin);
    }
    return kNone;
}

unsigned long CDelimitedString::FindTokenPosition(CQVString const & token, bool caseSensitive) const
{
    return FindTokenPosition(GetString(), static_cast<unsigned long>(GetLength()), token.GetString(),
                             static_cast<unsigned long>(token.GetLength()), m_delimiter, caseSensitive);
}

bool CDelimitedString::HasToken(CQVString const & token) const { return FindTokenPosition(token, true) != kNone; }

bool CDelimitedString::HasToken(wchar_t const * token, unsigned long length) const
{
    return HasToken(FindTraits{true, true, false}, token, length);
}

bool CDelimitedString::HasToken(FindTraits const & traits, CQVString const & token) const
{
    return FindTokenPosition(token, traits.caseSensitive) != kNone;
}

bool CDelimitedString::HasToken(FindTraits const & traits, wchar_t const * token, unsigned long length) const
{
    return FindTokenPosition(GetString(), static_cast<unsigned long>(GetLength()), token, length, m_delimiter,
                             traits.caseSensitive) != kNone;
}

bool CDelimitedString::HasDuplicateTokens(FindTraits const & traits) const
{
    TokenSet seen(traits.caseSensitive);
    TokenWalk walk(GetString(), static_cast<std::size_t>(GetLength()), m_delimiter);
    for (Span token; walk.Next(token);)
        if (!seen.Insert(token))
            return true;
    return false;
}

bool CDelimitedString::Includes(wchar_t const * text, unsigned long textLength, wchar_t const * tokens,
                                unsigned long tokensLength, wchar_t delimiter)
{
    std::size_t const size = Measured(text, textLength);
    std::size_t const tokensSize = Measured(tokens, tokensLength);
    if (size < tokensSize)
        return false;
    if (text == tokens)
        return true;
    TokenWalk walk(tokens, tokensSize, delimiter);
    Span token;
    // The first tokens are looked for one by one; only a long list is worth a set.
    for (std::size_t compared = 0; compared < kPlainComparisons; compared += 1 + size / 16)
    {
        if (!walk.Next(token))
            return true;
        if (FindTokenPosition(text, static_cast<unsigned long>(size), token.begin,
                              static_cast<unsigned long>(token.Length()), delimiter, true) == kNone)
            return false;
    }
    if (!walk.Next(token))
        return true;
    TokenSet present(true);
    FieldWalk fields(text, size, delimiter);
    for (Span field; fields.Next(field);)
        present.Insert(text::Trimmed(field, delimiter));
    do
    {
        if (!present.Contains(token))
            return false;
    } while (walk.Next(token));
    return true;
}

bool CDelimitedString::Includes(CQVString const & other) const
{
    return Includes(GetString(), static_cast<unsigned long>(GetLength()), other.GetString(),
                    static_cast<unsigned long>(other.GetLength()), m_delimiter);
}

bool CDelimitedString::Includes(CQVString const & other, FindTraits const & traits) const
{
    if (traits.caseSensitive || (traits.selfCaseKept && traits.otherCaseKept))
        return Includes(other);
    if (GetLength() < other.GetLength())
        return false;
    if (&other == this)
        return true;
    CDelimitedString self(*this);
    if (!traits.selfCaseKept)
        self.MakeLower();
    CQVString folded(other);
    if (!traits.otherCaseKept)
        folded.MakeLower();
    return self.Includes(folded);
}

bool CDelimitedString::RemoveToken(CQVString const & token) { return RemoveToken({true, true, false}, token); }

bool CDelimitedString::RemoveToken(wchar_t const * token, unsigned long length)
{
    return RemoveToken({true, true, false}, token, length);
}

bool CDelimitedString::RemoveToken(FindTraits const & traits, CQVString const & token)
{
    return RemoveToken(traits, token.GetString(), static_cast<unsigned long>(token.GetLength()));
}

bool CDelimitedString::RemoveToken(FindTraits const & traits, wchar_t const * token, unsigned long length)
{
    unsigned long const position = FindTokenPosition(GetString(), static_cast<unsigned long>(GetLength()), token,
                                                     length, m_delimiter, traits.caseSensitive);
    return position != kNone && RemoveTokenAtPosition(position, length);
}

} // namespace qvlib
