// The order in which timers come due: a heap of moments that does not know where in it a timer stands.
#pragma once

#include "concurrency/internal/line_array.h"

#include <cstddef>
#include <cstdint>

namespace qvlib::internal
{

/// A place in the order: by moment, then by the item's index.
struct TimerQueueEntry
{
    std::int64_t moment;
    std::uint32_t index; ///< of the item
    std::uint32_t stamp; ///< of the item when it was put here; another one on the item means that this entry is void
};

/// A heap of four branches in one array, whose brothers share a cache line. Nothing is ever looked for or taken from
/// the middle: an entry whose timer was changed or ended stays as a void one until it comes to the top or its owner
/// drops all that are void. So only the array is touched, and no timer, when entries change places. Thread-compatible.
class TimerQueue
{
public:
    std::size_t Size() const noexcept { return m_size; }
    TimerQueueEntry const * begin() const noexcept { return m_entries.Data(); }
    TimerQueueEntry const * end() const noexcept { return m_entries.Data() + m_size; }
    TimerQueueEntry const & First() const noexcept { return m_entries[0]; }
    /// The one that will come first when that goes; there must be one.
    TimerQueueEntry const & Second() const noexcept
    {
        std::size_t first = 1;
        for (std::size_t other = 2; other <= kBranches && other < m_size; ++other)
            first = Less(m_entries[other], m_entries[first]) ? other : first;
        return m_entries[first];
    }

    /// Makes room for one more. Throws std::bad_alloc, and nothing has changed.
    void Reserve()
    {
        if (m_size == m_entries.Capacity())
            m_entries.Grow();
    }
    void Drop() noexcept { m_size = 0; }
    /// Gives the memory back as well.
    void Clear() noexcept
    {
        m_size = 0;
        m_entries.Free();
    }

    /// Adds an entry, for which there must be room.
    void Push(TimerQueueEntry const & entry) noexcept { Rise(m_size++, entry); }

    // These two give the entry that has come up next to the top, to which the owner's attention will come soon.

    TimerQueueEntry const & Pop() noexcept
    {
        TimerQueueEntry const last = m_entries[--m_size];
        return Sink(last);
    }
    TimerQueueEntry const & ReplaceFirst(TimerQueueEntry const & entry) noexcept { return Sink(entry); }

    /// Keeps the entries for which `keep` is true.
    template <class Keep>
    void Filter(Keep const & keep) noexcept
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < m_size; ++i)
        {
            m_entries[kept] = m_entries[i];
            kept += keep(m_entries[i]) ? 1U : 0U;
        }
        m_size = kept;
        MakeHeap();
    }

private:
    static constexpr std::size_t kBranches = 4;

    static bool Less(TimerQueueEntry const & a, TimerQueueEntry const & b) noexcept
    {
        // Without branches: which of two comes first is anybody's guess.
        return (a.moment < b.moment) | ((a.moment == b.moment) & (a.index < b.index));
    }
    void Rise(std::size_t hole, TimerQueueEntry entry) noexcept
    {
        while (hole != 0)
        {
            std::size_t const parent = (hole - 1) / kBranches;
            if (!Less(entry, m_entries[parent]))
                break;
            m_entries[hole] = m_entries[parent];
            hole = parent;
        }
        m_entries[hole] = entry;
    }
    TimerQueueEntry const & Sink(TimerQueueEntry entry) noexcept;
    void MakeHeap() noexcept;
    void ApproachChildren(std::size_t brother) const noexcept;

    LineArray<TimerQueueEntry, 1> m_entries; // so that 1 to 4, 5 to 8... have a line each
    std::size_t m_size = 0;
};

} // namespace qvlib::internal
