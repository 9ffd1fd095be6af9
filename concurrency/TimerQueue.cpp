#include "concurrency/internal/timer_queue.h"

#include <cstring>
#include <new>

namespace qvlib::internal
{

namespace
{

constexpr std::size_t kLine = 64;
constexpr std::size_t kBefore = kLine / sizeof(TimerQueueEntry) - 1; // so that the second entry starts a line
constexpr std::size_t kFirstCapacity = kLine - kBefore;

} // namespace

void TimerQueue::Grow()
{
    std::size_t const capacity = m_capacity == 0 ? kFirstCapacity : m_capacity * 2 + kBefore;
    auto * const memory = static_cast<TimerQueueEntry *>(
        ::operator new ((capacity + kBefore) * sizeof(TimerQueueEntry), std::align_val_t{kLine}));
    TimerQueueEntry * const entries = memory + kBefore;
    if (m_size != 0)
        std::memcpy(entries, m_entries, m_size * sizeof(TimerQueueEntry));
    std::size_t const size = m_size;
    Clear();
    m_entries = entries;
    m_size = size;
    m_capacity = capacity;
}

void TimerQueue::Clear() noexcept
{
    if (m_entries != nullptr)
        ::operator delete (m_entries - kBefore, std::align_val_t{kLine});
    m_entries = nullptr;
    m_size = m_capacity = 0;
}

} // namespace qvlib::internal
