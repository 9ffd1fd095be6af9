// How the references of a shared value are counted: part of the implementation of CSharedValueHeap, apart from it so
// that a test can walk through every order in which threads may take these steps.
#pragma once

#include <atomic>
#include <cstdint>

namespace qvlib::detail
{

/// The count of one entry. Each function is one atomic step. An entry ends in two steps, so that copies of handles need
/// no lock: the thread that dropped the last reference then takes the heap's lock and drops once more. Whoever finds
/// the entry in between, under the lock, adds two: one for itself, and one for that second drop.
///
/// The memory of an entry stays an entry's while the heap lives, so that TryAdd may be tried on one that has ended.
template <class Number = std::atomic<std::int32_t>>
class EntryCount
{
public:
    /// Makes the entry new. Under the lock.
    void Start() noexcept { m_count.store(0, std::memory_order_relaxed); }
    /// One more, for somebody who holds one.
    void AddToHeld() noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
    /// One more, without the lock, if there is any; false, and nothing done, if there is none.
    bool TryAdd() noexcept
    {
        std::int32_t count = m_count.load(std::memory_order_relaxed);
        while (count > 0)
            // Acquire: the value of the entry is read behind this.
            if (m_count.compare_exchange_weak(count, count + 1, std::memory_order_acquire, std::memory_order_relaxed))
                return true;
        return false;
    }
    /// One more, under the lock. True when there was none: the entry is new, or about to be dropped once more.
    bool AddFound() noexcept { return m_count.fetch_add(1, std::memory_order_acq_rel) == 0; }
    /// Pays for the drop that another thread is about to make. Under the lock.
    void Revive() noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
    /// One less. True when it was the last: DropAgain must follow, under the lock.
    bool Drop() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    /// The second drop, under the lock. True when nobody has come: the entry ends. It is 0 where somebody came and
    /// went.
    bool DropAgain() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) <= 1; }

    std::int32_t Value() const noexcept { return m_count.load(std::memory_order_relaxed); }

private:
    Number m_count{0};
};

} // namespace qvlib::detail
