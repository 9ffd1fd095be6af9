// A hash table of small entries in one array, with numbers for keys.
#pragma once

#include "concurrency/internal/prefetch.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace qvlib::internal
{

/// Open addressing with linear probing. `Entry` has a `key` of 32 bits and `IsEmpty()`, true for a default one; whoever
/// adds an entry makes it not empty. Where the keys are hashes, `matches` tells whether an entry with the same key is
/// the one that is looked for. Entries move when others come and go. Thread-compatible.
template <class Entry>
class FlatTable
{
public:
    struct Always
    {
        bool operator()(Entry const &) const noexcept { return true; }
    };

    std::size_t Size() const noexcept { return m_size; }

    template <class Matches = Always>
    Entry * Find(std::uint32_t key, Matches const & matches = {}) noexcept
    {
        if (m_size == 0)
            return nullptr;
        Entry & entry = Place(key, matches);
        return entry.IsEmpty() ? nullptr : &entry;
    }

    /// Has the cache fetch the place of a key.
    void Prefetch(std::uint32_t key) const noexcept { internal::Prefetch(m_entries.get() + Home(key)); }

    /// The entry of the key; an empty one, with the key, where there was none. Throws std::bad_alloc, and nothing has
    /// changed; never when there is room.
    template <class Matches = Always>
    Entry & FindOrAdd(std::uint32_t key, Matches const & matches = {})
    {
        if (m_size != 0)
        {
            Entry & entry = Place(key, matches);
            if (!entry.IsEmpty())
                return entry;
            if (m_size < Limit())
                return Take(entry, key);
        }
        Reserve();
        return Take(Free(key), key);
    }

    /// Makes room for some more. Throws std::bad_alloc, and nothing has changed.
    void Reserve(std::size_t count = 1)
    {
        while (m_size + count > Limit())
            Grow();
    }

    void Erase(Entry & entry) noexcept
    {
        // Those behind move up, as far as that does not take them from their way.
        std::size_t hole = static_cast<std::size_t>(&entry - m_entries.get());
        for (std::size_t i = (hole + 1) & m_mask; !m_entries[i].IsEmpty(); i = (i + 1) & m_mask)
        {
            if (((i - Home(m_entries[i].key)) & m_mask) >= ((i - hole) & m_mask))
            {
                m_entries[hole] = std::move(m_entries[i]);
                hole = i;
            }
        }
        m_entries[hole] = Entry{};
        --m_size;
    }

    template <class Visitor>
    void ForEach(Visitor const & visit) const
    {
        for (std::size_t i = 0; m_size != 0 && i <= m_mask; ++i)
            if (!m_entries[i].IsEmpty())
                visit(m_entries[i]);
    }

    /// Gives the memory back as well.
    void Clear() noexcept
    {
        m_entries.reset();
        m_mask = m_size = 0;
    }

private:
    static constexpr std::size_t kFirstCapacity = 8;

    std::size_t Home(std::uint32_t key) const noexcept
    {
        // The upper bits of a product with the golden ratio: keys in regular steps come to lie apart.
        return static_cast<std::size_t>((key * std::uint64_t{0x9E3779B97F4A7C15U}) >> 32) & m_mask;
    }
    /// So many entries at most.
    std::size_t Limit() const noexcept { return m_mask - m_mask / 8 * 3; }
    /// Where the key stands, or the empty entry where it would. There must be an array.
    template <class Matches>
    Entry & Place(std::uint32_t key, Matches const & matches) noexcept
    {
        std::size_t i = Home(key);
        while (!m_entries[i].IsEmpty() && !(m_entries[i].key == key && matches(m_entries[i])))
            i = (i + 1) & m_mask;
        return m_entries[i];
    }
    Entry & Free(std::uint32_t key) noexcept
    {
        std::size_t i = Home(key);
        while (!m_entries[i].IsEmpty())
            i = (i + 1) & m_mask;
        return m_entries[i];
    }
    Entry & Take(Entry & entry, std::uint32_t key) noexcept
    {
        entry.key = key;
        ++m_size;
        return entry;
    }
    void Grow()
    {
        std::size_t const capacity = m_entries == nullptr ? kFirstCapacity : (m_mask + 1) * 2;
        auto old = std::make_unique<Entry[]>(capacity);
        old.swap(m_entries);
        std::size_t const oldCapacity = old == nullptr ? 0 : m_mask + 1;
        m_mask = capacity - 1;
        for (std::size_t i = 0; i < oldCapacity; ++i)
            if (!old[i].IsEmpty())
                Free(old[i].key) = std::move(old[i]);
    }

    std::unique_ptr<Entry[]> m_entries;
    std::size_t m_mask = 0; ///< the capacity, a power of two, less 1
    std::size_t m_size = 0;
};

} // namespace qvlib::internal
