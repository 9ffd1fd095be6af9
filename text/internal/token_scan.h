// Finding the fields and tokens of a delimited text, for the operations of CDelimitedString.
#pragma once

#include "qvlib/host/crt.h"

#include <cstddef>
#include <cwchar>

#if defined(__SSE2__)
#include <bit>
#include <emmintrin.h>
#endif

namespace qvlib::text
{

/// A length argument of all ones, in either width, means that the text ends at its NUL.
inline std::size_t Measured(wchar_t const * text, unsigned long length)
{
    if (text == nullptr)
        return 0;
    if (length == 0xFFFFFFFFUL || length == ~0UL)
        return std::wcslen(text);
    return length;
}

/// The characters [begin, end).
struct Span
{
    wchar_t const * begin;
    wchar_t const * end;

    std::size_t Length() const { return static_cast<std::size_t>(end - begin); }
    bool IsEmpty() const { return begin == end; }
};

/// White space that is not the delimiter. Nearly every character of a list is decided by the first comparison.
inline bool IsBlank(wchar_t c, wchar_t delimiter)
{
    auto const code = static_cast<unsigned int>(c);
    if (code - 0x21U < 0x5FU)
        return false;
    if (c == delimiter)
        return false;
    if (code < 0x80U)
        return code == 0x20U || code - 9U < 5U;
    return host::iswspace(static_cast<int>(c));
}

inline Span Trimmed(Span span, wchar_t delimiter)
{
    // Nearly every token of a list begins and ends with printable ASCII.
    if (span.begin != span.end && static_cast<unsigned int>(*span.begin) - 0x21U < 0x5FU &&
        static_cast<unsigned int>(span.end[-1]) - 0x21U < 0x5FU)
        return span;
    while (span.begin != span.end && IsBlank(*span.begin, delimiter))
        ++span.begin;
    while (span.begin != span.end && IsBlank(span.end[-1], delimiter))
        --span.end;
    return span;
}

/// Finds every `a` and `b` in a text, one after another. The text is looked at in blocks that do not depend on where
/// the last one was found, so that finding the next does not wait for it.
class DelimiterScan
{
public:
    DelimiterScan(wchar_t const * text, std::size_t length, wchar_t a, wchar_t b)
        : m_block(text), m_next(text), m_end(text + length), m_a(a), m_b(b)
    {
    }

    /// The next one, or the end of the text, which is then given for ever.
    wchar_t const * Next()
    {
        while (m_hits == 0)
        {
            if (m_next == m_end)
                return m_end;
            Load();
        }
        wchar_t const * const hit = m_block + std::countr_zero(m_hits);
        m_hits &= m_hits - 1;
        return hit;
    }

private:
    void Load()
    {
        m_block = m_next;
#if defined(__SSE2__)
        static_assert(sizeof(wchar_t) == 4);
        if (m_end - m_block >= 32)
        {
            m_hits = Hits(m_block) | Hits(m_block + 16) << 16;
            m_next += 32;
            return;
        }
        if (m_end - m_block >= 16)
        {
            m_hits = Hits(m_block);
            m_next += 16;
            return;
        }
#endif
        for (unsigned int bit = 1; m_next != m_end && bit != 1U << 16; ++m_next, bit <<= 1)
            if (*m_next == m_a || *m_next == m_b)
                m_hits |= bit;
    }
#if defined(__SSE2__)
    /// A bit for each of sixteen characters.
    unsigned int Hits(wchar_t const * at) const
    {
        __m128i const a = _mm_set1_epi32(m_a);
        __m128i const b = _mm_set1_epi32(m_b);
        auto const four = [a, b](wchar_t const * place)
        {
            __m128i const chars = _mm_loadu_si128(reinterpret_cast<__m128i const *>(place));
            return _mm_or_si128(_mm_cmpeq_epi32(chars, a), _mm_cmpeq_epi32(chars, b));
        };
        __m128i const low = _mm_packs_epi32(four(at), four(at + 4));
        __m128i const high = _mm_packs_epi32(four(at + 8), four(at + 12));
        return static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    }
#endif

    wchar_t const * m_block;
    wchar_t const * m_next;
    wchar_t const * m_end;
    unsigned int m_hits = 0;
    wchar_t m_a;
    wchar_t m_b;
};

inline bool Contains(Span text, wchar_t c) { return std::wmemchr(text.begin, c, text.Length()) != nullptr; }

/// Walks the non-empty tokens of a text. A NUL ends the text, as it does for every reader of it.
class TokenWalk
{
public:
    TokenWalk(wchar_t const * text, std::size_t length, wchar_t delimiter)
        : m_scan(text, length, delimiter, L'\0'), m_at(text), m_end(text + length), m_delimiter(delimiter)
    {
    }

    bool Next(Span & token)
    {
        while (m_at != nullptr)
        {
            wchar_t const * const stop = m_scan.Next();
            token = Trimmed({m_at, stop}, m_delimiter);
            m_at = stop != m_end && *stop != L'\0' ? stop + 1 : nullptr;
            if (!token.IsEmpty())
                return true;
        }
        return false;
    }

private:
    DelimiterScan m_scan;
    wchar_t const * m_at;
    wchar_t const * m_end;
    wchar_t m_delimiter;
};

/// Walks all fields of a text of known length, empty ones and the one behind a closing delimiter too, untrimmed; NULs
/// are characters like any other. An empty text has one field.
class FieldWalk
{
public:
    FieldWalk(wchar_t const * text, std::size_t length, wchar_t delimiter)
        : m_scan(text, length, delimiter, delimiter), m_at(text), m_end(text + length)
    {
    }

    bool Next(Span & field)
    {
        if (m_at == nullptr)
            return false;
        wchar_t const * const stop = m_scan.Next();
        field = {m_at, stop};
        m_at = stop != m_end ? stop + 1 : nullptr;
        return true;
    }

private:
    DelimiterScan m_scan;
    wchar_t const * m_at;
    wchar_t const * m_end;
};

/// Compares by character, folding ASCII letters unless `caseSensitive`.
inline bool Equal(Span a, Span b, bool caseSensitive)
{
    if (a.Length() != b.Length())
        return false;
    if (caseSensitive)
    {
        for (; a.begin != a.end; ++a.begin, ++b.begin)
            if (*a.begin != *b.begin)
                return false;
        return true;
    }
    for (; a.begin != a.end; ++a.begin, ++b.begin)
        if (*a.begin != *b.begin && host::towlower(*a.begin) != host::towlower(*b.begin))
            return false;
    return true;
}

/// The order of sorted lists: by character over the shorter length, and of two that agree so far the shorter first.
inline int Compare(Span a, Span b, bool caseSensitive)
{
    std::size_t const aLength = a.Length();
    std::size_t const bLength = b.Length();
    std::size_t const common = aLength < bLength ? aLength : bLength;
    for (std::size_t i = 0; i < common; ++i)
    {
        wchar_t const x = caseSensitive ? a.begin[i] : host::towlower(a.begin[i]);
        wchar_t const y = caseSensitive ? b.begin[i] : host::towlower(b.begin[i]);
        if (x != y)
            return x < y ? -1 : 1;
    }
    return aLength < bLength ? -1 : aLength > bLength ? 1 : 0;
}

} // namespace qvlib::text
