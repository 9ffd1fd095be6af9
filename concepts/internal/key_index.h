// The index of a list of fields by id and by name.
#pragma once

#include "concepts/internal/first_match_table.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvlib::internal
{

/// Whether the ASCII characters from `a` on, none of them NUL, are the characters of `b`.
inline bool EqualAscii(char const * a, std::wstring_view b) noexcept
{
    wchar_t const * const wide = b.data();
    std::size_t const size = b.size();
#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
    // What is no ASCII becomes NUL or what is no ASCII either. The last characters are taken once more where the length
    // is no multiple.
    auto const four = [&](std::size_t at) { return _mm_loadu_si128(reinterpret_cast<__m128i const *>(wide + at)); };
    if (size >= 16)
    {
        auto const same = [&](std::size_t at)
        {
            return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const *>(a + at)),
                                  _mm_packus_epi16(_mm_packs_epi32(four(at), four(at + 4)),
                                                   _mm_packs_epi32(four(at + 8), four(at + 12))));
        };
        __m128i all = same(size - 16);
        for (std::size_t at = 0; at + 16 < size; at += 16)
            all = _mm_and_si128(all, same(at));
        return _mm_movemask_epi8(all) == 0xFFFF;
    }
    if (size >= 4)
    {
        auto const differ = [&](std::size_t at)
        {
            __m128i const units = _mm_packs_epi32(four(at), four(at));
            int kept;
            std::memcpy(&kept, a + at, sizeof kept);
            return kept ^ _mm_cvtsi128_si32(_mm_packus_epi16(units, units));
        };
        int difference = differ(size - 4);
        for (std::size_t at = 0; at + 4 < size; at += 4)
            difference |= differ(at);
        return difference == 0;
    }
#endif
    for (std::size_t i = 0; i < size; ++i)
        if (static_cast<wchar_t>(a[i]) != wide[i])
            return false;
    return true;
}

struct KeyIndex final : detail::IndexBase
{
    explicit KeyIndex(std::size_t expected) : byId(expected), byName(expected) {}

    /// Where the ids are small numbers, as most are, the position stands under the id itself.
    void MakeDirect(std::size_t count)
    {
        std::uint32_t highest = 0;
        byId.All(
            [&](std::uint32_t id, std::uint32_t)
            {
                highest = id > highest ? id : highest;
                return true;
            });
        if (highest >= 4 * count + 64)
            return;
        direct.assign(highest + 1, kNoPosition);
        byId.All(
            [&](std::uint32_t id, std::uint32_t at)
            {
                direct[id] = at;
                return true;
            });
    }
    std::uint32_t FindId(std::uint32_t id) const noexcept
    {
        if (id < direct.size())
            return direct[id];
        return direct.empty() ? byId.FindNumber(FirstMatchTable::Tag(id)) : kNoPosition;
    }

    /// Keeps a copy of the names side by side: a look-up then does not go to a definition that lies anywhere.
    template <class Fields, class NameOf>
    void KeepNames(Fields const & fields, NameOf const & nameOf)
    {
        std::size_t total = 0;
        for (auto const & field : fields)
            total += nameOf(*field).size();
        names.reserve(total);
        nameAt.reserve(fields.size() + 1);
        nameAt.push_back(0);
        for (auto const & field : fields)
        {
            names.append(nameOf(*field));
            nameAt.push_back(names.size());
        }
        if (std::all_of(names.begin(), names.end(), [](wchar_t c) { return c > 0 && c < 0x80; }))
        {
            asciiNames.resize(total);
            std::transform(names.begin(), names.end(), asciiNames.begin(),
                           [](wchar_t c) { return static_cast<char>(c); });
            std::wstring().swap(names);
        }
    }
    bool IsKeptName(std::uint32_t position, std::wstring_view name) const noexcept
    {
        std::size_t const begin = nameAt[position];
        if (nameAt[position + 1] - begin != name.size())
            return false;
        return names.empty() ? EqualAscii(asciiNames.data() + begin, name)
                             : std::wmemcmp(names.data() + begin, name.data(), name.size()) == 0;
    }
    std::uint32_t FindKeptName(std::uint32_t tag, std::wstring_view name) const noexcept
    {
        return byName.Find(tag, [&](std::uint32_t position) { return IsKeptName(position, name); });
    }

    /// The look-up of many names in steps: where the tag leads, with memory fetched for the comparison that is next.
    std::uint32_t GuessKeptName(std::uint32_t tag, std::size_t place) const noexcept
    {
        std::uint32_t const position = byName.FindTag(tag, place);
        if (position != kNoPosition && names.empty())
            Prefetch(asciiNames.data() + nameAt[position]);
        return position;
    }
    std::uint32_t FindKeptName(std::uint32_t guess, std::uint32_t tag, std::wstring_view name) const noexcept
    {
        return guess == kNoPosition || IsKeptName(guess, name) ? guess : FindKeptName(tag, name);
    }

    FirstMatchTable byId;
    FirstMatchTable byName;
    std::vector<std::uint32_t> direct; // empty, or for all ids of the list
    std::string asciiNames;            // one behind the other
    std::wstring names;                // the same where not all are ASCII; else empty
    std::vector<std::size_t> nameAt;   // where each begins, and the end
};

} // namespace qvlib::internal
