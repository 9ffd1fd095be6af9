#include "concurrency/internal/timer_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

using qvlib::internal::TimerQueue;
using qvlib::internal::TimerQueueEntry;

namespace
{

/// The queue as timers use it, beside a plain ordered set that it must agree with whenever the first one is asked for.
class CheckedQueue
{
public:
    explicit CheckedQueue(std::uint32_t count) : m_items(count) {}

    std::size_t Size() const { return m_plain.size(); }
    std::int64_t FirstMoment() const { return m_plain.begin()->first; }
    std::uint32_t FirstIndex() const { return m_plain.begin()->second; }

    void Set(std::uint32_t index, std::int64_t moment)
    {
        Item & item = m_items[index];
        Forget(index);
        if (m_queue.HasFirst() && m_queue.First().Index() == index && IsValid(m_queue.First()) && item.isSet)
        {
            m_queue.ReplaceFirst({moment, index, item.stamp});
        }
        else
        {
            m_queue.Reserve();
            m_queue.Push({moment, index, ++item.stamp});
            ++m_queued;
        }
        item.isSet = true;
        item.moment = moment;
        m_plain.emplace(moment, index);
        if (m_queue.Size() > 2 * Size() + 64)
            DropVoid();
    }
    void End(std::uint32_t index)
    {
        Forget(index);
        ++m_items[index].stamp;
        m_items[index].isSet = false;
    }
    void DropVoid()
    {
        m_queue.Filter([this](TimerQueueEntry const & entry) { return IsValid(entry); },
                       [](TimerQueueEntry const &) {});
        m_queued = Size();
    }
    /// Whether the first one, if there is any, is that of the plain set.
    bool Agrees()
    {
        if (m_plain.empty())
            return true;
        for (;;)
        {
            if (m_queue.Size() != m_queued || m_queued < Size())
                return false;
            if (m_queue.HasFirst() && IsValid(m_queue.First()))
                break;
            if (m_queue.HasFirst())
                PopFirst();
            else
                m_queue.Refill([this](TimerQueueEntry * begin, TimerQueueEntry * end) { return DropVoid(begin, end); });
        }
        return m_queue.First().moment == FirstMoment() && m_queue.First().Index() == FirstIndex();
    }

private:
    struct Item
    {
        std::int64_t moment = 0;
        std::uint32_t stamp = 0;
        bool isSet = false;
    };

    bool IsValid(TimerQueueEntry const & entry) const { return m_items[entry.Index()].stamp == entry.Stamp(); }
    TimerQueueEntry * DropVoid(TimerQueueEntry * begin, TimerQueueEntry * end)
    {
        auto * const kept = std::remove_if(begin, end, [this](auto const & entry) { return !IsValid(entry); });
        m_queued -= static_cast<std::size_t>(end - kept);
        return kept;
    }
    void PopFirst()
    {
        m_queue.Pop();
        --m_queued;
    }
    void Forget(std::uint32_t index)
    {
        if (m_items[index].isSet)
            m_plain.erase({m_items[index].moment, index});
    }

    std::vector<Item> m_items;
    TimerQueue m_queue;
    std::size_t m_queued = 0; ///< entries in it
    std::set<std::pair<std::int64_t, std::uint32_t>> m_plain;
};

/// Ends them one by one in their order.
void Drain(CheckedQueue & queue)
{
    while (queue.Size() != 0)
    {
        ASSERT_TRUE(queue.Agrees()) << queue.Size() << " left";
        queue.End(queue.FirstIndex());
    }
}

class TimerQueueOrder : public testing::Test
{
protected:
    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(m_random() % limit); }

    unsigned m_seed = static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
    testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};
    std::mt19937 m_random{m_seed};
};

