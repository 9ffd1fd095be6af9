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
    while (span.begin != span.end && IsBlank(*span.begin, delimiter))
        ++span.begin;
    while (span.begin != span.end && IsBlank(span.end[-1], delimiter))
        --span.end;
    return span;
}

/// The first `a` or `b` in the text, or its end.
inline wchar_t const * FindEither(wchar_t const * at, wchar_t const * end, wchar_t a, wchar_t b)
{
#if defined(__SSE2__)
    // Four characters at a time; never beyond the end.
    static_assert(sizeof(wchar_t) == 4);
    __m128i const first = _mm_set1_epi32(a);
    __m128i const second = _mm_set1_epi32(b);
    for (; end - at >= 4; at += 4)
    {
        __m128i const chars = _mm_loadu_si128(reinterpret_cast<__m128i const *>(at));
        __m128i const hits = _mm_or_si128(_mm_cmpeq_epi32(chars, first), _mm_cmpeq_epi32(chars, second));
        if (int const mask = _mm_movemask_ps(_mm_castsi128_ps(hits)))
            return at + std::countr_zero(static_cast<unsigned int>(mask));
    }
#endif
    while (at != end && *at != a && *at != b)
        ++at;
    return at;
}

/// Walks the non-empty tokens of a text. A NUL ends the text, as it does for every reader of it.
class TokenWalk
{
public:
    TokenWalk(wchar_t const * text, std::size_t length, wchar_t delimiter)
        : m_at(text), m_end(text + length), m_delimiter(delimiter)
    {
    }

    bool Next(Span & token)
    {
        while (m_at != m_end && *m_at != L'\0')
        {
            wchar_t const * const stop = FindEither(m_at, m_end, m_delimiter, L'\0');
            token = Trimmed({m_at, stop}, m_delimiter);
            m_at = stop != m_end && *stop != L'\0' ? stop + 1 : stop;
            if (!token.IsEmpty())
                return true;
        }
        return false;
    }
    /// Where the next field begins.
    wchar_t const * At() const { return m_at; }

private:
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
        : m_at(text), m_end(text + length), m_delimiter(delimiter)
    {
    }

    bool Next(Span & field)
    {
        if (m_at == nullptr)
            return false;
        wchar_t const * const stop = FindEither(m_at, m_end, m_delimiter, m_delimiter);
        field = {m_at, stop};
        m_at = stop != m_end ? stop + 1 : nullptr;
        return true;
    }

private:
    wchar_t const * m_at;
    wchar_t const * m_end;
    wchar_t m_delimiter;
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
