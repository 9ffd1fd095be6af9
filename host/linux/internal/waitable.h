// What a thread can wait for: one record of 64 bytes for events, threads, processes, further handles of these, and the
// Signals of wait.h.
//
// Everything that decides about a wait is one atomic word: the object's generation (31 bits), its kind, whether it is
// signalled, whether anyone waits, and a lock bit. While nobody waits and the lock bit is clear, an object is set,
// reset, taken and closed by one compare-exchange of that word, which checks in the same step that the handle's
// generation is still the object's. Memory of objects is never given back, so that a look at a closed one is harmless.
//
// When someone waits, the word's lock bit guards the list of those who do, and the word itself. A wait for any puts a
// WaitBlock into the list of each object, one object after the other; whoever signals one hands the result over by one
// compare-exchange of the waiter's word, so that just one object's signal is taken. A wait for all takes one global
// lock and then those of all its objects; an object that such a wait stands in line at (kAllWaiters) is signalled under
// the global lock, too. So: a thread holds one object's lock and takes no other lock under it, unless it took the
// global lock first, and then it may lock any. (An alias is locked ahead of its object, for as long as it takes to pin
// that.)
#pragma once

#include "qvlib/host/types.h"

#include <atomic>
#include <cstdint>

namespace qvlib::host
{

class Waitable;
class Wakes;
struct Waiter;

/// A waiter's place in the line at one object.
struct WaitBlock
{
    WaitBlock * next;
    WaitBlock * previous;
    Waiter * waiter;
    Waitable * object;
    std::uint32_t index;
    bool alone; ///< its object ends the wait alone; false for those that a wait for all needs together
};

/// A thread that waits, on its stack.
struct Waiter
{
    static constexpr std::uint32_t kPending = 0xFFFFFFFF;
    static constexpr std::uint32_t kGivenUp = 0xFFFFFFFE;

    std::atomic<std::uint32_t> result{kPending}; ///< then the index of what ended the wait; the word that it sleeps on
    std::uint32_t count = 0;                     ///< of a wait for all: the blocks whose objects it needs together
    std::uint32_t total = 0;                     ///< and with those behind them, each of which ends it alone
    WaitBlock * blocks = nullptr;
};

class Waitable
{
public:
    using Word = std::uint64_t;

    // Kinds.
    static constexpr Word kFree = 0U << 8;
    static constexpr Word kEvent = 1U << 8;
    static constexpr Word kThread = 2U << 8;
    static constexpr Word kProcess = 3U << 8;
    static constexpr Word kAlias = 4U << 8; ///< a further handle of another object
    static constexpr Word kKindMask = 7U << 8;
    // Flags.
    static constexpr Word kSignalled = 1;
    static constexpr Word kManual = 2;     ///< taking it does not unsignal it
    static constexpr Word kWaiters = 4;    ///< the line is not empty
    static constexpr Word kAllWaiters = 8; ///< a wait for all stands in it
    static constexpr Word kLocked = 16;
    static constexpr Word kContended = 32; ///< someone sleeps until the lock bit clears
    static constexpr Word kShared = 64;    ///< there were other handles or pins: closing takes the long way
    static constexpr Word kNamed = 128;
    static constexpr Word kClosed = 1U << 11; ///< its first handle is closed, and its generation counted up
    static constexpr unsigned kGenerationShift = 32;
    static constexpr Word kGenerationMask = ~Word{0} << kGenerationShift;
    /// What must be the same for a handle to stand for the object.
    static constexpr Word kIdentity = kGenerationMask | kKindMask | kClosed;
    /// For those who know that the object is there: they hold a pin, or own it.
    static constexpr Word kAnyIdentity = ~Word{0};

    Waitable() = default;
    /// An event of its owner's, who keeps it: no slot of the table.
    explicit Waitable(bool manualReset, Word kind = kEvent) noexcept
        : m_state(kind | kShared | (manualReset ? kManual : Word{0})), m_pins(1)
    {
    }
    Waitable(Waitable const &) = delete;
    Waitable & operator=(Waitable const &) = delete;

    Word State() const noexcept { return m_state.load(std::memory_order_acquire); }
    bool IsSignalled() const noexcept { return (State() & kSignalled) != 0; }

    // Each answers false when the object is no longer the one of that identity.
    bool Set(Word identity = kAnyIdentity) noexcept
    {
        Word state = m_state.load(std::memory_order_relaxed);
        while (Is(state, identity) && (state & (kLocked | kWaiters)) == 0)
            if (m_state.compare_exchange_weak(state, state | kSignalled, std::memory_order_acq_rel,
                                              std::memory_order_relaxed))
                return true;
        return Is(state, identity) && Hand(identity, true);
    }
    bool Reset(Word identity = kAnyIdentity) noexcept;
    bool Pulse(Word identity = kAnyIdentity) noexcept { return Hand(identity, false); }

    enum class Taken
    {
        no,
        yes,
        invalid
    };
    /// Takes the signal if there is one.
    Taken TryTake(Word identity) noexcept
    {
        Word state = m_state.load(std::memory_order_acquire);
        while (Is(state, identity) && (state & kLocked) == 0)
        {
            if ((state & kSignalled) == 0)
                return Taken::no;
            if ((state & kManual) != 0 ||
                m_state.compare_exchange_weak(state, state & ~kSignalled, std::memory_order_acq_rel,
                                              std::memory_order_acquire))
                return Taken::yes;
        }
        return Is(state, identity) ? TakeLocked(identity) : Taken::invalid;
    }
    /// Takes the signal for the block's waiter, or puts the block into the line.
    Taken TakeOrQueue(WaitBlock & block, Word identity) noexcept;
    /// Takes the block out of the line.
    void Unqueue(WaitBlock & block) noexcept;

    /// The word without the lock bit, which is now set, so that the word is the caller's; or false.
    bool Lock(Word identity, Word & state) noexcept;
    void Unlock(Word state) noexcept;

    // Under the lock; `state` is the word in the caller's hands.
    void Enqueue(WaitBlock & block, Word & state) noexcept;
    void Dequeue(WaitBlock & block, Word & state) noexcept;

    static bool IsOf(Word state, Word identity) noexcept { return ((state ^ identity) & kIdentity) == 0; }
    static bool Is(Word state, Word identity) noexcept { return IsOf(state, identity) || identity == kAnyIdentity; }

    std::atomic<Word> m_state{0};
    WaitBlock * m_last = nullptr; ///< the line's last; a ring
    /// An alias's object; a named event's name; a free one's successor.
    void * m_other = nullptr;
    std::uint32_t m_handles = 0;            ///< open handles
    std::uint32_t m_pins = 0;               ///< those who keep it without a handle
    std::uint32_t m_allWaiters = 0;         ///< blocks of waits for all in the line
    std::uint32_t m_id = 0;                 ///< a thread's id
    std::atomic<std::uint32_t> m_code{0};   ///< the exit code
    std::atomic<std::uint32_t> m_number{0}; ///< a process's number; a thread's suspensions

private:
    /// Gives the signal to those who wait, in order, and keeps what is left of it if `keep`.
    bool Hand(Word identity, bool keep) noexcept;
    Word Grant(Word state, Wakes & wakes) noexcept;
    Word GrantAll(Waiter & waiter, Word state, Wakes & wakes) noexcept;
    Taken TakeLocked(Word identity) noexcept;
};

} // namespace qvlib::host
