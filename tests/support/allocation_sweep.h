// Makes allocation number 1, 2, 3, ... fail until an operation succeeds.
//
// The test programs replace the global operator new, so every allocation that the library and the C++ library make
// through it is counted; C libraries (SQLite, expat, ICU) allocate by other means and are not swept.
#pragma once

#include <cstddef>
#include <functional>
#include <new>

namespace qvlib_test
{

/// While alive, the allocation of the given number (counted from 1) on this thread throws std::bad_alloc, once.
class FailingAllocation
{
public:
    explicit FailingAllocation(std::size_t number);
    ~FailingAllocation();
    FailingAllocation(FailingAllocation const &) = delete;
    FailingAllocation & operator=(FailingAllocation const &) = delete;

    /// Whether the failure has been delivered.
    bool Fired() const;
};

/// Counts the allocations of this thread while alive.
class AllocationCount
{
public:
    AllocationCount();
    std::size_t Value() const;

private:
    std::size_t start_;
};

/// Runs `operation` with its first, second, third... allocation failing until a run gets through without a failure.
/// An operation ends a run either by an exception or in its own way of reporting failure; `check` is called after every
/// run that was hit, to see that nothing changed or broke. Returns how many runs were hit. Leaks are the address
/// sanitizer's to find.
std::size_t SweepAllocations(std::function<void()> const & operation, std::function<void()> const & check = {});

} // namespace qvlib_test
