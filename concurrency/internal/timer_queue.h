// The order in which timers come due: a small heap of the next ones before a rest that is sorted as far as it must be.
#pragma once

#include "concurrency/internal/line_array.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

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
/// of each farther level, of which there are few, and the heap overflows by hundreds. Thread-compatible.
class TimerQueue
{
public:
    std::size_t Size() const noexcept { return m_size; }
    /// False also when there are entries, but the next ones are still to be found; Refill does that.
    bool HasFirst() const noexcept { return m_nearSize != 0; }
    TimerQueueEntry const & First() const noexcept { return m_near[0]; }

    /// Makes room for so many more. Throws std::bad_alloc, and nothing has changed but the room.
    void Reserve(std::size_t more = 1)
    {
        while (m_near.Capacity() < std::min(m_nearSize + more, kNearLimit))
            m_near.Grow();
        while (m_size + more >= kNearLimit && m_size + more > m_rest.Capacity())
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
        TimerQueueEntry * const begin = m_near.Data();
        std::size_t const kept = static_cast<std::size_t>(arrange(begin, begin + m_nearSize) - begin);
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
    static constexpr std::size_t kNearFill = 128;
    static constexpr std::size_t kLevels = 40;
    static constexpr std::size_t kAhead = 24; ///< entries, between approaching one and asking whether to keep it

    /// Ends where the next farther one begins, the farthest one at `m_end`.
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
            MakeRoomAtEnd();
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
            std::size_t const step = keep(entries[i]) ? 1U : 0U;
            entries[kept] = entries[i];
            kept += step;
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
    void MakeRoomAtEnd() noexcept;
    void TakeNearest() noexcept;
    void Split() noexcept;
    void JoinLevels() noexcept;
    TimerQueueEntry PivotOf(TimerQueueEntry const * entries, std::size_t count) noexcept;
    static std::size_t Part(TimerQueueEntry * entries, std::size_t count, TimerQueueEntry pivot) noexcept;

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

/// Puts an entry in the place of the first one. It comes from the bottom, as a rule, so the hole is taken to the bottom
/// first and the entry rises from there.
inline void TimerQueue::Sink(TimerQueueEntry entry) noexcept
{
    TimerQueueEntry * const entries = m_near.Data();
    std::size_t hole = 0;
    std::size_t child = 1;
    for (; child + kBranches <= m_nearSize; child = hole * kBranches + 1)
    {
        std::size_t const left = child + (Less(entries[child + 1], entries[child]) ? 1U : 0U);
        std::size_t const right = child + 2 + (Less(entries[child + 3], entries[child + 2]) ? 1U : 0U);
        std::size_t const first = Less(entries[right], entries[left]) ? right : left;
        entries[hole] = entries[first];
        hole = first;
    }
    if (child < m_nearSize)
    {
        std::size_t first = child;
        while (++child < m_nearSize)
            if (Less(entries[child], entries[first]))
                first = child;
        entries[hole] = entries[first];
        hole = first;
    }
    Rise(hole, entry);
}

inline void TimerQueue::MakeHeap() noexcept
{
    TimerQueueEntry * const entries = m_near.Data();
    for (std::size_t i = m_nearSize < 2 ? 0 : (m_nearSize - 2) / kBranches + 1; i-- > 0;)
    {
        TimerQueueEntry const entry = entries[i];
        std::size_t hole = i;
        for (std::size_t child = hole * kBranches + 1; child < m_nearSize; child = hole * kBranches + 1)
        {
            std::size_t first = child;
            for (std::size_t other = child + 1; other < std::min(child + kBranches, m_nearSize); ++other)
                first = Less(entries[other], entries[first]) ? other : first;
            if (!Less(entries[first], entry))
                break;
            entries[hole] = entries[first];
            hole = first;
        }
        entries[hole] = entry;
    }
}

/// Gives the later half of a full heap to the nearest level.
inline void TimerQueue::Spill() noexcept
{
    m_bound = PivotOf(m_near.Data(), m_nearSize);
    std::size_t const kept = Part(m_near.Data(), m_nearSize, m_bound);
    TimerQueueEntry const * const later = m_near.Data() + kept;
    std::size_t const count = std::exchange(m_nearSize, kept) - kept;
    if (m_levelCount == 0)
        m_levels[m_levelCount++] = {m_bound, 0};
    Level & nearest = m_levels[m_levelCount - 1];
    nearest.bound = m_bound;
    if (nearest.begin >= count)
    {
        nearest.begin -= count;
        std::copy_n(later, count, m_rest.Data() + nearest.begin);
    }
    else
    {
        std::for_each(later, later + count, [this](TimerQueueEntry const & entry) { PushToRest(entry); });
    }
    MakeHeap();
}

/// Moves the rest to the front of its array, where there is a gap: the array has room for all entries. But if there is
/// too little to win, which would come again too soon, the array grows instead, as long as there is memory.
inline void TimerQueue::MakeRoomAtEnd() noexcept
{
    std::size_t const gap = m_levels[m_levelCount - 1].begin;
    if (gap < m_rest.Capacity() / 4 && m_rest.TryToGrow())
        return;
    std::copy(m_rest.Data() + gap, m_rest.Data() + m_end, m_rest.Data());
    for (std::size_t i = 0; i < m_levelCount; ++i)
        m_levels[i].begin -= gap;
    m_end -= gap;
}

/// Moves what comes next from the rest to the heap's array.
inline void TimerQueue::TakeNearest() noexcept
{
    while (m_levelCount != 0)
    {
        std::size_t const begin = m_levels[m_levelCount - 1].begin;
        std::size_t const end = m_levelCount == 1 ? m_end : m_levels[m_levelCount - 2].begin;
        if (m_nearSize + (end - begin) <= kNearFill)
        {
            std::copy(m_rest.Data() + begin, m_rest.Data() + end, m_near.Data() + m_nearSize);
            m_nearSize += end - begin;
            --m_levelCount;
        }
        else if (m_nearSize == 0)
        {
            Split();
        }
        else
        {
            m_bound = m_levels[m_levelCount - 1].bound;
            return;
        }
    }
    DropRest();
}

/// Makes two levels of the nearest one.
inline void TimerQueue::Split() noexcept
{
    if (m_levelCount == kLevels)
        JoinLevels();
    Level & farther = m_levels[m_levelCount - 1];
    Level const whole = farther;
    std::size_t const end = m_levelCount == 1 ? m_end : m_levels[m_levelCount - 2].begin;
    TimerQueueEntry * const entries = m_rest.Data() + whole.begin;
    TimerQueueEntry const pivot = PivotOf(entries, end - whole.begin);
    farther = {pivot, whole.begin + Part(entries, end - whole.begin, pivot)};
    m_levels[m_levelCount++] = whole;
}

/// Makes room for a level: the two neighbours that are the smallest together become one, which changes nothing but a
/// bound. The nearest one stays, for it is going to be split.
inline void TimerQueue::JoinLevels() noexcept
{
    std::size_t best = 1;
    std::size_t bestSize = std::numeric_limits<std::size_t>::max();
    for (std::size_t i = 1; i < m_levelCount - 1; ++i)
    {
        std::size_t const size = (i == 1 ? m_end : m_levels[i - 2].begin) - m_levels[i].begin;
        if (size < bestSize)
        {
            best = i;
            bestSize = size;
        }
    }
    std::copy(m_levels.data() + best, m_levels.data() + m_levelCount, m_levels.data() + best - 1);
    --m_levelCount;
}

/// The median of a sample. It is neither the first nor the last in order, so each part has something.
inline TimerQueueEntry TimerQueue::PivotOf(TimerQueueEntry const * entries, std::size_t count) noexcept
{
    constexpr std::size_t kSample = 15;
    std::array<TimerQueueEntry, kSample> sample;
    std::size_t const step = count / kSample;
    for (std::size_t i = 0; i < kSample; ++i)
    {
        m_random = m_random * 6364136223846793005U + 1442695040888963407U;
        sample[i] = entries[i * step + static_cast<std::size_t>(m_random >> 33) % step];
    }
    auto const less = [](TimerQueueEntry const & a, TimerQueueEntry const & b) { return Less(a, b); };
    std::nth_element(sample.begin(), sample.begin() + kSample / 2, sample.end(), less);
    return sample[kSample / 2];
}

/// Puts those before the pivot in front, and tells how many they are.
inline std::size_t TimerQueue::Part(TimerQueueEntry * entries, std::size_t count, TimerQueueEntry pivot) noexcept
{
    std::size_t before = 0;
    for (std::size_t i = 0; i < count; ++i)
    {
        // Entries go as bytes: in halves, as the comparison takes them, they would be slow to take whole in a moment.
        std::size_t const step = Less(entries[i], pivot) ? 1U : 0U;
        std::array<std::byte, sizeof(TimerQueueEntry)> entry;
        std::memcpy(&entry, &entries[i], sizeof entry);
        entries[i] = entries[before];
        std::memcpy(&entries[before], &entry, sizeof entry);
        before += step;
    }
    return before;
}

} // namespace qvlib::internal
