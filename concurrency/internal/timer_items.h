// The timers of a controller, found by target and event id, and first in the order in which they come due.
#pragma once

#include "concurrency/internal/flat_table.h"
#include "concurrency/internal/timer_queue.h"
#include "qvlib/TimerItem.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace qvlib::internal
{

/// Owns the items, which keep their addresses. Thread-compatible.
///
/// The orders are those of cmpTimerItemByTarget, as far as it tells items apart, and of cmpTimerItemByNextUpdate. A
/// next update is kept as a moment that does not change when the base time moves: the two differ by what the base has
/// moved.
class TimerItems
{
public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    TimerItems() noexcept = default;
    TimerItems(TimerItems const &) = delete;
    TimerItems & operator=(TimerItems const &) = delete;
    ~TimerItems() { Clear(); }

    std::size_t Size() const noexcept { return m_size; }
    /// kNone when there is none.
    Index Find(ITimerEvents * target, std::uint32_t eventId) noexcept;
    /// Stores an item, over the one with the same key if there is one, at its next update. Throws std::bad_alloc, and
    /// nothing has changed.
    void Put(CTimerItem const & item);
    /// Gives an item another next update. Throws std::bad_alloc, and nothing has changed, unless it is the first.
    void Move(Index index, std::int64_t nextUpdate);
    void Remove(Index index) noexcept;
    /// How many items the target had.
    std::size_t RemoveTarget(ITimerEvents * target) noexcept;
    void Clear() noexcept;

    /// What was stored, but for the next update.
    CTimerItem const & At(Index index) const noexcept { return SlotAt(index).item; }
    std::int64_t NextUpdate(Index index) const noexcept { return SlotAt(index).moment - m_baseMoved; }
    /// The first in order; there must be one.
    Index First() noexcept
    {
        while (!IsValid(m_queue.First()))
            m_queue.Pop(Before{*this});
        return m_queue.First().index;
    }
    /// The base time has moved by so much: all next updates are less by that.
    void MoveBase(std::int64_t distance) noexcept { m_baseMoved += distance; }

    template <class Visitor>
    void ForEach(Visitor const & visit) const
    {
        for (TimerQueueEntry const & entry : m_queue)
            if (IsValid(entry))
                visit(entry.index);
    }

private:
    struct alignas(64) Slot
    {
        CTimerItem item;
        std::int64_t moment;
        std::uint32_t stamp;
        Index nextFree;
    };
    static_assert(sizeof(Slot) == 64);

    /// Slots come in blocks, each twice as long as the one before; the index tells the block.
    static constexpr std::uint32_t kFirstBlock = 16;
    static constexpr std::size_t kBlocks = 28;
    static std::uint32_t BlockOf(Index index) noexcept
    {
        return static_cast<std::uint32_t>(std::bit_width(index + kFirstBlock)) - 5U;
    }
    static std::uint32_t BlockSize(std::uint32_t block) noexcept { return kFirstBlock << block; }
    Slot & SlotAt(Index index) const noexcept
    {
        std::uint32_t const block = BlockOf(index);
        return m_blocks[block][index + kFirstBlock - BlockSize(block)];
    }
    /// Orders slots by their addresses: by the rank of the block's address, then by the index.
    std::uint64_t Place(Index index) const noexcept
    {
        return static_cast<std::uint64_t>(m_ranks[BlockOf(index)]) << 32 | index;
    }
    struct Before
    {
        TimerItems const & items;
        bool operator()(TimerQueueEntry const & a, TimerQueueEntry const & b) const noexcept
        {
            return a.moment != b.moment ? a.moment < b.moment : items.Place(a.index) < items.Place(b.index);
        }
    };
    bool IsValid(TimerQueueEntry const & entry) const noexcept { return SlotAt(entry.index).stamp == entry.stamp; }

    /// The items of one target by event id.
    struct EventEntry
    {
        using Key = std::uint32_t;
        Key key = 0;
        Index index = kNone;
        bool IsEmpty() const noexcept { return index == kNone; }
    };
    using EventTable = FlatTable<EventEntry>;
    /// A target: its only item, or the table of its items once it has had two.
    struct TargetEntry
    {
        using Key = ITimerEvents *;
        Key key = nullptr;
        std::unique_ptr<EventTable> events;
        Index index = kNone;
        bool IsEmpty() const noexcept { return index == kNone && events == nullptr; }
    };

    Index AllocateSlot();
    void AddBlock();
    void FreeSlot(Index index) noexcept;
    void AddKey(CTimerItem const & item, Index index);
    bool IsFirst(Index index) const noexcept;
    void ReduceSize(std::size_t count) noexcept;
    void Schedule(Index index, std::int64_t moment) noexcept;

    FlatTable<TargetEntry> m_targets;
    TimerQueue m_queue;
    std::array<Slot *, kBlocks> m_blocks{};
    std::array<std::uint8_t, kBlocks> m_ranks{};
    std::uint32_t m_blockCount = 0;
    Index m_firstUnused = 0; ///< no slot from here on has been used
    Index m_firstFree = kNone;
    std::size_t m_size = 0;
    std::int64_t m_baseMoved = 0;
};

} // namespace qvlib::internal
