// The timers of one target, found by their event ids.
#pragma once

#include "concurrency/internal/flat_table.h"
#include "concurrency/internal/line_array.h"
#include "concurrency/internal/prefetch.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace qvlib::internal
{

/// From event id to item index. Ids that follow one another, as they mostly do, share a page, which is a line of the
/// cache. The pages stand close together and the table that finds them is small, so that of a million timers the table
/// stays in the cache, and one timer costs one line. Thread-compatible.
class EventTable
{
public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    bool IsEmpty() const noexcept { return m_places.Size() == 0; }

    Index Find(std::uint32_t eventId) noexcept
    {
        Place const * const place = m_places.Find(eventId / kIds);
        return place != nullptr ? m_pages[place->page].indexes[eventId % kIds] : kNone;
    }
    /// Has the cache fetch the page of an id.
    void Prefetch(std::uint32_t eventId) noexcept
    {
        if (Place const * const place = m_places.Find(eventId / kIds))
            internal::Prefetch(&m_pages[place->page]);
    }
    /// For an id that is not there. Throws std::bad_alloc, and nothing has changed.
    void Add(std::uint32_t eventId, Index index)
    {
        if (m_firstFree == kNone && m_used == m_pages.Capacity())
            m_pages.Grow();
        Place & place = m_places.FindOrAdd(eventId / kIds);
        if (place.IsEmpty())
            place.page = TakePage();
        Page & page = m_pages[place.page];
        page.indexes[eventId % kIds] = index;
        ++page.count;
    }
    /// The index that the id had.
    Index Erase(std::uint32_t eventId) noexcept
    {
        Place * const place = m_places.Find(eventId / kIds);
        if (place == nullptr)
            return kNone;
        Page & page = m_pages[place->page];
        Index & entry = page.indexes[eventId % kIds];
        Index const index = entry;
        entry = kNone;
        if (index != kNone && --page.count == 0)
        {
            page.nextFree = m_firstFree;
            m_firstFree = place->page;
            m_places.Erase(*place);
        }
        return index;
    }
    template <class Visitor>
    void ForEach(Visitor const & visit) const
    {
        m_places.ForEach(
            [&](Place const & place)
            {
                for (Index const index : m_pages[place.page].indexes)
                    if (index != kNone)
                        visit(index);
            });
    }

private:
    static constexpr std::uint32_t kIds = 14;

    struct Page
    {
        std::array<Index, kIds> indexes;
        std::uint32_t count;    ///< of the indexes that are not kNone
        std::uint32_t nextFree; ///< while there are none
    };
    static_assert(sizeof(Page) == 64);
    struct Place
    {
        std::uint32_t key = 0;
        std::uint32_t page = kNone;
        bool IsEmpty() const noexcept { return page == kNone; }
    };

    /// An empty page, of which there must be one.
    std::uint32_t TakePage() noexcept
    {
        std::uint32_t page = m_firstFree;
        if (page == kNone)
            page = m_used++;
        else
            m_firstFree = m_pages[page].nextFree;
        m_pages[page].indexes.fill(kNone);
        m_pages[page].count = 0;
        return page;
    }

    FlatTable<Place> m_places; ///< by the ids' common part
    LineArray<Page, 0> m_pages;
    std::uint32_t m_used = 0; ///< no page from here on has been used
    std::uint32_t m_firstFree = kNone;
};

} // namespace qvlib::internal
