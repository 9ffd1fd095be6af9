#include "concurrency/internal/timer_queue.h"

#include <algorithm>

namespace qvlib::internal
{

/// Has the cache fetch the children of four brothers, of which one's will be needed.
void TimerQueue::ApproachChildren(std::size_t brother) const noexcept
{
#if defined(__GNUC__)
    std::size_t const child = brother * kBranches + 1;
    if (child + kBranches * kBranches <= m_size)
        for (std::size_t i = 0; i < kBranches; ++i)
            __builtin_prefetch(&m_entries[child + i * kBranches], 1);
#else
    static_cast<void>(brother);
#endif
}

/// Puts an entry in the place of the first one. It comes from the bottom, as a rule, so the hole is taken to the bottom
/// first and the entry rises from there.
TimerQueueEntry const & TimerQueue::Sink(TimerQueueEntry entry) noexcept
{
    TimerQueueEntry * const entries = m_entries.Data();
    std::size_t hole = 0;
    std::size_t nextToTop = 0;
    std::size_t child = 1;
    for (; child + kBranches <= m_size; child = hole * kBranches + 1)
    {
        ApproachChildren(child);
        std::size_t const left = child + (Less(entries[child + 1], entries[child]) ? 1U : 0U);
        std::size_t const right = child + 2 + (Less(entries[child + 3], entries[child + 2]) ? 1U : 0U);
        std::size_t const first = Less(entries[right], entries[left]) ? right : left;
        entries[hole] = entries[first];
        if (hole == 0)
            nextToTop = first;
        hole = first;
    }
    if (child < m_size)
    {
        std::size_t first = child;
        while (++child < m_size)
            if (Less(entries[child], entries[first]))
                first = child;
        entries[hole] = entries[first];
        hole = first;
    }
    Rise(hole, entry);
    return entries[nextToTop];
}

void TimerQueue::MakeHeap() noexcept
{
    TimerQueueEntry * const entries = m_entries.Data();
    for (std::size_t i = m_size < 2 ? 0 : (m_size - 2) / kBranches + 1; i-- > 0;)
    {
        TimerQueueEntry const entry = entries[i];
        std::size_t hole = i;
        for (std::size_t child = hole * kBranches + 1; child < m_size; child = hole * kBranches + 1)
        {
            std::size_t first = child;
            for (std::size_t other = child + 1; other < std::min(child + kBranches, m_size); ++other)
                first = Less(entries[other], entries[first]) ? other : first;
            if (!Less(entries[first], entry))
                break;
            entries[hole] = entries[first];
            hole = first;
        }
        entries[hole] = entry;
    }
}

} // namespace qvlib::internal
