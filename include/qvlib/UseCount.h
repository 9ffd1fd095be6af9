// CTLUseCount: tells a dispatcher that it is nested, and that its owner died during a callback.
//
// The owner keeps one count as a member. A dispatch copies it to the stack around a callback:
//
//     void Owner::Dispatch()
//     {
//         if (m_useCount.OtherHolders() != 0)
//             return;                              // a dispatch runs further up this stack
//         CTLUseCount const guard(m_useCount);
//         m_callback();                            // may delete the owner
//         if (guard.OtherHolders() == 0)
//             return;                              // the owner is gone: no member may be touched
//         m_rounds += 1;
//     }
//
// The copy must be the only one on the stack for the second answer to hold: two nested dispatches see each other.
#pragma once

#include <atomic>

#include "qvlib/export.h"

namespace qvlib
{

/// A counter shared by all copies. Thread-safe: copies may be taken and released on any thread.
class CTLUseCount
{
public:
    /// The only holder of a new counter.
    CTLUseCount() : m_count(new std::atomic<int>(1)) {}
    /// One more holder of the same counter.
    CTLUseCount(CTLUseCount const & other) noexcept : m_count(other.m_count)
    {
        // A new holder is made from a live one, so nothing has to be ordered with it.
        m_count->fetch_add(1, std::memory_order_relaxed);
    }
    CTLUseCount & operator=(CTLUseCount const &) = delete;
    ~CTLUseCount()
    {
        // Release what this holder did, and see what all others did before the count is freed.
        if (m_count->fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete m_count;
    }

    /// How many holders there are besides this one.
    int OtherHolders() const noexcept { return m_count->load(std::memory_order_acquire) - 1; }

private:
    std::atomic<int> * m_count;
};

} // namespace qvlib
