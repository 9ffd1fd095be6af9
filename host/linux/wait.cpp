#include "host/linux/internal/wait.h"

#include "host/linux/internal/futex.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/process_watch.h"
#include "host/linux/internal/wait_all.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"

#include <array>
#include <new>

namespace qvlib::host
{

namespace
{

using Taken = Waitable::Taken;

DWORD Failed(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return WAIT_FAILED;
}

/// Finds what to wait for. A process's end is noticed when someone asks, or by a watcher for those who wait.
LSTATUS Find(Target & target, HANDLE handle, bool willWait) noexcept
{
    if (!target.Find(handle))
        return ERROR_INVALID_HANDLE;
    if ((target.object->State() & Waitable::kKindMask) != Waitable::kProcess)
        return ERROR_SUCCESS;
    LookAtProcess(*target.object);
    return willWait ? WatchProcess(*target.object) : ERROR_SUCCESS;
}

/// Sleeps until the waiter has its result or gives up, and tells which.
DWORD Rest(Waiter & waiter, Moment until) noexcept
{
    if (until != 0)
        SpinUntil([&] { return waiter.result.load(std::memory_order_relaxed) != Waiter::kPending; });
    std::uint32_t result = waiter.result.load(std::memory_order_acquire);
    while (result == Waiter::kPending)
    {
        if (FutexWait(waiter.result, Waiter::kPending, until))
            result = waiter.result.load(std::memory_order_acquire);
        else if (waiter.result.compare_exchange_strong(result, Waiter::kGivenUp, std::memory_order_acq_rel,
                                                       std::memory_order_acquire))
            result = Waiter::kGivenUp;
    }
    return result == Waiter::kGivenUp ? WAIT_TIMEOUT : result;
}

/// `blocks` has room for all targets.
DWORD WaitForAny(Target const * targets, DWORD count, WaitBlock * blocks, DWORD milliseconds) noexcept
{
    for (DWORD i = 0; i < count; ++i)
    {
        Taken const taken = targets[i].object->TryTake(targets[i].identity);
        if (taken == Taken::yes)
            return i;
        if (taken == Taken::invalid)
            return Failed(ERROR_INVALID_HANDLE);
    }
    if (milliseconds == 0)
        return WAIT_TIMEOUT;

    Moment const until = Deadline(milliseconds);
    Waiter waiter;
    DWORD queued = 0;
    Taken taken = Taken::no;
    for (; queued < count && taken == Taken::no; ++queued)
    {
        WaitBlock & block = blocks[queued];
        block.waiter = &waiter;
        block.object = targets[queued].object;
        block.index = queued;
        block.alone = true;
        taken = block.object->TakeOrQueue(block, targets[queued].identity);
    }
    if (taken != Taken::no)
        --queued;
    // A handle that was closed meanwhile ends the wait, if none of the others has.
    DWORD const result = Rest(waiter, taken == Taken::invalid ? 0 : until);
    for (DWORD i = 0; i < queued; ++i)
        blocks[i].object->Unqueue(blocks[i]);
    return taken == Taken::invalid && result == WAIT_TIMEOUT ? Failed(ERROR_INVALID_HANDLE) : result;
}

bool HasOneTwice(Target const * targets, DWORD count) noexcept
{
    for (DWORD i = 1; i < count; ++i)
        for (DWORD j = 0; j < i; ++j)
            if (targets[i].object == targets[j].object)
                return true;
    return false;
}

/// Takes the signals that are needed together, or one that is enough alone, and gives the waiter its result; or puts
/// the blocks into all lines (`queue`), or does nothing.
Taken TakeAllOrQueue(Target const * targets, Waiter & waiter, bool queue) noexcept
{
    std::array<Waitable::Word, kMostWaitables> states;
    MutexLock const held(g_waitAllLock);
    Taken taken = Taken::yes;
    std::uint32_t locked = 0;
    for (; locked < waiter.total && taken != Taken::invalid; ++locked)
    {
        if (!targets[locked].object->Lock(targets[locked].identity, states[locked]))
            taken = Taken::invalid;
        else if (locked < waiter.count && (states[locked] & Waitable::kSignalled) == 0)
            taken = Taken::no;
    }
    if (taken == Taken::invalid)
        --locked;
    std::uint32_t first = 0;
    std::uint32_t end = waiter.count;
    for (std::uint32_t i = waiter.count; i < locked && taken == Taken::no; ++i)
        if ((states[i] & Waitable::kSignalled) != 0)
        {
            taken = Taken::yes;
            first = i;
            end = i + 1;
        }
    if (taken == Taken::yes)
        waiter.result.store(first, std::memory_order_relaxed);
    for (std::uint32_t i = 0; i < locked; ++i)
    {
        if (taken == Taken::yes && i >= first && i < end && (states[i] & Waitable::kManual) == 0)
            states[i] &= ~Waitable::kSignalled;
        else if (taken == Taken::no && queue)
        {
            WaitBlock & block = waiter.blocks[i];
            block.waiter = &waiter;
            block.object = targets[i].object;
            block.index = i;
            block.alone = i >= waiter.count;
            block.object->Enqueue(block, states[i]);
        }
        targets[i].object->Unlock(states[i]);
    }
    return taken;
}

/// Waits for the first `together` targets, or for one of those behind them.
DWORD WaitForAll(Target const * targets, DWORD count, DWORD together, WaitBlock * blocks, DWORD milliseconds) noexcept
{
    if (HasOneTwice(targets, count))
        return Failed(ERROR_INVALID_PARAMETER);
    Moment const until = Deadline(milliseconds);
    Waiter waiter;
    waiter.total = count;
    waiter.count = together;
    waiter.blocks = blocks;
    Taken const taken = TakeAllOrQueue(targets, waiter, milliseconds != 0);
    if (taken == Taken::invalid)
        return Failed(ERROR_INVALID_HANDLE);
    if (taken == Taken::yes || milliseconds == 0)
        return taken == Taken::yes ? waiter.result.load(std::memory_order_relaxed) : WAIT_TIMEOUT;
    DWORD const result = Rest(waiter, until);
    // Whoever looks at this waiter's other objects on behalf of one of them holds the lock as well.
    MutexLock const held(g_waitAllLock);
    for (DWORD i = 0; i < count; ++i)
        targets[i].object->Unqueue(blocks[i]);
    return result;
}

/// Room for the targets of a wait, made as they are found.
class Targets
{
public:
    Targets() noexcept {}
    ~Targets()
    {
        while (m_count > 0)
            m_targets[--m_count].~Target();
    }
    Targets(Targets const &) = delete;
    Targets & operator=(Targets const &) = delete;

