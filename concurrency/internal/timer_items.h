// The timers of a controller, found by target and event id, and first in the order in which they come due.
#pragma once

#include "concurrency/internal/event_table.h"
#include "concurrency/internal/flat_table.h"
#include "concurrency/internal/line_array.h"
#include "concurrency/internal/timer_queue.h"
#include "qvlib/TimerItem.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace qvlib::internal
{

/// Owns the timers. Thread-compatible.
///
/// The orders are those of cmpTimerItemByTarget, as far as it tells timers apart, and of cmpTimerItemByNextUpdate: all
/// timers stand in one array, where the lower index is the lower address. A next update is kept as a moment that does
/// not change when the base time moves; the two differ by what the base has moved.
class TimerItems
{
public:
    using Index = EventTable::Index;
    static constexpr Index kNone = EventTable::kNone;

    struct Timer
    {
        ITimerEvents * target;
        std::int64_t moment;
        std::uint32_t eventId;
        std::uint32_t resolution;
        bool adviseOnce;
        bool hasStart;
    };

    std::size_t Size() const noexcept { return m_size; }
    /// kNone when there is none.
    Index Find(ITimerEvents * target, std::uint32_t eventId) noexcept;
    /// Whether to call Find well ahead of Put, so that what it finds comes to the cache meanwhile; otherwise Approach
    /// should be, and Find just before Put.
    bool ShouldFindEarly() const noexcept { return m_targets.Size() <= kFewTargets; }
    void Approach(ITimerEvents * target) const noexcept { m_targets.Prefetch(HashOf(target)); }
    /// Stores a timer at its next update: over the one at `index`, which Find gave for its key, or as a new one if that
    /// is kNone. Throws std::bad_alloc, and nothing has changed.
    void Put(Index index, CTimerItem const & item);
    /// Gives a timer another next update. Throws std::bad_alloc, and nothing has changed; never for the first.
    void Move(Index index, std::int64_t nextUpdate);
    /// Whether there was such a timer.
    bool Remove(ITimerEvents * target, std::uint32_t eventId) noexcept;
    /// Whether the target had any.
    bool RemoveTarget(ITimerEvents * target) noexcept;
    void Clear() noexcept;

    Timer const & At(Index index) const noexcept { return m_timers[index]; }
    /// All of a timer.
    CTimerItem ItemAt(Index index);
    std::int64_t NextUpdate(Index index) const noexcept { return m_timers[index].moment - m_baseMoved; }
    /// The first in order, and its next update; there must be one.
    Index First() noexcept { return Top().Index(); }
    std::int64_t FirstUpdate() noexcept { return Top().moment - m_baseMoved; }
    /// The base time has moved by so much: all next updates are less by that.
    void MoveBase(std::int64_t distance) noexcept { m_baseMoved += distance; }

    /// Every timer with a start time.
    template <class Visitor>
    void ForEachWithStart(Visitor const & visit) const
    {
        m_starts.ForEach([&](StartEntry const & entry) { visit(entry.key); });
    }

private:
    /// A target, by a hash of its address: its only timer, or the table of its timers once it has had two.
    struct TargetEntry
    {
        std::uint32_t key = 0;
        std::uint32_t place = kNone;
        bool IsEmpty() const noexcept { return place == kNone; }
        bool HasTable() const noexcept { return place >= kFirstTable; }
    };
    struct TargetTable
    {
        ITimerEvents * target;
        EventTable events;
    };
    /// Places from here on are those of tables.
    static constexpr std::uint32_t kFirstTable = 0x80000000;
    /// So many targets stay in the cache.
    static constexpr std::size_t kFewTargets = 1024;
    struct StartEntry
    {
        Index key = 0;
        CDateTime start;
        bool IsEmpty() const noexcept { return start.IsNull(); }
    };

    bool IsValid(TimerQueueEntry const & entry) const noexcept { return m_stamps[entry.Index()] == entry.Stamp(); }
    TimerQueueEntry const & Top() noexcept
    {
        while (!m_queue.HasFirst() || !IsValid(m_queue.First()))
        {
            if (m_queue.HasFirst())
                m_queue.Pop();
            else
                FindNext();
        }
        return m_queue.First();
    }
    bool IsFirst(Index index) const noexcept
    {
        return m_queue.HasFirst() && m_queue.First().Index() == index && IsValid(m_queue.First());
    }
    static std::uint32_t HashOf(ITimerEvents * target) noexcept
    {
        return static_cast<std::uint32_t>((reinterpret_cast<std::uintptr_t>(target) * 0x9E3779B97F4A7C15U) >> 32);
    }
    struct IsOf
    {
        TimerItems const & items;
        ITimerEvents * target;
        bool operator()(TargetEntry const & entry) const noexcept
        {
            return target == (entry.HasTable() ? items.m_tables[entry.place - kFirstTable]->target
                                               : items.m_timers[entry.place].target);
        }
    };
    TargetEntry * FindTarget(ITimerEvents * target) noexcept
    {
        return m_targets.Find(HashOf(target), IsOf{*this, target});
    }
    EventTable & TableOf(TargetEntry const & entry) const noexcept
    {
        return m_tables[entry.place - kFirstTable]->events;
    }
    void MakeTable(TargetEntry & entry);
    void Forget(TargetEntry & entry) noexcept;
    void Approach(Index index) const noexcept;
    void ApproachKeys(TimerQueueEntry const * begin, TimerQueueEntry const * end) noexcept;
    void FindNext() noexcept;
    Index Add(ITimerEvents * target, std::uint32_t eventId);
    void AddKey(ITimerEvents * target, std::uint32_t eventId, Index index);
    void ReserveTimer();
    void SetStart(Index index, CDateTime const & start) noexcept;
    void Schedule(Index index, std::int64_t moment) noexcept;
    void DropVoidEntries() noexcept;
    void Free(Index index) noexcept;
    void ReduceSize(std::size_t count) noexcept;

    FlatTable<TargetEntry> m_targets;
    std::vector<std::unique_ptr<TargetTable>> m_tables; ///< with gaps
    std::vector<std::uint32_t> m_freeTables;            ///< the gaps; has room for as many as there are tables
    FlatTable<StartEntry> m_starts;
    TimerQueue m_queue;
    LineArray<Timer, 0> m_timers;
    LineArray<std::uint32_t, 0> m_stamps; ///< of each timer; apart, so that ending one does not touch it
    LineArray<Index, 0> m_free;           ///< a stack of the free places below `m_used`
    std::size_t m_freeCount = 0;
    Index m_used = 0; ///< no place from here on has been used
    std::size_t m_size = 0;
    std::int64_t m_baseMoved = 0;
};

} // namespace qvlib::internal
