// The order in which timers come due: a small heap of the next ones before a rest that is sorted as far as it must be.
#pragma once

#include "concurrency/internal/line_array.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace qvlib::internal
{

/// A place in the order: by moment, then by the item's index. No two in a queue are equal.
struct TimerQueueEntry
{
    TimerQueueEntry() noexcept = default;
    /// `stamp` is the item's when it is put here; another one on the item means that this entry is void.
    TimerQueueEntry(std::int64_t at, std::uint32_t index, std::uint32_t stamp) noexcept
        : moment(at), item(std::uint64_t{index} << 32 | stamp)
    {
    }
    std::uint32_t Index() const noexcept { return static_cast<std::uint32_t>(item >> 32); }
    std::uint32_t Stamp() const noexcept { return static_cast<std::uint32_t>(item); }

    std::int64_t moment;
    std::uint64_t item;
};

/// What comes before a bound stands in a heap that fits the processor's nearest caches; what comes later stands in one
/// array, in levels that follow one another in the order and are not sorted within. When the heap is empty, the nearest
/// level is split, as a quicksort would that is wanted for its first few results only, until a heap's fill is left of
/// it: R. Paredes and G. Navarro, "Optimal Incremental Sorting", ALENEX 2006. So most entries are appended to an array,
/// taken from it in company, and a heap of a million is never walked.
///
/// Nothing is ever looked for or taken from the middle: an entry whose timer was changed or ended stays as a void one
/// until it comes to the top or its owner drops all that are void.
///
/// What an entry costs grows with the logarithm of their number, in the mean over many, whatever order they come in: a
/// split takes time for each entry of its level and halves that (the pivot is the median of a sample whose places are
/// random, and no two entries are equal), a level grows only by entries that are added, each of which moves one entry
/// of each farther level, and the heap overflows and is filled by hundreds at a time. Thread-compatible.
class TimerQueue
{
public:
    std::size_t Size() const noexcept { return m_size; }
    /// False also when there are entries, but the next ones are still to be found; Refill does that.
    bool HasFirst() const noexcept { return m_nearSize != 0; }
    TimerQueueEntry const & First() const noexcept { return m_near[0]; }

    /// Makes room for one more. Throws std::bad_alloc, and nothing has changed but the room.
    void Reserve()
    {
        if (m_nearSize == m_near.Capacity())
            m_near.Grow();
        // A quarter stays free, so that the rest is seldom moved to the front of its array.
        while (m_size + 1 >= kNearLimit && m_size >= m_rest.Capacity() / 4 * 3)
            m_rest.Grow();
    }
    void Drop() noexcept
    {
        m_size = 0;
        m_nearSize = 0;
        DropRest();
    }
    /// Gives the memory back as well.
    void Clear() noexcept
    {
        Drop();
        m_near.Free();
        m_rest.Free();
    }

    /// Adds an entry, for which there must be room.
    void Push(TimerQueueEntry const & entry) noexcept
    {
        ++m_size;
        if (!Less(entry, m_bound))
        {
            PushToRest(entry);
            return;
        }
        Rise(m_nearSize++, entry);
        if (m_nearSize == kNearLimit)
            Spill();
    }
    void Pop() noexcept
    {
        --m_size;
        PopNear();
    }
    void ReplaceFirst(TimerQueueEntry const & entry) noexcept
    {
        if (Less(entry, m_bound))
        {
            Sink(entry);
            return;
        }
        PopNear();
        PushToRest(entry);
    }

    /// Finds the next entries when there is no first one but there are others. They are given to `arrange`, as pointers
    /// to the first and behind the last: it may change their order, and gives a pointer behind those to be kept.
    template <class Arrange>
    void Refill(Arrange const & arrange) noexcept
    {
        TakeNearest();
        std::size_t const kept = static_cast<std::size_t>(arrange(m_near.Data(), m_near.Data() + m_nearSize) - //
                                                          m_near.Data());
        m_size -= m_nearSize - kept;
        m_nearSize = kept;
        MakeHeap();
    }

    /// Keeps the entries for which `keep` is true. `approach` is called for each of them some time before.
    template <class Keep, class Approach>
    void Filter(Keep const & keep, Approach const & approach) noexcept
    {
        m_nearSize = KeepOf(m_near.Data(), 0, m_nearSize, 0, keep, approach);
        MakeHeap();
        std::size_t kept = 0;
        for (std::size_t i = m_levelCount; i-- > 0;)
        {
            std::size_t const from = m_levels[i].begin;
            m_levels[i].begin = kept;
            kept = KeepOf(m_rest.Data(), from, i == 0 ? m_end : m_levels[i - 1].begin, kept, keep, approach);
        }
        m_end = kept;
        m_size = m_nearSize + kept;
        if (kept == 0)
            DropRest();
    }

private:
    static constexpr std::size_t kBranches = 4;
    static constexpr std::size_t kNearLimit = 1024; ///< the heap never stays this large
    static constexpr std::size_t kNearFill = 256;
    static constexpr std::size_t kLevels = 40;
    static constexpr std::size_t kAhead = 24; ///< entries, between approaching one and asking whether to keep it

    /// Ends where the next nearer one's successor begins: at that of `m_levels` before it, the first of them at
    /// `m_end`.
    struct Level
    {
        TimerQueueEntry bound; ///< none in it comes before
        std::size_t begin;
    };

    static TimerQueueEntry None() noexcept
    {
        return {std::numeric_limits<std::int64_t>::max(), 0xFFFFFFFF, 0xFFFFFFFF};
    }
    static bool Less(TimerQueueEntry const & a, TimerQueueEntry const & b) noexcept
    {
        // Without branches: which of two comes first is anybody's guess.
#if defined(__SIZEOF_INT128__)
        return Wide(a) < Wide(b);
#else
        return (a.moment < b.moment) | ((a.moment == b.moment) & (a.item < b.item));
#endif
    }
#if defined(__SIZEOF_INT128__)
    static __int128 Wide(TimerQueueEntry const & entry) noexcept
    {
        return static_cast<__int128>(entry.moment) << 64 | static_cast<__int128>(entry.item);
    }
#endif
    void Rise(std::size_t hole, TimerQueueEntry entry) noexcept
    {
        while (hole != 0)
        {
            std::size_t const parent = (hole - 1) / kBranches;
            if (!Less(entry, m_near[parent]))
                break;
            m_near[hole] = m_near[parent];
            hole = parent;
        }
        m_near[hole] = entry;
    }
    void PopNear() noexcept
    {
        TimerQueueEntry const last = m_near[--m_nearSize];
        Sink(last);
    }
    /// For an entry that is not before `m_bound`.
    void PushToRest(TimerQueueEntry const & entry) noexcept
    {
        if (m_end == m_rest.Capacity())
            CloseGap();
        // Each level that is farther gives its first place to the nearer ones and takes one at its end.
        std::size_t hole = m_end++;
        for (Level * level = m_levels.data(); Less(entry, level->bound); ++level)
        {
            m_rest[hole] = m_rest[level->begin];
            hole = level->begin++;
        }
        m_rest[hole] = entry;
    }
    template <class Keep, class Approach>
    static std::size_t KeepOf(TimerQueueEntry * entries, std::size_t from, std::size_t to, std::size_t kept,
                              Keep const & keep, Approach const & approach) noexcept
    {
        for (std::size_t i = from; i < std::min(from + kAhead, to); ++i)
            approach(entries[i]);
        for (std::size_t i = from; i < to; ++i)
        {
            if (i + kAhead < to)
                approach(entries[i + kAhead]);
            entries[kept] = entries[i];
            kept += keep(entries[kept]) ? 1U : 0U;
        }
        return kept;
    }
    void DropRest() noexcept
    {
        m_levelCount = 0;
        m_end = 0;
        m_bound = None();
    }
    void Sink(TimerQueueEntry entry) noexcept;
    void MakeHeap() noexcept;
    void Spill() noexcept;
    void CloseGap() noexcept;
    void TakeNearest() noexcept;
    void Split() noexcept;
    void JoinLevels() noexcept;
    TimerQueueEntry PivotOf(std::size_t begin, std::size_t end) noexcept;

    LineArray<TimerQueueEntry, 1> m_near; // a heap whose brothers, 1 to 4, 5 to 8..., have a cache line each
    std::size_t m_nearSize = 0;
    TimerQueueEntry m_bound = None(); ///< all in the heap come before it, none of the rest
    std::size_t m_size = 0;           ///< of all

    LineArray<TimerQueueEntry, 0> m_rest; // with a gap before the nearest level
    std::size_t m_end = 0;
    std::size_t m_levelCount = 0;
    std::uint64_t m_random = 0x9E3779B97F4A7C15U;
    std::array<Level, kLevels> m_levels; ///< the farthest one first, the nearest one last
};

} // namespace qvlib::internal
