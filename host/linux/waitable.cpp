#include "host/linux/internal/waitable.h"

#include "host/linux/internal/futex.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/wait_all.h"

#include <array>

namespace qvlib::host
{

constinit Mutex g_waitAllLock;

/// Those who are to be woken, once the locks are left. A waiter that was handed its result may be gone by then; what is
/// woken is an address, and everyone who sleeps on one looks again.
class Wakes
{
public:
    Wakes() = default;
    Wakes(Wakes const &) = delete;
    Wakes & operator=(Wakes const &) = delete;
    ~Wakes() { WakeAll(); }

    void Add(void const * word) noexcept
    {
        if (m_count == m_words.size())
            WakeAll();
        m_words[m_count++] = word;
    }

private:
    void WakeAll() noexcept
    {
        for (std::size_t i = 0; i < m_count; ++i)
            FutexWake(m_words[i], 1);
        m_count = 0;
    }

    std::array<void const *, 16> m_words; // as many as m_count says
    std::size_t m_count = 0;
};

namespace
{

/// Gives the waiter its result, unless it has one or gave up.
bool Answer(Waiter & waiter, std::uint32_t result) noexcept
{
    std::uint32_t pending = Waiter::kPending;
    return waiter.result.compare_exchange_strong(pending, result, std::memory_order_acq_rel, std::memory_order_relaxed);
}

Waitable::Word Consumed(Waitable::Word state) noexcept
{
    return (state & Waitable::kManual) != 0 ? state : state & ~Waitable::kSignalled;
}

constexpr int kSpins = 60;

} // namespace

bool Waitable::Lock(Word identity, Word & state) noexcept
{
    Word seen = m_state.load(std::memory_order_relaxed);
    for (int spins = 0; Is(seen, identity);)
    {
        if ((seen & kLocked) == 0)
        {
            if (m_state.compare_exchange_weak(seen, seen | kLocked, std::memory_order_acq_rel,
                                              std::memory_order_relaxed))
            {
                state = seen;
                return true;
            }
        }
        else if (++spins < kSpins)
        {
            SpinPause();
            seen = m_state.load(std::memory_order_relaxed);
        }
        else if ((seen & kContended) != 0 ||
                 m_state.compare_exchange_weak(seen, seen | kContended, std::memory_order_acq_rel,
                                               std::memory_order_relaxed))
        {
            FutexWaitLow(m_state, static_cast<std::uint32_t>(seen | kContended));
            seen = m_state.load(std::memory_order_relaxed);
        }
    }
    return false;
}

void Waitable::Unlock(Word state) noexcept
{
    // All who slept are woken, which is rare: the lock is held for some tens of instructions.
    if ((m_state.exchange(state, std::memory_order_acq_rel) & kContended) != 0)
        FutexWakeLow(m_state);
}

void Waitable::Enqueue(WaitBlock & block, Word & state) noexcept
{
    if (m_last == nullptr)
        block.next = block.previous = &block;
    else
    {
        block.next = m_last->next;
        block.previous = m_last;
        block.next->previous = &block;
        m_last->next = &block;
    }
    m_last = &block;
    state |= kWaiters;
    if (!block.alone)
    {
        ++m_allWaiters;
        state |= kAllWaiters;
    }
}

void Waitable::Dequeue(WaitBlock & block, Word & state) noexcept
{
    if (block.next == &block)
    {
        m_last = nullptr;
        state &= ~kWaiters;
    }
    else
    {
        block.next->previous = block.previous;
        block.previous->next = block.next;
        if (m_last == &block)
            m_last = block.previous;
    }
    if (!block.alone && --m_allWaiters == 0)
        state &= ~kAllWaiters;
}

bool Waitable::Reset(Word identity) noexcept
{
    Word state = m_state.load(std::memory_order_relaxed);
    while (Is(state, identity) && (state & kLocked) == 0)
        if (m_state.compare_exchange_weak(state, state & ~kSignalled, std::memory_order_acq_rel,
                                          std::memory_order_relaxed))
            return true;
    if (!Lock(identity, state))
        return false;
    Unlock(state & ~kSignalled);
    return true;
}

Waitable::Taken Waitable::TakeLocked(Word identity) noexcept
{
    Word state = 0;
    if (!Lock(identity, state))
        return Taken::invalid;
    bool const there = (state & kSignalled) != 0;
    Unlock(there ? Consumed(state) : state);
    return there ? Taken::yes : Taken::no;
}

Waitable::Taken Waitable::TakeOrQueue(WaitBlock & block, Word identity) noexcept
{
    Word state = 0;
    if (!Lock(identity, state))
        return Taken::invalid;
    if ((state & kSignalled) != 0)
    {
        // If another object has been quicker, this one's signal stays.
        Unlock(Answer(*block.waiter, block.index) ? Consumed(state) : state);
        return Taken::yes;
    }
    Enqueue(block, state);
    Unlock(state);
    return Taken::no;
}

void Waitable::Unqueue(WaitBlock & block) noexcept
{
    Word state = 0;
    Lock(kAnyIdentity, state);
    Dequeue(block, state);
    UnlockOrFree(*this, state);
}

// Which locks are held depends on who waits; clang's analysis follows no such thing.
bool Waitable::Hand(Word identity, bool keep) noexcept QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    Wakes wakes;
    bool all = false;
    bool done = false;
    Word state = 0;
    for (;;)
    {
        if (!all && (m_state.load(std::memory_order_relaxed) & kAllWaiters) != 0)
        {
            g_waitAllLock.Lock();
            all = true;
        }
        if (!Lock(identity, state))
            break;
        if (all || (state & kAllWaiters) == 0)
        {
            state = Grant(state | kSignalled, wakes);
            Unlock(keep ? state : state & ~kSignalled);
            done = true;
            break;
        }
        Unlock(state);
    }
    if (all)
        g_waitAllLock.Unlock();
    return done;
}

Waitable::Word Waitable::Grant(Word state, Wakes & wakes) noexcept
{
    if (m_last == nullptr)
        return state;
    WaitBlock * block = m_last;
    do
    {
        block = block->next;
        Waiter & waiter = *block->waiter;
        if (!block->alone)
            state = GrantAll(waiter, state, wakes);
        else if (Answer(waiter, block->index))
        {
            state = Consumed(state);
            wakes.Add(&waiter.result);
        }
    } while (block != m_last && (state & kSignalled) != 0);
    return state;
}

Waitable::Word Waitable::GrantAll(Waiter & waiter, Word state, Wakes & wakes) noexcept
{
    if (waiter.result.load(std::memory_order_relaxed) != Waiter::kPending)
        return state;
    // The global lock is held: no waiter of this kind leaves its lines, and nobody else holds several objects.
    std::array<Word, kMostWaitables> states;
    bool there = true;
    for (std::uint32_t i = 0; i < waiter.count; ++i)
    {
        Waitable & object = *waiter.blocks[i].object;
        if (&object == this)
            states[i] = state;
        else
            object.Lock(kAnyIdentity, states[i]);
        there = there && (states[i] & kSignalled) != 0;
    }
    bool const taken = there && Answer(waiter, 0);
    for (std::uint32_t i = 0; i < waiter.count; ++i)
    {
        Waitable & object = *waiter.blocks[i].object;
        Word const left = taken ? Consumed(states[i]) : states[i];
        if (&object == this)
            state = left;
        else
            object.Unlock(left);
    }
    if (taken)
        wakes.Add(&waiter.result);
    return state;
}

} // namespace qvlib::host
