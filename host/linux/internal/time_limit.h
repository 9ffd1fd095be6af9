// A time-out in milliseconds as a moment of the monotonic clock.
#pragma once

#include "qvlib/host/sync.h"
#include "qvlib/host/types.h"

#include <chrono>

namespace qvlib::host
{

class TimeLimit
{
public:
    explicit TimeLimit(DWORD milliseconds)
        : m_endless(milliseconds == INFINITE), m_now(milliseconds == 0),
          m_end(m_endless || m_now ? Clock::time_point{} : Clock::now() + std::chrono::milliseconds(milliseconds))
    {
    }

    /// What is left of it, rounded up so that nothing ends early; INFINITE without an end.
    DWORD Left() const
    {
        if (m_endless)
            return INFINITE;
        if (m_now)
            return 0;
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return left > 0 ? static_cast<DWORD>(left) : 0;
    }

private:
    using Clock = std::chrono::steady_clock;
    bool m_endless;
    bool m_now;
    Clock::time_point m_end;
};

} // namespace qvlib::host
