#include "support/allocation_sweep.h"

#include <cstdlib>
#include <stdexcept>

namespace
{

thread_local std::size_t allocations = 0;
thread_local std::size_t failAt = 0; // 0: never
thread_local bool fired = false;

void * Allocate(std::size_t size)
{
    ++allocations;
    if (failAt != 0 && --failAt == 0)
    {
        fired = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

} // namespace

void * operator new(std::size_t size)
{
    if (void * const block = Allocate(size))
        return block;
    throw std::bad_alloc();
}
void * operator new[](std::size_t size) { return ::operator new(size); }
void * operator new(std::size_t size, std::nothrow_t const &) noexcept { return Allocate(size); }
void * operator new[](std::size_t size, std::nothrow_t const &) noexcept { return Allocate(size); }
void operator delete(void * block) noexcept { std::free(block); }
void operator delete[](void * block) noexcept { std::free(block); }
void operator delete(void * block, std::size_t) noexcept { std::free(block); }
void operator delete[](void * block, std::size_t) noexcept { std::free(block); }
void operator delete(void * block, std::nothrow_t const &) noexcept { std::free(block); }
void operator delete[](void * block, std::nothrow_t const &) noexcept { std::free(block); }

namespace qvlib_test
{

FailingAllocation::FailingAllocation(std::size_t number)
{
    failAt = number;
    fired = false;
}

FailingAllocation::~FailingAllocation() { failAt = 0; }

bool FailingAllocation::Fired() const { return fired; }

AllocationCount::AllocationCount() : start_(allocations) {}

std::size_t AllocationCount::Value() const { return allocations - start_; }

std::size_t SweepAllocations(std::function<void()> const & operation, std::function<void()> const & check)
{
    for (std::size_t number = 1;; ++number)
    {
        bool hit = false;
        bool threw = false;
        {
            FailingAllocation const failing(number);
            try
            {
                operation();
            }
            catch (std::exception const &)
            {
                threw = true;
            }
            hit = failing.Fired();
        }
        if (!hit)
        {
            if (threw)
                throw std::logic_error("the swept operation fails without an allocation failure");
            return number - 1;
        }
        if (check)
            check();
    }
}

} // namespace qvlib_test
