#include "qvlib/host/handle.h"

#include "host/linux/internal/event_names.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/process_watch.h"
#include "host/linux/internal/thread_record.h"
#include "qvlib/host/error.h"

#include <new>

namespace qvlib::host
{

constinit std::array<std::atomic<Slot *>, kSlotBlocks> g_slotBlocks{};

namespace
{

constexpr unsigned kCacheLimit = 32;
constexpr Waitable::Word kOneGeneration = Waitable::Word{1} << Waitable::kGenerationShift;
/// Bit 63 stays clear, so that no handle looks like INVALID_HANDLE_VALUE or the two that stand for the caller.
constexpr Waitable::Word kLastGeneration = Waitable::kGenerationMask >> 1 & Waitable::kGenerationMask;

/// The free slots that no thread keeps, and how many were ever made.
class FreeSlots
{
public:
    /// Moves some into the thread's cache, or gives one if there is no such thing; null when memory is short.
    Slot * Take(SlotCache * cache) noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        if (m_free.first == nullptr && !Grow())
            return nullptr;
        Slot * const taken = Pop(m_free);
        for (unsigned more = kCacheLimit / 2; cache != nullptr && more > 0 && m_free.first != nullptr; --more)
            Push(*cache, *Pop(m_free));
        return taken;
    }
    void Return(SlotCache & cache, unsigned keep) noexcept QVLIB_EXCLUDES(m_lock)
    {
        MutexLock const held(m_lock);
        while (cache.count > keep)
            Push(m_free, *Pop(cache));
    }

    static Slot * Pop(SlotCache & list) noexcept
    {
        Slot * const slot = list.first;
        list.first = static_cast<Slot *>(slot->m_other);
        slot->m_other = nullptr;
        --list.count;
        return slot;
    }
    static void Push(SlotCache & list, Slot & slot) noexcept
    {
        slot.m_other = list.first;
        list.first = &slot;
        ++list.count;
    }

private:
    bool Grow() noexcept QVLIB_REQUIRES(m_lock)
    {
        Slot * const block = m_blocks == kSlotBlocks ? nullptr : new (std::nothrow) Slot[kSlotsInBlock];
        if (block == nullptr)
            return false;
        for (unsigned i = kSlotsInBlock; i-- > 0;)
        {
            block[i].number = (m_blocks * kSlotsInBlock + i + 1) * 4;
            Push(m_free, block[i]);
        }
        // What a slot holds is ready before the table shows it.
        g_slotBlocks[m_blocks++].store(block, std::memory_order_release);
        return true;
    }

    Mutex m_lock;
    SlotCache m_free QVLIB_GUARDED_BY(m_lock);
    unsigned m_blocks QVLIB_GUARDED_BY(m_lock) = 0;
};

constinit FreeSlots g_freeSlots;

void Keep(Slot & slot) noexcept
{
    SlotCache * const cache = CurrentSlotCache();
    if (cache == nullptr)
    {
        SlotCache one;
        FreeSlots::Push(one, slot);
        g_freeSlots.Return(one, 0);
        return;
    }
    if (cache->count == kCacheLimit)
        g_freeSlots.Return(*cache, kCacheLimit / 2);
    FreeSlots::Push(*cache, slot);
}

/// Closes one of an object's handles: the first, by its identity, or one of the others.
bool Drop(Waitable & object, Waitable::Word identity) noexcept
{
    // The names come before the object in the order of locks.
    EventNamesLock const names((object.State() & Waitable::kNamed) != 0);
    Waitable::Word state = 0;
    if (!object.Lock(identity, state))
        return false;
    if (identity != Waitable::kAnyIdentity)
        state = (state + kOneGeneration) | Waitable::kClosed;
    if (--object.m_handles == 0 && (state & Waitable::kNamed) != 0)
        names.Forget(object);
    UnlockOrFree(object, state);
    return true;
}

BOOL Refuse(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

} // namespace

Slot * TakeSlot() noexcept
{
    SlotCache * const cache = CurrentSlotCache();
    if (cache != nullptr && cache->first != nullptr)
        return FreeSlots::Pop(*cache);
    return g_freeSlots.Take(cache);
}

HANDLE Publish(Slot & slot, Waitable::Word kindAndFlags) noexcept
{
    Waitable::Word const generation = slot.m_state.load(std::memory_order_relaxed) & Waitable::kGenerationMask;
    slot.m_state.store(generation | kindAndFlags, std::memory_order_release);
    return reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(generation | slot.number));
}

void FreeSlot(Slot & slot) noexcept
{
    if ((slot.m_state.load(std::memory_order_relaxed) & Waitable::kGenerationMask) != kLastGeneration)
        Keep(slot);
}

void UnlockOrFree(Waitable & object, Waitable::Word state) noexcept
{
    if (object.m_handles != 0 || object.m_pins != 0 || (state & Waitable::kWaiters) != 0)
        return object.Unlock(state);
    object.m_other = nullptr;
    object.Unlock(state & Waitable::kGenerationMask);
    FreeSlot(static_cast<Slot &>(object));
}

