// The entries of a CSharedValueHeap, found by value: part of its implementation. Which order they stand in is never
// seen, so texts are hashed; values of any other kind are kept in their order.
#pragma once

#include "qvlib/detail/EntryCount.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace qvlib::detail
{

/// Entries in a tree. Everything but the counts is under the heap's lock.
template <class Value, class Compare>
class OrderedEntries
{
    struct Less;

public:
    struct Entry
    {
        EntryCount<> count;
        Value value;
        typename std::set<Entry *, Less>::iterator place; // so that an entry goes without a comparison, which may throw

        explicit Entry(Value const & from) : value(from) {}
    };
    using Key = std::monostate;

    OrderedEntries() = default;
    OrderedEntries(OrderedEntries const &) = delete;
    OrderedEntries & operator=(OrderedEntries const &) = delete;
    ~OrderedEntries()
    {
        for (Entry * const entry : m_entries)
            delete entry;
    }

    static bool Same(Value const & left, Value const & right)
    {
        return !Compare()(left, right) && !Compare()(right, left);
    }
    Key KeyOf(Value const &) const noexcept { return {}; }
    /// A tree has no look-up without the lock.
    Entry * TryFind(Key, Value const &) noexcept { return nullptr; }
    Entry * Find(Key, Value const & value) const
    {
        auto const at = m_entries.find(value);
        return at == m_entries.end() ? nullptr : *at;
    }
    /// A new entry with a copy of the value; null when it is no new one.
    Entry * Insert(Key, Value const & value)
    {
        auto entry = std::make_unique<Entry>(value);
        auto const [at, isNew] = m_entries.insert(entry.get());
        if (!isNew)
            return nullptr;
        entry->place = at;
        return entry.release();
    }
    void Remove(Entry * entry) noexcept
    {
        m_entries.erase(entry->place);
        delete entry;
    }
    std::size_t Size() const noexcept { return m_entries.size(); }

private:
    struct Less
    {
        using is_transparent = void;
        bool operator()(Entry const * left, Entry const * right) const { return Compare()(left->value, right->value); }
        bool operator()(Entry const * left, Value const & right) const { return Compare()(left->value, right); }
        bool operator()(Value const & left, Entry const * right) const { return Compare()(left, right->value); }
    };

    std::set<Entry *, Less> m_entries;
};

/// Entries of texts in a table of chains. Changes are under the heap's lock; TryFind is not. What it may come across
/// while the table changes is never freed before the heap: entries are used again for entries, and the table grows by
/// pieces that stay where they are. So it may miss an entry, and then the lock decides, but it never goes astray.
template <class Text>
class HashedEntries
{
public:
    struct Entry
    {
        EntryCount<> count;
        std::atomic<std::uint32_t> hash{0};
        std::atomic<Entry *> next{nullptr}; // in the chain, or in the list of those free
        union
        {
            Text value; // while the entry is in the table
        };

        Entry() noexcept {}
        ~Entry() {}
    };
    using Key = std::uint32_t;

    HashedEntries()
    {
        m_pieces[0].store(new Bucket[kFirst](), std::memory_order_relaxed);
        m_buckets.store(kFirst, std::memory_order_relaxed);
    }
    HashedEntries(HashedEntries const &) = delete;
    HashedEntries & operator=(HashedEntries const &) = delete;
    ~HashedEntries()
    {
        std::uint32_t const buckets = m_buckets.load(std::memory_order_relaxed);
        for (std::uint32_t i = 0; i < buckets; ++i)
            for (Entry * at = At(i).load(std::memory_order_relaxed); at != nullptr;
                 at = at->next.load(std::memory_order_relaxed))
                std::destroy_at(&at->value);
        for (std::atomic<Bucket *> & piece : m_pieces)
            delete[] piece.load(std::memory_order_relaxed);
    }

    static bool Same(Text const & left, Text const & right) noexcept { return left == right; }

    /// Differs from heap to heap, so that nobody can prepare texts that all fall into one chain.
    Key KeyOf(Text const & text) const noexcept
    {
        constexpr std::uint64_t kFold = 0x9E3779B97F4A7C15U;
        constexpr std::uint64_t kOther = 0xC2B2AE3D27D4EB4FU;
        auto const * at = reinterpret_cast<unsigned char const *>(text.data());
        std::size_t left = text.size() * sizeof(typename Text::value_type);
        // Two lanes, which do not wait for each other.
        std::uint64_t a = m_seed ^ left;
        std::uint64_t b = ~m_seed;
        for (; left >= 16; left -= 16, at += 16)
        {
            a = std::rotl((a ^ Word(at)) * kFold, 29);
            b = std::rotl((b ^ Word(at + 8)) * kOther, 31);
        }
        if (left >= 8)
        {
            a = std::rotl((a ^ Word(at)) * kFold, 29);
            left -= 8;
            at += 8;
        }
        if (left != 0)
        {
            std::uint64_t rest = 0;
            std::memcpy(&rest, at, left);
            b = std::rotl((b ^ rest) * kOther, 31);
        }
        a = (a ^ std::rotl(b, 32)) * kFold;
        a = (a ^ a >> 32) * kOther;
        return static_cast<Key>(a >> 32);
    }

    /// An entry that may have the value, with a reference for the caller, or null. Without the lock.
    Entry * TryFind(Key key, Text const &) noexcept
    {
        std::uint32_t const buckets = m_buckets.load(std::memory_order_acquire);
        Entry * at = At(key & (buckets - 1)).load(std::memory_order_acquire);
        // Entries may be moved along under our feet, so the walk is bounded.
        for (int steps = 0; at != nullptr && steps < kMaxSteps; ++steps)
        {
            if (at->hash.load(std::memory_order_relaxed) == key)
                return at->count.TryAdd() ? at : nullptr;
            at = at->next.load(std::memory_order_acquire);
        }
        return nullptr;
    }
    Entry * Find(Key key, Text const & text) noexcept
    {
        std::uint32_t const buckets = m_buckets.load(std::memory_order_relaxed);
        for (Entry * at = At(key & (buckets - 1)).load(std::memory_order_relaxed); at != nullptr;
             at = at->next.load(std::memory_order_relaxed))
            if (at->hash.load(std::memory_order_relaxed) == key && at->value == text)
                return at;
        return nullptr;
    }
    /// A new entry with a copy of the value.
    Entry * Insert(Key key, Text const & text)
    {
        if (m_free == nullptr)
            AddBlock();
        Entry * const entry = m_free;
        std::construct_at(&entry->value, text);
        m_free = entry->next.load(std::memory_order_relaxed);
        entry->count.Start();
        entry->hash.store(key, std::memory_order_relaxed);
        if (m_size++ == m_buckets.load(std::memory_order_relaxed))
            Grow();
        Bucket & bucket = At(key & (m_buckets.load(std::memory_order_relaxed) - 1));
        entry->next.store(bucket.load(std::memory_order_relaxed), std::memory_order_relaxed);
        bucket.store(entry, std::memory_order_release);
        return entry;
    }
    void Remove(Entry * entry) noexcept
    {
        std::uint32_t const buckets = m_buckets.load(std::memory_order_relaxed);
        Bucket * link = &At(entry->hash.load(std::memory_order_relaxed) & (buckets - 1));
        while (link->load(std::memory_order_relaxed) != entry)
            link = &link->load(std::memory_order_relaxed)->next;
        link->store(entry->next.load(std::memory_order_relaxed), std::memory_order_release);
        std::destroy_at(&entry->value);
        entry->next.store(m_free, std::memory_order_release);
        m_free = entry;
        --m_size;
    }
    std::size_t Size() const noexcept { return m_size; }

private:
    using Bucket = std::atomic<Entry *>;

    static constexpr std::uint32_t kFirst = 64; // buckets of the first piece; each further piece doubles the table
    static constexpr int kFirstBits = 6;
    static constexpr std::uint32_t kMost = std::uint32_t{1} << 31;
    static constexpr int kMaxSteps = 32;
    static constexpr std::size_t kFirstBlock = 16; // entries
    static constexpr std::size_t kMostInBlock = 512;

    static std::uint64_t Word(unsigned char const * at) noexcept
    {
        std::uint64_t word;
        std::memcpy(&word, at, sizeof word);
        return word;
    }
    Bucket & At(std::uint32_t index) noexcept
    {
        auto const piece = static_cast<unsigned>(std::bit_width(index >> kFirstBits));
        std::uint32_t const start = piece == 0 ? 0 : kFirst << (piece - 1);
        return m_pieces[piece].load(std::memory_order_acquire)[index - start];
    }
    void AddBlock()
    {
        std::size_t const count = std::min(kFirstBlock << std::min<std::size_t>(m_blocks.size(), 16), kMostInBlock);
        m_blocks.push_back(std::make_unique<Entry[]>(count));
        for (std::size_t i = 0; i < count; ++i)
        {
            Entry & entry = m_blocks.back()[i];
            entry.next.store(m_free, std::memory_order_relaxed);
            m_free = &entry;
        }
    }
    /// Doubles the table. Without memory it stays as it is: its chains grow longer, and that is all.
    void Grow() noexcept
    {
        std::uint32_t const buckets = m_buckets.load(std::memory_order_relaxed);
        if (buckets == kMost)
            return;
        Bucket * const upper = new (std::nothrow) Bucket[buckets]();
        if (upper == nullptr)
            return;
        m_pieces[static_cast<unsigned>(std::bit_width(buckets >> kFirstBits))].store(upper, std::memory_order_release);
        for (std::uint32_t i = 0; i < buckets; ++i)
        {
            Bucket * stays = &At(i);
            Bucket * goes = &upper[i];
            for (Entry * at = stays->load(std::memory_order_relaxed); at != nullptr;)
            {
                Entry * const next = at->next.load(std::memory_order_relaxed);
                Bucket *& to = (at->hash.load(std::memory_order_relaxed) & buckets) != 0 ? goes : stays;
                to->store(at, std::memory_order_release);
                to = &at->next;
                at = next;
            }
            stays->store(nullptr, std::memory_order_release);
            goes->store(nullptr, std::memory_order_release);
        }
        m_buckets.store(buckets * 2, std::memory_order_release);
    }

    std::array<std::atomic<Bucket *>, 27> m_pieces{};
    std::atomic<std::uint32_t> m_buckets{0};
    std::uint64_t const m_seed = reinterpret_cast<std::uintptr_t>(this) * 0xD6E8FEB86659FD93U;
    std::size_t m_size = 0;
    Entry * m_free = nullptr;
    std::vector<std::unique_ptr<Entry[]>> m_blocks; // given back with the heap only
};

template <class Value, class Compare>
struct SharedEntriesOf
{
    using Type = OrderedEntries<Value, Compare>;
};
template <class Char, class Traits, class Allocator>
struct SharedEntriesOf<std::basic_string<Char, Traits, Allocator>,
                       std::less<std::basic_string<Char, Traits, Allocator>>>
{
    using Type = HashedEntries<std::basic_string<Char, Traits, Allocator>>;
};

} // namespace qvlib::detail