TEST_F(TimerQueueOrder, AgreesWithAPlainSetWhateverHappens)
{
    constexpr std::uint32_t kCount = 6000;
    for (std::uint32_t const width : {1U, 50U, 1'000'000U}) // from all at one moment to hardly two
    {
        CheckedQueue queue(kCount);
        std::int64_t now = 0;
        for (int phase = 0; phase < 24; ++phase)
        {
            // Of a hundred changes, so many set a timer, and so many of the others call the first one.
            std::uint32_t const sets = std::vector<std::uint32_t>{95, 70, 30, 5}[Below(4)];
            std::uint32_t const calls = 100 * Below(2);
            std::uint32_t const looks = Below(2) == 0 ? 1 : 200; // one in so many changes is followed by a look
            for (std::uint32_t step = 0; step < kCount; ++step)
            {
                std::uint32_t const index = Below(kCount);
                if (Below(100) < sets)
                {
                    queue.Set(index, now + Below(width) - Below(10) * std::int64_t{width});
                }
                else if (queue.Size() == 0 || Below(100) >= calls)
                {
                    queue.End(index);
                }
                else if (now = queue.FirstMoment(); Below(2) == 0) // called again
                {
                    queue.Set(queue.FirstIndex(), now + 1 + Below(2 * width));
                }
                else
                {
                    queue.End(queue.FirstIndex());
                }
                ASSERT_TRUE(Below(looks) != 0 || queue.Agrees()) << "width " << width << " phase " << phase;
            }
            if (Below(4) == 0)
                queue.DropVoid();
        }
        Drain(queue);
    }
}

TEST_F(TimerQueueOrder, KeepsToItInRegularOrdersToo)
{
    constexpr std::uint32_t kCount = 20'000;
    constexpr std::int64_t kFar = 1'000'000;
    std::int64_t const steps[][2] = {{0, 0}, {1, 1}, {-1, -1}, {kFar, -kFar}, {kFar, 1}, {-kFar, -1}, {0, kFar}};
    for (auto const & step : steps)
    {
        SCOPED_TRACE("steps " + std::to_string(step[0]) + ", " + std::to_string(step[1]));
        CheckedQueue queue(kCount);
        std::int64_t at = 0;
        for (std::uint32_t i = 0; i < kCount; ++i)
        {
            at += step[i % 2];
            queue.Set(i, at);
            ASSERT_TRUE(i % 3 != 0 || queue.Agrees());
            if (i % 7 == 0)
                queue.End(i / 2);                                    // one of the middle, or again
            queue.Set(kCount / 2, at + (i % 2 == 0 ? -kFar : kFar)); // set over and over
        }
        // Periodic ones for some rounds: each comes again behind all others.
        for (std::uint32_t i = 0; i < 3 * kCount; ++i)
        {
            ASSERT_TRUE(queue.Agrees());
            queue.Set(queue.FirstIndex(), queue.FirstMoment() + 2 * kFar);
        }
        Drain(queue);
    }
}

/// Each wave comes before all that wait, and half of it goes before the next: so the rest falls into ever more levels.
TEST_F(TimerQueueOrder, WavesOfEverEarlierOnes)
{
    constexpr std::uint32_t kWaves = 100;
    constexpr std::uint32_t kWave = 1500;
    CheckedQueue queue(kWaves * kWave);
    for (std::uint32_t wave = 0; wave < kWaves; ++wave)
    {
        for (std::uint32_t i = 0; i < kWave; ++i)
            queue.Set(wave * kWave + i, static_cast<std::int64_t>(Below(kWave)) - wave * std::int64_t{kWave});
        for (std::uint32_t i = 0; i < kWave / 2; ++i)
        {
            ASSERT_TRUE(queue.Agrees());
            queue.End(queue.FirstIndex());
        }
        // One of any age comes anew, at any place.
        for (std::uint32_t i = 0; i < 20; ++i)
            queue.Set(Below((wave + 1) * kWave), -static_cast<std::int64_t>(Below((wave + 1) * kWave)));
    }
    Drain(queue);
}

} // namespace
