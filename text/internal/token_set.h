// A set of tokens that lie in texts which outlive it.
#pragma once

#include "text/internal/token_scan.h"

#include <cstdint>
#include <vector>

namespace qvlib::text
{

/// Open addressing, at most half full, grown by doubling. Equality is that of Equal().
class TokenSet
{
public:
    explicit TokenSet(bool caseSensitive) : m_slots(64), m_caseSensitive(caseSensitive) {}

    bool Contains(Span token) const { return m_slots[Slot(token, Hash(token))].token.begin != nullptr; }

    /// Whether the token is new.
    bool Insert(Span token)
    {
        bool isNew = false;
        Mark(token, isNew);
        return isNew;
    }

    /// The mark kept with the token, which is false for a new one.
    bool & Mark(Span token, bool & isNew)
    {
        if (2 * (m_count + 1) > m_slots.size())
            Grow();
        std::uint32_t const hash = Hash(token);
        Entry & entry = m_slots[Slot(token, hash)];
        isNew = entry.token.begin == nullptr;
        if (isNew)
        {
            entry = {token, hash, false};
            ++m_count;
        }
        return entry.mark;
    }

private:
    struct Entry
    {
        Span token{nullptr, nullptr};
        std::uint32_t hash = 0;
        bool mark = false;
    };

    std::uint32_t Hash(Span token) const
    {
        // Seeded with an address, which differs from run to run: no input is bad for every process.
        std::uint64_t hash = Seed();
        for (; token.begin != token.end; ++token.begin)
        {
            wchar_t const c = m_caseSensitive ? *token.begin : host::towlower(*token.begin);
            hash = (hash ^ static_cast<std::uint32_t>(c)) * 0x9E3779B97F4A7C15U;
            hash ^= hash >> 29;
        }
        return static_cast<std::uint32_t>(hash ^ (hash >> 32));
    }
    static std::uint64_t Seed()
    {
        static char const anchor = 0;
        return reinterpret_cast<std::uintptr_t>(&anchor);
    }

    std::size_t Slot(Span token, std::uint32_t hash) const
    {
        std::size_t const mask = m_slots.size() - 1;
        std::size_t slot = hash & mask;
        while (m_slots[slot].token.begin != nullptr &&
               (m_slots[slot].hash != hash || !Equal(m_slots[slot].token, token, m_caseSensitive)))
            slot = (slot + 1) & mask;
        return slot;
    }

    void Grow()
    {
        std::vector<Entry> old(2 * m_slots.size());
        old.swap(m_slots);
        std::size_t const mask = m_slots.size() - 1;
        for (Entry const & entry : old)
        {
            if (entry.token.begin == nullptr)
                continue;
            std::size_t slot = entry.hash & mask;
            while (m_slots[slot].token.begin != nullptr)
                slot = (slot + 1) & mask;
            m_slots[slot] = entry;
        }
    }

    std::vector<Entry> m_slots;
    std::size_t m_count = 0;
    bool m_caseSensitive;
};

} // namespace qvlib::text
