// The order in which timers come due: a heap of moments that does not know where in it a timer stands.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qvlib::internal
{

/// A place in the order. Of two with the same moment the one with the lower `rank` comes first.
struct TimerQueueEntry
{
    std::int64_t moment;
    std::uint32_t index; ///< of the item
    std::uint32_t stamp; ///< of the item when it was put here; a later one on the item means that this entry is void
};

/// A heap of four branches in one array, whose brothers share a cache line. Nothing is ever looked for or taken from
/// the middle: an entry whose timer was changed or ended stays as a void one until it comes to the top or the void ones
/// outnumber the others. So only the array is touched, and no timer, when entries change places. Thread-compatible.
class TimerQueue
{
public:
    TimerQueue() noexcept = default;
    TimerQueue(TimerQueue const &) = delete;
    TimerQueue & operator=(TimerQueue const &) = delete;
    ~TimerQueue() { Clear(); }

    std::size_t Size() const noexcept { return m_size; }
    TimerQueueEntry const * begin() const noexcept { return m_entries; }
    TimerQueueEntry const * end() const noexcept { return m_entries + m_size; }
    TimerQueueEntry const & First() const noexcept { return m_entries[0]; }

    /// Makes room for one more. Throws std::bad_alloc, and nothing has changed.
    void Reserve()
    {
        if (m_size == m_capacity)
            Grow();
    }
    void Drop() noexcept { m_size = 0; }
    /// Gives the memory back as well.
    void Clear() noexcept;

    // `less` tells whether an entry comes before another. For Push there must be room.

    template <class Less>
    void Push(TimerQueueEntry const & entry, Less const & less) noexcept
    {
        Rise(m_size++, entry, less);
    }
    template <class Less>
    void Pop(Less const & less) noexcept
    {
        if (--m_size != 0)
            Sink(m_entries[m_size], less);
    }
    template <class Less>
    void ReplaceFirst(TimerQueueEntry const & entry, Less const & less) noexcept
    {
        Sink(entry, less);
    }
    /// Keeps the entries for which `keep` is true.
    template <class Keep, class Less>
    void Filter(Keep const & keep, Less const & less) noexcept
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < m_size; ++i)
            if (keep(m_entries[i]))
                m_entries[kept++] = m_entries[i];
        m_size = kept;
        for (std::size_t i = m_size < 2 ? 0 : (m_size - 2) / kBranches + 1; i-- > 0;)
            SinkFrom(i, m_entries[i], less);
    }

private:
    static constexpr std::size_t kBranches = 4;

    void Grow();

    template <class Less>
    void Rise(std::size_t hole, TimerQueueEntry const entry, Less const & less) noexcept
    {
        while (hole != 0)
        {
            std::size_t const parent = (hole - 1) / kBranches;
            if (!less(entry, m_entries[parent]))
                break;
            m_entries[hole] = m_entries[parent];
            hole = parent;
        }
        m_entries[hole] = entry;
    }

    /// The first of four brothers.
    template <class Less>
    std::size_t FirstOfFour(std::size_t child, Less const & less) const noexcept
    {
        std::size_t const left = child + less(m_entries[child + 1], m_entries[child]);
        std::size_t const right = child + 2 + less(m_entries[child + 3], m_entries[child + 2]);
        return less(m_entries[right], m_entries[left]) ? right : left;
    }

    /// Puts an entry in the place of the first one. It comes from the bottom as a rule, so the hole is taken to the
    /// bottom first and the entry rises from there.
    template <class Less>
    void Sink(TimerQueueEntry const entry, Less const & less) noexcept
    {
        std::size_t hole = 0;
        std::size_t child = 1;
        for (; child + kBranches <= m_size; child = hole * kBranches + 1)
        {
            std::size_t const first = FirstOfFour(child, less);
            m_entries[hole] = m_entries[first];
            hole = first;
        }
        if (child < m_size)
        {
            std::size_t first = child;
            while (++child < m_size)
                if (less(m_entries[child], m_entries[first]))
                    first = child;
            m_entries[hole] = m_entries[first];
            hole = first;
        }
        Rise(hole, entry, less);
    }

    template <class Less>
    void SinkFrom(std::size_t hole, TimerQueueEntry const entry, Less const & less) noexcept
    {
        for (std::size_t child = hole * kBranches + 1; child < m_size; child = hole * kBranches + 1)
        {
            std::size_t first = child;
            for (std::size_t i = child + 1; i < child + kBranches && i < m_size; ++i)
                if (less(m_entries[i], m_entries[first]))
                    first = i;
            if (!less(m_entries[first], entry))
                break;
            m_entries[hole] = m_entries[first];
            hole = first;
        }
        m_entries[hole] = entry;
    }

    TimerQueueEntry * m_entries = nullptr; ///< the second one, and so every fourth, stands at the start of a line
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace qvlib::internal
