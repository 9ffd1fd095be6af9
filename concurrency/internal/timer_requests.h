// Changes of timers that have been asked for but not made yet.
#pragma once

#include "qvlib/TimerItem.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace qvlib::internal
{

/// A timer to be set, or to be ended.
struct TimerRequest
{
    ITimerEvents * target;
    std::int64_t moment;
    std::uint32_t eventId;
    std::uint32_t resolution;
    bool adviseOnce;
    bool removes;
};

/// A few requests in the order in which they came, and the earliest moment that there will be when they are done.
///
/// Among very many timers, each step on the way to one of them is a wait for the memory. Done a few at a time, step by
/// step for all, the requests wait together and not one after the other: the group prefetching of Chen, Ailamaki,
/// Gibbons and Mowry, "Improving Hash Join Performance through Prefetching", ICDE 2004. The reading of the clock that
/// comes with each request, for which the processor waits until all before it is done, does not come between them.
///
/// The earliest moment is exact because no request is taken for the timer that has it. Thread-compatible.
class TimerRequests
{
public:
    static constexpr std::size_t kRoom = 32;

    bool IsEmpty() const noexcept { return m_count == 0; }
    bool IsFull() const noexcept { return m_count == kRoom; }
    std::size_t Size() const noexcept { return m_count; }
    TimerRequest const * begin() const noexcept { return m_requests.data(); }
    TimerRequest const * end() const noexcept { return m_requests.data() + m_count; }

    /// Ahead of the first request: a timer that has the earliest moment.
    void Begin(ITimerEvents * target, std::uint32_t eventId, std::int64_t moment) noexcept
    {
        m_firstTarget = target;
        m_firstEventId = eventId;
        m_firstMoment = moment;
    }
    /// Whether this is the timer from which the earliest moment is known.
    bool IsFirst(ITimerEvents * target, std::uint32_t eventId) const noexcept
    {
        return target == m_firstTarget && eventId == m_firstEventId;
    }
    std::int64_t FirstMoment() const noexcept { return m_firstMoment; }

    /// Adds a request for a timer that is not the first; there must be room.
    void Add(TimerRequest const & request) noexcept
    {
        m_requests[m_count++] = request;
        if (!request.removes && request.moment < m_firstMoment)
            Begin(request.target, request.eventId, request.moment);
    }
    void Clear() noexcept { m_count = 0; }

private:
    std::array<TimerRequest, kRoom> m_requests{};
    std::size_t m_count = 0;
    std::uint32_t m_firstEventId = 0;
    ITimerEvents * m_firstTarget = nullptr;
    std::int64_t m_firstMoment = 0;
};

} // namespace qvlib::internal