    Target & Add() noexcept { return *new (&m_targets[m_count++]) Target; }
    Target const * Data() const noexcept { return m_targets; }
    DWORD Count() const noexcept { return m_count; }

private:
    union
    {
        Target m_targets[kMostWaitables];
    };
    DWORD m_count = 0;
};

/// What the public functions and WaitForHandlesOr have in common.
DWORD WaitForSeveral(Waitable * last, DWORD count, HANDLE const * handles, bool all, DWORD milliseconds) noexcept
{
    Targets targets;
    std::array<WaitBlock, kMostWaitables> blocks;
    if (count > MAXIMUM_WAIT_OBJECTS - (last == nullptr ? 0U : 1U) || (count != 0 && handles == nullptr))
        return Failed(ERROR_INVALID_PARAMETER);
    for (DWORD i = 0; i < count; ++i)
        if (LSTATUS const status = Find(targets.Add(), handles[i], milliseconds != 0); status != ERROR_SUCCESS)
            return Failed(status);
    if (last != nullptr)
        targets.Add().Use(*last);
    if (all && count > 1)
        return WaitForAll(targets.Data(), targets.Count(), count, blocks.data(), milliseconds);
    return WaitForAny(targets.Data(), targets.Count(), blocks.data(), milliseconds);
}

/// The index of the first of these events that is signalled, and takes its signal; `count` when there is none, or there
/// is more to look at than events by their first handles.
DWORD TakeFirst(DWORD count, HANDLE const * handles) noexcept
{
    DWORD first = count;
    for (DWORD i = count; i-- > 0;)
    {
        Slot const * const slot = FindSlot(handles[i]);
        Waitable::Word const state = slot == nullptr ? 0 : slot->State();
        if (!Waitable::IsOf(state, GenerationOf(handles[i]) | Waitable::kEvent))
            return count;
        if ((state & Waitable::kSignalled) != 0)
            first = i;
    }
    return first < count &&
                   FindSlot(handles[first])->TryTake(GenerationOf(handles[first]) | Waitable::kEvent) == Taken::yes
               ? first
               : count;
}

} // namespace

DWORD WaitForHandlesOr(Signal & signal, DWORD count, HANDLE const * handles, bool all, DWORD milliseconds) noexcept
{
    return WaitForSeveral(&signal.m_waitable, count, handles, all, milliseconds);
}

} // namespace qvlib::host

namespace host = qvlib::host;

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept
{
    host::Target target;
    if (LSTATUS const status = host::Find(target, handle, milliseconds != 0); status != ERROR_SUCCESS)
        return host::Failed(status);
    host::WaitBlock block;
    return host::WaitForAny(&target, 1, &block, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, HANDLE const * handles, BOOL waitAll, DWORD milliseconds) noexcept
{
    if (count == 0)
        return host::Failed(ERROR_INVALID_PARAMETER);
    if (waitAll == FALSE && count <= MAXIMUM_WAIT_OBJECTS && handles != nullptr)
        if (DWORD const first = host::TakeFirst(count, handles); first != count)
            return WAIT_OBJECT_0 + first;
    return host::WaitForSeveral(nullptr, count, handles, waitAll != FALSE, milliseconds);
}
