#include "concurrency/internal/timer_queue.h"

#include <algorithm>
#include <cstring>

namespace qvlib::internal
{

/// Puts an entry in the place of the first one. It comes from the bottom, as a rule, so the hole is taken to the bottom
/// first and the entry rises from there.
void TimerQueue::Sink(TimerQueueEntry entry) noexcept
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

void TimerQueue::MakeHeap() noexcept
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
void TimerQueue::Spill() noexcept
{
    TimerQueueEntry * const entries = m_near.Data();
    std::nth_element(entries, entries + kNearFill, entries + m_nearSize, &Less);
    std::size_t const count = m_nearSize - kNearFill;
    m_nearSize = kNearFill;
    m_bound = entries[kNearFill];
    if (m_levelCount == 0)
        m_levels[m_levelCount++] = {m_bound, 0};
    Level & nearest = m_levels[m_levelCount - 1];
    nearest.bound = m_bound;
    if (nearest.begin >= count)
    {
        nearest.begin -= count;
        std::copy_n(entries + kNearFill, count, m_rest.Data() + nearest.begin);
    }
    else
    {
        for (std::size_t i = kNearFill; i < kNearFill + count; ++i)
            PushToRest(entries[i]);
    }
    MakeHeap();
}

/// Moves the rest to the front of its array. There is a gap when the end is reached: Reserve sees to it.
void TimerQueue::CloseGap() noexcept
{
    std::size_t const gap = m_levels[m_levelCount - 1].begin;
    std::copy(m_rest.Data() + gap, m_rest.Data() + m_end, m_rest.Data());
    for (std::size_t i = 0; i < m_levelCount; ++i)
        m_levels[i].begin -= gap;
    m_end -= gap;
}

/// Moves what comes next from the rest to the heap's array.
void TimerQueue::TakeNearest() noexcept
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
void TimerQueue::Split() noexcept
{
    if (m_levelCount == kLevels)
        JoinLevels();
    Level & farther = m_levels[m_levelCount - 1];
    Level const whole = farther;
    std::size_t const end = m_levelCount == 1 ? m_end : m_levels[m_levelCount - 2].begin;
    TimerQueueEntry * const entries = m_rest.Data();
    TimerQueueEntry const pivot = PivotOf(whole.begin, end);
    std::size_t less = whole.begin;
    for (std::size_t i = whole.begin; i < end; ++i)
    {
        // Entries go as bytes: in halves, as the comparison takes them, they would be slow to take whole in a moment.
        std::size_t const step = Less(entries[i], pivot) ? 1U : 0U;
        std::array<std::byte, sizeof(TimerQueueEntry)> entry;
        std::memcpy(&entry, &entries[i], sizeof entry);
        entries[i] = entries[less];
        std::memcpy(&entries[less], &entry, sizeof entry);
        less += step;
    }
    farther = {pivot, less};
    m_levels[m_levelCount++] = whole;
}

/// Makes room for a level: the two neighbours that are the smallest together become one, which changes nothing but a
/// bound. The nearest one stays, for it is going to be split.
void TimerQueue::JoinLevels() noexcept
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

/// The median of a sample. It is neither the first nor the last in order, so each part of a split has something.
TimerQueueEntry TimerQueue::PivotOf(std::size_t begin, std::size_t end) noexcept
{
    constexpr std::size_t kSample = 15;
    std::array<TimerQueueEntry, kSample> sample;
    std::size_t const step = (end - begin) / kSample;
    for (std::size_t i = 0; i < kSample; ++i)
    {
        m_random = m_random * 6364136223846793005U + 1442695040888963407U;
        sample[i] = m_rest[begin + i * step + static_cast<std::size_t>(m_random >> 33) % step];
    }
    std::nth_element(sample.begin(), sample.begin() + kSample / 2, sample.end(), &Less);
    return sample[kSample / 2];
}

} // namespace qvlib::internal
