// The timers of one target, found by their event ids.
#pragma once

#include "concurrency/internal/flat_table.h"

#include <array>
#include <cstdint>

namespace qvlib::internal
{

/// From event id to item index. Ids that follow one another, as they mostly do, share an entry of the table and so a
/// line or two of the cache. Thread-compatible.
class EventTable
{
public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    bool IsEmpty() const noexcept { return m_pages.Size() == 0; }

    Index Find(std::uint32_t eventId) noexcept
    {
        Page const * const page = m_pages.Find(eventId / kPage);
        return page != nullptr ? page->indexes[eventId % kPage] : kNone;
    }
    /// Has the cache fetch the place of an id.
    void Prefetch(std::uint32_t eventId) const noexcept { m_pages.Prefetch(eventId / kPage); }
    /// For an id that is not there. Throws std::bad_alloc, and nothing has changed.
    void Add(std::uint32_t eventId, Index index)
    {
        Page & page = m_pages.FindOrAdd(eventId / kPage);
        page.indexes[eventId % kPage] = index;
        ++page.count;
    }
    /// The index that the id had.
    Index Erase(std::uint32_t eventId) noexcept
    {
        Page * const page = m_pages.Find(eventId / kPage);
        if (page == nullptr)
            return kNone;
        Index & place = page->indexes[eventId % kPage];
        Index const index = place;
        place = kNone;
        if (index != kNone && --page->count == 0)
            m_pages.Erase(*page);
        return index;
    }
    template <class Visitor>
    void ForEach(Visitor const & visit) const
    {
        m_pages.ForEach(
            [&](Page const & page)
            {
                for (Index const index : page.indexes)
                    if (index != kNone)
                        visit(index);
            });
    }

private:
    static constexpr std::uint32_t kPage = 14;

    /// A line of the cache.
    struct alignas(64) Page
    {
        Page() noexcept { indexes.fill(kNone); }
        bool IsEmpty() const noexcept { return count == 0; }

        std::uint32_t key = 0;
        std::uint32_t count = 0;
        std::array<Index, kPage> indexes;
    };

    FlatTable<Page> m_pages;
};

} // namespace qvlib::internal
