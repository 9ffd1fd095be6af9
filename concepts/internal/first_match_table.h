// The hash tables behind the look-ups of metadata: from a text or a number to the first position of a list that has it.
//
// A table holds positions and 32-bit tags, no keys: the caller compares with the list itself. Positions go in in
// ascending order and the first of equal keys stays, so a table answers as a walk of the list does. Hashes are seeded,
// one table unlike the other, so that no document can make all its names collide.
#pragma once

#include "qvlib/detail/LazyIndex.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvlib::internal
{

/// Lists up to this length are walked.
constexpr std::size_t kWalkLimit = 8;

constexpr std::uint32_t kNoPosition = 0xFFFFFFFFU;

constexpr wchar_t FoldAscii(wchar_t c) noexcept
{
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

/// The text up to its first NUL: comparisons without regard to case end there.
inline std::wstring_view UpToNul(std::wstring_view text) noexcept { return text.substr(0, text.find(L'\0')); }

/// Whether the text `a` up to its first NUL is `b`, which has none, letters folded by ASCII.
inline bool EqualFolded(wchar_t const * a, std::wstring_view b) noexcept
{
    for (wchar_t const c : b)
    {
        if (FoldAscii(*a) != FoldAscii(c))
            return false;
        ++a;
    }
    return *a == 0;
}

/// Lets the memory be fetched that will be read soon.
inline void Prefetch([[maybe_unused]] void const * address) noexcept
{
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
}

class FirstMatchTable
{
public:
    explicit FirstMatchTable(std::size_t expected);

    /// The tag of an exact text, of a text with letters folded, of a number.
    std::uint32_t Tag(std::wstring_view text) const noexcept
    {
        std::uint64_t hash = m_seed ^ text.size();
        wchar_t const * at = text.data();
        std::size_t left = text.size();
        if (left >= 4)
        {
            // Four characters a step, the last four once more where the length is no multiple: few branches that depend
            // on the length.
            for (; left > kKeyCount; left -= kKeyCount, at += kKeyCount)
            {
                Products products;
                for (std::size_t i = 0; i < kKeyCount; i += 4)
                    products.Add(at + i, m_keys + i);
                hash = Mix(hash, products.Sum());
            }
            Products products;
            if (left < 4)
            {
                at -= 4 - left;
                left = 4;
            }
            std::uint32_t const * key = m_keys;
            for (; left > 4; left -= 4, at += 4, key += 4)
                products.Add(at, key);
            products.Add(at + left - 4, key);
            return Finish(Mix(hash, products.Sum()));
        }
        for (; left != 0; --left, ++at)
            hash = Mix(hash, Pair(at[0], 0));
        return Finish(hash);
    }
    std::uint32_t FoldedTag(std::wstring_view text) const noexcept
    {
        std::uint64_t hash = m_seed ^ text.size();
        wchar_t const * at = text.data();
        std::size_t left = text.size();
        for (; left >= 2; left -= 2, at += 2)
            hash = Mix(hash, Pair(FoldAscii(at[0]), FoldAscii(at[1])));
        if (left != 0)
            hash = Mix(hash, Pair(FoldAscii(at[0]), 0));
        return Finish(hash);
    }
    static std::uint32_t Tag(std::uint32_t number) noexcept { return number; }

    /// Where FindTag begins to look for the tag. Lets the memory there be fetched.
    std::size_t Place(std::uint32_t tag) const noexcept
    {
        std::size_t const place = Home(tag);
        Prefetch(&m_slots[place]);
        return place;
    }

    /// The position of the key with that tag for which `same(position)` holds.
    template <class Same>
    std::uint32_t Find(std::uint32_t tag, Same const & same) const noexcept
    {
        for (std::size_t at = Home(tag);; at = (at + 1) & m_mask)
        {
            Slot const slot = m_slots[at];
            if (slot.position == kNoPosition || (slot.tag == tag && same(slot.position)))
                return slot.position;
        }
    }
    /// The first position with that tag.
    std::uint32_t FindTag(std::uint32_t tag, std::size_t place) const noexcept
    {
        Slot const * const slots = m_slots.data();
        while (slots[place].tag != tag && slots[place].position != kNoPosition)
            place = (place + 1) & m_mask;
        return slots[place].position;
    }
    /// Where the tag is the key itself.
    std::uint32_t FindNumber(std::uint32_t tag) const noexcept
    {
        return Find(tag, [](std::uint32_t) { return true; });
    }

    /// Adds the position unless the key is there. Gives the position that stands for the key.
    template <class Same>
    std::uint32_t Add(std::uint32_t tag, std::uint32_t position, Same const & same)
    {
        std::uint32_t const found = Find(tag, same);
        if (found != kNoPosition)
            return found;
        if (2 * (m_count + 1) > m_slots.size())
            Grow();
        Put(m_slots, m_mask, Slot{tag, position});
        ++m_count;
        return position;
    }

    /// Calls `visit(tag, position)` for each key until it gives false; whether none did.
    template <class Visit>
    bool All(Visit const & visit) const
    {
        for (Slot const & slot : m_slots)
            if (slot.position != kNoPosition && !visit(slot.tag, slot.position))
                return false;
        return true;
    }

private:
    struct Slot
    {
        std::uint32_t tag = 0;
        std::uint32_t position = kNoPosition;
    };

    static std::uint64_t Pair(wchar_t a, wchar_t b) noexcept
    {
        return static_cast<std::uint32_t>(a) | static_cast<std::uint64_t>(static_cast<std::uint32_t>(b)) << 32;
    }
    // Sums of products of two characters each, every one with a secret number added: the chance that two texts of a
    // length give the same sum is as small as that of two random numbers of 32 bits.
    class Products
    {
    public:
#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
        void Add(wchar_t const * four, std::uint32_t const * keys) noexcept
        {
            __m128i const sums = _mm_add_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const *>(four)),
                                               _mm_load_si128(reinterpret_cast<__m128i const *>(keys)));
            m_sums = _mm_add_epi64(m_sums, _mm_mul_epu32(sums, _mm_srli_epi64(sums, 32)));
        }
        std::uint64_t Sum() const noexcept
        {
            __m128i const sum = _mm_add_epi64(m_sums, _mm_unpackhi_epi64(m_sums, m_sums));
            std::uint64_t result;
            _mm_storel_epi64(reinterpret_cast<__m128i *>(&result), sum);
            return result;
        }

    private:
        __m128i m_sums = _mm_setzero_si128();
#else
        void Add(wchar_t const * four, std::uint32_t const * keys) noexcept
        {
            for (std::size_t i = 0; i < 4; i += 2)
                m_sum += std::uint64_t{static_cast<std::uint32_t>(four[i]) + keys[i]} *
                         (static_cast<std::uint32_t>(four[i + 1]) + keys[i + 1]);
        }
        std::uint64_t Sum() const noexcept { return m_sum; }

    private:
        std::uint64_t m_sum = 0;
#endif
    };

    std::uint64_t Mix(std::uint64_t hash, std::uint64_t block) const noexcept
    {
        hash = (hash ^ block) * m_multiplier;
        return hash ^ (hash >> 32);
    }
    std::uint32_t Finish(std::uint64_t hash) const noexcept
    {
        hash *= 0x9E3779B97F4A7C15ULL;
        return static_cast<std::uint32_t>(hash >> 32);
    }
    std::size_t Home(std::uint32_t tag) const noexcept
    {
        return static_cast<std::size_t>((tag * m_multiplier) >> 32) & m_mask;
    }
    void Put(std::vector<Slot> & slots, std::size_t mask, Slot slot) const noexcept
    {
        std::size_t at = Home(slot.tag) & mask;
        while (slots[at].position != kNoPosition)
            at = (at + 1) & mask;
        slots[at] = slot;
    }
    void Grow();

    std::vector<Slot> m_slots;
    std::size_t m_mask;
    std::size_t m_count = 0;
    static constexpr std::size_t kKeyCount = 64;

    std::uint32_t const * m_keys; // of the process
    std::uint64_t m_seed;
    std::uint64_t m_multiplier; // odd
};

/// An index that is one table.
struct TableIndex final : detail::IndexBase
{
    explicit TableIndex(std::size_t expected) : table(expected) {}
    FirstMatchTable table;
};

} // namespace qvlib::internal
