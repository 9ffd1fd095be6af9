// The timers of a controller, found by target and event id, and first in the order in which they come due.
#pragma once

#include "concurrency/internal/event_table.h"
#include "concurrency/internal/flat_table.h"
#include "concurrency/internal/line_array.h"
#include "concurrency/internal/timer_queue.h"
#include "concurrency/internal/timer_requests.h"
#include "qvlib/TimerItem.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvlib::internal
{

/// Owns the timers. Thread-compatible.
///
/// Among many, what is set and ended is put off until a few requests can be served together, or until somebody looks.
/// Nobody sees a difference: whoever looks finds all done, in the order in which it was asked for.
///
/// The orders are those of cmpTimerItemByTarget, as far as it tells timers apart, and of cmpTimerItemByNextUpdate: all
/// timers stand in one array, where the lower index is the lower address. A next update is kept as a moment that does
/// not change when the base time moves; the two differ by what the base has moved.
class TimerItems
{
public:
    using Index = EventTable::Index;
    static constexpr Index kNone = EventTable::kNone;

    /// Aligned so that none stands in two lines of the cache.
    struct alignas(32) Timer
    {
        ITimerEvents * target;
        std::int64_t moment;
        std::uint32_t eventId;
        std::uint32_t resolution;
        std::uint32_t stamp;
        bool adviseOnce;
        bool hasStart;
    };

    std::size_t Size() noexcept
    {
        Apply();
        return m_size;
    }
    /// What is put off is never the end of the last one.
    bool IsEmpty() const noexcept { return m_size == 0; }
    /// kNone when there is none.
    Index Find(ITimerEvents * target, std::uint32_t eventId) noexcept
    {
        Apply();
        return Look(target, eventId);
    }
    /// Stores a timer at its next update: over the one with its key, or as a new one. Throws std::bad_alloc, and
    /// nothing has changed.
    void Set(CTimerItem const & item);
    /// Ends a timer later, if there is one and the first update, which must be `first`, stays what it is. Otherwise
    /// false, and nothing has changed.
    bool PutOffRemoval(ITimerEvents * target, std::uint32_t eventId, std::int64_t first) noexcept
    {
        // Where finding it is a matter of few steps, the processor overlaps them better by itself.
        if (m_requests.IsEmpty() && m_targets.Size() <= kFewTargets)
            return false;
        return PutOffNow(target, eventId, first);
    }
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
    Index First() noexcept
    {
        Apply();
        return Top().Index();
    }
    std::int64_t FirstUpdate() noexcept
    {
        return (m_requests.IsEmpty() ? Top().moment : m_requests.FirstMoment()) - m_baseMoved;
    }
    /// The base time has moved by so much: all next updates are less by that.
    void MoveBase(std::int64_t distance) noexcept { m_baseMoved += distance; }

    /// Every timer with a start time.
    template <class Visitor>
    void ForEachWithStart(Visitor const & visit)
    {
        Apply();
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
        ITimerEvents * target = nullptr;
        EventTable events;
    };
    /// Places from here on are those of tables.
    static constexpr std::uint32_t kFirstTable = 0x80000000;
    /// Fewer timers, or targets, stay in the nearest cache, where nothing is worth putting off.
    static constexpr std::size_t kFewTimers = 512;
    static constexpr std::size_t kFewTargets = 64;
    static_assert(kFewTimers > 2 * TimerRequests::kRoom, "what is put off must not end the last one");
    /// So many timers are beyond the caches near to the processor, where each step is worth fetching ahead.
    static constexpr std::size_t kManyTimers = 0x20000;
    /// So many are given room at once.
    static constexpr std::size_t kRoomStep = 16;
    struct StartEntry
    {
        Index key = 0;
        CDateTime start;
        bool IsEmpty() const noexcept { return start.IsNull(); }
    };

    bool IsFree(Index index) const noexcept { return (m_freeBits[index / 64] >> index % 64 & 1) != 0; }
    bool IsValid(TimerQueueEntry const & entry) const noexcept
    {
        return !IsFree(entry.Index()) && m_timers[entry.Index()].stamp == entry.Stamp();
    }
    /// The same without branches, for many: which of them are void is anybody's guess.
    bool IsOneValid(TimerQueueEntry const & entry) const noexcept
    {
        std::uint32_t const differs = m_timers[UsedOrFirst(entry.Index())].stamp ^ entry.Stamp();
        return (differs | static_cast<std::uint32_t>(IsFree(entry.Index()))) == 0;
    }
    /// For a free place the first one, which costs nothing to look at.
    Index UsedOrFirst(Index index) const noexcept { return index & (static_cast<Index>(IsFree(index)) - 1); }
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
            return target == (entry.HasTable() ? items.m_tables[entry.place - kFirstTable].target
                                               : items.m_timers[entry.place].target);
        }
    };
    TargetEntry * FindTarget(ITimerEvents * target) noexcept
    {
        return m_targets.Find(HashOf(target), IsOf{*this, target});
    }
    EventTable & TableOf(TargetEntry const & entry) noexcept { return m_tables[entry.place - kFirstTable].events; }
    void MakeTable(TargetEntry & entry);
    void Forget(TargetEntry & entry) noexcept;
    void Approach(Index index) const noexcept;
    void ApproachKeys(TimerQueueEntry const * begin, TimerQueueEntry const * end) noexcept;
    void FindNext() noexcept;
    bool PutOffNow(ITimerEvents * target, std::uint32_t eventId, std::int64_t first) noexcept;
    bool PutsOff(ITimerEvents * target, std::uint32_t eventId) noexcept;
    void Apply() noexcept
    {
        if (!m_requests.IsEmpty())
            ApplyRequests();
    }
    void ApplyRequests() noexcept;
    void ApproachTarget(ITimerEvents * target) const noexcept;
    void ApproachRequests() noexcept;
    Index Look(ITimerEvents * target, std::uint32_t eventId) noexcept;
    Index Put(ITimerEvents * target, std::uint32_t eventId, std::int64_t moment, std::uint32_t resolution,
              bool adviseOnce) noexcept;
    bool Erase(ITimerEvents * target, std::uint32_t eventId) noexcept;
    Index Add(ITimerEvents * target, std::uint32_t eventId) noexcept;
    void AddKey(ITimerEvents * target, std::uint32_t eventId, Index index);
    Index * FindWithoutKey(ITimerEvents * target, std::uint32_t eventId) noexcept;
    void AddMissingKeys();
    void Reserve();
    void SetStart(Index index, CDateTime const & start) noexcept;
    void Schedule(Index index, std::int64_t moment) noexcept;
    void DropVoidEntries() noexcept;
    void Free(Index index) noexcept;
    void ReduceSize(std::size_t count) noexcept;

    TimerRequests m_requests;
    FlatTable<TargetEntry> m_targets;
    std::vector<TargetTable> m_tables;       ///< with gaps
    std::vector<std::uint32_t> m_freeTables; ///< the gaps; has room for as many as there are tables
    /// Timers that are not in the tables: there was no memory for the tables' growth when their requests, which had
    /// been taken, were done. No room is made for others before these have been added.
    std::array<Index, TimerRequests::kRoom + kRoomStep> m_withoutKey{};
    std::size_t m_withoutKeyCount = 0;
    std::size_t m_room = 0; ///< so many more may be set before there must be more room
    FlatTable<StartEntry> m_starts;
    TimerQueue m_queue;
    LineArray<Timer, 0> m_timers;
    LineArray<std::uint64_t, 0> m_freeBits; ///< of each place; ending a timer touches no more of it than its bit
    LineArray<Index, 0> m_free;             ///< a stack of the free places below `m_used`
    std::size_t m_freeCount = 0;
    Index m_used = 0; ///< no place from here on has been used
    std::size_t m_size = 0;
    std::int64_t m_baseMoved = 0;
};

} // namespace qvlib::internal