void GiveBack(SlotCache & cache) noexcept { g_freeSlots.Return(cache, 0); }

bool Pin(Waitable & object, Waitable::Word identity) noexcept
{
    Waitable::Word state = 0;
    if (!object.Lock(identity, state))
        return false;
    ++object.m_pins;
    object.Unlock(state | Waitable::kShared);
    return true;
}

void Unpin(Waitable & object) noexcept
{
    Waitable::Word state = 0;
    object.Lock(Waitable::kAnyIdentity, state);
    --object.m_pins;
    UnlockOrFree(object, state);
}

HANDLE NewAlias(Waitable & object) noexcept
{
    Slot * const alias = TakeSlot();
    if (alias == nullptr)
        return nullptr;
    Waitable::Word state = 0;
    object.Lock(Waitable::kAnyIdentity, state);
    ++object.m_handles;
    object.Unlock(state | Waitable::kShared);
    alias->m_other = &object;
    return Publish(*alias, Waitable::kAlias);
}

bool Target::FindOther(HANDLE handle) noexcept
{
    if (handle == GetCurrentProcess())
    {
        Use(CurrentProcessObject());
        return true;
    }
    constexpr INT_PTR kCurrentThread = -2;
    if (handle == reinterpret_cast<HANDLE>(kCurrentThread))
    {
        Waitable * const thread = CurrentThreadObject();
        if (thread != nullptr)
            Use(*thread);
        return thread != nullptr;
    }
    Slot * const slot = FindSlot(handle);
    if (slot == nullptr)
        return false;
    Waitable::Word const kind = slot->State() & Waitable::kKindMask;
    Waitable::Word const wanted = GenerationOf(handle) | kind;
    if (kind == Waitable::kFree)
        return false;
    if (kind != Waitable::kAlias)
    {
        object = slot;
        m_pinned = Pin(*slot, wanted);
    }
    else
    {
        // An alias that is locked can't be closed, and its object lives as long as it does.
        Waitable::Word state = 0;
        if (!slot->Lock(wanted, state))
            return false;
        object = static_cast<Waitable *>(slot->m_other);
        m_pinned = Pin(*object);
        slot->Unlock(state);
    }
    identity = Waitable::kAnyIdentity;
    return m_pinned;
}

} // namespace qvlib::host

namespace host = qvlib::host;
using host::Waitable;

BOOL CloseHandle(HANDLE handle) noexcept
{
    constexpr INT_PTR kLastPseudo = -2;
    if (reinterpret_cast<INT_PTR>(handle) < 0 && reinterpret_cast<INT_PTR>(handle) >= kLastPseudo)
        return TRUE;
    host::Slot * const slot = host::FindSlot(handle);
    if (slot == nullptr)
        return host::Refuse(ERROR_INVALID_HANDLE);
    Waitable::Word const generation = host::GenerationOf(handle);
    Waitable::Word state = slot->m_state.load(std::memory_order_relaxed);
    while (Waitable::Is(state, generation | Waitable::kEvent) &&
           (state & (Waitable::kLocked | Waitable::kWaiters | Waitable::kShared | Waitable::kNamed)) == 0)
    {
        // An event that nobody waits for and that has no other handle.
        if (slot->m_state.compare_exchange_weak(state, generation + host::kOneGeneration, std::memory_order_acq_rel,
                                                std::memory_order_relaxed))
        {
            slot->m_handles = 0;
            host::FreeSlot(*slot);
            return TRUE;
        }
    }
    Waitable::Word const kind = state & Waitable::kKindMask;
    if (kind == Waitable::kFree)
        return host::Refuse(ERROR_INVALID_HANDLE);
    if (kind != Waitable::kAlias)
        return host::Drop(*slot, generation | kind) ? TRUE : host::Refuse(ERROR_INVALID_HANDLE);
    if (!slot->Lock(generation | kind, state))
        return host::Refuse(ERROR_INVALID_HANDLE);
    Waitable & object = *static_cast<Waitable *>(slot->m_other);
    slot->m_other = nullptr;
    slot->Unlock(generation + host::kOneGeneration);
    host::FreeSlot(*slot);
    host::Drop(object, Waitable::kAnyIdentity);
    return TRUE;
}

BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE * target, DWORD, BOOL,
                     DWORD options) noexcept
{
    if (sourceProcess != GetCurrentProcess() || targetProcess != GetCurrentProcess())
        return host::Refuse(ERROR_NOT_SUPPORTED);
    {
        host::Target found;
        if (!found.Find(source) || !host::Pin(*found.object, found.identity))
            return host::Refuse(ERROR_INVALID_HANDLE);
        HANDLE const copy = target == nullptr ? nullptr : host::NewAlias(*found.object);
        host::Unpin(*found.object);
        if (target != nullptr && copy == nullptr)
            return host::Refuse(ERROR_NOT_ENOUGH_MEMORY);
        if (target != nullptr)
            *target = copy;
    }
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0)
        CloseHandle(source);
    return TRUE;
}
