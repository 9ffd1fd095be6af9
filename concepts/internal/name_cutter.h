// Cuts a list at its commas, 64 characters at a time.
#pragma once

#include "concepts/internal/first_match_table.h"
#include "qvlib/DelimitedString.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
#include <emmintrin.h>
#endif

namespace qvlib::internal
{

/// Gives the names of a list as CDelimitedString does: without the blanks around them, empty ones passed over. The list
/// ends at its first NUL. It must stay as it is.
class NameCutter
{
public:
    explicit NameCutter(std::wstring const & list) noexcept
        : m_name(list.c_str()), m_next(m_name), m_end(m_name + list.size() + 1)
    {
    }

    /// The next name; empty at the end.
    std::wstring_view Next() noexcept
    {
        while (m_name != nullptr)
        {
            while (m_marks == 0)
                Advance();
            wchar_t const * const end = m_block + CountBelow(m_marks);
            m_marks &= m_marks - 1;
            wchar_t const * const token = m_name;
            std::size_t const length = static_cast<std::size_t>(end - m_name);
            m_name = *end != 0 ? end + 1 : nullptr;
            if (length == 0)
                continue;
            if (!MayBeBlank(token[0]) && !MayBeBlank(token[length - 1]))
                return {token, length};
            std::wstring_view const trimmed = Trimmed(token, length);
            if (!trimmed.empty())
                return trimmed;
        }
        return {};
    }

    /// How much of the list lies behind the names given so far, and before, about.
    std::size_t Left() const noexcept { return static_cast<std::size_t>(m_end - m_next); }

private:
    static constexpr std::size_t kBlock = 64;
    static constexpr std::size_t kAhead = 512;

    static bool MayBeBlank(wchar_t c) noexcept { return c <= L' ' || c > 0x7E; }
    static bool IsMark(wchar_t c) noexcept { return c == L',' || c == 0; }

    static std::wstring_view Trimmed(wchar_t const * token, unsigned long length) noexcept
    {
        CDelimitedString::TrimToken(token, length, L',');
        return {token, length};
    }

    static std::size_t CountBelow(std::uint64_t bits) noexcept
    {
#if defined(__GNUC__)
        return static_cast<std::size_t>(__builtin_ctzll(bits));
#else
        std::size_t count = 0;
        for (; (bits & 1) == 0; bits >>= 1)
            ++count;
        return count;
#endif
    }

    // A bit for each comma and NUL of the next block. The NUL behind the list is always one of them.
    void Advance() noexcept
    {
        m_block = m_next;
        // Lists are long, and the processor's own look ahead ends with each page.
        if (Left() >= kAhead + kBlock)
        {
            for (std::size_t i = 0; i < kBlock; i += 64 / sizeof(wchar_t))
                Prefetch(m_next + kAhead + i);
        }
        std::size_t i = 0;
        std::size_t const count =
            m_end - m_next < static_cast<std::ptrdiff_t>(kBlock) ? static_cast<std::size_t>(m_end - m_next) : kBlock;
#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
        for (; i + 16 <= count; i += 16)
            m_marks |= static_cast<std::uint64_t>(Marks16(m_block + i)) << i;
#endif
        for (; i < count; ++i)
            m_marks |= static_cast<std::uint64_t>(IsMark(m_block[i])) << i;
        m_next += count;
    }

#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
    static std::uint32_t Marks16(wchar_t const * at) noexcept
    {
        __m128i const commas = _mm_set1_epi32(L',');
        __m128i const zero = _mm_setzero_si128();
        auto const four = [&](wchar_t const * from)
        {
            __m128i const characters = _mm_loadu_si128(reinterpret_cast<__m128i const *>(from));
            return _mm_or_si128(_mm_cmpeq_epi32(characters, commas), _mm_cmpeq_epi32(characters, zero));
        };
        __m128i const low = _mm_packs_epi32(four(at), four(at + 4));
        __m128i const high = _mm_packs_epi32(four(at + 8), four(at + 12));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    }
#endif

    wchar_t const * m_name;            // the rest that was not given; null behind the last
    wchar_t const * m_block = nullptr; // what m_marks tells of
    wchar_t const * m_next;            // behind the block
    wchar_t const * m_end;             // behind the NUL that ends the list
    std::uint64_t m_marks = 0;
};

} // namespace qvlib::internal
