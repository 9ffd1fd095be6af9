#include "qvlib/detail/LazyIndex.h"

#include "concepts/internal/first_match_table.h"

#include <chrono>
#include <mutex>

namespace qvlib::detail
{

std::atomic<std::uint64_t> g_definitionGeneration{1};

IndexBase::~IndexBase() = default;

LazyIndex::MakerBase::~MakerBase() = default;

void LazyIndex::Destroy() noexcept
{
    m_generation.store(0, std::memory_order_relaxed);
    delete m_index.exchange(nullptr, std::memory_order_relaxed);
}

IndexBase const * LazyIndex::Renew(MakerBase const & maker) const noexcept
{
    // One lock for all: an index is built once in a metadata object's life.
    static std::mutex s_building;
    try
    {
        std::lock_guard const lock(s_building);
        // Read first: a change of a definition while the index is built makes it count as old at once.
        std::uint64_t const generation = g_definitionGeneration.load(std::memory_order_relaxed);
        IndexBase const * const old = m_index.load(std::memory_order_relaxed);
        if (old != nullptr && (m_generation.load(std::memory_order_relaxed) == generation || maker.StillStands(*old)))
        {
            m_generation.store(generation, std::memory_order_release);
            return old;
        }
        IndexBase const * const made = maker.Make();
        m_index.store(made, std::memory_order_relaxed);
        m_generation.store(generation, std::memory_order_release);
        // Nobody can be reading the old index: it is wrong because a definition of this very list was changed, which
        // needs the exclusion of all who read the list, and whoever came after sees the new generation.
        delete old;
        return made;
    }
    catch (...)
    {
        return nullptr;
    }
}

} // namespace qvlib::detail

namespace qvlib::internal
{

namespace
{

std::uint64_t NextSeed(void const * salt) noexcept
{
    static std::atomic<std::uint64_t> s_seed{
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count())};
    std::uint64_t seed =
        s_seed.fetch_add(0x9E3779B97F4A7C15ULL, std::memory_order_relaxed) ^ reinterpret_cast<std::uintptr_t>(salt);
    seed = (seed ^ (seed >> 30)) * 0xBF58476D1CE4E5B9ULL;
    seed = (seed ^ (seed >> 27)) * 0x94D049BB133111EBULL;
    return seed ^ (seed >> 31);
}

} // namespace

FirstMatchTable::FirstMatchTable(std::size_t expected)
{
    struct Keys
    {
        Keys() noexcept
        {
            for (std::uint32_t & key : keys)
                key = static_cast<std::uint32_t>(NextSeed(this) >> 32);
        }
        alignas(16) std::uint32_t keys[kKeyCount];
    };
    static Keys const s_keys;
    m_keys = s_keys.keys;
    std::size_t size = 16;
    while (size < 2 * expected)
        size *= 2;
    m_slots.resize(size);
    m_mask = size - 1;
    m_seed = NextSeed(m_slots.data());
    m_multiplier = (m_seed * 0xD6E8FEB86659FD93ULL) | 1;
}

void FirstMatchTable::Grow()
{
    std::vector<Slot> slots(2 * m_slots.size());
    std::size_t const mask = slots.size() - 1;
    m_mask = mask; // Home masks with it
    for (Slot const & slot : m_slots)
        if (slot.position != kNoPosition)
            Put(slots, mask, slot);
    m_slots.swap(slots);
}

} // namespace qvlib::internal
